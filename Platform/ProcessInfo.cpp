#include "Platform/ProcessInfo.h"

#include "Platform/FatalError.h"

#include <atomic>
#include <cstdlib>

#ifdef _WIN32
#include "Platform/PathConversion.h"

#include <windows.h>
#endif

namespace tarn::ProcessInfo {

namespace {

std::atomic<int> gSuddenTerminationDisableCount = 0;

} // namespace

std::optional<std::string> environmentVariable(const std::string& name) {
#ifdef _WIN32
    const std::wstring wideName = pathOfText(name).native();
    std::wstring value;
    for (;;) {
        ::SetLastError(ERROR_SUCCESS); // which an empty value leaves
        const DWORD size =
            ::GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (size == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND)
            return std::nullopt;
        const bool isWhole = size < value.size() || size == 0; // else the size includes an end mark
        value.resize(size);
        if (isWhole)
            return textOfPath(value);
    }
#else
    const char* const value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
#endif
}

bool hasEnvironmentVariable(const std::string& name) {
    return environmentVariable(name).has_value();
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
