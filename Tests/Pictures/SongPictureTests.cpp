#include "Pictures/RowPicture.h"
#include "Pictures/SongPictureLayout.h"
#include "Tests/Pictures/PictureSong.h"

#include <gmock/gmock.h>

using namespace tarn;
using namespace tarn::test;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Where the items of a kind stand, in points, in each row.
std::vector<std::vector<double>> placesIn(const SongPictureLayout& layout, SongPictureLayout::Section section,
                                          bool onlyBars = false) {
    std::vector<std::vector<double>> places;
    for (std::int64_t row = 0; row < layout.rows().rowCount(); ++row) {
        places.emplace_back();
        for (const auto& item : layout.itemsInRow(row, section)) {
            if (!onlyBars || item->isDownbeat)
                places.back().push_back(layout.rows().offset(item->frames.lower, row));
        }
    }
    return places;
}

TEST(SongPicture, LaysBarsOutBelowEachOther) {
    const auto song = eightBars();
    const auto places = placesIn(SongPictureLayout(*song, kTwoBars), SongPictureLayout::beats, true);
    using Places = std::vector<double>;
    EXPECT_EQ(places, (std::vector<Places>{{800 * 500 / 4500., 800 * 2500 / 4500.}, // after the pickup
                                           {0, 400},
                                           {0, 400},
                                           {0, 800 * 2000 / 4500.}}))
        << "the last row also holds the ending";
}

TEST(SongPicture, ShowsEachThingOnceAndInTheRightRow) {
    const auto song = eightBars();
    addChord(*song, 8490, "C");                                    // just before bar 5, which opens row 3
    song->notes->removeChordEntry(song->notes->chordEntries()[5]); // at bar 5
    const auto places = placesIn(SongPictureLayout(*song, kTwoBars), SongPictureLayout::chords);
    ASSERT_EQ(places.size(), 4u);
    EXPECT_EQ(places[1].size(), 2u);
    EXPECT_EQ(places[2].front(), 0) << "a chord that comes early stands on its bar line";
    EXPECT_EQ(places[2].size(), 2u);
}

TEST(SongPicture, RepeatsWhatGoesOnWhereARowBegins) {
    const auto song = eightBars();
    song->notes->removeChordEntry(song->notes->chordEntries()[2]); // at bar 3, which opens row 2
    perform(*song, "add-section Opening at 1:1|add-section Closing at 7:1|add-region verse 2:1 to 4:1");
    const auto svg = svgOf(*song);
    EXPECT_EQ(count(svg, "class=\"chord going-on\""), 1u);
    EXPECT_EQ(count(svg, ">B♭m7♭5<"), 5u);
    EXPECT_EQ(count(svg, ">F♯/A♯<"), 3u);
    EXPECT_EQ(count(svg, ">Opening<"), 3u);
    EXPECT_EQ(count(svg, ">Closing<"), 1u);
    EXPECT_EQ(count(svg, ">Verse<"), 2u);
    EXPECT_EQ(count(svg, "class=\"bar-number\""), 8u);
}

TEST(SongPicture, CutsNamesWhereTheirRoomEnds) {
    const auto song = eightBars();
    perform(*song, "add-section \"A name that has room\" at 1:1|add-region region \"" +
                       std::string(1000, 'x') +
                       "\" 3:1 to 7:1|add-section \"One that has less room than it takes\" at 8:4");
    const auto svg = svgOf(*song);
    EXPECT_THAT(svg, HasSubstr(">A name that has room<"));
    EXPECT_THAT(svg, HasSubstr("<title>One that has less room than it takes</title>One that has l"));
    EXPECT_THAT(svg, HasSubstr("<title>" + std::string(300, 'x') + "…</title>xxx"));
    EXPECT_LT(svg.size(), 40'000u);
}

TEST(SongPicture, NumbersTheSameBeatsInBarsOfOneWidth) {
    const auto numbersAt = [](const Song& song, double width) {
        std::string numbers;
        for (const auto& number : textsOf(svgOf(song, {width, 4}), "beat-number"))
            numbers += number;
        return numbers.substr(0, 6);
    };
    const auto four = eightBars();
    EXPECT_EQ(numbersAt(*four, 400), "234234");
    EXPECT_EQ(numbersAt(*four, 100), "333333") << "every other beat, where not all have room";
    EXPECT_EQ(numbersAt(*four, 50), "");
    // Four bars of 6/8.
    const auto six = std::make_shared<Song>(Recording{"jig.wav", 1000, 12'000, "id"});
    six->notes->setTimeSignature(6, 8);
    addBeats(*six, {.first = 0, .spacing = 500, .count = 24, .perBar = 6});
    addTempo(*six, 40);
    EXPECT_EQ(numbersAt(*six, 400), "234562");
    EXPECT_EQ(numbersAt(*six, 60), "4444") << "the dotted beat";
    EXPECT_THAT(svgOf(*six), HasSubstr(">♩. = 40   ·   6/8   ·   0:12<"));
}

TEST(SongPicture, NamesMarkersThatStandCloseBelowEachOther) {
    const auto song = eightBars();
    perform(*song,
            "add-marker \"A first long name\" at 1:1|add-marker Second at 1:2|add-marker Third at 2:4");
    const auto svg = svgOf(*song);
    using Texts = std::vector<std::string>;
    EXPECT_EQ(textsOf(svg, "marker-name"), (Texts{"A first long name", "Second", "Third"}));
    const SongPictureLayout layout(*song, kTwoBars);
    const RowPicture picture(layout, 1000);
    EXPECT_EQ(picture.height(0) - picture.height(1), 32) << "two lanes of names";
}

TEST(SongPicture, ShowsAChordAtTheEndOfAShortRow) {
    const auto song = eightBars();
    song->notes->removeBeatEntriesInArray(song->notes->beatEntries());
    song->recording.frameCount = 14'600;
    addBeats(*song, {.first = 500, .spacing = 250, .count = 56, .perBar = 8});
    addChord(*song, 14'550, "C#m7b5/G");
    const auto svg = svgOf(*song);
    EXPECT_THAT(svg, HasSubstr(">C♯m7♭5/G</text>"));
    EXPECT_EQ(textsOf(svg, "more").size(), 0u);
}

TEST(SongPicture, ShowsAChordThatComesEarlyBeforeARowEnds) {
    const auto song = eightBars();
    addChord(*song, 4460, "C#m7b5/G"); // a few points before bar 3, which opens the next row
    const auto svg = svgOf(*song);
    EXPECT_EQ(textsOf(svg, "chord crowded"), std::vector<std::string>{"C♯m7♭5/G"});
    EXPECT_EQ(textsOf(svg, "more").size(), 0u);
}

TEST(SongPicture, FollowsChartsAndSaysWhatTheSongIsCalled) {
    const auto song = std::make_shared<Song>(Recording{"folder/tune.take1.wav", 1000, 4000, "id"});
    addChord(*song, 0, "G");
    perform(*song, "key=G");
    EXPECT_THAT(svgOf(*song), HasSubstr(">tune.take1</text>"));
    song->properties = {.title = "A & B", .artist = "Nobody", .capo = 3, .transposition = 0};
    const auto svg = svgOf(*song);
    EXPECT_THAT(svg, HasSubstr("class=\"title\" x=\"36\" y=\"62\">A &amp; B<"));
    EXPECT_THAT(svg, HasSubstr(">Nobody<"));
    EXPECT_THAT(svg, HasSubstr(">E major   ·   Capo 3   ·   0:04<"));
    EXPECT_THAT(svg, HasSubstr("class=\"chord\" x=\"0\" y=\"22\">E<"));
    auto sounding = kTwoBars;
    sounding.isAtConcertPitch = true;
    EXPECT_THAT(svgOf(*song, sounding), HasSubstr(">G major   ·   0:04<"));
    EXPECT_THAT(svgOf(*song, sounding), HasSubstr(">G<"));
}

TEST(SongPicture, ReadsAsTextForThoseWhoDoNotSeeIt) {
    const auto song = eightBars();
    perform(*song, "add-section Opening at 1:1|add-section \"Closing <!>\" at 7:1|add-chord C at 1:3|"
                   "add-section Break at 5:1|add-section Solo at 5:2|add-section End at 8:4");
    song->notes->removeChordEntry(song->notes->chordEntries()[2]); // at bar 2
    const auto svg = svgOf(*song);
    EXPECT_THAT(svg, HasSubstr("role=\"img\" aria-labelledby=\"song-title song-chart\""));
    EXPECT_THAT(svg, HasSubstr("<title id=\"song-title\">My song &amp; &lt;more&gt;</title>"));
    EXPECT_THAT(svg, HasSubstr("\nOpening.\nBar 1: F♯/A♯, C.\nBar 2: C.\nBar 3: F♯/A♯.\n"));
    EXPECT_THAT(svg, HasSubstr("\nClosing &lt;!&gt;.\nBar 7: F♯/A♯.\n"));
    EXPECT_THAT(svg, HasSubstr("\nBreak, Solo.\nBar 5: F♯/A♯.\n")) << "both begin in bar 5";
    EXPECT_THAT(svg, HasSubstr("\nEnd.\n</desc>"));
}

std::shared_ptr<Waveform> waveformOf(const std::vector<Waveform::Point>& points) {
    auto waveform = std::make_shared<Waveform>(256 * static_cast<std::int64_t>(points.size()), 1000);
    for (const auto& point : points)
        waveform->appendPoint(point);
    waveform->finish();
    return waveform;
}

TEST(SongPicture, ShowsAQuietRecordingAsLargeAsALoudOne) {
    const Song song(Recording{"quiet.wav", 1000, 768, "id"});
    const auto quiet = svgOf(song, {}, waveformOf({{-5, 10, 2}, {-4, 8, 2}, {0, 0, 0}}));
    EXPECT_THAT(quiet, HasSubstr("class=\"peaks\" d=\"M0 -127l1 25 1 102 0 0 -1 51 -1 13z\""));
    const auto silent = svgOf(song, {}, waveformOf({{0, 0, 0}, {0, 0, 0}}));
    EXPECT_THAT(silent, HasSubstr("class=\"peaks\" d=\"M0 0l1 0 0 0 -1 0z\""));
}

TEST(SongPicture, StaysSmallForASongOfHours) {
    const Song song(Recording{"long.wav", 44100, std::int64_t{44100} * 36000, "id"});
    const auto waveform = std::make_shared<Waveform>(song.recording.frameCount, song.recording.sampleRate);
    for (std::size_t i = 0; i < 6'000'000; ++i)
        waveform->appendPoint({-100, 100, 50});
    waveform->finish();
    EXPECT_LT(svgOf(song, {}, waveform).size(), 40'000'000u);
    std::ostringstream page;
    writeSongPictureHTML(page, song, waveform, {}, "long.wav");
    EXPECT_LT(page.str().size(), 40'000'000u);
    EXPECT_THAT(svgOf(Song(Recording{"", 44100, 0, ""})), HasSubstr("</svg>"));
}

TEST(SongPicture, StaysSmallWhateverOverlaps) {
    constexpr std::int64_t kDay = 24 * 3600;
    Song song(Recording{"day.wav", 1, kDay, "id"});
    std::vector<std::shared_ptr<TarnRegionEntry>> regions;
    for (int i = 0; i < 2000; ++i) {
        regions.push_back(song.notes->newMarkerRegionEntry());
        regions.back()->setRange({i, static_cast<std::uint64_t>(kDay - 2 * i)});
    }
    song.notes->addRegionEntriesFromArray(regions);
    for (int i = 0; i < 300; ++i)
        addChord(song, 20'000, i == 299 ? "G" : "C");
    const auto svg = svgOf(song, {1000, 1});
    EXPECT_LT(svg.size(), 40'000'000u);
    EXPECT_LT(count(svg, "class=\"row\""), 12'000u) << "a row for each second would be 86,400";
    EXPECT_THAT(svg, HasSubstr(">+ 1994 more<")) << "six lanes of regions";
    EXPECT_THAT(svg, HasSubstr(">+ 2293 more<")) << "and one chord of 300";
    EXPECT_THAT(svg, HasSubstr(">G<")) << "the last one, which sounds";
}

} // namespace
