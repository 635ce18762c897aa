#pragma once

#include <cstdint>

#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/widgets/Tooltip.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// A colour swatch over a "Vec3" property; the colour the user picks is written as it is.
class PropertyColorPicker : public PassToMainThreadMixin<TooltipMixin<ColorPickerButton>> {
public:
    /// `title` is the colour dialog's; `width` in device-independent pixels, the height the
    /// control's default.
    PropertyColorPicker(wxWindow* parent, Settings& settings, std::int32_t id, const wxString& title,
                        int width);

private:
    void show(const Property& value);

    Abstract::Settings* settings;
    std::int32_t propertyId;
    SharedPtr<SettingsListener> listener;
};

} // namespace Vespra::Wx
