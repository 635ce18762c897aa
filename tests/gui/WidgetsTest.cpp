#include <cmath>

#include <gtest/gtest.h>
#include <wx/sizer.h>

#include "gui/widgets/CheckBox.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/PixelProbe.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::TestFrame;
using GuiTest::waitUntil;

TEST(WindowUtils, DisplayPixelsBecomeBytesClampedRoundedAndNanAsZero) {
    BitmapImpl<Rgb> pixels(3, 1);
    pixels(0, 0) = Rgb(0.5f, 1.f / 255.f * 254.5f, 0.001f, 0.25f);
    pixels(1, 0) = Rgb(2.f, -1.f, std::nanf(""), 1.f);
    pixels(2, 0) = Rgb(0.2f, 0.4f, 0.6f, 0.f);
    const wxImage image = toWxBitmap(pixels, true).ConvertToImage();
    ASSERT_EQ(image.GetWidth(), 3);
    ASSERT_TRUE(image.HasAlpha());
    // 0.5 * 255 = 127.5 rounds to even 128 under the processor's rounding; 254.5 likewise to 254.
    EXPECT_EQ(image.GetRed(0, 0), 128);
    EXPECT_EQ(image.GetGreen(0, 0), 254);
    EXPECT_EQ(image.GetBlue(0, 0), 0);
    EXPECT_EQ(image.GetAlpha(0, 0), 64);
    EXPECT_EQ(image.GetRed(1, 0), 255);
    EXPECT_EQ(image.GetGreen(1, 0), 0);
    EXPECT_EQ(image.GetBlue(1, 0), 0);
    EXPECT_EQ(image.GetRed(2, 0), 51);
    EXPECT_EQ(image.GetGreen(2, 0), 102);
    EXPECT_EQ(image.GetBlue(2, 0), 153);
    EXPECT_FALSE(toWxBitmap(pixels, false).ConvertToImage().HasAlpha());
}

TEST(WindowUtils, FindsTheDeepestWindowAtAPointAndKeepsWindowsOnTheMonitor) {
    TestFrame frame;
    auto* outer = new wxPanel(frame.get(), wxID_ANY, wxPoint(10, 10), wxSize(200, 100));
    auto* inner = new wxPanel(outer, wxID_ANY, wxPoint(20, 20), wxSize(50, 50));
    frame.show(inner);
    EXPECT_EQ(findWindowByPosition(frame.get(), inner->ClientToScreen(wxPoint(5, 5))), inner);
    EXPECT_EQ(findWindowByPosition(frame.get(), outer->ClientToScreen(wxPoint(150, 5))), outer);
    EXPECT_EQ(findWindowByPosition(frame.get(), wxPoint(-100, -100)), nullptr);
    inner->Disable();
    EXPECT_EQ(findWindowByPosition(frame.get(), inner->ClientToScreen(wxPoint(5, 5)), FindWindowFlag::ENABLED),
              outer);

    const wxRect monitor = getMonitorRegionByPoint(wxPoint(0, 0));
    smartPositionWindow(frame.get(), monitor.GetBottomRight());
    const wxRect placed(frame->GetPosition(), frame->GetSize());
    EXPECT_TRUE(monitor.Contains(placed)) << "a window put at the corner is pulled back onto the monitor";
}

TEST(CollapsiblePanel, AClickOnTheHeaderTogglesAndTellsButOneOnItsCheckBoxDoesNot) {
    TestFrame frame;
    CheckBox* enable = nullptr;
    auto* panel = new CollapsiblePanel(
        frame.get(), activeSkin(), "BLOOM AND GLARE",
        [](wxWindow* pane) { return new StaticText(pane, wxID_ANY, "content"); },
        [&enable](wxWindow* header) { return enable = new CheckBox(header, wxID_ANY, wxEmptyString); }, true);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(panel, 0, wxEXPAND);
    frame->SetSizer(sizer);
    frame.show(panel);
    std::vector<bool> told;
    panel->Bind(wxEVT_COLLAPSIBLEPANE_CHANGED, [&](wxCollapsiblePaneEvent& event) { told.push_back(event.GetCollapsed()); });
    EXPECT_FALSE(panel->getContent()->IsShown());

    Input input;
    const wxWindow* header = panel->GetChildren()[0];
    input.click(const_cast<wxWindow*>(header), wxPoint(header->GetClientSize().x - 5, header->GetClientSize().y / 2));
    ASSERT_TRUE(waitUntil([&] { return told.size() == 1; }));
    EXPECT_FALSE(told[0]);
    EXPECT_TRUE(panel->getContent()->IsShown());

    input.click(enable);
    ASSERT_TRUE(waitUntil([&] { return enable->getValue(); }));
    EXPECT_EQ(told.size(), 1u) << "the header's check box is no click on the header";
    EXPECT_FALSE(panel->isCollapsed());

    panel->setCollapsed(true);
    EXPECT_TRUE(panel->isCollapsed());
    EXPECT_EQ(told.size(), 1u) << "the program's own changes are not told";
}

TEST(Tooltip, AppearsWhenTheMouseRestsAndGoesWhenItLeaves) {
    TestFrame frame;
    auto* label = new StaticText(frame.get(), wxID_ANY, "Exposure (EV):");
    auto* elsewhere = new wxPanel(frame.get(), wxID_ANY);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(label, 0, wxALL, 20);
    sizer->Add(elsewhere, 1, wxEXPAND);
    frame->SetSizer(sizer);
    frame.show(label);
    TooltipWindow& tooltip = attachTooltip(label, "Sets the exposure.");

    Input input;
    input.moveTo(label);
    input.moveTo(label, wxPoint(3, 3));
    EXPECT_TRUE(waitUntil([&] { return tooltip.isShown(); }));
    input.moveTo(elsewhere);
    EXPECT_TRUE(waitUntil([&] { return !tooltip.isShown(); }));
}

TEST(PixelProbe, ShowsThePixelsValuesOrTheNanMessage) {
    TestFrame frame;
    Rgb raw(1.5f, 0.25f, 0.125f);
    auto* probe = new PixelProbe(
        frame.get(),
        [&](const wxPoint&) -> Optional<PixelProbe::ProbedPixel> {
            return PixelProbe::ProbedPixel{raw, Rgb(1.f, 0.5f, 0.25f), 0.5f, Pixel{7, 9}};
        },
        "ERROR: The pixel contains NaN (Not a Number) value.");
    probe->updatePosition(frame->GetScreenPosition() + wxPoint(20, 20));
    EXPECT_TRUE(probe->IsShown());
    const std::string text = probe->getText().ToStdString();
    EXPECT_NE(text.find("7, 9"), std::string::npos) << text;
    EXPECT_NE(text.find("R 1.5000  G 0.2500  B 0.1250"), std::string::npos) << text;
    EXPECT_NE(text.find("(255, 128, 64)"), std::string::npos) << text;

    raw.g = std::nanf("");
    probe->updatePosition(frame->GetScreenPosition() + wxPoint(20, 20));
    EXPECT_EQ(probe->getText(), "ERROR: The pixel contains NaN (Not a Number) value.");
}

} // namespace
} // namespace Vespra::Wx
