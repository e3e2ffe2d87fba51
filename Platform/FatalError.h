#pragma once

#include "Platform/Export.h"

#include <string_view>

namespace TARN_PUBLIC tarn {

/// Ends the process because the program itself is wrong: a broken precondition, an overflow, an entry that
/// does not exist. Writes the message to the log and to standard error, then aborts. Never returns, never
/// throws.
[[noreturn]] void fatalError(std::string_view message);

/// Aborts with `message` unless `condition` holds.
inline void precondition(bool condition, std::string_view message) {
    if (!condition) [[unlikely]]
        fatalError(message);
}

} // namespace tarn
