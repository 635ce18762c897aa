#pragma once

#include <wx/event.h>
#include <wx/spinctrl.h>
#include <wx/textctrl.h>
#include <wx/timer.h>

#include "foundation/Pointers.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

/// Sent (as a wxCommandEvent with the spinner's id) when the spinner's text field gets or loses
/// the keyboard focus, so that owners can hold back work while the user types.
wxDECLARE_EVENT(CUSTSPINNER_TEXT_FOCUS_GET, wxCommandEvent);
wxDECLARE_EVENT(CUSTSPINNER_TEXT_FOCUS_LOST, wxCommandEvent);

/// A numeric field with a pair of arrows. The value changes by typing (committed with Enter or
/// when the field loses the focus), by the Up and Down keys (Page Up and Page Down for ten
/// steps), by the mouse wheel, by a click on an arrow and by dragging the arrows up or down.
/// Shift makes a step ten times finer, Ctrl ten times coarser. Each change by the user sends one
/// `wxEVT_SPINCTRLDOUBLE` with the new value, already clamped to the limits and rounded to the
/// precision.
class Spinner : public SkinnedControl {
public:
    /// `precision` is the number of decimals shown and kept; a `step` of 0 lets the spinner
    /// choose a step by the magnitude of the value. `width` is in device-independent pixels.
    Spinner(wxWindow* parent, wxWindowID id, int width, double minimum, double maximum, double defaultValue,
            int precision, double step);

    double getValue() const { return value; }
    double getMinimum() const { return minimum; }
    double getMaximum() const { return maximum; }
    double getDefault() const { return defaultValue; }
    int getPrecision() const;

    /// Shows `newValue`, clamped and rounded; with `notify` sends the change event when the value
    /// changed. A NaN is ignored.
    void setValue(double newValue, bool notify);

    /// Decimals as a function of the value (e.g. more for small values); `refresh` shows the
    /// present value again with it.
    void setPrecision(Function<int(double value)> precisionOf, bool refresh);

    /// The step of one click or key press as a function of the value, in place of the
    /// automatic step; null restores the automatic one.
    void setClickSpeedOverride(Function<double(double value)> stepOf);

    /// The step that one click applies now, without modifier keys.
    double currentStep() const;

    wxTextCtrl* getTextControl() const { return text; }

    bool Enable(bool enable = true) override;

protected:
    void paint(wxDC& dc) override;
    wxSize DoGetBestSize() const override;

private:
    void createControls(int width);
    void layoutControls();
    void bindEvents();

    /// One step at the value `around`, made finer by Shift and coarser by Ctrl in `modifiers`.
    double stepAround(double around, int modifiers) const;
    /// Moves the value by `steps` steps of `modifiers`' size, as the user did.
    void stepBy(double steps, int modifiers);
    /// The value rounded to the precision and clamped to the limits.
    double normalize(double candidate) const;
    /// Takes what the user typed: a number becomes the value, anything else is undone.
    void commitText();
    void showValue();
    void sendChange();

    wxRect arrowsRect() const;
    void onArrowsMouse(wxMouseEvent& event);
    void onWheel(wxMouseEvent& event);
    void onKey(wxKeyEvent& event);

    wxTextCtrl* text = nullptr;
    double minimum;
    double maximum;
    double defaultValue;
    double value;
    int precision;
    double step;
    Function<int(double)> precisionOf;
    Function<double(double)> stepOf;

    /// The arrows: a press at `dragStartY` with `dragStartValue`, which becomes a drag once the
    /// mouse moved a few pixels, and a click otherwise.
    bool arrowPressed = false;
    bool dragging = false;
    int dragStartY = 0;
    double dragStartValue = 0.;
    /// A press held on an arrow repeats its step.
    wxTimer repeatTimer;
    int repeatDirection = 0;
};

} // namespace Vespra::Wx
