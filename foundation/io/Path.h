#pragma once

#include <compare>
#include <filesystem>

#include "foundation/Containers.h"
#include "foundation/Flags.h"
#include "foundation/String.h"

namespace Vespra::Io {

enum class PathFlag : unsigned {
    /// `fileName` and `split` leave out the extension of the last component.
    WITHOUT_EXTENSION = 1 << 0,
};

/// A file system path. Text is UTF-8 on disk and `String` everywhere else.
class Path {
public:
    static constexpr char16_t NATIVE_SEPARATOR = u'/';

    Path() = default;
    Path(const String& path);
    Path(const char16_t* path) : Path(String(path)) {}
    explicit Path(std::filesystem::path path) : path(std::move(path)) {}

    String nativeStr() const;
    /// With '/' between the components on every system.
    String genericStr() const;
    /// The last component; empty for a path ending with a separator.
    String fileName(Flags<PathFlag> flags = {}) const;
    /// The extension without its dot, as written; empty when there is none (also for ".hidden").
    String extension() const;
    Path parentDirectory() const;
    /// The components in order; an absolute path starts with "/".
    Stack<String> split(Flags<PathFlag> flags = {}) const;
    bool isEmpty() const { return path.empty(); }
    bool isAbsolute() const { return path.is_absolute(); }
    const std::filesystem::path& std() const { return path; }

    /// Joins with a separator; an absolute `other` replaces this path, as in std::filesystem.
    Path operator/(const Path& other) const { return Path(path / other.path); }
    /// Appends text to the last component: "a/b.exr" + "_1" is "a/b.exr_1".
    Path operator+(const String& suffix) const;

    /// Compares component by component, so "a//b" equals "a/b".
    bool operator==(const Path& other) const { return path == other.path; }
    std::strong_ordering operator<=>(const Path& other) const { return path <=> other.path; }

private:
    std::filesystem::path path;
};

} // namespace Vespra::Io

template <>
struct std::hash<Vespra::Io::Path> {
    std::size_t operator()(const Vespra::Io::Path& path) const noexcept {
        return std::filesystem::hash_value(path.std());
    }
};

/// `fmt` prints a `Path` in its native form, as UTF-8.
template <>
struct fmt::formatter<Vespra::Io::Path> : fmt::formatter<Vespra::String> {
    auto format(const Vespra::Io::Path& path, fmt::format_context& context) const {
        return fmt::formatter<Vespra::String>::format(path.nativeStr(), context);
    }
};
