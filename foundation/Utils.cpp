#include "foundation/Utils.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <pmmintrin.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <oneapi/tbb/info.h>

namespace Vespra::Utils {

namespace {

/// The longest name the kernel stores, without the terminating zero.
constexpr std::size_t MAX_THREAD_NAME_BYTES = 15;
constexpr int MAX_NICE = 19;

bool isUtf8Continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

} // namespace

void sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void setThreadName(const String& name) {
    std::string utf8 = name.toUtf8();
    if (utf8.size() > MAX_THREAD_NAME_BYTES) {
        std::size_t cut = MAX_THREAD_NAME_BYTES;
        while (cut > 0 && isUtf8Continuation(utf8[cut])) {
            --cut;
        }
        utf8.resize(cut);
    }
    pthread_setname_np(pthread_self(), utf8.c_str());
}

int getLogicalProcessorCount() {
    return tbb::info::default_concurrency();
}

void lowerThreadPriority(int priority) {
    const int nice = std::clamp(-priority, 0, MAX_NICE);
    const pid_t thread = gettid();
    // Linux applies PRIO_PROCESS with a thread id to that thread alone.
    if (nice > getpriority(PRIO_PROCESS, id_t(thread))) {
        setpriority(PRIO_PROCESS, id_t(thread), nice);
    }
}

void threadSetupFloats() {
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
}

} // namespace Vespra::Utils
