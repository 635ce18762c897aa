#include "gui/widgets/PropertyCheckBox.h"

#include "gui/widgets/PropertyBinding.h"

namespace Vespra::Wx {

PropertyCheckBox::PropertyCheckBox(wxWindow* parent, Settings& settings, std::int32_t id,
                                   const wxString& label, Property onValue, Property offValue)
    : PassToMainThreadMixin(parent, wxID_ANY, label, wxDefaultPosition, wxDefaultSize, true),
      settings(&settings), propertyId(id), onValue(std::move(onValue)), offValue(std::move(offValue)) {
    listener = bindToProperty(*this, settings, propertyId, [this](const Property& value) { show(value); });
    setChangeCallback(
        [this](bool checked) { this->settings->set(propertyId, checked ? this->onValue : this->offValue); });
}

void PropertyCheckBox::show(const Property& value) {
    setValue(value == onValue, false);
}

bool PropertyCheckBox::Enable(bool enable) {
    Freeze();
    const bool changed = PassToMainThreadMixin::Enable(enable);
    Thaw();
    return changed;
}

} // namespace Vespra::Wx
