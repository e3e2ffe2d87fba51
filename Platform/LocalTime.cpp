#include "Platform/LocalTime.h"

namespace tarn {

std::optional<std::tm> localTime(std::time_t time) {
    std::tm local{};
#ifdef _WIN32
    const bool isCounted = ::localtime_s(&local, &time) == 0;
#else
    const bool isCounted = ::localtime_r(&time, &local) != nullptr;
#endif
    return isCounted ? std::optional(local) : std::nullopt;
}

} // namespace tarn
