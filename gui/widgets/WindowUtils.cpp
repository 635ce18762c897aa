#include "gui/widgets/WindowUtils.h"

#include <algorithm>
#include <cmath>

#include <smmintrin.h>

#include <wx/display.h>
#include <wx/font.h>
#include <wx/image.h>
#include <wx/settings.h>
#include <wx/toplevel.h>

#include "gui/widgets/Icons.h"

namespace Vespra::Wx {

int scaleByDpi(int value) {
    return wxWindow::FromDIP(value, nullptr);
}

wxPoint scaleByDpi(const wxPoint& value) {
    return wxWindow::FromDIP(value, nullptr);
}

wxSize scaleByDpi(const wxSize& value) {
    return wxWindow::FromDIP(value, nullptr);
}

Pixel scaleByDpi(const Pixel& value) {
    return {scaleByDpi(value.x), scaleByDpi(value.y)};
}

wxBitmap scaleByDpi(const wxBitmap& bitmap) {
    const wxSize scaled = scaleByDpi(bitmap.GetSize());
    if (!bitmap.IsOk() || scaled == bitmap.GetSize()) {
        return bitmap;
    }
    return wxBitmap(bitmap.ConvertToImage().Scale(scaled.x, scaled.y, wxIMAGE_QUALITY_HIGH));
}

wxRect getMonitorRegionByWindow(const wxWindow* window) {
    const int index = wxDisplay::GetFromWindow(window);
    return wxDisplay(index == wxNOT_FOUND ? 0u : unsigned(index)).GetClientArea();
}

wxRect getMonitorRegionByPoint(const wxPoint& point) {
    const int index = wxDisplay::GetFromPoint(point);
    return wxDisplay(index == wxNOT_FOUND ? 0u : unsigned(index)).GetClientArea();
}

void smartPositionWindow(wxWindow* window, const wxPoint& point) {
    const wxRect area = getMonitorRegionByPoint(point);
    const wxSize size = window->GetSize();
    // Right and bottom first, so that a window larger than the monitor keeps its top-left on it.
    const int x = std::max(area.GetLeft(), std::min(point.x, area.GetRight() + 1 - size.x));
    const int y = std::max(area.GetTop(), std::min(point.y, area.GetBottom() + 1 - size.y));
    window->Move(x, y);
}

wxWindow* findWindowByPosition(wxWindow* root, const wxPoint& point, FindWindowFlag flags) {
    if (root == nullptr || !root->IsShown() || !root->GetScreenRect().Contains(point)) {
        return nullptr;
    }
    if (flags == FindWindowFlag::ENABLED && !root->IsEnabled()) {
        return nullptr;
    }
    const wxWindowList& children = root->GetChildren();
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        if ((*child)->IsTopLevel()) {
            continue;
        }
        if (wxWindow* found = findWindowByPosition(*child, point, flags)) {
            return found;
        }
    }
    return root;
}

void applySkinRecursive(wxWindow* window, const GuiSkin& skin, GuiSkin::Position foreground,
                        GuiSkin::Position background) {
    window->SetForegroundColour(skin.get(foreground));
    window->SetBackgroundColour(skin.get(background));
    for (wxWindow* child : window->GetChildren()) {
        if (!child->IsTopLevel()) {
            applySkinRecursive(child, skin, foreground, background);
        }
    }
    window->Refresh();
}

void setDefaultFontSize(wxFont& font, double scale) {
    const wxFont defaultFont = wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT);
    font.SetFractionalPointSize(defaultFont.GetFractionalPointSize() * scale);
}

void setVespraIcon(wxTopLevelWindow* window) {
    window->SetIcons(getApplicationIcons());
}

namespace {

/// Four lanes of display values to four bytes: clamped to 0..1, scaled, rounded to nearest.
/// The maximum before the minimum turns a NaN into 0.
inline __m128i toBytes(__m128 value) {
    const __m128 clamped = _mm_min_ps(_mm_max_ps(value, _mm_setzero_ps()), _mm_set1_ps(1.f));
    const __m128i integers = _mm_cvtps_epi32(_mm_mul_ps(clamped, _mm_set1_ps(255.f)));
    return _mm_packus_epi16(_mm_packs_epi32(integers, integers), _mm_setzero_si128());
}

} // namespace

wxBitmap toWxBitmap(const BitmapImpl<Rgb>& bitmap, bool withAlpha) {
    const int width = bitmap.width();
    const int height = bitmap.height();
    if (width == 0 || height == 0) {
        return wxBitmap();
    }
    wxImage image(width, height, false);
    if (withAlpha) {
        image.InitAlpha();
    }
    unsigned char* rgb = image.GetData();
    unsigned char* alpha = withAlpha ? image.GetAlpha() : nullptr;
    const std::size_t count = std::size_t(width) * std::size_t(height);
    const Rgb* pixels = bitmap.data();
    for (std::size_t i = 0; i < count; ++i) {
        const int bytes = _mm_cvtsi128_si32(toBytes(_mm_load_ps(&pixels[i].r)));
        rgb[3 * i] = static_cast<unsigned char>(bytes);
        rgb[3 * i + 1] = static_cast<unsigned char>(bytes >> 8);
        rgb[3 * i + 2] = static_cast<unsigned char>(bytes >> 16);
        if (alpha != nullptr) {
            alpha[i] = static_cast<unsigned char>(bytes >> 24);
        }
    }
    return wxBitmap(image);
}

WindowHandle getWindowNativeHandle(const wxWindow* window) {
    return window == nullptr ? nullptr : static_cast<WindowHandle>(window->GetHandle());
}

wxWindow* findTopLevelWxWindowForNativeHandle(WindowHandle handle) {
    for (wxWindow* window : wxTopLevelWindows) {
        if (getWindowNativeHandle(window) == handle) {
            return window;
        }
    }
    return nullptr;
}

ScopedClippingRegion::ScopedClippingRegion(wxDC& dc, const wxRect& rectangle) : dc(dc) {
    wxCoord x, y, w, h;
    hadClipping = dc.GetClippingBox(&x, &y, &w, &h);
    previous = wxRect(x, y, w, h);
    if (hadClipping) {
        dc.DestroyClippingRegion();
        dc.SetClippingRegion(rectangle.Intersect(previous));
    } else {
        dc.SetClippingRegion(rectangle);
    }
}

ScopedClippingRegion::~ScopedClippingRegion() {
    dc.DestroyClippingRegion();
    if (hadClipping) {
        dc.SetClippingRegion(previous);
    }
}

} // namespace Vespra::Wx
