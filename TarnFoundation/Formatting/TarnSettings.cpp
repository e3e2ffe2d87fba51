#include "TarnFoundation/Formatting/TarnSettings.h"

#include "Platform/FatalError.h"

namespace tarn {

template <>
std::span<const SettingChoice<TarnChordsDisplay>> choices() {
    static constexpr SettingChoice<TarnChordsDisplay> all[] = {
        {TarnChordsDisplay::names, "names"},
        {TarnChordsDisplay::diagrams, "diagrams"},
        {TarnChordsDisplay::namesAndDiagrams, "namesAndDiagrams"},
        {TarnChordsDisplay::hidden, "hidden"},
    };
    return all;
}

template <>
std::span<const SettingChoice<TarnChordsSize>> choices() {
    static constexpr SettingChoice<TarnChordsSize> all[] = {
        {TarnChordsSize::medium, "medium"},
        {TarnChordsSize::small, "small"},
        {TarnChordsSize::large, "large"},
    };
    return all;
}

template <>
std::span<const SettingChoice<TarnNotationDisplay>> choices() {
    static constexpr SettingChoice<TarnNotationDisplay> all[] = {
        {TarnNotationDisplay::letters, "letters"},     {TarnNotationDisplay::german, "german"},
        {TarnNotationDisplay::solfege, "solfege"},     {TarnNotationDisplay::romanNumerals, "romanNumerals"},
        {TarnNotationDisplay::nashville, "nashville"},
    };
    return all;
}

template <>
std::span<const SettingChoice<TarnMetronomeInstrument>> choices() {
    static constexpr SettingChoice<TarnMetronomeInstrument> all[] = {
        {TarnMetronomeInstrument::woodblock, "woodblock"}, {TarnMetronomeInstrument::agogo, "agogo"},
        {TarnMetronomeInstrument::bongo, "bongo"},         {TarnMetronomeInstrument::cowbell, "cowbell"},
        {TarnMetronomeInstrument::triangle, "triangle"},   {TarnMetronomeInstrument::drumKit, "drumKit"},
    };
    return all;
}

MetronomeNotes metronomeNotes(TarnMetronomeInstrument instrument) {
    switch (instrument) {
    case TarnMetronomeInstrument::woodblock:
        return {76, 77}; // high and low wood block
    case TarnMetronomeInstrument::agogo:
        return {67, 68}; // high and low agogo
    case TarnMetronomeInstrument::bongo:
        return {60, 61}; // high and low bongo
    case TarnMetronomeInstrument::cowbell:
        return {56, 37}; // cowbell and side stick
    case TarnMetronomeInstrument::triangle:
        return {81, 80}; // open and mute triangle
    case TarnMetronomeInstrument::drumKit:
        return {36, 42}; // bass drum 1 and closed hi-hat
    }
    fatalError("There is no such metronome instrument");
}

} // namespace tarn
