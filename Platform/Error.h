#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace tarn {

/// Values of any type under text keys: what a notification or an error carries along.
using UserInfo = std::map<std::string, std::any>;

/// The user-information key of an error's text, a std::string.
inline constexpr const char* kLocalizedDescriptionKey = "NSLocalizedDescription";

/// A failure that a caller handles: who reports it (`domain`), which one it is (`code`), and what to tell the
/// user. Filled in through an out-argument or thrown.
struct Error {
    std::string domain;
    long code = 0;
    UserInfo userInfo;
    std::shared_ptr<const Error> underlying; ///< the failure that caused this one, where that says more

    Error() = default;
    Error(std::string errorDomain, long errorCode, const std::string& description)
        : domain(std::move(errorDomain)), code(errorCode), userInfo{{kLocalizedDescriptionKey, description}} {
    }

    /// The text under kLocalizedDescriptionKey; without one, a text made of domain and code.
    [[nodiscard]] std::string localizedDescription() const;
};

} // namespace tarn
