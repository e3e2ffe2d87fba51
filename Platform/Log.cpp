#include "Platform/Log.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>

namespace tarn {

namespace {

/// The process-wide sink. Never destroyed, so that logging works until the very end of the process.
struct SinkHolder {
    std::recursive_mutex mutex; ///< held during a delivery, so that a replaced sink is never called again
    std::shared_ptr<const LogSink> sink; ///< empty: the default sink
};

SinkHolder& sinkHolder() {
    static SinkHolder& holder = *new SinkHolder;
    return holder;
}

std::atomic<LogLevel> gLeastLevel = LogLevel::fault;
std::atomic<bool> gShowsPrivateArguments = false;
thread_local bool tInsideSink = false;

const char* levelName(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return "debug";
    case LogLevel::info:
        return "info";
    case LogLevel::standard:
        return "standard";
    case LogLevel::error:
        return "error";
    case LogLevel::fault:
        return "fault";
    }
    return "unknown";
}

void writeToStandardError(const LogMessage& message) {
    if (message.level < gLeastLevel)
        return;
    std::string line;
    if (!message.subsystem.empty() || !message.category.empty())
        line = '[' + message.subsystem + ':' + message.category + "] ";
    line += std::string(levelName(message.level)) + ": " + message.text(gShowsPrivateArguments) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Calls the sink with `holder.mutex` held by the caller. A sink that throws loses the message and nothing
/// else.
void callSink(const SinkHolder& holder, const LogMessage& message) noexcept {
    const auto sink = holder.sink; // Stays alive when it replaces itself.
    tInsideSink = true;
    try {
        if (sink)
            (*sink)(message);
        else
            writeToStandardError(message);
    } catch (...) {
    }
    tInsideSink = false;
}

} // namespace

std::string LogMessage::text(bool showPrivate) const {
    std::string result;
    std::size_t argument = 0;
    std::size_t start = 0;
    while (argument < arguments.size()) {
        const std::size_t placeholder = format.find("{}", start);
        if (placeholder == std::string::npos)
            break;
        result.append(format, start, placeholder - start);
        const LogArgument& value = arguments[argument++];
        result += value.isPrivate && !showPrivate ? "<private>" : value.text;
        start = placeholder + 2;
    }
    return result.append(format, start);
}

LogSink setLogSink(LogSink sink) {
    auto replacement = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
    SinkHolder& holder = sinkHolder();
    const std::lock_guard lock(holder.mutex);
    holder.sink.swap(replacement);
    return replacement ? *replacement : LogSink{};
}

void setLogLevel(LogLevel least) {
    gLeastLevel = least;
}

void setLogShowsPrivateArguments(bool show) {
    gShowsPrivateArguments = show;
}

void deliverFatalError(std::string_view message) noexcept {
    if (tInsideSink)
        return;
    try {
        SinkHolder& holder = sinkHolder();
        std::unique_lock lock(holder.mutex, std::try_to_lock);
        for (int attempt = 0; !lock && attempt < 100; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            lock.try_lock();
        }
        if (!lock || !holder.sink)
            return;
        LogMessage fault;
        fault.category = "FatalError";
        fault.level = LogLevel::fault;
        fault.format = message;
        callSink(holder, fault);
    } catch (...) {
    }
}

Log::Log(std::string subsystem, std::string category)
    : mSubsystem(std::move(subsystem)), mCategory(std::move(category)), mEnabled(true) {}

const Log& Log::disabled() {
    static const Log& log = *new Log;
    return log;
}

const Log& Log::standard() {
    static const Log& log = *new Log({}, {});
    return log;
}

std::uint64_t Log::makeSignpost() const {
    static std::atomic<std::uint64_t> last = 0;
    return mEnabled ? ++last : 0;
}

void Log::signpostBegin(std::string_view intervalName, std::uint64_t signpost) const {
    write(LogLevel::debug, "signpost begin {} {}", [&] {
        return std::vector{logPublic(std::string(intervalName)), logPublic(signpost)};
    });
}

void Log::signpostEnd(std::string_view intervalName, std::uint64_t signpost) const {
    write(LogLevel::debug, "signpost end {} {}", [&] {
        return std::vector{logPublic(std::string(intervalName)), logPublic(signpost)};
    });
}

void Log::deliver(LogLevel level, std::string_view format, std::vector<LogArgument> arguments) const {
    const LogMessage message{mSubsystem, mCategory, level, std::string(format), std::move(arguments)};
    if (tInsideSink) {
        // A sink that logs does not call itself.
        writeToStandardError(message);
        return;
    }
    SinkHolder& holder = sinkHolder();
    const std::lock_guard lock(holder.mutex);
    callSink(holder, message);
}

} // namespace tarn
