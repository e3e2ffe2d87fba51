#include "Tests/PracticePage/PracticeSong.h"
#include "Tests/PracticePage/SocketClient.h"
#include "Tests/Programs/ProgramTest.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/stat.h>

namespace tarn::program {

using testing::HasSubstr;

namespace {

/// The port in "http://127.0.0.1:4711/#t=…".
std::uint16_t portIn(const std::string& output) {
    const std::string before = "http://127.0.0.1:";
    const auto found = output.find(before);
    return found == output.npos ? 0
                                : static_cast<std::uint16_t>(std::stoi(output.substr(found + before.size())));
}

} // namespace

TEST_F(ProgramTest, practisingIsServedOnThisMachineAloneUntilItIsInterrupted) {
    const test::PracticeSong song;
    const auto run = tarn({"open", song.document.string(), "--no-browser"}, [&](int process) {
        waitForOutput();
        const auto port = portIn(read(".output"));
        SocketClient client(port);
        client.send("GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n");
        EXPECT_THAT(client.receiveUntil("</html>"), HasSubstr("200 OK"));
        client.send("GET / HTTP/1.1\r\nHost: evil.example:" + std::to_string(port) + "\r\n\r\n");
        EXPECT_THAT(client.receiveUntil("names"), HasSubstr("403 Forbidden"));
        kill(process, SIGINT);
    });
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("/#t="));
    EXPECT_THAT(run.output, testing::Not(HasSubstr("code")));
    EXPECT_THAT(read(".data/tarn/recent.json"), HasSubstr("song.tarn"));
}

TEST_F(ProgramTest, anOfferToOtherDevicesPrintsACodeAndAWarning) {
    const test::PracticeSong song;
    const auto run = tarn({"open", song.document.string(), "--no-browser", "--lan"}, [&](int process) {
        waitForOutput();
        kill(process, SIGTERM);
    });
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("whoever can listen on this network"));
    EXPECT_EQ(tarn({"open", song.document.string(), "--lan-edit"}).status, 2);
}

TEST_F(ProgramTest, openingSaysWhatIsWrongWithTheFile) {
    expectFailure(tarn({"open", "missing.wav", "--no-browser"}), 3, "no such file");
    expectFailure(tarn({"open", "missing.tarn", "--no-browser"}), 3, "no such document");
    write("text.wav", "no sound");
    expectFailure(tarn({"open", "text.wav", "--no-browser"}), 4, "no audio can be decoded");
}

TEST_F(ProgramTest, aPracticeSoundIsAsLongAsItsBarsAtItsSpeed) {
    const test::PracticeSong song;
    const auto document = song.document.string();
    const auto printed =
        outputOf({"render", document, "out.wav", "--bars", "2-3", "--speed", "50", "--click"});
    EXPECT_EQ(printed, "out.wav: 0:08\n");
    const auto reader = AudioReader::open(folder / "out.wav");
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->frameCount(), 2 * 2 * 88200);
    EXPECT_EQ(outputOf({"render", song.recording.string(), "all.wav", "--pitch", "-2"}), "all.wav: 0:20\n");
    expectFailure(tarn({"render", document, "out.wav", "--bars", "8-9"}), 2, "the bars 1 to 8");
    expectFailure(tarn({"render", document, "out.wav", "--bars", "3-2"}), 2, "--bars 3-2");
    expectFailure(tarn({"render", document, "out.mp3"}), 2, ".wav");
    expectFailure(tarn({"render", document, song.recording.string()}), 2, "song.wav");
    EXPECT_EQ(tarn({"render", document, "out.wav", "--speed", "10"}).status, 2);
}

} // namespace tarn::program
