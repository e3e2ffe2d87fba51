#pragma once

#include "Platform/Export.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

class EventStream;

/// A request as it was received, of bounded size. Nothing in it can be trusted.
struct HTTPRequest {
    using Fields = std::vector<std::pair<std::string, std::string>>;

    std::string method; ///< "GET"
    std::string path;   ///< unescaped, without what follows the question mark
    Fields query;       ///< unescaped
    Fields headers;     ///< names in small letters
    std::string body;
    bool isFromThisMachine = true;

    /// The value of a header that was sent once; nothing for one that is missing or was sent more often.
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
    [[nodiscard]] bool hasHeader(std::string_view name) const;
    /// The value of the first such argument.
    [[nodiscard]] std::optional<std::string_view> argument(std::string_view name) const;
};

struct HTTPResponse {
    int status = 200;
    std::string type = "application/json";
    std::string body = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    /// Where given, what is pushed to it follows in the place of a body, until it is closed.
    std::shared_ptr<EventStream> events = {};
};

} // namespace tarn
