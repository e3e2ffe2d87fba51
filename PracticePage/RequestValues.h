#pragma once

#include "Platform/Export.h"
#include "PracticePage/HTTP.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// No song reaches as far.
inline constexpr std::int64_t kFarthestFrame = std::int64_t{1} << 52;

/// A request that is not carried out: the status and a sentence for people.
class RequestRefused : public std::runtime_error {
public:
    RequestRefused(int status, const std::string& text) : std::runtime_error(text), mStatus(status) {}
    [[nodiscard]] int status() const { return mStatus; }

private:
    int mStatus;
};

/// A whole number of decimal digits, or a number, alone in the text and within its bounds, both included.
/// Throws RequestRefused (400), which names the value.
[[nodiscard]] std::int64_t wholeNumber(std::string_view text, std::string_view name, std::int64_t least,
                                       std::int64_t most);
[[nodiscard]] double number(std::string_view text, std::string_view name, double least, double most);

/// The same of a request's argument. Throws RequestRefused (400) where it is missing.
[[nodiscard]] std::int64_t wholeArgument(const HTTPRequest& request, std::string_view name,
                                         std::int64_t least, std::int64_t most);
[[nodiscard]] double numberArgument(const HTTPRequest& request, std::string_view name, double least,
                                    double most);
/// Whether the argument is "1"; false where it is missing or "0".
[[nodiscard]] bool flagArgument(const HTTPRequest& request, std::string_view name);

} // namespace tarn
