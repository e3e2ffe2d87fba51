#include "Tests/Platform/System.h"

#include "Platform/ProcessInfo.h"

#include <csignal>
#include <cstdlib>
#include <sys/wait.h>

namespace tarn {

static void setEnvironmentVariable(const char* name, const char* value) {
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
}

EnvironmentVariable::EnvironmentVariable(const char* name, const char* value)
    : mName(name), mBefore(ProcessInfo::environmentVariable(name)) {
    setEnvironmentVariable(name, value);
}

EnvironmentVariable::~EnvironmentVariable() {
    setEnvironmentVariable(mName, mBefore ? mBefore->c_str() : nullptr);
}

bool succeededOrAborted(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) == 0 : WTERMSIG(status) == SIGABRT;
}

} // namespace tarn
