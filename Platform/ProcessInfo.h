#pragma once

#include "Platform/Export.h"

#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// Facts about and switches of the running process.
namespace ProcessInfo {

/// The variable's value, which may be empty (on Windows in UTF-8); nothing when the environment does not hold
/// it.
[[nodiscard]] std::optional<std::string> environmentVariable(const std::string& name);
/// Whether the environment holds the variable, whatever its value.
[[nodiscard]] bool hasEnvironmentVariable(const std::string& name);

/// Counted: while the count is above zero the embedding application must not kill the process without notice.
/// The count starts at zero; enabling below zero aborts. Thread-safe.
void disableSuddenTermination();
void enableSuddenTermination();
[[nodiscard]] int suddenTerminationDisableCount();

} // namespace ProcessInfo

/// Disables sudden termination for its lifetime.
class SuddenTerminationGuard {
public:
    SuddenTerminationGuard() { ProcessInfo::disableSuddenTermination(); }
    ~SuddenTerminationGuard() { ProcessInfo::enableSuddenTermination(); }
    SuddenTerminationGuard(const SuddenTerminationGuard&) = delete;
    SuddenTerminationGuard& operator=(const SuddenTerminationGuard&) = delete;
};

} // namespace tarn
