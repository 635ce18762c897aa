#pragma once

// Orderings between threads that a thread sanitizer cannot see by itself. oneTBB, as the system
// ships it, hands work to its threads and reports it done inside its own library, which is not
// built with the sanitizer: what one thread wrote before a parallel loop or a task would look
// unordered with what the worker running it reads. Each such handover is announced by the
// thread that hands over and accepted by the thread that takes over, on one key address. Builds
// without a thread sanitizer compile both to nothing.

#if defined(__SANITIZE_THREAD__)
#define VESPRA_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VESPRA_THREAD_SANITIZER 1
#endif
#endif

#ifdef VESPRA_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

/// Marks a function whose memory accesses the thread sanitizer does not check: only for the few
/// lines that take over work from oneTBB before they accept its handover.
#define VESPRA_UNCHECKED_BY_THREAD_SANITIZER __attribute__((no_sanitize("thread")))

namespace Vespra::Detail {

/// What the calling thread did so far happens before what any thread does after a later
/// `acceptHandover` of the same key.
inline void announceHandover(const void* key) {
#ifdef VESPRA_THREAD_SANITIZER
    __tsan_release(const_cast<void*>(key));
#else
    (void)key;
#endif
}

/// What the calling thread does from now on happens after everything that preceded each
/// `announceHandover` of the same key.
inline void acceptHandover(const void* key) {
#ifdef VESPRA_THREAD_SANITIZER
    __tsan_acquire(const_cast<void*>(key));
#else
    (void)key;
#endif
}

/// Announces the handover of `key` when it goes out of scope, also when an exception leaves.
class HandoverOnExit {
public:
    explicit HandoverOnExit(const void* key) : key(key) {}
    ~HandoverOnExit() { announceHandover(key); }
    HandoverOnExit(const HandoverOnExit&) = delete;
    HandoverOnExit& operator=(const HandoverOnExit&) = delete;

private:
    const void* key;
};

/// Accepts the handover of `key` when it goes out of scope, also when an exception leaves.
class AcceptOnExit {
public:
    explicit AcceptOnExit(const void* key) : key(key) {}
    ~AcceptOnExit() { acceptHandover(key); }
    AcceptOnExit(const AcceptOnExit&) = delete;
    AcceptOnExit& operator=(const AcceptOnExit&) = delete;

private:
    const void* key;
};

} // namespace Vespra::Detail
