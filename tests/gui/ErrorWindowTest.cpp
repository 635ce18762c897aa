#include <thread>

#include <gtest/gtest.h>

#include "foundation/Logger.h"
#include "gui/widgets/Clipboard.h"
#include "gui/widgets/TextButton.h"
#include "gui/windows/ErrorWindow.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra {
namespace {

using Wx::GuiTest::Input;
using Wx::GuiTest::settle;
using Wx::GuiTest::waitUntil;

IErrorWindow::Message warning(const char16_t* text, std::int32_t code, std::int32_t flags = 0) {
    return {text, IErrorWindow::WARNING_KIND, code, {}, {}, {}, flags};
}

/// The buttons labelled `label` in the tree of `root`, in the order of the rows.
std::vector<Wx::TextButton*> buttonsLabelled(wxWindow* root, const wxString& label) {
    std::vector<Wx::TextButton*> found;
    for (wxWindow* child : root->GetChildren()) {
        if (auto* button = dynamic_cast<Wx::TextButton*>(child); button && button->GetLabel() == label) {
            found.push_back(button);
        }
        const auto below = buttonsLabelled(child, label);
        found.insert(found.end(), below.begin(), below.end());
    }
    return found;
}

/// A fresh window for each test, gone at its end.
struct ErrorWindowFixture {
    ErrorWindowFixture() : window(ErrorWindow::create()) {}
    ~ErrorWindowFixture() {
        window.reset();
        settle();
    }
    SharedPtr<ErrorWindow> window;
};

TEST(ErrorWindow, ShowsItselfWithARowPerMessageAndDropsTheFiftyFirst) {
    ErrorWindowFixture f;
    EXPECT_FALSE(f.window->IsShown()) << "hidden while empty";
    EXPECT_EQ(f.window->GetTitle().ToStdString().rfind("Vespra Error Message(s)    [Vespra ", 0), 0u);
    for (int i = 0; i < ErrorWindow::MAX_ROWS; ++i) {
        EXPECT_TRUE(f.window->addMessage(warning(u"Disk almost full", 7)));
    }
    EXPECT_FALSE(f.window->addMessage(warning(u"Something new", 8))) << "the 51st message is dropped, new code or not";
    EXPECT_TRUE(waitUntil([&] { return f.window->IsShownOnScreen(); }));
    EXPECT_EQ(f.window->getRowCount(), ErrorWindow::MAX_ROWS);

    f.window->dismissRow(0);
    EXPECT_EQ(f.window->getRowCount(), ErrorWindow::MAX_ROWS - 1);
    EXPECT_TRUE(f.window->addMessage(warning(u"Something new", 8))) << "room again after a dismiss";

    f.window->clearLog();
    EXPECT_EQ(f.window->getRowCount(), 0);
    EXPECT_TRUE(waitUntil([&] { return !f.window->IsShown(); })) << "\"Clear log\" closes the window";
}

TEST(ErrorWindow, ShowOnceMessagesComeAgainOnlyAfterTheirRowIsDismissed) {
    ErrorWindowFixture f;
    EXPECT_TRUE(f.window->addMessage(warning(u"GPU denoiser unavailable", 3, IErrorWindow::SHOW_ONCE)));
    EXPECT_TRUE(f.window->addMessage(warning(u"GPU denoiser unavailable", 3, IErrorWindow::SHOW_ONCE)))
        << "a show-once message that is shown already counts as accepted";
    EXPECT_EQ(f.window->getRowCount(), 1);
    f.window->dismissRow(0);
    EXPECT_TRUE(f.window->addMessage(warning(u"GPU denoiser unavailable", 3, IErrorWindow::SHOW_ONCE)));
    EXPECT_EQ(f.window->getRowCount(), 1);
}

TEST(ErrorWindow, IgnoreSimilarRemovesTheCodesRowsAndSilencesItUntilReset) {
    ErrorWindowFixture f;
    f.window->addMessage(warning(u"first of 5", 5));
    f.window->addMessage(warning(u"of 6", 6));
    f.window->addMessage(warning(u"second of 5", 5));
    ASSERT_EQ(f.window->getRowCount(), 3);
    ASSERT_TRUE(waitUntil([&] { return f.window->IsShownOnScreen(); }));
    settle();
    const auto ignoreButtons = buttonsLabelled(f.window.get(), "Ignore similar messages");
    ASSERT_EQ(ignoreButtons.size(), 3u);
    Input().click(ignoreButtons[2]);
    ASSERT_TRUE(waitUntil([&] { return f.window->getRowCount() == 1; }));
    const auto dismissButtons = buttonsLabelled(f.window.get(), "Dismiss");
    ASSERT_EQ(dismissButtons.size(), 1u) << "both rows of code 5 are gone, with their windows";
    EXPECT_FALSE(f.window->addMessage(warning(u"third of 5", 5)));
    EXPECT_EQ(f.window->getRowCount(), 1);
    f.window->Close(); // closing keeps the ignored codes
    EXPECT_FALSE(f.window->addMessage(warning(u"fourth of 5", 5)));
    f.window->resetIgnored();
    EXPECT_TRUE(f.window->addMessage(warning(u"fifth of 5", 5)));
    EXPECT_EQ(f.window->getRowCount(), 1);
}

TEST(ErrorWindow, CopiesItsRowsToTheClipboardInOrder) {
    ErrorWindowFixture f;
    f.window->addMessage(warning(u"The LUT file has no size.", 12));
    f.window->addMessage({u"Image cannot be saved.", IErrorWindow::ERROR_KIND, 2010, u"See ", u"the helpdesk",
                          ErrorWindow::getHelpdeskUrl(2010)});
    const String expected = u"===== Warning (12) =====\nThe LUT file has no size.\n\n"
                            u"===== Error (2010) =====\nImage cannot be saved.\n\n";
    EXPECT_EQ(f.window->getClipboardText(), expected);
    f.window->copyToClipboard();
    const Optional<String> pasted = Wx::getClipboardText();
    ASSERT_TRUE(pasted.has_value());
    EXPECT_EQ(*pasted, expected);
    EXPECT_EQ(ErrorWindow::getHelpdeskUrl(2005), u"https://www.vespra-renderer.com/helpdesk/2005");
}

TEST(ErrorWindow, TakesReportsOfAnyThreadAsTheGlobalLoggerAndCanBeHeldBack) {
    ErrorWindowFixture f;
    f.window->setState(IErrorWindow::STATE_HOLD_BACK);
    Log::setGlobalLogger(f.window);
    std::thread worker([] {
        Log::report(u"Could not read the render statistics.", LogLevel::WARNING);
        Log::report(u"Could not read the render statistics.", LogLevel::WARNING);
        Log::report(u"Only information.", LogLevel::INFO);
    });
    worker.join();
    Log::setGlobalLogger(nullptr);
    EXPECT_TRUE(waitUntil([&] { return f.window->getRowCount() == 2; }));
    settle();
    EXPECT_FALSE(f.window->IsShown()) << "held back";
    f.window->setState(0);
    EXPECT_TRUE(waitUntil([&] { return f.window->IsShownOnScreen(); }));
    // Reports of the same text share a code, so one "Ignore similar messages" takes both.
    f.window->ignoreSimilar(0);
    EXPECT_EQ(f.window->getRowCount(), 0);
}

} // namespace
} // namespace Vespra
