#pragma once

#include <map>

#include "foundation/EnumTable.h"
#include "settings/EnumSerializer.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra::Detail {

/// Collects the rows of the property table while it is built; each id and each key may
/// be added once.
class PropertyTableBuilder {
public:
    void add(PropertyDescriptor descriptor);

    void addInt(std::int32_t id, const char16_t* key, std::int32_t value, std::int32_t min, std::int32_t max);
    void addFloat(std::int32_t id, const char16_t* key, float value, float min, float max);
    void addBool(std::int32_t id, const char16_t* key, bool value);
    void addVec3(std::int32_t id, const char16_t* key, Vec3Value value);
    void addString(std::int32_t id, const char16_t* key, const char16_t* value);
    /// An array property; arrays have no default items.
    void addArray(std::int32_t id, const char16_t* key, PropertyType type);

    /// An enumerated property: an "Int" whose range runs over the table's values.
    template <class E>
    void addEnum(std::int32_t id, const char16_t* key, EnumTable<E> table, E value) {
        auto serializer = makeShared<EnumSerializer<E>>(table);
        add({PropertyType::INT, id, key, std::int32_t(value), serializer->minValue(), serializer->maxValue(),
             serializer});
    }

    std::map<std::int32_t, PropertyDescriptor> takeRows() { return std::move(rows); }

private:
    std::map<std::int32_t, PropertyDescriptor> rows;
};

/// Adds the properties the editor acts on.
void addPostProcessingDescriptors(PropertyTableBuilder& builder);
/// Adds the render engine's properties, which the editor carries but does not act on.
void addRenderEngineDescriptors(PropertyTableBuilder& builder);

} // namespace Vespra::Detail
