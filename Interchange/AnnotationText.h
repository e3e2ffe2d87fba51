#pragma once

#include "Interchange/TextTable.h"
#include "Platform/Export.h"
#include "Song/Song.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <optional>
#include <string>
#include <string_view>

/// A document's annotations as the text files of research tools and annotation editors. Times are seconds
/// from the start of the recording.
///
/// | kind     | .csv columns          | .lab columns             | labels (Audacity)       |
/// |----------|-----------------------|--------------------------|-------------------------|
/// | beats    | time,bar,beat         | time beat                | time time beat          |
/// | chords   | start,end,label       | start end label (Harte)  | start end label (chart) |
/// | sections | start,end,label,color | start end label          | start end label         |
/// | regions  | start,end,label,kind  | start end label          | start end label         |
/// | markers  | time,label            | time time label          | time time label         |
///
/// Beats are the counted beats of the metre, numbered from 1; those before the first downbeat belong to bar
/// 0, and where there is no downbeat all numbers are 0. A chord and a section end where the next one begins,
/// the last with the recording; what comes before the first chord that sounds is no chord ("N", in .csv files
/// "N.C."). What lies outside the recording is left out.
///
/// What is read back is written the same again, byte for byte. For that a few things are written as they
/// would be read: of entries at one place the last one, of beats at one place one, a chord of unusual octaves
/// as the nearest one that has a name.
namespace TARN_PUBLIC tarn {

enum class AnnotationKind { beats, chords, sections, regions, markers };
enum class AnnotationFormat { lab, csv, labels };

[[nodiscard]] std::string_view nameOf(AnnotationKind kind);
/// Aborts for a name that no kind has.
[[nodiscard]] AnnotationKind annotationKindNamed(std::string_view name);

/// The colour of a section whose name holds the word verse, chorus or bridge; else that of other sections.
[[nodiscard]] TarnSectionColor sectionColorOfName(std::string_view name);

/// "verse", "chorus" or "bridge"; "region" for one of no special form.
[[nodiscard]] std::string_view regionKind(const TarnRegionEntry& region);

[[nodiscard]] std::string annotationText(const Song& document, AnnotationKind kind, AnnotationFormat format);

/// How the beats of a list that holds times only are counted, as far as the user says.
struct BeatCounting {
    std::optional<int> beatsPerBar;   ///< 1 to kMostBeatsPerBar
    std::optional<int> firstDownbeat; ///< which beat of the list opens the first bar, from 1
    static constexpr int kMostBeatsPerBar = 32;
};

/// A BeatCounting that does not suit the list.
class BeatCountingError : public FormatOptionError {
public:
    using FormatOptionError::FormatOptionError;
};

/// Audacity's label tracks: rows as parseLab reads them, without the lines of frequencies, which begin with a
/// backslash.
[[nodiscard]] TextTable parseLabels(std::string_view text);

/// Replaces the document's annotations of a kind by those of a table, in one change of the kind, and returns
/// what was replaced. Times must ascend (those of regions and markers may be equal) and lie in the recording;
/// up to a tenth of a second outside they are moved to its start or end, which is told.
/// Columns are found by name (time, start or onset; end, offset or duration; label, name, chord or section;
/// beat; color; kind), else by the order of a .lab file.
///
/// Beats: the beat numbered 1 opens a bar; no bar begins where all are numbered 0. Beats without numbers are
/// counted as `counting` says, else by the document's metre (4 beats to a bar where there is none) and so
/// that bars begin as near as possible to its present downbeats (with the first beat where there are none);
/// what was assumed is returned. The eighth-note positions of a grid that counts quarters are put halfway
/// between the beats. The tempo is that of the new grid; the metre's numerator is that of most whole bars,
/// and stays where no bar ends in the list.
///
/// Chords: a gap longer than 50 ms between an end and the next start becomes no chord. Sections: without a
/// colour column the label's word verse, chorus or bridge gives the colour, and likewise a region's kind.
///
/// Throws TextTableError, or BeatCountingError where `counting` does not suit the list; the document is then
/// unchanged.
std::string replaceAnnotations(Song& document, AnnotationKind kind, const TextTable& table,
                               const BeatCounting& counting = {});

} // namespace tarn
