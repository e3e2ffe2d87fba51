#include "Tests/Platform/System.h"

#include "Platform/PathConversion.h"
#include "Platform/ProcessInfo.h"

#include <windows.h>

namespace tarn {

static void setEnvironmentVariable(const char* name, const char* value) {
    ::SetEnvironmentVariableW(pathOfText(name).c_str(), value ? pathOfText(value).c_str() : nullptr);
}

EnvironmentVariable::EnvironmentVariable(const char* name, const char* value)
    : mName(name), mBefore(ProcessInfo::environmentVariable(name)) {
    setEnvironmentVariable(name, value);
}

EnvironmentVariable::~EnvironmentVariable() {
    setEnvironmentVariable(mName, mBefore ? mBefore->c_str() : nullptr);
}

bool succeededOrAborted(int status) {
    constexpr int kAborted = 3; // what the C library's abort() ends with
    return status == 0 || status == kAborted;
}

} // namespace tarn
