#pragma once

#include "Platform/Export.h"
#include "PracticePage/HTTP.h"

#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// {"error": text} with the status.
[[nodiscard]] HTTPResponse errorAnswer(int status, std::string_view text);

/// The file of the page under that path; 404 for any other. Paths are compared with the names of the files
/// that the program holds, and lead nowhere else.
[[nodiscard]] HTTPResponse pageAnswer(std::string_view path);

/// Adds what keeps a browser from doing anything with the answer but what the page means: a strict content
/// security policy, no sniffing, no framing, no keeping.
void addSafetyHeaders(HTTPResponse& response);

} // namespace tarn
