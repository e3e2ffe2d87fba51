#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace tarn::program {

namespace {

using Controller = TarnMusicInformationRetrievalController;

struct CacheFile {
    std::filesystem::path path;
    std::uintmax_t size = 0; ///< bytes
};

/// The files in a cache folder; none when it cannot be read.
std::vector<CacheFile> filesIn(const std::filesystem::path& folder) {
    std::vector<CacheFile> files;
    std::error_code ended;
    for (std::filesystem::directory_iterator entry(folder, ended), end; !ended && entry != end;
         entry.increment(ended)) {
        std::error_code unreadable;
        if (const auto size = entry->file_size(unreadable); !unreadable)
            files.push_back({entry->path(), size});
    }
    return files;
}

std::string sizeText(std::uintmax_t bytes) {
    if (bytes < 1000)
        return std::to_string(bytes) + " B";
    std::ostringstream text;
    text << std::fixed << std::setprecision(1);
    if (bytes < 1'000'000)
        text << static_cast<double>(bytes) / 1e3 << " kB";
    else
        text << static_cast<double>(bytes) / 1e6 << " MB";
    return text.str();
}

void remove(const CacheFile& file) {
    std::error_code error;
    std::filesystem::remove(file.path, error);
    if (error)
        throw Failure(ExitStatus::unwritableOutput, file.path.string() + ": it cannot be removed (" +
                                                        error.message() +
                                                        "); look at the folder's permissions");
}

void cache(bool clear) {
    for (const char* name : {"Spectrograms", "Waveforms", "Chords"}) {
        const auto folder = Controller::cacheURLFor(name);
        const auto files = filesIn(folder);
        std::uintmax_t size = 0;
        for (const CacheFile& file : files) {
            size += file.size;
            if (clear)
                remove(file);
        }
        std::cout << folder.string() << "  " << files.size() << (files.size() == 1 ? " file, " : " files, ")
                  << sizeText(size) << (clear ? ", removed" : "") << "\n";
    }
}

} // namespace

void addCacheCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("cache", "Say where the analysis keeps its caches and how large they are");
    const auto clear = std::make_shared<bool>(false);
    command->add_flag("--clear", *clear, "Remove the cached files; an analysis makes them again");
    command->footer("Example:\n  tarn cache --clear");
    command->callback([clear] { cache(*clear); });
}

} // namespace tarn::program
