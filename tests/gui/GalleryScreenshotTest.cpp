#include <set>

#include <gtest/gtest.h>
#include <wx/dcmemory.h>
#include <wx/dcscreen.h>
#include <wx/image.h>

#include "apps/gallery/GalleryFrame.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/windows/ErrorWindow.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::settle;
using GuiTest::waitUntil;

/// What the screen shows of `window`, frame decorations aside.
wxImage capture(wxWindow* window) {
    const wxRect area = window->GetScreenRect();
    wxBitmap bitmap(area.width, area.height, 24);
    wxScreenDC screen;
    wxMemoryDC memory(bitmap);
    memory.Blit(0, 0, area.width, area.height, &screen, area.x, area.y);
    memory.SelectObject(wxNullBitmap);
    return bitmap.ConvertToImage();
}

struct ColourCensus {
    double backgroundShare = 0.;
    std::size_t distinctColours = 0;
};

ColourCensus takeCensus(const wxImage& image) {
    const wxColour background = activeSkin().background();
    std::size_t backgroundPixels = 0;
    std::set<unsigned> colours;
    const unsigned char* data = image.GetData();
    const std::size_t count = std::size_t(image.GetWidth()) * std::size_t(image.GetHeight());
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* p = data + 3 * i;
        backgroundPixels += p[0] == background.Red() && p[1] == background.Green() && p[2] == background.Blue();
        colours.insert(unsigned(p[0]) << 16 | unsigned(p[1]) << 8 | p[2]);
    }
    return {double(backgroundPixels) / double(count), colours.size()};
}

/// Counts the paints of `window` and its descendants from now on.
void countPaints(wxWindow* window, const SharedPtr<int>& paints) {
    window->Bind(wxEVT_PAINT, [paints](wxPaintEvent& event) {
        ++*paints;
        event.Skip();
    });
    for (wxWindow* child : window->GetChildren()) {
        if (!child->IsTopLevel()) {
            countPaints(child, paints);
        }
    }
}

/// Waits until `window` is painted in the skin (the panels' background covers much of it) and
/// saves what the screen shows of it into the build folder for review; checks that there is
/// more than a flat fill.
void saveWhenPainted(wxWindow* window, const char* name) {
    // The X server keeps the pixels of windows that went: only a paint of this window counts.
    const auto paints = makeShared<int>(0);
    countPaints(window, paints);
    window->Refresh();
    EXPECT_TRUE(waitUntil([&] { return *paints > 0; })) << name << " was never painted";
    settle();
    wxImage image;
    EXPECT_TRUE(waitUntil([&] {
        image = capture(window);
        return takeCensus(image).backgroundShare > 0.25;
    })) << name << " is not in the skin's colours";
    EXPECT_GT(takeCensus(image).distinctColours, 50u) << name << " looks empty";
    const wxString path = wxString(VESPRA_BUILD_DIR) + "/" + name;
    ASSERT_TRUE(image.SaveFile(path, wxBITMAP_TYPE_PNG)) << path;
    std::printf("Screenshot: %s\n", static_cast<const char*>(path.utf8_str()));
}

TEST(Gallery, AScreenshotOfEveryWidgetGoesToTheBuildFolder) {
    auto* gallery = new GalleryFrame();
    gallery->Move(10, 10);
    gallery->Show();
    ASSERT_TRUE(waitUntil([&] { return gallery->IsShownOnScreen(); }));
    gallery->Raise();
    settle();
    gallery->showProbeSample();
    settle();
    // The probe floats over the frame: the screen area of the frame shows it too.
    saveWhenPainted(gallery, "gallery.png");

    // The error window fills with the gallery's samples, a row each.
    const SharedPtr<ErrorWindow> errors = gallery->showErrorWindowSample();
    EXPECT_TRUE(waitUntil([&] { return errors->IsShownOnScreen() && errors->getRowCount() == 2; }));

    gallery->Destroy();
    settle();
}

} // namespace
} // namespace Vespra::Wx
