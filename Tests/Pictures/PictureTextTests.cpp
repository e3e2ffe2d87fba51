#include "Pictures/PictureText.h"

#include <gtest/gtest.h>

using namespace tarn;

namespace {

constexpr PictureFont kFont{10, false};

TEST(PictureText, IsCutOnlyWhereRoomEnds) {
    const double width = textWidth("Chorus", kFont);
    EXPECT_EQ(fittedText("Chorus", width + 0.01, kFont), "Chorus");
    EXPECT_EQ(fittedText("Chorus", width - 0.01, kFont), "Chor…");
    EXPECT_EQ(fittedText("Chorus", 5, kFont), "");
    EXPECT_GT(fittedText("illicit illicit", 40, kFont).size(), fittedText("WWWWW MMMMM", 40, kFont).size());
    EXPECT_EQ(fittedText("Verse and more", textWidth("Verse a", kFont) + 10, kFont).back(), "…"[2]);
    EXPECT_LT(textWidth("Chorus", kFont), textWidth("Chorus", {10, true}));
}

TEST(PictureText, IsNotCutWithinACharacter) {
    const std::string accent = "e\u0301"; // e and a combining accent
    for (double room = 0; room < 60; room += 0.5) {
        auto shown = fittedText(accent + accent + accent + accent + accent + accent, room, kFont);
        if (shown.empty())
            continue;
        if (shown.ends_with("…"))
            shown.resize(shown.size() - 3);
        EXPECT_EQ(shown.size() % accent.size(), 0u) << room;
    }
}

TEST(PictureText, OfNamesIsMarkupThatNothingBreaks) {
    EXPECT_EQ(escapedMarkup("<a href=\"x\">&'"), "&lt;a href=&quot;x&quot;&gt;&amp;'");
    EXPECT_EQ(escapedMarkup("\xFF\uFFFE\u202E\x01"), "\uFFFD\uFFFD  ");
    EXPECT_EQ(boundedName("two\nlines"), "two lines");
    EXPECT_EQ(boundedName(std::string(100'000, 'x')), std::string(300, 'x') + "…");
    EXPECT_EQ(percentEncoded("javascript:ä#?.wav"), "javascript%3A%C3%A4%23%3F.wav");
}

TEST(PictureText, SetsChordsAsInPrint) {
    EXPECT_EQ(typesetChord("Bbm7b5/Db"), "B♭m7♭5/D♭");
    EXPECT_EQ(typesetChord("F#sus4"), "F♯sus4");
    EXPECT_EQ(pictureNumber(-0.001), "0");
    EXPECT_EQ(pictureNumber(1200.50), "1200.5");
}

} // namespace
