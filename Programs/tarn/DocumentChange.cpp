#include "Programs/tarn/DocumentChange.h"

#include "Platform/PlainText.h"
#include "Song/DistinctIdentifiers.h"
#include "Song/SongChange.h"

#include <iostream>

namespace tarn::program {

void changeDocument(const std::filesystem::path& file, bool isDryRun,
                    const std::function<std::vector<std::string>(Song&)>& change) {
    std::vector<std::string> lines;
    const auto changed = [&](Song& song) {
        giveDistinctIdentifiers(song);
        return change(song);
    };
    if (isDryRun) {
        lines = changed(*Song::open(file));
        lines.push_back("dry run: " + file.string() + " is unchanged");
    } else {
        (void)Song::open(
            file); // a document that is missing or damaged is reported before one that cannot be locked
        SongChange turn(file);
        lines = changed(turn.existingSong());
        turn.save(turn.song());
    }
    for (const std::string& line : lines)
        std::cout << onOneLine(line) << "\n";
}

} // namespace tarn::program
