#pragma once

#include <wx/dialog.h>
#include <wx/timer.h>

namespace Vespra::Wx {

/// A dialog whose modal loop may have others opened inside it: an error that a background job
/// reports, say, while a prompt is up. Asked to end while such a dialog is still up, it ends once
/// that one is gone. GTK would instead quit the inner loop and leave this one running for good,
/// with its window hidden and every other window disabled.
class ModalDialog : public wxDialog {
public:
    ModalDialog();
    ModalDialog(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& position = wxDefaultPosition,
                const wxSize& size = wxDefaultSize, long style = wxDEFAULT_DIALOG_STYLE);

    void EndModal(int code) override;

    /// Whether a modal dialog opened after this one is still up, so inside this one's loop.
    bool hasModalDialogInside() const;

private:
    void bindPendingEnd();

    wxTimer pendingEnd;
    int pendingCode = wxID_NONE;
};

} // namespace Vespra::Wx
