#pragma once

#include "foundation/Pointers.h"
#include "foundation/String.h"

namespace Vespra {

enum class LogLevel { INFO, WARNING, ERROR };

namespace Abstract {

/// Where warnings and errors go: the editor's error window, stderr in the command-line tool.
class Logger : public Polymorphic {
public:
    virtual void log(const String& message, LogLevel level) = 0;
};

} // namespace Abstract
} // namespace Vespra
