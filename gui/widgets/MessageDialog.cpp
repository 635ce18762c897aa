#include "gui/widgets/MessageDialog.h"

#include <algorithm>

#include <wx/app.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>

#include "foundation/TranslationTable.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/Icons.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

/// Ids of the frame's own controls, apart from the standard ids that buttons use.
constexpr int FRAME_ICON_ID = wxID_HIGHEST + 1;
constexpr int OUTSIDE_CLOSE_ID = wxID_HIGHEST + 2;
/// Messages wrap at this width, in device-independent pixels.
constexpr int TEXT_WIDTH = 420;

const char* iconName(MessageDialogIcon icon) {
    switch (icon) {
    case MessageDialogIcon::ERROR_ICON:
        return "error";
    case MessageDialogIcon::WARNING_ICON:
        return "warning";
    case MessageDialogIcon::INFORMATION:
        return "information";
    case MessageDialogIcon::QUESTION:
        return "question";
    case MessageDialogIcon::NONE:
        break;
    }
    return nullptr;
}

String localized(const char16_t* text) {
    return TranslationTable::getInstance().getLocalized(text);
}

} // namespace

const MessageDialogControl MessageDialogControl::FRAME_ICON(FRAME_ICON_ID);
const MessageDialogControl MessageDialogControl::FRAME_CLOSE(wxID_CLOSE);
const MessageDialogControl MessageDialogControl::OUTSIDE_CLOSE(OUTSIDE_CLOSE_ID);
const MessageDialogButton MessageDialogButton::OK(u"OK", {wxID_OK});

MessageDialogButton::MessageDialogButton(const String& text, std::initializer_list<int> ids)
    : MessageDialogControl(*ids.begin()), text(text), ids(ids) {}

bool MessageDialogButton::answers(int standardId) const {
    return std::find(ids.begin(), ids.end(), standardId) != ids.end();
}

bool MessageDialog::create(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon,
                           ArrayView<const MessageDialogControl* const> newControls) {
    controls.assign(newControls.begin(), newControls.end());
    const bool hasClose = std::find(controls.begin(), controls.end(), &MessageDialogControl::FRAME_CLOSE) != controls.end();
    const long style = wxCAPTION | (hasClose ? wxCLOSE_BOX | wxSYSTEM_MENU : 0);
    if (!wxDialog::Create(owner != nullptr ? owner : wxTheApp->GetTopWindow(), wxID_ANY, toWx(title),
                          wxDefaultPosition, wxDefaultSize, style)) {
        return false;
    }
    SetBackgroundColour(activeSkin().background());
    SetForegroundColour(activeSkin().foreground());
    if (std::find(controls.begin(), controls.end(), &MessageDialogControl::FRAME_ICON) != controls.end()) {
        setVespraIcon(this);
    }
    closeId = hasClose ? wxID_CLOSE : wxID_NONE;
    createControls(text, icon);
    layoutControls();
    bindEvents();
    return true;
}

void MessageDialog::createControls(const String& text, MessageDialogIcon icon) {
    if (const char* name = iconName(icon)) {
        iconWindow = new wxStaticBitmap(this, wxID_ANY, getIcon(name, wxSize(32, 32)));
    }
    auto* label = new StaticText(this, wxID_ANY, toWx(text));
    label->Wrap(scaleByDpi(TEXT_WIDTH));
    textWindow = label;
    for (const MessageDialogControl* control : controls) {
        const auto* button = dynamic_cast<const MessageDialogButton*>(control);
        if (button == nullptr) {
            continue;
        }
        const int id = button->getId();
        auto* window = new AutoSizedButton(this, toWx(TranslationTable::getInstance().getLocalized(button->getText())),
                                           wxSize(80, 26));
        window->onClick = [this, id] { EndModal(id); };
        buttons.push_back(window);
        if (button->answers(wxID_OK) || button->answers(wxID_YES)) {
            enterId = id;
        }
        if (button->answers(wxID_CANCEL) || button->answers(wxID_NO)) {
            escapeId = id;
        }
    }
}

void MessageDialog::layoutControls() {
    const int border = scaleByDpi(12);
    auto* message = new wxBoxSizer(wxHORIZONTAL);
    if (iconWindow != nullptr) {
        message->Add(iconWindow, 0, wxRIGHT | wxALIGN_TOP, border);
    }
    message->Add(textWindow, 1, wxALIGN_CENTER_VERTICAL);

    auto* buttonRow = new wxBoxSizer(wxHORIZONTAL);
    buttonRow->AddStretchSpacer();
    for (wxWindow* button : buttons) {
        buttonRow->Add(button, 0, wxLEFT, scaleByDpi(6));
    }

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(message, 1, wxEXPAND | wxALL, border);
    if (!buttons.empty()) {
        sizer->Add(buttonRow, 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, border);
    }
    SetSizerAndFit(sizer);
    CentreOnParent();
}

void MessageDialog::bindEvents() {
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
        if (closeId != wxID_NONE || !event.CanVeto()) {
            EndModal(closeId);
        } else {
            event.Veto();
        }
    });
    Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        const int key = event.GetKeyCode();
        if (key == WXK_ESCAPE && (escapeId != wxID_NONE || closeId != wxID_NONE)) {
            EndModal(escapeId != wxID_NONE ? escapeId : closeId);
        } else if ((key == WXK_RETURN || key == WXK_NUMPAD_ENTER) && enterId != wxID_NONE &&
                   (FindFocus() == nullptr || dynamic_cast<Button*>(FindFocus()) == nullptr)) {
            EndModal(enterId);
        } else {
            event.Skip();
        }
    });
}

int MessageDialog::ShowModal() {
    if (!buttons.empty()) {
        buttons.back()->SetFocus();
    }
    return wxDialog::ShowModal();
}

namespace Detail {

int showMessageDialogImpl(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon,
                          ArrayView<const MessageDialogControl* const> controls) {
    MessageDialog dialog;
    if (!dialog.create(owner, title, text, icon, controls)) {
        return wxID_NONE;
    }
    return dialog.ShowModal();
}

} // namespace Detail

bool showYesNoDialog(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon) {
    const MessageDialogButton yes(localized(u"Yes"), {wxID_YES, wxID_OK});
    const MessageDialogButton no(localized(u"No"), {wxID_NO, wxID_CANCEL});
    const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON, &MessageDialogControl::FRAME_CLOSE,
                                              &yes, &no};
    return Detail::showMessageDialogImpl(owner, title, text, icon, controls) == wxID_YES;
}

bool showOkCancelDialog(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon) {
    const MessageDialogButton cancel(localized(u"Cancel"), {wxID_CANCEL});
    const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON, &MessageDialogControl::FRAME_CLOSE,
                                              &MessageDialogButton::OK, &cancel};
    return Detail::showMessageDialogImpl(owner, title, text, icon, controls) == wxID_OK;
}

void showOkDialog(wxWindow* owner, const String& title, const String& text, MessageDialogIcon icon) {
    const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON, &MessageDialogControl::FRAME_CLOSE,
                                              &MessageDialogButton::OK};
    Detail::showMessageDialogImpl(owner, title, text, icon, controls);
}

} // namespace Vespra::Wx
