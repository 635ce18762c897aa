#pragma once

#include <cstdint>
#include <set>

#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "settings/Property.h"

namespace Vespra {

/// One row of the property table: a property's type, fixed id, dotted key, default and
/// range. Immutable once the table is built.
struct PropertyDescriptor {
    /// The text form of an enumerated property.
    class AbstractSerializer {
    public:
        virtual ~AbstractSerializer() = default;
        virtual String valueToString(std::int32_t value) const = 0;
        /// The value named `text`, or a message saying which names are allowed.
        virtual Expected<std::int32_t, String> stringToValue(const String& text) const = 0;
        virtual std::set<String> getAllowedNames() const = 0;
    };

    PropertyType type = PropertyType::NONE;
    std::int32_t id = 0;
    String name;
    Property defaultValue;
    Property minValue;
    Property maxValue;
    SharedPtr<const AbstractSerializer> serializer;

    /// The row of `id`, or null when no such property was added.
    static const PropertyDescriptor* get(std::int32_t id);
    /// The row whose key is `name`, or null.
    static const PropertyDescriptor* find(const String& name);
    /// Calls `function` with every row, in ascending id order.
    static void enumerate(const Function<void(const PropertyDescriptor&)>& function);
    static std::size_t descriptorsCount();
    /// A hash over all rows: two programs with the same table agree on it.
    static std::uint32_t descriptorsHash();
};

} // namespace Vespra
