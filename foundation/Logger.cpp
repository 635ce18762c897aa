#include "foundation/Logger.h"

#include <iostream>
#include <mutex>

namespace Vespra::Log {

namespace {

std::mutex loggerMutex;
SharedPtr<Abstract::Logger> globalLogger;

} // namespace

void setGlobalLogger(SharedPtr<Abstract::Logger> logger) {
    std::lock_guard lock(loggerMutex);
    globalLogger = std::move(logger);
}

SharedPtr<Abstract::Logger> getGlobalLogger() {
    std::lock_guard lock(loggerMutex);
    return globalLogger;
}

void report(const String& message, LogLevel level) {
    // The logger is called outside the lock: it may report again, or take its own locks.
    if (const SharedPtr<Abstract::Logger> logger = getGlobalLogger()) {
        logger->log(message, level);
    } else if (level != LogLevel::INFO) {
        std::cerr << (level == LogLevel::ERROR ? "Error: " : "Warning: ") << message << std::endl;
    }
}

} // namespace Vespra::Log
