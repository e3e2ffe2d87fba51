#include "PracticePage/RequestValues.h"

#include "Platform/PlainText.h"

#include <charconv>

namespace tarn {
namespace {

[[noreturn]] void refuse(std::string_view name) {
    throw RequestRefused(400, "The value of " + std::string(name) + " is missing or out of range.");
}

std::string_view required(const HTTPRequest& request, std::string_view name) {
    const auto value = request.argument(name);
    if (!value)
        refuse(name);
    return *value;
}

} // namespace

std::int64_t wholeNumber(std::string_view text, std::string_view name, std::int64_t least,
                         std::int64_t most) {
    std::int64_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || value < least || value > most)
        refuse(name);
    return value;
}

double number(std::string_view text, std::string_view name, double least, double most) {
    const auto value = numberWithText(text);
    if (!value || !(*value >= least) || !(*value <= most))
        refuse(name);
    return *value;
}

std::int64_t wholeArgument(const HTTPRequest& request, std::string_view name, std::int64_t least,
                           std::int64_t most) {
    return wholeNumber(required(request, name), name, least, most);
}

double numberArgument(const HTTPRequest& request, std::string_view name, double least, double most) {
    return number(required(request, name), name, least, most);
}

bool flagArgument(const HTTPRequest& request, std::string_view name) {
    const auto value = request.argument(name);
    if (value && *value != "0" && *value != "1")
        refuse(name);
    return value == "1";
}

} // namespace tarn
