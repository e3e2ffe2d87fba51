#include "PracticePage/HTTP.h"

#include <algorithm>

namespace tarn {
namespace {

std::optional<std::string_view> firstIn(const HTTPRequest::Fields& fields, std::string_view name) {
    const auto found = std::ranges::find(fields, name, [](const auto& field) { return field.first; });
    return found == fields.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

} // namespace

std::optional<std::string_view> HTTPRequest::header(std::string_view name) const {
    const auto isNamed = [name](const auto& field) { return field.first == name; };
    return std::ranges::count_if(headers, isNamed) == 1 ? firstIn(headers, name) : std::nullopt;
}

bool HTTPRequest::hasHeader(std::string_view name) const {
    return firstIn(headers, name).has_value();
}

std::optional<std::string_view> HTTPRequest::argument(std::string_view name) const {
    return firstIn(query, name);
}

} // namespace tarn
