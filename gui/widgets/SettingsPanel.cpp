#include "gui/widgets/SettingsPanel.h"

#include "gui/widgets/Button.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

struct GridColumn {
    int minimumWidth;
    bool growable;
    int flags;
};

const GridColumn GRID_COLUMNS[] = {
    {115, true, wxALIGN_CENTER_VERTICAL | wxBOTTOM},
    {75, false, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL | wxBOTTOM},
};

constexpr int COLUMN_COUNT = int(std::size(GRID_COLUMNS));

const wxSize PANEL_BUTTON_SIZE(0, 24);

} // namespace

AutoSizedButton* makePanelButton(wxWindow* parent, const wxString& label, const wxString& tooltip,
                                 Function<void()> action) {
    auto* button = new AutoSizedButton(parent, label, PANEL_BUTTON_SIZE);
    attachTooltip(button, tooltip);
    button->onClick = std::move(action);
    return button;
}

Function<void()> runIfSet(const Function<void()>& action) {
    return [&action] {
        if (action) {
            action();
        }
    };
}

SettingsPanel::SettingsPanel(wxWindow* parent, Settings& settings, long style)
    : PassToMainThreadMixin<wxPanel>(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, style),
      settings(&settings) {
    SetBackgroundColour(activeSkin().background());
    SetForegroundColour(activeSkin().foreground());
}

void SettingsPanel::listen(ArrayView<const std::int32_t> ids, Function<void(std::int32_t, const Property&)> action) {
    const SharedPtr<SettingsListener> listener = wrapListener(std::move(action));
    for (const std::int32_t id : ids) {
        settings->addListener(id, listener);
    }
    listeners.push(listener);
}

GridSettingsPanel::GridSettingsPanel(wxWindow* parent, Settings& settings) : SettingsPanel(parent, settings) {
    grid = new wxGridBagSizer(0, wxSizerFlags::GetDefaultBorder());
    // Row 0 holds a spacer per column as wide as its minimum, which lines up the grids of a page.
    for (int column = 0; column < COLUMN_COUNT; ++column) {
        grid->Add(scaleByDpi(GRID_COLUMNS[column].minimumWidth), 0, wxGBPosition(0, column));
        if (GRID_COLUMNS[column].growable) {
            grid->AddGrowableCol(column, 1);
        }
    }
    SetSizer(grid);
}

void GridSettingsPanel::addCell(wxWindow* item, int span, int flags) {
    grid->Add(item, nextPosition(), wxGBSpan(1, span), flags == -1 ? cellFlags() : flags,
              wxSizerFlags::GetDefaultBorder());
    cellIndex += span;
}

void GridSettingsPanel::addCell(wxSizer* item, int span, int flags) {
    grid->Add(item, nextPosition(), wxGBSpan(1, span), flags == -1 ? cellFlags() : flags,
              wxSizerFlags::GetDefaultBorder());
    cellIndex += span;
}

int GridSettingsPanel::cellFlags() const {
    return GRID_COLUMNS[cellIndex % COLUMN_COUNT].flags;
}

wxGBPosition GridSettingsPanel::nextPosition() const {
    return wxGBPosition(cellIndex / COLUMN_COUNT + 1, cellIndex % COLUMN_COUNT);
}

StaticText* GridSettingsPanel::addLabel(const wxString& label) {
    auto* text = new StaticText(this, wxID_ANY, label);
    addCell(text);
    return text;
}

ScrolledSettingsPanel::ScrolledSettingsPanel(wxWindow* parent, Settings& settings) {
    attachSettings(settings);
    Create(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxHSCROLL | wxVSCROLL | wxTAB_TRAVERSAL);
    SetBackgroundColour(activeSkin().background());
    SetForegroundColour(activeSkin().foreground());
    SetScrollRate(10, 10);
}

} // namespace Vespra::Wx
