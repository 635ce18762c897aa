// The main frame on a real operator graph with real renders: loading and merging, the title,
// the prompts, the keys, saving, and the preferences file.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <chrono>
#include <thread>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <wx/dnd.h>
#include <wx/timer.h>

#include "apps/cmd/BatchJob.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ElementNames.h"
#include "base/image/ExrSaver.h"
#include "foundation/SystemInfo.h"
#include "gui/LastDirectory.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/ImageSaveSettingsDialog.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/MainFrame.h"
#include "gui/windows/ProgressDialog.h"
#include "settings/PropertyIds.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/gui/FrameFixture.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::settle;
using GuiTest::waitUntil;

using GuiTest::Answer;
using GuiTest::FrameFixture;
using GuiTest::flat;
using GuiTest::OPERATOR_TIMEOUT_MS;
using GuiTest::shownMessageDialog;
using GuiTest::writeRender;

TEST_F(FrameFixture, AnEmptyFrameEnablesOnlyOpenAndMergeAndTitlesItselfPlainly) {
    EXPECT_EQ(frame->getState(), 0u);
    EXPECT_TRUE(frame->getButton(MainFrame::ToolbarButton::OPEN)->IsEnabled());
    EXPECT_TRUE(frame->getButton(MainFrame::ToolbarButton::MERGE)->IsEnabled());
    for (auto button : {MainFrame::ToolbarButton::SAVE, MainFrame::ToolbarButton::SAVE_ALL,
                        MainFrame::ToolbarButton::ZOOM_IN, MainFrame::ToolbarButton::RESET_ZOOM}) {
        EXPECT_FALSE(frame->getButton(button)->IsEnabled());
    }
    EXPECT_FALSE(frame->getElementComboBox()->IsEnabled());
    EXPECT_TRUE(waitUntil([&] { return titleIs(expectedTitle("")); })) << frame->GetTitle();
    EXPECT_GE(frame->GetSize().x, 720);
    EXPECT_GE(frame->GetSize().y, 405);

    // The side panel comes and goes with its button, which swaps its image.
    ASSERT_TRUE(frame->isSidePanelShown());
    Input().click(frame->getButton(MainFrame::ToolbarButton::SIDE_PANEL));
    EXPECT_TRUE(waitUntil([&] { return !frame->isSidePanelShown(); }));
    Input().click(frame->getButton(MainFrame::ToolbarButton::SIDE_PANEL));
    EXPECT_TRUE(waitUntil([&] { return frame->isSidePanelShown(); }));

    // Saving without an image says why.
    wxString text;
    whenAsked("OK", &text);
    frame->save(MainFrame::SaveMode::CURRENT_ELEMENT);
    EXPECT_EQ(text, flat("You have to open an image first."));
    EXPECT_EQ(saveDialogs, 0);
}

TEST_F(FrameFixture, TitleOfAChangedMergeOfThreeFilesNamesTheFirstSizeAndZoom) {
    Stack<Io::Path> parts;
    for (const char* name : {"node1.vxr", "node2.vxr", "node3.vxr"}) {
        parts.push(writeRender(file(name), 1920, 1080, 48, 27, parts.size() + 1));
    }
    open(Array<Io::Path>(parts));
    ASSERT_EQ(frame->getState(), std::uint32_t(MainFrame::IMAGE_OPEN));
    EXPECT_EQ(frame->getDrawPanel()->getImageSize(), (Pixel{1920, 1080}));
    EXPECT_EQ(frame->getElementComboBox()->currentName(), BLOOM_GLARE_INTERACTIVE_NAME);
    change();
    const std::string expected =
        expectedTitle(parts[0].nativeStr().toUtf8() + " [and 2 more] *, 1920x1080px, 1:1");
    EXPECT_TRUE(waitUntil([&] { return titleIs(expected); })) << frame->GetTitle() << "\nexpected " << expected;

    // Ctrl+1 zooms in (the 1 belongs to zooming in), Ctrl+0 resets.
    Input input;
    input.moveTo(frame->getDrawPanel());
    input.key('1', wxMOD_CONTROL);
    EXPECT_TRUE(waitUntil([&] { return frame->getDrawPanel()->getZoomLevel() == 1; }));
    EXPECT_TRUE(waitUntil([&] { return frame->GetTitle().EndsWith(", 2:1)"); })) << frame->GetTitle();
    input.key('-', wxMOD_CONTROL);
    input.key('-', wxMOD_CONTROL);
    EXPECT_TRUE(waitUntil([&] { return frame->getDrawPanel()->getZoomLevel() == -1; }));
    EXPECT_TRUE(waitUntil([&] { return frame->GetTitle().EndsWith(", 1:2)"); })) << frame->GetTitle();
    input.key('0', wxMOD_CONTROL);
    EXPECT_TRUE(waitUntil([&] { return frame->getDrawPanel()->getZoomLevel() == 0; }));
    // Without Control the keys are not the frame's.
    input.key('1');
    EXPECT_EQ(frame->getDrawPanel()->getZoomLevel(), 0);

    // Page Up and Down step through the elements; the last one has no next.
    ElementComboBox* elements = frame->getElementComboBox();
    const int last = elements->getCount() - 1;
    ASSERT_EQ(elements->getSelectedIndex(), last);
    input.key(WXK_PAGEDOWN, wxMOD_CONTROL);
    EXPECT_EQ(elements->getSelectedIndex(), last);
    input.key(WXK_PAGEUP, wxMOD_CONTROL);
    EXPECT_TRUE(waitUntil([&] { return elements->getSelectedIndex() == last - 1; }));
    EXPECT_EQ(elements->currentName(), elements->getElements()[std::size_t(last - 1)].name);

    // Ctrl+O opens the dialog without asking, changes or not.
    input.key('O', wxMOD_CONTROL);
    EXPECT_TRUE(waitUntil([&] { return openDialogs == 1; }));
}

TEST_F(FrameFixture, TheTitleSaysLoadingWhileTheLoadRuns) {
    const Io::Path render = writeRender(file("slow.vxr"), 40, 30, 40, 30);
    std::atomic<bool> release = false;
    graph->load.setLoader(makeShared<Pipeline::LoadOperator::Loader>(
        [&release](const Io::Path&) -> Expected<ChannelImage, String> {
            while (!release) {
                std::this_thread::yield();
            }
            SampleGen::RenderJob job = SampleGen::wholeFrameJob(40, 30, 1);
            return SampleGen::renderSampleImage(job);
        }));
    // The busy dialog runs modally until the load ends: a timer looks at the title from inside
    // it, since a wait would itself run the dialog.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(OPERATOR_TIMEOUT_MS);
    wxTimer check;
    check.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        if (frame->getBusyDialog() && titleIs(expectedTitle("loading ..."))) {
            release = true;
        } else if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "no busy dialog, or the title " << frame->GetTitle();
            release = true;
        }
        if (release) {
            check.Stop();
        }
    });
    check.Start(10);
    open({render});
    EXPECT_EQ(frame->getBusyDialog(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return titleIs(expectedTitle(render.nativeStr().toUtf8() + ", 40x30px, 1:1")); }))
        << frame->GetTitle();
}

TEST_F(FrameFixture, AFailedLoadKeepsTheImageItsChangesAndItsTitle) {
    const Io::Path render = writeRender(file("good.vxr"), 40, 30, 40, 30);
    open({render});
    change();
    wxString text;
    whenAsked("OK", &text);
    open({file("missing.vxr")});
    EXPECT_TRUE(text.Contains("missing.vxr")) << text;
    EXPECT_EQ(frame->getState(), std::uint32_t(MainFrame::IMAGE_OPEN | MainFrame::MODIFIED));
    EXPECT_EQ(frame->getDrawPanel()->getImageSize(), (Pixel{40, 30}));
    EXPECT_TRUE(waitUntil([&] { return titleIs(expectedTitle(render.nativeStr().toUtf8() + " *, 40x30px, 1:1")); }))
        << frame->GetTitle();
}

TEST_F(FrameFixture, PromptsGoOnOrStayAndAskOnlyAboutChanges) {
    const Io::Path first = writeRender(file("first.vxr"), 40, 30, 40, 30);
    const Io::Path second = writeRender(file("second.vxr"), 20, 10, 20, 10);
    open({first});

    // Unchanged: a new image opens without a question.
    nextOpen = second;
    int before = loadsEnded;
    frame->askOpen();
    waitForLoad(before);
    EXPECT_EQ(openDialogs, 1);
    EXPECT_EQ(frame->getDrawPanel()->getImageSize(), (Pixel{20, 10}));

    change();
    wxString text;
    whenAsked("Keep current", &text);
    frame->askOpen();
    EXPECT_EQ(text, flat("Do you want to open a new image?\nUnsaved changes to the current image will be lost."));
    EXPECT_EQ(openDialogs, 1);

    whenAsked("Keep current", &text);
    frame->askMerge();
    EXPECT_EQ(text, flat("Do you want to merge multiple images?\nUnsaved changes to the current image will be lost."));
    EXPECT_EQ(openDialogs, 1);

    whenAsked("Discard current");
    nextMerge = {};
    frame->askMerge();
    EXPECT_EQ(openDialogs, 2);

    // A drop of two files is refused at once; one file is asked about once the drop is over.
    auto* target = dynamic_cast<wxFileDropTarget*>(frame->GetDropTarget());
    ASSERT_NE(target, nullptr);
    wxArrayString two;
    two.Add(toWx(first.nativeStr()));
    two.Add(toWx(second.nativeStr()));
    EXPECT_FALSE(target->OnDropFiles(10, 10, two));
    settle();
    EXPECT_EQ(shownMessageDialog(), nullptr);
    wxArrayString one;
    one.Add(toWx(first.nativeStr()));
    whenAsked("Keep current", &text);
    EXPECT_TRUE(target->OnDropFiles(10, 10, one));
    EXPECT_TRUE(waitUntil([&] { return text.StartsWith("Do you want to open the dropped image? "); })) << text;
    EXPECT_EQ(frame->getDrawPanel()->getImageSize(), (Pixel{20, 10}));
    text.clear();
    whenAsked("Discard current", &text);
    before = loadsEnded;
    EXPECT_TRUE(target->OnDropFiles(10, 10, one));
    waitForLoad(before);
    EXPECT_EQ(frame->getDrawPanel()->getImageSize(), (Pixel{40, 30}));
    EXPECT_EQ(frame->getState(), std::uint32_t(MainFrame::IMAGE_OPEN));

    // Reset of Post: stay keeps the change, go on restores the image's value.
    const Property imageExposure = settings->get(PropertyId::SIMPLE_EXPOSURE);
    change();
    whenAsked("Keep settings", &text);
    frame->askResetPost();
    EXPECT_EQ(text, flat("Are you sure you want to reset all Post settings to image defaults?"));
    EXPECT_EQ(settings->get(PropertyId::SIMPLE_EXPOSURE), Property(1.5f));
    whenAsked("Reset settings");
    frame->askResetPost();
    EXPECT_EQ(settings->get(PropertyId::SIMPLE_EXPOSURE), imageExposure);

    // Closing with changes: stay vetoes, go on closes.
    change();
    whenAsked("Keep playing", &text);
    EXPECT_FALSE(frame->Close());
    EXPECT_EQ(text, flat("Do you want to exit the editor?\nUnsaved changes to the image will be lost."));
    settle();
    EXPECT_TRUE(frameAlive());
    whenAsked("Exit without saving");
    frame->Close();
    EXPECT_TRUE(waitUntil([&] { return !frameAlive(); }));
}

TEST_F(FrameFixture, ATinyImageSitsInTheMiddleWithoutBars) {
    open({writeRender(file("dot.vxr"), 1, 1, 1, 1)});
    DrawPanel* panel = frame->getDrawPanel();
    EXPECT_FALSE(panel->isHorizontalBarShown());
    EXPECT_FALSE(panel->isVerticalBarShown());
    const wxRect image = panel->getImagePanel()->GetRect();
    EXPECT_EQ(image.GetSize(), wxSize(1, 1));
    EXPECT_NEAR(image.x, (panel->GetClientSize().x - 1) / 2, 1);
    EXPECT_NEAR(image.y, (panel->GetClientSize().y - 1) / 2, 1);
}

TEST_F(FrameFixture, SavingTheShownElementToPngWritesWhatTheBatchToolWrites) {
    const Io::Path render = writeRender(file("render.vxr"), 48, 32, 48, 32);
    open({render});
    settings->set(PropertyId::SIMPLE_EXPOSURE, Property(0.75f));
    settings->set(PropertyId::SATURATION, Property(0.3f));

    nextSave = file("shown.png");
    whenAsked("Save");
    frame->save(MainFrame::SaveMode::CURRENT_ELEMENT);
    EXPECT_TRUE(lastSaveFilter.startsWith(u"Vespra EXR files (*.vxr;*.vex;*.vexr)|"));
    EXPECT_EQ(lastSuggested, file("render.vxr"));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(nextSave.std()) && !(frame->getState() & MainFrame::SAVING); },
                          OPERATOR_TIMEOUT_MS));
    EXPECT_EQ(frame->getState(), std::uint32_t(MainFrame::IMAGE_OPEN));

    Cmd::CommandLineOptions options;
    options.inputs = {render.nativeStr().toUtf8()};
    options.output = file("batch.png").nativeStr().toUtf8();
    options.properties = {"colorMap.simpleExposure=0.75", "colorMap.saturation=0.3"};
    options.elements = {"Bloom and Glare Interactive"};
    options.quiet = true;
    std::ostringstream messages;
    ASSERT_EQ(Cmd::BatchJob(options, messages).run(), Cmd::EXIT_OK) << messages.str();

    const auto read = [](const Io::Path& path) {
        auto input = OIIO::ImageInput::open(path.nativeStr().toUtf8());
        EXPECT_TRUE(input) << path.nativeStr().toUtf8();
        std::vector<std::uint8_t> pixels(input ? input->spec().image_bytes() : 0);
        if (input) {
            EXPECT_EQ(input->spec().width, 48);
            input->read_image(0, 0, 0, input->spec().nchannels, OIIO::TypeDesc::UINT8, pixels.data());
        }
        return pixels;
    };
    const std::vector<std::uint8_t> shown = read(nextSave);
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown, read(file("batch.png")));

    // The folder of the save is where the next dialog starts.
    EXPECT_EQ(lastDirectoryPath(), Io::Path(folder.path().nativeStr() + u"/"));
}

TEST_F(FrameFixture, TheLastFolderIsKeptInTheUsersPreferencesOnceAFileWasChosen) {
    const std::filesystem::path preferences = configHome / "VespraRenderer.conf";
    EXPECT_EQ(lastDirectoryPath(), Io::Path(u"./"));
    nextOpen = Io::Path();
    frame->openDialog();
    EXPECT_EQ(lastStartFolder, Io::Path(u"./"));
    EXPECT_FALSE(std::filesystem::exists(preferences)) << "nothing was chosen, nothing is written";

    std::filesystem::create_directories(folder.path().std() / "renders");
    nextOpen = writeRender(Io::Path(folder.path().std() / "renders" / "a.vxr"), 8, 8, 8, 8);
    const int before = loadsEnded;
    frame->openDialog();
    waitForLoad(before);
    ASSERT_TRUE(std::filesystem::exists(preferences));
    std::ifstream stream(preferences);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("[ImageEditor]"), std::string::npos) << text;
    EXPECT_NE(text.find("LastDirectory=" + (folder.path().std() / "renders").string()), std::string::npos) << text;
    nextOpen = Io::Path();
    frame->openDialog();
    EXPECT_EQ(lastStartFolder, Io::Path(folder.path().nativeStr() + u"/renders/"));
}

TEST_F(FrameFixture, AScreenshotOfTheEditorWithTheSampleGoesToTheBuildFolder) {
    SampleGen::RenderJob job = SampleGen::wholeFrameJob(960, 540, 8);
    const Io::Path sample = file("sample.vxr");
    ASSERT_TRUE(ExrSaver(false).save(SampleGen::renderSampleImage(job), sample).has_value());
    open({sample});
    // The frame fitted itself to the image, within the screen.
    const wxSize panel = frame->getDrawPanel()->GetSize();
    EXPECT_GE(panel.x, 960);
    EXPECT_GE(panel.y, 540);
    EXPECT_FALSE(frame->getDrawPanel()->isHorizontalBarShown());
    frame->Refresh();
    settle();

    const wxImage image = GuiTest::capture(frame);
    // The picture is there: the centre of the image is lit, not the panel's background.
    const wxPoint centre = frame->getDrawPanel()->GetPosition() + wxPoint(panel.x / 2, panel.y / 2);
    const int brightness = image.GetRed(centre.x, centre.y) + image.GetGreen(centre.x, centre.y) +
                           image.GetBlue(centre.x, centre.y);
    EXPECT_GT(brightness, 30);
    EXPECT_TRUE(image.SaveFile(VESPRA_BUILD_DIR "/editor.png", wxBITMAP_TYPE_PNG));
}

} // namespace
} // namespace Vespra::Wx
