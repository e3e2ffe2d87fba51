#include "Interchange/Format.h"

#include "Interchange/Formats/Formats.h"
#include "Platform/FatalError.h"
#include "Platform/PlainText.h"
#include "Song/DistinctIdentifiers.h"

#include <algorithm>
#include <cmath>

namespace tarn {
namespace {

/// In the order in which they are listed to people.
const std::vector<Format>& registeredFormats() {
    using namespace formats_detail;
    static const std::vector<Format> all{
        midi(), lab(), csv(), labels(), jams(), musicXML(), chordPro(), chart(), json(), svl(), svg(), html(),
    };
    return all;
}

std::string listed(std::span<const std::string_view> words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text.append(i == 0 ? "" : i + 1 < words.size() ? ", " : " or ").append(words[i]);
    return text;
}

void checkValue(const FormatOption& option, const std::string& value, const Format& format) {
    const std::string given = "--" + std::string(option.name) + " " + shortened(value);
    if (!option.allowed.empty() &&
        std::find(option.allowed.begin(), option.allowed.end(), value) == option.allowed.end())
        throw FormatOptionError(given + ": for " + std::string(format.name) + " this is " +
                                listed(option.allowed));
    if (!option.limits)
        return;
    const auto number = numberWithText(value);
    const auto& [least, greatest, areWhole] = *option.limits;
    if (!number || *number < least || *number > greatest || (areWhole && *number != std::floor(*number)))
        throw FormatOptionError(given + ": this is a " + (areWhole ? "whole " : "") + "number from " +
                                decimalText(least, areWhole ? 0 : 1) + " to " +
                                decimalText(greatest, areWhole ? 0 : 1));
}

void checkOptions(const std::vector<FormatOption>& known, const FormatOptions& given, const Format& format) {
    for (const auto& [name, value] : given.values()) {
        const auto option = std::find_if(known.begin(), known.end(),
                                         [&, &wanted = name](const auto& o) { return o.name == wanted; });
        if (option == known.end())
            throw FormatOptionError("--" + name + " means nothing for " + std::string(format.name));
        if (!option->valueName.empty())
            checkValue(*option, value, format);
    }
}

} // namespace

void checkWriteOptions(const Format& format, const FormatOptions& given) {
    checkOptions(format.writeOptions, given, format);
}

void checkReadOptions(const Format& format, const FormatOptions& given) {
    checkOptions(format.readOptions, given, format);
    if (format.checkReadOptions)
        format.checkReadOptions(given);
}

std::string FormatOptions::text(std::string_view name, std::string_view otherwise) const {
    const auto found = mValues.find(name);
    return found == mValues.end() ? std::string(otherwise) : found->second;
}

std::optional<double> FormatOptions::number(std::string_view name) const {
    return numberWithText(text(name));
}

std::optional<int> FormatOptions::wholeNumber(std::string_view name) const {
    const auto value = number(name);
    return value && std::abs(*value) <= 1e9 ? std::optional(static_cast<int>(*value)) : std::nullopt;
}

std::span<const Format> formats() {
    return registeredFormats();
}

const Format* formatNamed(std::string_view name) {
    const auto found = std::find_if(formats().begin(), formats().end(),
                                    [&](const Format& format) { return format.name == name; });
    return found == formats().end() ? nullptr : &*found;
}

const Format* formatWithEnding(std::string_view ending) {
    const auto found = std::find_if(formats().begin(), formats().end(), [&](const Format& format) {
        return std::find(format.endings.begin(), format.endings.end(), ending) != format.endings.end();
    });
    return found == formats().end() ? nullptr : &*found;
}

void writeSong(std::ostream& out, const Song& song, const Format& format, const WriteRequest& request) {
    precondition(format.write != nullptr, "Songs are not written in this format");
    checkWriteOptions(format, request.options);
    format.write(out, song, request);
}

std::string readIntoSong(Song& song, std::span<const std::byte> bytes, const Format& format,
                         const ReadRequest& request) {
    precondition(format.read != nullptr, "Songs are not read from this format");
    checkReadOptions(format, request.options);
    giveDistinctIdentifiers(song);
    // Several kinds may be replaced one after another.
    const SongState before(song);
    try {
        std::string report = format.read(song, bytes, request);
        keepEntriesMadeAgain(song, before);
        return report;
    } catch (...) {
        before.restoreIn(song);
        throw;
    }
}

namespace formats_detail {

FormatOption concertOption() {
    return {"concert", "", "Chords and key as they sound, without the song's capo and transposition"};
}

} // namespace formats_detail

} // namespace tarn
