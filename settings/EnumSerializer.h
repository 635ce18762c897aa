#pragma once

#include <algorithm>

#include "foundation/EnumTable.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra {

/// Text form of an enumeration, from its table of values and names.
template <class E>
class EnumSerializer : public PropertyDescriptor::AbstractSerializer {
public:
    explicit EnumSerializer(EnumTable<E> table) : table(table) {}

    String valueToString(std::int32_t value) const override { return Detail::valueToString(E(value), table); }

    Expected<std::int32_t, String> stringToValue(const String& text) const override {
        for (const auto& row : table) {
            if (text == row.name) {
                return std::int32_t(row.value);
            }
        }
        String allowed;
        for (const auto& row : table) {
            allowed += (allowed.isEmpty() ? u"" : u", ") + String(u"\"") + row.name + u"\"";
        }
        return makeUnexpected(u"Unknown value \"" + text + u"\", expected one of " + allowed);
    }

    std::set<String> getAllowedNames() const override { return Detail::getEnumStringValueSet(table); }

    /// The smallest and largest values of the table: the range of the property.
    std::int32_t minValue() const {
        return std::int32_t(std::ranges::min(table, {}, &EnumTableRow<E>::value).value);
    }
    std::int32_t maxValue() const {
        return std::int32_t(std::ranges::max(table, {}, &EnumTableRow<E>::value).value);
    }

private:
    EnumTable<E> table;
};

} // namespace Vespra
