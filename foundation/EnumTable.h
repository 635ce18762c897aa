#pragma once

#include <set>

#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra {

/// One row of a table of enumeration values and their names in text.
template <class E>
struct EnumTableRow {
    E value;
    const char16_t* name;
};

template <class E>
using EnumTable = ArrayView<const EnumTableRow<E>>;

namespace Detail {

/// The name of `value`, or an empty text when the table has no such row.
template <class E>
String valueToString(E value, EnumTable<E> table) {
    for (const auto& row : table) {
        if (row.value == value) {
            return String(row.name);
        }
    }
    return {};
}

/// The value named exactly `text`, or `E(-1)` as "not found".
template <class E>
E stringToValue(const String& text, EnumTable<E> table) {
    for (const auto& row : table) {
        if (text == row.name) {
            return row.value;
        }
    }
    return E(-1);
}

/// All names of the table.
template <class E>
std::set<String> getEnumStringValueSet(EnumTable<E> table) {
    std::set<String> names;
    for (const auto& row : table) {
        names.insert(String(row.name));
    }
    return names;
}

} // namespace Detail
} // namespace Vespra
