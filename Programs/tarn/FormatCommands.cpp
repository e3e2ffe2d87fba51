#include "Programs/tarn/FormatCommands.h"

#include "Platform/FileManager.h"
#include "Platform/PlainText.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/RefusedOptions.h"
#include "Song/SongWaveform.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace tarn::program {
namespace {

const std::vector<FormatOption>& optionsOf(const Format& format, FormatDirection direction) {
    return direction == FormatDirection::writing ? format.writeOptions : format.readOptions;
}

bool hasOption(const Format& format, FormatDirection direction, std::string_view name) {
    const auto& options = optionsOf(format, direction);
    return std::any_of(options.begin(), options.end(),
                       [&](const auto& option) { return option.name == name; });
}

std::string joinedWith(const std::vector<std::string>& words, const char* last) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text += (i == 0 ? "" : i + 1 < words.size() ? ", " : last) + words[i];
    return text;
}

/// The recording as a page at `page` names it: relative where that works.
std::string recordingSeenFrom(const std::filesystem::path& page, const std::filesystem::path& recording) {
    std::error_code error;
    const auto folder = std::filesystem::absolute(page, error).parent_path();
    const auto relative =
        std::filesystem::relative(std::filesystem::absolute(recording, error), folder, error);
    const auto text = (relative.empty() ? recording : relative).generic_u8string();
    return {text.begin(), text.end()};
}

} // namespace

std::vector<const Format*> formatsFor(FormatDirection direction, const FormatFilter& filter) {
    std::vector<const Format*> found;
    for (const Format& format : formats()) {
        const bool goesThere =
            direction == FormatDirection::writing ? format.write != nullptr : format.read != nullptr;
        if (goesThere && (!filter || filter(format)))
            found.push_back(&format);
    }
    return found;
}

std::string endingsFor(FormatDirection direction, const FormatFilter& filter) {
    std::vector<std::string> endings;
    for (const Format* format : formatsFor(direction, filter))
        if (!format->endings.empty())
            endings.emplace_back(format->endings.front());
    return joinedWith(endings, " or ");
}

FormatArguments::FormatArguments(CLI::App& command, FormatDirection direction, FormatFilter filter)
    : mCommand(command), mDirection(direction), mFilter(std::move(filter)) {
    const auto all = formatsFor(direction, mFilter);
    std::vector<std::string> names;
    names.reserve(all.size());
    for (const Format* format : all)
        names.emplace_back(format->name);
    command
        .add_option("--format", mFormat, "The format, whatever the file's ending: " + joinedWith(names, ", "))
        ->check(CLI::IsMember(names).description(""))
        ->type_name("NAME");
    std::set<std::string_view> added;
    for (const Format* format : all)
        for (const FormatOption& option : optionsOf(*format, direction))
            if (added.insert(option.name).second)
                addOption(option);
}

/// The values are checked by the format, which knows best.
void FormatArguments::addOption(const FormatOption& option) {
    std::vector<std::string> values;
    std::vector<std::string> endings;
    std::string standards; // what holds where it is not given; the first format may differ from the others
    std::string_view lastStandard;
    const auto all = formatsFor(mDirection, mFilter);
    for (const Format* format : all) {
        for (const FormatOption& other : optionsOf(*format, mDirection)) {
            if (other.name != option.name)
                continue;
            endings.emplace_back(format->endings.empty() ? "--format " + std::string(format->name)
                                                         : std::string(format->endings.front()));
            if (!other.standard.empty() && other.standard != lastStandard) {
                if (!standards.empty())
                    standards += " for " + endings.front() + ", else ";
                standards += lastStandard = other.standard;
            }
            for (const std::string_view value : other.allowed)
                if (std::find(values.begin(), values.end(), value) == values.end())
                    values.emplace_back(value);
        }
    }
    const std::string name(option.name);
    std::string help(option.help);
    if (!values.empty() && help.find(values.front()) == std::string::npos)
        help += ": " + joinedWith(values, " or ");
    if (!standards.empty())
        help += " (" + standards + ")";
    if (endings.size() < all.size())
        help += "; for " + joinedWith(endings, ", ");
    if (option.valueName.empty()) {
        mCommand.add_flag("--" + name, mFlags[name], help);
        return;
    }
    auto* const added = mCommand.add_option("--" + name, mValues[name], help);
    added->type_name(std::string(option.valueName));
    if (!values.empty())
        added->check(CLI::IsMember(values).description(""));
}

const Format& FormatArguments::formatOf(const std::string& file, const std::string& what) const {
    const Format* const format = mFormat.empty() ? formatWithEnding(endingOf(file)) : formatNamed(mFormat);
    const auto all = formatsFor(mDirection, mFilter);
    if (format == nullptr || std::find(all.begin(), all.end(), format) == all.end())
        throw Failure(ExitStatus::usage, file + ": " + what + " ends in " + endingsFor(mDirection, mFilter));
    return *format;
}

FormatOptions FormatArguments::given(const Format& format, const std::string& file) const {
    FormatOptions options;
    const auto take = [&](const std::string& name, const std::string& value) {
        const std::string dashed = "--" + name;
        if (!hasOption(format, mDirection, name))
            refuseOptions(mCommand, file, {dashed.c_str()});
        else if (mCommand.count(dashed) > 0)
            options.set(name, value);
    };
    for (const auto& [name, value] : mValues)
        take(name, value);
    for (const auto& [name, isGiven] : mFlags)
        take(name, "yes");
    try { // before any file is opened
        (mDirection == FormatDirection::writing ? checkWriteOptions : checkReadOptions)(format, options);
    } catch (const FormatOptionError& wrong) {
        throw Failure(ExitStatus::usage, wrong.what());
    }
    return options;
}

void writeSongFile(const Song& song, const std::filesystem::path& document, const Format& format,
                   const FormatOptions& options, const std::filesystem::path& output) {
    checkWritable(output);
    WriteRequest request{options, {}, {}};
    const auto recording = song.recordingFile(document);
    const bool isOfRecording = format.isPicture && song.hasRecording();
    if (isOfRecording) {
        const std::string cacheName = cacheNameOf(recording);
        markCacheUsed(cacheName);
        request.waveform = waveformOfRecording(recording, cacheName);
        request.audioFile = recordingSeenFrom(output, recording);
    }
    Error error;
    bool isWritten = false;
    try {
        isWritten = FileManager::streamAtomically(
            [&](std::ostream& out) { writeSong(out, song, format, request); }, output, &error);
    } catch (const FormatRefused& refusal) {
        throw Failure(ExitStatus::unwritableOutput, output.string() + ": " + refusal.what());
    } catch (const FormatOptionError& wrong) {
        throw Failure(ExitStatus::usage, wrong.what());
    }
    if (!isWritten)
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
    if (isOfRecording && !request.waveform)
        std::cerr << "tarn: " << onOneLine(recording.string())
                  << ": the recording cannot be read; the picture has no waveform\n";
}

} // namespace tarn::program
