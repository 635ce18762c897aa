#include "gui/windows/LutPanel.h"

#include <wx/dcclient.h>
#include <wx/utils.h>

#include "foundation/io/Files.h"
#include "foundation/io/StandardPaths.h"
#include "gui/widgets/ApplicationTexts.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/PropertyCheckBox.h"
#include "gui/widgets/PropertyComboBox.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "imaging/ColorMapping.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

const wxSize DIRECTORY_BUTTON_SIZE(75, 24);
constexpr int FILE_LIST_WIDTH = 185;
/// The narrowest the directory label is cut to, and what the button's margins take from it.
constexpr int LABEL_MIN_WIDTH = 170;
constexpr int LABEL_MARGIN = 20;

const char* const DIRECTORY_TOOLTIP =
    "Select a particular LUT file for immediate use for the LUT transform. Its parent directory will be then "
    "searched for other supported LUT files to be able to switch them quickly.";

bool isTableFile(const Io::Path& path) {
    const String extension = path.extension().toLowerCase();
    return extension == u"cube" || extension == u"3dl";
}

String labelOfPath(const Property& value) {
    const String& path = value;
    return path.isEmpty() ? String(u"None") : Io::Path(path).fileName();
}

} // namespace

LutPanel::LutPanel(wxWindow* parent, Settings& settings, const FileDialogs& fileDialogs)
    : GridSettingsPanel(parent, settings), fileDialogs(fileDialogs) {
    directoryButton = new AutoSizedButton(this, wxEmptyString, DIRECTORY_BUTTON_SIZE);
    directoryTooltip = &attachTooltip(directoryButton, DIRECTORY_TOOLTIP);
    directoryButton->onClick = [this] { chooseFile(); };
    addCell(directoryButton, 2, wxEXPAND | wxBOTTOM);

    fileList = new PropertyComboBox(this, settings, PropertyId::LUT_PATH, FILE_LIST_WIDTH, labelOfPath);
    fileList->setTooltip("Lists all supported LUT files from the defined directory and selects which one shall be "
                         "used for the LUT transform. You can switch them easily by scrolling.");
    addCell(fileList, 2, wxEXPAND | wxBOTTOM);

    convertToLog = new PropertyCheckBox(this, settings, PropertyId::LUT_CONVERT_TO_LOG,
                                        "Input LUT is in Log color space");
    convertToLog->setTooltip("Check if the selected LUT file is designed for Log cameras. None of the LUT files "
                             "bundled with Vespra Renderer need this, but if your LUT file gives you washed-out "
                             "results, you should enable this.");
    addCell(convertToLog, 2, wxEXPAND | wxBOTTOM);

    opacity = addSpinnerRow("Opacity:", PropertyId::LUT_OPACITY, 3, 0.,
                            "Sets the opacity of the LUT transform. Value 0.0 corresponds to the original image, "
                            "while the default value 1.0 is the full color transform according to the selected LUT "
                            "file.\n\nBeware that values other than zero result in NONLINEAR output. So when "
                            "composing render elements together, this value must be 0.0 to get correct results.");

    fillList(defaultDirectory());
    const std::int32_t path[] = {PropertyId::LUT_PATH};
    listen(path, [this](std::int32_t, const Property& value) { onPathChanged(value); });
    const std::int32_t enable[] = {PropertyId::LUT_ENABLE};
    listen(enable, [this](std::int32_t, const Property&) { updateEnabling(); });
    updateEnabling();
}

const Io::Path& LutPanel::defaultDirectory() {
    static const Io::Path directory = [] {
        if (const Expected<Io::Path> bundle = Io::StandardPaths::lutBundle(); bundle && Io::dirExists(*bundle)) {
            return *bundle;
        }
        return Io::Path(fromWx(wxGetHomeDir()));
    }();
    return directory;
}

void LutPanel::chooseFile() {
    const Property start = getSettings().get(PropertyId::LUT_PATH);
    const Io::Path chosen = fileDialogs.open(this, u"Select a LUT file to use",
                                             u"Cube files (.cube)|*.cube|3D LUT files (.3dl)|*.3dl",
                                             Io::Path(start.asString()));
    if (chosen.isEmpty()) {
        return;
    }
    // The display treats a table that fails as none at all; here the user chose the file, so a
    // failure is told, and the table in use stays.
    Lut table;
    const LutResult result =
        table.load(chosen, getSettings().get(PropertyId::LUT_OPACITY),
                   colorMappingLutFlags(true, bool(getSettings().get(PropertyId::LUT_CONVERT_TO_LOG))),
                   getSettings().get(PropertyId::COLOR_MAP_GAMMA));
    if (result != LutResult::OK) {
        showOkDialog(wxGetTopLevelParent(this), ApplicationTexts::TITLE, lutLoadErrorMessage(chosen, result),
                     MessageDialogIcon::ERROR_ICON);
        return;
    }
    getSettings().set(PropertyId::LUT_PATH, chosen.nativeStr());
}

void LutPanel::fillList(Io::Path directory) {
    if (!Io::dirExists(directory)) {
        directory = defaultDirectory();
    }
    const wxString label = toWx(directory.nativeStr()) + wxString(wxUniChar(Io::Path::NATIVE_SEPARATOR));
    wxClientDC dc(directoryButton);
    dc.SetFont(directoryButton->GetFont());
    const int width = std::max(scaleByDpi(LABEL_MIN_WIDTH), directoryButton->GetSize().x - scaleByDpi(LABEL_MARGIN));
    const wxString shown = wxControl::Ellipsize(label, dc, wxELLIPSIZE_MIDDLE, width);
    directoryButton->SetLabel(shown);
    directoryTooltip->setTooltip(shown == label ? wxString(DIRECTORY_TOOLTIP) : label);

    Stack<Property> values;
    for (const Io::Path& file : Io::getFiles(directory)) {
        if (isTableFile(file)) {
            values.push(Property(file.nativeStr()));
        }
    }
    if (values.empty()) {
        values.push(Property(String()));
    }
    fileList->setValues(std::move(values));
}

void LutPanel::onPathChanged(const String& path) {
    if (!path.isEmpty() && Io::fileExists(Io::Path(path))) {
        fillList(Io::Path(path).parentDirectory());
        const Array<Property>& values = fileList->getValues();
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i] == Property(path)) {
                fileList->selectIndex(int(i), true);
            }
        }
        return;
    }
    fillList(defaultDirectory());
    fileList->selectIndex(0, true);
}

void LutPanel::updateEnabling() {
    const bool enabled = getSettings().get(PropertyId::LUT_ENABLE);
    directoryButton->Enable(enabled);
    fileList->Enable(enabled);
    convertToLog->Enable(enabled);
    opacity.enable(enabled);
}

} // namespace Vespra::Wx
