#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/sizer.h>
#include <wx/uiaction.h>

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/PixelProbe.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ElementComboBox.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::capture;
using GuiTest::settle;
using GuiTest::TestFrame;
using GuiTest::waitUntil;

const char* const NAN_TEXT = "ERROR: The pixel contains NaN (Not a Number) value.\n"
                             "This is due to internal error or missing check inside Vespra Image Editor.\n"
                             "Please contact our support and send us this image. We can fix these\n"
                             "problems promptly if we have the image where it happens.";

struct Request {
    Bucket region;
    float scale = 0.f;
    std::uint32_t flags = 0;
};

/// The bytes the screen shows for image pixel (x, y): red and green the low bytes of x and y,
/// blue their high bytes, so that every pixel of an image up to 4096 pixels a side is told apart.
struct Bytes {
    int r, g, b;
    bool operator==(const Bytes&) const = default;
};

Bytes expectedBytes(int x, int y) {
    return {x & 255, y & 255, (x >> 8) * 16 + (y >> 8)};
}

/// An image whose pixels encode their coordinates, answered as the operator graph answers a
/// pull: the region resampled to the scale (each source pixel a block when magnified, the
/// nearest source pixel by truncation when reduced). It records what it was asked for.
class FakeImage {
public:
    explicit FakeImage(Pixel size) : size(size) {}

    Pixel size;
    std::vector<Request> displayRequests;
    std::vector<Request> rawRequests;
    /// While false, the chain is "not ready": every pull is empty.
    bool ready = true;
    /// A raw pixel that holds NaN.
    Pixel nanPixel{-1, -1};

    static Rgb displayValue(int x, int y) {
        const Bytes bytes = expectedBytes(x, y);
        return Rgb(float(bytes.r) / 255.f, float(bytes.g) / 255.f, float(bytes.b) / 255.f);
    }
    Rgb rawValue(int x, int y) const {
        if (Pixel{x, y} == nanPixel) {
            return Rgb(std::nanf(""), 0.f, 0.f);
        }
        return Rgb(float(x) * 2.f, float(y) * 4.f, 0.5f, 0.75f);
    }

    DrawPanel::BitmapFunction displayFunction() {
        return [this](const Bucket& region, float scale, std::uint32_t flags) -> Optional<BitmapImpl<Rgb>> {
            displayRequests.push_back({region, scale, flags});
            return pull(region, scale, [](int x, int y) { return displayValue(x, y); });
        };
    }
    DrawPanel::BitmapFunction rawFunction() {
        return [this](const Bucket& region, float scale, std::uint32_t flags) -> Optional<BitmapImpl<Rgb>> {
            rawRequests.push_back({region, scale, flags});
            return pull(region, scale, [this](int x, int y) { return rawValue(x, y); });
        };
    }

private:
    template <class Value>
    Optional<BitmapImpl<Rgb>> pull(const Bucket& region, float scale, Value value) const {
        EXPECT_FALSE(region.isEmpty());
        EXPECT_TRUE(Bucket::fromSize(size.x, size.y).contains(region))
            << "region " << region.x0 << "," << region.y0 << "-" << region.x1 << "," << region.y1
            << " reaches out of the image";
        if (!ready || region.isEmpty() || !Bucket::fromSize(size.x, size.y).contains(region)) {
            return std::nullopt;
        }
        if (scale < 1.f) {
            const int factor = int(std::lround(1.f / scale));
            BitmapImpl<Rgb> out(region.width() * factor, region.height() * factor);
            for (int j = 0; j < out.height(); ++j) {
                for (int i = 0; i < out.width(); ++i) {
                    out(i, j) = value(region.x0 + i / factor, region.y0 + j / factor);
                }
            }
            return out;
        }
        const int width = int(std::ceil(float(region.width()) / scale));
        const int height = int(std::ceil(float(region.height()) / scale));
        BitmapImpl<Rgb> out(width, height);
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                out(i, j) = value(std::min(region.x0 + int(float(i) * scale), region.x1 - 1),
                                  std::min(region.y0 + int(float(j) * scale), region.y1 - 1));
            }
        }
        return out;
    }
};

/// A frame filled by a draw panel.
struct Fixture {
    TestFrame frame;
    DrawPanel* panel;

    Fixture() {
        panel = new DrawPanel(frame.get());
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(panel, 1, wxEXPAND);
        frame->SetSizer(sizer);
        frame.show(panel);
    }
    /// The panel goes first: its bitmap functions and callbacks refer to what the test made
    /// after the fixture, which is gone by the time the frame goes.
    ~Fixture() { panel->Destroy(); }

    wxSize client() const { return panel->GetClientSize(); }

    /// Waits until the full repaint after a scroll or resize has come and gone, and paints
    /// what else is invalid now.
    void quiet() {
        EXPECT_TRUE(waitUntil([this] { return !panel->isRepaintPending(); }));
        settle();
        panel->getImagePanel()->Update();
        settle();
    }

    /// Scrolls to a position of whole lines from the start.
    void scrollToLines(int x, int y) {
        panel->scrollBy(-100000, -100000);
        panel->scrollBy(x, y);
    }
};

/// The first pixel of the captured image panel that differs from the coordinates' encoding at
/// the panel's zoom and scroll, as a text; empty when all agree.
std::string firstMismatch(DrawPanel* panel, const wxImage& image) {
    const int level = panel->getZoomLevel();
    const wxPoint scroll = panel->getScrollPosition();
    for (int py = 0; py < image.GetHeight(); ++py) {
        for (int px = 0; px < image.GetWidth(); ++px) {
            const int dx = px + scroll.x;
            const int dy = py + scroll.y;
            // Display pixel d shows image pixel d / 2^level, or d * 2^-level when reduced.
            const int x = level >= 0 ? dx / (1 << level) : dx * (1 << -level);
            const int y = level >= 0 ? dy / (1 << level) : dy * (1 << -level);
            const Bytes expected = expectedBytes(x, y);
            const Bytes shown{image.GetRed(px, py), image.GetGreen(px, py), image.GetBlue(px, py)};
            if (!(shown == expected)) {
                return "panel pixel " + std::to_string(px) + "," + std::to_string(py) + " shows " +
                       std::to_string(shown.r) + "," + std::to_string(shown.g) + "," +
                       std::to_string(shown.b) + " instead of image pixel " + std::to_string(x) + "," +
                       std::to_string(y);
            }
        }
    }
    return {};
}

/// Waits until the screen shows the image at the panel's zoom and scroll; answers the first
/// difference that remained.
std::string waitForPicture(DrawPanel* panel) {
    std::string mismatch;
    waitUntil([&] {
        mismatch = firstMismatch(panel, capture(panel->getImagePanel()));
        return mismatch.empty();
    });
    return mismatch;
}

/// The image point at the centre of the view, in image pixels.
std::pair<double, double> centrePoint(DrawPanel* panel) {
    const wxSize size = panel->getImagePanel()->GetSize();
    const wxPoint scroll = panel->getScrollPosition();
    const double scale = std::pow(2., -panel->getZoomLevel());
    return {(scroll.x + size.x / 2.) * scale, (scroll.y + size.y / 2.) * scale};
}

TEST(DrawPanel, ZoomKeepsTheCentrePixelAndStopsAtTheLevelsLimits) {
    Fixture f;
    FakeImage image({1000, 900});
    int zoomChanges = 0;
    f.panel->onZoomChanged = [&] { ++zoomChanges; };
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    EXPECT_EQ(f.panel->getZoomLevel(), 0);
    EXPECT_EQ(f.panel->getScrollPosition(), wxPoint(0, 0));
    EXPECT_EQ(f.panel->getImageSize(), (Pixel{1000, 900}));
    EXPECT_EQ(zoomChanges, 1);

    f.panel->scrollBy(10, 12); // 160, 192
    ASSERT_EQ(f.panel->getScrollPosition(), wxPoint(160, 192));
    const auto centre = centrePoint(f.panel);
    for (int level = 1; level <= 5; ++level) {
        f.panel->zoomIn();
        EXPECT_EQ(f.panel->getZoomLevel(), level);
        EXPECT_EQ(f.panel->imageSizeOnScreen(), (Pixel{1000 << level, 900 << level}));
        const auto now = centrePoint(f.panel);
        EXPECT_NEAR(now.first, centre.first, 0.5) << "level " << level;
        EXPECT_NEAR(now.second, centre.second, 0.5) << "level " << level;
    }
    EXPECT_EQ(zoomChanges, 6);
    EXPECT_TRUE(waitForPicture(f.panel).empty());

    // Beyond the last level nothing moves and the same picture is shown.
    const wxPoint scroll = f.panel->getScrollPosition();
    const wxImage before = capture(f.panel->getImagePanel());
    f.panel->zoomIn();
    f.panel->setZoom(9);
    EXPECT_EQ(f.panel->getZoomLevel(), 5);
    EXPECT_EQ(f.panel->getScrollPosition(), scroll);
    EXPECT_EQ(waitForPicture(f.panel), "");
    const wxImage after = capture(f.panel->getImagePanel());
    EXPECT_EQ(std::memcmp(before.GetData(), after.GetData(),
                          std::size_t(before.GetWidth()) * before.GetHeight() * 3),
              0);

    // Back out: the same centre, and at the far end a reduced picture without bars.
    for (int level = 4; level >= -5; --level) {
        f.panel->zoomOut();
        EXPECT_EQ(f.panel->getZoomLevel(), level);
    }
    f.panel->zoomOut();
    EXPECT_EQ(f.panel->getZoomLevel(), -5);
    EXPECT_EQ(f.panel->imageSizeOnScreen(), (Pixel{1000 / 32, 900 / 32}));
    EXPECT_FALSE(f.panel->isHorizontalBarShown());
    EXPECT_FALSE(f.panel->isVerticalBarShown());
    f.panel->setZoom(-1);
    EXPECT_EQ(f.panel->imageSizeOnScreen(), (Pixel{500, 450}));
    EXPECT_EQ(waitForPicture(f.panel), "");
}

TEST(DrawPanel, BarsAreShownAsTheImageNeedsThemAndASmallImageSitsInTheMiddle) {
    Fixture f;
    const wxSize client = f.client();
    wxWindow* imagePanel = f.panel->getImagePanel();

    FakeImage dot({1, 1});
    f.panel->setImage(dot.size, dot.rawFunction(), dot.displayFunction());
    EXPECT_FALSE(f.panel->isHorizontalBarShown());
    EXPECT_FALSE(f.panel->isVerticalBarShown());
    EXPECT_EQ(imagePanel->GetSize(), wxSize(1, 1));
    EXPECT_EQ(imagePanel->GetPosition(), wxPoint((client.x - 1) / 2, (client.y - 1) / 2));
    f.panel->setZoom(3);
    EXPECT_EQ(imagePanel->GetSize(), wxSize(8, 8));
    EXPECT_EQ(imagePanel->GetPosition(), wxPoint((client.x - 8) / 2, (client.y - 8) / 2));
    EXPECT_FALSE(f.panel->isHorizontalBarShown() || f.panel->isVerticalBarShown());

    FakeImage fitting({client.x, client.y});
    f.panel->setImage(fitting.size, fitting.rawFunction(), fitting.displayFunction());
    EXPECT_FALSE(f.panel->isHorizontalBarShown() || f.panel->isVerticalBarShown());
    EXPECT_EQ(imagePanel->GetSize(), client);

    // Only wider: one bar under an image that is centred in the height left above it.
    FakeImage wide({client.x + 1, 50});
    f.panel->setImage(wide.size, wide.rawFunction(), wide.displayFunction());
    EXPECT_TRUE(f.panel->isHorizontalBarShown());
    EXPECT_FALSE(f.panel->isVerticalBarShown());
    const int extent = client.y - imagePanel->GetPosition().y * 2 - 50;
    EXPECT_GT(extent, 0) << "the bar takes its height off the panel";
    EXPECT_LE(extent, 1 + 40);
    EXPECT_EQ(imagePanel->GetSize(), wxSize(client.x, 50));

    // As wide as the panel but taller: the vertical bar takes room, so the horizontal one is
    // needed too.
    FakeImage tall({client.x, client.y + 100});
    f.panel->setImage(tall.size, tall.rawFunction(), tall.displayFunction());
    EXPECT_TRUE(f.panel->isHorizontalBarShown());
    EXPECT_TRUE(f.panel->isVerticalBarShown());
    EXPECT_EQ(imagePanel->GetPosition(), wxPoint(0, 0));
    EXPECT_LT(imagePanel->GetSize().x, client.x);
    EXPECT_LT(imagePanel->GetSize().y, client.y);
    f.panel->scrollBy(1000, 1000);
    const wxPoint end = f.panel->getScrollPosition();
    EXPECT_EQ(end.x, client.x - imagePanel->GetSize().x) << "the horizontal bar scrolls to the last column";
    EXPECT_EQ(end.y, client.y + 100 - imagePanel->GetSize().y);
    EXPECT_EQ(waitForPicture(f.panel), "");

    // The same image at level -1 fits.
    f.panel->setZoom(-1);
    EXPECT_FALSE(f.panel->isHorizontalBarShown() || f.panel->isVerticalBarShown());
    EXPECT_EQ(f.panel->getScrollPosition(), wxPoint(0, 0));
}

TEST(DrawPanel, AZoomAboutAPointOffTheImageLeavesTheBarsAndANewImageStartsAtItsCorner) {
    Fixture f;
    const wxSize client = f.client();
    FakeImage strip({3000, 40});
    f.panel->setImage(strip.size, strip.rawFunction(), strip.displayFunction());
    ASSERT_TRUE(f.panel->isHorizontalBarShown());
    ASSERT_FALSE(f.panel->isVerticalBarShown());
    f.panel->scrollBy(10, 0);
    ASSERT_EQ(f.panel->getScrollPosition(), wxPoint(160, 0));

    // The wheel over the margin below the strip: the point under it is off the image.
    Input input;
    wxWindow* imagePanel = f.panel->getImagePanel();
    const wxPoint margin(client.x / 2, imagePanel->GetPosition().y + 40 + 20);
    input.moveTo(f.panel, margin);
    input.wheel(1);
    ASSERT_TRUE(waitUntil([&] { return f.panel->getZoomLevel() == 1; }));
    EXPECT_EQ(f.panel->getScrollPosition(), wxPoint(160, 0));

    // The wheel over the image keeps the image point under the pointer.
    const wxPoint over(100, imagePanel->GetSize().y / 2);
    input.moveTo(imagePanel, over);
    const int imageX = (160 + 100) / 2;
    input.wheel(1);
    ASSERT_TRUE(waitUntil([&] { return f.panel->getZoomLevel() == 2; }));
    const wxPoint pointer = imagePanel->ScreenToClient(wxGetMousePosition());
    EXPECT_EQ((f.panel->getScrollPosition().x + pointer.x) / 4, imageX);
    EXPECT_EQ(f.panel->getScrollPosition().x, 4 * 130 - 100);
    input.wheel(-2);
    ASSERT_TRUE(waitUntil([&] { return f.panel->getZoomLevel() == 0; }));
    EXPECT_EQ(f.panel->getScrollPosition().x, 130 - 100);

    // Another image: level 0 and the bars at the start, whatever was shown before.
    f.panel->setZoom(2);
    f.panel->scrollBy(20, 0);
    FakeImage large({4000, 3000});
    f.panel->setImage(large.size, large.rawFunction(), large.displayFunction());
    EXPECT_EQ(f.panel->getZoomLevel(), 0);
    EXPECT_EQ(f.panel->getScrollPosition(), wxPoint(0, 0));
    EXPECT_EQ(waitForPicture(f.panel), "");
}

TEST(DrawPanel, ThePaintShowsTheFunctionsPixelsAtEachZoomAndFillsWhileTheChainIsNotReady) {
    Fixture f;
    FakeImage image({700, 520});
    wxWindow* imagePanel = f.panel->getImagePanel();

    // While the chain is not ready: the background of the image display, and the pulls are those
    // of the screen.
    const auto allBackground = [&] {
        const wxImage shot = capture(imagePanel);
        const wxColour fill = activeSkin().get(GuiSkin::IMAGE_BACKGROUND);
        for (int y = 0; y < shot.GetHeight(); ++y) {
            for (int x = 0; x < shot.GetWidth(); ++x) {
                if (shot.GetRed(x, y) != fill.Red() || shot.GetGreen(x, y) != fill.Green() ||
                    shot.GetBlue(x, y) != fill.Blue()) {
                    return false;
                }
            }
        }
        return true;
    };
    image.ready = false;
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    f.panel->scrollBy(3, 2);
    f.panel->repaint();
    EXPECT_TRUE(waitUntil([&] { return !image.displayRequests.empty() && allBackground(); }));
    for (const Request& request : image.displayRequests) {
        EXPECT_EQ(request.flags, 1u);
        EXPECT_EQ(request.scale, 1.f);
    }

    image.ready = true;
    f.panel->repaint(); // as after the end of an operator's work
    EXPECT_EQ(waitForPicture(f.panel), "");

    struct Step {
        int level;
        int dx, dy;
    };
    for (const Step step :
         {Step{1, 7, 5}, Step{2, 30, 21}, Step{3, -11, 3}, Step{-1, 0, 0}, Step{-2, 0, 0}}) {
        f.panel->setZoom(step.level);
        f.panel->scrollBy(step.dx, step.dy);
        EXPECT_EQ(waitForPicture(f.panel), "") << "level " << step.level;
        const float scale = float(std::pow(2., -step.level));
        image.displayRequests.clear();
        f.panel->repaint();
        ASSERT_TRUE(waitUntil([&] { return !image.displayRequests.empty(); }));
        EXPECT_EQ(image.displayRequests.back().scale, scale);
    }

    // The margin around a reduced image keeps the panel's own background.
    ASSERT_GT(imagePanel->GetPosition().x, 1);
    const wxColour background = activeSkin().get(GuiSkin::IMAGE_BACKGROUND);
    EXPECT_TRUE(waitUntil([&] {
        const wxImage whole = capture(f.panel);
        return whole.GetRed(1, 1) == background.Red() && whole.GetGreen(1, 1) == background.Green() &&
               whole.GetBlue(1, 1) == background.Blue();
    }));
}

/// Whether the union of `regions` holds every image pixel that display pixel (x, y) of the
/// whole image shows at `level`.
bool covered(const std::vector<Request>& requests, int level, int x, int y) {
    const int factor = level >= 0 ? 1 : 1 << -level;
    const int ix = level >= 0 ? x >> level : x * factor;
    const int iy = level >= 0 ? y >> level : y * factor;
    for (int j = iy; j < iy + factor; ++j) {
        for (int i = ix; i < ix + factor; ++i) {
            bool found = false;
            for (const Request& request : requests) {
                found = found || request.region.contains(Pixel{i, j});
            }
            if (!found) {
                return false;
            }
        }
    }
    return true;
}

TEST(DrawPanel, AnUpdateRectangleIsCoveredToItsLastPixelAndNothingElseIsAskedFor) {
    Fixture f;
    FakeImage image({900, 700});
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    wxWindow* imagePanel = f.panel->getImagePanel();

    struct Case {
        int level;
        wxRect rectangle;
    };
    // Odd sizes at a reduction; at the magnifications rectangles that start inside a pixel.
    for (const Case c :
         {Case{-1, wxRect(3, 5, 7, 9)}, Case{-1, wxRect(0, 0, 1, 1)}, Case{1, wxRect(5, 7, 3, 5)},
          Case{2, wxRect(3, 2, 3, 7)}, Case{3, wxRect(13, 6, 6, 3)}}) {
        f.panel->setZoom(c.level);
        f.scrollToLines(1, 1); // 16, 16 where there are bars: a multiple of every magnification
        f.quiet();
        const wxPoint scroll = f.panel->getScrollPosition();
        image.displayRequests.clear();
        imagePanel->RefreshRect(c.rectangle);
        imagePanel->Update();
        ASSERT_TRUE(waitUntil([&] { return !image.displayRequests.empty(); }));
        settle();
        for (int y = c.rectangle.y; y < c.rectangle.GetBottom() + 1; ++y) {
            for (int x = c.rectangle.x; x < c.rectangle.GetRight() + 1; ++x) {
                EXPECT_TRUE(covered(image.displayRequests, c.level, x + scroll.x, y + scroll.y))
                    << "level " << c.level << ": panel pixel " << x << "," << y << " is not covered";
            }
        }
        // Only the damaged rectangle, with at most the pixel each side that covers its edges.
        const int factor = c.level >= 0 ? 1 : 1 << -c.level;
        const auto image0 = [&](int display) { return c.level >= 0 ? display >> c.level : display * factor; };
        const Bucket allowed{image0(c.rectangle.x + scroll.x) - 1, image0(c.rectangle.y + scroll.y) - 1,
                             image0(c.rectangle.GetRight() + 1 + scroll.x) + factor + 1,
                             image0(c.rectangle.GetBottom() + 1 + scroll.y) + factor + 1};
        for (const Request& request : image.displayRequests) {
            EXPECT_TRUE(allowed.contains(request.region))
                << "level " << c.level << ": asked for " << request.region.x0 << "," << request.region.y0
                << "-" << request.region.x1 << "," << request.region.y1;
            EXPECT_EQ(request.scale, float(std::pow(2., -c.level)));
        }
        EXPECT_EQ(waitForPicture(f.panel), "") << "level " << c.level;
    }
}

TEST(DrawPanel, AScrollAsksOnlyForTheStripThatCameInAndTheFullRepaintFollows) {
    Fixture f;
    FakeImage image({2000, 2000});
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    wxWindow* imagePanel = f.panel->getImagePanel();
    const wxSize shown = imagePanel->GetClientSize();
    f.panel->scrollBy(2, 2);
    f.quiet();
    EXPECT_EQ(waitForPicture(f.panel), "");

    const auto scrollAndCheck = [&](int dx, int dy, const Bucket& strip) {
        f.quiet();
        image.displayRequests.clear();
        f.panel->scrollBy(dx, dy);
        // The strip is painted at once, as part of the scroll.
        ASSERT_FALSE(image.displayRequests.empty());
        for (const Request& request : image.displayRequests) {
            EXPECT_TRUE(strip.contains(request.region))
                << "asked for " << request.region.x0 << "," << request.region.y0 << "-" << request.region.x1
                << "," << request.region.y1 << " after a scroll by " << dx << "," << dy;
        }
        EXPECT_TRUE(f.panel->isRepaintPending());
        // Before the full repaint: the pixels that stayed in view moved with the scroll.
        EXPECT_EQ(firstMismatch(f.panel, capture(imagePanel)), "");
        EXPECT_EQ(waitForPicture(f.panel), "");
        // Then everything once more.
        ASSERT_TRUE(waitUntil([&] {
            for (const Request& request : image.displayRequests) {
                if (request.region.contains(Bucket{f.panel->getScrollPosition().x,
                                                   f.panel->getScrollPosition().y,
                                                   f.panel->getScrollPosition().x + shown.x,
                                                   f.panel->getScrollPosition().y + shown.y})) {
                    return true;
                }
            }
            return false;
        })) << "no full repaint after the scroll";
    };
    // Down by three lines of 16 pixels: the rows that came in at the bottom (and the one more
    // row that covers a partial pixel).
    scrollAndCheck(0, 3, Bucket{32, 32 + shown.y, 32 + shown.x + 1, 32 + 48 + shown.y + 1});
    // Left by two lines: the columns that came in on the left.
    scrollAndCheck(-2, 0, Bucket{0, 80, 32 + 1, 80 + shown.y + 1});
}

TEST(DrawPanel, TheRightButtonProbesThePixelUnderTheMouseAndANanGivesTheMessage) {
    Fixture f;
    FakeImage image({400, 300});
    image.nanPixel = {25, 18};
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    f.panel->setZoom(1);
    f.scrollToLines(1, 1); // 16, 16: display 16 + 2x shows image pixel 8 + x / 2
    wxWindow* imagePanel = f.panel->getImagePanel();
    PixelProbe* probe = f.panel->getProbe();
    EXPECT_FALSE(probe->IsShown());

    Input input;
    input.moveTo(imagePanel, wxPoint(2 * 12 + 1, 2 * 22)); // image pixel 8 + 12, 8 + 22
    image.rawRequests.clear();
    image.displayRequests.clear();
    input.press(wxMOUSE_BTN_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return probe->IsShown(); }));
    std::string text = probe->getText().ToStdString();
    EXPECT_NE(text.find("20, 30"), std::string::npos) << text;
    // Raw (40, 120, 0.5), alpha 0.75; displayed (20, 30, 0) / 255.
    EXPECT_NE(text.find("R 40.0000  G 120.0000  B 0.5000"), std::string::npos) << text;
    EXPECT_NE(text.find("0.7500"), std::string::npos) << text;
    EXPECT_NE(text.find("(20, 30, 0)"), std::string::npos) << text;
    ASSERT_FALSE(image.rawRequests.empty());
    EXPECT_EQ(image.rawRequests.back().region, (Bucket{20, 30, 21, 31}));
    EXPECT_EQ(image.rawRequests.back().scale, 1.f);
    EXPECT_EQ(image.displayRequests.back().region, (Bucket{20, 30, 21, 31}));

    // Moved with the button held onto the pixel that holds NaN, in one motion (the toolkit may
    // hold back the last of many until the pointer moves again).
    input.dragBy(wxPoint(2 * 17 - 2 * 12, 2 * 10 - 2 * 22), 1);
    ASSERT_TRUE(waitUntil([&] { return probe->getText() == NAN_TEXT; })) << probe->getText();
    EXPECT_TRUE(probe->IsShown());

    input.release(wxMOUSE_BTN_RIGHT);
    EXPECT_TRUE(waitUntil([&] { return !probe->IsShown(); }));
}

TEST(DrawPanel, TheMiddleButtonPansAndLeftButtonEventsCarryDisplayAndImagePositions) {
    Fixture f;
    FakeImage image({1000, 800});
    f.panel->setImage(image.size, image.rawFunction(), image.displayFunction());
    f.panel->setZoom(1);
    f.scrollToLines(10, 10);
    const wxPoint start = f.panel->getScrollPosition();
    ASSERT_EQ(start, wxPoint(160, 160));
    wxWindow* imagePanel = f.panel->getImagePanel();

    Input input;
    // One motion a drag: under the pointer grab the toolkit may hold back the last motion of a
    // drag in many small steps until the pointer moves again.
    input.moveTo(imagePanel, wxPoint(201, 151));
    input.press(wxMOUSE_BTN_MIDDLE);
    ASSERT_TRUE(waitUntil([&] { return imagePanel->HasCapture(); }));
    input.dragBy(wxPoint(-60, -45), 1);
    input.release(wxMOUSE_BTN_MIDDLE);
    EXPECT_TRUE(waitUntil([&] { return !imagePanel->HasCapture(); }));
    // The image point that was under the mouse is under it again.
    EXPECT_TRUE(waitUntil([&] { return f.panel->getScrollPosition() == start + wxPoint(60, 45); }))
        << f.panel->getScrollPosition().x << "," << f.panel->getScrollPosition().y;

    input.press(wxMOUSE_BTN_MIDDLE);
    ASSERT_TRUE(waitUntil([&] { return imagePanel->HasCapture(); }));
    input.dragBy(wxPoint(100, 80), 1);
    input.release(wxMOUSE_BTN_MIDDLE);
    EXPECT_TRUE(waitUntil([&] { return !imagePanel->HasCapture(); }));
    EXPECT_TRUE(waitUntil([&] { return f.panel->getScrollPosition() == start + wxPoint(-40, -35); }))
        << f.panel->getScrollPosition().x << "," << f.panel->getScrollPosition().y;
    EXPECT_EQ(waitForPicture(f.panel), "");

    std::vector<std::pair<wxPoint, Pixel>> downs, ups;
    int cursorQuestions = 0;
    f.panel->onLeftDown = [&](const DrawPanel::MouseEvent& event) {
        downs.emplace_back(event.getDisplayPosition(), event.getImagePosition());
    };
    f.panel->onLeftUp = [&](const DrawPanel::MouseEvent& event) {
        ups.emplace_back(event.getDisplayPosition(), event.getImagePosition());
    };
    f.panel->cursorFor = [&](const DrawPanel::MouseEvent& event) {
        ++cursorQuestions;
        return event.getImagePosition().x < 100 ? wxCURSOR_CROSS : wxCURSOR_HAND;
    };
    const wxPoint scroll = f.panel->getScrollPosition();
    input.click(imagePanel, wxPoint(31, 20));
    ASSERT_TRUE(waitUntil([&] { return ups.size() == 1; }));
    ASSERT_EQ(downs.size(), 1u);
    EXPECT_EQ(downs[0].first, scroll + wxPoint(31, 20));
    EXPECT_EQ(downs[0].second, (Pixel{(scroll.x + 31) / 2, (scroll.y + 20) / 2}));
    EXPECT_EQ(ups[0].second, downs[0].second);
    EXPECT_GT(cursorQuestions, 0);

    // A double click goes on to the frame.
    int frameDoubleClicks = 0;
    f.frame->Bind(wxEVT_LEFT_DCLICK, [&](wxMouseEvent&) { ++frameDoubleClicks; });
    input.moveTo(imagePanel, wxPoint(150, 100)); // away from the last click, which could pair with it
    wxUIActionSimulator simulator;
    simulator.MouseDblClick();
    EXPECT_TRUE(waitUntil([&] { return frameDoubleClicks == 1; }));
}

std::vector<ElementInfo> sampleElements() {
    return {
        {u"", ElementInfo::KIND_COLOR, 0},
        {u"A", ElementInfo::KIND_COLOR, 0},
        {u"Bloom and Glare Interactive", ElementInfo::KIND_COLOR, ElementInfo::INTERACTIVE},
        {u"LightMix Interactive", ElementInfo::KIND_COLOR, ElementInfo::INTERACTIVE},
        {u"Reflection", ElementInfo::KIND_COLOR, ElementInfo::HAS_DENOISED | ElementInfo::DENOISABLE},
        {u"Shadows", ElementInfo::KIND_COLOR_ALPHA, ElementInfo::SELECTED_FOR_DENOISING},
    };
}

TEST(ElementComboBox, ItemsShowTheElementsNamesMarksAndGroupsAndSelectByName) {
    TestFrame frame;
    int changes = 0;
    auto* combo = new ElementComboBox(frame.get(), 200, [&] { ++changes; });
    const std::vector<ElementInfo> elements = sampleElements();
    EXPECT_EQ(combo->currentName(), String(u"Bloom and Glare Interactive")) << "nothing listed yet";
    combo->setElements(Array<ElementInfo>(elements.begin(), elements.end()));

    const std::vector<ComboBox::Item>& items = combo->getData();
    ASSERT_EQ(items.size(), 6u);
    const std::vector<std::string> texts{
        "BEAUTY", "Alpha", "Bloom and Glare Interactive", "LightMix Interactive", "Reflection [Denoised]",
        "Shadows"};
    const std::vector<std::uint32_t> flags{0, 3, 3, 2, 0, 0};
    for (std::size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(items[i].text.ToStdString(), texts[i]);
        EXPECT_EQ(items[i].id, int(i));
        EXPECT_EQ(items[i].flags, flags[i]) << texts[i];
    }
    EXPECT_EQ(combo->getElements().size(), 6u);
    EXPECT_EQ(combo->getElements()[4], elements[4]);
    EXPECT_EQ(combo->getSelectedIndex(), 0);
    EXPECT_EQ(combo->currentName(), String(u""));
    EXPECT_EQ(changes, 0);

    combo->selectName(u"Reflection", false);
    EXPECT_EQ(combo->currentName(), String(u"Reflection"));
    EXPECT_EQ(combo->GetValue(), "Reflection [Denoised]");
    EXPECT_EQ(changes, 0);
    combo->selectName(u"A", true);
    EXPECT_EQ(combo->currentName(), String(u"A"));
    EXPECT_EQ(changes, 1);
    combo->selectName(u"Alpha", true); // the name as shown is no element name
    combo->selectName(u"Nothing", true);
    EXPECT_EQ(combo->currentName(), String(u"A"));
    EXPECT_EQ(changes, 1);

    combo->setElements({});
    EXPECT_EQ(combo->getCount(), 0);
    EXPECT_EQ(combo->currentName(), String(u"Bloom and Glare Interactive"));
}

} // namespace
} // namespace Vespra::Wx
