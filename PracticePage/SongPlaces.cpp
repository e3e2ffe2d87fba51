#include "PracticePage/SongPlaces.h"

#include "Pictures/PictureWords.h"
#include "Platform/FileManager.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"
#include "Song/SongError.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <span>

namespace tarn {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostRecent = 20;

std::vector<fs::path> remembered() {
    std::vector<fs::path> documents;
    constexpr std::uintmax_t kLargest = 1 << 20;
    const auto bytes = FileManager::contentsOf(practiceFolder() / "recent.json", nullptr, kLargest);
    if (!bytes)
        return documents;
    const auto list =
        nlohmann::json::parse(reinterpret_cast<const char*>(bytes->data()),
                              reinterpret_cast<const char*>(bytes->data()) + bytes->size(), nullptr, false);
    for (const auto& entry : list.is_array() ? list : nlohmann::json::array()) {
        if (entry.is_string() && documents.size() < kMostRecent)
            documents.push_back(pathOfText(entry.get<std::string>()));
    }
    return documents;
}

} // namespace

fs::path practiceFolder() {
    const char* const data = std::getenv("XDG_DATA_HOME");
    const char* const home = std::getenv("HOME");
    if (data && fs::path(data).is_absolute())
        return fs::path(data) / "tarn";
    return fs::path(home ? home : "/") / ".local/share/tarn";
}

DocumentPlace documentPlaceOf(const fs::path& recording) {
    auto beside = fs::path(recording).replace_extension(".tarn");
    std::error_code ignored;
    if (fs::exists(beside, ignored) || FileManager::canWriteAtomically(beside))
        return {std::move(beside)};
    // Recordings of one name in several folders have documents of their own.
    const std::string path = textOfPath(fs::absolute(recording, ignored).lexically_normal());
    const auto digest = SHA256::hexDigestOf(std::as_bytes(std::span(path))).substr(0, 8);
    const auto folder = practiceFolder() / "songs";
    (void)FileManager::createDirectories(folder);
    return {folder / pathOfText(textOfPath(recording.stem()) + "-" + digest + ".tarn"), false};
}

std::vector<RecentSong> recentSongs() {
    std::vector<RecentSong> songs;
    for (const fs::path& document : remembered()) {
        try {
            const auto song = Song::open(document);
            const auto heading = pictureHeading(*song, {});
            songs.push_back({document, heading.title, heading.artist});
        } catch (const SongError&) {
            continue;
        }
    }
    return songs;
}

void rememberSong(const fs::path& document) {
    std::error_code error;
    const auto absolute = fs::absolute(document, error).lexically_normal();
    auto documents = remembered();
    std::erase(documents, absolute);
    documents.insert(documents.begin(), absolute);
    documents.resize(std::min(documents.size(), kMostRecent));
    auto list = nlohmann::json::array();
    for (const fs::path& each : documents)
        list.push_back(textOfPath(each));
    const std::string text = list.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    if (FileManager::createDirectories(practiceFolder()))
        (void)FileManager::writeAtomically(std::as_bytes(std::span(text)), practiceFolder() / "recent.json");
}

} // namespace tarn
