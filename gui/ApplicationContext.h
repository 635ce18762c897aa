#pragma once

#include "foundation/Pointers.h"
#include "foundation/io/Path.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/LibWx.h"

namespace Vespra {

/// What a program tells the libraries about itself. One is published for the life of the
/// process by `Library::initLib`.
class ApplicationContext : public Polymorphic {
public:
    ApplicationContext(Wx::LibWx::ApplicationType applicationType, Io::Path baseDirectory, Wx::GuiSkin skin)
        : applicationType(applicationType), baseDirectory(std::move(baseDirectory)), skin(skin) {}
    ApplicationContext(const ApplicationContext&) = delete;
    ApplicationContext& operator=(const ApplicationContext&) = delete;

    /// The published context; null before `Library::initLib` and after `Library::shutdownLib`.
    static SharedPtr<ApplicationContext> get();

    const Wx::LibWx::ApplicationType applicationType;
    const Io::Path baseDirectory;
    /// The colours every window takes.
    const Wx::GuiSkin skin;
};

} // namespace Vespra
