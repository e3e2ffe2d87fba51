#include "TarnFoundation/ChordSearch/TextualChordSearch.h"

#include "KELPMusic/KELPChordTable.h"
#include "Platform/DispatchQueue.h"

#include <gmock/gmock.h>

#include <random>

namespace tarn {
namespace {

using namespace testing;
using Search = ChordDetectionResults;
using Names = std::vector<std::string>;

Names namesOf(const ChordArray& chords) {
    Names names;
    for (const auto& chord : chords)
        names.push_back(chord->string());
    return names;
}

Names namesOf(const ChordDetectionResultArray& results) {
    ChordArray chords;
    for (const auto& result : results)
        chords.push_back(result->chord());
    return namesOf(chords);
}

Names found(std::string_view text) {
    return namesOf(Search::_arrayWithChordsMatchingSearchString(text));
}

TEST(TextualChordSearchTests, ARootAloneOffersTheWholeTable) {
    const auto results = Search::_arrayWithChordsMatchingSearchString("C");
    ASSERT_EQ(results.size(), 45u);
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i]->score(), -1.0F);
        EXPECT_EQ(results[i]->chord()->string(), std::string("C").append(gChords[i].name));
    }
    EXPECT_EQ(found("c"), found("C"));
    EXPECT_EQ(found("F♯"), found("F#"));
}

TEST(TextualChordSearchTests, ARootOfTwoCharactersGoesBeforeOneOfOneCharacter) {
    const std::pair<const char*, const char*> roots[] = {
        {"Db", "Db"}, {"bb", "Bb"}, {"B♭", "Bb"}, {"ab", "Ab"}, {"E#", "E#"}};
    for (const auto& [typed, root] : roots) {
        ASSERT_EQ(found(typed).size(), 45u) << typed;
        EXPECT_EQ(found(typed).front(), root);
    }
}

TEST(TextualChordSearchTests, AThirdCharacterBelongsToTheQuality) {
    EXPECT_THAT(found("Bbb"), IsEmpty()) << "no double accidental";
    EXPECT_THAT(found("F##"), IsEmpty());
    EXPECT_THAT(found("B5"), ElementsAre("B5"));
}

TEST(TextualChordSearchTests, FindsEveryQualityWithANameThatBeginsWithTheText) {
    EXPECT_THAT(found("Csus"), ElementsAre("Csus4", "Csus2"));
    EXPECT_THAT(found("Cdim"), ElementsAre("Cdim", "Cdim7"));
    EXPECT_THAT(found("Cadd"), ElementsAre("C6", "Cadd9"));
    EXPECT_THAT(found("C7SUS"), ElementsAre("C7sus4", "C7b9sus4"));
    EXPECT_THAT(found("C7♯9"), ElementsAre("C7#9", "C7alt"));
    EXPECT_THAT(found("F#m7b"), ElementsAre("F#m7b5"));
    EXPECT_THAT(found("Calt"), ElementsAre("C7alt"));
    EXPECT_THAT(found("Cmaj1"), ElementsAre("Cmaj13"));
}

TEST(TextualChordSearchTests, ReadsLettersOfAnyAlphabetInLowerCase) {
    EXPECT_THAT(found("CØ"), ElementsAre("Cm7b5"));
    EXPECT_THAT(found("Cδ9"), ElementsAre("Cmaj9"));
    EXPECT_EQ(found("cδ"), found("C△"));
}

TEST(TextualChordSearchTests, DoesNotTellMajorFromMinorByTheCaseOfM) {
    EXPECT_THAT(found("CM7"), ElementsAre("Cm7", "Cmaj7", "Cm7b5", "Cmaj7#5", "Cm9", "Cmaj7#11"));
    EXPECT_EQ(found("CM7"), found("Cm7"));
}

TEST(TextualChordSearchTests, AnExactMatchComesFirst) {
    EXPECT_EQ(found("Cmin").front(), "Cm");
    EXPECT_EQ(found("CMAJ7").front(), "Cmaj7");
    EXPECT_EQ(found("Ebmaj/BB").front(), "Eb/Bb");
}

TEST(TextualChordSearchTests, EveryRowOfTheTableIsFoundByEachOfItsNames) {
    for (const auto root : {"C", "F#", "Bb"}) {
        for (const auto& row : gChords) {
            const std::string printed = std::string(root).append(row.name);
            EXPECT_EQ(found(printed).front(), printed);
            for (const auto name : row.typedNames()) {
                const std::string text = std::string(root).append(name);
                EXPECT_THAT(found(text), Contains(printed)) << text;
                EXPECT_THAT(found(text + "/d"), AnyOf(IsEmpty(), Contains(printed + "/D"))) << text;
            }
        }
    }
}

TEST(TextualChordSearchTests, ASlashAtTheEndOffersTheInversions) {
    EXPECT_THAT(found("G/"), ElementsAre("G/B", "G/D"));
    EXPECT_THAT(found("G7/"), ElementsAre("G7/B", "G7/D", "G7/F"));
    EXPECT_THAT(found("Dbm7/"), ElementsAre("Dbm7/Fb", "Dbm7/Ab", "Dbm7/Cb"));
    EXPECT_THAT(found("F#m7b5/"), ElementsAre("F#m7b5/A", "F#m7b5/C", "F#m7b5/E"));
    EXPECT_THAT(found("Bbaug/"), ElementsAre("Bbaug/D", "Bbaug/F#"));
    EXPECT_THAT(found("C13#11/"),
                ElementsAre("C13#11/E", "C13#11/G", "C13#11/Bb", "C13#11/D", "C13#11/F#", "C13#11/A"));
    EXPECT_THAT(found("AM/"), ElementsAre("Am/C", "Am/E")) << "the quality is read in lower case";
}

TEST(TextualChordSearchTests, OnlyTheLastSlashCountsForInversions) {
    EXPECT_THAT(found("C/g/"), ElementsAre("C/E", "C/G"));
    EXPECT_THAT(found("G//"), IsEmpty());
}

TEST(TextualChordSearchTests, WhatIsNotAChordHasNoInversions) {
    for (const char* text : {"Gfoo/", "C\xFF/", "/", "/G"})
        EXPECT_THAT(found(text), IsEmpty()) << text;
    EXPECT_THAT(Search::_arrayWithPossibleSlashChordsForChord(nullptr), IsEmpty());
    EXPECT_THAT(Search::_arrayWithPossibleSlashChordsForChord(KELPChord::noChord()), IsEmpty());
}

TEST(TextualChordSearchTests, PutsTheBassUnderEveryQualityFound) {
    EXPECT_THAT(found("Csus/g"), ElementsAre("Csus4/G", "Csus2/G"));
    EXPECT_THAT(found("am7/G"),
                ElementsAre("Am7/G", "Amaj7/G", "Am7b5/G", "Amaj7#5/G", "Am9/G", "Amaj7#11/G"));
    EXPECT_THAT(found("Calt/F♯"), ElementsAre("C7alt/F#"));
}

TEST(TextualChordSearchTests, FindsNothingOverABassThatIsNotANote) {
    for (const char* text : {"Am/x", "Am/bm", "Am/♭", "C6/9", "C7/9", "Cfoo/G"})
        EXPECT_THAT(found(text), IsEmpty()) << text;
}

// The bass is lower-cased, and names of notes begin with a capital.
TEST(TextualChordSearchTests, NeverFindsABassUnderABareRoot) {
    for (const char* text : {"D/F#", "D/f", "C/e", "C/B", "C/b"})
        EXPECT_THAT(found(text), IsEmpty()) << text;
    const KELPNote aFlat = KELPNote::noteWithString("Ab").value();
    const auto overBass = [&](std::string_view bass) {
        return namesOf(Search::_arrayWithChordsForRootNoteQueryingBaseNotesWithString(aFlat, bass));
    };
    EXPECT_THAT(overBass("E"), ElementsAre("Ab/Eb", "Ab/E"));
    EXPECT_THAT(overBass("e"), IsEmpty());
}

TEST(TextualChordSearchTests, FindsNothingWithoutARootOrWithAnUnknownQuality) {
    for (const char* text : {"", " ", "x", "h", "#", "♭", " C", "7", "Cfoo", "C ", "N.C."})
        EXPECT_THAT(found(text), IsEmpty()) << text;
    EXPECT_THAT(found(std::string_view("C\0", 2)), IsEmpty());
    EXPECT_THAT(found("C" + std::string(1 << 20, '/') + "g"), IsEmpty());
}

TEST(TextualChordSearchTests, FindsNothingInBytesThatAreNotUTF8) {
    for (const char* text : {"\xFF", "\xC3", "C\xC3", "C\xE2\x99", "C\xE2", "C\xF0\x9F\x8E\xB5", "\xC0\x80",
                             "Cm\xFF/g", "Cm/\xFF"})
        EXPECT_THAT(found(text), IsEmpty()) << text;
    std::mt19937 random(3);
    for (int i = 0; i < 5000; ++i) {
        std::string text(random() % 8, '\0');
        for (char& byte : text)
            byte = static_cast<char>(random());
        EXPECT_LE(found(text).size(), 45u);
    }
}

ChordDetectionResultArray resultsFor(std::initializer_list<const char*> names) {
    ChordDetectionResultArray results;
    for (const char* name : names)
        results.push_back(KELPChordDetectionResult::resultForChord(KELPChord::chordWithString(name), 0.5F));
    return results;
}

Names promoted(const ChordDetectionResultArray& results, std::string_view text) {
    return namesOf(Search::_arrayByPromotingExactMatchTo(results, text));
}

TEST(TextualChordSearchTests, PromotesTheFirstMatchAndKeepsTheOthersInOrder) {
    const auto results = resultsFor({"C", "Am", "F", "Am", "G7"});
    EXPECT_THAT(promoted(results, "AM"), ElementsAre("Am", "C", "F", "Am", "G7"));
    EXPECT_EQ(Search::_arrayByPromotingExactMatchTo(results, "am").front(), results[1]);
    EXPECT_THAT(promoted(results, "gdom7"), ElementsAre("G7", "C", "Am", "F", "Am"));
}

TEST(TextualChordSearchTests, PromotesNothingWithoutAMatch) {
    const auto results = resultsFor({"C", "Am", "C#"});
    for (const char* text : {"C", "D", "", "\xFF", "Db"}) // chords match that are written alike
        EXPECT_EQ(Search::_arrayByPromotingExactMatchTo(results, text), results) << text;
    EXPECT_THAT(promoted({}, "C"), IsEmpty());
}

// Such as a chord manager may leave.
TEST(TextualChordSearchTests, AResultWithoutAChordMatchesNoText) {
    auto results = resultsFor({"C", "Am"});
    results.insert(results.begin(), KELPChordDetectionResult::resultForChord(nullptr, 0.5F));
    EXPECT_EQ(Search::_arrayByPromotingExactMatchTo(results, "am").front(), results[2]);
    EXPECT_EQ(Search::_arrayByPromotingExactMatchTo(results, "x"), results);
}

TEST(TextualChordSearchTests, UntransposedResultsKeepScoreAndOrder) {
    struct SemitoneDown : ChordManager {
        [[nodiscard]] KELPChordRef untransposedChord(const KELPChordRef& chord) const override {
            return chord->transposedBy(-1);
        }
    };
    const ChordDetectionResultArray results{
        KELPChordDetectionResult::resultForChord(KELPChord::chordWithString("Db/F"), 0.25F, 441),
        KELPChordDetectionResult::resultForChord(KELPChord::noChord(), 0.75F)};
    const auto untransposed = Search::_arrayOfUntransposedResultsUsingChordManager(results, SemitoneDown());
    EXPECT_THAT(namesOf(untransposed), ElementsAre("C/E", "N.C."));
    EXPECT_EQ(untransposed[0]->score(), 0.25F);
    EXPECT_EQ(untransposed[0]->location(), 441);
    EXPECT_EQ(untransposed[1]->score(), 0.75F);
}

struct Receiver : KELPTextualChordSearchControllerDelegate {
    void chordSearchControllerDidReceiveResults(KELPTextualChordSearchController& controller,
                                                const ChordDetectionResultArray& results) override {
        EXPECT_TRUE(MainQueue::isMainThread());
        sender = &controller;
        counts.push_back(results.size());
    }
    KELPTextualChordSearchController* sender = nullptr;
    std::vector<std::size_t> counts;
};

TEST(KELPTextualChordSearchControllerDeathTest, MustLiveInASharedPointer) {
    KELPTextualChordSearchController onStack;
    EXPECT_DEATH(onStack.performSearchUsingString("C"), "must live in a shared pointer");
}

TEST(KELPTextualChordSearchControllerTests, EverySearchDeliversOnTheMainQueue) {
    MainQueue::becomeMainThread();
    const auto controller = std::make_shared<KELPTextualChordSearchController>();
    const auto receiver = std::make_shared<Receiver>();
    controller->setDelegate(receiver);
    for (const char* text : {"C", "G/", "", "x", "Csus"})
        controller->performSearchUsingString(text);
    EXPECT_THAT(receiver->counts, IsEmpty());
    ASSERT_TRUE(MainQueue::runUntil([&] { return receiver->counts.size() == 5; }, std::chrono::seconds(60)));
    EXPECT_THAT(receiver->counts, UnorderedElementsAre(45, 2, 0, 0, 2));
    EXPECT_EQ(receiver->sender, controller.get());
}

TEST(KELPTextualChordSearchControllerTests, ControllerAndDelegateAreHeldWeakly) {
    MainQueue::becomeMainThread();
    auto controller = std::make_shared<KELPTextualChordSearchController>();
    auto lost = std::make_shared<Receiver>();
    auto kept = std::make_shared<Receiver>();
    controller->setDelegate(lost);
    controller->performSearchUsingString("C");
    lost.reset();
    EXPECT_EQ(controller->delegate(), nullptr);

    auto gone = std::make_shared<KELPTextualChordSearchController>();
    gone->setDelegate(kept);
    gone->performSearchUsingString("C");
    std::weak_ptr<KELPTextualChordSearchController> weakGone = gone;
    gone.reset();
    EXPECT_TRUE(weakGone.expired());

    // The delegate is looked up when the results arrive.
    controller->performSearchUsingString("G/");
    controller->setDelegate(kept);
    ASSERT_TRUE(MainQueue::runUntil([&] { return kept->counts.size() == 2; }, std::chrono::seconds(60)));
    EXPECT_THAT(kept->counts, UnorderedElementsAre(45, 2));
    EXPECT_EQ(kept->sender, controller.get());
}

} // namespace
} // namespace tarn
