#include "Interchange/DocumentJSON.h"
#include "Interchange/Formats/Formats.h"

#include <ostream>

namespace tarn::formats_detail {

Format json() {
    Format format;
    format.name = "json";
    format.endings = {".json"};
    format.help = "The whole document for programs, as tarn show --json prints it";
    format.writes = "everything";
    format.write = [](std::ostream& out, const Song& song, const WriteRequest&) {
        out << documentJSON(song);
    };
    return format;
}

} // namespace tarn::formats_detail
