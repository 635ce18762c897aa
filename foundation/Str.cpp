#include "foundation/Str.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <istream>

#include <fmt/chrono.h>

#include "foundation/Exception.h"

namespace Vespra::Str {

String getFormattedMemorySize(std::int64_t bytes) {
    static constexpr const char* UNITS[] = {"KB", "MB", "GB", "TB", "PB"};
    if (std::abs(bytes) < 1024) {
        return getFormatted("{} B", bytes);
    }
    double value = double(bytes) / 1024.0;
    std::size_t unit = 0;
    while (std::abs(value) >= 1024.0 && unit + 1 < std::size(UNITS)) {
        value /= 1024.0;
        ++unit;
    }
    return getFormatted("{:.1f} {}", value, UNITS[unit]);
}

String getTime(double seconds) {
    if (seconds < 60.0) {
        return getFormatted("{:.1f} s", seconds);
    }
    const auto whole = std::int64_t(std::round(seconds));
    const std::int64_t hours = whole / 3600;
    const std::int64_t minutes = whole / 60 % 60;
    if (hours == 0) {
        return getFormatted("{}m {:02}s", minutes, whole % 60);
    }
    return getFormatted("{}h {:02}m {:02}s", hours, minutes, whole % 60);
}

String getTimestamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return getFormatted("{:%Y-%m-%d %H:%M:%S}", local);
}

String escapeFilename(const String& name) {
    static const String FORBIDDEN(u"/\\:*?\"<>|");
    String escaped = name;
    for (int i = 0; i < escaped.length(); ++i) {
        if (escaped[i] < 0x20 || escaped[i] == 0x7F || FORBIDDEN.find(escaped[i]) != String::NOT_FOUND) {
            escaped[i] = u'_';
        }
    }
    return escaped;
}

String ellipsize(const String& text, int length, EllipsisPosition position) {
    static const String DOTS(u"...");
    if (text.length() <= length) {
        return text;
    }
    const int kept = length - DOTS.length();
    if (kept <= 0) {
        return DOTS.getSubstr(0, std::max(length, 0));
    }
    switch (position) {
    case EllipsisPosition::START:
        return DOTS + text.getSubstr(text.length() - kept);
    case EllipsisPosition::MIDDLE:
        return text.getSubstr(0, kept - kept / 2) + DOTS + text.getSubstr(text.length() - kept / 2);
    case EllipsisPosition::END:
        return text.getSubstr(0, kept) + DOTS;
    }
    VESPRA_STOP();
}

String getExportString(const String& text) {
    String exported(u"\"");
    for (int i = 0; i < text.length(); ++i) {
        if (text[i] == u'"' || text[i] == u'\\') {
            exported += u'\\';
        }
        exported += text[i];
    }
    return exported += u'"';
}

String getExportStringArray(ArrayView<const String> items) {
    String joined;
    for (std::size_t i = 0; i < items.size(); ++i) {
        joined += (i == 0 ? String() : String(u", ")) + getExportString(items[i]);
    }
    return joined;
}

void throwReadExportedStringException() {
    throw Exception(u"Incorrectly escaped string");
}

namespace {

using Traits = std::wistream::traits_type;

std::wstring readBareWord(std::wistream& stream) {
    std::wstring word;
    for (Traits::int_type c = stream.peek(); c != Traits::eof() && !std::iswspace(Traits::to_char_type(c));
         c = stream.peek()) {
        word += Traits::to_char_type(stream.get());
    }
    return word;
}

std::wstring readQuoted(std::wistream& stream) {
    std::wstring value;
    stream.get(); // the opening quote
    while (true) {
        Traits::int_type c = stream.get();
        if (c == L'\\') {
            c = stream.get();
        } else if (c == L'"') {
            return value;
        }
        if (c == Traits::eof()) {
            throwReadExportedStringException();
        }
        value += Traits::to_char_type(c);
    }
}

} // namespace

String readExportedString(std::wistream& stream) {
    stream >> std::ws;
    const std::wstring value = stream.peek() == L'"' ? readQuoted(stream) : readBareWord(stream);
    return String::fromWide(value);
}

std::pair<String, String> splitAtLastFullStop(const String& text) {
    const int dot = text.findLastOf(u".");
    if (dot == String::NOT_FOUND) {
        return {text, String()};
    }
    return {text.getSubstr(0, dot), text.getSubstr(dot + 1)};
}

} // namespace Vespra::Str
