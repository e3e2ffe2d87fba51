#include "Interchange/AnnotationTable.h"

#include "Platform/PlainText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace tarn {
namespace {

/// The shortest text that reads as the number.
std::string numberText(double number) {
    char text[32];
    const auto printed = std::to_chars(text, text + sizeof text, number);
    return {text, printed.ptr};
}

bool isWholeNumber(std::string_view text) {
    return !text.empty() && text.size() < 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The number of a beat in its bar that a label says; empty where it says none.
std::string beatNumberIn(const std::string& label) {
    const std::size_t point = label.find('.');
    if (point == std::string::npos)
        return isWholeNumber(label) ? label : "";
    const std::string beat = label.substr(point + 1);
    return isWholeNumber(label.substr(0, point)) && isWholeNumber(beat) ? beat : "";
}

} // namespace

std::vector<TimedLabel> timedLabels(const Song& document, AnnotationKind kind, AnnotationFormat format) {
    const std::string text = annotationText(document, kind, format);
    const TextTable table = format == AnnotationFormat::csv ? parseCSV(text) : parseLab(text);
    const auto field = [](const TextRow& row, std::size_t i) {
        return i < row.fields.size() ? row.fields[i] : std::string();
    };
    std::vector<TimedLabel> labels;
    for (const TextRow& row : table.rows) {
        TimedLabel label{numberWithText(row.fields[0]).value_or(0), {}, {}};
        const bool isPoint = kind == AnnotationKind::beats || kind == AnnotationKind::markers;
        if (!isPoint)
            label.end = numberWithText(field(row, 1));
        if (kind == AnnotationKind::beats)
            label.label = row.fields.back();
        else
            label.label = field(row, format == AnnotationFormat::csv && isPoint ? 1 : 2);
        labels.push_back(std::move(label));
    }
    return labels;
}

std::string replaceWithTimedLabels(Song& document, AnnotationKind kind, std::vector<TimedLabel> labels) {
    std::stable_sort(labels.begin(), labels.end(),
                     [](const TimedLabel& a, const TimedLabel& b) { return a.start < b.start; });
    TextTable table;
    table.header = {"time"};
    const bool areBeats = kind == AnnotationKind::beats;
    const bool haveNumbers = areBeats && std::all_of(labels.begin(), labels.end(), [](const TimedLabel& l) {
                                 return !beatNumberIn(l.label).empty();
                             });
    const bool haveEnds = kind == AnnotationKind::regions ||
                          std::any_of(labels.begin(), labels.end(), [](const auto& l) { return l.end; });
    if (!areBeats && haveEnds)
        table.header.emplace_back("end");
    if (!areBeats || haveNumbers)
        table.header.emplace_back(areBeats ? "beat" : "label");
    for (const TimedLabel& label : labels) {
        TextRow row{table.rows.size() + 1, {numberText(label.start)}};
        if (!areBeats && haveEnds)
            row.fields.push_back(numberText(label.end.value_or(label.start)));
        if (!areBeats || haveNumbers)
            row.fields.push_back(areBeats ? beatNumberIn(label.label) : label.label);
        table.rows.push_back(std::move(row));
    }
    try {
        return replaceAnnotations(document, kind, table);
    } catch (const TextTableError& error) {
        throw FormatError(std::string(nameOf(kind)) + ", number " + std::to_string(error.line()) + ": " +
                          error.what());
    }
}

} // namespace tarn
