#pragma once

// A main frame on its own settings and a real operator graph, with file dialogs that tests
// answer, and the tools to answer its questions and to render its inputs.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <wx/timer.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrSaver.h"
#include "base/pipeline/OperatorGraph.h"
#include "foundation/SystemInfo.h"
#include "gui/widgets/ImageSaveSettingsDialog.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/windows/MainFrame.h"
#include "settings/PropertyIds.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx::GuiTest {

/// Loads and saves of small renders end well within this.
constexpr int OPERATOR_TIMEOUT_MS = 20000;

/// Writes a render of the sample scene: a frame of `width` by `height` of which only the
/// top-left `dataWidth` by `dataHeight` pixels are rendered, so that large frames stay cheap.
inline Io::Path writeRender(const Io::Path& path, int width, int height, int dataWidth, int dataHeight,
                     std::uint64_t seed = 3) {
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(width, height, 1, seed);
    job.dataWindow = Bucket::fromSize(dataWidth, dataHeight);
    const auto saved = ExrSaver(false).save(SampleGen::renderSampleImage(job), path);
    EXPECT_TRUE(saved.has_value()) << (saved ? "" : saved.error().toUtf8());
    return path;
}

/// The message dialog with buttons that runs now (not a busy dialog), else null.
inline MessageDialog* shownMessageDialog() {
    return GuiTest::findShownModal<MessageDialog>([](MessageDialog& dialog) { return !dialog.getButtons().empty(); });
}

/// The dialog breaks long lines where it likes: texts are compared with every break a space.
inline wxString flat(wxString text) {
    text.Replace("\n", " ");
    return text;
}

/// Clicks the button labelled `label` of the next message dialog with buttons, and records
/// the dialog's text. A timer looks for the dialog: a wait would run the modal loops of the
/// busy dialogs that may come first, and so could never return to look.
class Answer : public wxTimer {
public:
    Answer(const wxString& label, wxString* shownText)
        : label(label), shownText(shownText),
          deadline(std::chrono::steady_clock::now() + std::chrono::milliseconds(OPERATOR_TIMEOUT_MS)) {
        Start(10);
    }

    void Notify() override {
        wxDialog* dialog = shownMessageDialog();
        std::vector<wxWindow*> buttons;
        if (dialog) {
            buttons = static_cast<MessageDialog*>(dialog)->getButtons();
        } else if (ImageSaveSettingsDialog* saveDialog = GuiTest::findShownModal<ImageSaveSettingsDialog>()) {
            dialog = saveDialog;
            buttons = {saveDialog->getSaveButton(), saveDialog->getCancelButton()};
        }
        if (!dialog) {
            if (std::chrono::steady_clock::now() > deadline) {
                Stop();
                ADD_FAILURE() << "no question came for \"" << label << "\"";
            }
            return;
        }
        Stop();
        if (shownText) {
            for (wxWindow* child : dialog->GetChildren()) {
                if (child->GetLabel().length() > 30) {
                    *shownText = flat(child->GetLabel());
                }
            }
        }

        for (wxWindow* button : buttons) {
            if (button->GetLabel() == label) {
                Input().click(button);
                return;
            }
        }
        ADD_FAILURE() << "no button \"" << label << "\"";
        dialog->EndModal(wxID_CANCEL);
    }

private:
    wxString label;
    wxString* shownText;
    std::chrono::steady_clock::time_point deadline;
};

/// A frame on its own settings and graph, with file dialogs that answer what the test says and
/// count how often they were asked.
class FrameFixture : public ::testing::Test {
protected:
    void SetUp() override {
        configHome = folder.path().std() / "config";
        std::filesystem::create_directories(configHome);
        setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
        frame = new MainFrame(nullptr, settings, *graph);
        frame->fileDialogs.open = [this](wxWindow*, const String&, const String&, const Io::Path& start) {
            ++openDialogs;
            lastStartFolder = start;
            return nextOpen;
        };
        frame->fileDialogs.openMany = [this](wxWindow*, const String&, const String&, const Io::Path&) {
            ++openDialogs;
            return nextMerge;
        };
        frame->fileDialogs.save = [this](wxWindow*, const String&, const String& filter, const Io::Path& suggested) {
            ++saveDialogs;
            lastSaveFilter = filter;
            lastSuggested = suggested;
            return nextSave;
        };
        // Counts the ends of loads as the operator reports them, ahead of the frame.
        for (auto* callback : {&graph->load.onFinished, &graph->load.onError}) {
            *callback = [this, frameCallback = *callback](const String& text) {
                ++loadsEnded;
                frameCallback(text);
            };
        }
        graph->denoise.onFinished = [this, frameCallback = graph->denoise.onFinished](const String& text) {
            ++denoisesEnded;
            frameCallback(text);
        };
        frame->SetPosition(wxPoint(20, 20));
        frame->Show();
        ASSERT_TRUE(waitUntil([this] { return frame->IsShownOnScreen(); }));
        frame->Raise();
        settle();
    }

    void TearDown() override {
        if (frameAlive()) {
            frame->Destroy();
        }
        settle();
        unsetenv("XDG_CONFIG_HOME");
    }

    /// Answers the next question with the button labelled `label`.
    void whenAsked(const wxString& label, wxString* shownText = nullptr) {
        answers.push_back(std::make_unique<Answer>(label, shownText));
    }

    bool frameAlive() const {
        return std::find(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), frame) != wxTopLevelWindows.end() &&
               !frame->IsBeingDeleted();
    }

    /// Opens `paths` through the frame and waits until the load has ended.
    void open(Array<Io::Path> paths) {
        const int before = loadsEnded;
        frame->openImages(std::move(paths));
        waitForLoad(before);
    }

    /// Waits until more than `before` loads have ended and the frame has taken the end in.
    /// The frame's busy dialog runs modally in the first round of events after the load
    /// started, and that round returns only once the end has been handled.
    void waitForLoad(int before) {
        ASSERT_TRUE(waitUntil([&] { return loadsEnded > before; }, OPERATOR_TIMEOUT_MS));
        settle();
        ASSERT_TRUE(waitUntil([this] { return (frame->getState() & MainFrame::LOADING) == 0; }, OPERATOR_TIMEOUT_MS));
    }

    void change() {
        settings->set(PropertyId::SIMPLE_EXPOSURE, Property(1.5f));
        ASSERT_TRUE(waitUntil([this] { return (frame->getState() & MainFrame::MODIFIED) != 0; }));
    }

    Io::Path file(const char* name) const { return Io::Path(folder.path().std() / name); }

    std::string expectedTitle(const std::string& status) const {
        const std::string title = "Vespra Image Editor " + Utils::getLibVersion().toUtf8();
        return status.empty() ? title : title + " (" + status + ")";
    }

    bool titleIs(const std::string& expected) const { return frame->GetTitle().ToStdString() == expected; }

    TemporaryFolder folder;
    std::filesystem::path configHome;
    SharedPtr<Settings> settings = makeShared<Settings>();
    AutoPtr<Pipeline::OperatorGraph> graph = makeAuto<Pipeline::OperatorGraph>(*settings);
    MainFrame* frame = nullptr;

    std::vector<std::unique_ptr<Answer>> answers;
    std::atomic<int> loadsEnded = 0;
    std::atomic<int> denoisesEnded = 0;
    int openDialogs = 0;
    int saveDialogs = 0;
    Io::Path nextOpen;
    Stack<Io::Path> nextMerge;
    Io::Path nextSave;
    Io::Path lastStartFolder;
    Io::Path lastSuggested;
    String lastSaveFilter;
};

} // namespace Vespra::Wx::GuiTest
