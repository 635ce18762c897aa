#include "gui/widgets/Tooltip.h"

#include <wx/dcclient.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/utils.h>

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

/// The rest of the mouse after which a tooltip appears.
constexpr int SHOW_DELAY_MS = 600;
/// How often a shown tooltip checks that the pointer is still on its window.
constexpr int LEAVE_CHECK_MS = 150;
enum TimerId { SHOW_TIMER = 1, LEAVE_TIMER = 2 };
/// Tooltips wrap at this width, in device-independent pixels.
constexpr int WRAP_WIDTH = 320;

} // namespace

class TooltipWindow::Popup : public wxPopupWindow {
public:
    explicit Popup(wxWindow* parent) : wxPopupWindow(parent, wxBORDER_SIMPLE) {
        const GuiSkin& skin = activeSkin();
        SetBackgroundColour(shade(skin.background(), -0.35));
        label = new wxStaticText(this, wxID_ANY, wxEmptyString);
        label->SetForegroundColour(skin.foreground());
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(label, 0, wxALL, scaleByDpi(6));
        SetSizer(sizer);
    }

    void setText(const wxString& text) {
        label->SetLabel(text);
        label->Wrap(scaleByDpi(WRAP_WIDTH));
        GetSizer()->Fit(this);
    }

private:
    wxStaticText* label;
};

TooltipWindow::TooltipWindow(wxWindow* window)
    : window(window), showTimer(this, SHOW_TIMER), leaveTimer(this, LEAVE_TIMER) {
    for (const auto type : {wxEVT_ENTER_WINDOW, wxEVT_LEAVE_WINDOW, wxEVT_MOTION, wxEVT_LEFT_DOWN, wxEVT_RIGHT_DOWN,
                            wxEVT_MIDDLE_DOWN, wxEVT_MOUSEWHEEL}) {
        window->Bind(type, &TooltipWindow::onMouse, this);
    }
    window->Bind(wxEVT_KEY_DOWN, &TooltipWindow::onKey, this);
    Bind(wxEVT_TIMER, [this](wxTimerEvent& event) {
        if (event.GetId() == SHOW_TIMER) {
            showAt(lastMouse + scaleByDpi(wxPoint(12, 18)));
        } else if (!this->window->GetScreenRect().Contains(wxGetMousePosition())) {
            // Labels without a window of their own miss some leave events: the pointer decides.
            hide();
        }
    });
}

TooltipWindow::~TooltipWindow() {
    showTimer.Stop();
    leaveTimer.Stop();
    // The popup is a child of the window and goes with it; only a tooltip that goes first
    // takes its popup along.
    if (popup != nullptr && !window->IsBeingDeleted()) {
        popup->Destroy();
    }
}

void TooltipWindow::setTooltip(const wxString& newText) {
    text = newText;
    if (popup != nullptr && popup->IsShown()) {
        if (text.empty()) {
            hide();
        } else {
            popup->setText(text);
        }
    }
}

void TooltipWindow::showAt(const wxPoint& screenPoint) {
    if (text.empty() || !window->IsShownOnScreen()) {
        return;
    }
    if (popup == nullptr) {
        popup = new Popup(window);
    }
    popup->setText(text);
    smartPositionWindow(popup, screenPoint);
    popup->Show();
    leaveTimer.Start(LEAVE_CHECK_MS);
}

void TooltipWindow::hide() {
    showTimer.Stop();
    leaveTimer.Stop();
    if (popup != nullptr) {
        popup->Hide();
    }
}

bool TooltipWindow::isShown() const {
    return popup != nullptr && popup->IsShown();
}

void TooltipWindow::onKey(wxKeyEvent& event) {
    hide();
    event.Skip();
}

void TooltipWindow::onMouse(wxMouseEvent& event) {
    event.Skip();
    const wxEventType type = event.GetEventType();
    if (type == wxEVT_ENTER_WINDOW || type == wxEVT_MOTION) {
        lastMouse = window->ClientToScreen(event.GetPosition());
        if (!isShown() && !text.empty()) {
            showTimer.StartOnce(SHOW_DELAY_MS);
        }
        return;
    }
    hide();
}

TooltipWindow& attachTooltip(wxWindow* window, const wxString& text) {
    auto* tooltip = new TooltipWindow(window);
    tooltip->setTooltip(text);
    window->Bind(wxEVT_DESTROY, [tooltip, window](wxWindowDestroyEvent& event) {
        if (event.GetEventObject() == window) {
            delete tooltip;
        }
        event.Skip();
    });
    return *tooltip;
}

Tooltip::Tooltip(wxWindow* parent, const wxString& text) : window(&attachTooltip(parent, text)) {}

void Tooltip::setText(const wxString& text) {
    window->setTooltip(text);
}

} // namespace Vespra::Wx
