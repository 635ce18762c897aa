#include "gui/widgets/PropertyColorPicker.h"

#include "gui/widgets/PropertyBinding.h"

namespace Vespra::Wx {

PropertyColorPicker::PropertyColorPicker(wxWindow* parent, Settings& settings, std::int32_t id,
                                         const wxString& title, int width)
    : PassToMainThreadMixin(parent, title, wxSize(width, wxDefaultCoord), true), settings(&settings),
      propertyId(id) {
    listener = bindToProperty(*this, settings, propertyId, [this](const Property& value) { show(value); });
    setChangeCallback([this](const Rgb& color) { this->settings->set(propertyId, Property(color)); });
}

void PropertyColorPicker::show(const Property& value) {
    setColor(value.asRgb(), false);
}

} // namespace Vespra::Wx
