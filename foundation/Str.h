#pragma once

#include <utility>

#include <cstdint>
#include <iosfwd>

#include <fmt/format.h>

#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra::Str {

/// `fmt::format` answering a `String`.
template <class... Args>
String getFormatted(fmt::format_string<Args...> format, Args&&... args) {
    return String::fromUtf8(fmt::format(format, std::forward<Args>(args)...));
}

/// In units of 1024 with one decimal: "512 B", "1.5 KB", "2.0 MB", "1.0 GB", "3.2 TB".
String getFormattedMemorySize(std::int64_t bytes);

/// A duration for people: "12.3 s" under a minute, "2m 03s" under an hour, "1h 02m 03s" above.
String getTime(double seconds);

/// The local time now as "YYYY-MM-DD HH:MM:SS".
String getTimestamp();

/// Replaces the characters that some file system refuses (/ \ : * ? " < > | and control
/// characters) with underscores.
String escapeFilename(const String& name);

/// `text` split at its last full stop into what stands before and after it; without a full
/// stop the whole text is the stem and the extension is empty.
std::pair<String, String> splitAtLastFullStop(const String& text);

enum class EllipsisPosition { START, MIDDLE, END };

/// Text longer than `length` is cut to exactly `length` code units, "..." included, at the
/// given place.
String ellipsize(const String& text, int length, EllipsisPosition position = EllipsisPosition::END);

/// The text in double quotes, with a backslash before every double quote and backslash inside:
/// a"b\c gives "a\"b\\c".
String getExportString(const String& text);
/// Each item by `getExportString`, joined by ", ".
String getExportStringArray(ArrayView<const String> items);

/// Throws `Exception` with "Incorrectly escaped string".
[[noreturn]] void throwReadExportedStringException();

/// Reads one value written by `getExportString`, or one bare word. Leading white space is
/// skipped; a bare word runs to the next white space, which stays in the stream; a quoted
/// value runs to the next unescaped double quote, a backslash making the next character
/// literal. Throws through `throwReadExportedStringException` when the stream ends inside the
/// quotes.
String readExportedString(std::wistream& stream);

} // namespace Vespra::Str
