#include <chrono>
#include <cstdio>
#include <set>
#include <utility>

#include <gtest/gtest.h>
#include <wx/image.h>
#include <wx/popupwin.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/vlbox.h>

#include "base/image/ElementInfo.h"
#include "foundation/Exception.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/PropertyComboBox.h"
#include "gui/widgets/PropertySpinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/windows/DenoiseSelectDialog.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::Input;
using GuiTest::settle;
using GuiTest::TestFrame;
using GuiTest::waitUntil;
using namespace PropertyId;

constexpr char MODE_TOOLTIP[] =
    "There are 2 denoising options available. You can later use the \"Denoise amount\" option to "
    "interactively control strength of their effect.\n\nFireflies only: fast filter that just "
    "removes very bright pixels from the image (created by any source - noise, caustics, sun "
    "reflections, ...).\n\nFull: a more memory and CPU intensive filter that removes all random "
    "noise from the image, creating a noise-free image considerably faster than waiting for the "
    "rendering to converge.";

constexpr char SENSITIVITY_TOOLTIP[] =
    "Controls the blurring radius of the \"High quality\" denoising mode. Increasing the value can "
    "prevent splotches when denoising extremely noisy images, and lowering it can prevent loss of "
    "details, but the default value usually works best.";

constexpr char OTHER_ELEMENTS_TEXT[] =
    "The image contains also some other elements that cannot be denoised. These are not listed here.";

constexpr char MISSING_DATA_TEXT[] =
    "The \"High quality\" denoising mode is not available because auxiliary denoising data are "
    "missing. Turn on gathering these data while rendering the image in Vespra Renderer (Render "
    "Setup / Scene / Denoising).";

/// Wrapped labels break lines where they like: texts are compared with every break a space.
std::string flat(wxString text) {
    text.Replace("\n", " ");
    return text.utf8_string();
}

ElementInfo colourElement(const String& name, bool selected) {
    return ElementInfo{name, ElementInfo::KIND_COLOR,
                       ElementInfo::DENOISABLE | (selected ? ElementInfo::SELECTED_FOR_DENOISING : 0u)};
}

/// The beauty, "Diffuse" and "Reflection" chosen for denoising, "Refraction" not.
Array<ElementInfo> fewElements() {
    return {colourElement(u"", true), colourElement(u"Diffuse", true), colourElement(u"Refraction", false),
            colourElement(u"Reflection", true)};
}

Array<ElementInfo> manyElements(int count) {
    Stack<ElementInfo> elements;
    for (int i = 0; i < count; ++i) {
        elements.push(colourElement(String::fromUtf8("Light" + std::to_string(i)), true));
    }
    return elements;
}

std::vector<bool> checkedStates(const DenoiseSelectDialog& dialog) {
    std::vector<bool> states;
    for (const CheckBox* box : dialog.getElementList()->getCheckBoxes()) {
        states.push_back(box->getValue());
    }
    return states;
}

std::vector<String> names(ArrayView<const ElementInfo> elements) {
    std::vector<String> found;
    for (const ElementInfo& element : elements) {
        found.push_back(element.name);
    }
    return found;
}

/// A dialog on the screen without a modal loop, for tests that need no answer from it.
class ShownDialog {
public:
    ShownDialog() : dialog(new DenoiseSelectDialog(frame.get(), wxPoint(60, 60))) {}
    ~ShownDialog() { dialog->Destroy(); }

    void show() {
        dialog->Show();
        EXPECT_TRUE(waitUntil([this] { return dialog->IsShownOnScreen(); }));
        dialog->Raise();
        settle();
    }

    DenoiseSelectDialog* operator->() const { return dialog; }
    DenoiseSelectDialog& operator*() const { return *dialog; }

private:
    TestFrame frame;
    DenoiseSelectDialog* dialog;
};

using WhenShown = GuiTest::WhenShown<DenoiseSelectDialog>;

/// Opens the combo box's list with a click and clicks its item `index`.
void pickWithTheMouse(Input& input, ComboBox* combo, int index) {
    // The box takes no click for a moment after its list closed: click until the list opens.
    for (int attempt = 0; attempt < 20 && !combo->IsPopupShown(); ++attempt) {
        input.click(combo);
        waitUntil([combo] { return combo->IsPopupShown(); }, 250);
    }
    ASSERT_TRUE(combo->IsPopupShown());
    auto* list = dynamic_cast<wxVListBox*>(combo->GetPopupControl()->GetControl());
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(waitUntil([list] { return list->IsShownOnScreen(); }));
    input.click(list, list->GetItemRect(std::size_t(index)).GetPosition() + wxPoint(10, 5));
    ASSERT_TRUE(waitUntil([combo] { return !combo->IsPopupShown(); }));
}

/// Rests the pointer on `window` until its tooltip appears; answers the tooltip's text, empty
/// when none appeared.
wxString hoverTooltip(Input& input, wxWindow* window) {
    input.moveTo(window, wxPoint(3, 3));
    input.moveTo(window);
    wxString text;
    waitUntil([&] {
        for (wxWindow* child : window->GetChildren()) {
            if (dynamic_cast<wxPopupWindow*>(child) != nullptr && child->IsShown()) {
                for (wxWindow* label : child->GetChildren()) {
                    if (dynamic_cast<wxStaticText*>(label) != nullptr) {
                        text = label->GetLabel();
                    }
                }
            }
        }
        return !text.empty();
    });
    return text;
}

/// The share of `image` in the skin's background colour, and how many colours it has.
std::pair<double, std::size_t> colourCensus(const wxImage& image) {
    const wxColour background = activeSkin().background();
    const std::size_t count = std::size_t(image.GetWidth()) * std::size_t(image.GetHeight());
    std::size_t backgroundPixels = 0;
    std::set<unsigned> colours;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* p = image.GetData() + 3 * i;
        backgroundPixels +=
            p[0] == background.Red() && p[1] == background.Green() && p[2] == background.Blue();
        colours.insert(unsigned(p[0]) << 16 | unsigned(p[1]) << 8 | p[2]);
    }
    return {double(backgroundPixels) / double(std::max<std::size_t>(count, 1)), colours.size()};
}

/// What the screen shows of `window` once it has been painted, saved into the build folder for
/// review; it has to be in the skin's colours and show more than a flat fill.
void saveScreenshot(wxWindow* window, const char* name) {
    const auto painted = makeShared<bool>(false);
    window->Bind(wxEVT_PAINT, [painted](wxPaintEvent& event) {
        *painted = true;
        event.Skip();
    });
    window->Refresh();
    EXPECT_TRUE(waitUntil([&] { return *painted; })) << name << " was never painted";
    settle();
    wxImage shot;
    EXPECT_TRUE(waitUntil([&] {
        shot = GuiTest::capture(window);
        return colourCensus(shot).first > 0.5;
    })) << name
        << " is not in the skin's colours";
    EXPECT_GT(colourCensus(shot).second, 20u) << name << " looks empty";
    const wxString path = wxString(VESPRA_BUILD_DIR) + "/" + name;
    EXPECT_TRUE(shot.SaveFile(path, wxBITMAP_TYPE_PNG)) << path;
    std::printf("Screenshot: %s\n", static_cast<const char*>(path.utf8_str()));
}

// ---------------------------------------------------------------------------------------------

TEST(DenoiseSelectDialog, ShowsItsTextsLimitsAndButtons) {
    ShownDialog dialog;
    dialog->setElements(fewElements(), false);
    dialog->setModes(std::vector{DenoisingMode::FIREFLIES});
    dialog.show();

    EXPECT_EQ(dialog->GetTitle(), "Custom denoise settings");
    EXPECT_EQ(flat(dialog->getOtherElementsText()->GetLabel()), OTHER_ELEMENTS_TEXT);
    EXPECT_EQ(flat(dialog->getMissingDataText()->GetLabel()), MISSING_DATA_TEXT);
    EXPECT_EQ(dialog->getModeControl()->getTooltip(), MODE_TOOLTIP);
    EXPECT_EQ(dialog->getDenoiseButton()->GetLabel(), "Denoise");
    EXPECT_EQ(dialog->getDenoiseButton()->GetId(), wxID_OK);
    EXPECT_EQ(dialog->getCancelButton()->GetLabel(), "Cancel");
    EXPECT_EQ(dialog->getCancelButton()->GetId(), wxID_CANCEL);
    for (AutoSizedButton* button : {dialog->getDenoiseButton(), dialog->getCancelButton()}) {
        EXPECT_GE(button->GetSize().x, scaleByDpi(75));
        EXPECT_GE(button->GetSize().y, scaleByDpi(24));
    }
    const ItemSelectPanel<ElementInfo>* list = dialog->getElementList();
    EXPECT_EQ(list->getAllButton()->GetLabel(), "All");
    EXPECT_EQ(list->getNoneButton()->GetLabel(), "None");
    EXPECT_EQ(list->getInverseButton()->GetLabel(), "Inverse");

    const PropertySpinner<float>* radius = dialog->getSensitivityControl();
    EXPECT_FLOAT_EQ(radius->getMinimum(), 0.1f);
    EXPECT_FLOAT_EQ(radius->getMaximum(), 10.f);
    EXPECT_FLOAT_EQ(radius->getDefault(), 1.f);
    EXPECT_EQ(radius->getPrecision(), 3);
    EXPECT_FLOAT_EQ(radius->getValue(), 1.f);

    EXPECT_EQ(DenoiseSelectDialog::getModeLabel(DenoisingMode::FIREFLIES), u"Firefly removal only");
    EXPECT_EQ(DenoiseSelectDialog::getModeLabel(DenoisingMode::FULL), u"High quality");
    EXPECT_EQ(DenoiseSelectDialog::getModeLabel(DenoisingMode::NVIDIA_AI), u"Fast preview (NVIDIA)");
}

TEST(DenoiseSelectDialog, TooltipsAppearWhereThePointerRests) {
    ShownDialog dialog;
    dialog->setElements(fewElements(), true);
    dialog->setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    dialog.show();
    Input input;
    EXPECT_EQ(flat(hoverTooltip(input, dialog->getSensitivityControl())), SENSITIVITY_TOOLTIP);
    // The popup wraps long lines, keeping the text's own breaks.
    EXPECT_EQ(flat(hoverTooltip(input, dialog->getModeControl())), flat(MODE_TOOLTIP));
    const ItemSelectPanel<ElementInfo>* list = dialog->getElementList();
    EXPECT_EQ(flat(hoverTooltip(input, list->getAllButton())), "Select all of them.");
    EXPECT_EQ(flat(hoverTooltip(input, list->getNoneButton())), "Select none of them.");
    EXPECT_EQ(flat(hoverTooltip(input, list->getInverseButton())), "Invert the current selection.");
}

TEST(DenoiseSelectDialog, OnlyFireflyRemovalDisablesTheModeAndExplainsWhy) {
    ShownDialog dialog;
    dialog->setElements(fewElements(), true);
    dialog->setModes(std::vector{DenoisingMode::FIREFLIES});
    dialog.show();
    PropertyComboBox* mode = dialog->getModeControl();
    ASSERT_EQ(mode->getCount(), 1);
    EXPECT_EQ(mode->getData()[0].text.utf8_string(), "Firefly removal only");
    EXPECT_FALSE(mode->IsEnabled());
    EXPECT_TRUE(dialog->getMissingDataText()->IsShownOnScreen());
    EXPECT_EQ(dialog->getSettings().get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::FIREFLIES));

    // An image with the data for all three: the first becomes the mode, and nothing is missing.
    dialog->setModes(std::vector{DenoisingMode::NVIDIA_AI, DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    settle();
    ASSERT_EQ(mode->getCount(), 3);
    EXPECT_EQ(mode->getData()[0].text.utf8_string(), "Fast preview (NVIDIA)");
    EXPECT_EQ(mode->getData()[1].text.utf8_string(), "High quality");
    EXPECT_EQ(mode->getSelectedIndex(), 0);
    EXPECT_TRUE(mode->IsEnabled());
    EXPECT_FALSE(dialog->getMissingDataText()->IsShown());
    EXPECT_EQ(dialog->getSettings().get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::NVIDIA_AI));
}

TEST(DenoiseSelectDialog, AModeWithoutALabelIsAnInternalStop) {
    ShownDialog dialog;
    try {
        dialog->setModes(std::vector{DenoisingMode::FULL, DenoisingMode::GATHER});
        ADD_FAILURE() << "the gathering mode was offered";
    } catch (const Exception& error) {
        EXPECT_TRUE(error.getMessage().startsWith(u"STOP@gui/windows/DenoiseSelectDialog.cpp("))
            << error.what();
    }
    EXPECT_THROW(DenoiseSelectDialog::getModeLabel(DenoisingMode::NONE), Exception);
}

TEST(DenoiseSelectDialog, TheOtherElementsAreMentionedOnlyWhenSomeAreLeftOut) {
    ShownDialog dialog;
    dialog->setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    dialog->setElements(fewElements(), true);
    dialog.show();
    EXPECT_FALSE(dialog->getOtherElementsText()->IsShown());
    const int height = dialog->GetSize().y;
    dialog->setElements(fewElements(), false);
    settle();
    EXPECT_TRUE(dialog->getOtherElementsText()->IsShownOnScreen());
    EXPECT_GT(dialog->GetSize().y, height) << "the dialog grew by the text";
}

TEST(DenoiseSelectDialog, PreselectsTheElementsChosenForDenoisingByTheirDisplayNames) {
    ShownDialog dialog;
    dialog->setElements(fewElements(), true);
    dialog.show();
    const auto& boxes = dialog->getElementList()->getCheckBoxes();
    ASSERT_EQ(boxes.size(), 4u);
    EXPECT_EQ(boxes[0]->GetLabel().utf8_string(), "BEAUTY");
    EXPECT_EQ(boxes[1]->GetLabel().utf8_string(), "Diffuse");
    EXPECT_EQ(checkedStates(*dialog), (std::vector<bool>{true, true, false, true}));
    EXPECT_EQ(names(dialog->getSelectedElements()), (std::vector<String>{u"", u"Diffuse", u"Reflection"}));
    EXPECT_TRUE(dialog->getDenoiseButton()->IsEnabled());

    // A click on a box changes only that box.
    Input().click(boxes[1], wxPoint(6, boxes[1]->GetSize().y / 2));
    EXPECT_TRUE(waitUntil([&] { return !boxes[1]->getValue(); }));
    EXPECT_EQ(names(dialog->getSelectedElements()), (std::vector<String>{u"", u"Reflection"}));
}

TEST(DenoiseSelectDialog, NoneDisablesDenoiseAndInverseEnablesItAgain) {
    ShownDialog dialog;
    dialog->setElements(fewElements(), true);
    dialog.show();
    ItemSelectPanel<ElementInfo>* list = dialog->getElementList();
    int changes = 0;
    const auto updateButton = list->onChange;
    list->onChange = [&] {
        ++changes;
        updateButton();
    };
    Input input;

    input.click(list->getNoneButton());
    EXPECT_TRUE(waitUntil([&] { return !dialog->getDenoiseButton()->IsEnabled(); }));
    EXPECT_EQ(checkedStates(*dialog), (std::vector<bool>{false, false, false, false}));
    EXPECT_EQ(changes, 1) << "one notice for the whole list";

    input.click(list->getNoneButton());
    EXPECT_EQ(changes, 1) << "nothing changed, nobody told";

    input.click(list->getInverseButton());
    EXPECT_TRUE(waitUntil([&] { return dialog->getDenoiseButton()->IsEnabled(); }));
    EXPECT_EQ(checkedStates(*dialog), (std::vector<bool>{true, true, true, true}));

    // The last box unchecked by hand disables "Denoise" as well.
    input.click(list->getInverseButton());
    input.click(list->getCheckBoxes()[2], wxPoint(6, list->getCheckBoxes()[2]->GetSize().y / 2));
    EXPECT_TRUE(waitUntil([&] { return dialog->getDenoiseButton()->IsEnabled(); }));
    input.click(list->getCheckBoxes()[2], wxPoint(6, list->getCheckBoxes()[2]->GetSize().y / 2));
    EXPECT_TRUE(waitUntil([&] { return !dialog->getDenoiseButton()->IsEnabled(); }));

    input.click(list->getAllButton());
    EXPECT_TRUE(waitUntil([&] { return dialog->getDenoiseButton()->IsEnabled(); }));
    EXPECT_EQ(dialog->getSelectedElements().size(), 4u);
}

TEST(DenoiseSelectDialog, WithoutElementsItCanOnlyBeCancelled) {
    ShownDialog dialog;
    dialog->setElements({}, false);
    dialog.show();
    EXPECT_FALSE(dialog->getDenoiseButton()->IsEnabled());
    Input().click(dialog->getElementList()->getAllButton());
    EXPECT_FALSE(dialog->getDenoiseButton()->IsEnabled());
    EXPECT_TRUE(dialog->getCancelButton()->IsEnabled());
}

TEST(DenoiseSelectDialog, AHundredElementsScrollWithinTheCappedList) {
    ShownDialog dialog;
    dialog->setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    dialog->setElements(fewElements(), true);
    dialog.show();
    wxScrolledWindow* list = dialog->getElementList()->getList();
    // With few elements the list is as tall as they are, and the rest of the dialog fixed.
    EXPECT_EQ(list->GetClientSize().y, list->GetVirtualSize().y);
    const int rest = dialog->GetSize().y - list->GetSize().y;

    dialog->setElements(manyElements(100), true);
    settle();
    EXPECT_EQ(list->GetSize().y, scaleByDpi(400));
    EXPECT_GT(list->GetVirtualSize().y, 10 * scaleByDpi(400) / 2) << "the boxes stand one under another";
    EXPECT_EQ(dialog->GetSize().y, rest + scaleByDpi(400));

    // The last box is reached by scrolling, and is then clickable.
    CheckBox* last = dialog->getElementList()->getCheckBoxes().back();
    EXPECT_FALSE(last->IsShownOnScreen() && list->GetScreenRect().Contains(last->GetScreenRect()));
    list->Scroll(0, list->GetVirtualSize().y);
    settle();
    EXPECT_TRUE(list->GetScreenRect().Contains(last->GetScreenRect()));
    Input().click(last, wxPoint(6, last->GetSize().y / 2));
    EXPECT_TRUE(waitUntil([last] { return !last->getValue(); }));
    EXPECT_EQ(dialog->getSelectedElements().size(), 99u);
}

TEST(DenoiseSelectDialog, CancelLeavesTheRealSettingsAlone) {
    TestFrame frame;
    Settings real;
    real.set(DENOISE_FILTER_TYPE, std::int32_t(DenoisingMode::FULL));
    real.set(DENOISE_SENSITIVITY, 2.5f);
    int notices = 0;
    const auto counter = makeShared<SettingsListener>([&](std::int32_t, const Property&) { ++notices; });
    real.addListener(DENOISE_FILTER_TYPE, counter);
    real.addListener(DENOISE_SENSITIVITY, counter);

    DenoiseSelectDialog dialog(frame.get());
    dialog.copySettingsFrom(real);
    dialog.setElements(fewElements(), true);
    dialog.setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    WhenShown answer([](DenoiseSelectDialog& shown) {
        Input input;
        EXPECT_FLOAT_EQ(shown.getSensitivityControl()->getValue(), 2.5f) << "the real radius is shown";
        pickWithTheMouse(input, shown.getModeControl(), 1);
        input.typeInto(shown.getSensitivityControl(), "7", false);
        input.key(WXK_RETURN);
        EXPECT_TRUE(waitUntil([&] { return shown.getSettings().get(DENOISE_SENSITIVITY).asFloat() == 7.f; }));
        input.click(shown.getCancelButton());
    });
    EXPECT_EQ(dialog.ShowModal(), wxID_CANCEL);
    EXPECT_EQ(real.get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::FULL));
    EXPECT_FLOAT_EQ(real.get(DENOISE_SENSITIVITY).asFloat(), 2.5f);
    EXPECT_EQ(notices, 0);
    // The dialog's own settings did change: Cancel made the difference.
    EXPECT_EQ(dialog.getSettings().get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::FIREFLIES));
}

TEST(DenoiseSelectDialog, DenoiseAnswersTheChosenElementsModeAndRadius) {
    TestFrame frame;
    Settings real;
    real.set(DENOISE_SENSITIVITY, 2.5f);
    // Not a denoising property: the dialog takes none of it.
    real.set(SIMPLE_EXPOSURE, 3.f);

    DenoiseSelectDialog dialog(frame.get());
    dialog.copySettingsFrom(real);
    EXPECT_FALSE(dialog.getSettings().isSet(SIMPLE_EXPOSURE));
    dialog.setElements(fewElements(), true);
    dialog.setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    WhenShown answer([](DenoiseSelectDialog& shown) {
        Input input;
        input.click(shown.getElementList()->getInverseButton());
        pickWithTheMouse(input, shown.getModeControl(), 1);
        // Typed and not yet taken with Enter: "Denoise" takes it.
        input.typeInto(shown.getSensitivityControl(), "0.25", false);
        input.click(shown.getDenoiseButton());
    });
    EXPECT_EQ(dialog.ShowModal(), wxID_OK);
    EXPECT_EQ(names(dialog.getSelectedElements()), (std::vector<String>{u"Refraction"}));
    const Settings& chosen = dialog.getSettings();
    EXPECT_EQ(chosen.get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::FIREFLIES));
    EXPECT_FLOAT_EQ(chosen.get(DENOISE_SENSITIVITY).asFloat(), 0.25f);

    // What the frame does with the answer: the denoising properties go into the real settings.
    EXPECT_FLOAT_EQ(real.get(DENOISE_SENSITIVITY).asFloat(), 2.5f);
    real.copyFrom(chosen, Conf::filterOf(PropertyCatalogue::denoisingIds()));
    EXPECT_EQ(real.get(DENOISE_FILTER_TYPE).asInt(), std::int32_t(DenoisingMode::FIREFLIES));
    EXPECT_FLOAT_EQ(real.get(DENOISE_SENSITIVITY).asFloat(), 0.25f);
    EXPECT_FLOAT_EQ(real.get(SIMPLE_EXPOSURE).asFloat(), 3.f);
}

TEST(DenoiseSelectDialog, EscapeCancels) {
    TestFrame frame;
    DenoiseSelectDialog dialog(frame.get());
    dialog.setElements(fewElements(), true);
    dialog.setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
    WhenShown answer([](DenoiseSelectDialog& shown) {
        Input input;
        input.moveTo(shown.getElementList());
        input.key(WXK_ESCAPE);
    });
    EXPECT_EQ(dialog.ShowModal(), wxID_CANCEL);
}

TEST(DenoiseSelectDialog, ScreenshotsGoToTheBuildFolder) {
    {
        ShownDialog dialog;
        dialog->setElements(fewElements(), true);
        dialog->setModes(std::vector{DenoisingMode::FULL, DenoisingMode::FIREFLIES});
        dialog.show();
        saveScreenshot(&*dialog, "denoise-select.png");
    }
    ShownDialog dialog;
    dialog->setElements(manyElements(30), false);
    dialog->setModes(std::vector{DenoisingMode::FIREFLIES});
    dialog.show();
    saveScreenshot(&*dialog, "denoise-select-fireflies.png");
}

} // namespace
} // namespace Vespra::Wx
