#include "gui/windows/DrawPanel.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/region.h>
#include <wx/scrolbar.h>
#include <wx/settings.h>

#include "foundation/DebugLog.h"
#include "foundation/Str.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/PixelProbe.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

/// Shown by the probe in place of the values of a pixel that is not a number.
const wxString NAN_MESSAGE = "ERROR: The pixel contains NaN (Not a Number) value.\n"
                             "This is due to internal error or missing check inside Vespra Image Editor.\n"
                             "Please contact our support and send us this image. We can fix these\n"
                             "problems promptly if we have the image where it happens.";

/// The page step of both bars.
constexpr int PAGE_STEP = 15;

/// `value` / 2^shift, rounded up.
std::int32_t ceilShift(std::int32_t value, int shift) {
    return (value + (std::int32_t(1) << shift) - 1) >> shift;
}

} // namespace

std::int32_t DrawPanel::scrollBarExtent = -1;

DrawPanel::DrawPanel(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL | wxBORDER_NONE) {
    const GuiSkin& skin = activeSkin();
    SetBackgroundColour(skin.get(GuiSkin::IMAGE_BACKGROUND));

    imagePanel =
        new wxPanel(this, wxID_ANY, wxDefaultPosition, wxSize(0, 0), wxTAB_TRAVERSAL | wxBORDER_NONE);
    imagePanel->SetBackgroundStyle(wxBG_STYLE_PAINT);
    imagePanel->SetBackgroundColour(skin.get(GuiSkin::IMAGE_BACKGROUND));

    probe = new PixelProbe(
        imagePanel,
        [this](const wxPoint& screenPoint) -> Optional<PixelProbe::ProbedPixel> {
            const Optional<Pixel> pixel = imagePixelAtScreen(screenPoint);
            if (!pixel || !displayBitmap) {
                return std::nullopt;
            }
            const Bucket region{pixel->x, pixel->y, pixel->x + 1, pixel->y + 1};
            const auto read = [&region](const BitmapFunction& function) {
                const Optional<BitmapImpl<Rgb>> bitmap =
                    function ? function(region, 1.f, DISPLAY_FLAGS) : Optional<BitmapImpl<Rgb>>();
                return bitmap && !bitmap->isEmpty() ? (*bitmap)(0, 0) : Rgb(0.f, 0.f, 0.f, 0.f);
            };
            const Rgb raw = read(rawBitmap);
            return PixelProbe::ProbedPixel{raw, read(displayBitmap), raw.a, *pixel};
        },
        NAN_MESSAGE);

    corner = new wxPanel(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxBORDER_NONE);
    corner->SetBackgroundColour(skin.background());
    corner->Hide();
    horizontalBar = new wxScrollBar(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxSB_HORIZONTAL);
    verticalBar = new wxScrollBar(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxSB_VERTICAL);
    horizontalBar->Hide();
    verticalBar->Hide();

    repaintCallback = [this] { repaint(); };

    for (wxScrollBar* bar : {horizontalBar, verticalBar}) {
        for (const auto type :
             {wxEVT_SCROLL_THUMBTRACK, wxEVT_SCROLL_LINEUP, wxEVT_SCROLL_LINEDOWN, wxEVT_SCROLL_PAGEUP,
              wxEVT_SCROLL_PAGEDOWN, wxEVT_SCROLL_TOP, wxEVT_SCROLL_BOTTOM, wxEVT_SCROLL_CHANGED}) {
            bar->Bind(type, [this](wxScrollEvent& event) {
                updateAfterScroll();
                event.Skip();
            });
        }
    }
    Bind(wxEVT_SIZE, &DrawPanel::onSize, this);
    imagePanel->Bind(wxEVT_PAINT, &DrawPanel::onPaint, this);
    for (const auto type :
         {wxEVT_LEFT_DOWN, wxEVT_LEFT_UP, wxEVT_MIDDLE_DOWN, wxEVT_MIDDLE_UP, wxEVT_RIGHT_DOWN,
          wxEVT_RIGHT_UP, wxEVT_MOTION, wxEVT_LEAVE_WINDOW, wxEVT_LEFT_DCLICK}) {
        imagePanel->Bind(type, &DrawPanel::onMouse, this);
    }
    imagePanel->Bind(wxEVT_MOUSE_CAPTURE_LOST, [](wxMouseCaptureLostEvent&) {});
    bindScrollAndZoomEvents(imagePanel);
    // The wheel over the margin around a small image zooms as well.
    Bind(wxEVT_MOUSEWHEEL, &DrawPanel::onMarginWheel, this);
    Bind(wxEVT_MAGNIFY, &DrawPanel::onMarginWheel, this);
}

DrawPanel::~DrawPanel() {
    repaintCallback.cancel();
    if (imagePanel->HasCapture()) {
        imagePanel->ReleaseMouse();
    }
}

void DrawPanel::setImage(Pixel size, BitmapFunction raw, BitmapFunction display) {
    imageSize = size;
    rawBitmap = std::move(raw);
    displayBitmap = std::move(display);
    probe->Hide();
    // A new image starts at its top-left corner: no point of the old one is kept in view.
    horizontalBar->SetThumbPosition(0);
    verticalBar->SetThumbPosition(0);
    changeZoom(0, Pivot::NONE);
}

void DrawPanel::setZoom(int level) {
    changeZoom(level, Pivot::CENTRE);
}

void DrawPanel::zoomBy(int steps, const wxPoint& point) {
    changeZoom(zoomLevel + steps, Pivot::POINT, point);
}

void DrawPanel::changeZoom(int level, Pivot pivot, const wxPoint& point) {
    // The point of the image panel that is kept, before and after the new layout: its centre,
    // or the pointer, which stays where it is on the screen while the image panel may move.
    const wxPoint pointInDrawPanel = point + imagePanel->GetPosition();
    const auto pivotInPanel = [&]() -> std::pair<double, double> {
        if (pivot == Pivot::CENTRE) {
            const wxSize size = imagePanel->GetSize();
            return {size.x / 2., size.y / 2.};
        }
        const wxPoint inPanel = pointInDrawPanel - imagePanel->GetPosition();
        return {inPanel.x, inPanel.y};
    };

    // The image point under the pivot, in image pixels; fractional, so that zooming in and out
    // again comes back to the same place.
    Optional<std::pair<double, double>> anchor;
    if (pivot != Pivot::NONE) {
        const wxPoint scroll = getScrollPosition();
        const double scale = sourcePixelsPerDisplayPixel();
        const auto [px, py] = pivotInPanel();
        const double x = (scroll.x + px) * scale;
        const double y = (scroll.y + py) * scale;
        if (x >= 0. && y >= 0. && x < imageSize.x && y < imageSize.y) {
            anchor = std::make_pair(x, y);
        }
    }

    zoomLevel = std::clamp(level, MIN_ZOOM, MAX_ZOOM);

    Freeze();
    layoutChildren();
    // The pixels on the screen are of the old scale: none of them can be moved.
    shownRectangle = wxRect();
    validPixels.Clear();
    imagePanel->Refresh(true);
    if (anchor) {
        const double factor = 1. / sourcePixelsPerDisplayPixel();
        const auto [px, py] = pivotInPanel();
        setScrollPosition(anchor->first * factor - px, anchor->second * factor - py);
    }
    updateAfterScroll();
    Thaw();
    if (onZoomChanged) {
        onZoomChanged();
    }
}

void DrawPanel::scrollBy(int dx, int dy) {
    const wxPoint scroll = getScrollPosition();
    setScrollPosition(scroll.x + double(dx) * LINE_STEP, scroll.y + double(dy) * LINE_STEP);
    updateAfterScroll();
}

Pixel DrawPanel::imageSizeOnScreen() const {
    if (zoomLevel >= 0) {
        return {imageSize.x << zoomLevel, imageSize.y << zoomLevel};
    }
    return {imageSize.x >> -zoomLevel, imageSize.y >> -zoomLevel};
}

void DrawPanel::repaint() {
    validPixels.Clear();
    imagePanel->Refresh(true);
    imagePanel->Update();
}

wxWindow* DrawPanel::getImagePanel() {
    return imagePanel;
}

wxPoint DrawPanel::getScrollPosition() const {
    return {horizontalBar->IsShown() ? horizontalBar->GetThumbPosition() : 0,
            verticalBar->IsShown() ? verticalBar->GetThumbPosition() : 0};
}

bool DrawPanel::isHorizontalBarShown() const {
    return horizontalBar->IsShown();
}

bool DrawPanel::isVerticalBarShown() const {
    return verticalBar->IsShown();
}

float DrawPanel::sourcePixelsPerDisplayPixel() const {
    // Both branches are exact powers of two.
    return zoomLevel > 0 ? 1.f / float(1 << zoomLevel) : float(1 << -zoomLevel);
}

std::int32_t DrawPanel::toImage(std::int32_t display) const {
    return zoomLevel >= 0 ? display >> zoomLevel : display * (std::int32_t(1) << -zoomLevel);
}

std::int32_t DrawPanel::toDisplay(std::int32_t image) const {
    return zoomLevel >= 0 ? image * (std::int32_t(1) << zoomLevel) : image >> -zoomLevel;
}

Bucket DrawPanel::regionOfRectangle(const wxRect& rectangle, const wxPoint& scroll) const {
    const std::int32_t x = rectangle.x + scroll.x;
    const std::int32_t y = rectangle.y + scroll.y;
    Bucket region;
    if (zoomLevel >= 0) {
        // The truncated size plus one covers a rectangle that starts inside a magnified pixel;
        // past a factor of two such a rectangle may reach one pixel further still.
        region.x0 = x >> zoomLevel;
        region.y0 = y >> zoomLevel;
        region.x1 = region.x0 + std::max((rectangle.width >> zoomLevel) + 1,
                                         ceilShift(x + rectangle.width, zoomLevel) - region.x0);
        region.y1 = region.y0 + std::max((rectangle.height >> zoomLevel) + 1,
                                         ceilShift(y + rectangle.height, zoomLevel) - region.y0);
    } else {
        const std::int32_t factor = std::int32_t(1) << -zoomLevel;
        region.x0 = x * factor;
        region.y0 = y * factor;
        region.x1 = region.x0 + rectangle.width * factor + 1;
        region.y1 = region.y0 + rectangle.height * factor + 1;
    }
    // The operators read only inside the image.
    return region.intersect(Bucket::fromSize(imageSize.x, imageSize.y));
}

void DrawPanel::layoutChildren() {
    if (scrollBarExtent < 0) {
        scrollBarExtent = std::max(horizontalBar->GetSize().y, horizontalBar->GetBestSize().y);
        if (scrollBarExtent <= 0) {
            scrollBarExtent = wxSystemSettings::GetMetric(wxSYS_HSCROLL_Y, this);
        }
    }
    const std::int32_t t = scrollBarExtent;
    const Pixel full = imageSizeOnScreen();
    const wxSize available = GetClientSize();
    int a = available.x;
    int b = available.y;
    bool horizontal = false;
    bool vertical = false;
    // Each bar is tested again after the other took its room.
    if (a < full.x) {
        horizontal = true;
        b -= t;
        if (b < full.y) {
            vertical = true;
            a -= t;
        }
    } else if (b < full.y) {
        vertical = true;
        a -= t;
        if (a < full.x) {
            horizontal = true;
            b -= t;
        }
    }
    a = std::max(a, 0);
    b = std::max(b, 0);
    const wxSize shown(std::min(full.x, a), std::min(full.y, b));
    imagePanel->SetSize((a - shown.x) / 2, (b - shown.y) / 2, shown.x, shown.y);

    const auto configure = [](wxScrollBar* bar, bool needed, const wxRect& place, int thumb, int range) {
        const int position = needed ? std::clamp(bar->GetThumbPosition(), 0, std::max(range - thumb, 0)) : 0;
        bar->SetScrollbar(position, thumb, range, PAGE_STEP);
        if (needed) {
            bar->SetSize(place);
        }
        bar->Show(needed);
    };
    configure(horizontalBar, horizontal, wxRect(0, b, a, t), shown.x, full.x);
    configure(verticalBar, vertical, wxRect(a, 0, t, b), shown.y, full.y);
    corner->SetSize(a, b, t, t);
    corner->Show(horizontal && vertical);
}

void DrawPanel::setScrollPosition(double x, double y) {
    const auto place = [](wxScrollBar* bar, double position) {
        if (bar->IsShown()) {
            const int limit = std::max(bar->GetRange() - bar->GetThumbSize(), 0);
            bar->SetThumbPosition(std::clamp(int(std::lround(position)), 0, limit));
        }
    };
    place(horizontalBar, x);
    place(verticalBar, y);
}

void DrawPanel::updateAfterScroll() {
    const wxPoint scroll = getScrollPosition();
    const wxRect visible(scroll, imagePanel->GetClientSize());
    if (!shownRectangle.IsEmpty() && shownRectangle.GetPosition() == scroll) {
        return;
    }
    if (!shownRectangle.IsEmpty() && visible.Intersects(shownRectangle)) {
        // The pixels that stay in view move; only the strip that comes in is painted.
        const wxPoint shift = shownRectangle.GetPosition() - scroll;
        shownRectangle = visible;
        imagePanel->ScrollWindow(shift.x, shift.y);
        imagePanel->Update();
        scheduleRepaint();
    } else {
        shownRectangle = visible;
        imagePanel->Refresh(true);
        imagePanel->Update();
    }
}

void DrawPanel::scheduleRepaint() {
    if (!repaintCallback.isPending()) {
        repaintCallback.scheduleDelayed(REPAINT_DELAY_MS);
    }
}

void DrawPanel::onSize(wxSizeEvent& event) {
    layoutChildren();
    // A bar pulled back by a larger window moves the picture.
    updateAfterScroll();
    scheduleRepaint();
    event.Skip();
}

void DrawPanel::onPaint(wxPaintEvent&) {
    wxPaintDC dc(imagePanel);
    const wxSize size = imagePanel->GetClientSize();
    const wxPoint scroll = getScrollPosition();
    shownRectangle = wxRect(scroll, size);
    if (size.x <= 0 || size.y <= 0) {
        return;
    }
    const bool moved = alignShownPixels(size, scroll);
    wxMemoryDC memory(shownPixels);
    memory.SetPen(*wxTRANSPARENT_PEN);
    memory.SetBrush(wxBrush(activeSkin().get(GuiSkin::IMAGE_BACKGROUND)));
    const float scale = sourcePixelsPerDisplayPixel();
    const wxRegion& update = imagePanel->GetUpdateRegion();
    // The paint after a scroll takes the pixels that stayed in view from what was shown and
    // asks only for those that came in. Any other paint asks for all it covers.
    wxRegion missing(update);
    if (moved) {
        missing.Subtract(validPixels);
    }
    bool picture = true;
    for (wxRegionIterator rectangles(missing); rectangles; ++rectangles) {
        const wxRect rectangle = rectangles.GetRect();
        if (paintRectangle(memory, rectangle, scroll, scale)) {
            validPixels.Union(rectangle);
        } else {
            picture = false;
        }
    }
    for (wxRegionIterator rectangles(update); rectangles; ++rectangles) {
        const wxRect rectangle = rectangles.GetRect();
        dc.Blit(rectangle.GetPosition(), rectangle.GetSize(), &memory, rectangle.GetPosition());
    }
    if (picture) {
        ++paintCount;
    }
}

bool DrawPanel::alignShownPixels(const wxSize& size, const wxPoint& scroll) {
    if (!shownPixels.IsOk() || shownPixels.GetSize() != size || shownLevel != zoomLevel) {
        if (!shownPixels.IsOk() || shownPixels.GetSize() != size) {
            shownPixels = wxBitmap(size, 24);
        }
        validPixels.Clear();
        shownLevel = zoomLevel;
        shownOrigin = scroll;
        return false;
    }
    if (scroll == shownOrigin) {
        return false;
    }
    // The picture moves the other way from the scroll; what stays in view is kept.
    const wxPoint shift = shownOrigin - scroll;
    shownOrigin = scroll;
    validPixels.Offset(shift);
    validPixels.Intersect(wxRect(size));
    if (validPixels.IsEmpty()) {
        return false;
    }
    if (!sparePixels.IsOk() || sparePixels.GetSize() != size) {
        sparePixels = wxBitmap(size, 24);
    }
    {
        wxMemoryDC from(shownPixels);
        wxMemoryDC to(sparePixels);
        to.Blit(shift, size, &from, wxPoint(0, 0));
    }
    std::swap(shownPixels, sparePixels);
    return true;
}

bool DrawPanel::paintRectangle(wxDC& dc, const wxRect& rectangle, const wxPoint& scroll, float scale) {
    if (!displayBitmap) {
        dc.DrawRectangle(rectangle);
        return false;
    }
    const Bucket region = regionOfRectangle(rectangle, scroll);
    const Optional<BitmapImpl<Rgb>> bitmap =
        region.isEmpty() ? Optional<BitmapImpl<Rgb>>() : displayBitmap(region, scale, DISPLAY_FLAGS);
    if (!bitmap || bitmap->isEmpty()) {
        // The chain is not ready; the end of its work asks for another paint.
        dc.DrawRectangle(rectangle);
        return false;
    }
    Detail::debugPrintImpl(
        Str::getFormatted("Repainting image {} {} {} {}", region.x0, region.y0, region.x1, region.y1));
    const wxRect placed(toDisplay(region.x0) - scroll.x, toDisplay(region.y0) - scroll.y, bitmap->width(),
                        bitmap->height());
    if (!placed.Contains(rectangle)) {
        dc.DrawRectangle(rectangle);
    }
    dc.DrawBitmap(toWxBitmap(*bitmap, false), placed.x, placed.y, false);
    return true;
}

DrawPanel::MouseEvent DrawPanel::makeMouseEvent(const wxMouseEvent& event) const {
    const wxPoint display = event.GetPosition() + getScrollPosition();
    return MouseEvent(event, display, Pixel{toImage(display.x), toImage(display.y)});
}

Optional<Pixel> DrawPanel::imagePixelAtScreen(const wxPoint& screenPoint) const {
    const wxPoint point = imagePanel->ScreenToClient(screenPoint);
    if (!wxRect(imagePanel->GetClientSize()).Contains(point)) {
        return std::nullopt;
    }
    const wxPoint display = point + getScrollPosition();
    const Pixel pixel{toImage(display.x), toImage(display.y)};
    if (!Bucket::fromSize(imageSize.x, imageSize.y).contains(pixel)) {
        return std::nullopt;
    }
    return pixel;
}

void DrawPanel::onMouse(wxMouseEvent& event) {
    const wxEventType type = event.GetEventType();
    if (type == wxEVT_LEFT_DOWN) {
        if (onLeftDown) {
            onLeftDown(makeMouseEvent(event));
        }
        event.Skip();
    } else if (type == wxEVT_LEFT_UP) {
        if (onLeftUp) {
            onLeftUp(makeMouseEvent(event));
        }
        event.Skip();
    } else if (type == wxEVT_MIDDLE_DOWN) {
        const MouseEvent mouse = makeMouseEvent(event);
        panAnchor = mouse.getImagePosition();
        panAnchorOffset =
            mouse.getDisplayPosition() - wxPoint(toDisplay(panAnchor.x), toDisplay(panAnchor.y));
        if (!imagePanel->HasCapture()) {
            imagePanel->CaptureMouse();
        }
    } else if (type == wxEVT_MIDDLE_UP) {
        if (imagePanel->HasCapture()) {
            imagePanel->ReleaseMouse();
        }
    } else if (type == wxEVT_RIGHT_DOWN) {
        probe->updatePosition(imagePanel->ClientToScreen(event.GetPosition()));
    } else if (type == wxEVT_RIGHT_UP || type == wxEVT_LEAVE_WINDOW) {
        probe->Hide();
        event.Skip();
    } else if (type == wxEVT_LEFT_DCLICK) {
        // The frame fits the image to the window on a double click.
        event.ResumePropagation(wxEVENT_PROPAGATE_MAX);
        event.Skip();
    } else if (type == wxEVT_MOTION) {
        if (event.Dragging() && event.MiddleIsDown() && imagePanel->HasCapture()) {
            const wxPoint anchor = wxPoint(toDisplay(panAnchor.x), toDisplay(panAnchor.y)) + panAnchorOffset;
            const wxPoint target = anchor - event.GetPosition();
            setScrollPosition(target.x, target.y);
            updateAfterScroll();
        }
        if (event.RightIsDown()) {
            probe->updatePosition(imagePanel->ClientToScreen(event.GetPosition()));
        }
        if (event.Dragging() && event.LeftIsDown() && onLeftDrag) {
            onLeftDrag(makeMouseEvent(event));
        }
        if (cursorFor) {
            const wxStockCursor cursor = cursorFor(makeMouseEvent(event));
            if (cursor != currentCursor) {
                currentCursor = cursor;
                imagePanel->SetCursor(wxCursor(cursor));
            }
        }
        event.Skip();
    }
}

void DrawPanel::onMarginWheel(wxMouseEvent& event) {
    // Passed on as an event of the image panel, at the same point of the screen.
    wxMouseEvent moved(event);
    moved.SetPosition(event.GetPosition() - imagePanel->GetPosition());
    moved.SetEventObject(imagePanel);
    moved.SetId(imagePanel->GetId());
    imagePanel->GetEventHandler()->ProcessEvent(moved);
}

} // namespace Vespra::Wx
