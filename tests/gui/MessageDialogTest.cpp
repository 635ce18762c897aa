#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include "gui/widgets/MessageDialog.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::waitUntil;

constexpr int DISCARD = 301;
constexpr int KEEP = 302;

/// Runs `action` with the message dialog once it is modal and on the screen.
void whenShown(Function<void(MessageDialog&)> action) {
    wxTheApp->CallAfter([action] {
        MessageDialog* dialog = nullptr;
        ASSERT_TRUE(waitUntil([&] { return (dialog = GuiTest::findShownModal<MessageDialog>()) != nullptr; }));
        // Without a window manager the keyboard goes to the window under the pointer.
        Input().moveTo(dialog, wxPoint(4, 4));
        action(*dialog);
    });
}

int showPrompt(const MessageDialogButton& go, const MessageDialogButton& stay) {
    const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON, &MessageDialogControl::FRAME_CLOSE,
                                              &MessageDialogControl::OUTSIDE_CLOSE, &go, &stay};
    MessageDialog dialog;
    EXPECT_TRUE(dialog.create(nullptr, u"Vespra Image Editor",
                              u"Do you want to open a new image?\nUnsaved changes to the current image will be lost.",
                              MessageDialogIcon::QUESTION, controls));
    EXPECT_EQ(dialog.GetTitle(), "Vespra Image Editor");
    return dialog.ShowModal();
}

TEST(MessageDialog, AnswersTheIdOfTheButtonPressed) {
    const MessageDialogButton go(u"Discard current", {DISCARD});
    const MessageDialogButton stay(u"Keep current", {KEEP});
    for (const int pressed : {0, 1}) {
        whenShown([pressed](MessageDialog& dialog) {
            ASSERT_EQ(dialog.getButtons().size(), 2u);
            EXPECT_EQ(dialog.getButtons()[0]->GetLabel(), "Discard current");
            Input().click(dialog.getButtons()[std::size_t(pressed)]);
        });
        EXPECT_EQ(showPrompt(go, stay), pressed == 0 ? DISCARD : KEEP);
    }
}

TEST(MessageDialog, EndModalOfOutsideCloseClosesItFromOutside) {
    const MessageDialogButton go(u"Discard current", {DISCARD});
    const MessageDialogButton stay(u"Keep current", {KEEP});
    whenShown([](MessageDialog& dialog) { dialog.EndModal(MessageDialogControl::OUTSIDE_CLOSE.getId()); });
    EXPECT_EQ(showPrompt(go, stay), MessageDialogControl::OUTSIDE_CLOSE.getId());

    // A busy message has no buttons at all: only its owner ends it.
    const MessageDialogControl* controls[] = {&MessageDialogControl::OUTSIDE_CLOSE};
    MessageDialog busy;
    ASSERT_TRUE(busy.create(nullptr, u"", u"Loading image.", MessageDialogIcon::INFORMATION, controls));
    EXPECT_TRUE(busy.getButtons().empty());
    whenShown([](MessageDialog& dialog) {
        Input().key(WXK_ESCAPE); // not closable by the user
        GuiTest::settle();
        EXPECT_TRUE(dialog.IsModal());
        dialog.EndModal(MessageDialogControl::OUTSIDE_CLOSE.getId());
    });
    EXPECT_EQ(busy.ShowModal(), MessageDialogControl::OUTSIDE_CLOSE.getId());
}

TEST(MessageDialog, HelpersAnswerByTheKeysOfTheirButtons) {
    whenShown([](MessageDialog&) { Input().key(WXK_ESCAPE); });
    EXPECT_FALSE(showYesNoDialog(nullptr, u"Vespra Image Editor", u"Go on?"));
    whenShown([](MessageDialog& dialog) { Input().click(dialog.getButtons()[0]); });
    EXPECT_TRUE(showYesNoDialog(nullptr, u"Vespra Image Editor", u"Go on?"));
    whenShown([](MessageDialog& dialog) {
        EXPECT_EQ(dialog.getButtons()[0]->GetLabel(), "OK");
        EXPECT_EQ(dialog.getButtons()[1]->GetLabel(), "Cancel");
        Input().click(dialog.getButtons()[1]);
    });
    EXPECT_FALSE(showOkCancelDialog(nullptr, u"Vespra Image Editor", u"Go on?"));
}

TEST(MessageDialog, EndedWhileAMessageIsUpInsideItEndsOnceThatMessageIsAnswered) {
    const MessageDialogControl* controls[] = {&MessageDialogControl::OUTSIDE_CLOSE};
    MessageDialog busy;
    ASSERT_TRUE(busy.create(nullptr, u"", u"Saving image.", MessageDialogIcon::INFORMATION, controls));
    bool errorAnswered = false;
    // A job's error shows inside the busy message's loop, and the job's end asks the busy message
    // to close while the error is still up.
    wxTheApp->CallAfter([&] {
        ASSERT_TRUE(waitUntil([&] { return busy.IsModal() && busy.IsShownOnScreen(); }));
        wxTheApp->CallAfter([&] {
            MessageDialog* error = nullptr;
            ASSERT_TRUE(waitUntil([&] {
                error = GuiTest::findShownModal<MessageDialog>([&](MessageDialog& dialog) { return &dialog != &busy; });
                return error != nullptr;
            }));
            EXPECT_TRUE(busy.hasModalDialogInside());
            busy.EndModal(MessageDialogControl::OUTSIDE_CLOSE.getId());
            GuiTest::settle();
            EXPECT_TRUE(error->IsModal() && error->IsShownOnScreen()) << "the error went with the busy message";
            EXPECT_TRUE(busy.IsModal()) << "the busy message ended under the error";
            Input().moveTo(error, wxPoint(4, 4));
            Input().click(error->getButtons()[0]);
        });
        showOkDialog(nullptr, u"Vespra Image Editor", u"Image cannot be saved.", MessageDialogIcon::ERROR_ICON);
        errorAnswered = true;
    });
    // Ended on GTK's own terms, the busy message's loop would run for good; this ends it instead.
    bool stuck = false;
    wxTimer watchdog;
    watchdog.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        stuck = true;
        wxEventLoopBase::GetActive()->Exit();
    });
    watchdog.StartOnce(20000);
    EXPECT_EQ(busy.ShowModal(), MessageDialogControl::OUTSIDE_CLOSE.getId());
    watchdog.Stop();
    EXPECT_TRUE(errorAnswered);
    EXPECT_FALSE(stuck) << "the busy message's loop ran on after the error was answered";
}

} // namespace
} // namespace Vespra::Wx
