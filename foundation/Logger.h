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

namespace Log {

/// The logger of the whole program, which any thread may report to; null removes it.
void setGlobalLogger(SharedPtr<Abstract::Logger> logger);
SharedPtr<Abstract::Logger> getGlobalLogger();

/// Reports to the global logger; without one, warnings and errors go to stderr.
void report(const String& message, LogLevel level);

} // namespace Log

} // namespace Vespra
