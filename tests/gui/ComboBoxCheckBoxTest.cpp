#include <gtest/gtest.h>
#include <wx/sizer.h>

#include "gui/widgets/CheckBox.h"
#include "gui/widgets/ComboBox.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::TestFrame;
using GuiTest::waitUntil;

std::vector<ComboBox::Item> threeItems() {
    return {{"Beauty", 10, 0}, {"Bloom and Glare Interactive", 20, ComboBox::SEPARATOR_AFTER | ComboBox::HIGHLIGHTED},
            {"Reflection", 30, 0}};
}

TEST(ComboBox, SelectionByIndexAndByIdNotifiesOnlyWhenAskedAndIgnoresUnknownEntries) {
    TestFrame frame;
    int changes = 0;
    int events = 0;
    auto* combo = new ComboBox(frame.get(), wxID_ANY, 200, [&] { ++changes; });
    combo->Bind(wxEVT_COMBOBOX, [&](wxCommandEvent&) { ++events; });
    combo->setData(threeItems());
    EXPECT_EQ(combo->getCount(), 3);
    EXPECT_EQ(combo->getSelectedIndex(), -1);
    EXPECT_EQ(combo->getSelectedId(), -1);

    combo->selectIndex(1, false);
    EXPECT_EQ(combo->getSelectedId(), 20);
    EXPECT_EQ(changes + events, 0);

    combo->selectId(30, true);
    EXPECT_EQ(combo->getSelectedIndex(), 2);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(events, 1);

    combo->selectId(30, true); // already selected
    combo->selectId(99, true); // no such id
    combo->selectIndex(3, true);
    combo->selectIndex(-1, true);
    EXPECT_EQ(combo->getSelectedIndex(), 2);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(events, 1);

    combo->setData({{"Only", 5, 0}});
    EXPECT_EQ(combo->getSelectedIndex(), -1) << "new items drop the selection";
}

TEST(ComboBox, TheWheelOverTheClosedBoxMovesTheSelection) {
    TestFrame frame;
    int changes = 0;
    auto* combo = new ComboBox(frame.get(), wxID_ANY, 200, [&] { ++changes; });
    combo->setData(threeItems());
    combo->selectIndex(0, false);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(combo, 0, wxALL, 20);
    frame->SetSizer(sizer);
    frame.show(combo);

    Input input;
    input.moveTo(combo);
    input.wheel(-1);
    ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
    EXPECT_EQ(combo->getSelectedId(), 20);
    input.wheel(-5);
    ASSERT_TRUE(waitUntil([&] { return combo->getSelectedIndex() == 2; }));
    input.wheel(1);
    ASSERT_TRUE(waitUntil([&] { return combo->getSelectedIndex() == 1; }));
}

TEST(CheckBox, ClicksAndTheSpaceBarToggleWithNotificationAndTheProgramSilently) {
    TestFrame frame;
    auto* box = new CheckBox(frame.get(), wxID_ANY, "Curves:");
    std::vector<bool> changes;
    int events = 0;
    box->setChangeCallback([&](bool value) { changes.push_back(value); });
    box->Bind(wxEVT_CHECKBOX, [&](wxCommandEvent& event) {
        ++events;
        EXPECT_EQ(event.IsChecked(), box->getValue());
    });
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(box, 0, wxALL, 20);
    frame->SetSizer(sizer);
    frame.show(box);

    Input input;
    input.click(box);
    ASSERT_TRUE(waitUntil([&] { return changes.size() == 1; }));
    EXPECT_TRUE(box->getValue());
    ASSERT_TRUE(waitUntil([&] { return box->HasFocus(); }));
    input.key(WXK_SPACE);
    ASSERT_TRUE(waitUntil([&] { return changes.size() == 2; }));
    EXPECT_EQ(changes, (std::vector<bool>{true, false}));
    EXPECT_EQ(events, 2);

    box->setValue(true, false);
    EXPECT_TRUE(box->getValue());
    EXPECT_EQ(changes.size(), 2u);
    box->setValue(false, true);
    EXPECT_EQ(changes.back(), false);
    EXPECT_EQ(events, 3);

    box->Disable();
    input.click(box);
    GuiTest::settle();
    EXPECT_FALSE(box->getValue()) << "a disabled box takes no clicks";
}

} // namespace
} // namespace Vespra::Wx
