#pragma once

#include "Programs/tarn/TextTable.h"
#include "Song/Song.h"

#include <string>
#include <string_view>

/// A document's annotations as the text files of research tools and annotation editors. Times are seconds
/// from the start of the recording.
///
/// | kind     | .csv columns          | .lab columns             |
/// |----------|-----------------------|--------------------------|
/// | beats    | time,bar,beat         | time beat                |
/// | chords   | start,end,label       | start end label (Harte)  |
/// | sections | start,end,label,color | start end label          |
/// | regions  | start,end,label,kind  | start end label          |
///
/// Beats are the counted beats of the metre, numbered from 1; those before the first downbeat belong to bar
/// 0. A chord and a section end where the next one begins, the last with the recording; what comes before the
/// first chord is "N".
namespace tarn::program {

enum class AnnotationKind { beats, chords, sections, regions };
enum class AnnotationFormat { lab, csv };

/// "verse", "chorus" or "bridge"; "region" for one of no special form.
[[nodiscard]] std::string_view regionKind(const TarnRegionEntry& region);

[[nodiscard]] std::string annotationText(const Song& document, AnnotationKind kind, AnnotationFormat format);

/// Replaces the document's beats, chords or sections by those of a table, in one change of the kind, and
/// answers what was replaced. Times must ascend and lie in the recording. Columns are found by name (time,
/// start or onset; end, offset or duration; label, name, chord or section; beat; color), else by the order of
/// a .lab file.
///
/// Beats: the beat numbered 1 opens a bar; the eighth-note positions of a grid that counts quarters are put
/// halfway between the beats; the metre's numerator and the tempo are taken from the new grid. Chords: a gap
/// longer than 50 ms between an end and the next start becomes no chord. Sections: without a colour column
/// the label's word verse, chorus or bridge gives the colour.
///
/// Throws TextTableError, the document being unchanged. Regions stop the process.
std::string replaceAnnotations(Song& document, AnnotationKind kind, const TextTable& table);

} // namespace tarn::program
