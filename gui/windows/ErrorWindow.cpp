#include "gui/windows/ErrorWindow.h"

#include <functional>

#include <fmt/format.h>
#include <wx/app.h>
#include <wx/scrolwin.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/utils.h>
#include <wx/wupdlock.h>

#include "foundation/MainThreadDispatcher.h"
#include "foundation/SystemInfo.h"
#include "foundation/TranslationTable.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/Clipboard.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/Icons.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/TextButton.h"
#include "gui/widgets/TextControl.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra {

using namespace Wx;

namespace {

/// Columns of a row: icon, text, "Dismiss", "Ignore similar messages".
constexpr int COLUMNS = 4;
/// The width of a row's text, in device-independent pixels.
constexpr int TEXT_WIDTH = 400;
constexpr const char* HELPDESK_PREFIX = "https://www.vespra-renderer.com/helpdesk/";

String localized(const char16_t* text) {
    return TranslationTable::getInstance().getLocalized(text);
}

/// A code for a report that has none: the same text gives the same code within a run.
std::int32_t codeOfText(const String& text) {
    return std::int32_t(std::hash<String>()(text) & 0x3fffffff) | 0x40000000;
}

/// The lines `text` takes in `window`'s font when words wrap at `width` pixels.
int wrappedLineCount(const wxWindow& window, const wxString& text, int width) {
    int lines = 0;
    for (const wxString& paragraph : wxSplit(text, '\n', '\0')) {
        int lineWidth = 0;
        int paragraphLines = 1;
        for (const wxString& word : wxSplit(paragraph, ' ', '\0')) {
            const int wordWidth = window.GetTextExtent(word + " ").x;
            if (lineWidth > 0 && lineWidth + wordWidth > width) {
                ++paragraphLines;
                lineWidth = 0;
            }
            lineWidth += wordWidth;
        }
        lines += paragraphLines;
    }
    return lines;
}

} // namespace

/// What each window of a row knows of it: the message, the row's windows and where the link
/// lies in the text.
class ErrorWindow::RowData : public wxClientData {
public:
    RowData(const Message& message) : message(message) {}

    Message message;
    wxWindow* windows[COLUMNS] = {};
    long linkStart = 0;
    long linkEnd = 0;
    /// The span after the link, in the normal style.
    long trailStart = 0;
    long trailEnd = 0;
    wxStockCursor cursor = wxCURSOR_NONE;
};

SharedPtr<ErrorWindow> ErrorWindow::create() {
    // The toolkit owns windows: the last owner destroys it the toolkit's way.
    return SharedPtr<ErrorWindow>(new ErrorWindow(), [](ErrorWindow* window) { window->Destroy(); });
}

String ErrorWindow::getHelpdeskUrl(int number) {
    return String::fromUtf8(fmt::format("{}{}", HELPDESK_PREFIX, number));
}

ErrorWindow::ErrorWindow()
    : wxFrame(nullptr, wxID_ANY,
              toWx(String(u"Vespra Error Message(s)    [Vespra ") + Utils::getLibVersion() + u"]"),
              wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE) {
    createControls();
    layoutControls();
    bindEvents();
    setVespraIcon(this);
    applySkinRecursive(this, activeSkin(), GuiSkin::FOREGROUND, GuiSkin::BACKGROUND);
}

void ErrorWindow::createControls() {
    const GuiSkin& skin = activeSkin();
    const wxSize iconSize(16, 16);
    copyButton = new Button(this, skin, wxID_ANY, toWx(localized(u"Copy to clipboard")), getIcon("copy", iconSize),
                            getIcon("copy-pressed", iconSize), [this] { copyToClipboard(); });
    attachTooltip(copyButton, "Copy contents of the window to the clipboard in human readable form.");
    clearButton = new Button(this, skin, wxID_ANY, toWx(localized(u"Clear log")), getIcon("clear", iconSize),
                             getIcon("clear-pressed", iconSize), [this] { clearLog(); });
    attachTooltip(clearButton, "Dismisses all messages and closes the window.");

    rowsPanel = new wxScrolledWindow(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxVSCROLL);
    rowsPanel->SetScrollRate(0, scaleByDpi(10));
    rowsSizer = new wxFlexGridSizer(COLUMNS, scaleByDpi(5), scaleByDpi(5));
    rowsSizer->AddGrowableCol(1, 1);
    rowsPanel->SetSizer(rowsSizer);

    helpText = new StaticText(this, wxID_ANY, "If you need help, please visit our ");
    helpLink = new TextButton(this, wxID_ANY, "Vespra Renderer Helpdesk.",
                              [] { wxLaunchDefaultBrowser(toWx(getHelpdeskUrl(HELPDESK_LINK))); });
}

void ErrorWindow::layoutControls() {
    const int border = scaleByDpi(5);
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    buttons->Add(copyButton, 0, wxRIGHT, border);
    buttons->Add(clearButton, 0);

    auto* footer = new wxBoxSizer(wxHORIZONTAL);
    footer->Add(helpText, 0, wxALIGN_CENTER_VERTICAL);
    footer->Add(helpLink, 0, wxALIGN_CENTER_VERTICAL);

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(buttons, 0, wxALL, border);
    sizer->Add(rowsPanel, 1, wxEXPAND | wxLEFT | wxRIGHT, border);
    sizer->Add(footer, 0, wxALL, border);
    SetSizer(sizer);
    SetSize(scaleByDpi(wxSize(680, 360)));
}

void ErrorWindow::bindEvents() {
    Bind(wxEVT_CLOSE_WINDOW, &ErrorWindow::onClose, this);
}

bool ErrorWindow::addMessage(const Message& message) {
    std::lock_guard lock(mutex);
    if (ignored.contains(message.code)) {
        return false;
    }
    if (rowCount + queuedRows >= MAX_ROWS) {
        return false;
    }
    if (message.flags & SHOW_ONCE) {
        if (shown.contains(message.code)) {
            return true;
        }
        shown.insert(message.code);
    }
    const SharedPtr<ErrorWindow> self = weak_from_this().lock();
    if (!self) {
        return false; // the window is going
    }
    ++queuedRows;
    Utils::executeInMainThread([self, message] {
        {
            std::lock_guard lock(self->mutex);
            --self->queuedRows;
        }
        self->addRow(message);
    });
    return true;
}

void ErrorWindow::resetIgnored() {
    std::lock_guard lock(mutex);
    ignored.clear();
}

std::int32_t ErrorWindow::getState() const {
    std::lock_guard lock(mutex);
    return state;
}

void ErrorWindow::setState(std::int32_t value) {
    {
        std::lock_guard lock(mutex);
        state = value;
    }
    if (const SharedPtr<ErrorWindow> self = weak_from_this().lock()) {
        Utils::executeInMainThread([self] { self->showIfAllowed(); });
    }
}

void ErrorWindow::log(const String& message, LogLevel level) {
    if (level == LogLevel::INFO) {
        return;
    }
    addMessage(Message{message, level == LogLevel::ERROR ? ERROR_KIND : WARNING_KIND, codeOfText(message)});
}

void ErrorWindow::addRow(const Message& message) {
    wxWindowUpdateLocker freeze(this);
    const GuiSkin& skin = activeSkin();
    auto* data = new RowData(message);

    auto* icon = new wxStaticBitmap(rowsPanel, wxID_ANY,
                                    getIcon(message.kind == WARNING_KIND ? "warning" : "error", wxSize(24, 24)));

    auto* text = new TextControl(rowsPanel, wxID_ANY, wxEmptyString, wxDefaultPosition,
                                 wxSize(scaleByDpi(TEXT_WIDTH), -1),
                                 wxBORDER_NONE | wxTE_RICH | wxTE_MULTILINE | wxTE_READONLY | wxTE_NO_VSCROLL);
    text->SetBackgroundColour(skin.background());
    text->SetDefaultStyle(wxTextAttr(skin.foreground(), skin.background()));
    text->AppendText(toWx(message.text));
    if (!message.prefix.isEmpty() || !message.linkText.isEmpty()) {
        text->AppendText(toWx(u"\n" + message.prefix));
        data->linkStart = text->GetLastPosition();
        wxTextAttr link(skin.accent(), skin.background());
        link.SetFontUnderlined(true);
        text->SetDefaultStyle(link);
        text->AppendText(toWx(message.linkText));
        data->linkEnd = text->GetLastPosition();
        text->SetDefaultStyle(wxTextAttr(skin.foreground(), skin.background()));
        data->trailStart = data->trailEnd = text->GetLastPosition();
    }
    text->ShowPosition(0);

    auto* dismiss = new TextButton(rowsPanel, wxID_ANY, toWx(localized(u"Dismiss")), nullptr);
    auto* ignore = new TextButton(rowsPanel, wxID_ANY, toWx(localized(u"Ignore similar messages")), nullptr);
    for (TextButton* button : {dismiss, ignore}) {
        button->setColors(skin.accent(), skin.accent());
    }
    // A row's own button is in its click while it runs: the row goes once that returned, and
    // only if it is still there (a second click may have been queued meanwhile).
    dismiss->setClickCallback([this, icon] {
        CallAfter([this, icon] {
            if (const int index = rowIndexOf(icon); index >= 0) {
                dismissRow(index);
            }
        });
    });
    ignore->setClickCallback([this, icon] {
        CallAfter([this, icon] {
            if (const int index = rowIndexOf(icon); index >= 0) {
                ignoreSimilar(index);
            }
        });
    });

    wxWindow* windows[COLUMNS] = {icon, text, dismiss, ignore};
    for (int column = 0; column < COLUMNS; ++column) {
        data->windows[column] = windows[column];
        windows[column]->Hide();
    }
    // Each window holds the row's data; the icon owns it, the others share it.
    icon->SetClientObject(data);
    rowsSizer->Add(icon, 0, wxALIGN_TOP);
    rowsSizer->Add(text, 1, wxEXPAND);
    rowsSizer->Add(dismiss, 0, wxALIGN_TOP);
    rowsSizer->Add(ignore, 0, wxALIGN_TOP);

    text->Bind(wxEVT_LEFT_DOWN, [text, data](wxMouseEvent& event) {
        long position = 0;
        if (text->HitTest(event.GetPosition(), &position) != wxTE_HT_UNKNOWN && position >= data->linkStart &&
            position < data->linkEnd) {
            wxLaunchDefaultBrowser(toWx(data->message.linkUrl));
            return;
        }
        event.Skip();
    });
    text->Bind(wxEVT_MOTION, [text, data](wxMouseEvent& event) {
        long position = 0;
        const bool overLink = text->HitTest(event.GetPosition(), &position) != wxTE_HT_UNKNOWN &&
                              position >= data->linkStart && position < data->linkEnd;
        const wxStockCursor wanted = overLink ? wxCURSOR_HAND : wxCURSOR_IBEAM;
        if (wanted != data->cursor) {
            data->cursor = wanted;
            text->SetCursor(wxCursor(wanted));
        }
        event.Skip();
    });

    fitText(text);
    for (wxWindow* window : windows) {
        window->Show();
    }
    {
        std::lock_guard lock(mutex);
        ++rowCount;
    }
    showIfAllowed();
}

void ErrorWindow::fitText(wxTextCtrl* text) {
    // The whole text shows without a scroll bar: as tall as its wrapped lines plus two more.
    const int width = scaleByDpi(TEXT_WIDTH);
    const int lines = wrappedLineCount(*text, text->GetValue(), width - scaleByDpi(8));
    text->SetMinSize(wxSize(width, (lines + 2) * text->GetCharHeight()));
}

void ErrorWindow::relayoutRows() {
    // Laying out hidden windows upsets GTK: a hidden log is laid out when it shows.
    if (IsShown()) {
        rowsPanel->FitInside();
        rowsPanel->Layout();
    }
}

void ErrorWindow::showIfAllowed() {
    if (getState() & STATE_HOLD_BACK || getRowCount() == 0) {
        return;
    }
    if (!IsShown()) {
        Show();
        Layout();
    }
    relayoutRows();
    Raise();
    rowsPanel->Scroll(0, rowsPanel->GetVirtualSize().y); // the newest row
}

int ErrorWindow::rowIndexOf(const wxWindow* icon) const {
    for (std::size_t item = 0; item < rowsSizer->GetItemCount(); item += COLUMNS) {
        if (rowsSizer->GetItem(item)->GetWindow() == icon) {
            return int(item / COLUMNS);
        }
    }
    return -1;
}

ErrorWindow::RowData* ErrorWindow::rowAt(int index) const {
    const std::size_t first = std::size_t(index) * COLUMNS;
    if (index < 0 || first >= rowsSizer->GetItemCount()) {
        return nullptr;
    }
    wxSizerItem* item = rowsSizer->GetItem(first);
    if (item == nullptr || item->GetWindow() == nullptr) {
        return nullptr;
    }
    return static_cast<RowData*>(item->GetWindow()->GetClientObject());
}

void ErrorWindow::removeRow(RowData* row) {
    const Message message = row->message;
    wxWindow* windows[COLUMNS];
    std::copy(std::begin(row->windows), std::end(row->windows), windows);
    for (wxWindow* window : windows) {
        rowsSizer->Detach(window);
    }
    for (wxWindow* window : windows) {
        window->Destroy();
    }
    {
        std::lock_guard lock(mutex);
        --rowCount;
        if (message.flags & SHOW_ONCE) {
            shown.erase(message.code);
        }
    }
    relayoutRows();
}

int ErrorWindow::getRowCount() const {
    std::lock_guard lock(mutex);
    return rowCount;
}

void ErrorWindow::dismissRow(int index) {
    if (RowData* row = rowAt(index)) {
        removeRow(row);
    }
}

void ErrorWindow::ignoreSimilar(int index) {
    if (RowData* row = rowAt(index)) {
        ignoreCode(row->message.code);
    }
}

void ErrorWindow::ignoreCode(std::int32_t code) {
    {
        std::lock_guard lock(mutex);
        ignored.insert(code);
    }
    std::vector<RowData*> similar;
    for (int i = 0; RowData* candidate = rowAt(i); ++i) {
        if (candidate->message.code == code) {
            similar.push_back(candidate);
        }
    }
    for (RowData* candidate : similar) {
        removeRow(candidate);
    }
}

String ErrorWindow::getClipboardText() const {
    String text;
    for (int i = 0; RowData* row = rowAt(i); ++i) {
        const Message& message = row->message;
        text += String::fromUtf8(fmt::format("===== {} ({}) =====\n", message.kind == WARNING_KIND ? "Warning" : "Error",
                                             message.code));
        text += message.text;
        text += u"\n\n";
    }
    return text;
}

void ErrorWindow::copyToClipboard() {
    setClipboardData(getClipboardText());
}

void ErrorWindow::clearLog() {
    Close(); // closing removes every row
}

void ErrorWindow::onClose(wxCloseEvent& event) {
    if (event.GetEventObject() != this) {
        event.Skip();
        return;
    }
    // Closing only hides: the log stays the application's logger. Ignored codes stay ignored.
    while (RowData* row = rowAt(0)) {
        removeRow(row);
    }
    {
        std::lock_guard lock(mutex);
        shown.clear();
    }
    Hide();
}

} // namespace Vespra
