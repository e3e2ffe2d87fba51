#include "PracticePage/PracticeCall.h"

#include "PracticePage/RequestValues.h"

namespace tarn {
namespace {

[[noreturn]] void refuse(const char* name) {
    throw RequestRefused(400, "The value of " + std::string(name) + " is missing or out of range.");
}

/// The part up to the next slash, which goes too.
std::string_view takePart(std::string_view& path) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const auto part = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    return part;
}

} // namespace

PracticeSession& PracticeAPI::Call::song() const {
    if (!session)
        throw RequestRefused(404, "No song is open.");
    return *session;
}

std::optional<std::vector<std::string_view>> placesIn(std::string_view path, std::string_view pattern) {
    std::vector<std::string_view> places;
    if (path.ends_with('/'))
        return std::nullopt;
    while (!path.empty() && !pattern.empty()) {
        const auto wanted = takePart(pattern);
        const auto part = takePart(path);
        if (wanted == "*" && !part.empty())
            places.push_back(part);
        else if (wanted != part)
            return std::nullopt;
    }
    if (!path.empty() || !pattern.empty())
        return std::nullopt;
    return places;
}

json objectIn(std::string_view body) {
    json object = json::parse(body, nullptr, false);
    if (!object.is_object())
        throw RequestRefused(400, "The request is not a JSON object.");
    return object;
}

std::optional<std::string> textMember(const json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null())
        return std::nullopt;
    if (!found->is_string())
        refuse(name);
    return found->get<std::string>();
}

std::int64_t wholeMember(const json& object, const char* name, std::int64_t least, std::int64_t most) {
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number_integer())
        refuse(name);
    const double value = found->get<double>(); // a number beyond 64 bits is not a small one here
    if (!(value >= static_cast<double>(least)) || !(value <= static_cast<double>(most)))
        refuse(name);
    return found->get<std::int64_t>();
}

double numberMember(const json& object, const char* name, double least, double most, double standard) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null())
        return standard;
    if (!found->is_number())
        refuse(name);
    const double value = found->get<double>();
    if (!(value >= least) || !(value <= most))
        refuse(name);
    return value;
}

HTTPResponse jsonAnswer(const json& object) {
    return {200, "application/json", object.dump(-1, ' ', false, json::error_handler_t::replace)};
}

} // namespace tarn
