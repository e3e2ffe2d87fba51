#include "TarnFoundation/ChordSearch/TextualChordSearch.h"

#include "KELPMusic/KELPChordTable.h"
#include "Platform/DispatchQueue.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <sstream>

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

/// Expects of each text that exactly the chords behind it are found: "G/: G/B G/D; x:;".
void expectFound(const std::string& cases) {
    std::istringstream stream(cases);
    for (std::string text, expected; std::getline(stream >> std::ws, text, ':');) {
        std::getline(stream, expected, ';');
        std::string names;
        for (const auto& name : found(text))
            names += " " + name;
        EXPECT_EQ(names, expected) << text;
    }
}

TEST(TextualChordSearch, ARootAloneOffersTheWholeTable) {
    const auto results = Search::_arrayWithChordsMatchingSearchString("C");
    ASSERT_EQ(results.size(), 45u);
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i]->score(), -1.0F);
        EXPECT_EQ(results[i]->chord()->string(), std::string("C").append(gChords[i].name));
    }
    EXPECT_EQ(found("c"), found("C"));
    EXPECT_EQ(found("F♯"), found("F#"));
}

TEST(TextualChordSearch, TheTwoCharacterRootWins) {
    for (const auto& [text, root] :
         {std::pair("Db", "Db"), {"bb", "Bb"}, {"B♭", "Bb"}, {"ab", "Ab"}, {"E#", "E#"}}) {
        const auto names = found(text);
        ASSERT_EQ(names.size(), 45u) << text;
        EXPECT_EQ(names.front(), root);
    }
    // A third character belongs to the quality, also where it would double the accidental.
    expectFound("B5: B5; Bbb:; F##:;");
}

TEST(TextualChordSearch, QualitiesByTheBeginningOfAnyOfTheirNames) {
    expectFound("Csus: Csus4 Csus2; Cdim: Cdim Cdim7; Cadd: C6 Cadd9; C7SUS: C7sus4 C7b9sus4; CØ: Cm7b5; "
                "C7♯9: C7#9 C7alt; Cδ9: Cmaj9; F#m7b: F#m7b5; Calt: C7alt; Cmaj1: Cmaj13;");
    EXPECT_EQ(found("cδ"), found("C△"));
    // The lower-cased query no longer tells M7 from m7; the exact match is read in lower case too.
    expectFound("CM7: Cm7 Cmaj7 Cm7b5 Cmaj7#5 Cm9 Cmaj7#11;");
    EXPECT_EQ(found("CM7"), found("Cm7"));
    EXPECT_EQ(found("Cmin").front(), "Cm");
    EXPECT_EQ(found("CMAJ7").front(), "Cmaj7");
}

TEST(TextualChordSearch, EveryRowIsReachedByTypingItsNames) {
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

TEST(TextualChordSearch, ASlashAtTheEndOffersTheInversions) {
    // What follows the root is read in lower case; the last slash counts, and before it any chord may stand.
    expectFound("G/: G/B G/D; G7/: G7/B G7/D G7/F; Dbm7/: Dbm7/Fb Dbm7/Ab Dbm7/Cb; AM/: Am/C Am/E; "
                "F#m7b5/: F#m7b5/A F#m7b5/C F#m7b5/E; Bbaug/: Bbaug/D Bbaug/F#; C/g/: C/E C/G; "
                "C13#11/: C13#11/E C13#11/G C13#11/Bb C13#11/D C13#11/F# C13#11/A; "
                "Gfoo/:; G//:; C\xFF/:; /:; /G:;");
    EXPECT_THAT(Search::_arrayWithPossibleSlashChordsForChord(nullptr), IsEmpty());
    EXPECT_THAT(Search::_arrayWithPossibleSlashChordsForChord(KELPChord::noChord()), IsEmpty());
}

TEST(TextualChordSearch, ABassAfterAQuality) {
    expectFound("Csus/g: Csus4/G Csus2/G; am7/G: Am7/G Amaj7/G Am7b5/G Amaj7#5/G Am9/G Amaj7#11/G; "
                "Calt/F♯: C7alt/F#; Am/x:; Am/bm:; Am/♭:; C6/9:; C7/9:; Cfoo/G:;");
    EXPECT_EQ(found("Ebmaj/BB").front(), "Eb/Bb");
}

TEST(TextualChordSearch, ABassAfterABareRootIsComparedInLowerCaseAndSoNeverFound) {
    expectFound("D/F#:; D/f:; C/e:; C/B:; C/b:;");
    const auto overBass = [](std::string_view bass) {
        const KELPNote root = KELPNote::noteWithString("Ab").value();
        return namesOf(Search::_arrayWithChordsForRootNoteQueryingBaseNotesWithString(root, bass));
    };
    EXPECT_THAT(overBass("E"), ElementsAre("Ab/Eb", "Ab/E"));
    EXPECT_THAT(overBass("e"), IsEmpty());
}

TEST(TextualChordSearch, TextsThatFindNothing) {
    for (const char* text :
         {"",         " ",        "x",       "h",    "#",     "♭",         " C",    "7",
          "Cfoo",     "C ",       "\xFF",    "\xC3", "C\xC3", "C\xE2\x99", "C\xE2", "C\xF0\x9F\x8E\xB5",
          "\xC0\x80", "Cm\xFF/g", "Cm/\xFF", "N.C."})
        EXPECT_THAT(found(text), IsEmpty()) << text;
    EXPECT_THAT(found(std::string_view("C\0", 2)), IsEmpty());
    EXPECT_THAT(found("C" + std::string(1 << 20, '/') + "g"), IsEmpty());
    std::mt19937 random(3);
    for (int i = 0; i < 5000; ++i) {
        std::string text(random() % 8, '\0');
        for (char& byte : text)
            byte = static_cast<char>(random());
        EXPECT_LE(found(text).size(), 45u);
    }
}

TEST(TextualChordSearch, PromotionMovesTheFirstMatchAndKeepsTheOthersInOrder) {
    const auto resultsFor = [](std::initializer_list<const char*> names) {
        ChordDetectionResultArray results;
        for (const char* name : names)
            results.push_back(
                KELPChordDetectionResult::resultForChord(KELPChord::chordWithString(name), 0.5F));
        return results;
    };
    const auto promoting = Search::_arrayByPromotingExactMatchTo;
    const auto results = resultsFor({"C", "Am", "F", "Am", "G7"});
    EXPECT_THAT(namesOf(promoting(results, "AM")), ElementsAre("Am", "C", "F", "Am", "G7"));
    EXPECT_EQ(promoting(results, "am").front(), results[1]);
    EXPECT_THAT(namesOf(promoting(results, "gdom7")), ElementsAre("G7", "C", "Am", "F", "Am"));
    for (const char* text : {"C", "D", "", "\xFF"})
        EXPECT_EQ(promoting(results, text), results) << text;
    EXPECT_THAT(promoting({}, "C"), IsEmpty());
    // A result without a chord, such as a manager's answer may leave, matches nothing.
    auto incomplete = results;
    incomplete.insert(incomplete.begin(), KELPChordDetectionResult::resultForChord(nullptr, 0.5F));
    EXPECT_EQ(promoting(incomplete, "am").front(), results[1]);
    EXPECT_EQ(promoting(incomplete, "x"), incomplete);
    EXPECT_EQ(namesOf(promoting(resultsFor({"C", "C#"}), "Db")).front(), "C"); // equal means written alike
}

TEST(TextualChordSearch, UntransposedResultsKeepScoreAndOrder) {
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

TEST(KELPTextualChordSearchControllerDeathTest, LivesInASharedPointer) {
    KELPTextualChordSearchController onStack;
    EXPECT_DEATH(onStack.performSearchUsingString("C"), "must live in a shared pointer");
}

TEST(KELPTextualChordSearchController, EverySearchDeliversOnTheMainQueue) {
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

TEST(KELPTextualChordSearchController, ControllerAndDelegateAreHeldWeakly) {
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
