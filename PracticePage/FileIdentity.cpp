#include "PracticePage/FileIdentity.h"

#include <sys/stat.h>

namespace tarn {

std::optional<FileIdentity> FileIdentity::of(const std::filesystem::path& file) {
    struct stat found {};
    if (::stat(file.c_str(), &found) != 0)
        return std::nullopt;
    const auto nanoseconds = [](const timespec& time) {
        constexpr std::int64_t kPerSecond = 1'000'000'000;
        return std::int64_t{time.tv_sec} * kPerSecond + time.tv_nsec;
    };
    return FileIdentity{found.st_dev, found.st_ino, static_cast<std::uint64_t>(found.st_size),
                        nanoseconds(found.st_mtim), nanoseconds(found.st_ctim)};
}

} // namespace tarn
