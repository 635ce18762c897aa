#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dcclient.h>
#include <wx/sizer.h>
#include <wx/vlbox.h>

#include "foundation/Exception.h"
#include "gui/widgets/LibWx.h"
#include "gui/widgets/PropertyCheckBox.h"
#include "gui/widgets/PropertyColorPicker.h"
#include "gui/widgets/PropertyComboBox.h"
#include "gui/widgets/PropertyRadioButton.h"
#include "gui/widgets/PropertySpinner.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "settings/DenoisingMode.h"
#include "settings/PropertyDescriptor.h"
#include "settings/PropertyIds.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra {

// Values in failure messages as a .conf file writes them.
static void PrintTo(const Property& value, std::ostream* out) {
    *out << getTypeName(value.getType()).toUtf8() << " " << toStr(value).toUtf8();
}

namespace Wx {
namespace {

using GuiTest::Input;
using GuiTest::ListenerCount;
using GuiTest::TestFrame;
using GuiTest::waitUntil;
using namespace PropertyId;

/// Settings that record every call of `set`, a write that changes nothing included, with the
/// thread that made it.
class RecordingSettings : public Settings {
public:
    struct Write {
        std::int32_t id;
        Property value;
        std::thread::id thread;
    };

    void set(std::int32_t id, const Property& value) override {
        {
            std::lock_guard lock(mutex);
            writes.push_back({id, value, std::this_thread::get_id()});
        }
        Settings::set(id, value);
    }

    std::vector<Write> writesOf(std::int32_t id) const {
        std::lock_guard lock(mutex);
        std::vector<Write> found;
        for (const Write& write : writes) {
            if (write.id == id) {
                found.push_back(write);
            }
        }
        return found;
    }

private:
    mutable std::mutex mutex;
    std::vector<Write> writes;
};

/// Writes a property from a thread of its own, as a load of settings or an operator does, and
/// returns once the write and its notifications are done.
void setFromWorker(Settings& settings, std::int32_t id, const Property& value) {
    std::thread worker([&] { settings.set(id, value); });
    worker.join();
}

/// A frame with a column of widgets, real input and settings that record their writes.
struct Fixture {
    Fixture() {
        sizer = new wxBoxSizer(wxVERTICAL);
        frame->SetSizer(sizer);
    }

    template <class Widget>
    Widget* add(Widget* widget) {
        sizer->Add(widget, 0, wxALL, 10);
        frame.show(widget);
        return widget;
    }

    /// Waits until `count` writes of `id` were made.
    bool waitForWrites(std::int32_t id, std::size_t count) {
        return waitUntil([&] { return settings.writesOf(id).size() >= count; });
    }

    RecordingSettings settings;
    TestFrame frame{wxSize(480, 420)};
    wxBoxSizer* sizer;
    Input input;
    const std::thread::id guiThread = std::this_thread::get_id();
};

// ---------------------------------------------------------------------------------------------
// Check box

TEST(PropertyCheckBox, ClicksWriteTheOnAndTheOffValueOnceEachFromTheGuiThread) {
    Fixture f;
    auto* box = f.add(new PropertyCheckBox(f.frame.get(), f.settings, BLOOM_GLARE_ENABLED, "Enabled"));
    EXPECT_FALSE(box->getValue()) << "the default of bloomGlare.enabled is off";

    f.input.click(box);
    ASSERT_TRUE(f.waitForWrites(BLOOM_GLARE_ENABLED, 1));
    GuiTest::settle();
    auto writes = f.settings.writesOf(BLOOM_GLARE_ENABLED);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, Property(true));
    EXPECT_EQ(writes[0].value.getType(), PropertyType::BOOL);
    EXPECT_EQ(writes[0].thread, f.guiThread);
    EXPECT_TRUE(box->getValue());
    EXPECT_EQ(f.settings.get(BLOOM_GLARE_ENABLED), Property(true));

    ASSERT_TRUE(waitUntil([&] { return box->HasFocus(); }));
    f.input.key(WXK_SPACE);
    ASSERT_TRUE(f.waitForWrites(BLOOM_GLARE_ENABLED, 2));
    GuiTest::settle();
    writes = f.settings.writesOf(BLOOM_GLARE_ENABLED);
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[1].value, Property(false));
    EXPECT_FALSE(box->getValue());
}

TEST(PropertyCheckBox, OnAndOffValuesOfAnyTypeAndAValueThatIsNeitherShowsUnchecked) {
    Fixture f;
    const Property full(std::int32_t(DenoisingMode::FULL));
    const Property none(std::int32_t(DenoisingMode::NONE));
    f.settings.set(DENOISE_FILTER_TYPE, full);
    auto* box =
        f.add(new PropertyCheckBox(f.frame.get(), f.settings, DENOISE_FILTER_TYPE, "Denoise", full, none));
    EXPECT_TRUE(box->getValue()) << "the property is read once when the box is made";

    f.input.click(box);
    ASSERT_TRUE(f.waitForWrites(DENOISE_FILTER_TYPE, 2));
    auto writes = f.settings.writesOf(DENOISE_FILTER_TYPE);
    EXPECT_EQ(writes.back().value, none);
    EXPECT_EQ(writes.back().value.getType(), PropertyType::INT);

    f.input.click(box);
    ASSERT_TRUE(f.waitForWrites(DENOISE_FILTER_TYPE, 3));
    EXPECT_EQ(f.settings.writesOf(DENOISE_FILTER_TYPE).back().value, full);

    setFromWorker(f.settings, DENOISE_FILTER_TYPE, Property(std::int32_t(DenoisingMode::FIREFLIES)));
    LibWx::processAllPendingEvents();
    EXPECT_FALSE(box->getValue()) << "neither the on nor the off value";
    EXPECT_EQ(f.settings.writesOf(DENOISE_FILTER_TYPE).size(), 4u);
}

TEST(PropertyCheckBox, AValueFromAnotherThreadMovesTheBoxOnTheGuiThreadWithoutAnEcho) {
    Fixture f;
    auto* box = f.add(new PropertyCheckBox(f.frame.get(), f.settings, SHARPENING_BLURRING_ENABLE, "Sharpen"));
    ListenerCount notified(f.settings, SHARPENING_BLURRING_ENABLE);

    setFromWorker(f.settings, SHARPENING_BLURRING_ENABLE, Property(true));
    EXPECT_FALSE(box->getValue()) << "the worker doesn't touch the window; the GUI thread does";
    LibWx::processAllPendingEvents();
    EXPECT_TRUE(box->getValue());

    setFromWorker(f.settings, SHARPENING_BLURRING_ENABLE, Property(false));
    ASSERT_TRUE(waitUntil([&] { return !box->getValue(); }));
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(SHARPENING_BLURRING_ENABLE).size(), 2u) << "only the worker's two writes";
    EXPECT_EQ(notified.get(), 2);
}

// ---------------------------------------------------------------------------------------------
// Radio buttons

TEST(PropertyRadioButton, AClickWritesTheButtonsValueAndAValueFromAnotherThreadSelectsItsButton) {
    Fixture f;
    const Property modes[] = {Property(std::int32_t(DenoisingMode::NONE)),
                              Property(std::int32_t(DenoisingMode::FIREFLIES)),
                              Property(std::int32_t(DenoisingMode::FULL))};
    f.settings.set(DENOISE_FILTER_TYPE, modes[1]);
    std::vector<PropertyRadioButton*> buttons;
    buttons.push_back(f.add(
        new PropertyRadioButton(f.frame.get(), f.settings, DENOISE_FILTER_TYPE, "None", modes[0], true)));
    buttons.push_back(f.add(new PropertyRadioButton(f.frame.get(), f.settings, DENOISE_FILTER_TYPE,
                                                    "Fireflies", modes[1], false)));
    buttons.push_back(f.add(
        new PropertyRadioButton(f.frame.get(), f.settings, DENOISE_FILTER_TYPE, "Full", modes[2], false)));
    const auto selected = [&] {
        std::vector<bool> values;
        for (auto* button : buttons) {
            values.push_back(button->GetValue());
        }
        return values;
    };
    EXPECT_EQ(selected(), (std::vector<bool>{false, true, false}));
    ListenerCount notified(f.settings, DENOISE_FILTER_TYPE);

    f.input.click(buttons[2]);
    ASSERT_TRUE(f.waitForWrites(DENOISE_FILTER_TYPE, 2));
    GuiTest::settle();
    auto writes = f.settings.writesOf(DENOISE_FILTER_TYPE);
    ASSERT_EQ(writes.size(), 2u) << "the preset value and the click";
    EXPECT_EQ(writes[1].value, modes[2]);
    EXPECT_EQ(writes[1].value.getType(), PropertyType::INT);
    EXPECT_EQ(writes[1].thread, f.guiThread);
    EXPECT_EQ(selected(), (std::vector<bool>{false, false, true}));

    setFromWorker(f.settings, DENOISE_FILTER_TYPE, modes[0]);
    EXPECT_EQ(selected(), (std::vector<bool>{false, false, true}));
    LibWx::processAllPendingEvents();
    EXPECT_EQ(selected(), (std::vector<bool>{true, false, false}));
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(DENOISE_FILTER_TYPE).size(), 3u) << "no button wrote the value back";
    EXPECT_EQ(notified.get(), 2);
}

// ---------------------------------------------------------------------------------------------
// Spinners

TEST(PropertySpinner, AFloatSpinnerTakesItsLimitsFromTheDescriptorAndWritesWhatIsTyped) {
    Fixture f;
    f.settings.set(SIMPLE_EXPOSURE, Property(1.5f));
    const PropertyDescriptor& exposure = *PropertyDescriptor::get(SIMPLE_EXPOSURE);
    auto* spinner = f.add(new PropertySpinner<float>(f.frame.get(), f.settings, exposure, 2, 0., 80));
    EXPECT_EQ(spinner->getMinimum(), -20.);
    EXPECT_EQ(spinner->getMaximum(), 20.);
    EXPECT_EQ(spinner->getDefault(), 0.);
    EXPECT_EQ(spinner->getPrecision(), 2);
    EXPECT_EQ(spinner->getValue(), 1.5) << "the property is read once when the spinner is made";

    f.input.typeInto(spinner, "25");
    ASSERT_TRUE(f.waitForWrites(SIMPLE_EXPOSURE, 2));
    GuiTest::settle();
    auto writes = f.settings.writesOf(SIMPLE_EXPOSURE);
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[1].value, Property(20.f)) << "clamped to the descriptor's maximum";
    EXPECT_EQ(writes[1].value.getType(), PropertyType::FLOAT);
    EXPECT_EQ(writes[1].thread, f.guiThread);

    f.input.typeInto(spinner, "-3.14159");
    ASSERT_TRUE(f.waitForWrites(SIMPLE_EXPOSURE, 3));
    EXPECT_EQ(f.settings.writesOf(SIMPLE_EXPOSURE)[2].value, Property(-3.14f)) << "rounded to two decimals";

    // The change comes back through the queue while the user goes on typing: the text, all
    // selected after Enter, is replaced by what is typed next rather than reset under the caret.
    LibWx::processAllPendingEvents();
    f.input.type("7");
    EXPECT_EQ(spinner->getTextControl()->GetValue(), "7");
    f.input.key(WXK_RETURN);
    ASSERT_TRUE(f.waitForWrites(SIMPLE_EXPOSURE, 4));
    GuiTest::settle();
    writes = f.settings.writesOf(SIMPLE_EXPOSURE);
    ASSERT_EQ(writes.size(), 4u);
    EXPECT_EQ(writes[3].value, Property(7.f));
}

TEST(PropertySpinner, AnIntegerSpinnerByIdClampsToItsLimitsAndTruncates) {
    Fixture f;
    auto* spinner =
        f.add(new PropertySpinner<std::int32_t>(f.frame.get(), f.settings, GLARE_STREAK_COUNT, 0, 1., 60));
    EXPECT_EQ(spinner->getMinimum(), 1.);
    EXPECT_EQ(spinner->getMaximum(), 8.);
    EXPECT_EQ(spinner->getDefault(), 3.);
    EXPECT_EQ(spinner->getValue(), 3.);

    f.input.typeInto(spinner, "9");
    ASSERT_TRUE(f.waitForWrites(GLARE_STREAK_COUNT, 1));
    GuiTest::settle();
    auto writes = f.settings.writesOf(GLARE_STREAK_COUNT);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, Property(std::int32_t(8)));
    EXPECT_EQ(writes[0].value.getType(), PropertyType::INT);
    EXPECT_EQ(spinner->getValue(), 8.);

    // With a decimal shown, the integer written is the value truncated; when it comes back it
    // equals the truncated shown value, so the spinner keeps what the user typed.
    auto* fine =
        f.add(new PropertySpinner<std::int32_t>(f.frame.get(), f.settings, GLARE_STREAK_COUNT, 1, 0., 60));
    f.input.typeInto(fine, "5.7");
    ASSERT_TRUE(f.waitForWrites(GLARE_STREAK_COUNT, 2));
    LibWx::processAllPendingEvents();
    GuiTest::settle();
    writes = f.settings.writesOf(GLARE_STREAK_COUNT);
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[1].value, Property(std::int32_t(5)));
    EXPECT_EQ(fine->getValue(), 5.7);
    EXPECT_EQ(spinner->getValue(), 5.) << "the other spinner of the property follows";
}

TEST(PropertySpinner, ValuesFromAnotherThreadAreShownWithoutAnEchoAndANanIsLeftOut) {
    Fixture f;
    auto* spinner = f.add(new PropertySpinner<float>(f.frame.get(), f.settings, SIMPLE_EXPOSURE, 2, 0., 80));
    auto* count =
        f.add(new PropertySpinner<std::int32_t>(f.frame.get(), f.settings, GLARE_STREAK_COUNT, 0, 1., 60));
    ListenerCount exposureNotified(f.settings, SIMPLE_EXPOSURE);
    ListenerCount countNotified(f.settings, GLARE_STREAK_COUNT);

    // More decimals than the spinner shows: had the spinner sent its rounded value back, the
    // property would hold 1.23 and a second notification would have gone out.
    setFromWorker(f.settings, SIMPLE_EXPOSURE, Property(1.23456f));
    setFromWorker(f.settings, GLARE_STREAK_COUNT, Property(std::int32_t(6)));
    EXPECT_EQ(spinner->getValue(), 0.);
    EXPECT_EQ(count->getValue(), 3.);
    LibWx::processAllPendingEvents();
    EXPECT_DOUBLE_EQ(spinner->getValue(), 1.23);
    EXPECT_EQ(count->getValue(), 6.);
    GuiTest::settle();
    EXPECT_EQ(f.settings.get(SIMPLE_EXPOSURE), Property(1.23456f));
    EXPECT_EQ(f.settings.writesOf(SIMPLE_EXPOSURE).size(), 1u);
    EXPECT_EQ(f.settings.writesOf(GLARE_STREAK_COUNT).size(), 1u);
    EXPECT_EQ(exposureNotified.get(), 1);
    EXPECT_EQ(countNotified.get(), 1);

    setFromWorker(f.settings, SIMPLE_EXPOSURE, Property(std::nanf("")));
    LibWx::processAllPendingEvents();
    EXPECT_DOUBLE_EQ(spinner->getValue(), 1.23);
    EXPECT_EQ(spinner->getTextControl()->GetValue(), "1.23");
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(SIMPLE_EXPOSURE).size(), 2u);
}

TEST(PropertySpinner, ADescriptorOfAnotherTypeRaisesBeforeAnyWindowIsMade) {
    Fixture f;
    const std::size_t children = f.frame->GetChildren().size();
    const auto messageOf = [](const Function<void()>& make) -> std::string {
        try {
            make();
        } catch (const Exception& error) {
            return error.what();
        }
        return "nothing raised";
    };
    EXPECT_EQ(messageOf([&] {
                  new PropertySpinner<float>(f.frame.get(), f.settings, GLARE_STREAK_COUNT, 2, 0., 80);
              }),
              "Invalid property type");
    EXPECT_EQ(messageOf([&] {
                  new PropertySpinner<std::int32_t>(f.frame.get(), f.settings,
                                                    *PropertyDescriptor::get(SIMPLE_EXPOSURE), 0, 1., 60);
              }),
              "Invalid property type");
    EXPECT_EQ(messageOf([&] {
                  new PropertySpinner<float>(f.frame.get(), f.settings, BLOOM_GLARE_ENABLED, 2, 0., 80);
              }),
              "Invalid property type");
    EXPECT_EQ(f.frame->GetChildren().size(), children);
    EXPECT_TRUE(f.settings.writesOf(GLARE_STREAK_COUNT).empty());
}

// ---------------------------------------------------------------------------------------------
// Colour picker

TEST(PropertyColorPicker, APickedColourIsWrittenOnceAndAColourFromAnotherThreadIsShown) {
    Fixture f;
    auto* picker = f.add(new PropertyColorPicker(f.frame.get(), f.settings, TINT, "Tint", 40));
    EXPECT_EQ(picker->getColor(), Rgb(1.f, 1.f, 1.f)) << "the default of colorMap.tint";
    ASSERT_GT(picker->GetClientSize().y, 0);

    // The system dialog is replaced by an answer, as scripted use does; the click is real.
    Rgb offered(-1.f, -1.f, -1.f);
    picker->setColorSource([&](const Rgb& current) -> Optional<Rgb> {
        offered = current;
        return Rgb(0.25f, 0.5f, 0.75f);
    });
    f.input.click(picker);
    ASSERT_TRUE(f.waitForWrites(TINT, 1));
    GuiTest::settle();
    EXPECT_EQ(offered, Rgb(1.f, 1.f, 1.f));
    auto writes = f.settings.writesOf(TINT);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].value, Property(Rgb(0.25f, 0.5f, 0.75f)));
    EXPECT_EQ(writes[0].value.getType(), PropertyType::VEC3);
    EXPECT_EQ(writes[0].thread, f.guiThread);

    ListenerCount notified(f.settings, TINT);
    setFromWorker(f.settings, TINT, Property(Rgb(2.f, 0.f, 0.5f)));
    EXPECT_EQ(picker->getColor(), Rgb(0.25f, 0.5f, 0.75f));
    LibWx::processAllPendingEvents();
    EXPECT_EQ(picker->getColor(), Rgb(2.f, 0.f, 0.5f)) << "kept as it is, above 1 too";
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(TINT).size(), 2u);
    EXPECT_EQ(notified.get(), 1);

    // A choice of the colour it already has writes nothing new.
    picker->setColorSource([](const Rgb& current) -> Optional<Rgb> { return current; });
    f.input.click(picker);
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(TINT).size(), 2u);
}

// ---------------------------------------------------------------------------------------------
// Combo box

/// Opens the combo box's list with a click and clicks its item `index`.
void pickWithTheMouse(Fixture& f, ComboBox* combo, int index) {
    // The box takes no click for a moment after its list closed: click until the list opens.
    for (int attempt = 0; attempt < 20 && !combo->IsPopupShown(); ++attempt) {
        f.input.click(combo);
        waitUntil([combo] { return combo->IsPopupShown(); }, 250);
    }
    ASSERT_TRUE(combo->IsPopupShown());
    auto* list = dynamic_cast<wxVListBox*>(combo->GetPopupControl()->GetControl());
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(waitUntil([list] { return list->IsShownOnScreen(); }));
    f.input.click(list, list->GetItemRect(std::size_t(index)).GetPosition() + wxPoint(10, 5));
    ASSERT_TRUE(waitUntil([combo] { return !combo->IsPopupShown(); }));
}

const String LONG_PATH = u"/home/someone/projects/lookup-tables/cinematic/warm-and-cold/"
                         u"a-rather-long-folder-name-for-a-table/final-grade-version-12.cube";

Array<Property> lutPaths() {
    return {Property(String(u"/luts/warm.cube")), Property(String(u"/luts/cold.cube")), Property(LONG_PATH)};
}

TEST(PropertyComboBox, AnItemPickedWithTheMouseWritesItsFullValueOnce) {
    Fixture f;
    f.settings.set(LUT_PATH, Property(String(u"/luts/cold.cube")));
    auto* combo = f.add(new PropertyComboBox(f.frame.get(), f.settings, LUT_PATH, 160,
                                             [](const Property& value) { return value.asString(); }));
    EXPECT_EQ(combo->getCount(), 0);
    combo->setValues(lutPaths());
    ASSERT_EQ(combo->getCount(), 3);
    EXPECT_EQ(combo->getSelectedIndex(), 1) << "the value the property holds";
    EXPECT_EQ(combo->getData()[0].text, "/luts/warm.cube");

    pickWithTheMouse(f, combo, 0);
    ASSERT_TRUE(f.waitForWrites(LUT_PATH, 2));
    GuiTest::settle();
    auto writes = f.settings.writesOf(LUT_PATH);
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[1].value, Property(String(u"/luts/warm.cube")));
    EXPECT_EQ(writes[1].value.getType(), PropertyType::STRING);
    EXPECT_EQ(writes[1].thread, f.guiThread);
    EXPECT_EQ(combo->getSelectedIndex(), 0);

    // The long label is shortened in the middle to the box less its button; the value is whole.
    const wxString shown = combo->getData()[2].text;
    const wxString full = toWx(LONG_PATH);
    EXPECT_NE(shown.utf8_string(), full.utf8_string());
    const int ellipsis = shown.Find("...");
    ASSERT_NE(ellipsis, wxNOT_FOUND) << shown;
    const wxString head = shown.Left(std::size_t(ellipsis));
    const wxString tail = shown.Mid(std::size_t(ellipsis) + 3);
    EXPECT_GT(head.length(), 5u) << "the start is kept: " << shown;
    EXPECT_GT(tail.length(), 5u) << "and the end: " << shown;
    EXPECT_TRUE(full.StartsWith(head)) << shown;
    EXPECT_TRUE(full.EndsWith(tail)) << shown;
    wxClientDC dc(combo);
    dc.SetFont(combo->GetFont());
    EXPECT_LE(dc.GetTextExtent(shown).x, combo->GetSize().x - scaleByDpi(35));

    pickWithTheMouse(f, combo, 2);
    ASSERT_TRUE(f.waitForWrites(LUT_PATH, 3));
    EXPECT_EQ(f.settings.writesOf(LUT_PATH)[2].value, Property(LONG_PATH));
    EXPECT_EQ(f.settings.get(LUT_PATH), Property(LONG_PATH));
}

TEST(PropertyComboBox, AValueFromAnotherThreadSelectsItsItemWithoutAnEchoAndAnUnknownOneLeavesTheSelection) {
    Fixture f;
    auto* combo =
        f.add(new PropertyComboBox(f.frame.get(), f.settings, LUT_PATH, 200,
                                   [](const Property& value) { return u"LUT " + value.asString(); }));
    combo->setValues(lutPaths());
    EXPECT_EQ(combo->getSelectedIndex(), -1) << "the default path is not among the items";
    EXPECT_EQ(combo->getData()[1].text, "LUT /luts/cold.cube");
    ListenerCount notified(f.settings, LUT_PATH);

    setFromWorker(f.settings, LUT_PATH, Property(String(u"/luts/cold.cube")));
    EXPECT_EQ(combo->getSelectedIndex(), -1);
    LibWx::processAllPendingEvents();
    EXPECT_EQ(combo->getSelectedIndex(), 1);

    setFromWorker(f.settings, LUT_PATH, Property(String(u"/elsewhere/other.cube")));
    LibWx::processAllPendingEvents();
    EXPECT_EQ(combo->getSelectedIndex(), 1);
    GuiTest::settle();
    EXPECT_EQ(f.settings.writesOf(LUT_PATH).size(), 2u);
    EXPECT_EQ(notified.get(), 2);

    // The wheel over the closed box, as a user turns it, writes the next value.
    f.input.moveTo(combo);
    f.input.wheel(-1);
    ASSERT_TRUE(f.waitForWrites(LUT_PATH, 3));
    EXPECT_EQ(f.settings.writesOf(LUT_PATH)[2].value, Property(LONG_PATH));
}

// ---------------------------------------------------------------------------------------------
// Lifetime

TEST(PropertyWidgets, ADestroyedWidgetIsReachedByNoLaterWrite) {
    Fixture f;
    std::vector<wxWindow*> widgets = {
        f.add(new PropertyCheckBox(f.frame.get(), f.settings, BLOOM_GLARE_ENABLED, "Enabled")),
        f.add(new PropertyRadioButton(f.frame.get(), f.settings, DENOISE_FILTER_TYPE, "Full",
                                      Property(std::int32_t(DenoisingMode::FULL)), true)),
        f.add(new PropertySpinner<float>(f.frame.get(), f.settings, SIMPLE_EXPOSURE, 2, 0., 80)),
        f.add(new PropertySpinner<std::int32_t>(f.frame.get(), f.settings, GLARE_STREAK_COUNT, 0, 1., 60)),
        f.add(new PropertyColorPicker(f.frame.get(), f.settings, TINT, "Tint", 40)),
        f.add(new PropertyComboBox(f.frame.get(), f.settings, LUT_PATH, 160,
                                   [](const Property& value) { return value.asString(); })),
    };
    static_cast<PropertyComboBox*>(widgets.back())->setValues(lutPaths());
    const auto writeAll = [&](int round) {
        setFromWorker(f.settings, BLOOM_GLARE_ENABLED, Property(round % 2 == 0));
        setFromWorker(f.settings, DENOISE_FILTER_TYPE, Property(std::int32_t(round % 3)));
        setFromWorker(f.settings, SIMPLE_EXPOSURE, Property(float(round)));
        setFromWorker(f.settings, GLARE_STREAK_COUNT, Property(std::int32_t(1 + round % 8)));
        setFromWorker(f.settings, TINT, Property(Rgb(float(round), 0.f, 0.f)));
        setFromWorker(f.settings, LUT_PATH, lutPaths()[std::size_t(round % 3)]);
    };

    // Values on their way to the widgets die with them.
    writeAll(1);
    ASSERT_TRUE(wxTheApp->HasPendingEvents());
    for (wxWindow* widget : widgets) {
        widget->Destroy();
    }
    EXPECT_FALSE(wxTheApp->HasPendingEvents());
    GuiTest::settle();

    // Later writes find no listener of theirs, and nothing is queued for them.
    ASSERT_FALSE(wxTheApp->HasPendingEvents());
    ListenerCount notified(f.settings, SIMPLE_EXPOSURE);
    writeAll(2);
    EXPECT_FALSE(wxTheApp->HasPendingEvents());
    EXPECT_EQ(notified.get(), 1) << "the settings themselves still notify";
}

/// Settings that count the writes made on one thread, and keep nothing else.
class ThreadWriteCount : public Settings {
public:
    explicit ThreadWriteCount(std::thread::id counted) : counted(counted) {}

    void set(std::int32_t id, const Property& value) override {
        if (std::this_thread::get_id() == counted) {
            ++writes;
        }
        Settings::set(id, value);
    }

    int get() const { return writes.load(); }
    using Settings::get;

private:
    std::thread::id counted;
    std::atomic<int> writes{0};
};

TEST(PropertyWidgets, WidgetsComeAndGoWhileAnotherThreadKeepsWriting) {
    ThreadWriteCount settings(std::this_thread::get_id());
    TestFrame frame;
    std::atomic<bool> stop{false};
    // The writer writes as many rounds as it is given, so that the queues stay short.
    std::atomic<int> budget{0};
    std::atomic<int> rounds{0};
    std::thread writer([&] {
        const Array<Property> paths = lutPaths();
        for (int i = 0; !stop.load(); ++i) {
            if (budget.load() <= 0) {
                std::this_thread::yield();
                continue;
            }
            --budget;
            settings.set(SIMPLE_EXPOSURE, Property(float(i % 40 - 20)));
            settings.set(BLOOM_GLARE_ENABLED, Property(i % 2 == 0));
            settings.set(LUT_PATH, paths[std::size_t(i % 3)]);
            ++rounds;
        }
    });
    for (int round = 0; round < 40; ++round) {
        auto* spinner = new PropertySpinner<float>(frame.get(), settings, SIMPLE_EXPOSURE, 2, 0., 80);
        auto* box = new PropertyCheckBox(frame.get(), settings, BLOOM_GLARE_ENABLED, "Enabled");
        auto* combo = new PropertyComboBox(frame.get(), settings, LUT_PATH, 160,
                                           [](const Property& value) { return value.asString(); });
        combo->setValues(lutPaths());
        const int before = rounds.load();
        budget += 100;
        EXPECT_TRUE(waitUntil([&] { return rounds.load() >= before + 100; }));
        LibWx::processAllPendingEvents();
        EXPECT_GE(spinner->getValue(), -20.);
        EXPECT_LE(spinner->getValue(), 20.);
        // These writes run while the widgets go, and while the next ones are made.
        budget += 100;
        box->Destroy();
        spinner->Destroy();
        combo->Destroy();
    }
    stop = true;
    writer.join();
    GuiTest::settle();
    EXPECT_EQ(settings.get(), 0) << "no widget wrote back what the other thread wrote";
}

} // namespace
} // namespace Wx
} // namespace Vespra
