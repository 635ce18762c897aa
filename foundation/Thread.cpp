#include "foundation/Thread.h"

#include <algorithm>

#include <fmt/format.h>

#include "foundation/Exception.h"

namespace Vespra {

Thread::Thread(Function<void()> body, std::size_t stackBytes) {
    start(std::move(body), stackBytes);
}

Thread::~Thread() {
    join();
}

void Thread::start(Function<void()> function, std::size_t stackBytes) {
    VESPRA_ASSERT(!started);
    body = std::move(function);
    finished = false;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackBytes > 0) {
        pthread_attr_setstacksize(&attributes, std::max<std::size_t>(stackBytes, PTHREAD_STACK_MIN));
    }
    const int error = pthread_create(&handle, &attributes, &Thread::threadMain, this);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw Exception(String::fromUtf8(fmt::format("Cannot start a thread (error {})", error)));
    }
    std::lock_guard lock(mutex);
    started = true;
}

bool Thread::join(int timeoutMs) {
    if (!started) {
        return true;
    }
    {
        std::unique_lock lock(mutex);
        const auto hasFinished = [this] { return finished; };
        if (timeoutMs < 0) {
            finishedChanged.wait(lock, hasFinished);
        } else if (!finishedChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), hasFinished)) {
            return false;
        }
    }
    pthread_join(handle, nullptr);
    std::lock_guard lock(mutex);
    started = false;
    return true;
}

bool Thread::isRunning() const {
    std::lock_guard lock(mutex);
    return started && !finished;
}

bool Thread::isCurrent() const {
    std::lock_guard lock(mutex);
    return started && pthread_equal(handle, pthread_self());
}

void* Thread::threadMain(void* argument) {
    Thread& thread = *static_cast<Thread*>(argument);
    [&]() noexcept { thread.body(); }();
    {
        std::lock_guard lock(thread.mutex);
        thread.finished = true;
    }
    thread.finishedChanged.notify_all();
    return nullptr;
}

} // namespace Vespra
