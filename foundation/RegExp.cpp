#include "foundation/RegExp.h"

#include "foundation/Str.h"

namespace Vespra {

namespace {

/// For each code point of `wide` (and its end), where it starts in the UTF-16 text.
Array<int> codeUnitOffsets(const std::wstring& wide) {
    Array<int> offsets(wide.size() + 1);
    for (std::size_t i = 0; i < wide.size(); ++i) {
        offsets[i + 1] = offsets[i] + (wide[i] > 0xFFFF ? 2 : 1);
    }
    return offsets;
}

std::size_t codePointIndex(const Array<int>& offsets, int codeUnit) {
    return std::size_t(std::lower_bound(offsets.begin(), offsets.end(), codeUnit) - offsets.begin());
}

RegExpGroup toGroup(const std::wssub_match& group, const std::wstring& wide, const Array<int>& offsets) {
    if (!group.matched) {
        return {};
    }
    const auto first = std::size_t(group.first - wide.begin());
    const auto last = std::size_t(group.second - wide.begin());
    return {offsets[first], offsets[last] - offsets[first], String::fromWide(group.str())};
}

} // namespace

RegExp::RegExp(const String& pattern) {
    try {
        expression.assign(pattern.toWide(), std::regex_constants::ECMAScript);
    } catch (const std::regex_error& exception) {
        error = Str::getFormatted("Invalid regular expression '{}': {}", pattern, exception.what());
    }
}

Optional<RegExpMatch> RegExp::search(const String& text, int start) const {
    const std::wstring wide = text.toWide();
    const Array<int> offsets = codeUnitOffsets(wide);
    const std::size_t from = codePointIndex(offsets, std::max(start, 0));
    if (!isValid() || from > wide.size()) {
        return {};
    }
    std::wsmatch match;
    const auto flags =
        from > 0 ? std::regex_constants::match_prev_avail : std::regex_constants::match_default;
    try {
        if (!std::regex_search(wide.cbegin() + std::ptrdiff_t(from), wide.cend(), match, expression, flags)) {
            return {};
        }
    } catch (const std::regex_error&) {
        // Too complex for the matcher (a stack or complexity limit): treated as no match.
        return {};
    }
    RegExpMatch result;
    for (const std::wssub_match& group : match) {
        result.groups.push(toGroup(group, wide, offsets));
    }
    return result;
}

String RegExp::replaceAll(const String& text, const String& replacement) const {
    if (!isValid()) {
        return text;
    }
    try {
        return String::fromWide(std::regex_replace(text.toWide(), expression, replacement.toWide()));
    } catch (const std::regex_error&) {
        return text;
    }
}

} // namespace Vespra
