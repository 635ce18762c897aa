#pragma once

#include <initializer_list>
#include <vector>

#include "foundation/Containers.h"
#include "foundation/String.h"
#include "gui/widgets/ModalDialog.h"

namespace Vespra::Wx {

/// The icon of a message: what kind of message it is.
enum class MessageDialogIcon : int {
    NONE = 0,
    ERROR_ICON = 1,
    WARNING_ICON = 2,
    INFORMATION = 3,
    QUESTION = 4,
};

/// Something a message dialog has that can end it; `ShowModal` answers the id of what did.
class MessageDialogControl {
public:
    explicit MessageDialogControl(int id) : id(id) {}
    virtual ~MessageDialogControl() = default;

    int getId() const { return id; }

    /// The frame shows the application's icon; this one never ends the dialog.
    static const MessageDialogControl FRAME_ICON;
    /// The frame has a close box and Escape closes: both answer this control's id.
    static const MessageDialogControl FRAME_CLOSE;
    /// The id with which the dialog's owner ends it from outside (`EndModal`).
    static const MessageDialogControl OUTSIDE_CLOSE;

private:
    int id;
};

/// A button of a message dialog. Its first id is what `ShowModal` answers when it is pressed;
/// further standard ids give it their keys: `wxID_OK` makes it the button of Enter,
/// `wxID_CANCEL` the button of Escape.
class MessageDialogButton : public MessageDialogControl {
public:
    MessageDialogButton(const String& text, std::initializer_list<int> ids);

    const String& getText() const { return text; }
    bool answers(int standardId) const;

    /// "OK", answering and taking the keys of `wxID_OK`.
    static const MessageDialogButton OK;

private:
    String text;
    std::vector<int> ids;
};

/// A modal message with an icon, a text and buttons, in the skin's colours.
class MessageDialog : public ModalDialog {
public:
    MessageDialog() = default;

    /// Builds the dialog on `owner` (null: the application's top window).
    bool create(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon,
                ArrayView<const MessageDialogControl* const> controls);

    /// The id of the control that ended the dialog.
    int ShowModal() override;

    /// The buttons as they stand, in the order given.
    const std::vector<wxWindow*>& getButtons() const { return buttons; }

private:
    void createControls(const String& text, MessageDialogIcon icon);
    void layoutControls();
    void bindEvents();

    std::vector<const MessageDialogControl*> controls;
    std::vector<wxWindow*> buttons;
    wxWindow* iconWindow = nullptr;
    wxWindow* textWindow = nullptr;
    int closeId = wxID_NONE;
    int enterId = wxID_NONE;
    int escapeId = wxID_NONE;
};

namespace Detail {

/// Shows a modal message with the given buttons; answers the id of the control that ended it.
int showMessageDialogImpl(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon,
                          ArrayView<const MessageDialogControl* const> controls);

} // namespace Detail

/// "Yes" and "No"; answers whether "Yes" was chosen. Closing the dialog counts as "No".
bool showYesNoDialog(wxWindow* owner, const String& title, const String& text,
                     MessageDialogIcon icon = MessageDialogIcon::QUESTION);

/// "OK" and "Cancel"; answers whether "OK" was chosen. Closing the dialog counts as "Cancel".
bool showOkCancelDialog(wxWindow* owner, const String& title, const String& text,
                        MessageDialogIcon icon = MessageDialogIcon::QUESTION);

/// The message with one "OK".
void showOkDialog(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon);

} // namespace Vespra::Wx
