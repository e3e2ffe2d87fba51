#include "KELPMusic/KELPStringedInstrumentDescription.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tarn {
namespace {

struct Preset {
    std::string_view name;
    std::string_view tuning; // note names with one-digit octaves, separated by spaces
    int numberOfFrets;
};

constexpr Preset kPresets[] = {
    {"Guitar", "E2 A2 D3 G3 B3 E4", 24},
    {"Guitar, half step down", "Eb2 Ab2 Db3 Gb3 Bb3 Eb4", 24},
    {"Guitar, whole step down", "D2 G2 C3 F3 A3 D4", 24},
    {"Guitar, drop D", "D2 A2 D3 G3 B3 E4", 24},
    {"Guitar, drop C", "C2 G2 C3 F3 A3 D4", 24},
    {"Guitar, double drop D", "D2 A2 D3 G3 B3 D4", 24},
    {"Guitar, DADGAD", "D2 A2 D3 G3 A3 D4", 24},
    {"Guitar, open D", "D2 A2 D3 F#3 A3 D4", 24},
    {"Guitar, open E", "E2 B2 E3 G#3 B3 E4", 24},
    {"Guitar, open G", "D2 G2 D3 G3 B3 D4", 24},
    {"Guitar, open A", "E2 A2 E3 A3 C#4 E4", 24},
    {"Guitar, open C", "C2 G2 C3 G3 C4 E4", 24},
    {"7-string guitar", "B1 E2 A2 D3 G3 B3 E4", 24},
    {"8-string guitar", "F#1 B1 E2 A2 D3 G3 B3 E4", 24},
    {"Baritone guitar", "B1 E2 A2 D3 F#3 B3", 24},
    {"Bass", "E1 A1 D2 G2", 24},
    {"Bass, drop D", "D1 A1 D2 G2", 24},
    {"5-string bass", "B0 E1 A1 D2 G2", 24},
    {"6-string bass", "B0 E1 A1 D2 G2 C3", 24},
    {"Ukulele", "G4 C4 E4 A4", 18},
    {"Ukulele, low G", "G3 C4 E4 A4", 18},
    {"Baritone ukulele", "D3 G3 B3 E4", 19},
    {"Mandolin", "G3 D4 A4 E5", 24},
    {"Octave mandolin", "G2 D3 A3 E4", 22},
    {"Banjo", "G4 D3 G3 B3 D4", 22},
    {"Banjo, double C", "G4 C3 G3 C4 D4", 22},
    {"Tenor banjo", "C3 G3 D4 A4", 19},
    {"Bouzouki, Irish", "G2 D3 A3 D4", 22},
    {"Violin", "G3 D4 A4 E5", 24},
    {"Viola", "C3 G3 D4 A4", 24},
    {"Cello", "C2 G2 D3 A3", 24},
    {"Double bass", "E1 A1 D2 G2", 24},
};

KELPInstrumentRef instrumentFromPreset(const Preset& preset) {
    std::vector<KELPPitchRef> tuning;
    for (std::string_view rest = preset.tuning; !rest.empty();) {
        const std::size_t space = rest.find(' ');
        const std::string_view pitch = rest.substr(0, space);
        tuning.push_back(KELPPitch::pitchWithNote(
            *KELPNote::noteWithString(pitch.substr(0, pitch.size() - 1)), pitch.back() - '0'));
        rest = space == std::string_view::npos ? std::string_view() : rest.substr(space + 1);
    }
    return std::make_shared<KELPStringedInstrumentDescription>(std::string(preset.name), std::move(tuning),
                                                               preset.numberOfFrets);
}

bool isPlayableNumberOfFrets(std::int64_t frets) {
    return frets >= 0 && frets <= KELPStringedInstrumentDescription::kHighestNumberOfFrets;
}

} // namespace

KELPStringedInstrumentDescription::KELPStringedInstrumentDescription(std::string name,
                                                                     std::vector<KELPPitchRef> tuning,
                                                                     int numberOfFrets)
    : mName(std::move(name)), mTuning(std::move(tuning)), mNumberOfFrets(numberOfFrets) {
    precondition(std::find(mTuning.begin(), mTuning.end(), nullptr) == mTuning.end(),
                 "A string has no pitch!");
    precondition(isPlayableNumberOfFrets(mNumberOfFrets), "The number of frets is out of range!");
}

KELPInstrumentRef KELPStringedInstrumentDescription::stringedInstrumentDescription() {
    return presets().front();
}

const std::vector<KELPInstrumentRef>& KELPStringedInstrumentDescription::presets() {
    static const std::vector<KELPInstrumentRef> instruments = [] {
        std::vector<KELPInstrumentRef> list;
        for (const Preset& preset : kPresets)
            list.push_back(instrumentFromPreset(preset));
        return list;
    }();
    return instruments;
}

KELPInstrumentRef KELPStringedInstrumentDescription::presetNamed(std::string_view name) {
    const auto& list = presets();
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const auto& preset) { return preset->name() == name; });
    return found != list.end() ? *found : nullptr;
}

std::string KELPStringedInstrumentDescription::description() const {
    std::string text = mName + " (";
    for (std::size_t i = 0; i < mTuning.size(); ++i)
        text += (i > 0 ? " " : "") + mTuning[i]->description();
    return text + ", " + std::to_string(mNumberOfFrets) + " frets)";
}

KELPInstrumentRef KELPStringedInstrumentDescription::copy() const {
    return std::make_shared<KELPStringedInstrumentDescription>(*this);
}

bool KELPStringedInstrumentDescription::isEqualToDescription(
    const KELPStringedInstrumentDescription& other) const {
    return mName == other.mName && mNumberOfFrets == other.mNumberOfFrets &&
           std::equal(mTuning.begin(), mTuning.end(), other.mTuning.begin(), other.mTuning.end(),
                      [](const auto& a, const auto& b) { return *a == *b; });
}

const ClassDescription& KELPStringedInstrumentDescription::classDescription() {
    static constexpr ClassDescription description{
        "KELPStringedInstrumentDescription", nullptr,
        [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            auto name = coder.decodeString("name");
            const auto strings = coder.decodeObjects<KELPPitch>("tuning");
            const auto frets = coder.decodeInt("numberOfFrets");
            if (!name || !strings || !frets || !isPlayableNumberOfFrets(*frets))
                return nullptr;
            return std::make_shared<KELPStringedInstrumentDescription>(
                std::move(*name), std::vector<KELPPitchRef>(strings->begin(), strings->end()),
                static_cast<int>(*frets));
        }};
    return description;
}

void KELPStringedInstrumentDescription::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString("name", mName);
    coder.encodeObjects("tuning", mTuning);
    coder.encodeInt("numberOfFrets", mNumberOfFrets);
}

} // namespace tarn

std::size_t std::hash<tarn::KELPStringedInstrumentDescription>::operator()(
    const tarn::KELPStringedInstrumentDescription& instrument) const noexcept {
    std::size_t value = std::hash<std::string>{}(instrument.name());
    for (const auto& openString : instrument.tuning())
        value = value * 31 + std::hash<tarn::KELPPitch>{}(*openString);
    return value * 31 + static_cast<std::size_t>(instrument.numberOfFrets());
}
