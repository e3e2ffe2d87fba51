#pragma once

#include "Interchange/AnnotationText.h"
#include "Platform/Export.h"

#include <optional>
#include <string>
#include <vector>

/// Annotations as formats that are not text tables have them, in numbers instead of fields.
namespace TARN_PUBLIC tarn {

struct TimedLabel {
    double start = 0;          ///< seconds
    std::optional<double> end; ///< seconds
    std::string label;
};

/// The document's annotations as annotationText lists them in that format.
[[nodiscard]] std::vector<TimedLabel> timedLabels(const Song& document, AnnotationKind kind,
                                                  AnnotationFormat format);

/// As replaceAnnotations, with the labels sorted by their times. Of beats the labels are their numbers in the
/// bar, or a bar's and a beat's ("12.3"); with any other text in one of them all are times only. Throws
/// FormatError, which names a label by its place in the list.
std::string replaceWithTimedLabels(Song& document, AnnotationKind kind, std::vector<TimedLabel> labels);

} // namespace tarn
