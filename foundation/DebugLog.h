#pragma once

#include <chrono>

#include "foundation/String.h"

namespace Vespra::Detail {

/// Writes a line to stderr, only while the environment variable VESPRA_DEBUG is set.
void debugPrintImpl(const String& message);

/// Logs "Function call: <name> took <milliseconds> ms" through `debugPrintImpl` when it goes out of scope.
class FunctionElapsedTime {
public:
    explicit FunctionElapsedTime(String name) : name(std::move(name)) {}
    ~FunctionElapsedTime();

    FunctionElapsedTime(const FunctionElapsedTime&) = delete;
    FunctionElapsedTime& operator=(const FunctionElapsedTime&) = delete;

private:
    String name;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

} // namespace Vespra::Detail
