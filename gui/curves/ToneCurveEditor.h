#pragma once

#include <wx/frame.h>

#include "foundation/Curve.h"
#include "gui/curves/CurveInterface.h"
#include "gui/curves/ToneCurveDisplay.h"
#include "gui/widgets/FileDialogs.h"
#include "gui/widgets/GuiSkin.h"

namespace Vespra::Wx {

class AutoSizedButton;
class Button;
class ComboBox;
class DropdownButton;
class StaticText;

/// The window of the tone curves: the graph, the choice of the curve and of its interpolation,
/// the histogram's kind, and the commands Load, Save, Reset, Reset All, Pick and Equalize. It
/// knows nothing of the settings: the curves go out through the interface alone. Closing it
/// hides it.
class ToneCurveEditor : public wxFrame {
public:
    /// Ids of the commands of the reset button.
    enum ResetCommand : int { RESET = 1, RESET_ALL = 2 };

    /// Texts of the file dialogs.
    static constexpr char16_t FILE_FILTER[] = u"Curve files (*.acv)|*.acv";
    static constexpr char16_t SAVE_TITLE[] = u"Save as";
    static constexpr char16_t LOAD_TITLE[] = u"Select file";

    ToneCurveEditor(wxWindow* parent, const wxString& title, const GuiSkin& skin, const ColorCurve& curves,
                    SharedPtr<Abstract::CurveInterface> provider);

    /// Whether "Pick" is pressed: clicks on the image then make nodes.
    bool isPicking() const;

    /// "Load" and "Save" with a file dialog; failures are told in a message.
    void loadWithDialog();
    void saveWithDialog();

    ToneCurveDisplay* getDisplay() const { return display; }
    AutoSizedButton* getLoadButton() const { return loadButton; }
    AutoSizedButton* getSaveButton() const { return saveButton; }
    ComboBox* getChannelBox() const { return channelBox; }
    ComboBox* getInterpolationBox() const { return interpolationBox; }
    ComboBox* getHistogramBox() const { return histogramBox; }
    DropdownButton* getResetButton() const { return resetButton; }
    Button* getPickButton() const { return pickButton; }
    AutoSizedButton* getEqualizeButton() const { return equalizeButton; }

    /// How the window asks for paths; tests replace the system's dialogs.
    FileDialogs fileDialogs = FileDialogs::native();

protected:
    /// The interpolation box shows the active curve's kind.
    void showActiveInterpolation();

    SharedPtr<Abstract::CurveInterface> provider;

private:
    void createControls(const GuiSkin& skin, const ColorCurve& curves);
    void layoutControls();
    void bindEvents();
    void showError(const String& text);

    wxPanel* panel = nullptr;
    AutoSizedButton* loadButton = nullptr;
    AutoSizedButton* saveButton = nullptr;
    ToneCurveDisplay* display = nullptr;
    StaticText* channelLabel = nullptr;
    StaticText* interpolationLabel = nullptr;
    StaticText* histogramLabel = nullptr;
    ComboBox* channelBox = nullptr;
    ComboBox* interpolationBox = nullptr;
    ComboBox* histogramBox = nullptr;
    DropdownButton* resetButton = nullptr;
    Button* pickButton = nullptr;
    AutoSizedButton* equalizeButton = nullptr;
};

} // namespace Vespra::Wx
