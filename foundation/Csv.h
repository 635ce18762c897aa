#pragma once

#include <string_view>

#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra {

/// Splits UTF-8 comma separated values into rows of fields. A field in double quotes may hold
/// commas and line breaks, with "" standing for one quote; an unterminated quote runs to the end.
/// Lines end with "\n" or "\r\n"; empty lines are skipped and a leading byte order mark ignored.
Stack<Stack<String>> parseCsv(std::string_view utf8);

} // namespace Vespra
