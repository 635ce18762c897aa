#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/String.h"

/// The files under resources/ (texts, icons), compiled into the program; nothing of them is
/// read from disk at run time. A file is named by its path under resources/, with '/'.
namespace Vespra::Resources {

/// The bytes of the embedded file `name` ("icons/toolbar/open.svg"), or nothing when there is no
/// such file. The bytes live as long as the program; one 0 byte follows them (not counted in the
/// view), so a text resource may also be read as a C string.
Optional<ArrayView<const std::uint8_t>> find(std::string_view name);

/// The names of all embedded files, sorted.
Stack<String> names();

namespace Detail {

struct EmbeddedResource {
    std::string_view name;
    const std::uint8_t* data;
    std::size_t size;
};

/// The table that the build generates from the files under resources/, sorted by name.
ArrayView<const EmbeddedResource> embeddedResources();

} // namespace Detail

} // namespace Vespra::Resources
