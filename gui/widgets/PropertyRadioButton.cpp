#include "gui/widgets/PropertyRadioButton.h"

#include "gui/widgets/PropertyBinding.h"

namespace Vespra::Wx {

PropertyRadioButton::PropertyRadioButton(wxWindow* parent, Settings& settings, std::int32_t id,
                                         const wxString& label, Property value, bool firstInGroup)
    : PassToMainThreadMixin(parent, wxID_ANY, label, wxDefaultPosition, wxDefaultSize,
                            firstInGroup ? wxRB_GROUP : 0),
      settings(&settings), propertyId(id), value(std::move(value)) {
    listener = bindToProperty(*this, settings, propertyId, [this](const Property& shown) { show(shown); });
    // The toolkit sends the event only for the button that became selected.
    Bind(wxEVT_RADIOBUTTON, [this](wxCommandEvent& event) {
        this->settings->set(propertyId, this->value);
        event.Skip();
    });
}

void PropertyRadioButton::show(const Property& shown) {
    // SetValue sends no event; the button that is deselected by it follows on its own.
    SetValue(shown == value);
}

} // namespace Vespra::Wx
