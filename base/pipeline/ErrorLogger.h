#pragma once

#include "foundation/Logger.h"

namespace Vespra::Pipeline {

/// Sends what a denoiser logs to its operator's error channel.
class ErrorLogger : public Abstract::Logger {
public:
    explicit ErrorLogger(SharedPtr<Function<void(const String&)>> target) : target(std::move(target)) {}

    void log(const String& message, LogLevel) override {
        if (target && *target) {
            (*target)(message);
        }
    }

private:
    SharedPtr<Function<void(const String&)>> target;
};

} // namespace Vespra::Pipeline
