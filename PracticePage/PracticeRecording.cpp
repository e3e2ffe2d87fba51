#include "PracticePage/PracticeRecording.h"

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/FileManager.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"
#include "Song/SongFile.h"

namespace tarn {
namespace {

/// Whether the file, wherever links lead, lies in the folder of the document or below.
bool liesBeside(const std::filesystem::path& file, const std::filesystem::path& document) {
    const auto folder = targetOfLinks(document).parent_path();
    const auto seen = targetOfLinks(file).lexically_relative(folder);
    return !seen.empty() && *seen.begin() != "..";
}

/// Why the file is not the song's recording; nothing where it is.
std::optional<std::string> refusalOf(const std::filesystem::path& file, const Song& song,
                                     const std::function<bool()>& isCancelled) {
    if (!song.hasRecording())
        return "The document has no recording.";
    if (!FileManager::isReadableFile(file))
        return "The recording is not where the document says.";
    if (!song.recording.digest.empty() && SHA256::hexDigestOfFile(file, isCancelled) == song.recording.digest)
        return std::nullopt;
    std::string refusal;
    const auto facts = AnalysisOperationFactory::shared()->readRecording(file, isCancelled, &refusal);
    if (!facts)
        return "The recording cannot be decoded.";
    if (match(song.recording, *facts) == RecordingMatch::other)
        return "The file is another recording than the document's.";
    return std::nullopt;
}

} // namespace

PracticeRecording::PracticeRecording(std::filesystem::path file, const std::filesystem::path& document,
                                     bool isNamedByUser)
    : mFile(std::move(file)), mIsAsking(!isNamedByUser && !liesBeside(mFile, document)) {}

bool PracticeRecording::check(const Song& song, const std::function<bool()>& isCancelled) {
    const auto before = FileIdentity::of(mFile);
    auto refusal = refusalOf(mFile, song, isCancelled);
    const std::lock_guard guard(mMutex);
    mRefusal = std::move(refusal);
    mChecked = before;
    return !mRefusal;
}

void PracticeRecording::accept() {
    const std::lock_guard guard(mMutex);
    mRefusal.reset();
    mChecked = FileIdentity::of(mFile);
}

std::optional<std::string> PracticeRecording::reasonNow() const {
    if (mRefusal)
        return mRefusal;
    if (mIsAsking)
        return "The recording lies outside the document's folder.";
    if (!mChecked || FileIdentity::of(mFile) != mChecked)
        return "The recording has been changed; open the song again.";
    return std::nullopt;
}

std::optional<std::string> PracticeRecording::reason() const {
    const std::lock_guard guard(mMutex);
    return reasonNow();
}

std::optional<std::string> PracticeRecording::question() const {
    const std::lock_guard guard(mMutex);
    return mIsAsking && !mRefusal ? std::optional(textOfPath(targetOfLinks(mFile))) : std::nullopt;
}

void PracticeRecording::agree() {
    const std::lock_guard guard(mMutex);
    mIsAsking = false;
}

std::unique_ptr<AudioReader> PracticeRecording::open(std::string* reason) const {
    const std::lock_guard guard(mMutex);
    auto refusal = reasonNow();
    std::unique_ptr<AudioReader> reader;
    if (!refusal) {
        reader = AudioReader::open(mFile, nullptr, AudioChannels::stereo);
        refusal = reader ? reasonNow() : "The recording cannot be decoded.";
    }
    if (!refusal)
        return reader;
    if (reason)
        *reason = *refusal;
    return nullptr;
}

} // namespace tarn
