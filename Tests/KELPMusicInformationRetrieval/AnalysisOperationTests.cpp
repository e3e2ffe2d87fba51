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
    void report(const std::string& line) {
        note(line);
        if (line == last)
            delegate.reset();
    }
};

/// Overrides of a delegate: `TOLD` notes a report, `ASKED` one that answers true.
#define TOLD(method, Operation, line)                                                                        \
    void method(Operation&) override {                                                                       \
        record.report(line);                                                                                 \
    }
#define ASKED(method, Operation)                                                                             \
    bool method(Operation&) override {                                                                       \
        record.report("required?");                                                                          \
        return true;                                                                                         \
    }
#define TUNING(method, Operation)                                                                            \
    double method(Operation&) override {                                                                     \
        return record.note("input?", 440.0);                                                                 \
    }

template <typename Base>
struct Recorded : Base {
    explicit Recorded(Record& r) : record(r) {}
    Record& record;
};

struct SpectrogramDelegate : Recorded<KELPSpectrogramOperationDelegate> {
    using Recorded::Recorded;
    ASKED(spectrogramOperationRequiresProcessing, KELPSpectrogramOperation)
    TUNING(tuningFrequencyForSpectrogramOperation, KELPSpectrogramOperation)
    TOLD(spectrogramOperationDidBegin, KELPSpectrogramOperation, "began")
    TOLD(spectrogramOperationDidBeginProcessing, KELPSpectrogramOperation, "began work")
    TOLD(spectrogramOperationDidEndProcessing, KELPSpectrogramOperation, "ended work")
    TOLD(spectrogramOperationDidEnd, KELPSpectrogramOperation, "ended")
};

struct ChordDelegate : Recorded<ChordDetectionOperationDelegate> {
    using Recorded::Recorded;
    ASKED(requiresChordDetectionIn, ChordDetectionOperation)
    TUNING(tuningEstimationForChordDetectionOperation, ChordDetectionOperation)
    KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation&) override { return nullptr; }
    std::vector<double> beatLocationsForChordDetectionOperation(ChordDetectionOperation&) override {
        return {};
    }
    TOLD(chordDetectionDidBeginIn, ChordDetectionOperation, "began")
    TOLD(chordDetectionDidBeginProcessingIn, ChordDetectionOperation, "began work")
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResults&,
                                                      ChordDetectionOperation&) override {
        record.report("results");
    }
    TOLD(chordDetectionDidFinishProcessingIn, ChordDetectionOperation, "ended work")
    TOLD(chordDetectionDidFinishIn, ChordDetectionOperation, "ended")
};

struct AlignmentDelegate : Recorded<BeatAlignmentOperationDelegate> {
    using Recorded::Recorded;
    ASKED(requiresBeatAlignment, BeatAlignmentOperation)
    std::vector<std::int64_t> beatLocations(BeatAlignmentOperation&) override {
        return record.note("input?", std::vector<std::int64_t>{1});
    }
    std::int64_t numberOfTatumsPerBar(BeatAlignmentOperation&) override { return 8; }
    std::vector<std::int64_t> chordChangeLocations(BeatAlignmentOperation&) override { return {}; }
    TOLD(beatAlignmentOperationDidBegin, BeatAlignmentOperation, "began")
    TOLD(beatAlignmentOperationDidBeginProcessing, BeatAlignmentOperation, "began work")
    void beatAlignmentOperationDidFindDownbeatLocation(BeatAlignmentOperation&, std::int64_t,
                                                       std::int64_t) override {
        record.report("results");
    }
    TOLD(beatAlignmentOperationDidEnd, BeatAlignmentOperation, "ended")
};

struct KeyDelegate : Recorded<KeyDetectionOperationDelegate> {
    using Recorded::Recorded;
    ASKED(requiresKeyDetection, KeyDetectionOperation)
    TUNING(tuningFrequencyEstimation, KeyDetectionOperation)
    TOLD(willBeginKeyDetection, KeyDetectionOperation, "began")
    TOLD(didFinishKeyDetection, KeyDetectionOperation, "ended")
};

#undef TOLD
#undef ASKED
#undef TUNING

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
using ChordStage =
    Stage<DetectChordsOperation, const ChordDetectionOperation::Input&, std::optional<ChordDetectionResults>>;
using AlignmentStage = Stage<BeatAlignmentOperation, const BeatAlignmentOperation::Input&,
                             std::optional<BeatAlignmentOperation::Result>>;
using KeyStage = Stage<KeyDetectionOperation, double, std::optional<int>>;

template <typename Operation, typename Delegate>
std::vector<std::string> linesWhenTheDelegateGoesAfter(const std::string& last) {
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

TEST(AnalysisOperation, aDelegateThatGoesIsNeitherWorkedForNorAskedNorTold) {
    const auto check = [](const auto& lines, const std::vector<std::string>& whole) {
        EXPECT_EQ(lines("never"), whole);
        for (std::size_t i = 0; i < whole.size(); ++i) {
            if (whole[i] != "input?" && whole[i] != "work") {
                EXPECT_EQ(lines(whole[i]), std::vector(whole.begin(), whole.begin() + std::ptrdiff_t(i) + 1));
            }
        }
    };
    check(&linesWhenTheDelegateGoesAfter<ChordStage, ChordDelegate>,
          {"began", "required?", "began work", "input?", "work", "results", "ended work", "ended"});
    check(&linesWhenTheDelegateGoesAfter<SpectrogramStage, SpectrogramDelegate>,
          {"began", "required?", "began work", "input?", "work", "ended work", "ended"});
    check(&linesWhenTheDelegateGoesAfter<AlignmentStage, AlignmentDelegate>,
          {"began", "required?", "began work", "input?", "work", "results", "ended"});
    check(&linesWhenTheDelegateGoesAfter<KeyStage, KeyDelegate>,
          {"began", "required?", "input?", "work", "ended"});
}

} // namespace
} // namespace tarn
