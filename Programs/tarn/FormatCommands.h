#pragma once

#include "Interchange/Format.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// Commands that write or read files of the registry's formats: their options, help and refusals are made
/// from it.
namespace tarn::program {

enum class FormatDirection { writing, reading };

/// Which formats a command is about.
using FormatFilter = std::function<bool(const Format&)>;

/// The formats that go in the direction, in the registry's order.
[[nodiscard]] std::vector<const Format*> formatsFor(FormatDirection direction,
                                                    const FormatFilter& filter = {});
/// Their usual endings: ".mid, .lab or .csv".
[[nodiscard]] std::string endingsFor(FormatDirection direction, const FormatFilter& filter = {});

/// The options of formats on a command line.
class FormatArguments {
public:
    /// Adds the options of all these formats to the command, each once, and `--format` where there are
    /// formats without an ending among them.
    FormatArguments(CLI::App& command, FormatDirection direction, FormatFilter filter = {});

    /// The format that `--format` or the file's ending names. Throws Failure (usage) where there is none;
    /// `what` begins the message: "an export".
    [[nodiscard]] const Format& formatOf(const std::string& file, const std::string& what) const;
    /// The options that were given. Throws Failure (usage) for those that the format does not have.
    [[nodiscard]] FormatOptions given(const Format& format, const std::string& file) const;

private:
    void addOption(const FormatOption& option);

    CLI::App& mCommand;
    FormatDirection mDirection;
    FormatFilter mFilter;
    std::string mFormat;
    std::map<std::string, std::string> mValues; ///< by the options' names
    std::map<std::string, bool> mFlags;
};

/// Writes the song in the format, crash-safely. A picture whose recording cannot be read has no waveform,
/// which a line on standard error tells. `document` is the song's file. Throws Failure (usage,
/// unwritableOutput).
void writeSongFile(const Song& song, const std::filesystem::path& document, const Format& format,
                   const FormatOptions& options, const std::filesystem::path& output);

} // namespace tarn::program
