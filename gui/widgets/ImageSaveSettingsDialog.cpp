#include "gui/widgets/ImageSaveSettingsDialog.h"

#include <algorithm>
#include <cmath>

#include <wx/combo.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

#include "foundation/Str.h"
#include "foundation/TranslationTable.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

/// Widths in device-independent pixels.
constexpr int CHOICE_WIDTH = 200;
constexpr int QUALITY_WIDTH = 70;
constexpr int BUTTON_WIDTH = 80;
constexpr int BUTTON_HEIGHT = 26;
constexpr int MINIMUM_WIDTH = 300;

struct BitDepthChoice {
    const char16_t* text;
    int bitDepth;
};

struct CompressionChoice {
    const char16_t* text;
    const char16_t* compression;
};

std::vector<BitDepthChoice> getBitDepthChoices(ImageFormat format) {
    switch (format) {
    case ImageFormat::PNG:
        return {{u"8 bits", 8}, {u"16 bits", 16}};
    case ImageFormat::TIFF:
        return {{u"8 bits", 8}, {u"16 bits", 16}, {u"32 bits float", 32}};
    case ImageFormat::EXR:
        return {{u"16 bits half float", 16}, {u"32 bits float", 32}};
    default:
        return {};
    }
}

/// PNG takes only levels of its one method; an empty compression leaves the level to the library.
std::vector<CompressionChoice> getCompressionChoices(ImageFormat format) {
    switch (format) {
    case ImageFormat::PNG:
        return {{u"Default", u""}, {u"0 (none)", u"zip:0"}, {u"1 (fastest)", u"zip:1"}, {u"2", u"zip:2"},
                {u"3", u"zip:3"},  {u"4", u"zip:4"},        {u"5", u"zip:5"},           {u"6", u"zip:6"},
                {u"7", u"zip:7"},  {u"8", u"zip:8"},        {u"9 (smallest)", u"zip:9"}};
    case ImageFormat::TIFF:
        return {{u"None", u"none"}, {u"LZW", u"lzw"}, {u"ZIP", u"zip"}, {u"PackBits", u"packbits"}};
    case ImageFormat::EXR:
        return {{u"None", u"none"},
                {u"RLE", u"rle"},
                {u"ZIPS (single lines)", u"zips"},
                {u"ZIP (blocks of 16 lines)", u"zip"},
                {u"PIZ (wavelet)", u"piz"},
                {u"PXR24 (lossy)", u"pxr24"},
                {u"B44 (lossy)", u"b44"},
                {u"B44A (lossy)", u"b44a"},
                {u"DWAA (lossy)", u"dwaa"},
                {u"DWAB (lossy)", u"dwab"}};
    case ImageFormat::TGA:
        return {{u"None", u"none"}, {u"RLE", u"rle"}};
    default:
        return {};
    }
}

/// What an empty compression means for the format, as a choice of its list.
String getDefaultCompression(ImageFormat format) {
    switch (format) {
    case ImageFormat::TIFF:
    case ImageFormat::EXR:
        return u"zip";
    case ImageFormat::TGA:
        return u"none";
    default:
        return {};
    }
}

bool hasQuality(ImageFormat format) {
    return format == ImageFormat::JPEG;
}

bool hasAlpha(ImageFormat format) {
    return format == ImageFormat::PNG || format == ImageFormat::TIFF || format == ImageFormat::EXR ||
           format == ImageFormat::TGA;
}

const char16_t* getFormatName(ImageFormat format) {
    switch (format) {
    case ImageFormat::PNG:
        return u"PNG";
    case ImageFormat::JPEG:
        return u"JPEG";
    case ImageFormat::TIFF:
        return u"TIFF";
    case ImageFormat::EXR:
        return u"EXR";
    case ImageFormat::BMP:
        return u"BMP";
    case ImageFormat::TGA:
        return u"TGA";
    case ImageFormat::HDR:
        return u"HDR";
    case ImageFormat::UNKNOWN:
        break;
    }
    return u"Image";
}

wxString localized(const String& text) {
    return toWx(TranslationTable::getInstance().getLocalized(text));
}

} // namespace

bool ImageSaveSettingsDialog::hasChoices(ImageFormat format) {
    return !getBitDepthChoices(format).empty() || !getCompressionChoices(format).empty() ||
           hasQuality(format) || hasAlpha(format);
}

Optional<ImageSaveSettings> ImageSaveSettingsDialog::requestSettingsFromUser(wxWindow* parent,
                                                                             ImageFormat format,
                                                                             DefaultsProvider* defaults) {
    if (!hasChoices(format)) {
        return ImageSaveSettings();
    }
    const ImageSaveSettings initial = defaults != nullptr
                                          ? defaults->getDefaults(format).value_or(ImageSaveSettings())
                                          : ImageSaveSettings();
    ImageSaveSettingsDialog dialog(parent, format, initial);
    if (dialog.ShowModal() != wxID_OK) {
        return {};
    }
    const ImageSaveSettings settings = dialog.getSettings();
    if (defaults != nullptr) {
        defaults->setDefaults(format, settings);
    }
    return settings;
}

ImageSaveSettingsDialog::ImageSaveSettingsDialog(wxWindow* parent, ImageFormat format,
                                                 const ImageSaveSettings& initial)
    : ModalDialog(parent, wxID_ANY, localized(Str::getFormatted("{} settings", String(getFormatName(format)))),
               wxDefaultPosition, wxDefaultSize, wxCAPTION | wxCLOSE_BOX | wxSYSTEM_MENU),
      format(format) {
    // The skin before the controls, which shade their own fields from it.
    applySkinRecursive(this, activeSkin());
    setVespraIcon(this);
    createControls(initial);
    layoutControls();
    bindEvents();
}

void ImageSaveSettingsDialog::createControls(const ImageSaveSettings& initial) {
    const auto label = [this](const char16_t* text) {
        return new StaticText(this, wxID_ANY, localized(text));
    };

    if (const std::vector<BitDepthChoice> choices = getBitDepthChoices(format); !choices.empty()) {
        bitDepth = new ComboBox(this, wxID_ANY, CHOICE_WIDTH, nullptr);
        std::vector<ComboBox::Item> items;
        for (const BitDepthChoice& choice : choices) {
            items.push_back({localized(choice.text), choice.bitDepth});
        }
        bitDepth->setData(std::move(items));
        const int initialDepth = getEffectiveBitDepth(format, initial);
        const bool offered =
            std::ranges::any_of(choices, [&](const BitDepthChoice& c) { return c.bitDepth == initialDepth; });
        bitDepth->selectId(offered ? initialDepth : getEffectiveBitDepth(format, ImageSaveSettings()), false);
        rows.emplace_back(label(u"Bit depth:"), bitDepth);
    }

    if (const std::vector<CompressionChoice> choices = getCompressionChoices(format); !choices.empty()) {
        compression = new ComboBox(this, wxID_ANY, CHOICE_WIDTH, nullptr);
        std::vector<ComboBox::Item> items;
        for (const CompressionChoice& choice : choices) {
            items.push_back({localized(choice.text), int(compressionValues.size())});
            compressionValues.push_back(choice.compression);
        }
        compression->setData(std::move(items));
        // PNG's bare method is its default level.
        const String wanted =
            initial.compression.isEmpty() || (format == ImageFormat::PNG && initial.compression == u"zip")
                ? getDefaultCompression(format)
                : initial.compression;
        const auto found = std::ranges::find(compressionValues, wanted);
        const auto fallback = std::ranges::find(compressionValues, getDefaultCompression(format));
        compression->selectId(
            int((found != compressionValues.end() ? found : fallback) - compressionValues.begin()), false);
        rows.emplace_back(label(format == ImageFormat::PNG ? u"Compression level:" : u"Compression:"),
                          compression);
    }

    if (hasQuality(format)) {
        quality = new Spinner(this, wxID_ANY, QUALITY_WIDTH, 1., 100., ImageSaveSettings().quality, 0, 1.);
        quality->setValue(initial.quality, false);
        rows.emplace_back(label(u"Quality:"), quality);
    }

    if (hasAlpha(format)) {
        alpha = new CheckBox(this, wxID_ANY, localized(u"Save alpha channel"));
        alpha->setValue(initial.alpha, false);
        rows.emplace_back(nullptr, alpha);
    }

    saveButton = new AutoSizedButton(this, localized(u"Save"), wxSize(BUTTON_WIDTH, BUTTON_HEIGHT), wxID_OK);
    cancelButton =
        new AutoSizedButton(this, localized(u"Cancel"), wxSize(BUTTON_WIDTH, BUTTON_HEIGHT), wxID_CANCEL);
}

void ImageSaveSettingsDialog::layoutControls() {
    const int border = scaleByDpi(12);
    auto* grid = new wxFlexGridSizer(2, scaleByDpi(8), scaleByDpi(12));
    grid->AddGrowableCol(1);
    for (const auto& [label, control] : rows) {
        if (label != nullptr) {
            grid->Add(label, 0, wxALIGN_CENTER_VERTICAL);
        } else {
            grid->AddSpacer(0);
        }
        // Lists fill the column; the quality field keeps its width.
        grid->Add(control, 0, wxALIGN_CENTER_VERTICAL | (control == quality ? 0 : wxEXPAND));
    }

    auto* buttonRow = new wxBoxSizer(wxHORIZONTAL);
    buttonRow->AddStretchSpacer();
    buttonRow->Add(saveButton, 0);
    buttonRow->Add(cancelButton, 0, wxLEFT, scaleByDpi(6));

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    if (!rows.empty()) {
        sizer->Add(grid, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, border);
    }
    sizer->Add(buttonRow, 0, wxEXPAND | wxALL, border);
    sizer->SetMinSize(wxSize(scaleByDpi(MINIMUM_WIDTH), -1));
    SetSizerAndFit(sizer);
    CentreOnParent();
}

void ImageSaveSettingsDialog::bindEvents() {
    // The buttons carry the standard ids, so the dialog's own handling ends it: Save through
    // TransferDataFromWindow, Cancel and the close box with wxID_CANCEL.
    Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        const int key = event.GetKeyCode();
        const bool listOpen = (bitDepth != nullptr && bitDepth->IsPopupShown()) ||
                              (compression != nullptr && compression->IsPopupShown());
        const bool enter = key == WXK_RETURN || key == WXK_NUMPAD_ENTER;
        // An open list takes its keys itself, a focused button its Enter.
        if (listOpen || (enter && dynamic_cast<Button*>(FindFocus()) != nullptr)) {
            event.Skip();
        } else if (key == WXK_ESCAPE) {
            EndDialog(wxID_CANCEL);
        } else if (enter) {
            AcceptAndClose();
        } else {
            event.Skip();
        }
    });
}

bool ImageSaveSettingsDialog::TransferDataFromWindow() {
    if (quality != nullptr) {
        // The field takes its text as the value on Enter; the event does the same here.
        wxCommandEvent enter(wxEVT_TEXT_ENTER, quality->getTextControl()->GetId());
        enter.SetEventObject(quality->getTextControl());
        quality->getTextControl()->GetEventHandler()->ProcessEvent(enter);
    }
    return wxDialog::TransferDataFromWindow();
}

ImageSaveSettings ImageSaveSettingsDialog::getSettings() const {
    ImageSaveSettings settings;
    if (bitDepth != nullptr) {
        settings.bitDepth = bitDepth->getSelectedId();
    }
    if (compression != nullptr) {
        settings.compression = compressionValues[std::size_t(compression->getSelectedId())];
    }
    if (quality != nullptr) {
        settings.quality = int(std::lround(quality->getValue()));
    }
    if (alpha != nullptr) {
        settings.alpha = alpha->getValue();
    }
    return settings;
}

Optional<ImageSaveSettings> SimpleSaveSettingsDefaultsProvider::getDefaults(ImageFormat format) const {
    const auto found = remembered.find(format);
    if (found == remembered.end()) {
        return {};
    }
    return found->second;
}

void SimpleSaveSettingsDefaultsProvider::setDefaults(ImageFormat format, const ImageSaveSettings& settings) {
    remembered[format] = settings;
}

} // namespace Vespra::Wx
