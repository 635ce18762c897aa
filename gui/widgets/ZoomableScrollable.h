#pragma once

#include <wx/event.h>
#include <wx/window.h>

namespace Vespra::Wx {

/// The zoom and scroll of a view by the mouse wheel and the touchpad: the wheel zooms about the
/// pointer, Shift with the wheel and a sideways wheel scroll sideways, Ctrl with the wheel
/// scrolls up and down, and a pinch zooms.
class ZoomableScrollable {
public:
    virtual ~ZoomableScrollable() = default;

    /// Binds the wheel and the magnify gesture of `window` to the operations below.
    void bindScrollAndZoomEvents(wxWindow* window);

protected:
    /// `steps` levels in (positive) or out (negative), about `point` in the window's pixels.
    virtual void zoomBy(int steps, const wxPoint& point) = 0;
    /// Scrolls by whole lines of the view.
    virtual void scrollLines(int dx, int dy) = 0;

private:
    void onWheel(wxMouseEvent& event);
    void onMagnify(wxMouseEvent& event);

    /// Wheel rotation not yet turned into whole steps (high-resolution wheels send fractions).
    int pendingRotation = 0;
    double pendingMagnification = 0.;
};

} // namespace Vespra::Wx
