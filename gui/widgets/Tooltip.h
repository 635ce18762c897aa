#pragma once

#include <wx/popupwin.h>
#include <wx/timer.h>

namespace Vespra::Wx {

/// A tooltip in the skin's colours for one window: it appears when the mouse rests on the window
/// and goes when the mouse leaves, clicks or types. Long texts wrap; "\n" breaks lines. An empty
/// text shows nothing.
class TooltipWindow : public wxEvtHandler {
public:
    /// Watches `window`, which owns nothing of this object: the owner keeps it alive as long as
    /// the window (as a member of the window's class, for example).
    explicit TooltipWindow(wxWindow* window);
    ~TooltipWindow() override;

    TooltipWindow(const TooltipWindow&) = delete;
    TooltipWindow& operator=(const TooltipWindow&) = delete;

    void setTooltip(const wxString& text);
    const wxString& getTooltip() const { return text; }

    /// Shows the tooltip at once at a screen point, as a rest of the mouse there would.
    void showAt(const wxPoint& screenPoint);
    void hide();
    bool isShown() const;

private:
    class Popup;

    // Bound as methods of this handler, so that wxWidgets unbinds them when it goes.
    void onMouse(wxMouseEvent& event);
    void onKey(wxKeyEvent& event);

    wxWindow* window;
    wxString text;
    Popup* popup = nullptr;
    wxTimer showTimer;
    wxTimer leaveTimer;
    wxPoint lastMouse;
};

/// Gives `window` a tooltip that lives as long as the window; answers it for later changes.
TooltipWindow& attachTooltip(wxWindow* window, const wxString& text);

/// A handle of a tooltip that lives as long as its window; the handle itself may go at once.
class Tooltip {
public:
    Tooltip(wxWindow* parent, const wxString& text);

    void setText(const wxString& text);

private:
    TooltipWindow* window;
};

/// Adds a skinned tooltip to a control class.
template <class Base>
class TooltipMixin : public Base {
public:
    template <class... Args>
    explicit TooltipMixin(Args&&... args) : Base(std::forward<Args>(args)...), tooltip(this) {}

    void setTooltip(const wxString& text) { tooltip.setTooltip(text); }
    const wxString& getTooltip() const { return tooltip.getTooltip(); }

private:
    TooltipWindow tooltip;
};

} // namespace Vespra::Wx
