// The editor as a process: what its arguments open, and the report of toolkit assertions.

#include <filesystem>

#include <gtest/gtest.h>
#include <wx/process.h>
#include <wx/utils.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrSaver.h"
#include "foundation/Logger.h"
#include "gui/AssertHandler.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::waitUntil;

constexpr int START_TIMEOUT_MS = 30000;

/// The names of the top-level windows whose name contains `text`, as the X server tells them.
wxArrayString windowNames(const wxString& text) {
    wxArrayString ids;
    wxArrayString names;
    wxExecute("xdotool search --onlyvisible --name \"" + text + "\"", ids, wxEXEC_SYNC | wxEXEC_NODISABLE);
    for (const wxString& id : ids) {
        wxArrayString name;
        wxExecute("xdotool getwindowname " + id, name, wxEXEC_SYNC | wxEXEC_NODISABLE);
        names.insert(names.end(), name.begin(), name.end());
    }
    return names;
}

/// The editor started with `arguments`, its preferences in a folder of the test's own;
/// terminated at the end.
class EditorProcess {
public:
    /// Runs in `folder`, which also holds the preferences.
    EditorProcess(const wxString& arguments, const TemporaryFolder& folder) {
        wxExecuteEnv environment;
        wxGetEnvMap(&environment.env);
        environment.cwd = folder.path().nativeStr().toUtf8();
        environment.env["XDG_CONFIG_HOME"] = folder.path().nativeStr().toUtf8();
        // Detached, the process object deletes itself once the toolkit has seen the child end.
        auto* process = new wxProcess();
        process->Detach();
        pid = wxExecute(wxString(VESPRA_BUILD_DIR) + "/apps/editor/vespra-image-editor " + arguments,
                        wxEXEC_ASYNC | wxEXEC_NODISABLE, process, &environment);
        EXPECT_GT(pid, 0);
    }
    ~EditorProcess() {
        if (isRunning()) {
            wxProcess::Kill(pid, wxSIGKILL);
            waitUntil([this] { return !isRunning(); }, START_TIMEOUT_MS);
        }
    }

    /// Waits until the editor's frame has a title that `wanted` accepts; answers the last
    /// title seen.
    wxString waitForTitle(const Function<bool(const wxString&)>& wanted, int timeoutMs = START_TIMEOUT_MS) const {
        wxString title;
        waitUntil(
            [&] {
                const wxArrayString names = windowNames("^Vespra Image Editor ");
                title = names.empty() ? wxString() : names[0];
                return !title.empty() && wanted(title);
            },
            timeoutMs);
        return title;
    }

    bool isRunning() const { return pid > 0 && wxProcess::Exists(pid); }

private:
    long pid = 0;
};

TEST(EditorProcess, OneArgumentIsOpenedAndTwoOpenNothing) {
    TemporaryFolder folder;
    const std::filesystem::path image = folder.path().std() / "-render.vxr";
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(64, 48, 1);
    ASSERT_TRUE(ExrSaver(false).save(SampleGen::renderSampleImage(job), Io::Path(image)).has_value());

    {
        // A name that begins with a dash is a file like any other.
        EditorProcess editor("-render.vxr", folder);
        const wxString title = editor.waitForTitle([](const wxString& text) { return text.Contains("64x48px"); });
        EXPECT_TRUE(title.EndsWith(" (-render.vxr, 64x48px, 1:1)")) << title;
    }
    EXPECT_TRUE(waitUntil([] { return windowNames("^Vespra Image Editor ").empty(); }, START_TIMEOUT_MS));
    {
        EditorProcess editor("-render.vxr -render.vxr", folder);
        const wxString title = editor.waitForTitle([](const wxString&) { return true; });
        EXPECT_TRUE(title.StartsWith("Vespra Image Editor ")) << title;
        // Nothing is loading or open: the title has no status at all.
        constexpr int TITLE_SETTLED_MS = 2000;
        EXPECT_FALSE(
            editor.waitForTitle([](const wxString& text) { return text.Contains("("); }, TITLE_SETTLED_MS).Contains("("));
        EXPECT_TRUE(editor.isRunning());
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path().std() / "VespraRenderer.conf"))
        << "no file was chosen in a dialog, so no preferences were written";
}

/// Collects what is logged.
class RecordingLogger : public Abstract::Logger {
public:
    void log(const String& message, LogLevel level) override {
        messages.push(message);
        EXPECT_EQ(level, LogLevel::ERROR);
    }
    Stack<String> messages;
};

TEST(AssertHandler, ReportsTheFirstAssertionOnlyAndNeverTheCLocaleOne) {
    const auto logger = makeShared<RecordingLogger>();
    const SharedPtr<Abstract::Logger> previous = Log::getGlobalLogger();
    Log::setGlobalLogger(logger);
    reportAssertion("intl.cpp", 10, "wxLocale::GetInfo", "strcmp(setlocale(0, 0), \"C\") == 0", "no locale");
    EXPECT_TRUE(logger->messages.empty());
    reportAssertion("window.cpp", 1234, "wxWindow::Show", "m_widget", "no widget");
    reportAssertion("window.cpp", 99, "wxWindow::Hide", "m_widget", "a second one");
    Log::setGlobalLogger(previous);
    ASSERT_EQ(logger->messages.size(), 1u);
    EXPECT_EQ(logger->messages[0],
              String(u"An internal error occurred: wxWidgets Assertion failure. Please report this problem to us.\n"
                     u"File: window.cpp(1234)\nFunction: wxWindow::Show\nCondition: m_widget\nMessage: no widget"));
}

} // namespace
} // namespace Vespra::Wx
