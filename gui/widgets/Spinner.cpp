#include "gui/widgets/Spinner.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "foundation/Optional.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

wxDEFINE_EVENT(CUSTSPINNER_TEXT_FOCUS_GET, wxCommandEvent);
wxDEFINE_EVENT(CUSTSPINNER_TEXT_FOCUS_LOST, wxCommandEvent);

namespace {

/// Width of the arrows, in device-independent pixels.
constexpr int ARROWS_WIDTH = 12;
/// Pixels of mouse travel before a press on the arrows becomes a drag, and per step of a drag.
constexpr int DRAG_THRESHOLD = 3;
constexpr int PIXELS_PER_DRAG_STEP = 2;
/// A held arrow repeats after this delay, then at this interval.
constexpr int REPEAT_DELAY_MS = 400;
constexpr int REPEAT_INTERVAL_MS = 60;

double powerOfTen(int exponent) {
    return std::pow(10., exponent);
}

/// Parses what a user types: a decimal comma is taken as a point, surrounding blanks are ignored.
Optional<double> parseNumber(wxString typed) {
    typed.Trim(true).Trim(false);
    typed.Replace(",", ".");
    double parsed;
    if (typed.empty() || !typed.ToCDouble(&parsed) || !std::isfinite(parsed)) {
        return {};
    }
    return parsed;
}

} // namespace

Spinner::Spinner(wxWindow* parent, wxWindowID id, int width, double minimum, double maximum, double defaultValue,
                 int precision, double step)
    : SkinnedControl(parent, id, activeSkin()), minimum(minimum), maximum(std::max(minimum, maximum)),
      defaultValue(defaultValue), value(0.), precision(std::clamp(precision, 0, 9)), step(std::max(step, 0.)),
      repeatTimer(this) {
    value = normalize(defaultValue);
    createControls(width);
    bindEvents();
    showValue();
}

void Spinner::createControls(int width) {
    text = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                          wxTE_PROCESS_ENTER | wxBORDER_NONE | wxTE_RIGHT);
    text->SetBackgroundColour(getSkin().field());
    text->SetForegroundColour(getSkin().foreground());
    const int height = text->GetBestSize().y + 2;
    SetInitialSize(wxSize(scaleByDpi(width), height));
    layoutControls();
}

void Spinner::layoutControls() {
    const wxSize size = GetClientSize();
    text->SetSize(1, 1, std::max(size.x - scaleByDpi(ARROWS_WIDTH) - 1, 1), std::max(size.y - 2, 1));
}

void Spinner::bindEvents() {
    Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        layoutControls();
        Refresh();
        event.Skip();
    });
    text->Bind(wxEVT_TEXT_ENTER, [this](wxCommandEvent&) {
        commitText();
        text->SelectAll();
    });
    text->Bind(wxEVT_SET_FOCUS, [this](wxFocusEvent& event) {
        wxCommandEvent notice(CUSTSPINNER_TEXT_FOCUS_GET, GetId());
        notice.SetEventObject(this);
        ProcessWindowEvent(notice);
        Refresh();
        event.Skip();
    });
    text->Bind(wxEVT_KILL_FOCUS, [this](wxFocusEvent& event) {
        commitText();
        wxCommandEvent notice(CUSTSPINNER_TEXT_FOCUS_LOST, GetId());
        notice.SetEventObject(this);
        ProcessWindowEvent(notice);
        Refresh();
        event.Skip();
    });
    text->Bind(wxEVT_KEY_DOWN, &Spinner::onKey, this);
    text->Bind(wxEVT_MOUSEWHEEL, &Spinner::onWheel, this);
    Bind(wxEVT_MOUSEWHEEL, &Spinner::onWheel, this);
    for (const auto type : {wxEVT_LEFT_DOWN, wxEVT_LEFT_DCLICK, wxEVT_LEFT_UP, wxEVT_MOTION, wxEVT_RIGHT_UP}) {
        Bind(type, &Spinner::onArrowsMouse, this);
    }
    Bind(wxEVT_MOUSE_CAPTURE_LOST, [this](wxMouseCaptureLostEvent&) {
        arrowPressed = dragging = false;
        repeatTimer.Stop();
    });
    Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
        stepBy(repeatDirection, 0);
        repeatTimer.Start(REPEAT_INTERVAL_MS);
    });
}

int Spinner::getPrecision() const {
    return precisionOf ? std::clamp(precisionOf(value), 0, 9) : precision;
}

double Spinner::normalize(double candidate) const {
    const int decimals = precisionOf ? std::clamp(precisionOf(candidate), 0, 9) : precision;
    const double scale = powerOfTen(decimals);
    double rounded = std::round(candidate * scale) / scale;
    if (!std::isfinite(rounded)) {
        rounded = candidate; // beyond what the scale can hold: the value is as precise as it gets
    }
    return std::clamp(rounded, minimum, maximum);
}

void Spinner::setValue(double newValue, bool notify) {
    if (std::isnan(newValue)) {
        return;
    }
    const double normalized = normalize(newValue);
    const bool changed = normalized != value;
    value = normalized;
    showValue();
    if (changed && notify) {
        sendChange();
    }
}

void Spinner::setPrecision(Function<int(double)> function, bool refresh) {
    precisionOf = std::move(function);
    if (refresh) {
        value = normalize(value);
        showValue();
    }
}

void Spinner::setClickSpeedOverride(Function<double(double)> function) {
    stepOf = std::move(function);
}

double Spinner::currentStep() const {
    return stepAround(value, 0);
}

double Spinner::stepAround(double around, int modifiers) const {
    const double finest = powerOfTen(-getPrecision());
    double size;
    if (stepOf) {
        size = std::max(stepOf(around), finest);
    } else if (step > 0.) {
        size = step;
    } else {
        // A tenth of the value's order of magnitude, from 1 up (0.1 below 10, 10 around 100,
        // 100 around 6500), at most a tenth of the range.
        size = powerOfTen(int(std::floor(std::log10(std::max(std::abs(around), 1.)))) - 1);
        while (size > (maximum - minimum) / 10. && size > finest) {
            size /= 10.;
        }
        size = std::max(size, finest);
    }
    if (modifiers & wxMOD_SHIFT) {
        size = std::max(size * 0.1, finest);
    }
    if (modifiers & wxMOD_CONTROL) {
        size *= 10.;
    }
    return size;
}

void Spinner::stepBy(double steps, int modifiers) {
    setValue(value + steps * stepAround(value, modifiers), true);
}

void Spinner::commitText() {
    const Optional<double> typed = parseNumber(text->GetValue());
    if (typed) {
        setValue(*typed, true);
    }
    showValue(); // also undoes what was not a number, and shows a clamped value as it is kept
}

void Spinner::showValue() {
    const wxString shown = wxString::FromUTF8(fmt::format("{:.{}f}", value, getPrecision()));
    if (text->GetValue() != shown) {
        // ChangeValue sends no text event; the caret goes to the end as after typing.
        text->ChangeValue(shown);
        text->SetInsertionPointEnd();
    }
    Refresh();
}

void Spinner::sendChange() {
    wxSpinDoubleEvent event(wxEVT_SPINCTRLDOUBLE, GetId(), value);
    event.SetEventObject(this);
    ProcessWindowEvent(event);
}

bool Spinner::Enable(bool enable) {
    const bool changed = SkinnedControl::Enable(enable);
    text->SetForegroundColour(enable ? getSkin().foreground() : getSkin().dimmed());
    text->Refresh();
    Refresh();
    return changed;
}

wxRect Spinner::arrowsRect() const {
    const wxSize size = GetClientSize();
    const int width = scaleByDpi(ARROWS_WIDTH);
    return wxRect(size.x - width, 0, width, size.y);
}

void Spinner::onArrowsMouse(wxMouseEvent& event) {
    const wxEventType type = event.GetEventType();
    if (!IsEnabled()) {
        return;
    }
    if ((type == wxEVT_LEFT_DOWN || type == wxEVT_LEFT_DCLICK) && arrowsRect().Contains(event.GetPosition())) {
        commitText();
        arrowPressed = true;
        dragging = false;
        dragStartY = event.GetPosition().y;
        dragStartValue = value;
        repeatDirection = event.GetPosition().y < GetClientSize().y / 2 ? 1 : -1;
        stepBy(repeatDirection, event.GetModifiers());
        repeatTimer.StartOnce(REPEAT_DELAY_MS);
        if (!HasCapture()) {
            CaptureMouse();
        }
    } else if (type == wxEVT_MOTION && arrowPressed) {
        const int travelled = dragStartY - event.GetPosition().y;
        if (!dragging && std::abs(travelled) >= scaleByDpi(DRAG_THRESHOLD)) {
            dragging = true;
            repeatTimer.Stop();
        }
        if (dragging) {
            const double steps = double(travelled / scaleByDpi(PIXELS_PER_DRAG_STEP));
            setValue(dragStartValue + steps * stepAround(dragStartValue, event.GetModifiers()), true);
        }
    } else if (type == wxEVT_LEFT_UP && arrowPressed) {
        arrowPressed = dragging = false;
        repeatTimer.Stop();
        if (HasCapture()) {
            ReleaseMouse();
        }
    } else if (type == wxEVT_RIGHT_UP && arrowsRect().Contains(event.GetPosition())) {
        setValue(defaultValue, true); // a right click on the arrows restores the default
    }
    Refresh();
}

void Spinner::onWheel(wxMouseEvent& event) {
    if (!IsEnabled() || event.GetWheelAxis() != wxMOUSE_WHEEL_VERTICAL || event.GetWheelDelta() == 0) {
        event.Skip();
        return;
    }
    commitText();
    const int notches = event.GetWheelRotation() / event.GetWheelDelta();
    stepBy(notches == 0 ? (event.GetWheelRotation() > 0 ? 1 : -1) : notches, event.GetModifiers());
}

void Spinner::onKey(wxKeyEvent& event) {
    double steps = 0.;
    switch (event.GetKeyCode()) {
    case WXK_UP:
    case WXK_NUMPAD_UP:
        steps = 1.;
        break;
    case WXK_DOWN:
    case WXK_NUMPAD_DOWN:
        steps = -1.;
        break;
    case WXK_PAGEUP:
    case WXK_NUMPAD_PAGEUP:
        steps = 10.;
        break;
    case WXK_PAGEDOWN:
    case WXK_NUMPAD_PAGEDOWN:
        steps = -10.;
        break;
    case WXK_ESCAPE:
        showValue(); // drops what was typed
        return;
    default:
        event.Skip();
        return;
    }
    commitText();
    stepBy(steps, event.GetModifiers());
    text->SelectAll();
}

void Spinner::paint(wxDC& dc) {
    const wxSize size = GetClientSize();
    const GuiSkin& skin = getSkin();
    const bool focused = text->HasFocus();
    dc.SetPen(wxPen(focused ? skin.accent() : skin.dimmed()));
    dc.SetBrush(wxBrush(skin.field()));
    dc.DrawRectangle(0, 0, size.x, size.y);

    const wxRect arrows = arrowsRect();
    const wxColour arrowColour = IsEnabled() ? (arrowPressed ? skin.accent() : skin.foreground()) : skin.dimmed();
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(arrowColour));
    const int centreX = arrows.x + arrows.width / 2;
    const int half = std::max(scaleByDpi(3), 2);
    const int upY = size.y / 2 - scaleByDpi(2);
    const int downY = size.y / 2 + scaleByDpi(2);
    const wxPoint up[] = {{centreX - half, upY}, {centreX + half, upY}, {centreX, upY - half}};
    const wxPoint down[] = {{centreX - half, downY}, {centreX + half, downY}, {centreX, downY + half}};
    dc.DrawPolygon(3, up);
    dc.DrawPolygon(3, down);
}

wxSize Spinner::DoGetBestSize() const {
    return GetMinSize().IsFullySpecified() ? GetMinSize() : wxSize(scaleByDpi(60), text->GetBestSize().y + 2);
}

} // namespace Vespra::Wx
