#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "foundation/String.h"

/// What the fuzz targets share. A target stops the run with `fail` where a reader broke its
/// promise without crashing by itself, so that libFuzzer keeps the input like any crash.
namespace Vespra::Fuzz {

inline std::string bytesOf(const std::uint8_t* data, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

[[noreturn]] inline void fail(std::string_view what, const String& detail = {}) {
    std::fprintf(stderr, "Broken promise: %.*s %s\n", int(what.size()), what.data(), detail.toUtf8().c_str());
    std::abort();
}

inline void require(bool condition, std::string_view what, const String& detail = {}) {
    if (!condition) {
        fail(what, detail);
    }
}

/// A failure the user reads: some text, and no internal stop (an impossibility that happened).
inline void requireClearMessage(const String& message) {
    require(!message.trim().isEmpty(), "empty failure message");
    require(!message.contains(u"STOP@"), "internal stop instead of a message:", message);
}

} // namespace Vespra::Fuzz
