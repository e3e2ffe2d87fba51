#pragma once

#include <optional>
#include <string>

namespace tarn {

/// Sets an environment variable, or removes it where the value is null, and restores it at the end of its
/// life. Names and values are in UTF-8.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* mName;
    std::optional<std::string> mBefore;
};

/// For EXPECT_EXIT: whether the process ended by itself without an error, or aborted.
bool succeededOrAborted(int status);

} // namespace tarn
