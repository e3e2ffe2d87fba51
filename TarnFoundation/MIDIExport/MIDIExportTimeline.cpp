#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

constexpr double kQuarterNotesPerPulse = 0.5;
constexpr double kSecondsTempo = 60.0; ///< a quarter note lasts one second
/// A tempo in quarter notes per minute is this many frames' worth divided by the frames of a pulse and
/// multiplied by the rate.
constexpr double kTempoPerPulseRate = 60.0 * kQuarterNotesPerPulse;
/// A song that starts on a beat later than this needs a lead-in.
constexpr double kLeadInThresholdSeconds = 0.05;
constexpr double kMicrosecondsPerMinute = 60'000'000.0;

/// A bar's signature and the pulse at which it begins to hold.
struct BarSignature {
    std::size_t pulse = 0;
    TimeSignature timeSignature;
};

double barLength(const TimeSignature& signature) {
    return signature.numerator * 4.0 / signature.denominator;
}

std::uint8_t cappedNumerator(std::size_t count) {
    return static_cast<std::uint8_t>(std::min<std::size_t>(count, 255));
}

/// An odd number of pulses makes a bar of eighths, an even one a bar of quarters. The bar after the last
/// downbeat is not closed and does not count.
std::vector<BarSignature> barSignatures(const PulseGrid& grid, const TimeSignature& documentSignature) {
    const auto& downbeats = grid.downbeatIndices;
    if (downbeats.size() < 2)
        return {{grid.originIndex(), documentSignature}};
    std::vector<BarSignature> signatures;
    for (std::size_t i = 0; i + 1 < downbeats.size(); ++i) {
        const std::size_t pulses = downbeats[i + 1] - downbeats[i];
        const TimeSignature signature = pulses % 2 == 1 ? TimeSignature{cappedNumerator(pulses), 8}
                                                        : TimeSignature{cappedNumerator(pulses / 2), 4};
        if (signatures.empty() || signatures.back().timeSignature != signature)
            signatures.push_back({downbeats[i], signature});
    }
    return signatures;
}

std::vector<TimeSignatureEvent>
timeSignatureEvents(const PulseGrid& grid, const std::vector<BarSignature>& signatures, double leadInLength) {
    std::vector<TimeSignatureEvent> events;
    events.reserve(signatures.size());
    for (const auto& bar : signatures)
        events.push_back({leadInLength + grid.positionOfPulse(bar.pulse), bar.timeSignature});
    events.front().position = 0;
    return events;
}

/// Whole bars before the first downbeat, enough for the earliest exported frame.
LeadIn leadInForFixedTempo(const PulseGrid& grid, double bar, double earliestFrame) {
    LeadIn leadIn;
    const double bars = std::floor(grid.positionOfFrame(earliestFrame) / bar);
    if (bars < 0)
        leadIn.length = bar * -bars;
    return leadIn;
}

LeadIn leadInFollowingTempo(const PulseGrid& grid, double bar, double sampleRate) {
    LeadIn leadIn;
    const double threshold = sampleRate * kLeadInThresholdSeconds;
    std::size_t anchor = 0;
    if (grid.frames.front() < threshold) {
        anchor = grid.originIndex();
        if (grid.frames[anchor] < threshold)
            return leadIn;
    }
    const double start = grid.positionOfFrame(0); // zero or negative
    const double toAnchor = grid.positionOfPulse(anchor) - start;
    const double bars = -start / bar;
    const double down = bar * std::floor(bars);
    const double up = bar * std::ceil(bars);
    const bool roundsDown = -start - down <= start + up && toAnchor * 0.5 <= start + down + toAnchor;
    leadIn.length = roundsDown ? down : up;
    leadIn.anchorIndex = anchor;
    leadIn.quarterNotes = start + toAnchor + leadIn.length;
    leadIn.anchorFrame = grid.frames[anchor];
    leadIn.beatsPerMinute = sampleRate * (leadIn.quarterNotes * 60) / grid.frames[anchor];
    return leadIn;
}

/// Keeps an event only when its whole number of microseconds per quarter note differs from the last kept
/// one's.
Checked<std::vector<TempoEvent>> withoutInaudibleChanges(const std::vector<TempoEvent>& events) {
    using Events = std::vector<TempoEvent>;
    Events kept;
    std::int64_t last = 0;
    for (const auto& event : events) {
        // An infinite tempo would pass for one of 0 microseconds.
        if (!std::isfinite(event.beatsPerMinute))
            return Checked<Events>::failure("A tempo of the song is not finite");
        const auto microseconds = tryTruncation<std::int64_t>(kMicrosecondsPerMinute / event.beatsPerMinute);
        if (!microseconds.value())
            return Checked<Events>::failure(microseconds.reason());
        if (kept.empty() || *microseconds.value() != last)
            kept.push_back(event);
        last = *microseconds.value();
    }
    return kept;
}

Checked<std::vector<TempoEvent>> tempoEventsFollowing(const PulseGrid& grid, const LeadIn& leadIn,
                                                      double sampleRate) {
    std::vector<TempoEvent> events;
    if (leadIn.beatsPerMinute)
        events.push_back({0, *leadIn.beatsPerMinute});
    for (std::size_t k = leadIn.anchorIndex; k + 1 < grid.frames.size(); ++k) {
        events.push_back({leadIn.length + grid.positionOfPulse(k),
                          sampleRate * kTempoPerPulseRate / (grid.frames[k + 1] - grid.frames[k])});
    }
    events.front().position = 0;
    return withoutInaudibleChanges(events);
}

/// The tempo of the upper median interval, rounded with halves away from zero.
double fixedTempo(const PulseGrid& grid, double sampleRate) {
    std::vector<double> intervals;
    for (std::size_t k = 0; k + 1 < grid.frames.size(); ++k)
        intervals.push_back(grid.frames[k + 1] - grid.frames[k]);
    const auto median = intervals.begin() + std::ptrdiff_t(intervals.size() / 2);
    std::nth_element(intervals.begin(), median, intervals.end());
    return std::round(sampleRate * kTempoPerPulseRate / *median);
}

double earliestFrame(const TarnNoteEntryStorage& storage, bool exportsNotes, bool exportsChords) {
    std::optional<std::int64_t> earliest;
    const auto consider = [&](const auto& entries) {
        if (!entries.empty())
            earliest = std::min(earliest.value_or(entries.front()->location()), entries.front()->location());
    };
    if (exportsNotes)
        consider(storage.noteEntries());
    if (exportsChords)
        consider(storage.chordEntries());
    return static_cast<double>(earliest.value_or(0));
}

} // namespace

std::optional<PulseGrid> PulseGrid::make(const EntryList<TarnBeatEntry>& beats) {
    PulseGrid grid;
    for (const auto& beat : beats) {
        const auto frame = static_cast<double>(beat->location());
        if (!grid.frames.empty() && frame <= grid.frames.back())
            continue;
        if (beat->isDownbeat())
            grid.downbeatIndices.push_back(grid.frames.size());
        grid.frames.push_back(frame);
    }
    if (grid.frames.size() < 2)
        return std::nullopt;
    return grid;
}

double PulseGrid::positionOfPulse(std::size_t index) const {
    return (static_cast<double>(index) - static_cast<double>(originIndex())) * kQuarterNotesPerPulse;
}

double PulseGrid::positionOfFrame(double frame) const {
    const auto notGreater = std::upper_bound(frames.begin(), frames.end(), frame) - frames.begin();
    const auto k = static_cast<std::size_t>(
        std::clamp<std::ptrdiff_t>(notGreater - 1, 0, static_cast<std::ptrdiff_t>(frames.size()) - 2));
    return positionOfPulse(k) + kQuarterNotesPerPulse * (frame - frames[k]) / (frames[k + 1] - frames[k]);
}

double Mapping::operator()(double frame) const {
    struct Visitor {
        double frame;
        double operator()(const Seconds& seconds) const { return frame / seconds.sampleRate; }
        double operator()(const FollowSongTempo& follow) const {
            // The stretch from the song's start to the anchor runs at the lead-in's tempo.
            if (follow.leadIn.anchorFrame && frame < *follow.leadIn.anchorFrame)
                return follow.leadIn.quarterNotes * frame / *follow.leadIn.anchorFrame;
            return follow.grid.positionOfFrame(frame) + follow.leadIn.length;
        }
        double operator()(const FixedTempo& fixed) const {
            return fixed.grid.positionOfFrame(frame) + fixed.leadIn.length;
        }
    };
    return std::visit(Visitor{frame}, kind);
}

MIDIExportTimeline::MIDIExportTimeline(std::int64_t timing, bool exportsNotes, bool exportsChords,
                                       double sampleRate, const TarnNoteEntryStorage& storage)
    : MIDIExportTimeline(make(timing, exportsNotes, exportsChords, sampleRate, storage).orAbort()) {}

std::optional<MIDIExportTimeline> MIDIExportTimeline::tryMake(std::int64_t timing, bool exportsNotes,
                                                              bool exportsChords, double sampleRate,
                                                              const TarnNoteEntryStorage& storage) {
    return make(timing, exportsNotes, exportsChords, sampleRate, storage).value();
}

Checked<MIDIExportTimeline> MIDIExportTimeline::make(std::int64_t timing, bool exportsNotes,
                                                     bool exportsChords, double sampleRate,
                                                     const TarnNoteEntryStorage& storage) {
    MIDIExportTimeline timeline;
    const bool followsGrid = timing == static_cast<std::int64_t>(MIDIExportTiming::followSongTempo) ||
                             timing == static_cast<std::int64_t>(MIDIExportTiming::fixedTempo);
    auto grid = followsGrid ? PulseGrid::make(storage.beatEntries()) : std::nullopt;
    if (!grid) {
        timeline.tempoEvents = {{0, kSecondsTempo}};
        timeline.mapping.kind = Mapping::Seconds{sampleRate};
        return timeline;
    }
    const auto signatures = barSignatures(*grid, storage.timeSignature());
    const auto& firstSignature = signatures.front().timeSignature;
    // A signature with a zero has no bar to count whole ones of: no lead-in then.
    const bool hasBar = firstSignature.numerator != 0 && firstSignature.denominator != 0;
    const double bar = hasBar ? barLength(firstSignature) : 0;

    if (timing == static_cast<std::int64_t>(MIDIExportTiming::fixedTempo)) {
        const LeadIn leadIn =
            hasBar ? leadInForFixedTempo(*grid, bar, earliestFrame(storage, exportsNotes, exportsChords))
                   : LeadIn{};
        timeline.tempoEvents = {{0, fixedTempo(*grid, sampleRate)}};
        timeline.timeSignatureEvents = tarn::timeSignatureEvents(*grid, signatures, leadIn.length);
        timeline.mapping.kind = Mapping::FixedTempo{std::move(*grid), leadIn};
    } else {
        const LeadIn leadIn = hasBar ? leadInFollowingTempo(*grid, bar, sampleRate) : LeadIn{};
        const auto tempos = tempoEventsFollowing(*grid, leadIn, sampleRate);
        if (!tempos.value())
            return Checked<MIDIExportTimeline>::failure(tempos.reason());
        timeline.tempoEvents = *tempos.value();
        timeline.timeSignatureEvents = tarn::timeSignatureEvents(*grid, signatures, leadIn.length);
        timeline.mapping.kind = Mapping::FollowSongTempo{std::move(*grid), leadIn};
    }
    return timeline;
}

} // namespace tarn
