#pragma once

#include <wx/bitmap.h>
#include <wx/dc.h>
#include <wx/gdicmn.h>
#include <wx/window.h>

#include "foundation/Bitmap.h"
#include "foundation/Pixel.h"
#include "foundation/Rgb.h"
#include "gui/widgets/GuiSkin.h"

class wxTopLevelWindow;
class wxFont;

namespace Vespra::Wx {

/// A native window, as file dialogs and other processes know it (a GtkWidget here).
using WindowHandle = void*;

/// Device-independent sizes (those of a 96 dpi screen) in the pixels of the screen.
int scaleByDpi(int value);
wxPoint scaleByDpi(const wxPoint& value);
wxSize scaleByDpi(const wxSize& value);
Pixel scaleByDpi(const Pixel& value);
/// The bitmap rescaled by the screen's factor; the same bitmap on an unscaled screen.
wxBitmap scaleByDpi(const wxBitmap& bitmap);

/// The work area (the screen less panels and docks) of the monitor that shows most of
/// `window`, or of the monitor under `point`.
wxRect getMonitorRegionByWindow(const wxWindow* window);
wxRect getMonitorRegionByPoint(const wxPoint& point);

/// Puts the top-left corner of `window` at the screen point, moved as little as needed for the
/// whole window to lie on that monitor's work area.
void smartPositionWindow(wxWindow* window, const wxPoint& point);

enum class FindWindowFlag : int {
    /// Only windows that are shown; always on.
    SHOWN = 0,
    /// Only enabled windows.
    ENABLED = 1,
};

/// The deepest shown window of the tree of `root` (itself included) whose screen rectangle
/// holds `point`, or null. Later children win over earlier ones, as they are drawn on top.
wxWindow* findWindowByPosition(wxWindow* root, const wxPoint& point, FindWindowFlag flags = FindWindowFlag::SHOWN);

/// Paints `window` and all its descendants with the skin's foreground and background.
void applySkinRecursive(wxWindow* window, const GuiSkin& skin,
                        GuiSkin::Position foreground = GuiSkin::FOREGROUND,
                        GuiSkin::Position background = GuiSkin::BACKGROUND);

/// Gives `font` the default GUI font's size times `scale`.
void setDefaultFontSize(wxFont& font, double scale);

/// The application's icon, at every size a window manager asks for.
void setVespraIcon(wxTopLevelWindow* window);

/// Display-encoded pixels (0..1, already through the colour chain) as an 8-bit bitmap:
/// clamped, rounded to nearest, NaN as 0. With `withAlpha` the fourth lane becomes the alpha.
wxBitmap toWxBitmap(const BitmapImpl<Rgb>& bitmap, bool withAlpha);

WindowHandle getWindowNativeHandle(const wxWindow* window);
/// The top-level window of this program whose native window is `handle`, or null.
wxWindow* findTopLevelWxWindowForNativeHandle(WindowHandle handle);

/// Clips a device context to a rectangle for a scope; the previous clipping comes back after it.
class ScopedClippingRegion {
public:
    ScopedClippingRegion(wxDC& dc, const wxRect& rectangle);
    ~ScopedClippingRegion();

    ScopedClippingRegion(const ScopedClippingRegion&) = delete;
    ScopedClippingRegion& operator=(const ScopedClippingRegion&) = delete;

private:
    wxDC& dc;
    wxRect previous;
    bool hadClipping;
};

} // namespace Vespra::Wx
