#include "base/pipeline/ImageSettings.h"

#include "base/image/VxrMetadata.h"
#include "foundation/Exception.h"
#include "settings/Conf.h"
#include "settings/Settings.h"

namespace Vespra::Pipeline {

namespace {

/// The value `image` stores for `row`, as a property of `row`'s type, whatever its range.
Optional<Property> storedProperty(const ChannelImage& image, const PropertyDescriptor& row) {
    const String name = getPropertyExrName(row);
    const auto fromAttribute = [&]<class T>(auto convert) -> Optional<Property> {
        const auto* attribute = image.findAttribute<T>(name);
        return attribute ? Optional<Property>(convert(attribute->value)) : std::nullopt;
    };
    switch (row.type) {
    case PropertyType::INT:
        return fromAttribute.operator()<std::int32_t>([](std::int32_t v) { return Property(v); });
    case PropertyType::FLOAT:
        return fromAttribute.operator()<float>([](float v) { return Property(v); });
    case PropertyType::BOOL:
        return fromAttribute.operator()<std::int32_t>([](std::int32_t v) { return Property(v != 0); });
    case PropertyType::VEC3:
        return fromAttribute.operator()<Rgb>([](const Rgb& v) { return Property(v); });
    case PropertyType::STRING:
        return fromAttribute.operator()<String>([](const String& v) { return Property(v); });
    case PropertyType::VEC3_ARRAY:
    case PropertyType::FLOAT_ARRAY:
    case PropertyType::VEC2_ARRAY:
    case PropertyType::INT_ARRAY:
    case PropertyType::BOOL_ARRAY: {
        const auto* text = image.findAttribute<String>(name);
        if (!text) {
            return std::nullopt;
        }
        auto parsed = Conf::parseValue(row, row.type, text->value);
        return parsed ? Optional<Property>(std::move(*parsed)) : std::nullopt;
    }
    default:
        VESPRA_STOP();
    }
}

} // namespace

Optional<Property> readPropertyAttribute(const ChannelImage& image, const PropertyDescriptor& row) {
    Optional<Property> stored = storedProperty(image, row);
    // A file may hold any number; the operators count on the property's range.
    String reason;
    if (stored && !Settings::validate(row.id, *stored, reason)) {
        return std::nullopt;
    }
    return stored;
}

void writePropertyAttribute(ChannelImage& image, const PropertyDescriptor& row, const Property& value) {
    const String name = getPropertyExrName(row);
    switch (row.type) {
    case PropertyType::INT:
        image.setAttribute<std::int32_t>(name, value.asInt());
        return;
    case PropertyType::FLOAT:
        image.setAttribute<float>(name, value.asFloat());
        return;
    case PropertyType::BOOL:
        image.setAttribute<std::int32_t>(name, value.asBool() ? 1 : 0);
        return;
    case PropertyType::VEC3:
        image.setAttribute<Rgb>(name, value.asRgb());
        return;
    case PropertyType::STRING:
        image.setAttribute<String>(name, value.asString());
        return;
    case PropertyType::NONE:
        VESPRA_STOP();
    default:
        image.setAttribute<String>(name, toStr(value));
    }
}

} // namespace Vespra::Pipeline
