#pragma once

#include <cstdint>

#include <wx/radiobut.h>

#include "gui/widgets/PassToMainThreadMixin.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// One button of a group of radio buttons over one property: it stands for `value`, is
/// selected while the property holds it, and writes it when the user selects the button.
class PropertyRadioButton : public PassToMainThreadMixin<wxRadioButton> {
public:
    /// `firstInGroup` starts a new group of buttons; the buttons made after it on the same
    /// parent join that group until the next first one.
    PropertyRadioButton(wxWindow* parent, Settings& settings, std::int32_t id, const wxString& label,
                        Property value, bool firstInGroup);

private:
    void show(const Property& shown);

    Abstract::Settings* settings;
    std::int32_t propertyId;
    SharedPtr<SettingsListener> listener;
    Property value;
};

} // namespace Vespra::Wx
