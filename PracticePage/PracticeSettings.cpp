#include "PracticePage/PracticeSettings.h"

#include "PracticePage/RequestValues.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

using nlohmann::json;

constexpr std::size_t kMostBytes = 8 << 10;

using Check = bool (*)(const json&);

bool isWithin(const json& value, double least, double most) {
    return value.is_number() && value.get<double>() >= least && value.get<double>() <= most;
}

bool isWholeWithin(const json& value, std::int64_t least, std::int64_t most) {
    return value.is_number_integer() &&
           isWithin(value, static_cast<double>(least), static_cast<double>(most));
}

bool isOneOf(const json& value, std::initializer_list<const char*> texts) {
    return value.is_string() && std::ranges::any_of(texts, [&](const char* text) { return value == text; });
}

bool isFlag(const json& value) {
    return value.is_boolean();
}

bool isFrame(const json& value) {
    return isWholeWithin(value, 0, kFarthestFrame);
}

bool isSpeed(const json& value) {
    return isWithin(value, 0.25, 2);
}

bool isVolume(const json& value) {
    return isWithin(value, 0, 1);
}

struct Member {
    const char* name;
    Check isValid;
};

bool hasOnly(const json& object, std::initializer_list<Member> members) {
    if (!object.is_object())
        return false;
    for (const auto& entry : object.items()) {
        const auto* const known =
            std::ranges::find_if(members, [&](const Member& member) { return entry.key() == member.name; });
        if (known == members.end() || !known->isValid(entry.value()))
            return false;
    }
    return true;
}

constexpr std::array kMembers{
    Member{"speed", isSpeed},
    Member{"loop",
           [](const json& value) {
               return value.is_null() || (value.is_array() && value.size() == 2 && isFrame(value[0]) &&
                                          isFrame(value[1]) && value[0] < value[1]);
           }},
    Member{"snap",
           [](const json& value) {
               return isOneOf(value, {"bar", "beat", "none"});
           }},
    Member{"countIn", [](const json& value) { return isWholeWithin(value, 0, 2); }},
    Member{"countInEach", isFlag},
    Member{"click",
           [](const json& value) {
               return hasOnly(value, {{"on", isFlag}, {"rate", [](const json& rate) {
                                                           return rate == 0.5 || rate == 1 || rate == 2;
                                                       }}});
           }},
    Member{"volumes",
           [](const json& value) {
               return hasOnly(value, {{"song", isVolume}, {"click", isVolume}});
           }},
    Member{"trainer",
           [](const json& value) {
               return hasOnly(value,
                              {{"on", isFlag},
                               {"step", [](const json& step) { return isWithin(step, 1, 50); }},
                               {"rounds", [](const json& rounds) { return isWholeWithin(rounds, 1, 99); }},
                               {"goal", isSpeed}});
           }},
    Member{"semitones", [](const json& value) { return isWithin(value, -12, 12); }},
    Member{"follow", isFlag},
    Member{"tune", isFlag},
    Member{"simple", isFlag},
    Member{"spectrogram", isFlag},
    Member{"instrument",
           [](const json& value) {
               return isOneOf(value, {"guitar", "ukulele", "bass", "piano"});
           }},
    Member{"zoom", [](const json& value) { return isWithin(value, 0.125, 16); }},
    Member{"speak", isFlag},
    Member{"position", isFrame},
    Member{"language",
           [](const json& value) {
               return value.is_null() || isOneOf(value, {"en", "de"});
           }},
};

const Member* memberNamed(const std::string& name) {
    const auto* const found =
        std::ranges::find_if(kMembers, [&](const Member& member) { return name == member.name; });
    return found == kMembers.end() ? nullptr : found;
}

/// Of the song; an empty object where it has none that can be read.
json kept(const Song& song) {
    if (song.practice.size() > kMostBytes)
        return json::object();
    json object = json::parse(song.practice, nullptr, false);
    return object.is_object() ? object : json::object();
}

std::string textOf(const json& object) {
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

std::string practiceSettingsOf(const Song& song) {
    json settings = json::object();
    const json all = kept(song);
    for (const auto& [name, value] : all.items()) {
        const Member* const member = memberNamed(name);
        if (member && member->isValid(value))
            settings[name] = value;
    }
    return textOf(settings);
}

std::string newPracticeSettings(const Song& song, std::string_view sent) {
    json settings = sent.size() > kMostBytes ? json() : json::parse(sent, nullptr, false);
    if (!settings.is_object())
        throw RequestRefused(400, "The settings are not an object of 8 KiB at most.");
    for (const auto& [name, value] : settings.items()) {
        const Member* const member = memberNamed(name);
        if (!member || !member->isValid(value))
            throw RequestRefused(400, "A setting is unknown or out of range.");
    }
    json merged = settings;
    const json former = kept(song);
    for (const auto& [name, value] : former.items()) {
        if (!memberNamed(name))
            merged[name] = value;
    }
    std::string text = textOf(merged);
    return text.size() <= kMostBytes ? text : textOf(settings);
}

} // namespace tarn
