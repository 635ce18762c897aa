#include "foundation/String.h"

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <istream>
#include <locale.h>
#include <ostream>

#include "foundation/Containers.h"

namespace Vespra {

namespace {

constexpr char32_t REPLACEMENT_CHARACTER = 0xFFFD;

bool isHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}

bool isLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

void appendUtf16(std::u16string& out, char32_t codePoint) {
    if (codePoint < 0x10000) {
        out += char16_t(codePoint);
    } else {
        codePoint -= 0x10000;
        out += char16_t(0xD800 + (codePoint >> 10));
        out += char16_t(0xDC00 + (codePoint & 0x3FF));
    }
}

void appendUtf8(std::string& out, char32_t codePoint) {
    if (codePoint < 0x80) {
        out += char(codePoint);
    } else if (codePoint < 0x800) {
        out += char(0xC0 | (codePoint >> 6));
        out += char(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        out += char(0xE0 | (codePoint >> 12));
        out += char(0x80 | ((codePoint >> 6) & 0x3F));
        out += char(0x80 | (codePoint & 0x3F));
    } else {
        out += char(0xF0 | (codePoint >> 18));
        out += char(0x80 | ((codePoint >> 12) & 0x3F));
        out += char(0x80 | ((codePoint >> 6) & 0x3F));
        out += char(0x80 | (codePoint & 0x3F));
    }
}

/// Decodes the code point at `index` and advances past it; broken sequences give U+FFFD.
char32_t decodeUtf16(const std::u16string& text, std::size_t& index) {
    const char16_t c = text[index++];
    if (isHighSurrogate(c) && index < text.size() && isLowSurrogate(text[index])) {
        return 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(text[index++]) - 0xDC00);
    }
    return (isHighSurrogate(c) || isLowSurrogate(c)) ? REPLACEMENT_CHARACTER : char32_t(c);
}

char32_t decodeUtf8(std::string_view text, std::size_t& index) {
    const auto lead = static_cast<unsigned char>(text[index++]);
    int continuation = 0;
    char32_t codePoint = 0;
    if (lead < 0x80) {
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        continuation = 1;
        codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        continuation = 2;
        codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        continuation = 3;
        codePoint = lead & 0x07;
    } else {
        return REPLACEMENT_CHARACTER;
    }
    for (int i = 0; i < continuation; ++i) {
        if (index >= text.size() || (static_cast<unsigned char>(text[index]) & 0xC0) != 0x80) {
            return REPLACEMENT_CHARACTER;
        }
        codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[index++]) & 0x3F);
    }
    const bool overlong = (continuation == 1 && codePoint < 0x80) ||
                          (continuation == 2 && codePoint < 0x800) ||
                          (continuation == 3 && codePoint < 0x10000);
    if (overlong || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
        return REPLACEMENT_CHARACTER;
    }
    return codePoint;
}

/// Case mapping follows Unicode whatever locale the process runs in.
locale_t unicodeLocale() {
    static const locale_t locale = [] {
        locale_t created = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr));
        return created ? created : newlocale(LC_CTYPE_MASK, "C", locale_t(nullptr));
    }();
    return locale;
}

template <class Map>
std::u16string mapCase(std::u16string text, Map map) {
    for (char16_t& c : text) {
        if (!isHighSurrogate(c) && !isLowSurrogate(c)) {
            c = char16_t(map(wint_t(c), unicodeLocale()));
        }
    }
    return text;
}

bool isSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f' || c == 0xA0 ||
           c == 0xFEFF;
}

template <class Char>
void readWord(std::basic_istream<Char>& stream, std::basic_string<Char>& word) {
    word.clear();
    stream >> word;
}

} // namespace

String String::fromAscii(std::string_view ascii) {
    std::u16string text;
    text.reserve(ascii.size());
    for (const char c : ascii) {
        text += char16_t(static_cast<unsigned char>(c));
    }
    return String(std::move(text));
}

String String::fromUtf8(std::string_view utf8) {
    std::u16string text;
    text.reserve(utf8.size());
    for (std::size_t index = 0; index < utf8.size();) {
        appendUtf16(text, decodeUtf8(utf8, index));
    }
    return String(std::move(text));
}

String String::fromWide(std::wstring_view wide) {
    std::u16string text;
    text.reserve(wide.size());
    for (const wchar_t c : wide) {
        const auto codePoint = char32_t(c);
        appendUtf16(text, codePoint > 0x10FFFF ? REPLACEMENT_CHARACTER : codePoint);
    }
    return String(std::move(text));
}

std::string String::toAscii(char replacement) const {
    std::string out;
    out.reserve(text.size());
    for (std::size_t index = 0; index < text.size();) {
        const char32_t codePoint = decodeUtf16(text, index);
        out += codePoint < 0x80 ? char(codePoint) : replacement;
    }
    return out;
}

std::string String::toUtf8() const {
    std::string out;
    out.reserve(text.size());
    for (std::size_t index = 0; index < text.size();) {
        appendUtf8(out, decodeUtf16(text, index));
    }
    return out;
}

std::wstring String::toWide() const {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t index = 0; index < text.size();) {
        out += wchar_t(decodeUtf16(text, index));
    }
    return out;
}

int String::find(const String& what, int start) const {
    if (start < 0 || start > length()) {
        return NOT_FOUND;
    }
    const auto position = text.find(what.text, std::size_t(start));
    return position == std::u16string::npos ? NOT_FOUND : int(position);
}

int String::find(char16_t what, int start) const {
    if (start < 0 || start > length()) {
        return NOT_FOUND;
    }
    const auto position = text.find(what, std::size_t(start));
    return position == std::u16string::npos ? NOT_FOUND : int(position);
}

int String::findFirstOf(const String& characters, int start) const {
    if (start < 0 || start > length()) {
        return NOT_FOUND;
    }
    const auto position = text.find_first_of(characters.text, std::size_t(start));
    return position == std::u16string::npos ? NOT_FOUND : int(position);
}

int String::findLastOf(const String& characters, int start) const {
    if (start < 0) {
        return NOT_FOUND;
    }
    const auto position = text.find_last_of(characters.text, std::size_t(start));
    return position == std::u16string::npos ? NOT_FOUND : int(position);
}

String String::getSubstr(int start, int count) const {
    start = std::clamp(start, 0, length());
    count = std::clamp(count, 0, length() - start);
    return String(text.substr(std::size_t(start), std::size_t(count)));
}

String& String::erase(int start, int count) {
    start = std::clamp(start, 0, length());
    count = std::clamp(count, 0, length() - start);
    text.erase(std::size_t(start), std::size_t(count));
    return *this;
}

int String::replaceAll(const String& from, const String& to) {
    if (from.isEmpty()) {
        return 0;
    }
    int count = 0;
    std::u16string result;
    std::size_t position = 0;
    for (std::size_t hit; (hit = text.find(from.text, position)) != std::u16string::npos;) {
        result.append(text, position, hit - position);
        result += to.text;
        position = hit + from.text.size();
        ++count;
    }
    if (count > 0) {
        result.append(text, position);
        text = std::move(result);
    }
    return count;
}

Stack<String> String::explode(const String& separator, ExplodeMode mode) const {
    Stack<String> pieces;
    const auto keep = [&](std::u16string piece) {
        if (mode == ExplodeMode::KEEP_EMPTY || !piece.empty()) {
            pieces.push(String(std::move(piece)));
        }
    };
    if (separator.isEmpty()) {
        keep(text);
        return pieces;
    }
    std::size_t position = 0;
    for (std::size_t hit; (hit = text.find(separator.text, position)) != std::u16string::npos;) {
        keep(text.substr(position, hit - position));
        position = hit + separator.text.size();
    }
    keep(text.substr(position));
    return pieces;
}

String String::toLowerCase() const {
    return String(mapCase(text, towlower_l));
}

String String::toUpperCase() const {
    return String(mapCase(text, towupper_l));
}

String String::toIdentifier() const {
    std::u16string out = text;
    for (char16_t& c : out) {
        const bool valid =
            (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
        if (!valid) {
            c = u'_';
        }
    }
    if (out.empty() || (out[0] >= u'0' && out[0] <= u'9')) {
        out.insert(out.begin(), u'_');
    }
    return String(std::move(out));
}

String String::trim() const {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && isSpace(text[begin])) {
        ++begin;
    }
    while (end > begin && isSpace(text[end - 1])) {
        --end;
    }
    return String(text.substr(begin, end - begin));
}

std::ostream& operator<<(std::ostream& stream, const String& string) {
    return stream << string.toUtf8();
}

std::wostream& operator<<(std::wostream& stream, const String& string) {
    return stream << string.toWide();
}

std::istream& operator>>(std::istream& stream, String& string) {
    std::string word;
    readWord(stream, word);
    string = String::fromUtf8(word);
    return stream;
}

std::wistream& operator>>(std::wistream& stream, String& string) {
    std::wstring word;
    readWord(stream, word);
    string = String::fromWide(word);
    return stream;
}

} // namespace Vespra
