#pragma once

#include "foundation/Optional.h"
#include "foundation/String.h"

class wxBitmap;

namespace Vespra::Wx {

/// Puts a text or a picture on the system clipboard; answers whether it could.
bool setClipboardData(const String& text);
bool setClipboardData(const wxBitmap& bitmap);

/// The text on the system clipboard, if there is one.
Optional<String> getClipboardText();

} // namespace Vespra::Wx
