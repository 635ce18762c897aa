#include "gui/widgets/ModalDialog.h"

namespace Vespra::Wx {

namespace {

/// How often a dialog asked to end looks whether the dialogs opened inside it are gone.
constexpr int PENDING_END_POLL_MS = 50;

} // namespace

ModalDialog::ModalDialog() {
    bindPendingEnd();
}

ModalDialog::ModalDialog(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& position,
                         const wxSize& size, long style)
    : wxDialog(parent, id, title, position, size, style) {
    bindPendingEnd();
}

void ModalDialog::bindPendingEnd() {
    pendingEnd.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
        if (!IsModal()) {
            pendingEnd.Stop();
        } else if (!hasModalDialogInside()) {
            pendingEnd.Stop();
            wxDialog::EndModal(pendingCode);
        }
    });
}

void ModalDialog::EndModal(int code) {
    if (!IsModal() || !hasModalDialogInside()) {
        pendingEnd.Stop();
        wxDialog::EndModal(code);
        return;
    }
    pendingCode = code;
    if (!pendingEnd.IsRunning()) {
        pendingEnd.Start(PENDING_END_POLL_MS);
    }
}

bool ModalDialog::hasModalDialogInside() const {
    // Windows join this list as they are created, and a dialog created while this one's loop runs
    // and shown modally runs its loop inside this one's.
    bool afterThis = false;
    for (const wxWindow* window : wxTopLevelWindows) {
        if (window == this) {
            afterThis = true;
        } else if (const auto* dialog = dynamic_cast<const wxDialog*>(window);
                   afterThis && dialog && dialog->IsModal()) {
            return true;
        }
    }
    return false;
}

} // namespace Vespra::Wx
