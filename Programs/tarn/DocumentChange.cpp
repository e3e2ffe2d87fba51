#include "Programs/tarn/DocumentChange.h"

#include "Platform/PlainText.h"
#include "Song/SongChange.h"

#include <iostream>

namespace tarn::program {

void changeDocument(const std::filesystem::path& file, const ChangeOptions& options,
                    const std::function<std::vector<std::string>(Song&)>& change) {
    std::vector<std::string> lines;
    if (options.isDryRun) {
        lines = change(options.isSalvaged ? *Song::salvage(file).song : *Song::open(file));
        lines.push_back("dry run: " + file.string() + " is unchanged");
    } else {
        // A document that is missing or damaged is reported before one that cannot be locked.
        if (!options.isSalvaged)
            (void)Song::open(file);
        SongChange turn(file, SongChange::kPatience,
                        options.isSalvaged ? SongReading::salvaged : SongReading::whole);
        lines = change(turn.existingSong());
        if (const std::string damage = turn.salvaged().description(); !damage.empty())
            lines.push_back(damage + "; the damaged document is kept as " + turn.keepFormer().string());
        turn.save(turn.song(), options.message);
    }
    for (const std::string& line : lines)
        std::cout << onOneLine(line) << "\n";
}

} // namespace tarn::program
