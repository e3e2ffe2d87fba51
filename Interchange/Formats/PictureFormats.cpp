#include "Interchange/Formats/Formats.h"
#include "Pictures/SongPicture.h"

namespace tarn::formats_detail {
namespace {

std::vector<FormatOption> pictureOptions() {
    return {
        {"width", "POINTS", "Width of a row in points", {}, "1000", FormatOption::Limits{200, 20000, false}},
        {"seconds-per-row",
         "SECONDS",
         "About how much music a row shows",
         {},
         "16",
         FormatOption::Limits{0.5, 3600, false}},
        concertOption()};
}

template <bool isPage>
void writePicture(std::ostream& out, const Song& song, const WriteRequest& request) {
    PictureOptions options;
    options.pageWidth = request.options.number("width").value_or(options.pageWidth);
    options.secondsPerRow = request.options.number("seconds-per-row").value_or(options.secondsPerRow);
    options.isAtConcertPitch = request.options.has("concert");
    if constexpr (isPage)
        writeSongPictureHTML(out, song, request.waveform, options, request.audioFile);
    else
        writeSongPictureSVG(out, song, request.waveform, options);
}

template <bool isPage>
Format picture(std::string_view name, std::string_view ending, std::string_view help) {
    Format format;
    format.name = name;
    format.endings = {ending};
    format.help = help;
    format.writes = "everything, as a picture";
    format.writeOptions = pictureOptions();
    format.write = writePicture<isPage>;
    format.isPicture = true;
    return format;
}

} // namespace

Format svg() {
    return picture<false>("svg", ".svg", "The song on wrapped rows, as tarn draw draws it");
}

Format html() {
    return picture<true>("html", ".html", "The same as a page that plays the recording");
}

} // namespace tarn::formats_detail
