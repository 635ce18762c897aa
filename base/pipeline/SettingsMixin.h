#pragma once

#include "settings/Settings.h"

namespace Vespra::Pipeline {

/// An operator that reads properties.
template <class Base>
class SettingsMixin : public Base {
public:
    Abstract::Settings* settings = nullptr;

protected:
    /// The value of property `id`, which must be of `type`.
    Property getProperty(std::int32_t id, PropertyType type) const {
        Property value = settings->get(id);
        value.throwIfTypeNot(type);
        return value;
    }
};

/// An operator that asks for the render information of elements.
template <class Base>
class ImageInfoMixin : public Base {
public:
    IImageInfoProvider* imageInfo = nullptr;
};

} // namespace Vespra::Pipeline
