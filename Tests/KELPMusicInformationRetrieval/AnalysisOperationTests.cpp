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

struct SpectrogramDelegate : KELPSpectrogramOperationDelegate {
    explicit SpectrogramDelegate(Record& r) : record(r) {}
    bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation&) override {
        record.report("required?");
        return true;
    }
    double tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation&) override {
        return record.note("input?", 440.0);
    }
    void spectrogramOperationDidBegin(KELPSpectrogramOperation&) override { record.report("began"); }
    void spectrogramOperationDidBeginProcessing(KELPSpectrogramOperation&) override {
        record.report("began work");
    }
    void spectrogramOperationDidEndProcessing(KELPSpectrogramOperation&) override {
        record.report("ended work");
    }
    void spectrogramOperationDidEnd(KELPSpectrogramOperation&) override { record.report("ended"); }
    Record& record;
};

struct ChordDelegate : ChordDetectionOperationDelegate {
    explicit ChordDelegate(Record& r) : record(r) {}
    bool requiresChordDetectionIn(ChordDetectionOperation&) override {
        record.report("required?");
        return true;
    }
    double tuningEstimationForChordDetectionOperation(ChordDetectionOperation&) override {
        return record.note("input?", 440.0);
    }
    KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation&) override { return nullptr; }
    std::vector<double> beatLocationsForChordDetectionOperation(ChordDetectionOperation&) override {
        return {};
    }
    void chordDetectionDidBeginIn(ChordDetectionOperation&) override { record.report("began"); }
    void chordDetectionDidBeginProcessingIn(ChordDetectionOperation&) override {
        record.report("began work");
    }
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResults&,
                                                      ChordDetectionOperation&) override {
        record.report("results");
    }
    void chordDetectionDidFinishProcessingIn(ChordDetectionOperation&) override {
        record.report("ended work");
    }
    void chordDetectionDidFinishIn(ChordDetectionOperation&) override { record.report("ended"); }
    Record& record;
};

struct AlignmentDelegate : BeatAlignmentOperationDelegate {
    explicit AlignmentDelegate(Record& r) : record(r) {}
    bool requiresBeatAlignment(BeatAlignmentOperation&) override {
        record.report("required?");
        return true;
    }
    std::vector<std::int64_t> beatLocations(BeatAlignmentOperation&) override {
        return record.note("input?", std::vector<std::int64_t>{1});
    }
    std::int64_t numberOfTatumsPerBar(BeatAlignmentOperation&) override { return 8; }
    std::vector<std::int64_t> chordChangeLocations(BeatAlignmentOperation&) override { return {}; }
    void beatAlignmentOperationDidBegin(BeatAlignmentOperation&) override { record.report("began"); }
    void beatAlignmentOperationDidBeginProcessing(BeatAlignmentOperation&) override {
        record.report("began work");
    }
    void beatAlignmentOperationDidFindDownbeatLocation(BeatAlignmentOperation&, std::int64_t,
                                                       std::int64_t) override {
        record.report("results");
    }
    void beatAlignmentOperationDidEnd(BeatAlignmentOperation&) override { record.report("ended"); }
    Record& record;
};

struct KeyDelegate : KeyDetectionOperationDelegate {
    explicit KeyDelegate(Record& r) : record(r) {}
    bool requiresKeyDetection(KeyDetectionOperation&) override {
        record.report("required?");
        return true;
    }
    double tuningFrequencyEstimation(KeyDetectionOperation&) override { return record.note("input?", 440.0); }
    void willBeginKeyDetection(KeyDetectionOperation&) override { record.report("began"); }
    void didFinishKeyDetection(KeyDetectionOperation&) override { record.report("ended"); }
    Record& record;
};

template <typename Kind, typename Answer>
struct Stage : Kind {
    explicit Stage(Record& r) : record(r) {}
    using Kind::main;
    template <typename Input>
    Answer work(const Input&) {
        return record.note("work", Answer(typename Answer::value_type{}));
    }
    Record& record;
};
struct SpectrogramStage : KELPSpectrogramOperation {
    explicit SpectrogramStage(Record& r) : record(r) {}
    using KELPSpectrogramOperation::main;
    bool process(double) override { return record.note("work", true); }
    Record& record;
};
struct ChordStage : Stage<DetectChordsOperation, std::optional<ChordDetectionResults>> {
    using Stage::Stage;
    std::optional<ChordDetectionResults> process(const Input& input) override { return work(input); }
};
struct AlignmentStage : Stage<BeatAlignmentOperation, std::optional<BeatAlignmentOperation::Result>> {
    using Stage::Stage;
    std::optional<Result> process(const Input& input) override { return work(input); }
};
struct KeyStage : Stage<KeyDetectionOperation, std::optional<int>> {
    using Stage::Stage;
    std::optional<int> process(double input) override { return work(input); }
};

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
