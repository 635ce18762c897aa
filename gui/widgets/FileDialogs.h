#pragma once

#include <wx/window.h>

#include "foundation/Containers.h"
#include "foundation/Pointers.h"
#include "foundation/io/Path.h"

namespace Vespra::Wx {

/// The file dialogs a window asks for paths with. Each answers empty when the user cancels.
/// `native()` gives the system's own dialogs; tests put in functions that answer at once.
struct FileDialogs {
    using Open = Function<Io::Path(wxWindow* parent, const String& title, const String& filter,
                                   const Io::Path& startFolder)>;
    using OpenMany = Function<Stack<Io::Path>(wxWindow* parent, const String& title, const String& filter,
                                              const Io::Path& startFolder)>;
    /// `suggested` gives the folder and the name the dialog starts with.
    using Save = Function<Io::Path(wxWindow* parent, const String& title, const String& filter,
                                   const Io::Path& suggested)>;

    Open open;
    OpenMany openMany;
    Save save;

    static FileDialogs native();
};

} // namespace Vespra::Wx
