#pragma once

#include <cstdint>

#include "foundation/Containers.h"
#include "foundation/String.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/widgets/Tooltip.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// A choice among given values of a property: each item shows `labelOf` of its value, shortened
/// in the middle to the width of the box, and a choice writes the full value. A value that is
/// not among the items leaves the selection as it is.
class PropertyComboBox : public PassToMainThreadMixin<TooltipMixin<ComboBox>> {
public:
    /// `width` in device-independent pixels. The box is empty until `setValues`.
    PropertyComboBox(wxWindow* parent, Settings& settings, std::int32_t id, int width,
                     Function<String(const Property&)> labelOf);

    /// Replaces the items by `newValues`, in this order, and selects the one the property holds.
    void setValues(Array<Property> newValues);
    const Array<Property>& getValues() const { return values; }

    /// Drops the focus highlight while disabled, and repaints at once in the colours of the new state.
    bool Enable(bool enable = true) override;

private:
    void show(const Property& value);
    void onChoice();

    Abstract::Settings* settings;
    std::int32_t propertyId;
    SharedPtr<SettingsListener> listener;
    Array<Property> values;
    Function<String(const Property&)> labelOf;
};

} // namespace Vespra::Wx
