#pragma once

#include <exception>
#include <string>

#include "foundation/String.h"

namespace Vespra {

/// The one exception class: its text is shown to the user as it is.
class Exception : public std::exception {
public:
    explicit Exception(String message) : message(std::move(message)), utf8(this->message.toUtf8()) {}

    const String& getMessage() const { return message; }
    const char* what() const noexcept override { return utf8.c_str(); }

private:
    String message;
    std::string utf8;
};

namespace Detail {
/// Raises the internal stop "STOP@path(line)".
[[noreturn]] void throwStop(const char* file, int line);
} // namespace Detail

} // namespace Vespra

/// An internal impossibility: raises `Exception` with "STOP@", the source path and the line.
#define VESPRA_STOP() ::Vespra::Detail::throwStop(__FILE__, __LINE__)

/// Stops when `condition` does not hold; checked in every build.
#define VESPRA_ASSERT(condition)                                                                             \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            VESPRA_STOP();                                                                                   \
        }                                                                                                    \
    } while (false)
