#include <thread>

#include <gtest/gtest.h>
#include <pmmintrin.h>
#include <pthread.h>

#include "foundation/Timer.h"
#include "foundation/Utils.h"

using namespace Vespra;

TEST(Utils, ThreadNameIsCutAtACharacterBoundary) {
    std::string name(32, '\0');
    // 14 ASCII bytes and a two-byte letter: the letter does not fit in 15 bytes.
    std::thread([&] {
        Utils::setThreadName(u"abcdefghijklmn\u010D");
        pthread_getname_np(pthread_self(), name.data(), name.size());
    }).join();
    EXPECT_STREQ(name.c_str(), "abcdefghijklmn");
}

TEST(Utils, FloatSetupFlushesDenormals) {
    float before = 0;
    float after = 0;
    std::thread([&] {
        // Threads start with the float mode of their creator, whatever that set.
        _mm_setcsr(_mm_getcsr() & ~(_MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON));
        volatile float tiny = 1e-38f;
        before = tiny * 1e-3f;
        Utils::threadSetupFloats();
        after = tiny * 1e-3f;
    }).join();
    EXPECT_GT(before, 0.0f);
    EXPECT_EQ(after, 0.0f);
}

TEST(Timer, CheckAnswersOncePerPeriod) {
    Timer timer(1000);
    EXPECT_FALSE(timer.check());
    // Going back in time stands in for waiting.
    timer.subtract(-1500);
    EXPECT_GE(timer.getElapsed(), 1500);
    EXPECT_TRUE(timer.check());
    EXPECT_FALSE(timer.check());
    EXPECT_LT(timer.getElapsed(), 1000);

    Timer expired(1000, TimerFlag::START_EXPIRED);
    EXPECT_TRUE(expired.check());
    EXPECT_FALSE(expired.check());
}
