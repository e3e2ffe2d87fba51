#include "Pictures/SongPicture.h"
#include "Pictures/SongPictureLayout.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SongTexts.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

using namespace tarn;
using namespace tarn;

namespace {

constexpr double kRate = 1000;

std::string songPictureSVG(const Song& song, const std::shared_ptr<Waveform>& waveform,
                           const PictureOptions& options) {
    std::ostringstream text;
    writeSongPictureSVG(text, song, waveform, options);
    return text.str();
}

/// Eight bars of four beats, two seconds each, from half a second on; a chord on every bar.
std::shared_ptr<Song> makeSong() {
    auto song = std::make_shared<Song>(Recording{"My song & <more>.wav", kRate, 17'000, "id"});
    song->notes->setTimeSignature(4, 4);
    test::addBeats(*song, {.first = 500, .spacing = 250, .count = 64, .perBar = 8});
    for (int bar = 0; bar < 8; ++bar)
        test::addChord(*song, 500 + 2000 * bar, bar % 2 ? "Bbm7b5" : "F#/A#");
    const auto region = song->notes->newVerseRegionEntry();
    region->setRange({2500, 9000});
    region->setName(std::string("A \x01\xFF<b>\"") + std::string(100'000, 'x'));
    song->notes->addRegionEntry(region);
    test::perform(*song, "add-marker Solo at @4500");
    song->structure->createNewSection(500);
    return song;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++found;
    return found;
}

TEST(SongPicture, LaysBarsOutBelowEachOther) {
    const auto song = makeSong();
    const SongPictureLayout layout(*song, {800, 4});
    const auto& timeline = layout.timeline();
    // Two bars to the row, the first bar line a little after the row's edge.
    ASSERT_EQ(timeline.rowCount(), 5);
    std::vector<double> places;
    for (std::int64_t row = 0; row < timeline.rowCount(); ++row) {
        for (const auto& beat : layout.itemsInRow(row, SongPictureLayout::beats)) {
            if (beat->isDownbeat)
                places.push_back(timeline.offset(beat->frames.lower, row));
        }
    }
    ASSERT_EQ(places.size(), 8u);
    for (std::size_t i = 2; i < places.size(); ++i)
        EXPECT_NEAR(places[i], places[i % 2], 1) << "bar " << i + 1;
}

TEST(SongPicture, IsWellFormedWhateverTheNames) {
    const auto song = makeSong();
    const auto svg = songPictureSVG(*song, nullptr, {800, 4});
    EXPECT_EQ(count(svg, "class=\"chord\""), 8u);
    EXPECT_EQ(count(svg, ">B♭m7♭5<"), 4u);
    EXPECT_EQ(count(svg, ">F♯/A♯<"), 4u);
    EXPECT_EQ(count(svg, "class=\"bar-number\""), 8u);
    EXPECT_NE(svg.find("My song &amp; &lt;more&gt;"), std::string::npos);
    EXPECT_EQ(svg.find("<b>"), std::string::npos);
    EXPECT_LT(svg.size(), 40'000u) << "a long name is cut";
    if (std::system("/usr/bin/python3 -c '' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "needs Python 3";
    const TemporaryFolder folder;
    writeText(folder.path() / "song.svg", svg);
    const auto command = "/usr/bin/python3 -c 'import sys, xml.dom.minidom as x; x.parse(sys.argv[1])' '" +
                         (folder.path() / "song.svg").string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(SongPicture, StaysSmallForASongOfHours) {
    const Song song(Recording{"long.wav", 44100, std::int64_t{44100} * 36000, "id"});
    const auto waveform = std::make_shared<Waveform>(song.recording.frameCount, song.recording.sampleRate);
    for (std::size_t i = 0; i < 6'000'000; ++i)
        waveform->appendPoint({-100, 100, 50});
    waveform->finish();
    EXPECT_LT(songPictureSVG(song, waveform, {}).size(), 40'000'000u);
    EXPECT_NE(songPictureSVG(Song(Recording{"", 44100, 0, ""}), nullptr, {}).find("</svg>"),
              std::string::npos);
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
        tarn::test::addChord(song, 20'000, i == 299 ? "G" : "C");
    const auto svg = songPictureSVG(song, nullptr, {1000, 1});
    EXPECT_LT(svg.size(), 40'000'000u);
    EXPECT_LT(count(svg, "class=\"row\""), 12'000u) << "a row for each second would be 86,400";
    EXPECT_NE(svg.find(">+ 1994 more<"), std::string::npos) << "six lanes of regions";
    EXPECT_NE(svg.find(">+ 2293 more<"), std::string::npos) << "and one chord of 300";
    EXPECT_NE(svg.find(">G<"), std::string::npos) << "the last one, which sounds";
}

TEST(SongPicture, PageWorksInABrowser) {
    if (std::system("command -v chromium > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "needs Chromium";
    const TemporaryFolder folder;
    std::ofstream pageFile(folder.path() / "song.html");
    writeSongPictureHTML(pageFile, *makeSong(), nullptr, {800, 4}, "My song #1.wav");
    pageFile.close();
    const auto dom = folder.path() / "dom.html";
    const auto command =
        "timeout 100 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
        "--disable-background-networking --disable-component-update --disable-sync --user-data-dir='" +
        (folder.path() / "profile").string() + "' --dump-dom 'file://" +
        (folder.path() / "song.html").string() + "' > '" + dom.string() + "' 2> /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto page = textOf(dom);
    EXPECT_NE(page.find("id=\"cursor\""), std::string::npos) << "the script made a cursor";
    EXPECT_NE(page.find("src=\"My%20song%20%231.wav\""), std::string::npos);
    // The middle of the song, 8.5 s, is the fifth bar line, the second one of row 2.
    EXPECT_NE(page.find("data-middle=\"2 452.0\""), std::string::npos) << page.substr(0, 4000);
}

} // namespace
