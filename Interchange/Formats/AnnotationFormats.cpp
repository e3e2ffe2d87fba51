#include "Interchange/AnnotationText.h"
#include "Interchange/Formats/Formats.h"

#include <ostream>

namespace tarn::formats_detail {
namespace {

const std::vector<std::string_view> kKinds{"beats", "chords", "sections", "regions", "markers"};

AnnotationKind kindIn(const FormatOptions& options) {
    return annotationKindNamed(options.text("what", "chords"));
}

std::vector<FormatOption> annotationWriteOptions() {
    return {{"what", "KIND", "What the file holds", kKinds, "chords"}};
}

std::vector<FormatOption> annotationReadOptions() {
    return {{"what", "KIND", "What the file holds", kKinds, "chords"},
            {"beats-per-bar",
             "N",
             "How beats are counted that a list does not number (the document's metre)",
             {},
             {},
             FormatOption::Limits{1, BeatCounting::kMostBeatsPerBar}},
            {"first-downbeat",
             "K",
             "Which beat of such a list opens the first bar (as the document's bars do, or 1)",
             {},
             {},
             FormatOption::Limits{1, 1e9}}};
}

template <AnnotationFormat kFormat>
void writeAnnotations(std::ostream& out, const Song& song, const WriteRequest& request) {
    out << annotationText(song, kindIn(request.options), kFormat);
}

void checkCounting(const FormatOptions& options) {
    for (const char* option : {"beats-per-bar", "first-downbeat"}) {
        if (options.has(option) && kindIn(options) != AnnotationKind::beats)
            throw FormatOptionError("--" + std::string(option) + " means nothing without --what beats");
    }
}

template <AnnotationFormat kFormat>
std::string readAnnotations(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const AnnotationKind kind = kindIn(request.options);
    // Lists of beats come in all forms, whatever the file is called.
    const TextTable table = kind == AnnotationKind::beats         ? parseNumbers(text)
                            : kFormat == AnnotationFormat::csv    ? parseCSV(text)
                            : kFormat == AnnotationFormat::labels ? parseLabels(text)
                                                                  : parseLab(text);
    return replaceAnnotations(
        song, kind, table,
        {request.options.wholeNumber("beats-per-bar"), request.options.wholeNumber("first-downbeat")});
}

template <AnnotationFormat kFormat>
Format annotationFormat(std::string_view name, std::string_view ending, std::string_view help) {
    Format format;
    format.name = name;
    format.endings = {ending};
    format.help = help;
    format.writes = "beats, chords, sections, regions or markers";
    format.reads = "beats, chords, sections, regions or markers; times only too";
    format.writeOptions = annotationWriteOptions();
    format.readOptions = annotationReadOptions();
    format.write = writeAnnotations<kFormat>;
    format.checkReadOptions = checkCounting;
    format.read = readAnnotations<kFormat>;
    return format;
}

} // namespace

Format lab() {
    return annotationFormat<AnnotationFormat::lab>(
        "lab", ".lab", "Lines of start, end and label as research tools read them");
}

Format csv() {
    return annotationFormat<AnnotationFormat::csv>("csv", ".csv", "Rows with column names, for spreadsheets");
}

Format labels() {
    return annotationFormat<AnnotationFormat::labels>("labels", ".txt", "A label track of Audacity");
}

} // namespace tarn::formats_detail
