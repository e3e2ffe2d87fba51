#include "Platform/FileManager.h"

#include "Platform/FileManagerSystem.h"
#include "Platform/PathConversion.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <exception>
#include <mutex>
#include <new>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace tarn::FileManager {

namespace fs = std::filesystem;

namespace detail {

bool fail(Error* error, int code, const fs::path& file, const std::string& reason) {
    if (error)
        *error = Error(kFileErrorDomain, code, textOfPath(file) + ": " + reason);
    return false;
}
bool fail(Error* error, int code, const fs::path& file) {
    return fail(error, code, file, std::generic_category().message(code));
}

bool isUsable(const fs::path& file, Error* error) {
    const auto& text = file.native();
    if (const auto end = text.find(fs::path::value_type{}); end != text.npos)
        return fail(error, EINVAL, text.substr(0, end), "the path goes on after a NUL");
    const auto refused = refusal(file);
    return !refused || fail(error, refused->first, file, refused->second);
}

fs::path temporaryName(int process, unsigned number) {
    return ".tarn-" + std::to_string(process) + '-' + std::to_string(number) + ".tmp";
}

int readAll(const BlockReader& read, std::uintmax_t sizeHint, std::uintmax_t largest, Data& bytes) {
    // One byte more than the size finds the end of an ordinary file without growing the buffer.
    constexpr std::uintmax_t kSmallestBuffer = 4096;
    if (sizeHint > largest)
        return EFBIG;
    try {
        std::size_t used = 0;
        bytes.resize(static_cast<std::size_t>(std::max(kSmallestBuffer, sizeHint + 1)));
        for (;;) {
            if (used == bytes.size())
                bytes.resize(bytes.size() * 2);
            const auto [count, code] = read(std::span(bytes).subspan(used));
            if (code != 0)
                return code;
            if (count == 0)
                break;
            used += count;
            if (used > largest)
                return EFBIG;
        }
        bytes.resize(used);
        return 0;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    return ENOMEM;
}

} // namespace detail

namespace {

std::mutex gCachesDirectoryMutex;
fs::path& cachesDirectoryOverride() {
    static fs::path& directory = *new fs::path;
    return directory;
}

/// The process that has given a temporary file its name; nothing for any other name.
std::optional<int> processNamedBy(const fs::path& file) {
    const std::string name = textOfPath(file);
    const auto numberAfter = [&name](auto& number, std::size_t start) {
        if (start < name.size())
            start = static_cast<std::size_t>(
                std::from_chars(name.data() + start, name.data() + name.size(), number).ptr - name.data());
        return start;
    };
    int process = 0;
    unsigned number = 0;
    const std::size_t separator = numberAfter(process, std::string_view(".tarn-").size());
    numberAfter(number, separator + 1);
    return process > 0 && file == detail::temporaryName(process, number) ? std::optional(process)
                                                                         : std::nullopt;
}

/// Passes what is written to a stream on, block by block.
class BlockBuffer : public std::streambuf {
public:
    explicit BlockBuffer(const detail::BlockWriter& write) : mWrite(write) { restart(); }
    /// Of the first block that could not be written; 0 for none.
    [[nodiscard]] int failure() const { return mFailure; }

protected:
    int_type overflow(int_type character) override {
        if (sync() != 0)
            return traits_type::eof();
        if (!traits_type::eq_int_type(character, traits_type::eof()))
            sputc(traits_type::to_char_type(character));
        return traits_type::not_eof(character);
    }
    int sync() override {
        if (mFailure == 0)
            mFailure = mWrite(std::as_bytes(std::span(pbase(), pptr())));
        restart();
        return mFailure == 0 ? 0 : -1;
    }

private:
    void restart() { setp(mBlock.data(), mBlock.data() + mBlock.size()); }

    const detail::BlockWriter& mWrite;
    int mFailure = 0;
    std::array<char, 1 << 16> mBlock;
};

detail::Producer producerOf(std::span<const std::byte> bytes) {
    return [bytes](const detail::BlockWriter& write) { return write(bytes); };
}

} // namespace

fs::path cachesDirectory() {
    const std::lock_guard lock(gCachesDirectoryMutex);
    return cachesDirectoryOverride().empty() ? detail::systemCachesDirectory() : cachesDirectoryOverride();
}

void setCachesDirectory(fs::path directory) {
    const std::lock_guard lock(gCachesDirectoryMutex);
    cachesDirectoryOverride() = std::move(directory);
}

bool createDirectories(const fs::path& folder, Error* error) {
    if (!detail::isUsable(folder, error))
        return false;
    std::error_code code;
    fs::create_directories(folder, code);
    return !code || detail::fail(error, code.default_error_condition().value(), folder);
}

void removeLeftovers(const fs::path& folder) {
    if (!detail::isUsable(folder, nullptr))
        return;
    std::error_code ended;
    for (fs::directory_iterator entry(folder, ended), end; !ended && entry != end; entry.increment(ended)) {
        const auto process = processNamedBy(entry->path().filename());
        std::error_code gone;
        if (process && detail::isAbandoned(entry->path(), *process))
            fs::remove(entry->path(), gone);
    }
}

bool write(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    return detail::writeInPlace(producerOf(bytes), file, error);
}

bool writeAtomically(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    return detail::replaceAtomically(producerOf(bytes), file, error);
}

bool streamAtomically(const std::function<void(std::ostream&)>& produce, const fs::path& file, Error* error) {
    std::exception_ptr thrown;
    const bool isWritten = detail::replaceAtomically(
        [&](const detail::BlockWriter& write) {
            BlockBuffer buffer(write);
            std::ostream stream(&buffer);
            try {
                produce(stream);
            } catch (...) {
                thrown = std::current_exception();
                return ECANCELED;
            }
            stream.flush();
            return buffer.failure();
        },
        file, error);
    if (thrown)
        std::rethrow_exception(thrown);
    return isWritten;
}

} // namespace tarn::FileManager
