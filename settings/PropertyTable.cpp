#include <map>

#include "foundation/Exception.h"
#include "settings/PropertyTableBuilder.h"

namespace Vespra {

namespace Detail {

void PropertyTableBuilder::add(PropertyDescriptor descriptor) {
    VESPRA_ASSERT(descriptor.defaultValue.getType() == descriptor.type);
    for (const auto& [id, row] : rows) {
        VESPRA_ASSERT(row.name != descriptor.name);
    }
    const auto [_, inserted] = rows.emplace(descriptor.id, std::move(descriptor));
    VESPRA_ASSERT(inserted);
}

void PropertyTableBuilder::addInt(std::int32_t id, const char16_t* key, std::int32_t value, std::int32_t min,
                                  std::int32_t max) {
    add({PropertyType::INT, id, key, value, min, max, nullptr});
}

void PropertyTableBuilder::addFloat(std::int32_t id, const char16_t* key, float value, float min, float max) {
    add({PropertyType::FLOAT, id, key, value, min, max, nullptr});
}

void PropertyTableBuilder::addBool(std::int32_t id, const char16_t* key, bool value) {
    add({PropertyType::BOOL, id, key, value, {}, {}, nullptr});
}

void PropertyTableBuilder::addVec3(std::int32_t id, const char16_t* key, Vec3Value value) {
    add({PropertyType::VEC3, id, key, value, {}, {}, nullptr});
}

void PropertyTableBuilder::addString(std::int32_t id, const char16_t* key, const char16_t* value) {
    add({PropertyType::STRING, id, key, String(value), {}, {}, nullptr});
}

void PropertyTableBuilder::addArray(std::int32_t id, const char16_t* key, PropertyType type) {
    Property empty;
    switch (type) {
    case PropertyType::VEC3_ARRAY:
        empty = ArrayView<const Vec3Value>();
        break;
    case PropertyType::FLOAT_ARRAY:
        empty = ArrayView<const float>();
        break;
    case PropertyType::VEC2_ARRAY:
        empty = ArrayView<const Vector2>();
        break;
    case PropertyType::INT_ARRAY:
        empty = ArrayView<const std::int32_t>();
        break;
    case PropertyType::BOOL_ARRAY:
        empty = ArrayView<const bool>();
        break;
    case PropertyType::STRING_ARRAY:
        empty = ArrayView<const String>();
        break;
    default:
        VESPRA_STOP();
    }
    add({type, id, key, empty, {}, {}, nullptr});
}

} // namespace Detail

namespace {

/// The table, built on first use and read-only afterwards, so it needs no lock.
struct PropertyTable {
    std::map<std::int32_t, PropertyDescriptor> rows;
    std::map<String, const PropertyDescriptor*> byName;
    std::uint32_t hash = 0;

    PropertyTable() {
        Detail::PropertyTableBuilder builder;
        Detail::addPostProcessingDescriptors(builder);
        Detail::addRenderEngineDescriptors(builder);
        rows = builder.takeRows();
        for (const auto& [id, row] : rows) {
            byName.emplace(row.name, &row);
        }
        hash = computeHash();
    }

    /// FNV-1a over the type, id, key, default and range of every row.
    std::uint32_t computeHash() const {
        std::uint32_t h = 2166136261u;
        const auto mix = [&h](const std::string& bytes) {
            for (const unsigned char c : bytes) {
                h = (h ^ c) * 16777619u;
            }
        };
        for (const auto& [id, row] : rows) {
            mix(std::to_string(std::int32_t(row.type)) + ":" + std::to_string(id) + ":" + row.name.toUtf8());
            mix(toStr(row.defaultValue).toUtf8() + toStr(row.minValue).toUtf8() +
                toStr(row.maxValue).toUtf8());
        }
        return h;
    }

    static const PropertyTable& instance() {
        static const PropertyTable table;
        return table;
    }
};

} // namespace

const PropertyDescriptor* PropertyDescriptor::get(std::int32_t id) {
    const auto& rows = PropertyTable::instance().rows;
    const auto found = rows.find(id);
    return found == rows.end() ? nullptr : &found->second;
}

const PropertyDescriptor* PropertyDescriptor::find(const String& name) {
    const auto& byName = PropertyTable::instance().byName;
    const auto found = byName.find(name);
    return found == byName.end() ? nullptr : found->second;
}

void PropertyDescriptor::enumerate(const Function<void(const PropertyDescriptor&)>& function) {
    for (const auto& [id, row] : PropertyTable::instance().rows) {
        function(row);
    }
}

std::size_t PropertyDescriptor::descriptorsCount() {
    return PropertyTable::instance().rows.size();
}

std::uint32_t PropertyDescriptor::descriptorsHash() {
    return PropertyTable::instance().hash;
}

} // namespace Vespra
