#include "gui/windows/ProgressDialog.h"

#include <cmath>

#include <wx/gauge.h>
#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

constexpr int GAUGE_RANGE = 100;
constexpr int MESSAGE_MIN_WIDTH = 280;

} // namespace

ProgressDialog::ProgressDialog(wxWindow* parent)
    : wxDialog(parent, wxID_ANY, "Progress", wxDefaultPosition, wxDefaultSize, 0) {
    SetBackgroundColour(activeSkin().background());
    SetForegroundColour(activeSkin().foreground());
    createControls();
    layoutControls();
}

void ProgressDialog::createControls() {
    message = new StaticText(this, wxID_ANY, wxEmptyString);
    message->SetMinSize(wxSize(scaleByDpi(MESSAGE_MIN_WIDTH), -1));
    gauge = new wxGauge(this, wxID_ANY, GAUGE_RANGE, wxDefaultPosition, wxDefaultSize, wxGA_HORIZONTAL);
    cancelButton = new AutoSizedButton(this, "X", wxSize(0, 24));
    cancelButton->onClick = [this] {
        if (onCancel) {
            onCancel();
        }
    };
}

void ProgressDialog::layoutControls() {
    const int border = wxSizerFlags::GetDefaultBorder();
    gauge->SetMaxSize(wxSize(-1, border));
    auto* column = new wxBoxSizer(wxVERTICAL);
    column->Add(message, 1, wxEXPAND);
    column->Add(gauge, 0, wxEXPAND | wxTOP, 1);
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(column, 1, wxEXPAND | wxALL, border);
    row->Add(cancelButton, 0, wxALIGN_CENTER_VERTICAL | wxTOP | wxBOTTOM | wxRIGHT, border);
    SetSizerAndFit(row);
}

void ProgressDialog::setMessage(const String& text) {
    message->SetLabel(toWx(text));
}

void ProgressDialog::setProgress(float fraction) {
    gauge->SetValue(std::clamp(int(std::ceil(float(gauge->GetRange()) * fraction)), 0, gauge->GetRange()));
}

int ProgressDialog::getProgress() const {
    return gauge->GetValue();
}

} // namespace Vespra::Wx
