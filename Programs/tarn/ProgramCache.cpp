#include "Programs/tarn/ProgramCache.h"

#include "Platform/FileManager.h"
#include "Platform/SHA256.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tarn::program {

namespace {

namespace fs = std::filesystem;
using Controller = TarnMusicInformationRetrievalController;

/// What the analysis keeps: a folder for each kind, and the ending of the files in it.
constexpr std::pair<const char*, const char*> kKinds[] = {
    {"Spectrograms", ".spectrogram"}, {"Waveforms", ".waveform"}, {"Chords", ".chordScores"}};

struct CacheFile {
    fs::path path;
    std::uintmax_t size = 0; ///< bytes
    fs::file_time_type lastUse;
};

bool isCacheName(const std::string& name) {
    return name.size() == 2 * std::tuple_size_v<SHA256::Digest> &&
           name.find_first_not_of("0123456789abcdef") == name.npos;
}

/// The program's files in a folder; none when it cannot be read.
std::vector<CacheFile> filesIn(const fs::path& folder, const char* ending) {
    std::vector<CacheFile> files;
    std::error_code ended;
    for (fs::directory_iterator entry(folder, ended), end; !ended && entry != end; entry.increment(ended)) {
        const fs::path& path = entry->path();
        if (path.extension() != ending || !isCacheName(path.stem().string()))
            continue;
        // Another run may remove the file meanwhile.
        std::error_code gone;
        CacheFile file{path, entry->file_size(gone), {}};
        if (!gone)
            file.lastUse = entry->last_write_time(gone);
        if (!gone && fs::is_regular_file(entry->symlink_status(gone)))
            files.push_back(std::move(file));
    }
    return files;
}

} // namespace

void useProgramCache() {
    FileManager::setCachesDirectory(FileManager::cachesDirectory() / "tarn");
}

std::string cacheNameOf(const fs::path& recording) {
    if (!FileManager::isReadableFile(recording))
        return {};
    return SHA256::hexDigestOfFile(recording).value_or("");
}

void markCacheUsed(const std::string& name) {
    const auto now = fs::file_time_type::clock::now();
    for (const auto& [folder, ending] : kKinds) {
        std::error_code missing;
        fs::last_write_time(Controller::cacheURLFor(folder) / (name + ending), now, missing);
    }
}

std::vector<CacheFolder> cacheFolders() {
    std::vector<CacheFolder> folders;
    for (const auto& [name, ending] : kKinds) {
        CacheFolder folder{Controller::cacheURLFor(name)};
        for (const CacheFile& file : filesIn(folder.path, ending)) {
            ++folder.fileCount;
            folder.size += file.size;
        }
        folders.push_back(std::move(folder));
    }
    return folders;
}

std::optional<std::string> trimCache(std::uintmax_t mostBytes) {
    std::vector<CacheFile> files;
    for (const auto& [name, ending] : kKinds) {
        const auto folder = Controller::cacheURLFor(name);
        FileManager::removeLeftovers(folder);
        const auto found = filesIn(folder, ending);
        files.insert(files.end(), found.begin(), found.end());
    }
    std::sort(files.begin(), files.end(), [](const CacheFile& a, const CacheFile& b) {
        return std::pair(a.lastUse, a.path) > std::pair(b.lastUse, b.path);
    });
    std::uintmax_t size = 0; // of the files so far
    std::optional<std::string> failure;
    for (const CacheFile& file : files) {
        size += file.size;
        if (size <= mostBytes && mostBytes > 0)
            continue;
        std::error_code error;
        fs::remove(file.path, error);
        if (error && !failure)
            failure = file.path.string() + ": it cannot be removed (" + error.message() + ")";
    }
    return failure;
}

} // namespace tarn::program
