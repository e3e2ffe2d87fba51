#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Tables of short texts that tests hold in one literal.
namespace tarn {

/// The parts of a text between its separators.
inline std::vector<std::string> partsOf(const std::string& text, char separator = ' ') {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

/// "a=b c=d" as pairs.
inline std::vector<std::pair<std::string, std::string>> pairsOf(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& part : partsOf(text))
        pairs.emplace_back(part.substr(0, part.find('=')), part.substr(part.find('=') + 1));
    return pairs;
}

} // namespace tarn
