#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <map>
#include <string>

namespace TARN_PUBLIC tarn {

/// What an analysis says of its results besides the results. Confidences lie between 0 and 1. Facts about
/// single entries are keyed by the entries' identifiers and go when the entries are changed or removed.
struct AnalysisFacts {
    std::string engineVersion;              ///< empty where no analysis was made
    std::map<std::string, double> overall;  ///< by the kind of entries: "key", "tempo", "beat", …
    std::map<std::uint64_t, double> chords; ///< by the chord entry's identifier
    std::map<std::uint64_t, double> bars;   ///< by the identifier of the downbeat that opens the bar

    [[nodiscard]] bool isEmpty() const {
        return engineVersion.empty() && overall.empty() && chords.empty() && bars.empty();
    }
    friend bool operator==(const AnalysisFacts&, const AnalysisFacts&) = default;
};

} // namespace tarn
