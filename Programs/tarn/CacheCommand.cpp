#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/ProgramCache.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

namespace tarn::program {

namespace {

struct CacheOptions {
    bool clear = false;
    std::optional<std::uint64_t> largest; ///< bytes
};

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

void print(const CacheFolder& folder, const char* then) {
    std::cout << folder.path.string() << "  " << folder.fileCount
              << (folder.fileCount == 1 ? " file, " : " files, ") << sizeText(folder.size) << then << "\n";
}

void cache(const CacheOptions& options) {
    const auto before = cacheFolders();
    if (options.clear || options.largest) {
        if (const auto failure = trimCache(options.clear ? 0 : *options.largest))
            throw Failure(ExitStatus::unwritableOutput, *failure + "; check the folder's permissions");
    }
    for (const CacheFolder& folder : options.clear ? before : cacheFolders())
        print(folder, options.clear ? ", removed" : "");
}

} // namespace

void addCacheCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("cache", "Say where the program keeps its caches and how large they are");
    const auto options = std::make_shared<CacheOptions>();
    auto* const clear =
        command->add_flag("--clear", options->clear, "Remove the cached files; an analysis makes them again");
    command
        ->add_option("--max-size", options->largest,
                     "Remove the files that have not been used for longest until the rest is no larger: "
                     "300MB, 1GB. An analysis does so with 512MB")
        ->check(CLI::Validator(
            [](const std::string& text) {
                const bool isSize = text.find_first_not_of("0123456789") != 0 && text.size() <= 15;
                return isSize ? "" : "a size is a whole number such as 300MB or 1GB";
            },
            ""))
        ->transform(CLI::AsSizeValue(true).description(""))
        ->type_name("SIZE")
        ->excludes(clear);
    command->footer("Example:\n  tarn cache --max-size 100MB");
    command->callback([options] { cache(*options); });
}

} // namespace tarn::program
