#include <chrono>
#include <functional>
#include <ostream>
#include <set>
#include <vector>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/ImageSaveSettingsDialog.h"
#include "gui/widgets/Spinner.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra {

/// Failures print the settings readably.
static void PrintTo(const ImageSaveSettings& settings, std::ostream* out) {
    *out << "{bitDepth " << settings.bitDepth << ", compression \"" << settings.compression.toUtf8()
         << "\", quality " << settings.quality << ", alpha " << settings.alpha << "}";
}

namespace Wx {
namespace {

/// Lets the toolkit run until `condition` holds, at most `limit`; answers the condition. When
/// nothing is queued it blocks on the next event (a bounded wait, so the deadline is kept).
bool waitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        wxTheApp->Yield(true);
        if (!condition()) {
            if (wxEventLoopBase* loop = wxEventLoopBase::GetActive()) {
                loop->DispatchTimeout(20);
            }
        }
    }
    return true;
}

/// Ends a modal dialog that is still open after a generous time, so that a broken test fails
/// instead of hanging.
class ModalWatchdog {
public:
    ModalWatchdog() {
        timer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            for (wxWindow* window : wxTopLevelWindows) {
                if (auto* dialog = dynamic_cast<wxDialog*>(window); dialog != nullptr && dialog->IsModal()) {
                    fired = true;
                    dialog->EndModal(wxID_CANCEL);
                }
            }
        });
        timer.StartOnce(30000);
    }

    bool hasFired() const { return fired; }

private:
    wxTimer timer;
    bool fired = false;
};

/// Runs `drive` inside the modal loop of the next dialog, once it is on the screen. A dialog that
/// never comes is a failure, and the watchdog ends it.
void whenShown(std::function<void(ImageSaveSettingsDialog&)> drive) {
    wxTheApp->CallAfter([drive] {
        ImageSaveSettingsDialog* dialog = nullptr;
        ASSERT_TRUE(waitFor([&] { return (dialog = GuiTest::findShownModal<ImageSaveSettingsDialog>()) != nullptr; })) << "no dialog shown";
        drive(*dialog);
    });
}

/// Moves the pointer over the centre of `button` and waits until the button has seen it enter.
::testing::AssertionResult pointAt(wxUIActionSimulator& input, Button& button) {
    const wxRect rect = button.GetScreenRect();
    input.MouseMove(rect.x + rect.width / 2, rect.y + rect.height / 2);
    if (!waitFor([&] { return button.isHovered(); })) {
        return ::testing::AssertionFailure() << "the pointer never reached \"" << button.GetLabel() << "\"";
    }
    return ::testing::AssertionSuccess();
}

std::vector<int> itemIds(const ComboBox* box) {
    std::vector<int> ids;
    for (const ComboBox::Item& item : box->getData()) {
        ids.push_back(item.id);
    }
    return ids;
}

/// The compression each item of the dialog's list stands for, by selecting it.
std::vector<String> offeredCompressions(ImageSaveSettingsDialog& dialog) {
    std::vector<String> compressions;
    for (int index = 0; index < dialog.getCompressionControl()->getCount(); ++index) {
        dialog.getCompressionControl()->selectIndex(index, false);
        compressions.push_back(dialog.getSettings().compression);
    }
    return compressions;
}

struct Offer {
    ImageFormat format;
    const char* title;
    std::vector<int> bitDepths;
    std::vector<String> compressions;
    bool quality;
    bool alpha;
};

const std::vector<Offer>& offers() {
    static const std::vector<Offer> all = {
        {ImageFormat::PNG,
         "PNG settings",
         {8, 16},
         {u"", u"zip:0", u"zip:1", u"zip:2", u"zip:3", u"zip:4", u"zip:5", u"zip:6", u"zip:7", u"zip:8",
          u"zip:9"},
         false,
         true},
        {ImageFormat::JPEG, "JPEG settings", {}, {}, true, false},
        {ImageFormat::TIFF,
         "TIFF settings",
         {8, 16, 32},
         {u"none", u"lzw", u"zip", u"packbits"},
         false,
         true},
        {ImageFormat::EXR,
         "EXR settings",
         {16, 32},
         {u"none", u"rle", u"zips", u"zip", u"piz", u"pxr24", u"b44", u"b44a", u"dwaa", u"dwab"},
         false,
         true},
        {ImageFormat::TGA, "TGA settings", {}, {u"none", u"rle"}, false, true},
    };
    return all;
}

TEST(ImageSaveSettingsDialog, OffersWhatEachFormatHas) {
    for (const Offer& offer : offers()) {
        SCOPED_TRACE(offer.title);
        EXPECT_TRUE(ImageSaveSettingsDialog::hasChoices(offer.format));
        ImageSaveSettingsDialog dialog(nullptr, offer.format, ImageSaveSettings());
        EXPECT_EQ(dialog.GetTitle(), offer.title);
        ASSERT_EQ(dialog.getBitDepthControl() != nullptr, !offer.bitDepths.empty());
        if (dialog.getBitDepthControl() != nullptr) {
            EXPECT_EQ(itemIds(dialog.getBitDepthControl()), offer.bitDepths);
        }
        ASSERT_EQ(dialog.getCompressionControl() != nullptr, !offer.compressions.empty());
        if (dialog.getCompressionControl() != nullptr) {
            EXPECT_EQ(offeredCompressions(dialog), offer.compressions);
        }
        ASSERT_EQ(dialog.getQualityControl() != nullptr, offer.quality);
        if (offer.quality) {
            EXPECT_EQ(dialog.getQualityControl()->getMinimum(), 1.);
            EXPECT_EQ(dialog.getQualityControl()->getMaximum(), 100.);
            EXPECT_EQ(dialog.getQualityControl()->getPrecision(), 0);
        }
        ASSERT_EQ(dialog.getAlphaControl() != nullptr, offer.alpha);
        if (offer.alpha) {
            EXPECT_EQ(dialog.getAlphaControl()->GetLabel(), "Save alpha channel");
        }
        ASSERT_NE(dialog.getSaveButton(), nullptr);
        EXPECT_EQ(dialog.getSaveButton()->GetId(), wxID_OK);
        EXPECT_EQ(dialog.getSaveButton()->GetLabel(), "Save");
        EXPECT_EQ(dialog.getCancelButton()->GetId(), wxID_CANCEL);
        EXPECT_EQ(dialog.getCancelButton()->GetLabel(), "Cancel");
    }
}

TEST(ImageSaveSettingsDialog, FormatsWithoutChoiceAnswerTheirDefaultsAtOnce) {
    SimpleSaveSettingsDefaultsProvider defaults;
    for (const ImageFormat format : {ImageFormat::BMP, ImageFormat::HDR}) {
        EXPECT_FALSE(ImageSaveSettingsDialog::hasChoices(format));
        // A dialog shown here would wait for the watchdog and come back cancelled.
        const ModalWatchdog watchdog;
        const Optional<ImageSaveSettings> settings =
            ImageSaveSettingsDialog::requestSettingsFromUser(nullptr, format, &defaults);
        ASSERT_TRUE(settings.has_value());
        EXPECT_EQ(*settings, ImageSaveSettings());
        EXPECT_FALSE(validateSaveSettings(format, *settings));
        EXPECT_FALSE(defaults.getDefaults(format).has_value());
        EXPECT_FALSE(watchdog.hasFired());
    }
}

TEST(ImageSaveSettingsDialog, ShowsTheInitialSettings) {
    const auto shown = [](ImageFormat format, const ImageSaveSettings& initial) {
        return ImageSaveSettingsDialog(nullptr, format, initial).getSettings();
    };
    const ImageSaveSettings png{16, u"zip:9", 95, false};
    EXPECT_EQ(shown(ImageFormat::PNG, png), png);
    const ImageSaveSettings tiff{32, u"packbits", 95, true};
    EXPECT_EQ(shown(ImageFormat::TIFF, tiff), tiff);
    const ImageSaveSettings exr{16, u"dwab", 95, false};
    EXPECT_EQ(shown(ImageFormat::EXR, exr), exr);
    const ImageSaveSettings jpeg{0, {}, 37, true};
    EXPECT_EQ(shown(ImageFormat::JPEG, jpeg), jpeg);

    // Unset values show as the format's defaults: what a save with them would do.
    EXPECT_EQ(shown(ImageFormat::PNG, {}), (ImageSaveSettings{8, u"", 95, true}));
    EXPECT_EQ(shown(ImageFormat::TIFF, {}), (ImageSaveSettings{16, u"zip", 95, true}));
    EXPECT_EQ(shown(ImageFormat::EXR, {}), (ImageSaveSettings{32, u"zip", 95, true}));
    EXPECT_EQ(shown(ImageFormat::TGA, {}), (ImageSaveSettings{0, u"none", 95, true}));
    EXPECT_EQ(shown(ImageFormat::PNG, {0, u"zip"}), (ImageSaveSettings{8, u"", 95, true}));

    // What the format does not offer falls back to its default.
    EXPECT_EQ(shown(ImageFormat::PNG, {32, u"piz"}), (ImageSaveSettings{8, u"", 95, true}));
    EXPECT_EQ(shown(ImageFormat::EXR, {8, u"lzw"}), (ImageSaveSettings{32, u"zip", 95, true}));
    EXPECT_EQ(shown(ImageFormat::JPEG, {16, u"zip", 0, false}), (ImageSaveSettings{0, u"", 1, true}));
    EXPECT_EQ(shown(ImageFormat::JPEG, {0, u"", 250}), (ImageSaveSettings{0, u"", 100, true}));
}

TEST(ImageSaveSettingsDialog, ControlsMakeTheSettings) {
    ImageSaveSettingsDialog png(nullptr, ImageFormat::PNG, ImageSaveSettings());
    png.getBitDepthControl()->selectId(16, true);
    png.getCompressionControl()->selectIndex(png.getCompressionControl()->getCount() - 1, true);
    png.getAlphaControl()->setValue(false, true);
    EXPECT_EQ(png.getSettings(), (ImageSaveSettings{16, u"zip:9", 95, false}));
    EXPECT_EQ(png.getCompressionControl()->GetValue(), "9 (smallest)");

    ImageSaveSettingsDialog exr(nullptr, ImageFormat::EXR, ImageSaveSettings());
    exr.getBitDepthControl()->selectId(16, true);
    exr.getCompressionControl()->selectIndex(4, true);
    EXPECT_EQ(exr.getSettings(), (ImageSaveSettings{16, u"piz", 95, true}));
    EXPECT_EQ(exr.getBitDepthControl()->GetValue(), "16 bits half float");

    ImageSaveSettingsDialog jpeg(nullptr, ImageFormat::JPEG, ImageSaveSettings());
    EXPECT_EQ(jpeg.getSettings().quality, 95);
    jpeg.getQualityControl()->setValue(42, true);
    EXPECT_EQ(jpeg.getSettings(), (ImageSaveSettings{0, u"", 42, true}));
    jpeg.getQualityControl()->setValue(0, true);
    EXPECT_EQ(jpeg.getSettings().quality, 1);
    jpeg.getQualityControl()->setValue(1000, true);
    EXPECT_EQ(jpeg.getSettings().quality, 100);

    // A number still being typed counts once the dialog is confirmed.
    jpeg.getQualityControl()->getTextControl()->ChangeValue("64");
    EXPECT_EQ(jpeg.getSettings().quality, 100);
    EXPECT_TRUE(jpeg.TransferDataFromWindow());
    EXPECT_EQ(jpeg.getSettings().quality, 64);

    ImageSaveSettingsDialog tga(nullptr, ImageFormat::TGA, ImageSaveSettings());
    tga.getCompressionControl()->selectIndex(1, true);
    tga.getAlphaControl()->setValue(false, true);
    EXPECT_EQ(tga.getSettings(), (ImageSaveSettings{0, u"rle", 95, false}));
}

TEST(ImageSaveSettingsDialog, EveryChoiceIsValid) {
    for (const Offer& offer : offers()) {
        SCOPED_TRACE(offer.title);
        ImageSaveSettingsDialog dialog(nullptr, offer.format, ImageSaveSettings());
        ComboBox* const bitDepth = dialog.getBitDepthControl();
        ComboBox* const compression = dialog.getCompressionControl();
        const int bitDepths = bitDepth != nullptr ? bitDepth->getCount() : 1;
        const int compressions = compression != nullptr ? compression->getCount() : 1;
        const std::vector<double> qualities =
            offer.quality ? std::vector<double>{-5, 1, 50, 100, 101} : std::vector<double>{0};
        std::set<std::pair<int, String>> seen;
        for (int depthIndex = 0; depthIndex < bitDepths; ++depthIndex) {
            for (int compressionIndex = 0; compressionIndex < compressions; ++compressionIndex) {
                for (const double quality : qualities) {
                    for (const bool alpha : {false, true}) {
                        if (bitDepth != nullptr) {
                            bitDepth->selectIndex(depthIndex, true);
                        }
                        if (compression != nullptr) {
                            compression->selectIndex(compressionIndex, true);
                        }
                        if (dialog.getQualityControl() != nullptr) {
                            dialog.getQualityControl()->setValue(quality, true);
                        }
                        if (dialog.getAlphaControl() != nullptr) {
                            dialog.getAlphaControl()->setValue(alpha, true);
                        }
                        const ImageSaveSettings settings = dialog.getSettings();
                        const Optional<String> error = validateSaveSettings(offer.format, settings);
                        EXPECT_FALSE(error)
                            << error.value_or(u"").toUtf8() << " for " << settings.bitDepth << " "
                            << settings.compression.toUtf8() << " " << settings.quality;
                        seen.emplace(settings.bitDepth, settings.compression);
                    }
                }
            }
        }
        // Every pair of list items makes different settings.
        EXPECT_EQ(seen.size(), std::size_t(bitDepths * compressions));
    }
}

TEST(ImageSaveSettingsDialog, SimpleDefaultsProviderKeepsTheLastOfEachFormat) {
    SimpleSaveSettingsDefaultsProvider defaults;
    EXPECT_FALSE(defaults.getDefaults(ImageFormat::PNG).has_value());
    const ImageSaveSettings png{16, u"zip:2", 95, false};
    const ImageSaveSettings exr{16, u"piz", 95, true};
    defaults.setDefaults(ImageFormat::PNG, png);
    defaults.setDefaults(ImageFormat::EXR, exr);
    const auto remembered = [&](ImageFormat format) {
        return defaults.getDefaults(format).value_or(ImageSaveSettings{-1});
    };
    EXPECT_EQ(remembered(ImageFormat::PNG), png);
    EXPECT_EQ(remembered(ImageFormat::EXR), exr);
    EXPECT_FALSE(defaults.getDefaults(ImageFormat::TIFF).has_value());
    const ImageSaveSettings later{8, u"", 95, true};
    defaults.setDefaults(ImageFormat::PNG, later);
    EXPECT_EQ(remembered(ImageFormat::PNG), later);
    EXPECT_EQ(remembered(ImageFormat::EXR), exr);
}

TEST(ImageSaveSettingsDialog, SaveClickedConfirmsAndTheNextDialogStartsThere) {
    SimpleSaveSettingsDefaultsProvider defaults;
    defaults.setDefaults(ImageFormat::PNG, {16, u"zip:3", 95, true});
    {
        const ModalWatchdog watchdog;
        whenShown([](ImageSaveSettingsDialog& dialog) {
            EXPECT_EQ(dialog.getFormat(), ImageFormat::PNG);
            EXPECT_EQ(dialog.getBitDepthControl()->getSelectedId(), 16);
            EXPECT_TRUE(dialog.getAlphaControl()->getValue());
            dialog.getAlphaControl()->setValue(false, true);
            wxUIActionSimulator input;
            ASSERT_TRUE(pointAt(input, *dialog.getSaveButton()));
            input.MouseClick();
        });
        const Optional<ImageSaveSettings> settings =
            ImageSaveSettingsDialog::requestSettingsFromUser(nullptr, ImageFormat::PNG, &defaults);
        EXPECT_FALSE(watchdog.hasFired());
        ASSERT_TRUE(settings.has_value());
        EXPECT_EQ(*settings, (ImageSaveSettings{16, u"zip:3", 95, false}));
        EXPECT_EQ(defaults.getDefaults(ImageFormat::PNG).value_or(ImageSaveSettings()), *settings);
    }
    {
        // The next dialog shows the confirmed choice; cancelling it keeps that.
        const ModalWatchdog watchdog;
        whenShown([](ImageSaveSettingsDialog& dialog) {
            EXPECT_FALSE(dialog.getAlphaControl()->getValue());
            EXPECT_EQ(dialog.getCompressionControl()->GetValue(), "3");
            dialog.getBitDepthControl()->selectId(8, true);
            wxUIActionSimulator input;
            ASSERT_TRUE(pointAt(input, *dialog.getCancelButton()));
            input.MouseClick();
        });
        EXPECT_FALSE(ImageSaveSettingsDialog::requestSettingsFromUser(nullptr, ImageFormat::PNG, &defaults));
        EXPECT_FALSE(watchdog.hasFired());
        EXPECT_EQ(defaults.getDefaults(ImageFormat::PNG).value_or(ImageSaveSettings()),
                  (ImageSaveSettings{16, u"zip:3", 95, false}));
    }
}

TEST(ImageSaveSettingsDialog, EscapeCancels) {
    SimpleSaveSettingsDefaultsProvider defaults;
    const ModalWatchdog watchdog;
    whenShown([](ImageSaveSettingsDialog& dialog) {
        dialog.getCompressionControl()->selectId(4, true);
        wxUIActionSimulator input;
        // Over the dialog, so that its window has the keyboard with or without a window manager.
        ASSERT_TRUE(pointAt(input, *dialog.getSaveButton()));
        input.Char(WXK_ESCAPE);
    });
    EXPECT_FALSE(ImageSaveSettingsDialog::requestSettingsFromUser(nullptr, ImageFormat::EXR, &defaults));
    EXPECT_FALSE(watchdog.hasFired());
    EXPECT_FALSE(defaults.getDefaults(ImageFormat::EXR).has_value());
}

TEST(ImageSaveSettingsDialog, EnterConfirmsTheQualityBeingTyped) {
    SimpleSaveSettingsDefaultsProvider defaults;
    const ModalWatchdog watchdog;
    whenShown([](ImageSaveSettingsDialog& dialog) {
        wxUIActionSimulator input;
        ASSERT_TRUE(pointAt(input, *dialog.getSaveButton()));
        wxTextCtrl* field = dialog.getQualityControl()->getTextControl();
        field->SetFocus();
        ASSERT_TRUE(waitFor([&] { return field->HasFocus(); }));
        field->SelectAll();
        input.Text("42");
        ASSERT_TRUE(waitFor([&] { return field->GetValue() == "42"; }));
        // Still typed, not yet taken: Enter confirms the dialog with it.
        EXPECT_EQ(dialog.getQualityControl()->getValue(), 95.);
        input.Char(WXK_RETURN);
    });
    const Optional<ImageSaveSettings> settings =
        ImageSaveSettingsDialog::requestSettingsFromUser(nullptr, ImageFormat::JPEG, &defaults);
    EXPECT_FALSE(watchdog.hasFired());
    ASSERT_TRUE(settings.has_value());
    EXPECT_EQ(*settings, (ImageSaveSettings{0, u"", 42, true}));
    EXPECT_EQ(defaults.getDefaults(ImageFormat::JPEG).value_or(ImageSaveSettings()), *settings);
}

} // namespace
} // namespace Wx
} // namespace Vespra
