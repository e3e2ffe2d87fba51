#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// One change of a song, whoever made it.
struct SongStep {
    std::uint64_t identifier = 0; ///< from 1, in the order in which the steps were made; never used again
    std::int64_t time = 0;        ///< seconds since 1970, UTC
    std::string message;          ///< what was done, for people; one line of UTF-8
    Data difference;              ///< what it changed (SongState.h)

    friend bool operator==(const SongStep&, const SongStep&) = default;
};

/// The steps that made a song what it is, and after them those that were taken back and can be made again.
/// The oldest ones are forgotten when there are too many or they take too much room, but never the newest.
class SongHistory {
public:
    static constexpr std::size_t kMostSteps = 1000;
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20; ///< of messages and differences

    SongHistory() = default;
    /// As they were kept: the steps in the order of their identifiers, and how many of them are done. What
    /// is inconsistent is left out.
    SongHistory(std::vector<SongStep> steps, std::size_t doneCount);

    [[nodiscard]] const std::vector<SongStep>& steps() const { return mSteps; }
    /// How many of the steps are done; those after them were taken back.
    [[nodiscard]] std::size_t doneCount() const { return mDoneCount; }
    /// The newest step that is done; null without one.
    [[nodiscard]] const SongStep* newest() const;
    /// The step that was taken back last; null without one.
    [[nodiscard]] const SongStep* next() const;

    /// Adds a step that was made now. Those that were taken back are forgotten.
    void add(std::string message, Data difference);
    /// The newest step counts as taken back; there has to be one. `makeAgain` is the reverse.
    void takeBack();
    void makeAgain();

private:
    void forgetOldest();

    std::vector<SongStep> mSteps;
    std::size_t mDoneCount = 0;
};

/// A step that cannot be taken back or made again; the song is as it was.
class SongHistoryError : public std::runtime_error {
public:
    enum class Kind {
        nothing,    ///< there is no such step
        outdated,   ///< the caller has seen an older state of the song
        doesNotFit, ///< what the step changed has been changed since, and not by a step
    };
    SongHistoryError(Kind kind, const std::string& text) : std::runtime_error(text), mKind(kind) {}
    [[nodiscard]] Kind kind() const { return mKind; }

private:
    Kind mKind;
};

} // namespace tarn
