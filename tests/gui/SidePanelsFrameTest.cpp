// The side panel's pages inside the main frame on a real graph: their settings files, their
// changes on the screen against what the batch tool writes, and denoising from the panel.

#include <filesystem>
#include <fstream>
#include <iostream>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <wx/aui/auibook.h>

#include "base/image/ElementNames.h"
#include "gui/curves/PropertyCurvesEditor.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/WxText.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/ItemSelectPanel.h"
#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/Spinner.h"
#include "gui/windows/ColorMapPanel.h"
#include "gui/windows/DenoisePanel.h"
#include "gui/windows/DenoiseSelectDialog.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/LightMixPanel.h"
#include "gui/windows/LutPanel.h"
#include "gui/windows/PostprocessPanel.h"
#include "gui/windows/ProgressDialog.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "tests/cmd/BatchToolRunner.h"
#include "tests/gui/FrameFixture.h"

namespace Vespra::Wx {
namespace {

using GuiTest::controlOf;
using GuiTest::Input;
using GuiTest::OPERATOR_TIMEOUT_MS;
using GuiTest::settle;
using GuiTest::waitUntil;
using Section = PostprocessPanel::Section;

const std::filesystem::path LUT_FOLDER = "../shared/testdata/lut";

class SidePanels : public GuiTest::FrameFixture {
protected:
    PostprocessPanel* post() const { return frame->getPostprocessPanel(); }
    LightMixPanel* lightMix() const { return frame->getLightMixPanel(); }

    /// Brings the page of `page` to the front of the side panel.
    void showPage(wxWindow* page) {
        // The pointer leaves the side panel, and with it any tooltip that could cover the next
        // click on the page.
        input.moveTo(frame->getDrawPanel());
        auto* notebook = static_cast<wxAuiNotebook*>(page->GetParent());
        notebook->SetSelection(notebook->GetPageIndex(page));
        ASSERT_TRUE(waitUntil([page] { return page->IsShownOnScreen(); }));
        settle();
    }

    /// Opens `section` of the Post page alone, so that its controls are on the screen.
    void showSection(Section shown) {
        showPage(post());
        for (int section = 0; section < int(Section::COUNT); ++section) {
            post()->getSection(Section(section))->setCollapsed(Section(section) != shown);
        }
        post()->FitInside();
        post()->Scroll(0, 0);
        post()->Layout();
        CollapsiblePanel* panel = post()->getSection(shown);
        ASSERT_TRUE(waitUntil([panel] { return panel->getContent()->IsShownOnScreen(); }));
        settle();
    }

    /// What the batch tool writes for the element on the screen with every image setting of
    /// the frame, as 8-bit RGB.
    std::vector<std::uint8_t> batchToolPixels(const Io::Path& render) {
        const Io::Path conf = file("shown.conf");
        const auto saved = Conf::save(*settings, conf, Conf::filterOf(PropertyCatalogue::allImageIds()));
        EXPECT_TRUE(saved.has_value());
        const Io::Path output = file("batch.png");
        const Cmd::Testing::CommandResult result = Cmd::Testing::runBatchToolCapturing(
            {render.nativeStr().toUtf8(), "-c", conf.nativeStr().toUtf8(), "-e",
             frame->getElementComboBox()->currentName().toUtf8(), "-o", output.nativeStr().toUtf8(), "-q"});
        EXPECT_EQ(result.status, 0) << result.message;
        std::vector<std::uint8_t> pixels;
        if (auto image = OIIO::ImageInput::open(output.nativeStr().toUtf8())) {
            pixels.resize(std::size_t(image->spec().width) * image->spec().height * 3);
            image->read_image(0, 0, 0, 3, OIIO::TypeDesc::UINT8, pixels.data());
        }
        return pixels;
    }

    /// Waits until the image panel shows what the batch tool writes; answers the largest
    /// difference of a channel at the end.
    int differenceFromBatchTool(const Io::Path& render) {
        const std::vector<std::uint8_t> expected = batchToolPixels(render);
        int largest = 256;
        waitUntil(
            [&] {
                const wxImage shown = GuiTest::capture(frame->getDrawPanel()->getImagePanel());
                const std::size_t size = std::size_t(shown.GetWidth()) * shown.GetHeight() * 3;
                if (size != expected.size()) {
                    return false;
                }
                largest = 0;
                for (std::size_t i = 0; i < size; ++i) {
                    largest = std::max(largest, std::abs(int(shown.GetData()[i]) - int(expected[i])));
                }
                return largest == 0;
            },
            OPERATOR_TIMEOUT_MS);
        return largest;
    }

    /// Clicks `button` until it asked for a file. Right after a load, the X server may still
    /// hold a click for the busy dialog that just went.
    void clickForFile(wxWindow* button, const int& dialogsAsked) {
        const int before = dialogsAsked;
        for (int attempt = 0; attempt < 3 && dialogsAsked == before; ++attempt) {
            input.click(button);
            waitUntil([&] { return dialogsAsked > before; }, 1000);
        }
        EXPECT_GT(dialogsAsked, before) << "the click asked for no file";
    }

    int denoisedItems() const {
        int count = 0;
        for (const ComboBox::Item& item : frame->getElementComboBox()->getData()) {
            count += item.text.EndsWith(" [Denoised]");
        }
        return count;
    }

    Input input;
};

std::string readText(const Io::Path& path) {
    std::ifstream stream(path.std());
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<float> intensitiesOf(const Settings& settings) {
    const Property value = settings.get(PropertyId::LIGHTMIX_INTENSITIES);
    const ArrayView<const float> stored = value;
    return {stored.begin(), stored.end()};
}

TEST_F(SidePanels, PostAndLightMixSettingsRoundTripThroughTheirOwnFiles) {
    open({GuiTest::writeRender(file("render.vxr"), 40, 30, 40, 30)});
    ASSERT_FALSE(lightMix()->getRows().empty()) << "the sample has light layers";
    settings->set(PropertyId::SIMPLE_EXPOSURE, Property(1.25f));
    settings->set(PropertyId::BLOOM_INTENSITY, Property(2.f));
    std::vector<float> mixed(lightMix()->getRows().size(), 0.5f);
    settings->set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(mixed.data(), mixed.size())));

    showSection(Section::TONE_MAPPING);
    nextSave = file("post.conf");
    clickForFile(post()->getSaveButton(), saveDialogs);
    ASSERT_TRUE(std::filesystem::exists(nextSave.std()));
    const std::string postText = readText(nextSave);
    EXPECT_NE(postText.find("colorMap.simpleExposure"), std::string::npos) << postText;
    EXPECT_NE(postText.find("bloomGlare.bloomIntensity"), std::string::npos);
    EXPECT_EQ(postText.find("colorMap.lightmixIntensities"), std::string::npos);

    showPage(lightMix());
    nextSave = file("lightmix.conf");
    clickForFile(lightMix()->getSaveButton(), saveDialogs);
    ASSERT_TRUE(std::filesystem::exists(nextSave.std()));
    const std::string lightMixText = readText(nextSave);
    EXPECT_NE(lightMixText.find("colorMap.lightmixIntensities"), std::string::npos) << lightMixText;
    EXPECT_EQ(lightMixText.find("colorMap.simpleExposure"), std::string::npos);

    // Each load brings back its own set and leaves the other alone.
    settings->set(PropertyId::SIMPLE_EXPOSURE, Property(-3.f));
    std::vector<float> changed(mixed.size(), 4.f);
    settings->set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(changed.data(), changed.size())));
    nextOpen = file("lightmix.conf");
    clickForFile(lightMix()->getLoadButton(), openDialogs);
    EXPECT_TRUE(waitUntil([&] { return intensitiesOf(*settings) == mixed; }));
    EXPECT_EQ(settings->get(PropertyId::SIMPLE_EXPOSURE).asFloat(), -3.f);
    EXPECT_FLOAT_EQ(float(lightMix()->getRows()[0].intensity->getValue()), 0.5f);

    showPage(post());
    nextOpen = file("post.conf");
    settings->set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(changed.data(), changed.size())));
    clickForFile(post()->getLoadButton(), openDialogs);
    EXPECT_TRUE(waitUntil([&] { return settings->get(PropertyId::SIMPLE_EXPOSURE).asFloat() == 1.25f; }));
    EXPECT_EQ(intensitiesOf(*settings), changed);

    // A damaged file changes nothing, not even the lines before the damage, and says why.
    const Io::Path damaged = file("damaged.conf");
    std::ofstream(damaged.std()) << "float colorMap.simpleExposure = 2.5\nfloat colorMap.noSuchThing = 1\n";
    nextOpen = damaged;
    wxString message;
    whenAsked("OK", &message);
    clickForFile(post()->getLoadButton(), openDialogs);
    EXPECT_TRUE(waitUntil([&] { return !message.empty(); }));
    EXPECT_TRUE(message.StartsWith(GuiTest::flat("Settings cannot be loaded. Error in.conf file '" +
                                                 toWx(damaged.genericStr()) + "' (line 2) : Unknown property.")))
        << message;
    EXPECT_EQ(settings->get(PropertyId::SIMPLE_EXPOSURE).asFloat(), 1.25f);

    // A value of the wrong type is a damaged line too, not a crash of a control.
    std::ofstream(damaged.std()) << "bool colorMap.simpleExposure = true\n";
    message.clear();
    whenAsked("OK", &message);
    clickForFile(post()->getLoadButton(), openDialogs);
    EXPECT_TRUE(waitUntil([&] { return !message.empty(); }));
    EXPECT_TRUE(message.StartsWith("Settings cannot be loaded. Error in.conf file")) << message;
    EXPECT_EQ(settings->get(PropertyId::SIMPLE_EXPOSURE).asFloat(), 1.25f);
}

TEST_F(SidePanels, ChangesMadeInThePanelsReachTheScreenAsTheBatchToolWritesThem) {
    const Io::Path render = GuiTest::writeRender(file("render.vxr"), 64, 40, 64, 40);
    open({render});
    ASSERT_EQ(differenceFromBatchTool(render), 0) << "as loaded";

    showSection(Section::TONE_MAPPING);
    input.typeInto(controlOf<Spinner>(post(), "Exposure (EV):"), "1.5");
    ASSERT_TRUE(waitUntil([&] { return settings->get(PropertyId::SIMPLE_EXPOSURE).asFloat() == 1.5f; }));
    EXPECT_EQ(differenceFromBatchTool(render), 0) << "exposure";

    // The switches' own clicks are the Post page's tests; here the values typed count.
    settings->set(PropertyId::BLOOM_GLARE_ENABLED, Property(true));
    showSection(Section::BLOOM_GLARE);
    input.typeInto(controlOf<Spinner>(post(), "Bloom intensity:"), "4");
    ASSERT_TRUE(waitUntil([&] { return settings->get(PropertyId::BLOOM_INTENSITY).asFloat() == 4.f; }));
    EXPECT_EQ(differenceFromBatchTool(render), 0) << "bloom";

    if (std::filesystem::is_directory(LUT_FOLDER)) {
        settings->set(PropertyId::LUT_ENABLE, Property(true));
        showSection(Section::LUT);
        ASSERT_TRUE(waitUntil([&] { return post()->getLutPanel()->getDirectoryButton()->IsEnabled(); }));
        nextOpen = Io::Path(std::filesystem::absolute(LUT_FOLDER / "noir_era.cube"));
        input.click(post()->getLutPanel()->getDirectoryButton());
        ASSERT_TRUE(waitUntil([&] {
            const Property path = settings->get(PropertyId::LUT_PATH);
            return path.asString() == nextOpen.nativeStr();
        }));
        EXPECT_EQ(differenceFromBatchTool(render), 0) << "look-up table";
    } else {
        std::cout << "look-up table left out: no " << LUT_FOLDER << "\n";
    }

    // A LightMix intensity shows the mix.
    showPage(lightMix());
    input.typeInto(lightMix()->getRows()[0].intensity, "2.5");
    ASSERT_TRUE(waitUntil([&] { return frame->getElementComboBox()->currentName() == LIGHT_MIX_INTERACTIVE_NAME; }));
    EXPECT_FLOAT_EQ(intensitiesOf(*settings)[0], 2.5f);
    EXPECT_EQ(differenceFromBatchTool(render), 0) << "LightMix";
}

TEST_F(SidePanels, DenoiseFromThePanelAddsTheDenoisedElementsAndCustomDenoiseOnlyTheChosenOnes) {
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(32, 24, 2);
    const Io::Path render = file("noisy.vxr");
    ASSERT_TRUE(ExrSaver(false).save(SampleGen::renderSampleImage(job), render).has_value());
    open({render});
    DenoisePanel* denoise = post()->getDenoisePanel();
    ASSERT_TRUE(denoise->isDenoisingPossible());
    showSection(Section::DENOISING);
    EXPECT_EQ(denoisedItems(), 0);

    // "Custom denoise...": only the first element, in the mode and radius of the dialog.
    const Array<ElementInfo> denoisable = graph->denoise.getDenoisableElements({});
    ASSERT_GE(denoisable.size(), 2u);
    bool answered = false;
    GuiTest::WhenShown<DenoiseSelectDialog> answer([&](DenoiseSelectDialog& dialog) {
        answered = true;
        // Right edge at the button's left edge.
        EXPECT_NEAR(dialog.GetScreenRect().GetRight() + 1, denoise->getCustomDenoiseButton()->GetScreenPosition().x, 1);
        Input().click(dialog.getElementList()->getNoneButton());
        Input().click(dialog.getElementList()->getCheckBoxes()[0]);
        dialog.getSensitivityControl()->setValue(2.5, true);
        Input().click(dialog.getDenoiseButton());
    });
    input.click(denoise->getCustomDenoiseButton());
    ASSERT_TRUE(answered);
    ASSERT_TRUE(waitUntil([&] { return denoisesEnded > 0; }, OPERATOR_TIMEOUT_MS));
    EXPECT_TRUE(waitUntil([&] { return denoisedItems() == 1; })) << denoisedItems();
    EXPECT_TRUE(graph->denoise.holdsElement(denoisable[0].name));
    EXPECT_FALSE(graph->denoise.holdsElement(denoisable[1].name));
    EXPECT_EQ(settings->get(PropertyId::DENOISE_SENSITIVITY).asFloat(), 2.5f);

    // "Denoise": every element, in the most advanced mode the image has the data for.
    input.click(denoise->getDenoiseButton());
    ASSERT_TRUE(waitUntil([&] { return denoisesEnded > 1; }, OPERATOR_TIMEOUT_MS));
    EXPECT_EQ(settings->get(PropertyId::DENOISE_FILTER_TYPE).asInt(), std::int32_t(graph->denoise.getAvailableModes()[0]));
    EXPECT_TRUE(waitUntil([&] { return denoisedItems() == int(denoisable.size()); })) << denoisedItems();
    EXPECT_TRUE(denoise->getDenoiseButton()->IsEnabled());
}

TEST_F(SidePanels, TheProgressOfADenoiseShowsAndItsXCancelsLeavingNoDenoisedElement) {
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(512, 384, 4);
    const Io::Path render = file("large.vxr");
    ASSERT_TRUE(ExrSaver(false).save(SampleGen::renderSampleImage(job), render).has_value());
    open({render});
    showSection(Section::DENOISING);
    ProgressDialog* progress = frame->getProgressDialog();
    EXPECT_FALSE(progress->IsShown());
    input.click(post()->getDenoisePanel()->getDenoiseButton());
    ASSERT_TRUE(waitUntil([&] { return progress->IsShownOnScreen() && progress->getProgress() > 0; },
                          OPERATOR_TIMEOUT_MS));
    EXPECT_EQ(progress->GetScreenPosition(), frame->getDrawPanel()->GetScreenPosition() + wxPoint(15, 15));
    // While it runs, a second denoise can't be started.
    EXPECT_FALSE(post()->getDenoisePanel()->getDenoiseButton()->IsEnabled());
    EXPECT_FALSE(post()->getDenoisePanel()->getCustomDenoiseButton()->IsEnabled());
    const int before = progress->getProgress();
    EXPECT_TRUE(waitUntil([&] { return progress->getProgress() > before; }, OPERATOR_TIMEOUT_MS)) << "progress rises";
    // For review: what the dialog looks like, beside the editor's own screenshot.
    EXPECT_TRUE(GuiTest::capture(progress).SaveFile(VESPRA_BUILD_DIR "/progress.png", wxBITMAP_TYPE_PNG));

    const auto clicked = std::chrono::steady_clock::now();
    input.click(progress->getCancelButton());
    // Cancelling stops the filter at its next row: far within a second.
    ASSERT_TRUE(waitUntil([&] { return denoisesEnded > 0; }, 1000));
    EXPECT_LT(std::chrono::steady_clock::now() - clicked, std::chrono::seconds(1));
    EXPECT_TRUE(waitUntil([&] { return !progress->IsShown(); }));
    EXPECT_TRUE(waitUntil([&] { return post()->getDenoisePanel()->getDenoiseButton()->IsEnabled(); }));
    settle();
    EXPECT_EQ(denoisedItems(), 0);
}

TEST_F(SidePanels, EditorOpensTheCurvesEditorOnceAndSwitchingTheCurvesOffHidesIt) {
    open({GuiTest::writeRender(file("render.vxr"), 40, 30, 40, 30)});
    settings->set(PropertyId::COLOR_MAP_ENABLED, Property(true));
    settings->set(PropertyId::CURVES_ENABLE, Property(true));
    showSection(Section::TONE_MAPPING);
    AutoSizedButton* editorButton = post()->getColorMapPanel()->getCurvesEditorButton();
    ASSERT_TRUE(waitUntil([&] { return editorButton->IsEnabled(); }));
    EXPECT_EQ(frame->getCurvesEditor(), nullptr);
    input.click(editorButton);
    PropertyCurvesEditor* editor = frame->getCurvesEditor();
    ASSERT_NE(editor, nullptr);
    EXPECT_TRUE(waitUntil([&] { return editor->IsShownOnScreen(); }));
    editor->Hide();
    input.click(editorButton);
    EXPECT_EQ(frame->getCurvesEditor(), editor) << "a second click shows the same editor";
    EXPECT_TRUE(waitUntil([&] { return editor->IsShownOnScreen(); }));
    settings->set(PropertyId::CURVES_ENABLE, Property(false));
    EXPECT_TRUE(waitUntil([&] { return !editor->IsShown(); }));
    EXPECT_FALSE(editorButton->IsEnabled());
}

TEST_F(SidePanels, ScreenshotsOfBothPagesGoToTheBuildFolder) {
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(640, 360, 8);
    const Io::Path sample = file("sample.vxr");
    ASSERT_TRUE(ExrSaver(false).save(SampleGen::renderSampleImage(job), sample).has_value());
    open({sample});
    settings->set(PropertyId::BLOOM_GLARE_ENABLED, Property(true));
    settings->set(PropertyId::CURVES_ENABLE, Property(true));
    showSection(Section::TONE_MAPPING);
    CollapsiblePanel* bloom = post()->getSection(Section::BLOOM_GLARE);
    bloom->setCollapsed(false);
    post()->FitInside();
    post()->Layout();
    ASSERT_TRUE(waitUntil([bloom] { return bloom->getContent()->IsShownOnScreen(); }));
    // The switch reaches the rows through the GUI thread's queue.
    Spinner* bloomIntensity = controlOf<Spinner>(post(), "Bloom intensity:");
    ASSERT_TRUE(waitUntil([bloomIntensity] { return bloomIntensity->IsEnabled(); }));
    // GTK paints on its frame clock: the shot waits for a paint that follows the enabling.
    int paints = 0;
    const auto countPaint = [&paints](wxPaintEvent& event) {
        ++paints;
        event.Skip();
    };
    bloomIntensity->Bind(wxEVT_PAINT, countPaint);
    frame->Refresh();
    EXPECT_TRUE(waitUntil([&paints] { return paints > 0; }));
    bloomIntensity->Unbind(wxEVT_PAINT, countPaint);
    settle();
    const wxImage postShot = GuiTest::capture(frame);
    EXPECT_TRUE(postShot.SaveFile(VESPRA_BUILD_DIR "/post-page.png", wxBITMAP_TYPE_PNG));

    showPage(lightMix());
    ASSERT_FALSE(lightMix()->getRows().empty());
    lightMix()->getRows()[1].color->setColor(Rgb(1.f, 0.6f, 0.2f), true);
    lightMix()->getRows()[0].intensity->setValue(2.5, true);
    ASSERT_TRUE(waitUntil([&] { return frame->getElementComboBox()->currentName() == LIGHT_MIX_INTERACTIVE_NAME; }));
    frame->Refresh();
    settle();
    const wxImage lightMixShot = GuiTest::capture(frame);
    EXPECT_TRUE(lightMixShot.SaveFile(VESPRA_BUILD_DIR "/lightmix-page.png", wxBITMAP_TYPE_PNG));
}

} // namespace
} // namespace Vespra::Wx
