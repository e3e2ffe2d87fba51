#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// Logging by subsystem and category, with private and public arguments, and signpost intervals.
namespace TARN_PUBLIC tarn {

enum class LogLevel { debug, info, standard, error, fault };

/// One argument of a log message: its text and whether it may be shown to everybody.
struct LogArgument {
    std::string text;
    bool isPrivate = true;
};

[[nodiscard]] inline LogArgument logPublic(std::string text) {
    return {std::move(text), false};
}
[[nodiscard]] inline LogArgument logPrivate(std::string text) {
    return {std::move(text), true};
}
template <typename Number>
requires std::is_arithmetic_v<Number>
[[nodiscard]] LogArgument logPublic(Number number) {
    return {std::to_string(number), false};
}

/// What a sink receives. `format` holds a placeholder "{}" for each argument, in order.
struct LogMessage {
    std::string subsystem;
    std::string category;
    LogLevel level = LogLevel::standard;
    std::string format;
    std::vector<LogArgument> arguments;

    /// The text with private arguments shown, or hidden as "<private>".
    [[nodiscard]] std::string text(bool showPrivate) const;
};

/// Receives every message that is logged; called from any thread, one call at a time. What a
/// sink throws is dropped, and what it logs itself goes to standard error.
using LogSink = std::function<void(const LogMessage&)>;

/// Replaces the process-wide sink and returns the one before. An empty sink restores the default one, which
/// writes to standard error. After the call the earlier sink is not called any more.
LogSink setLogSink(LogSink sink);

// What the default sink shows. The log is for developers: whatever a user must know, the library reports to
// its caller, and messages at level `error` come in healthy runs too, such as those of a cache that is not
// there yet. So only faults are shown, and private arguments are hidden, until an application asks for more.
// A sink that was set receives every message.

/// The least level that the default sink shows; at first LogLevel::fault.
void setLogLevel(LogLevel least);
void setLogShowsPrivateArguments(bool show);
/// For fatalError: gives the message to a sink that was set, at level `fault` and in the category
/// "FatalError", unless the caller is that sink or the sink is stuck in another thread.
void deliverFatalError(std::string_view message) noexcept;

/// A cheap handle for one subsystem and category; a disabled one drops everything before an argument is
/// built.
class Log {
public:
    Log(std::string subsystem, std::string category);
    /// The log that drops everything.
    static const Log& disabled();
    /// The log without subsystem and category.
    static const Log& standard();

    [[nodiscard]] bool isEnabled() const { return mEnabled; }

    /// `arguments` returns the arguments and is only called when the log is enabled.
    template <typename Arguments>
    requires std::is_invocable_r_v<std::vector<LogArgument>, Arguments>
    void write(LogLevel level, std::string_view format, Arguments&& arguments) const {
        if (mEnabled)
            deliver(level, format, arguments());
    }
    void write(LogLevel level, std::string_view format) const {
        if (mEnabled)
            deliver(level, format, {});
    }

    /// A new identifier for signpost intervals of this log.
    [[nodiscard]] std::uint64_t makeSignpost() const;
    /// The begin and end of a named interval; delivered to the sink at debug level as "signpost begin <name>
    /// <id>" and "signpost end <name> <id>".
    void signpostBegin(std::string_view intervalName, std::uint64_t signpost) const;
    void signpostEnd(std::string_view intervalName, std::uint64_t signpost) const;

private:
    Log() = default;
    void deliver(LogLevel level, std::string_view format, std::vector<LogArgument> arguments) const;

    std::string mSubsystem;
    std::string mCategory;
    bool mEnabled = false;
};

} // namespace tarn
