#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

/// What a stage does in turn, and when its delegate goes.
struct Record {
    std::vector<std::string> lines;
    std::string last; ///< the report after which the delegate goes
    std::shared_ptr<void> delegate;

    template <typename Answer = int>
    Answer note(const std::string& line, Answer answer = {}) {
        lines.push_back(line);
        return answer;
    }
    /// After it only the operation's call holds the delegate.
    bool report(const std::string& line) {
        note(line);
        if (line == last)
            delegate.reset();
        return true;
    }
};

/// Overrides a delegate's method that is given the operation alone.
#define ANSWER(Result, method, answer)                                                                       \
    Result method(Operation&) override {                                                                     \
        return answer;                                                                                       \
    }

template <typename Base>
struct Recorded : Base {
    explicit Recorded(Record& r) : record(r) {}
    Record& record;
};

struct SpectrogramDelegate : Recorded<KELPSpectrogramOperationDelegate> {
    using Recorded::Recorded;
    using Operation = KELPSpectrogramOperation;
    ANSWER(bool, spectrogramOperationRequiresProcessing, record.report("required?"))
    ANSWER(double, tuningFrequencyForSpectrogramOperation, record.note("input?", 440.0))
    ANSWER(void, spectrogramOperationDidBegin, void(record.report("began")))
    ANSWER(void, spectrogramOperationDidBeginProcessing, void(record.report("began work")))
    ANSWER(void, spectrogramOperationDidEndProcessing, void(record.report("ended work")))
    ANSWER(void, spectrogramOperationDidEnd, void(record.report("ended")))
};

struct ChordDelegate : Recorded<ChordDetectionOperationDelegate> {
    using Recorded::Recorded;
    using Operation = ChordDetectionOperation;
    ANSWER(bool, requiresChordDetectionIn, record.report("required?"))
    ANSWER(double, tuningEstimationForChordDetectionOperation, record.note("input?", 440.0))
    ANSWER(KELPKeyRef, keyForChordDetectionOperation, nullptr)
    ANSWER(std::vector<double>, beatLocationsForChordDetectionOperation, {})
    ANSWER(void, chordDetectionDidBeginIn, void(record.report("began")))
    ANSWER(void, chordDetectionDidBeginProcessingIn, void(record.report("began work")))
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResultArray&, Operation&) override {
        record.report("results");
    }
    ANSWER(void, chordDetectionDidFinishProcessingIn, void(record.report("ended work")))
    ANSWER(void, chordDetectionDidFinishIn, void(record.report("ended")))
};

struct AlignmentDelegate : Recorded<BeatAlignmentOperationDelegate> {
    using Recorded::Recorded;
    using Operation = BeatAlignmentOperation;
    using Locations = std::vector<std::int64_t>;
    ANSWER(bool, requiresBeatAlignment, record.report("required?"))
    ANSWER(Locations, beatLocations, record.note("input?", Locations{1}))
    ANSWER(std::int64_t, numberOfTatumsPerBar, 8)
    ANSWER(Locations, chordChangeLocations, {})
    ANSWER(void, beatAlignmentOperationDidBegin, void(record.report("began")))
    ANSWER(void, beatAlignmentOperationDidBeginProcessing, void(record.report("began work")))
    void beatAlignmentOperationDidFindDownbeatLocation(Operation&, std::int64_t, std::int64_t) override {
        record.report("results");
    }
    ANSWER(void, beatAlignmentOperationDidEnd, void(record.report("ended")))
};

struct KeyDelegate : Recorded<KeyDetectionOperationDelegate> {
    using Recorded::Recorded;
    using Operation = KeyDetectionOperation;
    ANSWER(bool, requiresKeyDetection, record.report("required?"))
    ANSWER(double, tuningFrequencyEstimation, record.note("input?", 440.0))
    ANSWER(void, willBeginKeyDetection, void(record.report("began")))
    ANSWER(void, didFinishKeyDetection, void(record.report("ended")))
};

#undef ANSWER

/// A stage whose work is noted.
template <typename Kind, typename Input, typename Answer>
struct Stage : Recorded<Kind> {
    using Recorded<Kind>::Recorded;
    using Kind::main;
    Answer process(Input) override {
        if constexpr (std::is_same_v<Answer, bool>)
            return this->record.note("work", true);
        else
            return this->record.note("work", Answer(typename Answer::value_type{}));
    }
};
using SpectrogramStage = Stage<KELPSpectrogramOperation, double, bool>;
using ChordStage = Stage<DetectChordsOperation, const ChordDetectionOperation::Input&,
                         std::optional<ChordDetectionResultArray>>;
using AlignmentStage = Stage<BeatAlignmentOperation, const BeatAlignmentOperation::Input&,
                             std::optional<BeatAlignmentOperation::Result>>;
using KeyStage = Stage<KeyDetectionOperation, double, std::optional<int>>;

/// What a stage does whose delegate goes after that line.
template <typename Operation, typename Delegate>
std::vector<std::string> linesOf(const std::string& last) {
    Record record;
    record.last = last;
    Operation operation(record);
    {
        const auto delegate = std::make_shared<Delegate>(record);
        record.delegate = delegate;
        operation.delegate = delegate;
    }
    operation.main();
    return record.lines;
}

TEST(AnalysisOperationTests, ADelegateThatGoesIsNeitherWorkedForNorAskedNorTold) {
    const auto check = [](const auto& lines, const std::vector<std::string>& whole) {
        EXPECT_EQ(lines("never"), whole);
        for (std::size_t i = 0; i < whole.size(); ++i) {
            if (whole[i] != "input?" && whole[i] != "work") {
                EXPECT_EQ(lines(whole[i]), std::vector(whole.begin(), whole.begin() + std::ptrdiff_t(i) + 1));
            }
        }
    };
    check(&linesOf<ChordStage, ChordDelegate>,
          {"began", "required?", "began work", "input?", "work", "results", "ended work", "ended"});
    check(&linesOf<SpectrogramStage, SpectrogramDelegate>,
          {"began", "required?", "began work", "input?", "work", "ended work", "ended"});
    check(&linesOf<AlignmentStage, AlignmentDelegate>,
          {"began", "required?", "began work", "input?", "work", "results", "ended"});
    check(&linesOf<KeyStage, KeyDelegate>, {"began", "required?", "input?", "work", "ended"});
}

} // namespace
} // namespace tarn
