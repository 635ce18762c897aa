#include "foundation/Exception.h"

#include <fmt/format.h>

namespace Vespra::Detail {

void throwStop(const char* file, int line) {
    // Sources compiled through a path relative to the build folder start with "../".
    std::string_view path(file);
    while (path.starts_with("../")) {
        path.remove_prefix(3);
    }
    throw Exception(String::fromUtf8(fmt::format("STOP@{}({})", path, line)));
}

} // namespace Vespra::Detail
