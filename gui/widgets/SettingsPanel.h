#pragma once

#include <cstdint>

#include <wx/gbsizer.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>

#include "foundation/Containers.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/widgets/PropertySpinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/Tooltip.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

class AutoSizedButton;

/// A button of a panel's row of buttons: 24 pixels high, as wide as the row gives it, with
/// `tooltip`, running `action` when clicked.
AutoSizedButton* makePanelButton(wxWindow* parent, const wxString& label, const wxString& tooltip,
                                 Function<void()> action);

/// Runs the callback `action` holds at the time, if any: for buttons made before their owner
/// is told what they do. `action` must outlive the result.
Function<void()> runIfSet(const Function<void()>& action);

/// A panel of controls bound to the properties of one `Settings`.
class SettingsPanel : public PassToMainThreadMixin<wxPanel> {
public:
    SettingsPanel(wxWindow* parent, Settings& settings, long style = wxTAB_TRAVERSAL);

    Settings& getSettings() const { return *settings; }

protected:
    /// Two-step creation, as `wxScrolled` does it: the window comes with `Create`, the settings
    /// with `attachSettings`.
    SettingsPanel() = default;
    void attachSettings(Settings& attached) { settings = &attached; }

    /// Runs `action` on the GUI thread after every write to one of `ids`, for as long as the
    /// panel lives.
    void listen(ArrayView<const std::int32_t> ids, Function<void(std::int32_t, const Property&)> action);

private:
    Settings* settings = nullptr;
    Stack<SharedPtr<SettingsListener>> listeners;
};

/// A settings panel laid out as a grid of two columns, a label and its control in each row.
/// The columns have the same minimum widths in every grid, so that all grids of a page line up.
class GridSettingsPanel : public SettingsPanel {
public:
    GridSettingsPanel(wxWindow* parent, Settings& settings);

    /// Puts `item` at the next cell, spanning `span` columns; `flags` -1 takes `cellFlags()`.
    void addCell(wxWindow* item, int span = 1, int flags = -1);
    void addCell(wxSizer* item, int span = 1, int flags = -1);
    /// The sizer flags of the column of the next cell.
    int cellFlags() const;

    /// A row of a label and a spinner of a property, enabled and disabled together.
    template <class T>
    struct SpinnerRow {
        StaticText* label;
        PropertySpinner<T>* spinner;

        void enable(bool enable) const {
            label->Enable(enable);
            spinner->Enable(enable);
        }
    };

    /// The text `label` in the next cell, made before the control of its row so that the
    /// label comes first among the panel's children, as it does on the screen.
    StaticText* addLabel(const wxString& label);

    /// A row of `label` and a spinner of the property `id`, which takes its limits and default
    /// from the property; `step` 0 is the spinner's automatic step.
    template <class T = float>
    SpinnerRow<T> addSpinnerRow(const wxString& label, std::int32_t id, int precision, double step,
                                const wxString& tooltip) {
        StaticText* text = addLabel(label);
        auto* spinner = new PropertySpinner<T>(this, getSettings(), id, precision, step, SPINNER_WIDTH);
        attachTooltip(spinner, tooltip);
        addCell(spinner);
        return {text, spinner};
    }

    /// Wide enough for "100.000" in the desktop's usual interface fonts, which run wider than
    /// the 8-point fonts the rows were first laid out for.
    static constexpr int SPINNER_WIDTH = 72;

private:
    wxGBPosition nextPosition() const;

    wxGridBagSizer* grid;
    int cellIndex = 0;
};

/// A settings panel that scrolls when its column is taller or wider than the room it gets.
class ScrolledSettingsPanel : public wxScrolled<SettingsPanel> {
public:
    ScrolledSettingsPanel(wxWindow* parent, Settings& settings);
};

} // namespace Vespra::Wx
