#pragma once

#include "Interchange/FormatError.h"
#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Song/Song.h"

#include <cstddef>
#include <iosfwd>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The file formats that songs are written in and read from: one registry, from which programs make their
/// commands, refusals and completions. A format is one file of Interchange/Formats and one line of the list
/// in Format.cpp.
namespace TARN_PUBLIC tarn {

/// Something that a format can be told.
struct FormatOption {
    std::string_view name;      ///< without dashes: "timing"
    std::string_view valueName; ///< for help, in capitals; empty for a flag, which is given or not
    std::string_view help;
    std::vector<std::string_view> allowed = {}; ///< the values; where there are none, any text
    std::string_view standard = {}; ///< what holds where the option is not given; empty for nothing
    /// Limits of an option whose values are numbers, both included.
    struct Limits {
        double least = 0;
        double greatest = 0;
        bool areWhole = true;
    };
    std::optional<Limits> limits = {};
};

/// What a format is told: texts by the options' names, any text for a flag.
class FormatOptions {
public:
    FormatOptions() = default;
    FormatOptions(std::initializer_list<std::pair<const std::string, std::string>> values)
        : mValues(values) {}

    void set(std::string_view name, std::string value) { mValues[std::string(name)] = std::move(value); }
    [[nodiscard]] bool has(std::string_view name) const { return mValues.find(name) != mValues.end(); }
    [[nodiscard]] std::string text(std::string_view name, std::string_view otherwise = {}) const;
    /// Empty where it is not given, or is not a number.
    [[nodiscard]] std::optional<double> number(std::string_view name) const;
    [[nodiscard]] std::optional<int> wholeNumber(std::string_view name) const;
    [[nodiscard]] const std::map<std::string, std::string, std::less<>>& values() const { return mValues; }

private:
    std::map<std::string, std::string, std::less<>> mValues;
};

struct WriteRequest {
    FormatOptions options;
    // Of pictures:
    std::shared_ptr<Waveform> waveform; ///< null for a picture without one
    std::string audioFile;              ///< the recording as seen from the page, in UTF-8
};

struct ReadRequest {
    FormatOptions options;
};

struct Format {
    std::string_view name; ///< for `--format`
    std::vector<std::string_view>
        endings;             ///< with their dots, in lower case, the usual one first; may be none
    std::string_view help;   ///< what it is, in one line
    std::string_view writes; ///< what of a song it writes; empty where it is not written
    std::string_view reads;  ///< what of a song it replaces; empty where it is not read
    std::vector<FormatOption> writeOptions = {};
    std::vector<FormatOption> readOptions = {};
    /// Null where it is not written. Use writeSong, which checks the options first.
    void (*write)(std::ostream& out, const Song& song, const WriteRequest& request) = nullptr;
    /// Throws FormatOptionError for options of reading that do not suit each other; null where all do.
    void (*checkReadOptions)(const FormatOptions& options) = nullptr;
    /// Null where it is not read. Use readIntoSong, after whose errors the song is as it was.
    std::string (*read)(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) = nullptr;
    bool isPicture = false; ///< drawn with the recording's waveform
};

[[nodiscard]] std::span<const Format> formats();
/// Null where there is none of that name.
[[nodiscard]] const Format* formatNamed(std::string_view name);
/// By an ending with its dot, in lower case; null where no format has it.
[[nodiscard]] const Format* formatWithEnding(std::string_view ending);

/// Throw FormatOptionError for an option that the format does not have, that has a wrong value, or that does
/// not suit another one. No file is needed for that.
void checkWriteOptions(const Format& format, const FormatOptions& given);
void checkReadOptions(const Format& format, const FormatOptions& given);

/// Writes a song. Equal songs give equal bytes. Throws FormatRefused for a song that the format cannot hold
/// and FormatOptionError; what was written until then is of no use. The format has to be one that is written.
void writeSong(std::ostream& out, const Song& song, const Format& format, const WriteRequest& request = {});

/// Replaces what the format carries by what the bytes hold, and returns a line that says so. Any bytes are
/// taken. Throws FormatError, FormatRefused, EditRefused and FormatOptionError; the song is then as it was.
/// The format has to be one that is read.
std::string readIntoSong(Song& song, std::span<const std::byte> bytes, const Format& format,
                         const ReadRequest& request = {});

} // namespace tarn
