#include <cmath>
#include <vector>

#include <gtest/gtest.h>
#include <wx/sizer.h>

#include "gui/widgets/Spinner.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::TestFrame;
using GuiTest::waitUntil;

/// A spinner on a frame that records every change event it sends.
struct SpinnerFixture {
    explicit SpinnerFixture(double minimum = 0., double maximum = 100., double defaultValue = 1., int precision = 3,
                            double step = 0.) {
        spinner = new Spinner(frame.get(), wxID_ANY, 80, minimum, maximum, defaultValue, precision, step);
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(spinner, 0, wxALL, 20);
        frame->SetSizer(sizer);
        spinner->Bind(wxEVT_SPINCTRLDOUBLE, [this](wxSpinDoubleEvent& event) { events.push_back(event.GetValue()); });
        frame.show(spinner);
    }

    /// Clicks into the text and replaces it by `typed`.
    void typeValue(const char* typed) {
        input.click(spinner->getTextControl());
        EXPECT_TRUE(waitUntil([this] { return spinner->getTextControl()->HasFocus(); }));
        spinner->getTextControl()->SelectAll();
        input.type(typed);
    }

    TestFrame frame;
    Input input;
    Spinner* spinner;
    std::vector<double> events;
};

TEST(Spinner, TypingAValueSendsOneEventWithTheValueClampedAndRounded) {
    SpinnerFixture f;
    f.typeValue("150");
    EXPECT_TRUE(f.events.empty()) << "typing alone commits nothing";
    f.input.key(WXK_RETURN);
    ASSERT_TRUE(waitUntil([&] { return !f.events.empty(); }));
    f.input.key(WXK_RETURN); // the same value again is no change
    GuiTest::settle();
    ASSERT_EQ(f.events.size(), 1u);
    EXPECT_EQ(f.events[0], 100.);
    EXPECT_EQ(f.spinner->getValue(), 100.);
    EXPECT_EQ(f.spinner->getTextControl()->GetValue(), "100.000");

    f.typeValue("2,71828");
    f.input.key(WXK_TAB); // leaving the field commits as well
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 2; }));
    EXPECT_DOUBLE_EQ(f.events[1], 2.718);

    f.typeValue("abc");
    f.input.key(WXK_RETURN);
    GuiTest::settle();
    EXPECT_EQ(f.events.size(), 2u) << "what is not a number changes nothing";
    EXPECT_EQ(f.spinner->getTextControl()->GetValue(), "2.718");
}

TEST(Spinner, ArrowKeysAndTheWheelStepByTheAutomaticOrTheGivenStep) {
    SpinnerFixture f(-20., 20., 0., 3, 0.);
    f.input.click(f.spinner->getTextControl());
    ASSERT_TRUE(waitUntil([&] { return f.spinner->getTextControl()->HasFocus(); }));
    f.input.key(WXK_UP);
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 1; }));
    EXPECT_DOUBLE_EQ(f.spinner->getValue(), 0.1) << "the automatic step at 0";
    f.input.key(WXK_PAGEUP);
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 2; }));
    EXPECT_DOUBLE_EQ(f.spinner->getValue(), 1.1);
    f.input.key(WXK_DOWN, wxMOD_SHIFT);
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 3; }));
    EXPECT_DOUBLE_EQ(f.spinner->getValue(), 1.09) << "Shift makes the step finer";

    // GTK may merge wheel notches into one event of several steps: wait on the value.
    f.input.moveTo(f.spinner);
    f.input.wheel(3);
    EXPECT_TRUE(waitUntil([&] { return std::abs(f.spinner->getValue() - 1.39) < 1e-9; })) << f.spinner->getValue();
    f.input.wheel(-1);
    EXPECT_TRUE(waitUntil([&] { return std::abs(f.spinner->getValue() - 1.29) < 1e-9; })) << f.spinner->getValue();
    EXPECT_EQ(f.events.back(), f.spinner->getValue());

    SpinnerFixture stepped(1., 8., 3., 0, 1.);
    stepped.input.click(stepped.spinner->getTextControl());
    stepped.input.key(WXK_UP);
    ASSERT_TRUE(waitUntil([&] { return stepped.events.size() == 1; }));
    EXPECT_EQ(stepped.spinner->getValue(), 4.);
}

TEST(Spinner, ClicksAndADragOnTheArrowsChangeTheValue) {
    SpinnerFixture f(0., 100., 10., 1, 1.);
    const wxSize size = f.spinner->GetClientSize();
    const wxPoint upArrow(size.x - 4, size.y / 4);
    const wxPoint downArrow(size.x - 4, size.y * 3 / 4);
    f.input.click(f.spinner, upArrow);
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 1; }));
    EXPECT_EQ(f.spinner->getValue(), 11.);
    f.input.click(f.spinner, downArrow);
    ASSERT_TRUE(waitUntil([&] { return f.events.size() == 2; }));
    EXPECT_EQ(f.spinner->getValue(), 10.);

    // Press on the up arrow, then drag 40 pixels up: the press steps once, the drag takes over
    // from the value before the press at one step per two pixels.
    f.input.moveTo(f.spinner, upArrow);
    f.input.press();
    // On a busy machine the held arrow may already have repeated; the drag starts over anyway.
    ASSERT_TRUE(waitUntil([&] { return f.spinner->getValue() >= 11.; }));
    f.input.dragBy(wxPoint(0, -40));
    f.input.release();
    ASSERT_TRUE(waitUntil([&] { return f.spinner->getValue() == 30.; }));
    EXPECT_EQ(f.events.back(), 30.);
}

TEST(Spinner, ValuesSetByTheProgramAreClampedRoundedAndNotifiedOnlyWhenAsked) {
    SpinnerFixture f(0.001, 999999., 100., 3, 0.);
    f.spinner->setValue(12.34567, false);
    EXPECT_DOUBLE_EQ(f.spinner->getValue(), 12.346);
    EXPECT_TRUE(f.events.empty());
    f.spinner->setValue(std::nan(""), true);
    EXPECT_DOUBLE_EQ(f.spinner->getValue(), 12.346) << "a NaN is never shown";
    f.spinner->setValue(-5., true);
    ASSERT_EQ(f.events.size(), 1u);
    EXPECT_DOUBLE_EQ(f.events[0], 0.001);
    f.spinner->setValue(0.001, true);
    EXPECT_EQ(f.events.size(), 1u) << "no change, no event";

    f.spinner->setPrecision([](double value) { return value < 1. ? 4 : 1; }, true);
    EXPECT_EQ(f.spinner->getTextControl()->GetValue(), "0.0010");
    f.spinner->setValue(123.456, false);
    EXPECT_EQ(f.spinner->getTextControl()->GetValue(), "123.5");

    f.spinner->setClickSpeedOverride([](double) { return 5.; });
    EXPECT_EQ(f.spinner->currentStep(), 5.);
}

TEST(Spinner, FocusOfTheTextIsAnnounced) {
    SpinnerFixture f;
    int gained = 0;
    int lost = 0;
    f.spinner->Bind(CUSTSPINNER_TEXT_FOCUS_GET, [&](wxCommandEvent&) { ++gained; });
    f.spinner->Bind(CUSTSPINNER_TEXT_FOCUS_LOST, [&](wxCommandEvent&) { ++lost; });
    auto* other = new wxTextCtrl(f.frame.get(), wxID_ANY);
    f.frame->GetSizer()->Add(other);
    f.frame.show(other);
    f.input.click(f.spinner->getTextControl());
    ASSERT_TRUE(waitUntil([&] { return gained == 1; }));
    f.input.click(other);
    ASSERT_TRUE(waitUntil([&] { return lost == 1; }));
}

} // namespace
} // namespace Vespra::Wx
