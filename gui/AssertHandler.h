#pragma once

#include <wx/string.h>

namespace Vespra::Wx {

/// The help site's article on internal errors, linked from the report of an assertion.
inline constexpr int ASSERTION_HELP_LINK = 2010;

/// Puts `reportAssertion` in the place of the toolkit's own assertion handler.
void installAssertHandler();

/// Reports the first failed toolkit assertion of the process to the global logger as an
/// error with a help link; later ones, and the known harmless one of the "C" locale, are
/// dropped.
void reportAssertion(const wxString& file, int line, const wxString& function, const wxString& condition,
                     const wxString& message);

} // namespace Vespra::Wx
