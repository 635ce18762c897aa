#pragma once

#include <cstdint>

#include "gui/widgets/CheckBox.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/widgets/Tooltip.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// A check box that shows whether a property holds `onValue`, and writes `onValue` or
/// `offValue` when the user toggles it. The property may be of any type; a value that is neither
/// of the two shows unchecked.
class PropertyCheckBox : public PassToMainThreadMixin<TooltipMixin<CheckBox>> {
public:
    PropertyCheckBox(wxWindow* parent, Settings& settings, std::int32_t id, const wxString& label,
                     Property onValue = true, Property offValue = false);

    /// Frozen while the base enables or disables, so that the box doesn't flash.
    bool Enable(bool enable = true) override;

private:
    void show(const Property& value);

    Abstract::Settings* settings;
    std::int32_t propertyId;
    SharedPtr<SettingsListener> listener;
    Property onValue;
    Property offValue;
};

} // namespace Vespra::Wx
