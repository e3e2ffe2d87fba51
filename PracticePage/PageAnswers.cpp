#include "PracticePage/PageAnswers.h"

#include "PracticePage/PageFiles.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

struct Kind {
    std::string_view ending;
    const char* type;
};
constexpr Kind kKinds[] = {{".html", "text/html; charset=utf-8"},
                           {".js", "text/javascript; charset=utf-8"},
                           {".css", "text/css; charset=utf-8"},
                           {".json", "application/json"},
                           {".webmanifest", "application/manifest+json"},
                           {".svg", "image/svg+xml"},
                           {".png", "image/png"}};

} // namespace

HTTPResponse errorAnswer(int status, std::string_view text) {
    return {status, "application/json",
            nlohmann::json{{"error", text}}.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
}

HTTPResponse pageAnswer(std::string_view path) {
    constexpr std::string_view kFolder = "/page/";
    std::string_view name;
    if (path == "/")
        name = "index.html";
    else if (path.starts_with(kFolder))
        name = path.substr(kFolder.size());
    const auto file = std::ranges::find(kPageFiles, name, &PageFile::name);
    if (file == kPageFiles.end())
        return errorAnswer(404, "There is nothing under this address.");
    const auto* const kind =
        std::ranges::find_if(kKinds, [&](const Kind& known) { return name.ends_with(known.ending); });
    return {200, kind == std::end(kKinds) ? "application/octet-stream" : kind->type,
            std::string(file->content)};
}

void addSafetyHeaders(HTTPResponse& response) {
    response.headers.insert(
        response.headers.end(),
        {{"Content-Security-Policy",
          "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
          "connect-src 'self'; worker-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'none'; "
          "frame-ancestors 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"Cross-Origin-Resource-Policy", "same-origin"},
         {"Cross-Origin-Opener-Policy", "same-origin"},
         {"Referrer-Policy", "no-referrer"},
         {"Cache-Control", "no-store"}});
}

} // namespace tarn
