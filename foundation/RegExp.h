#pragma once

#include <regex>

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/String.h"

namespace Vespra {

/// One group of a match. Positions and lengths are in code units of the searched `String`;
/// a group that took no part in the match has `start == String::NOT_FOUND`.
struct RegExpGroup {
    int start = String::NOT_FOUND;
    int length = 0;
    String text;
};

struct RegExpMatch {
    /// The whole match first, then the groups in the order of their opening parentheses.
    Stack<RegExpGroup> groups;
};

/// An ECMAScript regular expression. The matching runs on whole code points, so "." matches a
/// character outside the basic plane at once; character classes such as \w know ASCII only.
class RegExp {
public:
    /// An invalid pattern gives an expression that matches nothing; see `isValid`.
    explicit RegExp(const String& pattern);

    bool isValid() const { return error.isEmpty(); }
    /// Why the pattern is invalid.
    const String& errorMessage() const { return error; }

    /// The first match at or after the code unit `start`; "^" and "\b" still see the text before it.
    Optional<RegExpMatch> search(const String& text, int start = 0) const;
    /// `replacement` may name groups as $1, $2, ... and the whole match as $&.
    String replaceAll(const String& text, const String& replacement) const;

private:
    std::wregex expression;
    String error;
};

} // namespace Vespra
