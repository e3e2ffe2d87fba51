#include "Tests/Pictures/PictureSong.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

using namespace tarn;
using namespace tarn::test;
using testing::HasSubstr;

/// Pages in a browser, and pictures before a reader of XML.
namespace {

bool hasProgram(const std::string& name) {
    return std::system(("command -v " + name + " > /dev/null 2>&1").c_str()) == 0;
}

/// Seventeen seconds of silence: 8,000 bytes per second.
std::string silentWAVE() {
    const auto number = [](std::size_t value) {
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(value >> shift & 0xFF);
        return bytes;
    };
    const std::string samples(17 * 8000, '\x80');
    return "RIFF" + number(36 + samples.size()) + "WAVEfmt " + number(16) +
           std::string{1, 0, 1, 0} + // one channel of numbers
           number(8000) + number(8000) + std::string{1, 0, 8, 0} + "data" + number(samples.size()) + samples;
}

/// Pages in frames of a browser's window, and what a script finds in them.
class PageInABrowser : public testing::Test {
protected:
    void SetUp() override {
        if (!hasProgram("chromium"))
            GTEST_SKIP() << "needs Chromium";
        writeText(folder.path() / "song.wav", silentWAVE());
    }

    void addPage(const std::string& name, int width, const std::string& audioFile) {
        std::ofstream page(folder.path() / (name + ".html"));
        writeSongPictureHTML(page, *eightBars(), nullptr, kTwoBars, audioFile);
        frames += "<iframe id='" + name + "' src='" + name + ".html' style='width:" + std::to_string(width) +
                  "px;height:800px;border:0'></iframe>\n";
    }

    /// The lines that the script writes with say(name, value) when all recordings are loaded or refused.
    std::string report(const std::string& script) {
        writeText(
            folder.path() / "frames.html",
            "<!DOCTYPE html>" + frames +
                "<pre id='report'></pre><script>\n"
                "const page = name => document.getElementById(name).contentDocument;\n"
                "const say = (name, value) =>\n"
                "  document.getElementById('report').append(`${name}: ${value}\\n`);\n"
                "const isSettled = ({contentDocument: page}) =>\n"
                "  page.getElementById('audio').readyState > 0 || !page.getElementById('trouble').hidden;\n"
                "const look = () => {" +
                script +
                "};\n"
                "const wait = () =>\n"
                "  [...document.querySelectorAll('iframe')].every(isSettled) ? look() : setTimeout(wait, "
                "50);\n"
                "addEventListener('load', wait);\n</script>");
        const auto dom = folder.path() / "dom.html";
        const auto command =
            "timeout 100 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
            "--disable-background-networking --disable-component-update --disable-sync "
            "--allow-file-access-from-files --autoplay-policy=no-user-gesture-required "
            "--virtual-time-budget=60000 --user-data-dir='" +
            (folder.path() / "profile").string() + "' --dump-dom 'file://" +
            (folder.path() / "frames.html").string() + "' > '" + dom.string() + "' 2> /dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0);
        const auto text = textOf(dom);
        const auto start = text.find("<pre id=\"report\">");
        return text.substr(start, text.find("</pre>", start) - start);
    }

    TemporaryFolder folder;
    std::string frames;
};

TEST_F(PageInABrowser, SeeksPlaysAndSuitsItsWidth) {
    addPage("desktop", 1280, "song.wav");
    addPage("phone", 390, "song.wav");
    const auto found = report(R"(
        for (const name of ['desktop', 'phone']) {
          const at = page(name);
          const shown = [...at.querySelectorAll('.layout')].filter(each => each.getClientRects().length);
          const {scrollWidth, clientWidth} = at.documentElement;
          say(name, `${shown.map(each => each.className)}, ${scrollWidth - clientWidth} too wide`);
        }
        const song = page('desktop'), audio = song.getElementById('audio');
        const row = song.querySelectorAll('.on-wide .row')[1];
        const bar = row.querySelectorAll('.bar')[1].getBoundingClientRect();
        const cursor = () => song.getElementById('cursor');
        say('start', cursor().getAttribute('x1'));
        row.querySelector('.peaks, .middle').dispatchEvent(
          new MouseEvent('click', {bubbles: true, clientX: bar.x + bar.width / 2, clientY: bar.y}));
        say('clicked on bar 4', audio.currentTime.toFixed(1));
        say('cursor on it', cursor().parentNode === row && Math.abs(cursor().getAttribute('x1') - 400) < 2);
        const button = song.querySelectorAll('#chart button')[6];
        button.click();
        say(button.textContent, audio.currentTime);
        const press = target =>
          target.dispatchEvent(new KeyboardEvent('keydown', {code: 'Space', bubbles: true, cancelable: true}));
        press(button);
        say('space on a button plays', !audio.paused);
        press(song.body);
        say('space plays', !audio.paused);
        press(song.body);
        say('space again plays', !audio.paused);
    )");
    EXPECT_THAT(found, HasSubstr("desktop: layout on-wide, 0 too wide\n"));
    EXPECT_THAT(found, HasSubstr("phone: layout on-narrow, 0 too wide\n"));
    EXPECT_THAT(found, HasSubstr("start: 0\n"));
    EXPECT_THAT(found, HasSubstr("clicked on bar 4: 6.5\ncursor on it: true\n"));
    EXPECT_THAT(found, HasSubstr("Bar 7: 12.5\n"));
    EXPECT_THAT(found,
                HasSubstr("space on a button plays: false\nspace plays: true\nspace again plays: false\n"));
}

TEST_F(PageInABrowser, TellsWhyARecordingDoesNotPlay) {
    writeText(folder.path() / "song.aiff", "FORM, which this browser does not know");
    writeText(folder.path() / "broken.mp3", "no sound");
    addPage("playable", 800, "song.wav");
    addPage("aiff", 800, "song.aiff");
    addPage("broken", 800, "broken.mp3");
    addPage("moved", 800, "folder/moved song.wav");
    const auto found = report(R"(
        for (const name of ['playable', 'aiff', 'broken', 'moved']) {
          const trouble = page(name).getElementById('trouble');
          say(name, trouble.hidden ? 'no trouble' : trouble.textContent);
        })");
    EXPECT_THAT(found, HasSubstr("playable: no trouble\n"));
    EXPECT_THAT(found, HasSubstr("aiff: This browser does not play AIFF files: song.aiff."));
    EXPECT_THAT(found,
                HasSubstr("broken: The recording is there, but this browser cannot decode it: broken.mp3."));
    EXPECT_THAT(found,
                HasSubstr("moved: The recording is not at folder/moved song.wav, seen from this page."));
}

TEST(SongPicture, IsWellFormedXMLWhateverTheNames) {
    if (!hasProgram("xmllint"))
        GTEST_SKIP() << "needs xmllint";
    const auto song = eightBars();
    const std::string name = "A \x01\xFF<b>\"&\uFFFE]]>";
    song->properties = {.title = name, .artist = name};
    const auto region = song->notes->newVerseRegionEntry();
    region->setRange({2500, 9000});
    region->setName(name + std::string(1000, 'x'));
    song->notes->addRegionEntry(region);
    song->notes->insertMarkerEntry(4500)->setName(name);
    song->structure->createNewSection(500);
    const TemporaryFolder folder;
    writeText(folder.path() / "song.svg", svgOf(*song));
    EXPECT_EQ(std::system(("xmllint --noout '" + (folder.path() / "song.svg").string() + "'").c_str()), 0);
}

} // namespace
