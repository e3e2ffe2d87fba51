#pragma once

#include "Interchange/Format.h"

/// The rows of the registry, each from its own file.
namespace TARN_PUBLIC tarn {
namespace formats_detail {

[[nodiscard]] Format midi();
[[nodiscard]] Format lab();
[[nodiscard]] Format csv();
[[nodiscard]] Format labels();
[[nodiscard]] Format jams();
[[nodiscard]] Format musicXML();
[[nodiscard]] Format chordPro();
[[nodiscard]] Format chart();
[[nodiscard]] Format json();
[[nodiscard]] Format svl();
[[nodiscard]] Format svg();
[[nodiscard]] Format html();

/// `--concert` of the formats that follow capo and transposition.
[[nodiscard]] FormatOption concertOption();

} // namespace formats_detail
} // namespace tarn
