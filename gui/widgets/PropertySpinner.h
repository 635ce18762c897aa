#pragma once

#include <cstdint>

#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/widgets/Spinner.h"
#include "settings/PropertyDescriptor.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// A spinner over a numeric property, `float` ("Float") or `std::int32_t` ("Int"): its limits
/// and default are those of the property's descriptor. Each change by the user writes the
/// spinner's value (an integer property gets it truncated); a value written elsewhere is shown
/// unless the spinner already shows it, so that a change that started here doesn't disturb
/// typing when it comes back.
template <class T>
class PropertySpinner : public PassToMainThreadMixin<Spinner> {
public:
    /// Raises `Exception` from `Property::throwIfTypeNot` when `descriptor` is of another type.
    PropertySpinner(wxWindow* parent, Settings& settings, const PropertyDescriptor& descriptor, int precision,
                    double clickStep, int width);
    /// The same with the descriptor of `id`; an id without one raises `Exception`.
    PropertySpinner(wxWindow* parent, Settings& settings, std::int32_t id, int precision, double clickStep,
                    int width);

private:
    void show(const Property& value);

    Abstract::Settings* settings;
    std::int32_t propertyId;
    SharedPtr<SettingsListener> listener;
};

extern template class PropertySpinner<float>;
extern template class PropertySpinner<std::int32_t>;

} // namespace Vespra::Wx
