// Random input over the whole editor with a render open: clicks, keys, wheel turns, drags and
// numbers typed into spinners, from a fixed seed. Built with the sanitizers, so that a crash,
// a sanitizer report or a failed assertion of the toolkit fails it. VESPRA_MONKEY_SEED and
// VESPRA_MONKEY_EVENTS replay or lengthen a run; a failure prints the seed.

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <wx/evtloop.h>
#include <wx/timer.h>

#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/Spinner.h"
#include "gui/windows/DenoiseSelectDialog.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/MainFrame.h"
#include "gui/windows/ProgressDialog.h"
#include "tests/gui/FrameFixture.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::waitUntil;

constexpr unsigned DEFAULT_SEED = 20261124;
constexpr int DEFAULT_EVENTS = 10000;

unsigned long fromEnvironment(const char* name, unsigned long fallback) {
    const char* value = std::getenv(name);
    return value && *value ? std::strtoul(value, nullptr, 10) : fallback;
}

/// The toolkit's assertions, counted instead of shown.
std::vector<std::string>& assertions() {
    static std::vector<std::string> failed;
    return failed;
}

/// The windows whose clicks would open a dialog of the system, which no event of the test can
/// answer, are left out; so are windows of other programs.
bool mayClick(wxWindow* window, wxWindow* frame) {
    if (window == nullptr || dynamic_cast<ColorPickerButton*>(window)) {
        return false;
    }
    wxWindow* top = wxGetTopLevelParent(window);
    return top == frame || dynamic_cast<MessageDialog*>(top) || dynamic_cast<DenoiseSelectDialog*>(top) ||
           dynamic_cast<ProgressDialog*>(top);
}

/// Sends one random event each tick of a timer, so that it goes on inside the modal loops
/// that its own clicks open.
class Monkey : public wxTimer {
public:
    Monkey(MainFrame* frame, unsigned seed, int events)
        : frame(frame), random(seed), remaining(events), baseLoop(wxEventLoopBase::GetActive()) {}

    /// All events sent, and the dialogs they left open closed.
    bool done() const { return finished; }
    int sent() const { return count; }
    /// The windows there were each time an event loop had to be ended that no dialog owned.
    const std::vector<std::string>& strayModalLoops() const { return strayLoops; }

    void Notify() override {
        wxEventLoopBase* const loop = wxEventLoopBase::GetActive();
        // The yields of an event still being sent run this timer too: acting there would nest
        // one event inside the last, and the stack would grow with every event. Only a modal
        // loop that an event opened gets events of its own.
        if (!actingIn.empty() && actingIn.back() == loop) {
            StartOnce(5);
            return;
        }
        if (remaining <= 0) {
            closeDialogs();
            return;
        }
        --remaining;
        if (++count % 1000 == 0) {
            std::printf("monkey: %d events\n", count);
            std::fflush(stdout);
        }
        // Armed before the event: a click may open a modal dialog whose loop only ends when
        // later events close it.
        StartOnce(1);
        actingIn.push_back(loop);
        act();
        actingIn.pop_back();
    }

private:
    wxPoint randomPoint() {
        const wxRect area = frame->GetScreenRect();
        return {std::uniform_int_distribution<int>(area.x, area.GetRight())(random),
                std::uniform_int_distribution<int>(area.y, area.GetBottom())(random)};
    }

    /// A point of the frame whose window may be clicked, or none after a few tries.
    Optional<wxPoint> clickablePoint() {
        for (int attempt = 0; attempt < 10; ++attempt) {
            const wxPoint point = randomPoint();
            if (mayClick(wxFindWindowAtPoint(point), frame)) {
                return point;
            }
        }
        return std::nullopt;
    }

    void act() {
        switch (std::uniform_int_distribution<int>(0, 9)(random)) {
        case 0:
        case 1:
        case 2:
            click(wxMOUSE_BTN_LEFT);
            break;
        case 3:
            click(wxMOUSE_BTN_RIGHT);
            break;
        case 4:
        case 5:
            pressKey();
            break;
        case 6:
            drag();
            break;
        case 7:
            typeIntoSpinner();
            break;
        case 8:
            if (const Optional<wxPoint> point = clickablePoint()) {
                simulator.MouseMove(*point);
                const int notches = std::uniform_int_distribution<int>(1, 3)(random);
                Input().wheel(std::bernoulli_distribution()(random) ? notches : -notches);
            }
            break;
        default:
            if (const Optional<wxPoint> point = clickablePoint()) {
                simulator.MouseMove(*point);
            }
            break;
        }
        // Lets what the event started run, without waiting for it to end.
        wxTheApp->Yield(true);
    }

    void click(int button) {
        if (const Optional<wxPoint> point = clickablePoint()) {
            simulator.MouseMove(*point);
            simulator.MouseClick(button);
        }
    }

    void pressKey() {
        static const int KEYS[] = {WXK_UP,     WXK_DOWN, WXK_LEFT,   WXK_RIGHT, WXK_PAGEUP, WXK_PAGEDOWN,
                                   WXK_RETURN, WXK_TAB,  WXK_ESCAPE, WXK_SPACE, WXK_HOME,   WXK_END,
                                   '0',        '1',      '-',        'A',       'Z',        WXK_BACK};
        static const int MODIFIERS[] = {wxMOD_NONE, wxMOD_NONE, wxMOD_SHIFT, wxMOD_CONTROL};
        const int key = KEYS[std::uniform_int_distribution<std::size_t>(0, std::size(KEYS) - 1)(random)];
        const int modifiers = MODIFIERS[std::uniform_int_distribution<std::size_t>(0, std::size(MODIFIERS) - 1)(random)];
        // Ctrl with O, S and the like opens file dialogs: the frame's answer at once, but a
        // combination that no window takes is just lost.
        simulator.Char(key, modifiers);
    }

    void drag() {
        const Optional<wxPoint> start = clickablePoint();
        if (!start) {
            return;
        }
        simulator.MouseMove(*start);
        simulator.MouseDown();
        const wxPoint offset(std::uniform_int_distribution<int>(-80, 80)(random),
                             std::uniform_int_distribution<int>(-80, 80)(random));
        for (int step = 1; step <= 4; ++step) {
            simulator.MouseMove(*start + wxPoint(offset.x * step / 4, offset.y * step / 4));
            wxTheApp->Yield(true);
        }
        simulator.MouseUp();
    }

    void typeIntoSpinner() {
        std::vector<Spinner*> spinners;
        collectSpinners(frame, spinners);
        if (spinners.empty()) {
            return;
        }
        Spinner* spinner = spinners[std::uniform_int_distribution<std::size_t>(0, spinners.size() - 1)(random)];
        wxWindow* text = spinner->getTextControl();
        const wxPoint centre = text->GetScreenRect().GetPosition() + text->GetSize() / 2;
        if (!mayClick(wxFindWindowAtPoint(centre), frame)) {
            return;
        }
        simulator.MouseMove(centre);
        simulator.MouseClick();
        static const char* const TEXTS[] = {"1", "-3.5", "1e9", "0", "abc", "99999", "0.0001", "-", "."};
        simulator.Text(TEXTS[std::uniform_int_distribution<std::size_t>(0, std::size(TEXTS) - 1)(random)]);
        simulator.Char(WXK_RETURN);
    }

    static void collectSpinners(wxWindow* window, std::vector<Spinner*>& found) {
        for (wxWindow* child : window->GetChildren()) {
            if (auto* spinner = dynamic_cast<Spinner*>(child); spinner && spinner->IsShownOnScreen()) {
                found.push_back(spinner);
            }
            collectSpinners(child, found);
        }
    }

    /// Ends the modal loops the last events left open, one per tick, innermost first: the
    /// test's own wait runs below them, and ending an outer one first would quit the inner
    /// loop while its dialog still counted as shown. The newest dialog is the innermost.
    void closeDialogs() {
        for (auto window = wxTopLevelWindows.rbegin(); window != wxTopLevelWindows.rend(); ++window) {
            if (auto* dialog = dynamic_cast<wxDialog*>(*window); dialog && dialog->IsModal()) {
                dialog->EndModal(wxID_CANCEL);
                quietTicks = 0;
                StartOnce(10);
                return;
            }
        }
        // A modal loop that no dialog shown as modal owns would never end: report it with the
        // windows there are, and end it so that the test does.
        if (wxEventLoopBase* const loop = wxEventLoopBase::GetActive(); loop != baseLoop) {
            strayLoops.push_back(describeTopLevelWindows());
            loop->Exit();
            StartOnce(10);
            return;
        }
        // A dialog that a last click opens shows a moment later: done after a quiet while.
        if (++quietTicks < QUIET_TICKS) {
            StartOnce(10);
            return;
        }
        finished = true;
    }

    static std::string describeTopLevelWindows() {
        std::string text;
        for (wxWindow* window : wxTopLevelWindows) {
            const auto* dialog = dynamic_cast<wxDialog*>(window);
            const wxString className = window->GetClassInfo()->GetClassName();
            text += fmt::format("[{} \"{}\" shown {} modal {}] ", className.utf8_string(),
                                window->GetLabel().utf8_string(), window->IsShown(), dialog && dialog->IsModal());
        }
        return text;
    }

    static constexpr int QUIET_TICKS = 30;

    MainFrame* frame;
    std::mt19937 random;
    int remaining;
    int count = 0;
    bool finished = false;
    int quietTicks = 0;
    /// The event loop of each event being sent, innermost last.
    std::vector<wxEventLoopBase*> actingIn;
    wxEventLoopBase* const baseLoop;
    std::vector<std::string> strayLoops;
    wxUIActionSimulator simulator;
};

class MonkeyFixture : public GuiTest::FrameFixture {};

TEST_F(MonkeyFixture, RandomEventsOverTheEditorWithARenderOpenBreakNothing) {
    const unsigned seed = unsigned(fromEnvironment("VESPRA_MONKEY_SEED", DEFAULT_SEED));
    const int events = int(fromEnvironment("VESPRA_MONKEY_EVENTS", DEFAULT_EVENTS));
    // Printed first, so that a crash that ends the process still tells how to replay it.
    std::printf("monkey: seed %u, %d events (VESPRA_MONKEY_SEED=%u VESPRA_MONKEY_EVENTS=%d replays it)\n", seed,
                events, seed, events);
    std::fflush(stdout);
    wxSetAssertHandler([](const wxString& file, int line, const wxString& function, const wxString& condition,
                          const wxString& message) {
        assertions().push_back(fmt::format("{}:{} {}: {} {}", file.utf8_string(), line, function.utf8_string(),
                                           condition.utf8_string(), message.utf8_string()));
        // At once as well: an assertion is often what a hang that follows comes from.
        std::fprintf(stderr, "monkey: assertion %s\n", assertions().back().c_str());
    });
    open({GuiTest::writeRender(file("render.vxr"), 160, 90, 160, 90)});
    ASSERT_TRUE(frame->getState() & MainFrame::IMAGE_OPEN);

    Monkey monkey(frame, seed, events);
    const auto start = std::chrono::steady_clock::now();
    monkey.StartOnce(1);
    const bool finished = waitUntil([&] { return monkey.done() || !frameAlive(); }, 3600 * 1000);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("monkey: %d events in %.1f s\n", monkey.sent(), seconds);
    EXPECT_TRUE(finished) << "seed " << seed;
    EXPECT_TRUE(frameAlive()) << "the frame went away; seed " << seed;

    wxSetDefaultAssertHandler();
    for (const std::string& windows : monkey.strayModalLoops()) {
        ADD_FAILURE() << "a modal loop ran on with no modal dialog: " << windows << "(seed " << seed << ")";
    }
    for (const std::string& failed : assertions()) {
        ADD_FAILURE() << "assertion: " << failed << " (seed " << seed << ")";
    }
}

} // namespace
} // namespace Vespra::Wx
