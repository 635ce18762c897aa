#include "resources/Resources.h"

#include <algorithm>

namespace Vespra::Resources {

Optional<ArrayView<const std::uint8_t>> find(std::string_view name) {
    const ArrayView<const Detail::EmbeddedResource> table = Detail::embeddedResources();
    const auto found = std::lower_bound(
        table.begin(), table.end(), name,
        [](const Detail::EmbeddedResource& entry, std::string_view key) { return entry.name < key; });
    if (found == table.end() || found->name != name) {
        return std::nullopt;
    }
    return ArrayView<const std::uint8_t>(found->data, found->size);
}

Stack<String> names() {
    Stack<String> result;
    const ArrayView<const Detail::EmbeddedResource> table = Detail::embeddedResources();
    result.reserve(table.size());
    for (const Detail::EmbeddedResource& entry : table) {
        result.push(String::fromUtf8(entry.name));
    }
    return result;
}

} // namespace Vespra::Resources
