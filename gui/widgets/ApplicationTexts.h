#pragma once

#include "foundation/String.h"

namespace Vespra::Wx {

/// Texts of the whole process, made once.
struct ApplicationTexts {
    /// The title of the frame and of every message dialog.
    static inline const String TITLE = u"Vespra Image Editor";
    /// The file dialog filter of Post and LightMix settings.
    static inline const String SETTINGS_FILE_FILTER = u"Vespra configuration files (.conf)|*.conf";
    /// The file dialog filter of opening and merging images.
    static inline const String IMAGE_FILE_FILTER =
        u"Vespra EXR and OpenEXR files (.vxr; .exr)|*.vxr;*.vex;*.vexr;*.exr";
    /// The name of the preference that keeps the folder of the last file dialog.
    static inline const String LAST_DIRECTORY = u"LastDirectory";
};

} // namespace Vespra::Wx
