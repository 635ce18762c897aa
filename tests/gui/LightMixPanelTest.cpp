// The "LightMix" page on its own settings: rows and stored arrays kept in step, the buttons
// that act on all rows, and the text for images without layers.

#include <gtest/gtest.h>
#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/FaderCheckBox.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/windows/LightMixPanel.h"
#include "settings/PropertyIds.h"
#include "tests/gui/FrameFixture.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::settle;
using GuiTest::TestFrame;
using GuiTest::waitUntil;

Array<ElementInfo> layers(std::initializer_list<const char16_t*> names) {
    Array<ElementInfo> elements(names.size());
    std::size_t i = 0;
    for (const char16_t* name : names) {
        elements[i++] = ElementInfo{String(name), ElementInfo::KIND_COLOR, ElementInfo::LIGHT_MIX_LAYER};
    }
    return elements;
}

struct LightMixPage {
    LightMixPage() : frame(wxSize(320, 500)) {
        panel = new LightMixPanel(frame.get(), settings);
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(panel, 1, wxEXPAND);
        frame->SetSizer(sizer);
        frame.show(panel);
    }

    void setElements(const Array<ElementInfo>& elements) {
        panel->setElements(elements);
        frame->Layout();
        settle();
    }

    std::vector<bool> enabled() const {
        const Property value = settings.get(PropertyId::LIGHTMIX_ENABLED_LAYERS);
        const ArrayView<const bool> stored = value;
        return {stored.begin(), stored.end()};
    }
    std::vector<float> intensities() const {
        const Property value = settings.get(PropertyId::LIGHTMIX_INTENSITIES);
        const ArrayView<const float> stored = value;
        return {stored.begin(), stored.end()};
    }
    std::vector<Rgb> colors() const {
        const Property value = settings.get(PropertyId::LIGHTMIX_COLORS);
        std::vector<Rgb> result;
        for (const Vec3Value& color : ArrayView<const Vec3Value>(value)) {
            result.push_back(color.toRgb());
        }
        return result;
    }

    Settings settings;
    TestFrame frame;
    LightMixPanel* panel = nullptr;
    Input input;
};

TEST(LightMixPage, AnImageWithoutLayersShowsWhyAndAfterLayersTheTextGoesAgain) {
    LightMixPage page;
    const auto textShown = [&] {
        for (wxWindow* child : page.panel->GetChildren()) {
            if (child->IsShownOnScreen() &&
                GuiTest::flat(child->GetLabel())
                    .StartsWith("LightMix is not available. You need to add at least one LightSelect and one "
                                "LightMix render element while rendering the image in Vespra Renderer")) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(textShown());
    EXPECT_FALSE(page.panel->getToggleAllButton()->IsShownOnScreen());

    page.setElements(layers({u"LightSelect_Sun", u"LightSelect_Lamp"}));
    ASSERT_EQ(page.panel->getRows().size(), 2u);
    EXPECT_FALSE(textShown());
    EXPECT_TRUE(page.panel->getToggleAllButton()->IsShownOnScreen());

    page.setElements({});
    EXPECT_TRUE(page.panel->getRows().empty());
    EXPECT_TRUE(textShown());
    EXPECT_FALSE(page.panel->getToggleAllButton()->IsShownOnScreen());
}

TEST(LightMixPage, StoredArraysAreFilledUpOrCutToOneEntryPerLayer) {
    LightMixPage page;
    // Shorter than the layers: the new rows are on, at 1.0, white.
    const bool twoEnabled[] = {false, true};
    const float twoIntensities[] = {2.5f, 0.25f};
    const Rgb twoColors[] = {Rgb(1.f, 0.f, 0.f), Rgb(0.f, 0.5f, 1.f)};
    page.settings.set(PropertyId::LIGHTMIX_ENABLED_LAYERS, Property(ArrayView<const bool>(twoEnabled)));
    page.settings.set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(twoIntensities)));
    page.settings.set(PropertyId::LIGHTMIX_COLORS, Property(ArrayView<const Rgb>(twoColors)));
    page.setElements(layers({u"LightSelect_A", u"LightSelect_B", u"LightSelect_C"}));
    EXPECT_EQ(page.enabled(), (std::vector<bool>{false, true, true}));
    EXPECT_EQ(page.intensities(), (std::vector<float>{2.5f, 0.25f, 1.f}));
    EXPECT_EQ(page.colors(), (std::vector<Rgb>{twoColors[0], twoColors[1], Rgb::white()}));
    const auto rows = page.panel->getRows();
    EXPECT_FALSE(rows[0].enabled->getValue());
    EXPECT_FLOAT_EQ(float(rows[1].intensity->getValue()), 0.25f);
    EXPECT_EQ(rows[1].color->getColor(), twoColors[1]);
    EXPECT_EQ(rows[2].name->GetLabel(), "LightSelect_C");

    // Longer than the layers: cut at once.
    page.setElements(layers({u"LightSelect_A"}));
    EXPECT_EQ(page.enabled(), (std::vector<bool>{false}));
    EXPECT_EQ(page.intensities(), (std::vector<float>{2.5f}));
    EXPECT_EQ(page.colors().size(), 1u);
}

TEST(LightMixPage, RowsWriteTheirEntryAndTheButtonsActOnAllRows) {
    LightMixPage page;
    page.setElements(layers({u"LightSelect_A", u"LightSelect_B", u"LightSelect_C"}));
    const auto rows = page.panel->getRows();

    // A row's switch: its entry goes off, its spinner and colour can't be edited.
    page.input.click(rows[1].enabled);
    EXPECT_TRUE(waitUntil([&] { return page.enabled() == std::vector<bool>{true, false, true}; }));
    EXPECT_FALSE(rows[1].intensity->IsEnabled());
    EXPECT_FALSE(rows[1].color->IsEnabled());
    EXPECT_TRUE(rows[0].intensity->IsEnabled());

    // Typed intensity of one row.
    page.input.click(rows[2].intensity->getTextControl());
    ASSERT_TRUE(waitUntil([&] { return rows[2].intensity->getTextControl()->HasFocus(); }));
    rows[2].intensity->getTextControl()->SelectAll();
    page.input.type("3.5");
    page.input.key(WXK_RETURN);
    EXPECT_TRUE(waitUntil([&] { return page.intensities() == std::vector<float>{1.f, 1.f, 3.5f}; }));

    // A colour chosen for one row.
    rows[0].color->setColorSource([](const Rgb&) { return Optional<Rgb>(Rgb(0.2f, 0.4f, 0.6f)); });
    page.input.click(rows[0].color);
    EXPECT_TRUE(waitUntil([&] { return page.colors()[0] == Rgb(0.2f, 0.4f, 0.6f); }));

    // A stored change from outside (a settings file) reaches a switched-off row too.
    const float loaded[] = {1.f, 7.f, 3.5f};
    page.settings.set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(loaded)));
    EXPECT_TRUE(waitUntil([&] { return rows[1].intensity->getValue() == 7.; }));

    // Toggle all: one off turns all on; pressed again, all off.
    page.input.click(page.panel->getToggleAllButton());
    EXPECT_TRUE(waitUntil([&] { return page.enabled() == std::vector<bool>{true, true, true}; }));
    EXPECT_TRUE(rows[1].intensity->IsEnabled());
    page.input.click(page.panel->getToggleAllButton());
    EXPECT_TRUE(waitUntil([&] { return page.enabled() == std::vector<bool>{false, false, false}; }));
    page.input.click(page.panel->getToggleAllButton());
    ASSERT_TRUE(waitUntil([&] { return page.enabled() == std::vector<bool>{true, true, true}; }));

    page.input.click(page.panel->getAllOneButton());
    EXPECT_TRUE(waitUntil([&] { return page.intensities() == std::vector<float>{1.f, 1.f, 1.f}; }));
    page.input.click(page.panel->getAllWhiteButton());
    EXPECT_TRUE(waitUntil([&] { return page.colors() == std::vector<Rgb>(3, Rgb::white()); }));
    EXPECT_EQ(rows[0].color->getColor(), Rgb::white());
}

} // namespace
} // namespace Vespra::Wx
