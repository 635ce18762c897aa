#pragma once

#include <atomic>
#include <chrono>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/frame.h>
#include <wx/stattext.h>
#include <wx/timer.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "foundation/Pointers.h"
#include "gui/widgets/LibWx.h"
#include "gui/widgets/Spinner.h"
#include "settings/Settings.h"

namespace Vespra::Wx::GuiTest {

/// Counts the notifications of one property, from any thread.
class ListenerCount {
public:
    ListenerCount(Settings& settings, std::int32_t id)
        : listener(makeShared<SettingsListener>([this](std::int32_t, const Property&) { ++calls; })) {
        settings.addListener(id, listener);
    }

    int get() const { return calls.load(); }

private:
    std::atomic<int> calls{0};
    SharedPtr<SettingsListener> listener;
};

/// Lets the toolkit run until `condition` holds or `timeoutMs` passed; answers the condition.
/// Between rounds it waits a moment for the X server, never longer than a millisecond.
inline bool waitUntil(const Function<bool()>& condition, int timeoutMs = 5000) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        wxTheApp->Yield(true);
        LibWx::processAllPendingEvents();
        wxMilliSleep(1);
    }
    return true;
}

/// The top-level dialog of class `Dialog` that runs modally and is on the screen now, and that
/// `accept` takes (any, when not set); null when there is none.
template <class Dialog>
Dialog* findShownModal(const Function<bool(Dialog&)>& accept = {}) {
    for (wxWindow* window : wxTopLevelWindows) {
        if (auto* dialog = dynamic_cast<Dialog*>(window);
            dialog && dialog->IsModal() && dialog->IsShownOnScreen() && (!accept || accept(*dialog))) {
            return dialog;
        }
    }
    return nullptr;
}

/// What `window` shows, its child windows included, read back from the X server.
inline wxImage capture(wxWindow* window) {
    const wxSize size = window->GetClientSize();
    wxBitmap bitmap(std::max(size.x, 1), std::max(size.y, 1), 24);
    wxClientDC source(window);
    wxMemoryDC memory(bitmap);
    memory.Blit(0, 0, size.x, size.y, &source, 0, 0);
    memory.SelectObject(wxNullBitmap);
    return bitmap.ConvertToImage();
}

/// The control of the row labelled `label` among the windows within `panel`: the first window
/// of type `Control` made after the label, as a row's label is made before its control.
template <class Control>
Control* controlOf(wxWindow* panel, const wxString& label) {
    bool labelSeen = false;
    for (wxWindow* child : panel->GetChildren()) {
        if (labelSeen) {
            if (auto* control = dynamic_cast<Control*>(child)) {
                return control;
            }
        } else if (dynamic_cast<wxStaticText*>(child) && child->GetLabel() == label) {
            labelSeen = true;
        } else if (Control* nested = controlOf<Control>(child, label)) {
            return nested;
        }
    }
    return nullptr;
}

/// Runs `drive` inside the modal loop of the next shown `Dialog`. A timer looks for it, since
/// code after `ShowModal` runs only when the dialog ended. A dialog that never comes, or that
/// the test leaves open, is a failure and is cancelled.
template <class Dialog>
class WhenShown : public wxTimer {
public:
    static constexpr std::chrono::seconds TIMEOUT{20};

    explicit WhenShown(Function<void(Dialog&)> drive)
        : drive(std::move(drive)), deadline(std::chrono::steady_clock::now() + TIMEOUT) {
        Start(10);
    }

    void Notify() override {
        Dialog* dialog = findShownModal<Dialog>();
        if (dialog != nullptr && drive) {
            // Once: the drive itself runs the loop again while it clicks.
            const auto driveOnce = std::exchange(drive, nullptr);
            driveOnce(*dialog);
            deadline = std::chrono::steady_clock::now() + TIMEOUT;
        } else if (std::chrono::steady_clock::now() > deadline) {
            Stop();
            ADD_FAILURE() << (dialog != nullptr ? "the dialog stayed open" : "no dialog came");
            if (dialog != nullptr) {
                dialog->EndModal(wxID_CANCEL);
            }
        }
    }

private:
    Function<void(Dialog&)> drive;
    std::chrono::steady_clock::time_point deadline;
};

/// Lets the toolkit handle what is queued now, the X server's answers included.
inline void settle() {
    for (int round = 0; round < 5; ++round) {
        wxTheApp->Yield(true);
        LibWx::processAllPendingEvents();
    }
}

/// A shown top-level frame for one test, destroyed at the end of the test.
class TestFrame {
public:
    explicit TestFrame(const wxSize& size = wxSize(480, 360)) {
        frame = new wxFrame(nullptr, wxID_ANY, "test", wxPoint(40, 40), size);
        frame->Show();
        EXPECT_TRUE(waitUntil([this] { return frame->IsShownOnScreen(); }));
        frame->Raise();
        settle();
    }
    ~TestFrame() {
        frame->Destroy();
        settle();
    }

    wxFrame* operator->() const { return frame; }
    wxFrame* get() const { return frame; }

    /// Lays the frame out and waits until `window` is on the screen.
    void show(wxWindow* window) {
        frame->Layout();
        frame->Refresh();
        EXPECT_TRUE(waitUntil([window] { return window->IsShownOnScreen(); }));
        settle();
    }

private:
    wxFrame* frame;
};

/// Real input through the X server's test extension.
class Input {
public:
    /// Moves the pointer to a point of `window` (its centre by default) and waits until the
    /// window has seen it.
    void moveTo(wxWindow* window, wxPoint point = wxDefaultPosition) {
        if (point == wxDefaultPosition) {
            point = wxPoint(window->GetClientSize().x / 2, window->GetClientSize().y / 2);
        }
        const wxPoint target = window->ClientToScreen(point);
        // A busy X server now and then drops a motion of the test extension: move again.
        for (int attempt = 0; attempt < 3; ++attempt) {
            simulator.MouseMove(target);
            if (waitUntil([target] { return wxGetMousePosition() == target; }, 1000)) {
                break;
            }
        }
        EXPECT_EQ(wxGetMousePosition(), target) << "the pointer did not reach the window";
        settle();
    }

    void click(wxWindow* window, wxPoint point = wxDefaultPosition, int button = wxMOUSE_BTN_LEFT) {
        moveTo(window, point);
        simulator.MouseClick(button);
        settle();
    }

    void press(int button = wxMOUSE_BTN_LEFT) { simulator.MouseDown(button); }
    void release(int button = wxMOUSE_BTN_LEFT) { simulator.MouseUp(button); }

    /// Moves the pointer with the button held, in small steps as a hand would.
    void dragBy(const wxPoint& offset, int steps = 10) {
        const wxPoint start = wxGetMousePosition();
        for (int i = 1; i <= steps; ++i) {
            simulator.MouseMove(start + wxPoint(offset.x * i / steps, offset.y * i / steps));
            settle();
        }
    }

    void type(const char* text) {
        simulator.Text(text);
        settle();
    }

    void key(int keyCode, int modifiers = wxMOD_NONE) {
        simulator.Char(keyCode, modifiers);
        settle();
    }

    /// Clicks into `spinner`'s text and replaces it by `typed`, then presses Enter unless told not to.
    void typeInto(Spinner* spinner, const char* typed, bool enter = true) {
        click(spinner->getTextControl());
        ASSERT_TRUE(waitUntil([spinner] { return spinner->getTextControl()->HasFocus(); }));
        spinner->getTextControl()->SelectAll();
        type(typed);
        if (enter) {
            key(WXK_RETURN);
        }
    }

    /// Turns the wheel by `notches` over the window under the pointer, away from the user when
    /// positive. The simulator has no wheel: xdotool clicks X buttons 4 and 5, the wheel's.
    void wheel(int notches) {
        const wxString command =
            wxString::Format("xdotool click --repeat %d %d", std::abs(notches), notches > 0 ? 4 : 5);
        // NOEVENTS: waiting without an event loop of its own, whose input would reach windows under
        // a modal dialog and whose nesting GTK mistakes for the dialog's. NODISABLE: a disabled
        // window would drop the wheel, which the X server delivers once this returns.
        EXPECT_EQ(wxExecute(command, wxEXEC_SYNC | wxEXEC_NOEVENTS | wxEXEC_NODISABLE), 0)
            << "xdotool is needed to turn the wheel";
        settle();
    }

private:
    wxUIActionSimulator simulator;
};

} // namespace Vespra::Wx::GuiTest
