#include "foundation/Exception.h"

#include <fmt/format.h>

namespace Vespra::Detail {

void throwStop(const char* file, int line) {
    throw Exception(String::fromUtf8(fmt::format("STOP@{}({})", file, line)));
}

} // namespace Vespra::Detail
