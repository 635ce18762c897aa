#pragma once

#include "gui/ApplicationContext.h"

namespace Vespra::Library {

/// Brings this program's common layer up, once, before any window: the base and widget
/// libraries, the published `context`, the translated texts, the toolkit's assertion handler,
/// the error window as the global logger, the property table, and the worker pools of the
/// image libraries sized to the machine. Raises when a part of it cannot start.
void initLib(SharedPtr<ApplicationContext> context);

/// Takes down what `initLib` brought up, in reverse order; the context goes last.
void shutdownLib();

} // namespace Vespra::Library
