#pragma once

#include "base/image/ElementInfo.h"
#include "foundation/Containers.h"
#include "foundation/String.h"
#include "gui/widgets/ItemSelectPanel.h"
#include "gui/widgets/ModalDialog.h"
#include "settings/DenoisingMode.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

class AutoSizedButton;
class PropertyComboBox;
template <class T>
class PropertySpinner;
class StaticText;

/// Asks which render elements to denoise, in which mode and with which radius. The mode and the
/// radius live in the dialog's own `Settings`, so that Cancel changes nothing: the caller copies
/// them out after "Denoise" (`wxID_OK`). "Cancel", Escape and the close box answer `wxID_CANCEL`.
class DenoiseSelectDialog : public ModalDialog {
public:
    explicit DenoiseSelectDialog(wxWindow* parent, const wxPoint& position = wxDefaultPosition);

    /// Lists `elements`, checking those selected for denoising. `allDenoisable` false tells the
    /// user that the image has elements that are not listed.
    void setElements(Array<ElementInfo> elements, bool allDenoisable);

    /// The modes the image can be denoised in, most preferred first; the first becomes the
    /// dialog's mode. A mode without a label here raises an internal `Exception` ("STOP@").
    void setModes(ArrayView<const DenoisingMode> modes);

    /// Takes over the denoising properties that `settings` holds.
    void copySettingsFrom(const Settings& settings);

    /// The checked elements, in the order of the list.
    Array<ElementInfo> getSelectedElements() const;

    /// The dialog's own settings: the denoising properties as the user left them.
    const Settings& getSettings() const { return settings; }

    /// What the mode list shows for `mode`; a mode the dialog doesn't offer raises "STOP@".
    static String getModeLabel(DenoisingMode mode);

    ItemSelectPanel<ElementInfo>* getElementList() const { return elementList; }
    PropertyComboBox* getModeControl() const { return modeComboBox; }
    PropertySpinner<float>* getSensitivityControl() const { return sensitivitySpinner; }
    StaticText* getOtherElementsText() const { return otherElementsText; }
    StaticText* getMissingDataText() const { return missingDataText; }
    AutoSizedButton* getDenoiseButton() const { return denoiseButton; }
    AutoSizedButton* getCancelButton() const { return cancelButton; }

    /// Takes a radius still being typed before the dialog answers.
    bool TransferDataFromWindow() override;

private:
    void createControls();
    void layoutControls();
    void bindEvents();
    /// "Denoise" is possible with at least one element checked.
    void updateDenoiseButton();
    /// Sizes the dialog to what is shown now.
    void refit();

    Settings settings;
    ItemSelectPanel<ElementInfo>* elementList = nullptr;
    PropertyComboBox* modeComboBox = nullptr;
    PropertySpinner<float>* sensitivitySpinner = nullptr;
    StaticText* otherElementsText = nullptr;
    StaticText* missingDataText = nullptr;
    AutoSizedButton* denoiseButton = nullptr;
    AutoSizedButton* cancelButton = nullptr;
};

} // namespace Vespra::Wx
