#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace Vespra {

template <class T>
class Stack;

/// How `String::explode` treats empty pieces between two separators.
enum class ExplodeMode { KEEP_EMPTY, SKIP_EMPTY };

/// Mutable UTF-16 text. Positions and lengths are in code units; searches answer
/// `NOT_FOUND` when nothing matches. Converted to UTF-8 at every edge of the program.
class String {
public:
    static constexpr int NOT_FOUND = 2147483647;

    String() = default;
    String(const char16_t* text) : text(text) {}
    String(std::u16string text) : text(std::move(text)) {}
    String(std::u16string_view text) : text(text) {}
    String(int count, char16_t c) : text(std::size_t(count), c) {}

    static String fromAscii(std::string_view ascii);
    static String fromUtf8(std::string_view utf8);
    static String fromWide(std::wstring_view wide);

    /// Characters outside ASCII become `replacement`.
    std::string toAscii(char replacement = '?') const;
    std::string toUtf8() const;
    std::wstring toWide() const;

    int length() const { return int(text.size()); }
    bool isEmpty() const { return text.empty(); }
    const char16_t* cStr() const { return text.c_str(); }
    const std::u16string& u16() const { return text; }
    std::u16string_view view() const { return text; }

    char16_t operator[](int index) const { return text[std::size_t(index)]; }
    char16_t& operator[](int index) { return text[std::size_t(index)]; }

    int find(const String& what, int start = 0) const;
    int find(char16_t what, int start = 0) const;
    /// First position at or after `start` that holds any of `characters`.
    int findFirstOf(const String& characters, int start = 0) const;
    /// Last position at or before `start` that holds any of `characters`.
    int findLastOf(const String& characters, int start = NOT_FOUND) const;
    bool startsWith(const String& prefix) const { return view().starts_with(prefix.view()); }
    bool endsWith(const String& suffix) const { return view().ends_with(suffix.view()); }
    bool contains(const String& what) const { return find(what) != NOT_FOUND; }

    /// Up to `count` code units from `start`, clipped to the text.
    String getSubstr(int start, int count = NOT_FOUND) const;
    String& erase(int start, int count = NOT_FOUND);
    /// Replaces every occurrence of `from`, left to right without overlap; answers the count.
    int replaceAll(const String& from, const String& to);
    Stack<String> explode(const String& separator, ExplodeMode mode = ExplodeMode::KEEP_EMPTY) const;

    String toLowerCase() const;
    String toUpperCase() const;
    /// Letters, digits and underscores stay, everything else becomes an underscore, and a
    /// leading digit gets an underscore in front, so the result is a valid identifier.
    String toIdentifier() const;
    /// Without white space at both ends.
    String trim() const;

    String& operator+=(const String& other) {
        text += other.text;
        return *this;
    }
    String& operator+=(char16_t c) {
        text += c;
        return *this;
    }
    friend String operator+(String left, const String& right) { return left += right; }
    friend String operator+(String left, const char16_t* right) { return left += String(right); }
    friend String operator+(const char16_t* left, const String& right) { return String(left) += right; }

    bool operator==(const String& other) const = default;
    bool operator==(const char16_t* other) const { return text == other; }
    /// The string order of the library: by code units.
    std::strong_ordering operator<=>(const String& other) const { return text <=> other.text; }

private:
    std::u16string text;
};

/// Writes UTF-8 to narrow streams and wide characters to wide streams.
std::ostream& operator<<(std::ostream& stream, const String& string);
std::wostream& operator<<(std::wostream& stream, const String& string);
/// Reads one white-space delimited word.
std::istream& operator>>(std::istream& stream, String& string);
std::wistream& operator>>(std::wistream& stream, String& string);

} // namespace Vespra

template <>
struct std::hash<Vespra::String> {
    std::size_t operator()(const Vespra::String& string) const noexcept {
        return std::hash<std::u16string>{}(string.u16());
    }
};

/// `fmt` prints a `String` as UTF-8.
template <>
struct fmt::formatter<Vespra::String> : fmt::formatter<std::string_view> {
    auto format(const Vespra::String& string, fmt::format_context& context) const {
        return fmt::formatter<std::string_view>::format(string.toUtf8(), context);
    }
};
