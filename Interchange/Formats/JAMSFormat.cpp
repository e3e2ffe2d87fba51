#include "Interchange/AnnotationTable.h"
#include "Interchange/FileText.h"
#include "Interchange/Formats/Formats.h"
#include "Interchange/KeyImport.h"
#include "Platform/PlainText.h"
#include "Platform/UTF8.h"
#include "Song/GridReplacement.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

/// JAMS, the JSON of annotations of music (E. J. Humphrey, J. Salamon, O. Nieto, J. Forsyth, R. M. Bittner,
/// J. P. Bello, ISMIR 2014), with the namespaces of version 0.3.
namespace tarn::formats_detail {
namespace {

using JSON = nlohmann::ordered_json;

constexpr const char* kVersion = "0.3.4";
constexpr double kSlowestTempo = 1e-3; ///< beats per minute; beyond them a tempo says nothing
constexpr double kFastestTempo = 1e6;

template <typename Map>
JSON confidenceIn(const Map& confidences, const typename Map::key_type& key) {
    const auto found = confidences.find(key);
    return found == confidences.end() ? JSON(nullptr) : JSON(found->second);
}

JSON observation(double time, double duration, JSON value, JSON confidence = nullptr) {
    return {{"time", std::max(time, 0.0)},
            {"duration", std::max(duration, 0.0)},
            {"value", std::move(value)},
            {"confidence", std::move(confidence)}};
}

class JAMSWriter {
public:
    explicit JAMSWriter(const Song& song) : mSong(song), mDuration(song.seconds(song.recording.frameCount)) {}

    [[nodiscard]] JSON document() {
        addBeats();
        addChords();
        addStretches(AnnotationKind::sections, "segment_open");
        addKeyAndTempo();
        addStretches(AnnotationKind::regions, "tag_open");
        addStretches(AnnotationKind::markers, "tag_open");
        addNotes();
        const auto& properties = mSong.properties;
        return {{"annotations", std::move(mAnnotations)},
                {"file_metadata",
                 {{"title", onOneLine(properties.title)},
                  {"artist", onOneLine(properties.artist)},
                  {"release", ""},
                  {"duration", mDuration},
                  {"identifiers", JSON::object()},
                  {"jams_version", kVersion}}},
                {"sandbox", {{"file_name", onOneLine(mSong.recording.fileName)}}}};
    }

private:
    void add(const char* name, JSON data, const char* content) {
        if (data.empty())
            return;
        const std::string& engine = mSong.facts.engineVersion;
        mAnnotations.push_back(
            {{"namespace", name},
             {"data", std::move(data)},
             {"time", 0},
             {"duration", mDuration},
             {"annotation_metadata",
              {{"curator", {{"name", ""}, {"email", ""}}},
               {"annotator", JSON::object()},
               {"version", ""},
               {"corpus", ""},
               {"annotation_tools",
                "TarnFoundation " TARN_VERSION + (engine.empty() ? "" : ", engine " + onOneLine(engine))},
               {"annotation_rules", ""},
               {"validation", ""},
               {"data_source", engine.empty() ? "" : "program"}}},
             {"sandbox", {{"content", content}}}});
    }

    [[nodiscard]] double seconds(std::int64_t frame) const { return mSong.seconds(frame); }
    /// The frame that a listed time stands for.
    [[nodiscard]] std::int64_t frame(double time) const {
        return static_cast<std::int64_t>(std::round(time * mSong.recording.sampleRate));
    }

    /// Confidences are those of bars, and stand at their downbeats.
    void addBeats() {
        std::map<std::int64_t, JSON> confidences; // by frame
        for (const auto& beat : mSong.notes->beatEntries())
            confidences.emplace(beat->location(), confidenceIn(mSong.facts.bars, beat->eventId()));
        JSON data = JSON::array();
        for (const auto& label : timedLabels(mSong, AnnotationKind::beats, AnnotationFormat::lab)) {
            const auto number = numberWithText(label.label).value_or(0);
            const std::int64_t location = frame(label.start);
            data.push_back(observation(seconds(location), 0,
                                       number > 0 ? JSON(static_cast<std::int64_t>(number)) : JSON(nullptr),
                                       confidences[location]));
        }
        if (data.size() > 1) // a single beat does not make a grid
            add("beat", std::move(data), "beats");
    }

    void addChords() {
        std::map<std::int64_t, JSON> confidences; // by frame; of several the last, which is listed
        for (const auto& chord : mSong.notes->chordEntries())
            confidences[std::max<std::int64_t>(chord->location(), 0)] =
                confidenceIn(mSong.facts.chords, chord->eventId());
        JSON data = JSON::array();
        for (const auto& label : timedLabels(mSong, AnnotationKind::chords, AnnotationFormat::lab)) {
            const std::int64_t start = frame(label.start);
            data.push_back(observation(seconds(start), seconds(frame(label.end.value_or(0)) - start),
                                       label.label, confidences[start]));
        }
        add("chord", std::move(data), "chords");
    }

    void addStretches(AnnotationKind kind, const char* name) {
        JSON data = JSON::array();
        for (const auto& label : timedLabels(mSong, kind, AnnotationFormat::csv)) {
            const std::int64_t start = frame(label.start);
            data.push_back(observation(seconds(start),
                                       seconds(frame(label.end.value_or(label.start)) - start), label.label));
        }
        add(name, std::move(data), std::string(nameOf(kind)).c_str());
    }

    void addKeyAndTempo() {
        const auto& overall = mSong.facts.overall;
        if (const auto key = mSong.notes->globalKey())
            add("key_mode",
                JSON::array({observation(0, mDuration,
                                         key->tonicChord()->root().withoutDoubleAccidental().string() +
                                             (key->isMinor() ? ":minor" : ":major"),
                                         confidenceIn(overall, "key"))}),
                "key");
        // Without a tempo of its own a song has that of its beats.
        const auto tempi = mSong.notes->tempoEntries();
        const double tempo =
            tempi.empty() ? tempoOfBeats(mSong) : static_cast<double>(tempi.front()->tempo());
        if (!(tempo >= kSlowestTempo && tempo <= kFastestTempo))
            return;
        // The namespace has a number there: how much the tempo stands out among all that are listed.
        const JSON confidence = confidenceIn(overall, "tempo");
        add("tempo",
            JSON::array({observation(0, mDuration, static_cast<double>(static_cast<float>(tempo)),
                                     confidence.is_null() ? JSON(1) : confidence)}),
            "tempo");
    }

    void addNotes() {
        JSON data = JSON::array();
        for (const auto& note : mSong.notes->noteEntries()) {
            const std::int64_t start = note->location();
            const std::uint64_t most =
                static_cast<std::uint64_t>(std::max<std::int64_t>(mSong.recording.frameCount - start, 0));
            if (note->pitch() && start >= 0 && start < mSong.recording.frameCount)
                data.push_back(observation(seconds(start),
                                           seconds(static_cast<std::int64_t>(std::min(note->length(), most))),
                                           note->pitch()->semitones()));
        }
        add("note_midi", std::move(data), "notes");
    }

    const Song& mSong;
    double mDuration; ///< seconds
    JSON mAnnotations = JSON::array();
};

void writeJAMS(std::ostream& out, const Song& song, const WriteRequest&) {
    constexpr int kIndentation = 1;
    out << JAMSWriter(song).document().dump(kIndentation, ' ', false, JSON::error_handler_t::replace) << "\n";
}

/// What is read; its objects find their keys quickly, however many a file gives them.
using ReadJSON = nlohmann::json;

/// Looks through a text before anything of it is kept.
class JSONCheck : public nlohmann::json_sax<ReadJSON> {
public:
    bool null() override { return count(); }
    bool boolean(bool) override { return count(); }
    bool number_integer(number_integer_t) override { return count(); }
    bool number_unsigned(number_unsigned_t) override { return count(); }
    bool number_float(number_float_t, const string_t&) override { return count(); }
    bool string(string_t&) override { return count(); }
    bool binary(binary_t&) override { return count(); }
    bool key(string_t&) override { return true; }
    bool start_object(std::size_t) override { return open(); }
    bool start_array(std::size_t) override { return open(); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
        errorPosition = position;
        return false;
    }

    std::optional<std::size_t> errorPosition; ///< in bytes

private:
    bool open() {
        constexpr int kDeepest = 64;
        if (++mDepth > kDeepest)
            throw FormatError("it is nested too deep for annotations");
        return count();
    }
    bool close() {
        --mDepth;
        return true;
    }
    bool count() {
        constexpr std::size_t kMostValues = 4'000'000;
        if (++mValues > kMostValues)
            throw FormatError("it is too long for annotations");
        return true;
    }

    int mDepth = 0;
    std::size_t mValues = 0;
};

/// Throws FormatError for what is not JSON, nested more than a few deep, or of more values than any song has.
ReadJSON parseUntrusted(std::span<const std::byte> bytes) {
    const std::string_view text = fileText(bytes);
    JSONCheck check;
    if (!ReadJSON::sax_parse(text.begin(), text.end(), &check)) {
        const auto before = text.substr(0, check.errorPosition.value_or(0));
        throw FormatError("it is not valid JSON",
                          1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')));
    }
    return ReadJSON::parse(text.begin(), text.end());
}

std::string textAt(const ReadJSON& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

double secondsAt(const ReadJSON& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number() || !std::isfinite(found->get<double>()))
        throw FormatError(std::string("an observation has no ") + key + " in seconds");
    return found->get<double>();
}

struct Observation {
    double time = 0;
    double duration = 0;
    ReadJSON value;
};

/// Lists of observations, and the older form of an object of lists.
std::vector<Observation> observationsOf(const ReadJSON& annotation) {
    std::vector<Observation> observations;
    const auto data = annotation.find("data");
    if (data == annotation.end() || !(data->is_array() || data->is_object()))
        throw FormatError("an annotation has no data");
    const auto add = [&](const ReadJSON& element) {
        if (!element.is_object())
            throw FormatError("an observation is not an object");
        const auto value = element.find("value");
        observations.push_back({secondsAt(element, "time"), secondsAt(element, "duration"),
                                value == element.end() ? ReadJSON(nullptr) : *value});
    };
    if (data->is_array()) {
        for (const ReadJSON& element : *data)
            add(element);
        return observations;
    }
    for (const char* key : {"time", "duration", "value"}) {
        if (!data->contains(key) || !(*data)[key].is_array() || (*data)[key].size() != (*data)["time"].size())
            throw FormatError("an annotation's data is not valid");
    }
    for (std::size_t i = 0; i < (*data)["time"].size(); ++i)
        add({{"time", (*data)["time"][i]},
             {"duration", (*data)["duration"][i]},
             {"value", (*data)["value"][i]}});
    return observations;
}

bool isWithoutData(const ReadJSON& annotation) {
    const auto data = annotation.find("data");
    if (data == annotation.end())
        return false;
    const auto times = data->is_object() ? data->find("time") : data->end();
    return data->empty() || (times != data->end() && times->empty());
}

/// The number of a beat in its bar; empty where the value says none.
std::string beatText(const ReadJSON& value) {
    const ReadJSON& number = value.is_object() && value.contains("position") ? value["position"] : value;
    constexpr double kMost = 1e6;
    if (!number.is_number() || !(number.get<double>() >= 0 && number.get<double>() < kMost))
        return "";
    const double position = number.get<double>();
    return position == std::floor(position) ? decimalText(position, 0) : "";
}

class JAMSReader {
public:
    JAMSReader(Song& song, const ReadJSON& document) : mSong(song), mDocument(document) {}

    std::string replaceAll() {
        if (!mDocument.is_object() || !mDocument.contains("annotations") ||
            !mDocument["annotations"].is_array())
            throw FormatError("it is not a JAMS file");
        replaceLabels(AnnotationKind::beats, {"beat", "beat_position"});
        replaceLabels(AnnotationKind::chords, {"chord", "chord_harte"});
        replaceLabels(AnnotationKind::sections, {"segment_open", "segment_salami_function"});
        replaceKey();
        replaceTempo(); // after the beats, which have a tempo of their own
        replaceNames();
        if (mReport.empty())
            throw FormatRefused("the file holds no beats, chords, sections, key, tempo, title or artist");
        return mReport;
    }

private:
    /// The first annotation with data in one of these namespaces; null where there is none. One without data
    /// says nothing of the song.
    const ReadJSON* annotation(std::initializer_list<std::string_view> names) {
        const ReadJSON* first = nullptr;
        std::size_t count = 0;
        for (const ReadJSON& candidate : mDocument["annotations"]) {
            if (!candidate.is_object())
                throw FormatError("an annotation is not an object");
            if (std::find(names.begin(), names.end(), textAt(candidate, "namespace")) == names.end())
                continue;
            if (isWithoutData(candidate))
                continue;
            ++count;
            if (!first)
                first = &candidate;
        }
        if (count > 1)
            mOthers = " (the first of " + std::to_string(count) + " annotations)";
        return first;
    }

    void report(const std::string& text) {
        mReport += (mReport.empty() ? "" : "; ") + text + mOthers;
        mOthers.clear();
    }

    void replaceLabels(AnnotationKind kind, std::initializer_list<std::string_view> names) {
        const ReadJSON* const found = annotation(names);
        if (!found)
            return;
        std::vector<TimedLabel> labels;
        for (const Observation& seen : observationsOf(*found)) {
            TimedLabel label{seen.time, {}, {}};
            if (kind == AnnotationKind::beats)
                label.label = beatText(seen.value);
            else if (seen.value.is_string())
                label.label = seen.value.get<std::string>();
            else
                throw FormatError(std::string(nameOf(kind)) + ": a value is not a text");
            if (kind == AnnotationKind::chords)
                label.end = seen.time + seen.duration;
            labels.push_back(std::move(label));
        }
        // Where beats have no numbers at all, there are no bars: that is what zeros say.
        if (kind == AnnotationKind::beats &&
            std::none_of(labels.begin(), labels.end(),
                         [](const auto& label) { return !label.label.empty(); })) {
            for (TimedLabel& label : labels)
                label.label = "0";
        }
        report(replaceWithTimedLabels(mSong, kind, std::move(labels)));
    }

    void replaceKey() {
        const ReadJSON* const found = annotation({"key_mode"});
        if (!found)
            return;
        const auto observations = observationsOf(*found);
        if (observations.empty() || !observations.front().value.is_string())
            return;
        const std::string text = observations.front().value.get<std::string>();
        if (text == "N") {
            report("the file says that there is no key; the key stays");
            return;
        }
        const auto key = keyWithName(text);
        if (!key)
            throw FormatError(inQuotes(text) + " is not a valid key");
        tarn::replaceKey(mSong, key);
        report("key " + key->description());
    }

    void replaceTempo() {
        const ReadJSON* const found = annotation({"tempo"});
        if (!found)
            return;
        const auto observations = observationsOf(*found);
        if (observations.empty())
            return;
        const ReadJSON& value = observations.front().value;
        if (!value.is_number() ||
            !(value.get<double>() >= kSlowestTempo && value.get<double>() <= kFastestTempo))
            throw FormatError("the tempo is not a number of beats per minute");
        const auto tempo = mSong.notes->newTempoEntry();
        tempo->setTempo(static_cast<float>(value.get<double>()));
        mSong.notes->replaceTempoEntriesInArrayWithTempoEntriesInArray(mSong.notes->tempoEntries(), {tempo});
        report("tempo " + decimalText(value.get<double>(), 1));
    }

    void replaceNames() {
        const auto metadata = mDocument.find("file_metadata");
        if (metadata == mDocument.end() || !metadata->is_object())
            return;
        const auto take = [&](const char* name, std::string& property) {
            const std::string text = onOneLine(textAt(*metadata, name));
            if (text.empty() || text == property)
                return;
            property = text;
            report(name + (" " + inQuotes(text)));
        };
        take("title", mSong.properties.title);
        take("artist", mSong.properties.artist);
    }

    Song& mSong;
    const ReadJSON& mDocument;
    std::string mReport;
    std::string mOthers; ///< what is said of annotations that were passed over
};

std::string readJAMS(Song& song, std::span<const std::byte> bytes, const ReadRequest&) {
    return JAMSReader(song, parseUntrusted(bytes)).replaceAll();
}

} // namespace

Format jams() {
    Format format;
    format.name = "jams";
    format.endings = {".jams"};
    format.help = "JAMS, the JSON of research annotations";
    format.writes = "everything, with confidences and the version of the tool";
    format.reads = "beats, chords, sections, key, tempo, title and artist, as far as the file has them";
    format.write = writeJAMS;
    format.read = readJAMS;
    return format;
}

} // namespace tarn::formats_detail
