#include "PracticePage/AccessControl.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <array>
#include <sys/random.h>

namespace tarn {
namespace {

template <std::size_t kCount>
std::array<unsigned char, kCount> randomBytes() {
    std::array<unsigned char, kCount> bytes{};
    precondition(getentropy(bytes.data(), bytes.size()) == 0, "The system has no random numbers");
    return bytes;
}

/// So many that nobody tries one in a hundred thousand before the offer ends.
constexpr std::size_t kCodeLength = 8;

std::string newCode() {
    std::string code;
    while (code.size() < kCodeLength) {
        for (const unsigned char byte : randomBytes<16>()) {
            if (byte < 250 && code.size() < kCodeLength) // so that all digits are as likely
                code += static_cast<char>('0' + byte % 10);
        }
    }
    return code;
}

} // namespace

std::string newSecret() {
    std::string text;
    for (const unsigned char byte : randomBytes<16>())
        text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    return text;
}

bool isSameSecret(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |=
            static_cast<unsigned char>(a[i]) ^ static_cast<unsigned>(static_cast<unsigned char>(b[i]));
    return difference == 0;
}

AccessControl::AccessControl(Options options)
    : mOptions(options), mCode(mOptions.isOnNetwork ? newCode() : "") {}

void AccessControl::setHosts(std::vector<std::string> hosts) {
    const std::lock_guard guard(mMutex);
    mHosts = std::move(hosts);
}

std::string AccessControl::newToken() {
    const std::lock_guard guard(mMutex);
    constexpr std::size_t kMostTokens = 16;
    if (mTokens.size() == kMostTokens)
        mTokens.erase(mTokens.begin());
    return mTokens.emplace_back(newSecret());
}

std::optional<std::string> AccessControl::code() const {
    const std::lock_guard guard(mMutex);
    return mCode.empty() ? std::nullopt : std::optional(mCode);
}

AccessControl::Begun AccessControl::begin(const Admission& admission) {
    if (mSessions.size() == kMostSessions)
        mSessions.erase(mSessions.begin());
    mSessions.push_back({newSecret(), admission});
    return {mSessions.back().secret, admission};
}

std::optional<AccessControl::Begun> AccessControl::beginWithToken(std::string_view token) {
    const std::lock_guard guard(mMutex);
    const auto found =
        std::ranges::find_if(mTokens, [&](const std::string& known) { return isSameSecret(known, token); });
    if (found == mTokens.end())
        return std::nullopt;
    mTokens.erase(found);
    return begin({});
}

std::optional<AccessControl::Begun> AccessControl::beginWithCode(std::string_view code) {
    const std::lock_guard guard(mMutex);
    if (mCode.empty())
        return std::nullopt;
    if (isSameSecret(mCode, code))
        return begin({true, mOptions.mayNetworkEdit});
    if (++mWrongCodes == kMostWrongCodes)
        mCode.clear();
    return std::nullopt;
}

std::optional<Admission> AccessControl::admission(std::string_view session) const {
    const std::lock_guard guard(mMutex);
    const auto found = std::ranges::find_if(
        mSessions, [&](const Session& known) { return isSameSecret(known.secret, session); });
    return found == mSessions.end() ? std::nullopt : std::optional(found->admission);
}

bool AccessControl::isAddressedHere(const HTTPRequest& request) const {
    const auto host = request.header("host");
    {
        const std::lock_guard guard(mMutex);
        if (!host || std::ranges::find(mHosts, *host) == mHosts.end())
            return false;
    }
    // Browsers name the page's origin in each request that changes something.
    const bool changesNothing = request.method == "GET" || request.method == "HEAD";
    if (!request.hasHeader("origin"))
        return changesNothing;
    return request.header("origin") == "http://" + std::string(*host);
}

} // namespace tarn
