#pragma once

#include <map>
#include <utility>
#include <vector>

#include "foundation/Optional.h"
#include "foundation/String.h"
#include "foundation/image/ImageFormat.h"
#include "gui/widgets/ModalDialog.h"

namespace Vespra::Wx {

class AutoSizedButton;
class CheckBox;
class ComboBox;
class Spinner;

/// The settings of a save in one image format: each choice the format has, and only those. Bit
/// depth (PNG, TIFF, EXR), compression (PNG as a zip level, TIFF, EXR, TGA as a method), quality
/// (JPEG) and whether alpha is written (PNG, TIFF, EXR, TGA). Every choice it offers passes
/// `validateSaveSettings`. "Save" or Enter confirms, "Cancel", Escape or the close box cancel.
class ImageSaveSettingsDialog : public ModalDialog {
public:
    /// Remembers the settings a user confirmed last, so that the next dialog of the run starts with them.
    class DefaultsProvider {
    public:
        virtual ~DefaultsProvider() = default;
        virtual Optional<ImageSaveSettings> getDefaults(ImageFormat format) const = 0;
        virtual void setDefaults(ImageFormat format, const ImageSaveSettings& settings) = 0;
    };

    /// Asks the user for the settings of a save in `format`, starting from what `defaults` remembers.
    /// Formats without a choice (BMP, HDR) answer their defaults at once without showing anything.
    /// Cancel answers nothing. A confirmed choice goes to `defaults` (may be null).
    static Optional<ImageSaveSettings> requestSettingsFromUser(wxWindow* parent, ImageFormat format,
                                                               DefaultsProvider* defaults);

    /// Whether the dialog has anything to ask for `format`.
    static bool hasChoices(ImageFormat format);

    /// Shows `initial` where the format has a control for it; a value the format does not offer
    /// shows as the format's default.
    ImageSaveSettingsDialog(wxWindow* parent, ImageFormat format, const ImageSaveSettings& initial);

    /// What the controls show. Settings the format has no control for keep their defaults.
    ImageSaveSettings getSettings() const;

    ImageFormat getFormat() const { return format; }

    /// The controls, null where the format has no such choice.
    ComboBox* getBitDepthControl() const { return bitDepth; }
    ComboBox* getCompressionControl() const { return compression; }
    Spinner* getQualityControl() const { return quality; }
    CheckBox* getAlphaControl() const { return alpha; }
    AutoSizedButton* getSaveButton() const { return saveButton; }
    AutoSizedButton* getCancelButton() const { return cancelButton; }

    /// Takes a value still being typed into the quality field before the dialog answers.
    bool TransferDataFromWindow() override;

private:
    void createControls(const ImageSaveSettings& initial);
    void layoutControls();
    void bindEvents();

    ImageFormat format;
    ComboBox* bitDepth = nullptr;
    ComboBox* compression = nullptr;
    /// The compression setting of each item of `compression`, by the item's id.
    std::vector<String> compressionValues;
    Spinner* quality = nullptr;
    CheckBox* alpha = nullptr;
    AutoSizedButton* saveButton = nullptr;
    AutoSizedButton* cancelButton = nullptr;
    /// The label and control of each row, top to bottom; a null label leaves its cell empty.
    std::vector<std::pair<wxWindow*, wxWindow*>> rows;
};

/// A DefaultsProvider that keeps the last confirmed settings of each format in memory.
class SimpleSaveSettingsDefaultsProvider : public ImageSaveSettingsDialog::DefaultsProvider {
public:
    Optional<ImageSaveSettings> getDefaults(ImageFormat format) const override;
    void setDefaults(ImageFormat format, const ImageSaveSettings& settings) override;

private:
    std::map<ImageFormat, ImageSaveSettings> remembered;
};

} // namespace Vespra::Wx
