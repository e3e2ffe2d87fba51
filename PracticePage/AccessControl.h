#pragma once

#include "Platform/Export.h"
#include "PracticePage/HTTP.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

/// 128 random bits of the system as 32 hexadecimal digits.
[[nodiscard]] std::string newSecret();
/// Whether both are equal; takes the same time wherever they differ.
[[nodiscard]] bool isSameSecret(std::string_view a, std::string_view b);

/// What a page that has a session may do.
struct Admission {
    bool isFromNetwork = false; ///< another device's, which gave the code
    bool mayEdit = true;        ///< otherwise it may practise only
};

/// Who may talk to the server. A page begins its session with a token that works once, or from another device
/// with a code that a person typed; both give a secret that each request then carries. Thread-safe.
class AccessControl {
public:
    static constexpr int kMostWrongCodes = 5; ///< then no code works any more
    static constexpr std::size_t kMostSessions = 32;

    struct Options {
        /// Whether other devices are offered a code.
        bool isOnNetwork = false;
        bool mayNetworkEdit = false;
    };
    explicit AccessControl(Options options);

    /// Names and addresses under which the server is reached, "127.0.0.1:4711". Until they are known all
    /// requests are refused.
    void setHosts(std::vector<std::string> hosts);

    /// A token that begins one session, once.
    [[nodiscard]] std::string newToken();
    /// The code for other devices, eight digits; nothing without an offer.
    [[nodiscard]] std::optional<std::string> code() const;

    struct Begun {
        std::string session;
        Admission admission;
    };
    /// Nothing for a token that is unknown or was used.
    [[nodiscard]] std::optional<Begun> beginWithToken(std::string_view token);
    /// Nothing for a wrong code, and for any code after too many wrong ones.
    [[nodiscard]] std::optional<Begun> beginWithCode(std::string_view code);
    [[nodiscard]] std::optional<Admission> admission(std::string_view session) const;

    /// Whether a request was sent to this server under one of its names, by a page of this server if by any:
    /// other sites reach it neither by links of theirs nor by names that lead here.
    [[nodiscard]] bool isAddressedHere(const HTTPRequest& request) const;

private:
    struct Session {
        std::string secret;
        Admission admission;
    };
    Begun begin(const Admission& admission);

    const Options mOptions;
    mutable std::mutex mMutex;
    std::vector<std::string> mHosts;
    std::vector<std::string> mTokens;
    std::string mCode; ///< empty: no offer
    int mWrongCodes = 0;
    std::vector<Session> mSessions; ///< the oldest first
};

} // namespace tarn
