#include <cstdlib>
#include <unistd.h>

#include <gtest/gtest.h>

#include "foundation/DebugLog.h"
#include "foundation/SystemInfo.h"

using namespace Vespra;

TEST(SystemInfo, AnswersPlausibleValues) {
    EXPECT_EQ(Utils::getThisProcessPid(), int(getpid()));
    EXPECT_GT(Utils::getPhysicalMemorySize(), std::int64_t(64) << 20);
    EXPECT_GT(Utils::getProcessUsedVirtualMemory(), 0);
    EXPECT_TRUE(Utils::getOsInfoString().contains(u"Linux"));
    EXPECT_TRUE(Utils::getCpuInfo().endsWith(u" threads)"));
}

TEST(DebugLog, PrintsOnlyWhenAskedFor) {
    unsetenv("VESPRA_DEBUG");
    testing::internal::CaptureStderr();
    Detail::debugPrintImpl(u"hidden");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    setenv("VESPRA_DEBUG", "1", 1);
    testing::internal::CaptureStderr();
    { Detail::FunctionElapsedTime timer(u"load\u00E9"); }
    const std::string printed = testing::internal::GetCapturedStderr();
    unsetenv("VESPRA_DEBUG");
    EXPECT_TRUE(printed.starts_with("Function call: load\xC3\xA9 took ")) << printed;
    EXPECT_TRUE(printed.ends_with(" ms\n")) << printed;
}
