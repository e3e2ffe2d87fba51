#include "Tests/Pictures/PictureSong.h"

#include <gmock/gmock.h>

using namespace tarn;
using namespace tarn::test;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string pageOf(const Song& song, const PictureOptions& options,
                   const std::string& audioFile = "song.wav") {
    std::ostringstream text;
    writeSongPictureHTML(text, song, nullptr, options, audioFile);
    return text.str();
}

TEST(SongPage, HasRowsForWindowPaperAndPhone) {
    const auto song = eightBars();
    const auto page = pageOf(*song, {1000, 8});
    EXPECT_EQ(count(page, "<div class=\"layout on-"), 3u);
    EXPECT_THAT(page, HasSubstr("aria-label=\"From 0:00, bars 1 to 4\""));
    EXPECT_THAT(page, HasSubstr("aria-label=\"From 0:02, bar 2\"")) << "a bar to a row on a phone";
    EXPECT_EQ(count(pageOf(*song, {300, 8}), "<div class=\"layout"), 1u);
    EXPECT_THAT(pageOf(*song, {300, 8}), HasSubstr("<div class=\"layout on-wide on-medium on-narrow\">"));
}

TEST(SongPage, IsMadeOfNamesThatCannotLeaveTheirPlace) {
    const auto song = eightBars();
    song->properties.title = "</title><script>alert(1)</script>{{script}}";
    song->properties.artist = "\"><b>";
    perform(*song, "add-section \"</h2><i>\" at 1:1");
    const auto page = pageOf(*song, kTwoBars, "\"onerror=alert(1) x=\".wav");
    EXPECT_EQ(count(page, "<script>"), 1u);
    EXPECT_THAT(page, HasSubstr("<h1>&lt;/title&gt;&lt;script&gt;alert(1)&lt;/script&gt;{{script}}</h1>"));
    EXPECT_THAT(page, HasSubstr("<p>&quot;&gt;&lt;b&gt;</p>"));
    EXPECT_THAT(page, HasSubstr("<h2>&lt;/h2&gt;&lt;i&gt;</h2>"));
    EXPECT_THAT(page, HasSubstr("src=\"%22onerror%3Dalert%281%29%20x%3D%22.wav\""));
}

TEST(SongPage, HasNoPlayerWithoutARecording) {
    Song song(Recording{"", 1000, 4000, ""});
    addChord(song, 0, "C");
    const auto page = pageOf(song, kTwoBars, "");
    EXPECT_THAT(page, HasSubstr("<h1>Untitled</h1>"));
    EXPECT_THAT(page, Not(HasSubstr("<audio")));
    EXPECT_THAT(page, Not(HasSubstr("<button")));
    EXPECT_THAT(page, HasSubstr("<span class=\"place\">0:00</span> <span>C</span>"));
}

TEST(SongPage, SharesOneWaveformAmongItsRows) {
    const auto song = eightBars();
    const auto waveform = std::make_shared<Waveform>(256 * 600, 1000);
    for (int i = 0; i < 600; ++i)
        waveform->appendPoint({-100, 100, 50});
    waveform->finish();
    song->recording.frameCount = waveform->frameCount();
    std::ostringstream page;
    writeSongPictureHTML(page, *song, waveform, {}, "song.wav");
    EXPECT_EQ(count(page.str(), "<path class=\"peaks\""), 3u) << "600 columns in pieces of 256";
    for (const char* piece : {"#w0", "#w1", "#w2"})
        EXPECT_GE(count(page.str(), "<use href=\"" + std::string(piece) + "\"/>"), 3u) << piece;
}

} // namespace
