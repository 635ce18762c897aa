#pragma once

#include <cstdint>

#include <wx/bitmap.h>
#include <wx/event.h>
#include <wx/gdicmn.h>
#include <wx/panel.h>
#include <wx/region.h>

#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/DelayedCallback.h"
#include "foundation/Optional.h"
#include "foundation/Pixel.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "gui/widgets/ZoomableScrollable.h"

class wxDC;
class wxScrollBar;

namespace Vespra::Wx {

class PixelProbe;

/// The view of the open image: the selected element at a power-of-two zoom, with scroll bars of
/// its own. It keeps no picture: each paint asks the bitmap function for just the damaged
/// rectangle at the current zoom. The middle button pans, the right button shows the pixel
/// probe, the wheel zooms about the pointer and the left button belongs to whoever set
/// `onLeftDown` and `onLeftUp`.
class DrawPanel : public wxPanel, public ZoomableScrollable {
public:
    /// The pixels of `region` (image pixels) at `scale` (source pixels per output pixel), as the
    /// operators answer a pull; empty while the chain cannot deliver them.
    using BitmapFunction =
        Function<Optional<BitmapImpl<Rgb, 0>>(const Bucket& region, float scale, std::uint32_t flags)>;

    /// A mouse event of the image with its position in display pixels of the whole image (the
    /// window position plus the scroll position) and in image pixels.
    class MouseEvent : public wxMouseEvent {
    public:
        MouseEvent(const wxMouseEvent& event, const wxPoint& displayPosition, const Pixel& imagePosition)
            : wxMouseEvent(event), displayPosition(displayPosition), imagePosition(imagePosition) {}

        const wxPoint& getDisplayPosition() const { return displayPosition; }
        const Pixel& getImagePosition() const { return imagePosition; }

        wxEvent* Clone() const override { return new MouseEvent(*this); }

    private:
        wxPoint displayPosition;
        Pixel imagePosition;
    };

    static constexpr int MIN_ZOOM = -5;
    static constexpr int MAX_ZOOM = 5;
    /// Display pixels a line of `scrollBy` moves.
    static constexpr int LINE_STEP = 16;
    /// The delay of the full repaint after a scroll or a resize.
    static constexpr int REPAINT_DELAY_MS = 50;
    /// The flags of a pull for the screen.
    static constexpr std::uint32_t DISPLAY_FLAGS = 1;

    explicit DrawPanel(wxWindow* parent);
    ~DrawPanel() override;

    /// Shows a new image of `size` image pixels: level 0, the bars at the start.
    /// `displayBitmap` gives what is shown, `rawBitmap` the values before the colour chain.
    void setImage(Pixel size, BitmapFunction rawBitmap, BitmapFunction displayBitmap);

    /// Sets the level, clamped to MIN_ZOOM..MAX_ZOOM, keeping the image pixel at the centre
    /// of the view where it was.
    void setZoom(int level);
    void zoomIn() { setZoom(zoomLevel + 1); }
    void zoomOut() { setZoom(zoomLevel - 1); }

    /// Scrolls by lines (LINE_STEP display pixels each) of the bars.
    void scrollBy(int dx, int dy);

    /// The size of the whole image in display pixels at the current zoom.
    Pixel imageSizeOnScreen() const;
    Pixel getImageSize() const { return imageSize; }
    int getZoomLevel() const { return zoomLevel; }

    /// Paints the whole view again now, for a changed picture.
    void repaint();

    /// The window the picture is painted on.
    wxWindow* getImagePanel();
    /// The positions of the bars in display pixels; 0 for a bar that is not shown.
    wxPoint getScrollPosition() const;
    bool isHorizontalBarShown() const;
    bool isVerticalBarShown() const;
    PixelProbe* getProbe() { return probe; }
    /// Whether the full repaint that follows a scroll or a resize is still to come.
    bool isRepaintPending() const { return repaintCallback.isPending(); }
    /// How many paints of the image panel have ended with the picture in all they covered; a
    /// paint that filled any of it with the background (no image, a chain not ready) is not
    /// counted. What the editor's benchmark waits on.
    std::uint64_t getPaintCount() const { return paintCount; }

    /// Called after each change of the zoom.
    Function<void()> onZoomChanged;
    Function<void(const MouseEvent&)> onLeftDown;
    /// Each motion with the left button held.
    Function<void(const MouseEvent&)> onLeftDrag;
    Function<void(const MouseEvent&)> onLeftUp;
    /// The cursor over the image while the mouse moves; the default cursor when not set.
    Function<wxStockCursor(const MouseEvent&)> cursorFor;

protected:
    void zoomBy(int steps, const wxPoint& point) override;
    void scrollLines(int dx, int dy) override { scrollBy(dx, dy); }

private:
    /// Source pixels per display pixel: 2^-zoomLevel, exact.
    float sourcePixelsPerDisplayPixel() const;
    /// Image pixel under a display pixel of the whole image (floor division).
    std::int32_t toImage(std::int32_t display) const;
    /// Display position of an image pixel's top-left corner.
    std::int32_t toDisplay(std::int32_t image) const;
    /// The image pixels a rectangle of the image panel needs, within the image.
    Bucket regionOfRectangle(const wxRect& rectangle, const wxPoint& scroll) const;

    /// What a change of zoom keeps in place: nothing (the bars stay), the centre of the view, or
    /// a point of the image panel (the pointer).
    enum class Pivot { NONE, CENTRE, POINT };

    /// Sets the level and, when the image point under the pivot lies inside the image, scrolls
    /// so that it is under the pivot again.
    void changeZoom(int level, Pivot pivot, const wxPoint& point = wxPoint());
    void layoutChildren();
    void updateAfterScroll();
    void scheduleRepaint();
    void setScrollPosition(double x, double y);

    void onSize(wxSizeEvent& event);
    void onPaint(wxPaintEvent& event);
    /// Paints one rectangle of the image panel; answers whether it holds the picture (and not
    /// the fill of a chain that is not ready).
    bool paintRectangle(wxDC& dc, const wxRect& rectangle, const wxPoint& scroll, float scale);
    /// Brings the retained pixels to the panel's size, zoom and scroll; answers whether a
    /// scroll moved some of them.
    bool alignShownPixels(const wxSize& size, const wxPoint& scroll);
    void onMouse(wxMouseEvent& event);
    void onMarginWheel(wxMouseEvent& event);
    MouseEvent makeMouseEvent(const wxMouseEvent& event) const;
    Optional<Pixel> imagePixelAtScreen(const wxPoint& screenPoint) const;

    std::int32_t zoomLevel = 0;
    Pixel imageSize;
    BitmapFunction displayBitmap;
    BitmapFunction rawBitmap;
    wxPanel* imagePanel = nullptr;
    PixelProbe* probe = nullptr;
    wxPanel* corner = nullptr;
    wxScrollBar* horizontalBar = nullptr;
    wxScrollBar* verticalBar = nullptr;
    DelayedCallback repaintCallback;
    /// The height of a horizontal bar, measured at the first layout of the process.
    static std::int32_t scrollBarExtent;
    /// The image pixel under the mouse when a pan began, and where in that pixel (display
    /// pixels from its top-left corner), so that a magnified pixel does not jump.
    Pixel panAnchor;
    wxPoint panAnchorOffset;
    /// The display rectangle of the whole image that the image panel's pixels show.
    wxRect shownRectangle;
    /// What the image panel shows, kept so that a scroll asks only for the pixels that come
    /// into view: the toolkit repaints the whole window after `ScrollWindow` on some platforms.
    /// `validPixels` (image panel coordinates) is what holds the picture of zoom level
    /// `shownLevel` with the scroll position `shownOrigin`; a full repaint empties it.
    wxBitmap shownPixels;
    wxBitmap sparePixels;
    wxRegion validPixels;
    wxPoint shownOrigin;
    std::int32_t shownLevel = 0;
    /// The cursor last set on the image panel.
    wxStockCursor currentCursor = wxCURSOR_NONE;
    std::uint64_t paintCount = 0;
};

} // namespace Vespra::Wx
