#pragma once

#include "PracticePage/PracticeAPI.h"

#include <nlohmann/json.hpp>

// For the sources of PracticeAPI alone.
namespace TARN_PUBLIC tarn {

using nlohmann::json;

/// What a session has to be allowed.
enum class Right {
    practise, ///< every session is
    edit,
    own, ///< only a page on the machine itself
};

struct PracticeAPI::Call {
    const HTTPRequest& request;
    const Admission& admission;
    std::shared_ptr<PracticeSession> session; ///< null where no song is open
    std::vector<std::string_view> places;     ///< what stands in the places of the path's asterisks

    /// Throws RequestRefused (404) where no song is open.
    [[nodiscard]] PracticeSession& song() const;
};

struct PracticeAPI::Route {
    std::string_view method;
    std::string_view path; ///< an asterisk stands for what lies between two slashes
    Right right;
    HTTPResponse (PracticeAPI::*answer)(const Call& call);
};

/// What stands in the places of the asterisks; nothing where the path is another one.
[[nodiscard]] std::optional<std::vector<std::string_view>> placesIn(std::string_view path,
                                                                    std::string_view pattern);

/// The body as an object. Throws RequestRefused (400) for anything else.
[[nodiscard]] json objectIn(std::string_view body);
/// Nothing where it is missing or null. Throws RequestRefused (400) where it is something else.
[[nodiscard]] std::optional<std::string> textMember(const json& object, const char* name);
/// Throw RequestRefused (400) where it is missing, of another kind, or out of bounds, both included.
[[nodiscard]] std::int64_t wholeMember(const json& object, const char* name, std::int64_t least,
                                       std::int64_t most);
/// The standard where it is missing or null.
[[nodiscard]] double numberMember(const json& object, const char* name, double least, double most,
                                  double standard);

[[nodiscard]] HTTPResponse jsonAnswer(const json& object);

} // namespace tarn
