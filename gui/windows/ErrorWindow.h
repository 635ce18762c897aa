#pragma once

#include <mutex>
#include <set>
#include <vector>

#include <wx/frame.h>

#include "foundation/Logger.h"
#include "gui/windows/IErrorWindow.h"

class wxFlexGridSizer;
class wxScrolledWindow;
class wxTextCtrl;

namespace Vespra {

namespace Wx {
class Button;
}

/// The application's log of warnings and errors: a free window that collects each message as a
/// row (icon, text with an optional link, "Dismiss", "Ignore similar messages"). It shows and
/// raises itself when a row comes, at most 50 rows at a time. Any thread may report; rows are
/// added on the GUI thread. As the global logger it takes the reports of every subsystem.
///
/// It lives in a shared pointer made by `create`, whose deleter destroys the window; it does
/// not keep the application running when it is the last window left.
class ErrorWindow : public wxFrame, public IErrorWindow, public Abstract::Logger,
                    public EnableSharedFromThis<ErrorWindow> {
public:
    /// The most rows the window shows at once.
    static constexpr int MAX_ROWS = 50;
    /// The help link of the window's footer.
    static constexpr int HELPDESK_LINK = 2005;

    static SharedPtr<ErrorWindow> create();

    /// The address of the help site's article `number`.
    static String getHelpdeskUrl(int number);

    bool addMessage(const Message& message) override;
    void resetIgnored() override;
    std::int32_t getState() const override;
    void setState(std::int32_t value) override;

    /// A warning or an error as a message whose code is made from its text, so that "Ignore
    /// similar messages" silences that same report. Information is not shown.
    void log(const String& message, LogLevel level) override;

    /// The number of rows shown.
    int getRowCount() const;
    /// The text "Copy to clipboard" puts there: each row as a header line and its text.
    String getClipboardText() const;
    /// What the rows' buttons do, for the row `index` (from 0, in order of appearance).
    void dismissRow(int index);
    void ignoreSimilar(int index);
    /// What the two buttons at the top do.
    void copyToClipboard();
    void clearLog();

    bool ShouldPreventAppExit() const override { return false; }

private:
    struct Row;
    class RowData;

    ErrorWindow();

    void createControls();
    void layoutControls();
    void bindEvents();

    /// On the GUI thread.
    void addRow(const Message& message);
    void removeRow(RowData* row);
    /// Ignores the code from now on and removes every row of it.
    void ignoreCode(std::int32_t code);
    void fitText(wxTextCtrl* text);
    void relayoutRows();
    RowData* rowAt(int index) const;
    /// The index of the row whose icon is `icon`, -1 when it is gone.
    int rowIndexOf(const wxWindow* icon) const;
    void showIfAllowed();
    void onClose(wxCloseEvent& event);

    mutable std::recursive_mutex mutex;
    std::set<std::int32_t> ignored;
    std::set<std::int32_t> shown;
    std::int32_t state = 0;
    /// The rows as far as the GUI thread has added them, and the count of rows on their way to it.
    int rowCount = 0;
    int queuedRows = 0;

    Wx::Button* copyButton = nullptr;
    Wx::Button* clearButton = nullptr;
    wxScrolledWindow* rowsPanel = nullptr;
    wxFlexGridSizer* rowsSizer = nullptr;
    wxWindow* helpText = nullptr;
    wxWindow* helpLink = nullptr;
};

} // namespace Vespra
