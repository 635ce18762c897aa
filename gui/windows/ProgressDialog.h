#pragma once

#include <wx/dialog.h>

#include "foundation/Pointers.h"
#include "foundation/String.h"

class wxGauge;

namespace Vespra::Wx {

class AutoSizedButton;
class StaticText;

/// The modeless window of a running denoise: its message, a gauge, and "X", which cancels.
/// It lives as long as the frame and is shown and hidden by it.
class ProgressDialog : public wxDialog {
public:
    explicit ProgressDialog(wxWindow* parent);

    void setMessage(const String& text);
    /// `fraction` of the work done, 0 to 1.
    void setProgress(float fraction);
    /// What "X" does.
    void setOnCancel(Function<void()> callback) { onCancel = std::move(callback); }

    int getProgress() const;
    AutoSizedButton* getCancelButton() const { return cancelButton; }

private:
    void createControls();
    void layoutControls();

    StaticText* message = nullptr;
    wxGauge* gauge = nullptr;
    AutoSizedButton* cancelButton = nullptr;
    Function<void()> onCancel;
};

} // namespace Vespra::Wx
