// The "Post" page on its own settings: each control and its property both ways, the limits and
// precision of the spinners, the rules of what is enabled when, and the look-up table section.

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/PropertyCheckBox.h"
#include "gui/widgets/PropertyComboBox.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/BloomGlarePanel.h"
#include "gui/windows/ColorMapPanel.h"
#include "gui/windows/DenoisePanel.h"
#include "gui/windows/LutPanel.h"
#include "gui/windows/PostprocessPanel.h"
#include "settings/PropertyIds.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/gui/FrameFixture.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::controlOf;
using GuiTest::Input;
using GuiTest::settle;
using GuiTest::TestFrame;
using GuiTest::waitUntil;
using Section = PostprocessPanel::Section;

const std::filesystem::path LUT_FOLDER = "../shared/testdata/lut";

struct PostPage {
    PostPage() : frame(wxSize(340, 1150)) {
        panel = new PostprocessPanel(frame.get(), settings, fileDialogs);
        fileDialogs.open = [this](wxWindow*, const String& title, const String& filter, const Io::Path&) {
            lastTitle = title;
            lastFilter = filter;
            return nextOpen;
        };
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(panel, 1, wxEXPAND);
        frame->SetSizer(sizer);
        for (int section = 0; section < int(Section::COUNT); ++section) {
            panel->getSection(Section(section))->setCollapsed(false);
        }
        panel->FitInside();
        frame.show(panel->getSection(Section::DENOISING));
    }

    Settings settings;
    FileDialogs fileDialogs;
    Io::Path nextOpen;
    String lastTitle;
    String lastFilter;
    TestFrame frame;
    PostprocessPanel* panel = nullptr;
    Input input;
};

struct SpinnerCase {
    const char* label;
    std::int32_t id;
    double minimum;
    double maximum;
    double defaultValue;
    int precision;
};

const SpinnerCase SPINNERS[] = {
    {"Exposure (EV):", PropertyId::SIMPLE_EXPOSURE, -20, 20, 0, 3},
    {"ISO:", PropertyId::ISO, 0.001, 999999, 100, 3},
    {"Highlight compress:", PropertyId::HIGHLIGHT_COMPRESSION, 0.01, 999, 1, 3},
    {"White balance [K]:", PropertyId::COLOR_TEMP, 2000, 99999, 6500, 0},
    {"Contrast:", PropertyId::CONTRAST, 0, 99, 1, 3},
    {"Saturation:", PropertyId::SATURATION, -1, 1, 0, 3},
    {"Filmic highlights:", PropertyId::FILMIC_HIGHLIGHT_COMPRESSION, 0, 1, 0, 3},
    {"Filmic shadows:", PropertyId::FILMIC_RICH_SHADOWS, 0, 1, 0, 3},
    {"Vignette intensity:", PropertyId::VIGNETTE_INTENSITY, 0, 10, 0, 3},
    {"Opacity:", PropertyId::LUT_OPACITY, 0, 1, 1, 3},
    {"Bloom intensity:", PropertyId::BLOOM_INTENSITY, 0, 100000, 1, 3},
    {"Glare intensity:", PropertyId::GLARE_INTENSITY, 0, 100000, 1, 3},
    {"Threshold:", PropertyId::BLOOM_GLARE_THRESHOLD, 0, 100000, 1, 3},
    {"Color intensity:", PropertyId::BLOOM_GLARE_COLOR_INTENSITY, 0, 1, 0.3, 3},
    {"Color shift:", PropertyId::BLOOM_GLARE_COLOR_SHIFT, 0, 1, 0.5, 3},
    {"Streak count:", PropertyId::GLARE_STREAK_COUNT, 1, 8, 3, 0},
    {"Rotation [\u00B0]:", PropertyId::GLARE_ROTATION, -1e10, 1e10, 15, 3},
    {"Streak blur:", PropertyId::GLARE_STREAK_BLUR, 0, 1, 0.2, 3},
    {"Sharpen amount:", PropertyId::SHARPENING_AMOUNT, 0, 10, 1, 3},
    {"Sharpen radius:", PropertyId::SHARPENING_RADIUS, 0, 50, 0.5, 3},
    {"Blur radius:", PropertyId::BLURRING_RADIUS, 0, 50, 1.33, 3},
    {"Denoise amount:", PropertyId::DENOISE_BLEND_AMOUNT, 0, 1, 0.65, 3},
};

String lutPathOf(const Settings& settings) {
    const Property path = settings.get(PropertyId::LUT_PATH);
    return path.asString();
}

double valueOf(const Property& value) {
    return value.getType() == PropertyType::INT ? double(value.asInt()) : double(value.asFloat());
}

TEST(PostPage, EverySpinnerHasItsLimitsAndPrecisionAndWritesAndFollowsItsProperty) {
    PostPage page;
    // Every row can be edited: the switches that gate them are on.
    for (const std::int32_t id : {PropertyId::LUT_ENABLE, PropertyId::BLOOM_GLARE_ENABLED,
                                  PropertyId::SHARPENING_BLURRING_ENABLE}) {
        page.settings.set(id, Property(true));
    }
    page.panel->getDenoisePanel()->setDenoisingPossible(true);
    page.panel->FitInside();
    settle();
    for (const SpinnerCase& row : SPINNERS) {
        SCOPED_TRACE(row.label);
        auto* spinner = controlOf<Spinner>(page.panel, wxString::FromUTF8(row.label));
        ASSERT_NE(spinner, nullptr);
        // The limits are the properties' floats.
        EXPECT_FLOAT_EQ(float(spinner->getMinimum()), float(row.minimum));
        EXPECT_FLOAT_EQ(float(spinner->getMaximum()), float(row.maximum));
        EXPECT_FLOAT_EQ(float(spinner->getDefault()), float(row.defaultValue));
        EXPECT_EQ(spinner->getPrecision(), row.precision);
        if (row.id == PropertyId::SIMPLE_EXPOSURE || row.id == PropertyId::ISO) {
            page.settings.set(PropertyId::USE_PHOTOGRAPHIC, Property(row.id == PropertyId::ISO));
            settle();
        }
        ASSERT_TRUE(spinner->IsEnabled());

        // Typed beyond the top, the value stops at the maximum; the property follows.
        page.panel->ScrollWindow(0, 0);
        page.input.typeInto(spinner, "99999999999");
        EXPECT_TRUE(waitUntil([&] { return float(valueOf(page.settings.get(row.id))) == float(row.maximum); }))
            << valueOf(page.settings.get(row.id));

        // Written from outside, the spinner shows the value, rounded to its precision, without
        // writing it back.
        GuiTest::ListenerCount writes(page.settings, row.id);
        const Property outside = page.settings.get(row.id).getType() == PropertyType::INT
                                     ? Property(std::int32_t(2))
                                     : Property(float(row.minimum + 0.123456));
        page.settings.set(row.id, outside);
        EXPECT_TRUE(waitUntil([&] {
            return std::abs(spinner->getValue() - valueOf(outside)) <= 0.5 * std::pow(10., -row.precision);
        })) << spinner->getValue();
        settle();
        EXPECT_EQ(writes.get(), 1);
        EXPECT_EQ(valueOf(page.settings.get(row.id)), valueOf(outside));
    }
}

TEST(PostPage, SwitchesAndCheckBoxesWriteTheirPropertiesAndEnableTheirRows) {
    PostPage page;
    ColorMapPanel* colorMap = page.panel->getColorMapPanel();
    Spinner* exposure = controlOf<Spinner>(colorMap, "Exposure (EV):");
    Spinner* iso = controlOf<Spinner>(colorMap, "ISO:");
    Spinner* contrast = controlOf<Spinner>(colorMap, "Contrast:");
    AutoSizedButton* editor = colorMap->getCurvesEditorButton();

    // Tone mapping off: exposure still applies, the tone rows and the curves do not.
    auto* toneSwitch = dynamic_cast<PropertyCheckBox*>(page.panel->getSection(Section::TONE_MAPPING)->getHeaderControl());
    ASSERT_NE(toneSwitch, nullptr);
    EXPECT_EQ(toneSwitch->getTooltip(), "Enable applying all the tone mapping (except for the exposure settings, "
                                        "which are always applied).");
    ASSERT_TRUE(page.settings.get(PropertyId::COLOR_MAP_ENABLED).asBool());
    page.input.click(toneSwitch);
    ASSERT_TRUE(waitUntil([&] { return !page.settings.get(PropertyId::COLOR_MAP_ENABLED).asBool(); }));
    EXPECT_TRUE(waitUntil([&] { return !contrast->IsEnabled(); }));
    EXPECT_TRUE(exposure->IsEnabled());
    EXPECT_FALSE(iso->IsEnabled());
    EXPECT_FALSE(editor->IsEnabled());

    // The radio of ISO switches to photographic exposure.
    wxWindow* isoRadio = nullptr;
    for (wxWindow* child : colorMap->GetChildren()) {
        if (dynamic_cast<wxRadioButton*>(child) && isoRadio == nullptr) {
            isoRadio = child;
        }
    }
    ASSERT_NE(isoRadio, nullptr);
    page.input.click(isoRadio);
    EXPECT_TRUE(waitUntil([&] { return page.settings.get(PropertyId::USE_PHOTOGRAPHIC).asBool(); }));
    EXPECT_TRUE(waitUntil([&] { return iso->IsEnabled() && !exposure->IsEnabled(); }));

    // "Editor..." needs both tone mapping and the curves, also after the page comes back.
    page.input.click(toneSwitch);
    ASSERT_TRUE(waitUntil([&] { return contrast->IsEnabled(); }));
    EXPECT_FALSE(editor->IsEnabled());
    page.panel->Enable(false);
    page.panel->Enable(true);
    EXPECT_FALSE(editor->IsEnabled());
    auto* curves = controlOf<CheckBox>(colorMap, "Color tint:");
    ASSERT_NE(curves, nullptr);
    EXPECT_EQ(curves->GetLabel(), "Curves:");
    page.input.click(curves);
    EXPECT_TRUE(waitUntil([&] { return page.settings.get(PropertyId::CURVES_ENABLE).asBool(); }));
    EXPECT_TRUE(waitUntil([&] { return editor->IsEnabled(); }));
    int editorClicks = 0;
    colorMap->setOnCurvesEditor([&] { ++editorClicks; });
    page.input.click(editor);
    EXPECT_EQ(editorClicks, 1);

    // Bloom and glare: all rows follow the switch; no colour intensity leaves the shift idle.
    BloomGlarePanel* bloom = page.panel->getBloomGlarePanel();
    Spinner* shift = controlOf<Spinner>(bloom, "Color shift:");
    Spinner* colorIntensity = controlOf<Spinner>(bloom, "Color intensity:");
    EXPECT_FALSE(shift->IsEnabled());
    EXPECT_FALSE(colorIntensity->IsEnabled());
    page.input.click(page.panel->getSection(Section::BLOOM_GLARE)->getHeaderControl());
    EXPECT_TRUE(waitUntil([&] { return page.settings.get(PropertyId::BLOOM_GLARE_ENABLED).asBool(); }));
    EXPECT_TRUE(waitUntil([&] { return shift->IsEnabled() && colorIntensity->IsEnabled(); }));
    page.settings.set(PropertyId::BLOOM_GLARE_COLOR_INTENSITY, Property(0.f));
    EXPECT_TRUE(waitUntil([&] { return !shift->IsEnabled(); }));
    EXPECT_TRUE(colorIntensity->IsEnabled());
    EXPECT_TRUE(controlOf<Spinner>(bloom, "Threshold:")->IsEnabled());

    // Sharpening and blurring, and the table, follow their switches likewise.
    Spinner* blur = controlOf<Spinner>(page.panel, "Blur radius:");
    EXPECT_FALSE(blur->IsEnabled());
    page.settings.set(PropertyId::SHARPENING_BLURRING_ENABLE, Property(true));
    EXPECT_TRUE(waitUntil([&] { return blur->IsEnabled(); }));
    EXPECT_FALSE(page.panel->getLutPanel()->getFileList()->IsEnabled());
    page.input.click(page.panel->getSection(Section::LUT)->getHeaderControl());
    EXPECT_TRUE(waitUntil([&] { return page.panel->getLutPanel()->getFileList()->IsEnabled(); }));
    EXPECT_TRUE(page.settings.get(PropertyId::LUT_ENABLE).asBool());

    // The tint picker writes the colour it is given.
    auto* tint = controlOf<ColorPickerButton>(colorMap, "Color tint:");
    tint->setColorSource([](const Rgb&) { return Optional<Rgb>(Rgb(1.f, 0.5f, 0.25f)); });
    page.input.click(tint);
    EXPECT_TRUE(waitUntil([&] { return page.settings.get(PropertyId::TINT).asRgb() == Rgb(1.f, 0.5f, 0.25f); }));
}

TEST(PostPage, DenoisingShowsItsButtonsOnlyWhenTheImageCanBeDenoised) {
    PostPage page;
    DenoisePanel* denoise = page.panel->getDenoisePanel();
    EXPECT_FALSE(denoise->getDenoiseButton()->IsShownOnScreen());
    bool textShown = false;
    for (wxWindow* child : denoise->GetChildren()) {
        for (wxWindow* grandchild : child->GetChildren()) {
            textShown |= grandchild->IsShownOnScreen() &&
                         GuiTest::flat(grandchild->GetLabel()).StartsWith("Denoising is not possible because auxiliary denoising "
                                                           "data are missing.");
        }
    }
    EXPECT_TRUE(textShown);
    denoise->setDenoisingPossible(true);
    page.panel->FitInside();
    EXPECT_TRUE(waitUntil([&] { return denoise->getDenoiseButton()->IsShownOnScreen(); }));
    int runs = 0;
    int customRuns = 0;
    denoise->setOnDenoise([&] { ++runs; });
    denoise->setOnCustomDenoise([&] { ++customRuns; });
    page.input.click(denoise->getDenoiseButton());
    page.input.click(denoise->getCustomDenoiseButton());
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(customRuns, 1);
    // Disabling reaches the controls, not the section.
    denoise->Enable(false);
    EXPECT_FALSE(denoise->getDenoiseButton()->IsEnabled());
    EXPECT_FALSE(denoise->getBlendAmountSpinner()->IsEnabled());
    EXPECT_TRUE(denoise->IsThisEnabled());
}

TEST(PostPage, TheLookUpTableListShowsTheFolderOfTheChosenFileAndRefusesOneThatDoesNotLoad) {
    if (!std::filesystem::is_directory(LUT_FOLDER)) {
        GTEST_SKIP() << "no look-up tables in " << LUT_FOLDER;
    }
    PostPage page;
    page.settings.set(PropertyId::LUT_ENABLE, Property(true));
    LutPanel* lut = page.panel->getLutPanel();
    ASSERT_TRUE(waitUntil([&] { return lut->getDirectoryButton()->IsEnabled(); }));

    // A good file: the path, and beside it every table of its folder, listed by file name.
    const std::filesystem::path good = std::filesystem::absolute(LUT_FOLDER / "noir_era.cube");
    page.nextOpen = Io::Path(good);
    page.input.click(lut->getDirectoryButton());
    EXPECT_EQ(page.lastTitle, u"Select a LUT file to use");
    EXPECT_EQ(page.lastFilter, u"Cube files (.cube)|*.cube|3D LUT files (.3dl)|*.3dl");
    ASSERT_TRUE(waitUntil([&] { return lutPathOf(page.settings) == Io::Path(good).nativeStr(); }));
    PropertyComboBox* list = lut->getFileList();
    std::size_t tables = 0;
    for (const auto& entry : std::filesystem::directory_iterator(LUT_FOLDER)) {
        const std::string extension = entry.path().extension().string();
        tables += extension == ".cube" || extension == ".3dl";
    }
    EXPECT_TRUE(waitUntil([&] { return list->getValues().size() == tables; })) << list->getValues().size();
    EXPECT_EQ(list->GetValue(), "noir_era.cube");
    const wxString folderLabel = lut->getDirectoryButton()->GetLabel();
    EXPECT_TRUE(folderLabel.EndsWith("lut/") || folderLabel.Contains(wxString::FromUTF8("\u2026"))) << folderLabel;

    // A truncated file: the reason in a message, and the table in use stays.
    wxString message;
    GuiTest::Answer answer("OK", &message);
    page.nextOpen = Io::Path(std::filesystem::absolute(LUT_FOLDER / "error_truncated_file.3dl"));
    page.input.click(lut->getDirectoryButton());
    EXPECT_TRUE(waitUntil([&] { return !message.empty(); }));
    EXPECT_TRUE(message.StartsWith("Error loading LUT file '" + toWx(page.nextOpen.nativeStr()) + "': "))
        << message;
    EXPECT_EQ(lutPathOf(page.settings), Io::Path(good).nativeStr());

    // A folder without tables lists "None" alone.
    TemporaryFolder noTables;
    const Io::Path notes(noTables.path().std() / "notes.txt");
    std::ofstream(notes.std()) << "no tables here\n";
    page.settings.set(PropertyId::LUT_PATH, Property(notes.nativeStr()));
    EXPECT_TRUE(waitUntil([&] {
        return list->getValues().size() == 1 && list->getValues()[0] == Property(String()) &&
               list->getData()[0].text == "None";
    }));

    // A path whose folder is gone lists the default folder.
    page.settings.set(PropertyId::LUT_PATH, Property(String(u"/no/such/folder/x.cube")));
    const wxString defaultFolder = toWx(LutPanel::defaultDirectory().nativeStr());
    EXPECT_TRUE(waitUntil([&] { return lut->getDirectoryButton()->GetLabel().StartsWith(defaultFolder.Left(4)); }))
        << lut->getDirectoryButton()->GetLabel();
}

} // namespace
} // namespace Vespra::Wx
