#include "Song/SongArchive.h"

#include "Song/Song.h"

#include <algorithm>
#include <bit>
#include <span>
#include <utility>

namespace tarn::archive {
namespace {

// The keys of a song's root object. What stands under any other was put there by a newer edition.
constexpr std::string_view kFileName = "fileName";
constexpr std::string_view kSampleRate = "sampleRate";
constexpr std::string_view kFrameCount = "frameCount";
constexpr std::string_view kIdentifier = "identifier";
constexpr std::string_view kDigest = "contentDigest";
constexpr std::string_view kStretch = "loudnessStretchSeconds";
constexpr std::string_view kLevels = "loudnessLevels";
constexpr std::string_view kNotes = "noteEntryStorage";
constexpr std::string_view kStructure = "songStructureStorage";
constexpr std::string_view kSchema = "schemaVersion";
constexpr std::string_view kChecksum = "checksum";
constexpr std::string_view kProperties = "properties";
constexpr std::string_view kFacts = "analysisFacts";
constexpr std::string_view kSteps = "historySteps";
constexpr std::string_view kDoneSteps = "historyDoneSteps";
constexpr std::string_view kPractice = "practice";
constexpr std::string_view kKnownKeys[] = {
    kFileName,  kSampleRate, kFrameCount, kIdentifier, kDigest, kStretch, kLevels,    kNotes,
    kStructure, kSchema,     kChecksum,   kProperties, kFacts,  kSteps,   kDoneSteps, kPractice};

/// An object of an archive that holds a value.
template <typename Self, typename Value>
class Coded : public SecureCoding {
public:
    explicit Coded(Value held) : value(std::move(held)) {}
    Value value;

    static const ClassDescription& classDescription() {
        static const ClassDescription description{
            Self::kClassName, nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
                auto decoded = Self::decode(coder);
                return decoded ? std::make_shared<Self>(*std::move(decoded)) : nullptr;
            }};
        return description;
    }
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
};

struct CodedProperties : Coded<CodedProperties, SongProperties> {
    static constexpr std::string_view kClassName = "TarnSongProperties";
    using Coded::Coded;

    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeString("title", value.title);
        coder.encodeString("artist", value.artist);
        coder.encodeInt("capo", value.capo);
        coder.encodeInt("transposition", value.transposition);
    }
    static std::optional<SongProperties> decode(KeyedUnarchiver& coder) {
        const auto within = [&](std::string_view key, int least, int most) {
            const auto number = coder.decodeInt(key).value_or(0);
            return number < least || number > most ? 0 : static_cast<int>(number);
        };
        SongProperties properties;
        properties.title = coder.decodeString("title").value_or("");
        properties.artist = coder.decodeString("artist").value_or("");
        properties.capo = within("capo", 0, SongProperties::kHighestCapo);
        properties.transposition = within("transposition", -SongProperties::kFarthestTransposition,
                                          SongProperties::kFarthestTransposition);
        return properties;
    }
};

bool isConfidence(double number) {
    return number >= 0 && number <= 1;
}

void appendWord(Data& bytes, std::uint64_t word) {
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::byte>(word >> shift));
}

std::uint64_t wordAt(const Data& bytes, std::size_t position) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < 8; ++i)
        word = word << 8 | std::to_integer<std::uint64_t>(bytes[position + i]);
    return word;
}

/// Sixteen bytes for each: the identifier and the bits of the number, from the most significant byte.
Data bytesOf(const std::map<std::uint64_t, double>& confidences) {
    Data bytes;
    bytes.reserve(16 * confidences.size());
    for (const auto& [identifier, confidence] : confidences) {
        appendWord(bytes, identifier);
        appendWord(bytes, std::bit_cast<std::uint64_t>(confidence));
    }
    return bytes;
}

std::map<std::uint64_t, double> confidencesOf(const std::optional<Data>& bytes) {
    std::map<std::uint64_t, double> confidences;
    for (std::size_t i = 0; bytes && i + 16 <= bytes->size(); i += 16) {
        const auto number = std::bit_cast<double>(wordAt(*bytes, i + 8));
        if (isConfidence(number))
            confidences.emplace_hint(confidences.end(), wordAt(*bytes, i), number);
    }
    return confidences;
}

struct CodedFacts : Coded<CodedFacts, AnalysisFacts> {
    static constexpr std::string_view kClassName = "TarnAnalysisFacts";
    using Coded::Coded;

    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeString("engineVersion", value.engineVersion);
        NoteEntryKinds::forEach([&](auto kind) {
            if (const auto overall = value.overall.find(kind.kName); overall != value.overall.end())
                coder.encodeDouble(kind.kName, overall->second);
        });
        coder.encodeData("chordConfidences", bytesOf(value.chords));
        coder.encodeData("barConfidences", bytesOf(value.bars));
    }
    static std::optional<AnalysisFacts> decode(KeyedUnarchiver& coder) {
        AnalysisFacts facts;
        facts.engineVersion = coder.decodeString("engineVersion").value_or("");
        NoteEntryKinds::forEach([&](auto kind) {
            const auto overall = coder.decodeDouble(kind.kName);
            if (overall && isConfidence(*overall))
                facts.overall.emplace(kind.kName, *overall);
        });
        facts.chords = confidencesOf(coder.decodeData("chordConfidences"));
        facts.bars = confidencesOf(coder.decodeData("barConfidences"));
        return facts;
    }
};

struct CodedStep : Coded<CodedStep, SongStep> {
    static constexpr std::string_view kClassName = "TarnSongStep";
    using Coded::Coded;

    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeUnsigned("identifier", value.identifier);
        coder.encodeInt("time", value.time);
        coder.encodeString("message", value.message);
        coder.encodeData("difference", value.difference);
    }
    static std::optional<SongStep> decode(KeyedUnarchiver& coder) {
        const auto identifier = coder.decodeUnsigned("identifier");
        auto difference = coder.decodeData("difference");
        if (!identifier || !difference)
            return std::nullopt;
        return SongStep{*identifier, coder.decodeInt("time").value_or(0),
                        coder.decodeString("message").value_or(""), *std::move(difference)};
    }
};

/// Empty where the document has none that can be used.
LoudnessEnvelope decodedEnvelope(KeyedUnarchiver& coder) {
    constexpr std::int64_t kLongestStretch = 1 << 12; // seconds, as a power of two; doubled 12 times at most
    const auto stretch = coder.decodeInt(kStretch);
    const auto levels = coder.decodeData(kLevels);
    if (!stretch || *stretch < 1 || *stretch > kLongestStretch || (*stretch & (*stretch - 1)) != 0 ||
        !levels || levels->size() % LoudnessEnvelope::kBandCount != 0)
        return {};
    LoudnessEnvelope envelope{static_cast<int>(*stretch), {}};
    envelope.levels.reserve(levels->size());
    for (const std::byte level : *levels)
        envelope.levels.push_back(static_cast<std::int8_t>(level));
    return envelope;
}

SongHistory decodedHistory(KeyedUnarchiver& coder) {
    const auto coded = coder.decodeObjects<CodedStep>(kSteps);
    std::vector<SongStep> steps;
    for (std::size_t i = 0; coded && i < coded->size(); ++i)
        steps.push_back((*coded)[i]->value);
    const std::uint64_t count = steps.size();
    const std::uint64_t done = std::min(coder.decodeUnsigned(kDoneSteps).value_or(count), count);
    return {std::move(steps), static_cast<std::size_t>(done)};
}

} // namespace

std::int64_t endOf(const TarnNoteEntryStorage& notes) {
    constexpr std::int64_t kBeyondSongs = std::int64_t{1} << 52;
    std::int64_t end = 0;
    notes.forEachKind([&]<typename Kind>(Kind) {
        for (const auto& entry : notes.entries<Kind>()) {
            std::uint64_t length = 0;
            if constexpr (requires { entry->length(); })
                length = entry->length();
            if (entry->location() < kBeyondSongs && length < kBeyondSongs)
                end = std::max(end, entry->location() + static_cast<std::int64_t>(length));
        }
    });
    return end;
}

namespace {

template <typename Coded>
auto decoded(KeyedUnarchiver& coder, std::string_view key) {
    const auto object = coder.decodeObject<Coded>(key);
    return object ? std::optional(object->value) : std::nullopt;
}

} // namespace

std::shared_ptr<const SecureCoding> coded(const SongProperties& properties) {
    return std::make_shared<CodedProperties>(properties);
}

std::shared_ptr<const SecureCoding> coded(const AnalysisFacts& facts) {
    return std::make_shared<CodedFacts>(facts);
}

std::optional<SongProperties> decodeProperties(KeyedUnarchiver& coder, std::string_view key) {
    return decoded<CodedProperties>(coder, key);
}

std::optional<AnalysisFacts> decodeFacts(KeyedUnarchiver& coder, std::string_view key) {
    return decoded<CodedFacts>(coder, key);
}

SongDocument::SongDocument(std::shared_ptr<const Song> written, const Checksum& field)
    : checksum(field), mWritten(std::move(written)) {}

const ClassDescription& SongDocument::classDescription() {
    static const ClassDescription description{"TarnSongDocument", nullptr, &make};
    return description;
}

std::shared_ptr<SecureCoding> SongDocument::make(KeyedUnarchiver& coder) {
    auto fileName = coder.decodeString(kFileName);
    auto sampleRate = coder.decodeDouble(kSampleRate);
    auto frameCount = coder.decodeInt(kFrameCount);
    auto identifier = coder.decodeString(kIdentifier);
    auto annotations = coder.decodeObject<TarnNoteEntryStorage>(kNotes);
    auto outline = coder.decodeObject<TarnSongStructureStorage>(kStructure);
    const std::shared_ptr<SongDocument> document(new SongDocument());
    if (const auto stored = coder.decodeData(kChecksum)) {
        document->checksum.emplace(); // one of another length fits no file
        if (stored->size() == document->checksum->size())
            std::ranges::copy(*stored, document->checksum->begin());
    }
    document->schemaVersion = coder.decodeInt(kSchema).value_or(1);
    if (coder.isSalvaging() && (annotations || outline)) {
        // What is missing is made up for, as long as there is something to save.
        fileName = fileName.value_or("");
        sampleRate = sampleRate.value_or(Song::kFramesPerSecondWithoutRecording);
        identifier = identifier.value_or("");
        if (!annotations)
            annotations = std::make_shared<TarnNoteEntryStorage>();
        if (!outline)
            outline = std::make_shared<TarnSongStructureStorage>();
        frameCount = frameCount.value_or(endOf(*annotations));
    }
    if (!fileName || !sampleRate || !frameCount || !identifier || !annotations || !outline)
        return nullptr;
    Recording described{*fileName,
                        *sampleRate,
                        *frameCount,
                        *identifier,
                        coder.decodeString(kDigest).value_or(""),
                        decodedEnvelope(coder)};
    auto song = std::make_shared<Song>(std::move(described), std::move(annotations), std::move(outline));
    song->properties = decodeProperties(coder, kProperties).value_or(SongProperties());
    song->facts = decodeFacts(coder, kFacts).value_or(AnalysisFacts());
    song->history = decodedHistory(coder);
    song->practice = coder.decodeString(kPractice).value_or("");
    song->mSchemaVersion = std::max(document->schemaVersion, kSchemaVersion);
    song->mOfNewerEditions = coder.decodeContentBesides(kKnownKeys);
    song->markRecorded();
    document->song = std::move(song);
    return document;
}

void SongDocument::encodeWithCoder(KeyedArchiver& coder) const {
    const Song& written = *mWritten;
    const Recording& recording = written.recording;
    coder.encodeString(kFileName, recording.fileName);
    coder.encodeDouble(kSampleRate, recording.sampleRate);
    coder.encodeInt(kFrameCount, recording.frameCount);
    coder.encodeString(kIdentifier, recording.identifier);
    if (!recording.digest.empty())
        coder.encodeString(kDigest, recording.digest);
    if (!recording.envelope.isEmpty()) {
        coder.encodeInt(kStretch, recording.envelope.stretchSeconds);
        coder.encodeData(kLevels, std::as_bytes(std::span(recording.envelope.levels)));
    }
    coder.encodeInt(kSchema, written.mSchemaVersion);
    coder.encodeData(kChecksum, *checksum);
    if (written.properties != SongProperties())
        coder.encodeObject(kProperties, coded(written.properties));
    if (!written.facts.isEmpty())
        coder.encodeObject(kFacts, coded(written.facts));
    if (!written.history.steps().empty()) {
        std::vector<std::shared_ptr<const CodedStep>> steps;
        for (const SongStep& step : written.history.steps())
            steps.push_back(std::make_shared<CodedStep>(step));
        coder.encodeObjects(kSteps, steps);
        coder.encodeUnsigned(kDoneSteps, written.history.doneCount());
    }
    if (!written.practice.empty())
        coder.encodeString(kPractice, written.practice);
    coder.encodeContent(written.mOfNewerEditions);
    coder.encodeObject(kNotes, written.notes);
    coder.encodeObject(kStructure, written.structure);
}

} // namespace tarn::archive
