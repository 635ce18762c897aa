#include "gui/widgets/PropertySpinner.h"

#include <type_traits>

#include "foundation/Exception.h"
#include "gui/widgets/PropertyBinding.h"

namespace Vespra::Wx {

namespace {

template <class T>
constexpr PropertyType TYPE_OF = std::is_same_v<T, float> ? PropertyType::FLOAT : PropertyType::INT;

/// The descriptor, checked to be of the spinner's type; called among the arguments of the base, so
/// that a wrong one raises before any window is made.
template <class T>
const PropertyDescriptor& checked(const PropertyDescriptor& descriptor) {
    descriptor.defaultValue.throwIfTypeNot(TYPE_OF<T>);
    return descriptor;
}

const PropertyDescriptor& descriptorOf(std::int32_t id) {
    const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
    if (!descriptor) {
        throw Exception(u"Requested property id is not defined.");
    }
    return *descriptor;
}

} // namespace

template <class T>
PropertySpinner<T>::PropertySpinner(wxWindow* parent, Settings& settings,
                                    const PropertyDescriptor& descriptor, int precision, double clickStep,
                                    int width)
    : PassToMainThreadMixin(parent, wxID_ANY, width, double(T(checked<T>(descriptor).minValue)),
                            double(T(descriptor.maxValue)), double(T(descriptor.defaultValue)), precision,
                            clickStep),
      settings(&settings), propertyId(descriptor.id) {
    listener = bindToProperty(*this, settings, propertyId, [this](const Property& value) { show(value); });
    Bind(wxEVT_SPINCTRLDOUBLE, [this](wxSpinDoubleEvent& event) {
        // The cast truncates an integer property's value.
        this->settings->set(propertyId, Property(T(getValue())));
        Refresh(true);
        Update();
        event.Skip();
    });
}

template <class T>
PropertySpinner<T>::PropertySpinner(wxWindow* parent, Settings& settings, std::int32_t id, int precision,
                                    double clickStep, int width)
    : PropertySpinner(parent, settings, descriptorOf(id), precision, clickStep, width) {}

template <class T>
void PropertySpinner<T>::show(const Property& value) {
    const T wanted = value;
    const T shown = T(getValue());
    // Written as two comparisons, so that a NaN, which compares false with anything, is left out.
    if (wanted < shown || wanted > shown) {
        setValue(double(wanted), false);
    }
}

template class PropertySpinner<float>;
template class PropertySpinner<std::int32_t>;

} // namespace Vespra::Wx
