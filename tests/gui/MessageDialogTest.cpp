#include <gtest/gtest.h>
#include <wx/app.h>

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

} // namespace
} // namespace Vespra::Wx
