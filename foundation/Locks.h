#pragma once

#include <mutex>
#include <shared_mutex>

namespace Vespra {

// The member names follow the standard lockable requirements, so that std::lock_guard,
// std::unique_lock and std::shared_lock work with these locks.

/// Mutual exclusion; locking it twice from one thread deadlocks.
class SimpleLock {
public:
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    bool try_lock() { return mutex.try_lock(); }

private:
    std::mutex mutex;
};

/// Mutual exclusion that the owning thread may lock again; it is free after as many unlocks.
class RecursiveLock {
public:
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    bool try_lock() { return mutex.try_lock(); }

private:
    std::recursive_mutex mutex;
};

/// Many readers or one writer.
class ReaderWriterLock {
public:
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    bool try_lock() { return mutex.try_lock(); }
    void lock_shared() { mutex.lock_shared(); }
    void unlock_shared() { mutex.unlock_shared(); }
    bool try_lock_shared() { return mutex.try_lock_shared(); }

private:
    std::shared_mutex mutex;
};

} // namespace Vespra
