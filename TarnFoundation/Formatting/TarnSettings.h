#pragma once

#include "Platform/Export.h"

#include <optional>
#include <span>
#include <string_view>

/// Settings that the user chooses from a few. Each choice has a raw value, the text that is kept in the
/// user's settings: raw values never change, whatever happens to the names and the order of the choices.
namespace TARN_PUBLIC tarn {

/// What the timeline shows of a chord.
enum class TarnChordsDisplay { hidden, names, diagrams, namesAndDiagrams };

/// How large chords are drawn.
enum class TarnChordsSize { small, medium, large };

/// How the roots of chords and the names of notes are written.
enum class TarnNotationDisplay {
    letters,       ///< C D E F G A B
    german,        ///< C D E F G A H
    solfege,       ///< Do Re Mi Fa Sol La Si
    romanNumerals, ///< I II III …, relative to the key
    nashville,     ///< 1 2 3 …, relative to the key
};

/// The sounds that the metronome offers.
enum class TarnMetronomeInstrument { woodblock, agogo, bongo, cowbell, triangle, drumKit };

template <typename Setting>
struct SettingChoice {
    Setting value;
    std::string_view rawValue;
};

/// The choices of a setting in the order in which they are offered; the first is the default.
template <typename Setting>
[[nodiscard]] std::span<const SettingChoice<Setting>> choices();
template <>
std::span<const SettingChoice<TarnChordsDisplay>> choices();
template <>
std::span<const SettingChoice<TarnChordsSize>> choices();
template <>
std::span<const SettingChoice<TarnNotationDisplay>> choices();
template <>
std::span<const SettingChoice<TarnMetronomeInstrument>> choices();

/// The text that is kept for `value`.
template <typename Setting>
[[nodiscard]] std::string_view rawValue(Setting value) {
    for (const auto& choice : choices<Setting>()) {
        if (choice.value == value)
            return choice.rawValue;
    }
    return {};
}

/// The choice whose raw value is exactly `text`, case included; nothing for any other text, such as one that
/// a newer version has written.
template <typename Setting>
[[nodiscard]] std::optional<Setting> settingFromRawValue(std::string_view text) {
    for (const auto& choice : choices<Setting>()) {
        if (choice.rawValue == text)
            return choice.value;
    }
    return std::nullopt;
}

/// Note numbers of the General MIDI percussion map, channel 10 (General MIDI System Level 1, table 3).
struct MetronomeNotes {
    int downbeat;
    int beat;
    friend bool operator==(const MetronomeNotes&, const MetronomeNotes&) = default;
};

/// What the metronome plays; every instrument has different notes for the downbeat and the other beats.
[[nodiscard]] MetronomeNotes metronomeNotes(TarnMetronomeInstrument instrument);

} // namespace tarn
