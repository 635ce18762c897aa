#pragma once

#include "foundation/io/Path.h"
#include "gui/widgets/FileDialogs.h"
#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

class AutoSizedButton;
class PropertyCheckBox;
class PropertyComboBox;
class TooltipWindow;

/// The look-up table section: a button that picks a table file, a list of the tables beside it
/// to switch between quickly, the log input switch and the opacity.
class LutPanel : public GridSettingsPanel {
public:
    /// `fileDialogs` asks for the table file; it must outlive the panel.
    LutPanel(wxWindow* parent, Settings& settings, const FileDialogs& fileDialogs);

    AutoSizedButton* getDirectoryButton() const { return directoryButton; }
    PropertyComboBox* getFileList() const { return fileList; }

    /// The folder listed when the path names no file: the bundled tables, else the home folder.
    static const Io::Path& defaultDirectory();

private:
    /// Asks for a table file; one that loads becomes the path, one that doesn't is reported
    /// and leaves the table as it was.
    void chooseFile();
    /// Lists the table files of `directory`, or of the default folder when it doesn't exist.
    void fillList(Io::Path directory);
    void onPathChanged(const String& path);
    void updateEnabling();

    const FileDialogs& fileDialogs;
    AutoSizedButton* directoryButton = nullptr;
    TooltipWindow* directoryTooltip = nullptr;
    PropertyComboBox* fileList = nullptr;
    PropertyCheckBox* convertToLog = nullptr;
    SpinnerRow<float> opacity{};
};

} // namespace Vespra::Wx
