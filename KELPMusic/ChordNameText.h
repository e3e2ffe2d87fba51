#pragma once

#include "Platform/Export.h"

#include <string>
#include <string_view>

/// How typed chord names are brought into the letters and signs of the chord table. Bytes that are not UTF-8
/// pass through.
namespace TARN_PUBLIC tarn {

/// The text with the musical signs that keyboards and charts offer in the table's spelling: ♯ # and ♭ b, the
/// increment sign and the triangle as Δ, the ordinal sign º as °.
[[nodiscard]] std::string plainChordSigns(std::string_view text);

/// The text with the letters A to Z, Ø and Δ in lower case, nothing else changed.
[[nodiscard]] std::string lowerCasedChordText(std::string_view text);

} // namespace tarn
