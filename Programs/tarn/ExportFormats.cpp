#include "Programs/tarn/ExportFormats.h"

#include "Interchange/AnnotationText.h"
#include "Programs/tarn/OutputFile.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <array>
#include <map>

namespace tarn::program {
namespace {

const std::map<std::string, AnnotationKind> kKinds{{"beats", AnnotationKind::beats},
                                                   {"chords", AnnotationKind::chords},
                                                   {"sections", AnnotationKind::sections},
                                                   {"regions", AnnotationKind::regions}};
const std::map<std::string, MIDIExportTiming> kTimings{{"song", MIDIExportTiming::followSongTempo},
                                                       {"fixed", MIDIExportTiming::fixedTempo},
                                                       {"seconds", MIDIExportTiming::seconds}};

void writeMIDI(const Song& song, const ExportRequest& request) {
    const UserInfo options{
        {TarnNoteEntryStorageMIDIExportNotesOptionKey, request.hasNotes},
        {TarnNoteEntryStorageMIDIExportChordsOptionKey, request.hasChords},
        {TarnNoteEntryStorageMIDITransposeAmountOptionKey, request.transpose},
        {TarnNoteEntryStorageMIDITimingOptionKey, kTimings.at(request.timing)},
    };
    writeMIDIFile(song, options, request.output);
}

template <AnnotationFormat kFormat>
void writeTable(const Song& song, const ExportRequest& request) {
    writeTextFile(annotationText(song, kKinds.at(request.what), kFormat), request.output);
}

void writePicture(const Song& song, const ExportRequest& request) {
    writeSongPicture(song, request.document, request.output, {});
}

const std::array<ExportFormat, 5> kFormats{{
    {{".mid", ".midi"}, {"--timing", "--no-notes", "--no-chords", "--transpose"}, writeMIDI},
    {{".lab"}, {"--what"}, writeTable<AnnotationFormat::lab>},
    {{".csv"}, {"--what"}, writeTable<AnnotationFormat::csv>},
    {{".svg"}, {}, writePicture},
    {{".html"}, {}, writePicture},
}};

template <typename Value>
std::vector<std::string> namesOf(const std::map<std::string, Value>& values) {
    std::vector<std::string> names;
    names.reserve(values.size());
    for (const auto& [name, value] : values)
        names.push_back(name);
    return names;
}

} // namespace

std::span<const ExportFormat> exportFormats() {
    return kFormats;
}

const ExportFormat* exportFormatOf(const std::filesystem::path& output) {
    const std::string ending = endingOf(output);
    const auto format = std::find_if(kFormats.begin(), kFormats.end(), [&](const ExportFormat& candidate) {
        return std::find(candidate.endings.begin(), candidate.endings.end(), ending) !=
               candidate.endings.end();
    });
    return format == kFormats.end() ? nullptr : &*format;
}

std::string exportEndings() {
    std::string text;
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        text += i == 0 ? "" : i + 1 < kFormats.size() ? ", " : " or ";
        text += kFormats[i].endings.front();
    }
    return text;
}

std::vector<std::string> exportedKinds() {
    return namesOf(kKinds);
}

std::vector<std::string> exportTimings() {
    return namesOf(kTimings);
}

} // namespace tarn::program
