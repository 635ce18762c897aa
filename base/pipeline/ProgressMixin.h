#pragma once

#include "foundation/Pointers.h"
#include "foundation/String.h"

namespace Vespra::Pipeline {

/// The callbacks by which an operator reports its work. They are installed once, after
/// construction and before the first run, and called on the operator's worker thread.
template <class Base>
class ProgressMixin : public Base {
public:
    /// While true the operator calls none of its callbacks: a synchronous request is running
    /// its work on the caller's thread.
    bool silent = false;
    Function<void(const String&)> onStarted;
    Function<void(float)> onProgress;
    /// Reserved; no operator calls it.
    Function<void()> onReserved;
    Function<void(int)> onBeforeUpdate;
    Function<void(const String&)> onFinished;
    Function<void(const String&)> onWarning;
    Function<void(const String&)> onError;

protected:
    /// Calls `callback` unless the operator is silent or the callback is not set.
    template <class Callback, class... Args>
    void notify(const Callback& callback, Args&&... args) const {
        if (!silent && callback) {
            callback(std::forward<Args>(args)...);
        }
    }
};

} // namespace Vespra::Pipeline
