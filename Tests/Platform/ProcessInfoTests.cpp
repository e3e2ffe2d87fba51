#include "Platform/ProcessInfo.h"

#include "Tests/Platform/System.h"
#include "Tests/Platform/TemporaryFolder.h"

namespace tarn {

TEST(ProcessInfoTests, AnEmptyEnvironmentVariableIsThere) {
    const EnvironmentVariable empty("TARN_TEST_VARIABLE", "");
    EXPECT_TRUE(ProcessInfo::hasEnvironmentVariable("TARN_TEST_VARIABLE"));
    const EnvironmentVariable absent("TARN_TEST_VARIABLE", nullptr);
    EXPECT_FALSE(ProcessInfo::hasEnvironmentVariable("TARN_TEST_VARIABLE"));
}

TEST(ProcessInfoDeathTest, SuddenTerminationIsCounted) {
    {
        const SuddenTerminationGuard outer;
        const SuddenTerminationGuard inner;
        EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), 2);
    }
    EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), 0);
    EXPECT_DEATH(ProcessInfo::enableSuddenTermination(), "enabled more often than it was disabled");
}

} // namespace tarn
