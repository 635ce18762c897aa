#include "gui/widgets/ZoomableScrollable.h"

#include <wx/utils.h>
#include <wx/window.h>

namespace Vespra::Wx {

namespace {

/// Lines scrolled per notch of the wheel.
constexpr int LINES_PER_NOTCH = 3;
/// The pinch that makes one zoom level: a doubling or halving of the picture.
constexpr double MAGNIFICATION_PER_LEVEL = 1.;

/// Where the pointer is now, in the coordinates of the window of `event`. A fast turn of the wheel
/// queues several events whose positions the X server fixed before the first zoom moved the
/// window; the pointer itself has not moved.
wxPoint pointerNow(const wxMouseEvent& event) {
    const auto* window = dynamic_cast<const wxWindow*>(event.GetEventObject());
    return window ? window->ScreenToClient(wxGetMousePosition()) : event.GetPosition();
}

} // namespace

void ZoomableScrollable::bindScrollAndZoomEvents(wxWindow* window) {
    window->Bind(wxEVT_MOUSEWHEEL, &ZoomableScrollable::onWheel, this);
    window->Bind(wxEVT_MAGNIFY, &ZoomableScrollable::onMagnify, this);
}

void ZoomableScrollable::onWheel(wxMouseEvent& event) {
    const int delta = event.GetWheelDelta() > 0 ? event.GetWheelDelta() : 120;
    pendingRotation += event.GetWheelRotation();
    const int notches = pendingRotation / delta;
    pendingRotation -= notches * delta;
    if (notches == 0) {
        return;
    }
    if (event.GetWheelAxis() == wxMOUSE_WHEEL_HORIZONTAL) {
        scrollLines(notches * LINES_PER_NOTCH, 0);
    } else if (event.ShiftDown()) {
        scrollLines(-notches * LINES_PER_NOTCH, 0);
    } else if (event.ControlDown()) {
        scrollLines(0, -notches * LINES_PER_NOTCH);
    } else {
        zoomBy(notches, pointerNow(event));
    }
}

void ZoomableScrollable::onMagnify(wxMouseEvent& event) {
    pendingMagnification += event.GetMagnification();
    const int steps = int(pendingMagnification / MAGNIFICATION_PER_LEVEL);
    if (steps != 0) {
        pendingMagnification -= steps * MAGNIFICATION_PER_LEVEL;
        zoomBy(steps, pointerNow(event));
    }
}

} // namespace Vespra::Wx
