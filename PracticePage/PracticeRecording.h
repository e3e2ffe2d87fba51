#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "Platform/Export.h"
#include "PracticePage/FileIdentity.h"
#include "Song/Song.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// The recording of a song as far as pages may hear it: an ordinary file that is the one which the document
/// annotates, as it was when that was checked. Where the document leads out of its own folder, the user is
/// asked first, unless they named the recording themselves. Thread-safe.
class PracticeRecording {
public:
    PracticeRecording(std::filesystem::path file, const std::filesystem::path& document, bool isNamedByUser);

    [[nodiscard]] const std::filesystem::path& file() const { return mFile; }

    /// Compares the file with what the song knows of its recording; takes as long as reading it, and longer
    /// where it was encoded again. Returns whether it is the one.
    bool check(const Song& song, const std::function<bool()>& isCancelled);
    /// Counts as checked: an analysis has just read it.
    void accept();

    /// Why it cannot be heard, as a sentence; nothing where it can.
    [[nodiscard]] std::optional<std::string> reason() const;
    /// The file, wherever links lead, that the user has to agree to; empty when nothing is to be asked.
    [[nodiscard]] std::optional<std::string> question() const;
    void agree();

    /// Null, with the reason, where it cannot be heard.
    [[nodiscard]] std::unique_ptr<AudioReader> open(std::string* reason) const;

private:
    [[nodiscard]] std::optional<std::string> reasonNow() const;

    const std::filesystem::path mFile;
    mutable std::mutex mMutex;
    bool mIsAsking;
    std::optional<std::string> mRefusal = "The recording is being checked.";
    std::optional<FileIdentity> mChecked;
};

} // namespace tarn
