#include "Platform/ProcessInfo.h"

#include "Platform/FatalError.h"

#include <atomic>
#include <cstdlib>

namespace tarn::ProcessInfo {

namespace {

std::atomic<int> gSuddenTerminationDisableCount = 0;

} // namespace

bool hasEnvironmentVariable(const std::string& name) {
    return std::getenv(name.c_str()) != nullptr;
}

void disableSuddenTermination() {
    ++gSuddenTerminationDisableCount;
}

void enableSuddenTermination() {
    precondition(gSuddenTerminationDisableCount.fetch_sub(1) > 0,
                 "Sudden termination was enabled more often than it was disabled");
}

int suddenTerminationDisableCount() {
    return gSuddenTerminationDisableCount;
}

} // namespace tarn::ProcessInfo
