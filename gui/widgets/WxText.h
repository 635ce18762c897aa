#pragma once

#include <wx/string.h>

#include "foundation/String.h"

namespace Vespra::Wx {

/// Text crosses into wxWidgets as UTF-8, so nothing outside the Basic Multilingual Plane is lost.
inline wxString toWx(const String& text) {
    return wxString::FromUTF8(text.toUtf8());
}

inline String fromWx(const wxString& text) {
    return String::fromUtf8(text.utf8_string());
}

} // namespace Vespra::Wx
