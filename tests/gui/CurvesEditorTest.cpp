// The curves editor on a real frame, operator graph and render: nodes dragged with the mouse,
// the properties both ways, Equalize, Pick from the image, curve files, and what the image
// display paints against what the batch tool writes.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <wx/dcmemory.h>
#include <wx/dcscreen.h>
#include <wx/uiaction.h>

#include "base/image/ElementNames.h"
#include "foundation/io/AcvFile.h"
#include "gui/curves/CurveProperties.h"
#include "gui/curves/PropertyCurvesEditor.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/MainFrame.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "tests/cmd/BatchToolRunner.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/gui/FrameFixture.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::settle;
using GuiTest::waitUntil;

const std::filesystem::path ACV_SAMPLES = "../shared/testdata/acv";
/// The render: small, so that the whole of it is on the screen at 1:1.
constexpr int IMAGE_WIDTH = 48;
constexpr int IMAGE_HEIGHT = 32;

wxPoint toPoint(Vector2 point) {
    return {int(std::lround(point.x)), int(std::lround(point.y))};
}

/// What the screen shows of a top-level window, its decorations aside.
wxImage grabScreen(wxWindow* window) {
    const wxRect area = window->GetScreenRect();
    wxBitmap bitmap(area.width, area.height, 24);
    wxScreenDC screen;
    wxMemoryDC memory(bitmap);
    memory.Blit(0, 0, area.width, area.height, &screen, area.x, area.y);
    memory.SelectObject(wxNullBitmap);
    return bitmap.ConvertToImage();
}

/// The 8-bit pixels of a picture file, three channels.
std::vector<std::uint8_t> readPicture(const Io::Path& path) {
    auto input = OIIO::ImageInput::open(path.nativeStr().toUtf8());
    EXPECT_TRUE(input) << path.nativeStr().toUtf8();
    if (!input) {
        return {};
    }
    std::vector<std::uint8_t> pixels(std::size_t(input->spec().width) * input->spec().height * 3);
    input->read_image(0, 0, 0, 3, OIIO::TypeDesc::UINT8, pixels.data());
    return pixels;
}

/// Presses the left button at `from`, moves to `to` in a few steps and lets go, all at once: the
/// editor takes the events in one go, a burst.
void dragBurst(wxWindow* window, wxPoint from, wxPoint to, int steps = 8) {
    Input().moveTo(window, from);
    wxUIActionSimulator simulator;
    simulator.MouseDown();
    for (int i = 1; i <= steps; ++i) {
        simulator.MouseMove(
            window->ClientToScreen(from + wxPoint((to.x - from.x) * i / steps, (to.y - from.y) * i / steps)));
    }
    simulator.MouseUp();
    settle();
}

class CurvesEditorTest : public GuiTest::FrameFixture {
protected:
    void SetUp() override {
        GuiTest::FrameFixture::SetUp();
        render = GuiTest::writeRender(file("render.vxr"), IMAGE_WIDTH, IMAGE_HEIGHT, IMAGE_WIDTH, IMAGE_HEIGHT);
        open({render});

        frameHadLeftDrag = bool(frame->getDrawPanel()->onLeftDrag);
        editor = new PropertyCurvesEditor(*frame, *settings, *graph);
        editor->fileDialogs.open = [this](wxWindow*, const String&, const String&, const Io::Path&) {
            return nextOpen;
        };
        editor->fileDialogs.save = [this](wxWindow*, const String&, const String&, const Io::Path&) {
            return nextSave;
        };
        // Beside the frame, so that neither covers the other.
        editor->SetPosition(wxPoint(frame->GetScreenRect().GetRight() + 20, 40));
        editor->Show();
        editor->Raise();
        ASSERT_TRUE(waitUntil([this] { return editor->IsShownOnScreen(); }));
        display = editor->getDisplay();
        waitForHistogram();
    }

    void TearDown() override {
        if (editor) {
            editor->Destroy();
        }
        GuiTest::FrameFixture::TearDown();
    }

    void waitForHistogram() {
        ASSERT_TRUE(waitUntil([this] { return !display->isHistogramLoading(); }, GuiTest::OPERATOR_TIMEOUT_MS));
        settle();
    }

    /// Waits until the display has passed its changes on.
    void waitForWrite() {
        ASSERT_TRUE(waitUntil([this] { return !display->isNotificationPending(); }));
        settle();
    }

    std::vector<Vector2> storedNodes(int curve) const {
        const Property nodes = settings->get(CURVE_NODES_IDS[std::size_t(curve)]);
        return {nodes.asVec2Array().begin(), nodes.asVec2Array().end()};
    }

    std::vector<Vector2> shownNodes(int curve) const {
        const ArrayView<const Vector2> nodes = display->getCurves()[curve].nodes();
        return {nodes.begin(), nodes.end()};
    }

    /// The pixels the editor reads, before the curves: the element shown at full size.
    Pipeline::ColorBitmap pixelsBeforeCurves(const Bucket& region) const {
        const Optional<Pipeline::ColorBitmap> pixels =
            Pipeline::pullColorBitmap(&graph->zoom, frame->getElementComboBox()->currentName(), region, 1.f,
                                      Pipeline::PullFlag::HISTOGRAM);
        EXPECT_TRUE(pixels);
        return pixels ? *pixels : Pipeline::ColorBitmap();
    }

    /// Counts how often the master curve's nodes are written from now on.
    void countMasterWrites() {
        masterWrites = makeShared<SettingsListener>([this](std::int32_t, const Property&) { ++writes; });
        settings->addListener(PropertyId::CURVES_MASTER_NODES, masterWrites);
    }

    PropertyCurvesEditor* editor = nullptr;
    ToneCurveDisplay* display = nullptr;
    Io::Path render;
    SharedPtr<SettingsListener> masterWrites;
    int writes = 0;
    bool frameHadLeftDrag = false;
};

TEST_F(CurvesEditorTest, DraggingANodeWritesTheCurveOnceAfterEachBurst) {
    countMasterWrites();
    const GraphView& view = display->getView();
    // A press on the identity line at (0.5, 0.5) adds a node there; 40 pixels up is 40 / 256 more.
    const wxPoint start = toPoint(view.toWidget({0.5f, 0.5f}));
    const wxPoint end = start + wxPoint(0, -40);
    dragBurst(display, start, end);
    waitForWrite();
    EXPECT_EQ(writes, 1);
    const Vector2 moved = view.toCurve({float(end.x), float(end.y)});
    EXPECT_NEAR(moved.y - view.toCurve({float(start.x), float(start.y)}).y, 40.f / view.graphSize().y, 1e-6f);
    EXPECT_EQ(storedNodes(0), (std::vector<Vector2>{{0.f, 0.f}, moved, {1.f, 1.f}}));

    // A second burst on the node it made: one more write.
    const wxPoint lower = end + wxPoint(0, 25);
    dragBurst(display, end, lower);
    waitForWrite();
    EXPECT_EQ(writes, 2);
    EXPECT_EQ(storedNodes(0),
              (std::vector<Vector2>{{0.f, 0.f}, view.toCurve({float(lower.x), float(lower.y)}), {1.f, 1.f}}));
    EXPECT_EQ(settings->get(PropertyId::CURVES_MASTER_INTERPOLATION).asInt(), 0);

    // The right button takes the node away again.
    Input().click(display, lower, wxMOUSE_BTN_RIGHT);
    waitForWrite();
    EXPECT_EQ(writes, 3);
    EXPECT_EQ(storedNodes(0), (std::vector<Vector2>{{0.f, 0.f}, {1.f, 1.f}}));
}

TEST_F(CurvesEditorTest, AConfLoadMovesTheNodes) {
    const Io::Path conf = file("look.conf");
    std::ofstream(conf.std()) << "Vec2Array curves.master.nodes = 0 0.1, 0.4 0.3, 1 0.9\n"
                                 "Int curves.master.interpol = Linear splines\n"
                                 "Vec2Array curves.b.nodes = 0 0, 0.5 0.8, 1 1\n";
    nextOpen = conf;
    frame->loadSettings(PropertyCatalogue::postProcessingIds(), u"Select Post settings to load");
    const std::vector<Vector2> master{{0.f, 0.1f}, {0.4f, 0.3f}, {1.f, 0.9f}};
    ASSERT_TRUE(waitUntil([&] { return shownNodes(0) == master; })) << shownNodes(0).size();
    EXPECT_EQ(display->getCurves()[0].interpolation(), CurveInterpolation::LINEAR_SPLINES);
    EXPECT_EQ(shownNodes(3), (std::vector<Vector2>{{0.f, 0.f}, {0.5f, 0.8f}, {1.f, 1.f}}));
    EXPECT_EQ(editor->getInterpolationBox()->getSelectedId(), int(CurveInterpolation::LINEAR_SPLINES));
    // The curves that the file left alone are shown as the identity line, and nothing went back.
    EXPECT_EQ(shownNodes(1), (std::vector<Vector2>{{0.f, 0.f}, {1.f, 1.f}}));
    EXPECT_FALSE(display->isNotificationPending());
    EXPECT_TRUE(storedNodes(1).empty());
}

TEST_F(CurvesEditorTest, EqualizeGivesTheFifteenNodesOfTheCumulativeHistogram) {
    settings->set(PropertyId::SIMPLE_EXPOSURE, Property(1.f));
    // Worked out here from the pixels the editor reads: the mean of the channels in 100 bins of 0 to 2.
    const Pipeline::ColorBitmap pixels = pixelsBeforeCurves(graph->zoom.getDisplayWindow());
    ASSERT_FALSE(pixels.isEmpty());
    std::vector<double> counts(100, 0.);
    for (int y = 0; y < pixels.height(); ++y) {
        for (int x = 0; x < pixels.width(); ++x) {
            const Rgb& p = pixels(x, y);
            const float bin = ((p.r + p.g + p.b) / 3.f - 0.f) / 2.f * 100.f;
            if (bin > -1.f && bin < 100.f) {
                counts[std::size_t(int(bin))] += 1.;
            }
        }
    }
    std::vector<double> runningSum(100);
    double total = 0.;
    for (std::size_t i = 0; i < 100; ++i) {
        total += counts[i];
        runningSum[i] = total;
    }
    ASSERT_GT(total, 0.);

    Input().click(editor->getEqualizeButton());
    ASSERT_TRUE(waitUntil([&] { return shownNodes(0).size() == 17; }, GuiTest::OPERATOR_TIMEOUT_MS));
    const std::vector<Vector2> master = shownNodes(0);
    EXPECT_EQ(master.front(), (Vector2{0.f, 0.f}));
    EXPECT_EQ(master.back(), (Vector2{2.f, 1.f}));
    for (int k = 1; k <= 15; ++k) {
        const double t = 0.062501 * k;
        EXPECT_FLOAT_EQ(master[std::size_t(k)].x, float(2. * t)) << k;
        EXPECT_FLOAT_EQ(master[std::size_t(k)].y, float(runningSum[std::size_t(100. * t)] / total)) << k;
    }
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(shownNodes(i), (std::vector<Vector2>{{0.f, 0.f}, {1.f, 1.f}}));
    }
    EXPECT_EQ(editor->getHistogramBox()->getSelectedIndex(), int(HistogramType::CUMULATIVE));
    EXPECT_EQ(display->getHistogramType(), HistogramType::CUMULATIVE);
    waitForWrite();
    EXPECT_EQ(storedNodes(0), master);
}

TEST_F(CurvesEditorTest, PickMakesANodeAtThePixelsValueAndDragsItsOutput) {
    DrawPanel* drawPanel = frame->getDrawPanel();
    wxWindow* image = drawPanel->getImagePanel();
    ASSERT_EQ(drawPanel->getZoomLevel(), 0);
    const wxPoint pixel(30, 12);
    const Rgb value = pixelsBeforeCurves(Bucket{pixel.x, pixel.y, pixel.x + 1, pixel.y + 1})(0, 0);
    const float mean = (value.r + value.g + value.b) / 3.f;

    // Without Pick a click on the image makes nothing.
    Input().click(image, pixel);
    EXPECT_FALSE(editor->isPickActive());
    EXPECT_EQ(shownNodes(0).size(), 2u);

    Input().click(editor->getPickButton());
    ASSERT_TRUE(editor->isPickActive());
    dragBurst(image, pixel, pixel + wxPoint(0, -20), 4);
    waitForWrite();
    // The identity curve put the node at (mean, mean); 20 pixels up raised it by 20 / 256.
    const std::vector<Vector2> nodes = storedNodes(0);
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[1].x, mean);
    EXPECT_NEAR(nodes[1].y, mean + 20.f / display->getView().graphSize().y, 1e-6f);

    // The red curve takes the red value. (Elsewhere: a second press where the first one was
    // would be a double click, which fits the frame to the image.)
    editor->getChannelBox()->selectIndex(1, true);
    const wxPoint other(12, 25);
    const float red = pixelsBeforeCurves(Bucket{other.x, other.y, other.x + 1, other.y + 1})(0, 0).r;
    dragBurst(image, other, other + wxPoint(0, 10), 2);
    waitForWrite();
    const std::vector<Vector2> redNodes = storedNodes(1);
    ASSERT_EQ(redNodes.size(), 3u);
    EXPECT_EQ(redNodes[1].x, red);
    EXPECT_NEAR(redNodes[1].y, red - 10.f / display->getView().graphSize().y, 1e-6f);

    Input().click(editor->getPickButton());
    EXPECT_FALSE(editor->isPickActive());
}

TEST_F(CurvesEditorTest, DamagedAndForeignCurveFilesAreToldAndChangeNothing) {
    const std::vector<Vector2> before = shownNodes(0);
    const Io::Path damaged = file("damaged.acv");
    TestFiles::writeBytes(damaged, std::string("\0\4\0\4\0\3\0\0\0\0\0\200", 12));
    const Io::Path foreign = file("foreign.acv");
    TestFiles::writeBytes(foreign, "not a curve file");
    for (const auto& [path, reason] :
         {std::pair{damaged, "The file is damaged: it ends inside curve 1."},
          std::pair{foreign,
                    "This is not a curve file: it starts with the word 28271, where curve files have 4."}}) {
        nextOpen = path;
        wxString shown;
        whenAsked("OK", &shown);
        Input().click(editor->getLoadButton());
        ASSERT_TRUE(waitUntil([&] { return !shown.empty(); }));
        EXPECT_EQ(shown,
                  toWx(u"The curves of \"" + path.nativeStr() + u"\" cannot be loaded. ") + reason);
        EXPECT_EQ(shownNodes(0), before);
        EXPECT_FALSE(display->isNotificationPending());
    }
    EXPECT_TRUE(storedNodes(0).empty());
}

TEST_F(CurvesEditorTest, EverySampleCurveFileLoadsAndASaveGivesItBack) {
    if (!std::filesystem::is_directory(ACV_SAMPLES)) {
        GTEST_SKIP() << "The sample folder " << ACV_SAMPLES << " is not there.";
    }
    for (const auto& entry : std::filesystem::directory_iterator(ACV_SAMPLES)) {
        SCOPED_TRACE(entry.path().string());
        nextOpen = Io::Path(entry.path());
        Input().click(editor->getLoadButton());
        const Expected<Io::AcvCurves> expected = Io::loadAcv(nextOpen);
        ASSERT_TRUE(expected);
        for (int i = 0; i < 4; ++i) {
            const Array<Vector2>& nodes = (*expected)[std::size_t(i)];
            EXPECT_EQ(shownNodes(i), std::vector<Vector2>(nodes.begin(), nodes.end())) << "curve " << i;
        }
        waitForWrite();
        EXPECT_EQ(storedNodes(0), shownNodes(0));

        nextSave = file("saved.acv");
        Input().click(editor->getSaveButton());
        const Expected<Io::AcvCurves> saved = Io::loadAcv(nextSave);
        ASSERT_TRUE(saved) << saved.error().toUtf8();
        for (int i = 0; i < 4; ++i) {
            EXPECT_TRUE((*saved)[std::size_t(i)] == (*expected)[std::size_t(i)]) << "curve " << i;
        }
    }
}

TEST_F(CurvesEditorTest, AFailedSaveIsToldAndLeavesTheOldFile) {
    // A master curve of 60 nodes makes a file of 272 bytes.
    std::vector<Vector2> nodes;
    for (int i = 0; i < 60; ++i) {
        nodes.push_back({float(i) / 59.f, float(i % 7) / 6.f});
    }
    settings->set(PropertyId::CURVES_MASTER_NODES, Property(ArrayView<const Vector2>(nodes)));
    ASSERT_TRUE(waitUntil([&] { return shownNodes(0).size() == 60; }));
    nextSave = file("grade.acv");
    TestFiles::writeBytes(nextSave, "old contents");
    wxString shown;
    whenAsked("OK", &shown);
    {
        // Files may not grow past 200 bytes: the save fails half way (the preferences, which keep
        // the folder, are smaller).
        const FileSizeLimit limit(200);
        Input().click(editor->getSaveButton());
        ASSERT_TRUE(waitUntil([&] { return !shown.empty(); }));
    }
    EXPECT_EQ(shown, toWx(u"Cannot write the file \"" + nextSave.nativeStr() + u"\": File too large."));
    EXPECT_EQ(TestFiles::readBytes(nextSave), "old contents");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path().std())) {
        EXPECT_FALSE(entry.path().filename().string().ends_with(".tmp")) << entry.path();
    }
}

TEST_F(CurvesEditorTest, ThePaintedPixelsAreThoseTheBatchToolWrites) {
    settings->set(PropertyId::CURVES_ENABLE, Property(true));
    nextOpen = Io::Path(ACV_SAMPLES / "yellow.acv");
    if (!std::filesystem::exists(nextOpen.std())) {
        GTEST_SKIP() << "The sample is not there.";
    }
    Input().click(editor->getLoadButton());
    waitForWrite();
    ASSERT_EQ(storedNodes(1).size(), 6u);

    // The same curve properties for the batch tool.
    const Io::Path conf = file("curves.conf");
    std::vector<std::int32_t> ids{PropertyId::CURVES_ENABLE};
    ids.insert(ids.end(), CURVE_NODES_IDS.begin(), CURVE_NODES_IDS.end());
    ids.insert(ids.end(), CURVE_INTERPOLATION_IDS.begin(), CURVE_INTERPOLATION_IDS.end());
    ASSERT_TRUE(Conf::save(*settings, conf, Conf::filterOf(ids)));
    const auto runBatch = [&](const char* output, bool withCurves) {
        std::vector<std::string> arguments{render.nativeStr().toUtf8(), "-e",
                                           String(BLOOM_GLARE_INTERACTIVE_NAME).toUtf8(), "-o",
                                           file(output).nativeStr().toUtf8()};
        if (withCurves) {
            arguments.insert(arguments.end(), {"-c", conf.nativeStr().toUtf8()});
        }
        const Cmd::Testing::CommandResult result = Cmd::Testing::runBatchToolCapturing(arguments);
        EXPECT_EQ(result.status, 0) << result.message;
        return readPicture(file(output));
    };
    const std::vector<std::uint8_t> written = runBatch("curves.png", true);
    const std::vector<std::uint8_t> plain = runBatch("plain.png", false);
    ASSERT_EQ(written.size(), std::size_t(IMAGE_WIDTH * IMAGE_HEIGHT * 3));

    // The display's power is the fast one: a byte may round the other way.
    wxWindow* image = frame->getDrawPanel()->getImagePanel();
    ASSERT_EQ(image->GetClientSize(), wxSize(IMAGE_WIDTH, IMAGE_HEIGHT));
    int largest = 0;
    int changedByCurves = 0;
    const bool agree = waitUntil(
        [&] {
            const wxImage shown = GuiTest::capture(image);
            largest = 0;
            changedByCurves = 0;
            for (int y = 0; y < IMAGE_HEIGHT; ++y) {
                for (int x = 0; x < IMAGE_WIDTH; ++x) {
                    const std::size_t at = (std::size_t(y) * IMAGE_WIDTH + std::size_t(x)) * 3;
                    const unsigned char rgb[] = {shown.GetRed(x, y), shown.GetGreen(x, y),
                                                 shown.GetBlue(x, y)};
                    for (std::size_t c = 0; c < 3; ++c) {
                        largest = std::max(largest, std::abs(int(rgb[c]) - int(written[at + c])));
                        changedByCurves += std::abs(int(plain[at + c]) - int(written[at + c])) > 2;
                    }
                }
            }
            return largest <= 1;
        },
        GuiTest::OPERATOR_TIMEOUT_MS);
    EXPECT_TRUE(agree) << "the display differs by " << largest;
    EXPECT_GT(changedByCurves, IMAGE_WIDTH * IMAGE_HEIGHT) << "the curves hardly change the picture";
}

TEST_F(CurvesEditorTest, AScreenshotOfTheEditorWithCurvesGoesToTheBuildFolder) {
    nextOpen = Io::Path(ACV_SAMPLES / "green.acv");
    if (!std::filesystem::exists(nextOpen.std())) {
        GTEST_SKIP() << "The sample is not there.";
    }
    Input().click(editor->getLoadButton());
    editor->getChannelBox()->selectIndex(2, true);
    editor->getHistogramBox()->selectIndex(int(HistogramType::LOGARITHMIC), true);
    waitForHistogram();
    ASSERT_FALSE(display->getHistogram().counts.empty());
    const auto counted = std::accumulate(display->getHistogram().counts.begin(),
                                         display->getHistogram().counts.end(), std::uint64_t(0));
    EXPECT_GT(counted, 0u);
    display->Refresh();
    settle();

    // The nodes of the green curve are white discs; the histogram is drawn in green.
    wxImage shot;
    const GraphView& view = display->getView();
    const wxPoint node = toPoint(view.toWidget(display->getCurves()[2].nodes()[2]));
    bool histogramShown = false;
    EXPECT_TRUE(waitUntil([&] {
        shot = GuiTest::capture(display);
        histogramShown = false;
        for (int x = 0; x < shot.GetWidth() && !histogramShown; ++x) {
            const int y = shot.GetHeight() - 12;
            histogramShown =
                shot.GetRed(x, y) == 100 && shot.GetGreen(x, y) == 220 && shot.GetBlue(x, y) == 100;
        }
        return histogramShown && shot.GetRed(node.x, node.y) == 255 && shot.GetGreen(node.x, node.y) == 255 &&
               shot.GetBlue(node.x, node.y) == 255;
    }));
    EXPECT_TRUE(histogramShown);
    const wxString path = wxString(VESPRA_BUILD_DIR) + "/curves-editor.png";
    ASSERT_TRUE(grabScreen(editor).SaveFile(path, wxBITMAP_TYPE_PNG)) << path;
    std::printf("Screenshot: %s\n", static_cast<const char*>(path.utf8_str()));
}

TEST_F(CurvesEditorTest, ClosingHidesAndDestroyingGivesTheImageHooksBack) {
    DrawPanel* drawPanel = frame->getDrawPanel();
    EXPECT_TRUE(bool(drawPanel->onLeftDrag));
    editor->Close();
    ASSERT_TRUE(waitUntil([&] { return !editor->IsShown(); }));
    // Hidden, it takes no property changes; shown again, it catches up.
    const Vector2 line[] = {{0.f, 0.2f}, {1.f, 0.8f}};
    settings->set(PropertyId::CURVES_GREEN_NODES, Property(ArrayView<const Vector2>(line)));
    settle();
    EXPECT_EQ(shownNodes(2), (std::vector<Vector2>{{0.f, 0.f}, {1.f, 1.f}}));
    editor->Show();
    ASSERT_TRUE(waitUntil([&] { return shownNodes(2) == std::vector<Vector2>{{0.f, 0.2f}, {1.f, 0.8f}}; }));

    editor->Destroy();
    editor = nullptr;
    settle();
    EXPECT_EQ(bool(drawPanel->onLeftDrag), frameHadLeftDrag);
    // A click on the image after the editor has gone reaches nothing of it.
    Input().click(drawPanel->getImagePanel(), wxPoint(5, 5));
}

} // namespace
} // namespace Vespra::Wx
