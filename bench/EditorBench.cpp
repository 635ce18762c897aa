// The editor as the user meets it: the real main frame on a real settings object and operator
// graph, on an X display (bench/run starts a virtual one of 1920x1200), with sample renders
// that are made once and kept in the temporary folder.
//
// - Editor/openToFirstPicture: from `openImages` to the end of the first paint of the image
//   panel that drew the picture (not the background fill), beside the load of the same file
//   by a second graph without a frame, timed in the same rounds; the ratio of the two should
//   stay within 1.2.
// - Editor/exposureToPicture: a change of the exposure to the end of the paint that shows it,
//   with the frame sized so that the whole 1920x1080 picture is shown at 1:1 (the side panel
//   hidden when it is in the way); at most 50 ms. Two parts of such a paint are timed apart
//   after each change: the pull through the colour chain and the conversion to a wxBitmap.
// - Editor/scrollByLines: line steps (`DrawPanel::scrollBy`) across a 3840x2160 render at 1:1,
//   each followed by one turn of the event loop as between two key repeats; the completed
//   paints per second (the strips that come in and the full repaints that follow) should be at
//   least 30.
//
// Every time is wall-clock, taken by hand: a paint ends when the image panel's paint handler
// returns (the toolkit hands the frame to the X server right after; `displayed_ms` goes on until
// the X server has drawn it). The labels carry the figures that are compared with the goals;
// the counters give the parts. Counters that do not apply to a benchmark are NaN, since every
// row of the CSV output must have the same ones.

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <limits>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <wx/app.h>
#include <wx/dialog.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrSaver.h"
#include "base/pipeline/OperatorGraph.h"
#include "gui/ApplicationContext.h"
#include "gui/Library.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/LibWx.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/LightMixPanel.h"
#include "gui/windows/MainFrame.h"
#include "gui/windows/ColorMapPanel.h"
#include "gui/windows/PostprocessPanel.h"
#include "settings/PropertyIds.h"
#include "settings/Settings.h"

using namespace Vespra;

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int FRAME_WIDTH = 1920;
constexpr int FRAME_HEIGHT = 1080;
constexpr int FRAME_PASSES = 4;
constexpr int LARGE_WIDTH = 3840;
constexpr int LARGE_HEIGHT = 2160;
constexpr int LARGE_PASSES = 1;

/// Upper bounds of the waits: a load of the large render on two cores takes some seconds.
constexpr auto LOAD_LIMIT = std::chrono::seconds(120);
constexpr auto PAINT_LIMIT = std::chrono::seconds(10);
constexpr auto LAYOUT_LIMIT = std::chrono::seconds(5);

constexpr double NOT_MEASURED = std::numeric_limits<double>::quiet_NaN();

double milliseconds(Clock::duration duration) {
    return Milliseconds(duration).count();
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return NOT_MEASURED;
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2.;
}

std::filesystem::path benchFolder() {
    return std::filesystem::temp_directory_path() / "vespra-bench-editor";
}

/// The sample render of `width` by `height` with `passes` passes, rendered on first use and
/// kept for later runs. It is written under another name and renamed, so that a run that was
/// cut short leaves no partial file behind under the kept name.
Io::Path sampleRender(int width, int height, int passes) {
    const std::filesystem::path path =
        benchFolder() / fmt::format("sample-{}x{}-{}p.vxr", width, height, passes);
    if (!std::filesystem::exists(path)) {
        std::filesystem::create_directories(path.parent_path());
        const std::filesystem::path partial = path.string() + ".part";
        const auto saved = ExrSaver(true).save(
            SampleGen::renderSampleImage(SampleGen::wholeFrameJob(width, height, passes)), Io::Path(partial));
        if (!saved) {
            throw std::runtime_error(saved.error().toUtf8());
        }
        std::filesystem::rename(partial, path);
    }
    return Io::Path(path);
}

/// Ends every modal dialog still running when its time is up, so that a wait that runs inside
/// a dialog's loop (a busy dialog, an error) comes back to the caller in bounded time.
class ModalWatchdog : public wxTimer {
public:
    explicit ModalWatchdog(Clock::duration limit) {
        StartOnce(std::max(1, int(std::chrono::ceil<std::chrono::milliseconds>(limit).count())));
    }

    void Notify() override {
        for (wxWindow* window : wxTopLevelWindows) {
            if (auto* dialog = dynamic_cast<wxDialog*>(window); dialog && dialog->IsModal()) {
                dialog->EndModal(wxID_CANCEL);
            }
        }
    }
};

/// Runs the toolkit's events until `done` holds or `limit` passed; answers `done`. Between
/// events it blocks in the event loop, which wakes for the X server, the timers and the work
/// that other threads queue.
bool runUntil(const Function<bool()>& done, Clock::duration limit) {
    const Clock::time_point deadline = Clock::now() + limit;
    ModalWatchdog watchdog(limit);
    while (!done()) {
        Wx::LibWx::processAllPendingEvents();
        if (done()) {
            break;
        }
        const Clock::duration left = deadline - Clock::now();
        if (left <= Clock::duration::zero()) {
            return done();
        }
        wxEventLoopBase::GetActive()->DispatchTimeout((unsigned long)std::max<std::int64_t>(
            1, std::chrono::ceil<std::chrono::milliseconds>(left).count()));
    }
    return true;
}

/// Waits until the X server has carried out every request sent so far, the drawing of the
/// last paint included. GDK is loaded by the toolkit already; its functions are looked up at
/// run time so that the build needs no GTK headers.
void syncWithDisplay() {
    using GetDisplay = void* (*)();
    using Sync = void (*)(void*);
    static const auto getDisplay =
        reinterpret_cast<GetDisplay>(dlsym(RTLD_DEFAULT, "gdk_display_get_default"));
    static const auto sync = reinterpret_cast<Sync>(dlsym(RTLD_DEFAULT, "gdk_display_sync"));
    if (getDisplay && sync) {
        if (void* display = getDisplay()) {
            sync(display);
        }
    }
}

/// Handles what is ready now, without waiting for more: one turn of the event loop.
void handleReadyEvents() {
    constexpr int MAX_ROUNDS = 1000;
    wxEventLoopBase* loop = wxEventLoopBase::GetActive();
    for (int round = 0; round < MAX_ROUNDS; ++round) {
        Wx::LibWx::processAllPendingEvents();
        if (!loop->Pending()) {
            break;
        }
        loop->Dispatch();
    }
}

/// Sees every paint of the image panel, ahead of and after the panel's own handler: records
/// when each paint that drew the picture began and ended.
class PaintWatch : public wxEvtHandler {
public:
    struct Paint {
        Clock::time_point start;
        Clock::time_point end;
        double milliseconds() const { return ::milliseconds(end - start); }
    };

    explicit PaintWatch(Wx::DrawPanel* panel) : panel(panel) {}

    bool ProcessEvent(wxEvent& event) override {
        if (event.GetEventType() != wxEVT_PAINT) {
            return wxEvtHandler::ProcessEvent(event);
        }
        const Clock::time_point start = Clock::now();
        const std::uint64_t before = panel->getPaintCount();
        const bool processed = wxEvtHandler::ProcessEvent(event);
        if (panel->getPaintCount() != before) {
            pictures.push_back({start, Clock::now()});
        } else {
            ++fills;
        }
        return processed;
    }

    /// The paints that drew the picture since the last `clear`, in order.
    std::vector<Paint> pictures;
    /// The paints that filled some of the panel with the background.
    int fills = 0;

    void clear() {
        pictures.clear();
        fills = 0;
    }

private:
    Wx::DrawPanel* panel;
};

/// The editor's frame on its own settings and graph, shown at the top-left corner of the
/// screen, with the ends of its loads counted ahead of the frame.
class Editor {
public:
    Editor() {
        frame = new Wx::MainFrame(nullptr, settings, *graph);
        for (auto* callback : {&graph->load.onFinished, &graph->load.onError}) {
            const bool failure = callback == &graph->load.onError;
            *callback = [this, failure, frameCallback = *callback](const String& text) {
                if (failure) {
                    std::lock_guard lock(mutex);
                    loadError = text.toUtf8();
                }
                loadEnd = Clock::now();
                ++loadsEnded;
                frameCallback(text);
            };
        }
        frame->SetPosition(wxPoint(0, 0));
        frame->Show();
        if (!runUntil([this] { return frame->IsShownOnScreen(); }, LAYOUT_LIMIT)) {
            throw std::runtime_error("the editor's frame did not come on the screen");
        }
        watch = new PaintWatch(panel());
        panel()->getImagePanel()->PushEventHandler(watch);
        settle();
    }

    ~Editor() {
        panel()->getImagePanel()->PopEventHandler(true);
        frame->Destroy();
        runUntil(
            [this] {
                return std::find(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), frame) ==
                       wxTopLevelWindows.end();
            },
            LAYOUT_LIMIT);
    }

    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    Wx::DrawPanel* panel() const { return frame->getDrawPanel(); }

    /// Waits until nothing the frame started is still to come: no load, no busy dialog, no
    /// full repaint after a scroll or resize; then handles what is ready.
    void settle() {
        runUntil(
            [this] {
                return (frame->getState() & Wx::MainFrame::LOADING) == 0 &&
                       frame->getBusyDialog() == nullptr && !panel()->isRepaintPending();
            },
            LOAD_LIMIT);
        handleReadyEvents();
    }

    struct OpenTimes {
        /// From `openImages` to the end of the first paint with the picture.
        double toPicture;
        /// From `openImages` to the end the load operator reports.
        double load;
        /// How long that paint took.
        double paint;
        /// From `openImages` until the X server has drawn that paint, as soon as the benchmark
        /// sees it: an upper bound.
        double displayed;
    };

    /// Opens `path` as the user does and waits for the picture; raises when it does not come.
    OpenTimes open(const Io::Path& path) {
        settle();
        watch->clear();
        const int before = loadsEnded;
        const Clock::time_point start = Clock::now();
        frame->openImages({path});
        // The picture of the new image: a paint that began once the load had ended. The frame
        // is frozen from the start of the load until it has taken the new image in.
        const auto picture = [&]() -> const PaintWatch::Paint* {
            if (loadsEnded <= before) {
                return nullptr;
            }
            for (const PaintWatch::Paint& paint : watch->pictures) {
                if (paint.start >= loadEnd) {
                    return &paint;
                }
            }
            return nullptr;
        };
        const bool shown = runUntil([&] { return picture() != nullptr; }, LOAD_LIMIT);
        {
            std::lock_guard lock(mutex);
            if (!loadError.empty()) {
                throw std::runtime_error("the load failed: " + loadError);
            }
        }
        if (!shown) {
            throw std::runtime_error(loadsEnded > before ? "no paint showed the loaded picture"
                                                         : "the load did not end");
        }
        syncWithDisplay();
        const Clock::time_point displayed = Clock::now();
        const PaintWatch::Paint paint = *picture();
        shownPath = path;
        settle();
        return {milliseconds(paint.end - start), milliseconds(loadEnd - start), paint.milliseconds(),
                milliseconds(displayed - start)};
    }

    /// Opens `path` unless it is the image shown now.
    void show(const Io::Path& path) {
        if (shownPath != path) {
            open(path);
        }
    }

    /// Shows the editor as it starts: the side panel beside the picture, the frame fitted.
    void defaultLayout() {
        if (!frame->isSidePanelShown()) {
            frame->toggleSidePanel();
        }
        fit();
    }

    /// Gives the picture all the room the screen has: the side panel hidden when the picture
    /// at 1:1 does not fit beside it, the frame at the top-left corner and fitted to the image.
    void roomForWholePicture() {
        panel()->setZoom(0);
        if (frame->isSidePanelShown() && !wholePictureShown()) {
            frame->toggleSidePanel();
        }
        fit();
    }

    /// The part of the image at the current zoom that the image panel shows.
    double visibleFraction() const {
        const wxSize shown = panel()->getImagePanel()->GetClientSize();
        const Pixel whole = panel()->imageSizeOnScreen();
        if (whole.x <= 0 || whole.y <= 0) {
            return 0.;
        }
        return double(std::min(shown.x, whole.x)) * std::min(shown.y, whole.y) / (double(whole.x) * whole.y);
    }

    wxSize shownSize() const { return panel()->getImagePanel()->GetClientSize(); }

    /// Sets the simple exposure, in stops, as the exposure slider of the side panel does.
    void setExposure(float value) { settings->set(PropertyId::SIMPLE_EXPOSURE, Property(value)); }

    SharedPtr<Settings> settings = makeShared<Settings>();
    AutoPtr<Pipeline::OperatorGraph> graph = makeAuto<Pipeline::OperatorGraph>(*settings);
    Wx::MainFrame* frame = nullptr;
    PaintWatch* watch = nullptr;

private:
    bool wholePictureShown() const {
        const wxSize shown = shownSize();
        const Pixel whole = panel()->imageSizeOnScreen();
        return shown.x >= whole.x && shown.y >= whole.y;
    }

    /// Fits the frame to the image within the screen and waits until the window system has
    /// given the panel its new size and the repaint that follows is over.
    void fit() {
        frame->SetPosition(wxPoint(0, 0));
        const wxSize frameBefore = frame->GetSize();
        const wxSize panelBefore = panel()->GetSize();
        frame->fitToImage();
        // The frame takes the size at once, its children once the X server has answered.
        if (frame->GetSize() != frameBefore) {
            runUntil([&] { return panel()->GetSize() != panelBefore; }, LAYOUT_LIMIT);
        }
        settle();
        panel()->repaint();
        settle();
    }

    std::mutex mutex;
    std::string loadError;
    std::atomic<int> loadsEnded = 0;
    Clock::time_point loadEnd;
    Io::Path shownPath;
};

/// The one editor of the process, made on first use: the frames of every benchmark are the
/// same, as in a session of the user.
Editor* editorInstance = nullptr;

Editor& editor() {
    if (!editorInstance) {
        editorInstance = new Editor();
    }
    return *editorInstance;
}

/// The counters of every benchmark of the program: each row of the CSV output has the same
/// ones, so those that do not apply stay NaN.
struct Figures {
    double loadAloneMs = NOT_MEASURED;
    double editorLoadMs = NOT_MEASURED;
    double ratio = NOT_MEASURED;
    double medianMs = NOT_MEASURED;
    double paintMs = NOT_MEASURED;
    double displayedMs = NOT_MEASURED;
    double pullMs = NOT_MEASURED;
    double toBitmapMs = NOT_MEASURED;
    double visiblePercent = NOT_MEASURED;
    double repaintsPerSecond = NOT_MEASURED;
    double stepsPerSecond = NOT_MEASURED;

    void report(benchmark::State& state) const {
        state.counters["load_alone_ms"] = loadAloneMs;
        state.counters["editor_load_ms"] = editorLoadMs;
        state.counters["ratio"] = ratio;
        state.counters["median_ms"] = medianMs;
        state.counters["paint_ms"] = paintMs;
        state.counters["displayed_ms"] = displayedMs;
        state.counters["pull_ms"] = pullMs;
        state.counters["toWxBitmap_ms"] = toBitmapMs;
        state.counters["visible_%"] = visiblePercent;
        state.counters["repaints/s"] = repaintsPerSecond;
        state.counters["steps/s"] = stepsPerSecond;
    }
};

/// A load by a graph of its own, without a frame: from `setInput` to the end the operator
/// reports.
class LoneLoader {
public:
    double load(const Io::Path& path) {
        std::promise<Clock::time_point> ended;
        String error;
        graph.load.onFinished = [&ended](const String&) { ended.set_value(Clock::now()); };
        graph.load.onError = [&ended, &error](const String& text) {
            error = text;
            ended.set_value(Clock::now());
        };
        const Clock::time_point start = Clock::now();
        graph.load.setInput({}, Array<Io::Path>{path});
        std::future<Clock::time_point> end = ended.get_future();
        if (end.wait_for(LOAD_LIMIT) != std::future_status::ready) {
            throw std::runtime_error("the load without a frame did not end");
        }
        const Clock::time_point finished = end.get();
        graph.load.onFinished = {};
        graph.load.onError = {};
        if (!error.isEmpty()) {
            throw std::runtime_error("the load without a frame failed: " + error.toUtf8());
        }
        return milliseconds(finished - start);
    }

private:
    Settings settings;
    Pipeline::OperatorGraph graph{settings};
};

void openToFirstPicture(benchmark::State& state) {
    try {
        const Io::Path path = sampleRender(FRAME_WIDTH, FRAME_HEIGHT, FRAME_PASSES);
        Editor& session = editor();
        LoneLoader lone;
        // A first round takes in what the first of a session costs (file cache, pools, the
        // frame fitted to the image); each timed round opens the same file again.
        session.open(path);
        session.defaultLayout();
        lone.load(path);
        std::vector<double> opens, loads, operatorLoads, paints, displayed;
        bool loneFirst = true;
        for (auto _ : state) {
            // The two loads take turns at going first, so that neither always finds the memory
            // the other has just given back.
            if (loneFirst) {
                loads.push_back(lone.load(path));
            }
            const Editor::OpenTimes times = session.open(path);
            if (!loneFirst) {
                loads.push_back(lone.load(path));
            }
            loneFirst = !loneFirst;
            opens.push_back(times.toPicture);
            operatorLoads.push_back(times.load);
            paints.push_back(times.paint);
            displayed.push_back(times.displayed);
            state.SetIterationTime(times.toPicture / 1000.);
        }
        const double ratio = median(opens) / median(loads);
        Figures figures;
        figures.loadAloneMs = median(loads);
        figures.editorLoadMs = median(operatorLoads);
        figures.ratio = ratio;
        figures.medianMs = median(opens);
        figures.paintMs = median(paints);
        figures.displayedMs = median(displayed);
        figures.visiblePercent = 100. * session.visibleFraction();
        figures.report(state);
        state.SetItemsProcessed(state.iterations() * std::int64_t(FRAME_WIDTH) * FRAME_HEIGHT);
        const wxSize shown = session.shownSize();
        state.SetLabel(fmt::format("{}x{} {:.2f}x load alone (goal 1.2) {}x{} shown", FRAME_WIDTH,
                                   FRAME_HEIGHT, ratio, shown.x, shown.y));
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

/// Two parts of a paint of the whole view, timed apart in milliseconds: the pull of the view's
/// pixels through the colour chain, as the panel asks for them, and their conversion into a
/// bitmap of the toolkit. The rest of a paint is drawing that bitmap and handing it on.
std::pair<double, double> paintParts(Editor& session) {
    const wxSize size = session.shownSize();
    const wxPoint scroll = session.panel()->getScrollPosition();
    const Pixel image = session.panel()->getImageSize();
    const Bucket region = Bucket{scroll.x, scroll.y, scroll.x + size.x + 1, scroll.y + size.y + 1}.intersect(
        Bucket::fromSize(image.x, image.y));
    const String element = session.frame->getElementComboBox()->currentName();
    const Clock::time_point start = Clock::now();
    const Optional<Pipeline::ColorBitmap> pixels =
        Pipeline::pullColorBitmap(&session.graph->zoom, element, region, 1.f, Wx::DrawPanel::DISPLAY_FLAGS);
    const Clock::time_point pulled = Clock::now();
    if (!pixels) {
        throw std::runtime_error("the graph delivered no pixels for the view");
    }
    const wxBitmap bitmap = Wx::toWxBitmap(*pixels, false);
    const Clock::time_point converted = Clock::now();
    benchmark::DoNotOptimize(bitmap.IsOk());
    return {milliseconds(pulled - start), milliseconds(converted - pulled)};
}

void exposureToPicture(benchmark::State& state) {
    try {
        const Io::Path path = sampleRender(FRAME_WIDTH, FRAME_HEIGHT, FRAME_PASSES);
        Editor& session = editor();
        session.show(path);
        session.roomForWholePicture();
        const float values[] = {0.5f, -0.5f};
        std::size_t turn = 0;
        std::vector<double> changes, paints, displayed, pulls, conversions;
        struct Change {
            double toPicture;
            double paint;
            double displayed;
        };
        const auto change = [&]() -> Change {
            session.settle();
            session.watch->clear();
            const Clock::time_point start = Clock::now();
            session.setExposure(values[turn++ % 2]);
            if (!runUntil([&] { return !session.watch->pictures.empty(); }, PAINT_LIMIT)) {
                throw std::runtime_error("no paint showed the changed exposure");
            }
            syncWithDisplay();
            const Clock::time_point shown = Clock::now();
            const PaintWatch::Paint paint = session.watch->pictures.front();
            return {milliseconds(paint.end - start), paint.milliseconds(), milliseconds(shown - start)};
        };
        change(); // the title's star and the first pull after the layout
        for (auto _ : state) {
            const Change times = change();
            changes.push_back(times.toPicture);
            paints.push_back(times.paint);
            displayed.push_back(times.displayed);
            state.SetIterationTime(times.toPicture / 1000.);
            const auto [pull, conversion] = paintParts(session);
            pulls.push_back(pull);
            conversions.push_back(conversion);
        }
        session.setExposure(0.f);
        const double visible = 100. * session.visibleFraction();
        Figures figures;
        figures.medianMs = median(changes);
        figures.paintMs = median(paints);
        figures.displayedMs = median(displayed);
        figures.pullMs = median(pulls);
        figures.toBitmapMs = median(conversions);
        figures.visiblePercent = visible;
        figures.report(state);
        const wxSize shown = session.shownSize();
        state.SetItemsProcessed(state.iterations() * std::int64_t(shown.x) * shown.y);
        state.SetLabel(fmt::format("{}x{} 1:1 {}x{} shown ({:.1f}%) goal 50 ms", FRAME_WIDTH, FRAME_HEIGHT,
                                   shown.x, shown.y, visible));
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

/// The repaints of a benchmark's timed sweeps, and their figures.
class RepaintTally {
public:
    /// Counts the paints `session` watched during a sweep of `elapsed` seconds.
    void add(const Editor& session, double elapsed) {
        seconds += elapsed;
        repaints += session.watch->pictures.size();
        for (const PaintWatch::Paint& paint : session.watch->pictures) {
            paints.push_back(paint.milliseconds());
        }
    }

    double perSecond() const { return double(repaints) / seconds; }
    double totalSeconds() const { return seconds; }

    Figures figures(const Editor& session) const {
        Figures figures;
        figures.paintMs = median(paints);
        figures.visiblePercent = 100. * session.visibleFraction();
        figures.repaintsPerSecond = perSecond();
        return figures;
    }

private:
    std::size_t repaints = 0;
    double seconds = 0.;
    std::vector<double> paints;
};

/// The spinner whose drag a benchmark measures.
using SpinnerOf = Function<Wx::Spinner*(Editor&)>;

/// A drag of `spinnerOf` up and down as the spinner's own drag moves it: every motion a step
/// of the value with notification, the next motion once the picture of the last one is painted.
/// Answers repaints per second of the whole frame at 1:1.
void spinnerDrag(benchmark::State& state, const SpinnerOf& spinnerOf, double low, double high,
                 const char* what) {
    try {
        const Io::Path path = sampleRender(FRAME_WIDTH, FRAME_HEIGHT, FRAME_PASSES);
        Editor& session = editor();
        session.show(path);
        session.roomForWholePicture();
        Wx::Spinner* spinner = spinnerOf(session);
        constexpr int STEPS = 20;
        const double step = (high - low) / STEPS;
        RepaintTally tally;
        int direction = 1;
        spinner->setValue(low, true);
        for (auto _ : state) {
            session.settle();
            session.watch->clear();
            const Clock::time_point start = Clock::now();
            for (int i = 1; i <= STEPS; ++i) {
                const std::size_t painted = session.watch->pictures.size();
                spinner->setValue(direction > 0 ? low + i * step : high - i * step, true);
                if (!runUntil([&] { return session.watch->pictures.size() > painted; }, PAINT_LIMIT)) {
                    throw std::runtime_error(std::string("no paint followed a step of ") + what);
                }
            }
            syncWithDisplay();
            const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
            tally.add(session, elapsed);
            state.SetIterationTime(elapsed / STEPS);
            direction = -direction;
        }
        tally.figures(session).report(state);
        const wxSize shown = session.shownSize();
        state.SetItemsProcessed(state.iterations() * std::int64_t(shown.x) * shown.y);
        state.SetLabel(fmt::format("{}x{} 1:1 {}x{} shown {:.1f} repaints/s (goal 20)", FRAME_WIDTH, FRAME_HEIGHT,
                                   shown.x, shown.y, tally.perSecond()));
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

void exposureSpinnerDrag(benchmark::State& state) {
    spinnerDrag(
        state,
        [](Editor& session) -> Wx::Spinner* {
            session.settings->set(PropertyId::USE_PHOTOGRAPHIC, Property(false));
            return session.frame->getPostprocessPanel()->getColorMapPanel()->getExposureSpinner();
        },
        -1., 1., "the exposure");
}

void lightMixSpinnerDrag(benchmark::State& state) {
    spinnerDrag(
        state,
        [](Editor& session) -> Wx::Spinner* {
            const auto rows = session.frame->getLightMixPanel()->getRows();
            if (rows.empty()) {
                throw std::runtime_error("the sample has no LightMix layers");
            }
            return rows[0].intensity;
        },
        0.5, 2., "a LightMix intensity");
}

void scrollByLines(benchmark::State& state) {
    try {
        const Io::Path path = sampleRender(LARGE_WIDTH, LARGE_HEIGHT, LARGE_PASSES);
        Editor& session = editor();
        session.show(path);
        session.roomForWholePicture();
        Wx::DrawPanel* panel = session.panel();
        // The sweeps run along the middle row of the image.
        const int lines = (LARGE_HEIGHT - session.shownSize().y) / 2 / Wx::DrawPanel::LINE_STEP;
        panel->scrollBy(-LARGE_WIDTH, -LARGE_HEIGHT);
        panel->scrollBy(0, lines);
        session.settle();

        int direction = 1;
        std::int64_t steps = 0;
        RepaintTally tally;
        for (auto _ : state) {
            session.settle();
            session.watch->clear();
            const Clock::time_point start = Clock::now();
            int sweepSteps = 0;
            for (;;) {
                const wxPoint before = panel->getScrollPosition();
                const std::size_t painted = session.watch->pictures.size();
                panel->scrollBy(direction, 0);
                if (panel->getScrollPosition() == before) {
                    break;
                }
                ++sweepSteps;
                if (!runUntil([&] { return session.watch->pictures.size() > painted; }, PAINT_LIMIT)) {
                    throw std::runtime_error("no paint followed a scroll");
                }
                handleReadyEvents();
            }
            const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
            if (sweepSteps == 0) {
                throw std::runtime_error("the image does not scroll: it fits in the window");
            }
            steps += sweepSteps;
            tally.add(session, elapsed);
            // Time per line step.
            state.SetIterationTime(elapsed / sweepSteps);
            direction = -direction;
        }
        Figures figures = tally.figures(session);
        figures.stepsPerSecond = double(steps) / tally.totalSeconds();
        figures.report(state);
        const wxSize shown = session.shownSize();
        // The pixels that come into view with a step.
        state.SetItemsProcessed(state.iterations() * std::int64_t(Wx::DrawPanel::LINE_STEP) * shown.y);
        state.SetLabel(fmt::format("{}x{} 1:1 {}x{} shown {:.1f} repaints/s (goal 30)", LARGE_WIDTH,
                                   LARGE_HEIGHT, shown.x, shown.y, tally.perSecond()));
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

} // namespace

BENCHMARK(openToFirstPicture)
    ->Name("Editor/openToFirstPicture")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(8);
BENCHMARK(exposureToPicture)
    ->Name("Editor/exposureToPicture")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(40);
BENCHMARK(exposureSpinnerDrag)
    ->Name("Editor/exposureSpinnerDrag")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(6);
BENCHMARK(lightMixSpinnerDrag)
    ->Name("Editor/lightMixSpinnerDrag")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(6);
BENCHMARK(scrollByLines)
    ->Name("Editor/scrollByLines")
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(4);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // The frame remembers the folder of what it opened in the user's preferences: here it
    // writes into a folder of the benchmark's own.
    const std::filesystem::path configHome = benchFolder() / "config";
    std::error_code ignored;
    std::filesystem::create_directories(configHome, ignored);
    setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
    try {
        Library::initLib(makeShared<ApplicationContext>(Wx::LibWx::ApplicationType::STANDALONE,
                                                        Io::Path(u"."), Wx::GuiSkin::editor()));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vespra_bench_editor: %s (run it under xvfb-run)\n", error.what());
        return 1;
    }
    {
        // An active loop lets the benchmarks wait on the toolkit and run the frame's modal dialogs.
        wxEventLoop loop;
        wxEventLoopActivator activate(&loop);
        benchmark::RunSpecifiedBenchmarks();
        delete editorInstance;
        editorInstance = nullptr;
    }
    benchmark::Shutdown();
    Library::shutdownLib();
    return 0;
}
