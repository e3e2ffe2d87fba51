#pragma once

#include "KELPMusic/KELPChord.h"
#include "KELPMusic/KELPChordDetectionResult.h"
#include "KELPMusic/KELPNote.h"
#include "Platform/Export.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// From typed text to candidate chords: a root, then the beginning of a quality, then "/" and a bass note,
/// the last two optional. The searches are pure, never fail and may run on any thread; bytes that are not
/// UTF-8 find nothing.
namespace TARN_PUBLIC tarn {

using ChordArray = std::vector<KELPChordRef>;

/// The application's transposition state: chords are shown transposed and stored untransposed.
class ChordManager {
public:
    virtual ~ChordManager() = default;
    [[nodiscard]] virtual KELPChordRef untransposedChord(const KELPChordRef& chord) const = 0;
};

/// Searches of the chord table. The results are lists of chords, or of chords with their scores.
class ChordDetectionResults {
public:
    /// The score of a chord that was typed rather than detected.
    static constexpr float kScoreOfTypedChord = -1.0F;

    /// The chords that the text may mean, an exact match first, each with kScoreOfTypedChord. The root is the
    /// first two characters when they name a note, else the first ("Db" is D flat). What follows it is taken
    /// in lower case: up to the last "/" the quality, after it the bass note. A "/" with nothing after it
    /// asks for the chord's inversions. A text without a root finds nothing.
    [[nodiscard]] static ChordDetectionResultArray
    _arrayWithChordsMatchingSearchString(std::string_view text);

    /// Every quality of the chord table on the root, in table order.
    [[nodiscard]] static ChordArray _arrayWithChordsForRootNote(const KELPNote& rootNote);
    /// In table order the qualities of which an alternative name begins, in lower case, with the text (which
    /// is lower-case already).
    [[nodiscard]] static ChordArray
    _arrayWithChordsForRootNoteQueryingIntervalsWithString(const KELPNote& rootNote, std::string_view text);
    /// The same over a bass note; nothing when `baseNote` does not name one.
    [[nodiscard]] static ChordArray _arrayWithChordsForRootNoteQueryingIntervalsWithStringBaseNoteWithString(
        const KELPNote& rootNote, std::string_view text, std::string_view baseNote);
    /// The major triad on the root over each note of kNamedNoteEntries whose name begins with the text. The
    /// comparison is case-sensitive and names begin with a capital: the lower-case text of a typed search
    /// matches none.
    [[nodiscard]] static ChordArray
    _arrayWithChordsForRootNoteQueryingBaseNotesWithString(const KELPNote& rootNote, std::string_view text);
    /// The chord over each of its tones but the root; nothing for no chord object.
    [[nodiscard]] static ChordArray _arrayWithPossibleSlashChordsForChord(const KELPChordRef& chord);

    /// The results with the first one that the text names (by its printed name in any case, or by another
    /// name of an equal chord, read in lower case) moved to the front; unchanged when there is none.
    [[nodiscard]] static ChordDetectionResultArray
    _arrayByPromotingExactMatchTo(ChordDetectionResultArray results, std::string_view text);
    /// One result for each, in order, with the manager's untransposed chord; score and location are kept.
    [[nodiscard]] static ChordDetectionResultArray
    _arrayOfUntransposedResultsUsingChordManager(const ChordDetectionResultArray& results,
                                                 const ChordManager& chordManager);
};

class KELPTextualChordSearchController;

class KELPTextualChordSearchControllerDelegate {
public:
    virtual ~KELPTextualChordSearchControllerDelegate() = default;
    /// Called on the main queue, once for each search.
    virtual void chordSearchControllerDidReceiveResults(KELPTextualChordSearchController& controller,
                                                        const ChordDetectionResultArray& results) = 0;
};

/// Searches in the background and delivers on the main queue. Searches are neither cancelled nor sequenced:
/// each delivers its own results, possibly after those of a later one. Lives in a shared pointer; a search
/// does not keep it alive. The delegate is set and read on the main thread.
class KELPTextualChordSearchController
    : public std::enable_shared_from_this<KELPTextualChordSearchController> {
public:
    [[nodiscard]] std::shared_ptr<KELPTextualChordSearchControllerDelegate> delegate() const {
        return mDelegate.lock();
    }
    /// Held weakly.
    void setDelegate(const std::shared_ptr<KELPTextualChordSearchControllerDelegate>& delegate) {
        mDelegate = delegate;
    }

    /// Starts a search and returns at once. Whoever is the delegate when the results arrive receives them.
    void performSearchUsingString(std::string text);

private:
    std::weak_ptr<KELPTextualChordSearchControllerDelegate> mDelegate;
};

} // namespace tarn
