#include "foundation/io/Path.h"

namespace Vespra::Io {

namespace {

String toString(const std::filesystem::path& path) {
    return String::fromUtf8(path.native());
}

} // namespace

Path::Path(const String& path) : path(path.toUtf8()) {}

String Path::nativeStr() const {
    return toString(path);
}

String Path::genericStr() const {
    return String::fromUtf8(path.generic_string());
}

String Path::fileName(Flags<PathFlag> flags) const {
    return toString(flags.has(PathFlag::WITHOUT_EXTENSION) ? path.stem() : path.filename());
}

String Path::extension() const {
    const String dotted = toString(path.extension());
    return dotted.getSubstr(1);
}

Path Path::parentDirectory() const {
    return Path(path.parent_path());
}

Stack<String> Path::split(Flags<PathFlag> flags) const {
    Stack<String> components;
    for (const std::filesystem::path& component : path) {
        components.push(toString(component));
    }
    if (flags.has(PathFlag::WITHOUT_EXTENSION) && !components.empty()) {
        components.back() = fileName(flags);
    }
    return components;
}

Path Path::operator+(const String& suffix) const {
    return Path(std::filesystem::path(path.native() + suffix.toUtf8()));
}

} // namespace Vespra::Io
