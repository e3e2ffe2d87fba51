#include "Interchange/Formats/Formats.h"
#include "Interchange/SongChart.h"

#include <ostream>

namespace tarn::formats_detail {

Format chart() {
    Format format;
    format.name = "chart";
    format.help = "The chart that tarn show prints, as plain text";
    format.writes = "what holds for the song, chords by bars, sections, regions and markers";
    format.reads = "chords and sections, put on the song's bars";
    format.writeOptions = {concertOption()};
    format.readOptions = {concertOption()};
    format.write = [](std::ostream& out, const Song& song, const WriteRequest& request) {
        const bool isAtConcertPitch = request.options.has("concert");
        out << songFacts(song, isAtConcertPitch) << songChart(song, isAtConcertPitch);
    };
    format.read = [](Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
        return replaceByChart(song, {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                              request.options.has("concert"));
    };
    return format;
}

} // namespace tarn::formats_detail
