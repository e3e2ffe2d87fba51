#include "Song/SongFile.h"

#include "Platform/CRC64.h"
#include "Platform/FileManager.h"
#include "Platform/KeyedArchiveFile.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"
#include "Song/SongArchive.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <span>
#include <system_error>
#include <vector>

namespace tarn {
namespace {

constexpr std::size_t kLongestName = 240; ///< bytes; file systems allow 255, and the lock's is longer

std::filesystem::path lockFileOf(const std::filesystem::path& file) {
    const auto target = targetOfLinks(file);
    const std::string name = textOfPath(target.filename());
    const std::string known =
        name.size() <= kLongestName ? name : SHA256::hexDigestOf(std::as_bytes(std::span(name)));
    return target.parent_path() / pathOfText("." + known + ".lock");
}

} // namespace

std::optional<Data> readSongBytes(const std::filesystem::path& file) {
    Error error;
    auto bytes = FileManager::contentsOf(file, &error, kLargestArchive);
    if (!bytes && error.code != ENOENT)
        throw SongError(SongError::Kind::unreadable, error.localizedDescription());
    return bytes;
}

SongError missingSong(const std::filesystem::path& file) {
    return {SongError::Kind::missing, textOfPath(file) + ": there is no such document"};
}

namespace {

using archive::SongDocument;
using Checksum = SongDocument::Checksum;

/// Where the field may stand in the file: each place at which a property list holds these bytes as data.
std::vector<std::size_t> placesOf(const Checksum& field, std::span<const std::byte> bytes) {
    constexpr std::byte kMarker{0x40 | std::tuple_size_v<Checksum>};
    constexpr std::size_t kMostPlaces = 4; // by chance there is one
    std::vector<std::size_t> places;
    for (auto from = bytes.begin(); places.size() < kMostPlaces;) {
        from = std::search(from, bytes.end(), field.begin(), field.end());
        if (from == bytes.end())
            break;
        if (from != bytes.begin() && *(from - 1) == kMarker)
            places.push_back(static_cast<std::size_t>(from - bytes.begin()));
        ++from;
    }
    return places;
}

/// Of all bytes but those of the field, which count as zeros.
Checksum checksumOf(std::span<const std::byte> bytes, std::size_t field) {
    constexpr Checksum kZeros{};
    CRC64 check;
    check.update(bytes.subspan(0, field));
    check.update(kZeros);
    check.update(bytes.subspan(field + kZeros.size()));
    Checksum sum;
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] = static_cast<std::byte>(check.value() >> (56 - 8 * i));
    return sum;
}

bool hasRightChecksum(const SongDocument& document, std::span<const std::byte> bytes) {
    if (!document.checksum)
        return document.schemaVersion < SongDocument::kFirstWithChecksum;
    const auto places = placesOf(*document.checksum, bytes);
    return std::ranges::any_of(
        places, [&](std::size_t place) { return checksumOf(bytes, place) == *document.checksum; });
}

/// The newest of the former versions that are kept beside the file and can be opened, in words that follow a
/// reason; empty without one.
std::string formerVersionBeside(const std::filesystem::path& file) {
    constexpr int kMostVersions = 100;
    std::string text;
    std::filesystem::file_time_type newest{};
    for (int number = 1; number <= kMostVersions; ++number) {
        const auto former = formerVersion(file, number);
        std::error_code error;
        const auto time = std::filesystem::last_write_time(former, error);
        if (error || (!text.empty() && time <= newest))
            continue;
        const auto bytes = FileManager::contentsOf(former, nullptr, kLargestArchive);
        const auto document = bytes ? KeyedUnarchiver::unarchivedObject<SongDocument>(*bytes) : nullptr;
        if (!document || document->song->unsoundness() || !hasRightChecksum(*document, *bytes))
            continue;
        text = "; a former version lies beside it, " + textOfPath(former);
        newest = time;
    }
    return text;
}

SongError errorOf(SongError::Kind kind, const std::filesystem::path& file, const std::string& reason) {
    return {kind, textOfPath(file) + ": " + reason + formerVersionBeside(file)};
}

/// A song without a recording, with annotations that were archived alone.
std::shared_ptr<Song> songOf(std::shared_ptr<TarnNoteEntryStorage> notes) {
    Recording none;
    none.sampleRate = Song::kFramesPerSecondWithoutRecording;
    none.frameCount = archive::endOf(*notes);
    return std::make_shared<Song>(std::move(none), std::move(notes),
                                  std::make_shared<TarnSongStructureStorage>());
}

bool isOfOtherClass(const Error& error) {
    return error.code == static_cast<long>(KeyedArchiveErrorCode::classNotAdmitted);
}

bool isNoArchive(const Error& error) {
    return error.code == static_cast<long>(KeyedArchiveErrorCode::malformedPropertyList) ||
           error.code == static_cast<long>(KeyedArchiveErrorCode::notAKeyedArchive);
}

} // namespace

std::shared_ptr<Song> songFromBytes(const Data& bytes, const std::filesystem::path& file) {
    using Kind = SongError::Kind;
    if (bytes.empty())
        throw errorOf(Kind::undecodable, file, "the file is empty");
    Error error;
    const auto document = KeyedUnarchiver::unarchivedObject<SongDocument>(bytes, &error);
    if (document && !hasRightChecksum(*document, bytes))
        throw errorOf(Kind::damaged, file,
                      "the document is damaged, or another program has edited it: its checksum is wrong");
    auto song = document ? document->song : nullptr;
    if (!song && isOfOtherClass(error)) {
        Error reason;
        if (auto notes = KeyedUnarchiver::unarchivedObject<TarnNoteEntryStorage>(bytes, &reason))
            song = songOf(std::move(notes));
        else if (!isOfOtherClass(reason))
            error = reason;
    }
    if (!song)
        throw errorOf(isNoArchive(error) || isOfOtherClass(error) ? Kind::undecodable : Kind::damaged, file,
                      error.localizedDescription());
    if (const auto reason = song->unsoundness())
        throw errorOf(Kind::damaged, file, *reason);
    return song;
}

Song::Salvaged salvagedFromBytes(const Data& bytes, const std::filesystem::path& file) {
    KeyedUnarchiver::Faults faults;
    const auto document = KeyedUnarchiver::salvagedObject<SongDocument>(bytes, faults);
    Song::Salvaged salvaged;
    if (document) {
        salvaged.song = document->song;
    } else if (isOfOtherClass(faults.first)) {
        KeyedUnarchiver::Faults ofAnnotations;
        if (auto notes = KeyedUnarchiver::salvagedObject<TarnNoteEntryStorage>(bytes, ofAnnotations)) {
            salvaged.song = songOf(std::move(notes));
            faults = ofAnnotations;
        }
    }
    if (!salvaged.song)
        throw errorOf(SongError::Kind::undecodable, file,
                      "nothing of it can be read: " + faults.first.localizedDescription());
    salvaged.faultCount = faults.count + salvaged.song->removeUnsoundEntries();
    if (salvaged.faultCount > 0)
        salvaged.firstFault =
            faults.count > 0 ? faults.first.localizedDescription() : "an entry that no song can hold";
    salvaged.hasWrongChecksum = document && !hasRightChecksum(*document, bytes);
    if (const auto reason = salvaged.song->unsoundness())
        throw errorOf(SongError::Kind::undecodable, file, *reason);
    return salvaged;
}

Data archivedSong(const std::shared_ptr<const Song>& song) {
    // The field is filled in where the archive holds the bytes that stand for it; those are drawn again in
    // the unlikely case that it holds them elsewhere too.
    std::random_device random;
    for (;;) {
        Checksum field;
        for (std::byte& byte : field)
            byte = static_cast<std::byte>(random());
        Data bytes = KeyedArchiver::archivedData(std::make_shared<SongDocument>(song, field));
        const auto places = placesOf(field, bytes);
        if (places.size() != 1)
            continue;
        const Checksum sum = checksumOf(bytes, places.front());
        std::ranges::copy(sum, bytes.begin() + static_cast<std::ptrdiff_t>(places.front()));
        return bytes;
    }
}

Data bytesOfSong(const std::shared_ptr<const Song>& song, const std::filesystem::path& file) {
    if (const auto reason = song->unsoundness())
        throw SongError(SongError::Kind::unsound, textOfPath(file) + ": " + *reason);
    return archivedSong(song);
}

std::filesystem::path formerVersion(const std::filesystem::path& file, int number) {
    auto former = file;
    former += number == 1 ? "~" : "~" + std::to_string(number);
    return former;
}

void writeSongBytes(const Data& bytes, const std::filesystem::path& file) {
    Error error;
    if (!FileManager::writeAtomically(bytes, file, &error))
        throw SongError(SongError::Kind::unwritable, error.localizedDescription());
}

FileLock lockSongFile(const std::filesystem::path& file, std::chrono::milliseconds patience) {
    std::error_code ignored;
    if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored))
        throw SongError(SongError::Kind::unwritable,
                        textOfPath(file) + ": a document cannot be kept there; name an ordinary file");
    Error error;
    auto lock = FileLock::acquire(lockFileOf(file), patience, &error);
    if (lock)
        return std::move(*lock);
    if (error.code == ETIMEDOUT)
        throw SongError(SongError::Kind::busy,
                        textOfPath(file) + ": another process is changing the document; try again");
    throw SongError(SongError::Kind::unwritable, textOfPath(file) +
                                                     ": the document cannot be changed there (" +
                                                     error.localizedDescription() + ")");
}

std::filesystem::path targetOfLinks(const std::filesystem::path& file) {
    constexpr int kMostLinks = 40;
    std::error_code error;
    auto target = std::filesystem::absolute(file, error);
    for (int links = 0; links < kMostLinks; ++links) {
        const auto next = std::filesystem::read_symlink(target, error);
        if (error)
            break;
        target = target.parent_path() / next; // an absolute one replaces the whole path
    }
    const auto canonical = std::filesystem::weakly_canonical(target, error);
    return error ? target : canonical;
}

} // namespace tarn
