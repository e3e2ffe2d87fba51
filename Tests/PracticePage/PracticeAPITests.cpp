#include "AnalysisEngine/AnalysisEngine.h"
#include "Platform/FileManager.h"
#include "PracticePage/PracticeAPI.h"
#include "Tests/PracticePage/PracticeSong.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <thread>

namespace tarn {
namespace {

using namespace std::chrono_literals;
using namespace test;
using nlohmann::json;
using testing::HasSubstr;

/// A page that talks to the API, as a browser would send its requests.
class Page {
public:
    Page(PracticeAPI& api, std::string session) : mAPI(api), mSession(std::move(session)) {}

    /// A page on this machine with a session of its own.
    static Page on(PracticeAPI& api) {
        const auto token = api.access().newToken();
        Page page(api, "");
        return {api, json::parse(
                         page.send("POST", "/api/session", json{{"token", token}}.dump()).body)["session"]};
    }

    HTTPResponse send(const std::string& method, const std::string& path, const std::string& body = "",
                      const HTTPRequest::Fields& query = {}) {
        HTTPRequest request{
            method, path, query, {{"host", "127.0.0.1:1"}, {"x-tarn-session", mSession}}, body};
        if (method != "GET")
            request.headers.emplace_back("origin", "http://127.0.0.1:1");
        return mAPI.answer(request);
    }
    json get(const std::string& path, const HTTPRequest::Fields& query = {}) {
        const auto response = send("GET", path, "", query);
        EXPECT_EQ(response.status, 200) << path << response.body;
        return json::parse(response.body, nullptr, false);
    }
    json song() { return get("/api/song"); }
    json edit(const std::string& sentence) {
        const auto response = send("POST", "/api/edit", json{{"edit", sentence}}.dump());
        EXPECT_EQ(response.status, 200) << response.body;
        return json::parse(response.body);
    }

private:
    PracticeAPI& mAPI;
    std::string mSession;
};

/// What a page hears until the events hold `part`.
std::string eventsUntil(const std::shared_ptr<EventStream>& events, const std::string& part) {
    std::string text;
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (text.find(part) == text.npos && std::chrono::steady_clock::now() < end) {
        char bytes[4096];
        const auto read = events->read(bytes, sizeof bytes, [] { return [] {}; });
        text.append(bytes, read.length);
        if (read.state != EventStream::State::some)
            std::this_thread::sleep_for(5ms);
    }
    return text;
}

PracticeAPI::Options onNetwork(bool mayEdit) {
    PracticeAPI::Options options;
    options.access = {true, mayEdit};
    return options;
}

class PracticeAPITests : public testing::Test {
protected:
    PracticeAPITests() { FileManager::setCachesDirectory(files.folder.path() / "caches"); }
    ~PracticeAPITests() override { FileManager::setCachesDirectory({}); }

    static PracticeAPI& withHost(PracticeAPI& api) {
        api.access().setHosts({"127.0.0.1:1"});
        return api;
    }
    /// Opens the song and waits until its recording was checked.
    void open(bool isRecordingNamed = false) {
        withHost(api).open({files.document, isRecordingNamed ? files.recording : "", isRecordingNamed});
        waitForSound();
    }
    void waitForSound() {
        for (int i = 0; i < 2000 && page.song()["soundReason"] == "The recording is being checked."; ++i)
            std::this_thread::sleep_for(5ms);
    }

    const PracticeSong files;
    PracticeAPI api{{}};
    Page page = Page::on(withHost(api));
};

TEST_F(PracticeAPITests, NothingIsAnsweredWithoutASessionButThePage) {
    open();
    Page stranger(api, "0123456789abcdef0123456789abcdef");
    for (const char* path : {"/api/song", "/api/rows", "/api/waveform", "/api/events", "/api/recent"})
        EXPECT_EQ(stranger.send("GET", path).status, 403) << path;
    for (const char* path :
         {"/api/edit", "/api/undo", "/api/streams", "/api/open", "/api/sound", "/api/stop"})
        EXPECT_EQ(stranger.send("POST", path, "{}").status, 403) << path;
    EXPECT_EQ(stranger.send("POST", "/api/session", R"({"token":"0123"})").status, 403);
    EXPECT_EQ(stranger.send("POST", "/api/session", R"({"code":"12345678"})").status, 403);
    const auto index = stranger.send("GET", "/");
    EXPECT_EQ(index.status, 200);
    const auto policy = std::ranges::find(index.headers, "Content-Security-Policy",
                                          [](const auto& header) { return header.first; });
    ASSERT_NE(policy, index.headers.end());
    EXPECT_THAT(policy->second, HasSubstr("default-src 'none'; script-src 'self';"));
    EXPECT_THAT(policy->second, testing::Not(HasSubstr("unsafe")));
}

TEST_F(PracticeAPITests, PathsLeadToNoFileOfTheSystem) {
    open();
    for (const std::string path :
         {"/song.wav", "/page/../song.wav", "/page/..%2f..%2fetc%2fpasswd", "/page//etc/passwd", "/page/",
          "//etc/passwd", "/page/index.html/", "/page/./index.html", "/page/INDEX.HTML", "/etc/passwd",
          "/api", "/api/", "/api/../song.wav", "/api/song/", "/api/streams/../blocks/0", "*", ""})
        EXPECT_EQ(page.send("GET", path).status, 404) << path;
    EXPECT_EQ(page.send("GET", "/page/index.html").status, 200);
    const auto secret = files.folder.path() / "secret.tarn";
    std::filesystem::copy(files.document, secret);
    for (const std::string& body : {json{{"index", 0}}.dump(), json{{"index", secret.string()}}.dump(),
                                    json{{"path", secret.string()}}.dump(), std::string("[]"), std::string()})
        EXPECT_GE(page.send("POST", "/api/open", body).status, 400) << body;
}

TEST_F(PracticeAPITests, TheSongIsToldWithItsBarsAndChordsAsPlayed) {
    open();
    page.edit("capo=3");
    page.edit("add-section \"<img src=x>\" at 3:1 color verse");
    page.edit("add-region chorus Riff 2:1 to 4:1");
    const auto song = page.song();
    EXPECT_EQ(song["title"], "song");
    EXPECT_EQ(song["length"], 882000);
    EXPECT_EQ(song["state"], "ready");
    EXPECT_EQ(song["soundReason"], nullptr);
    EXPECT_EQ(song["capo"], 3);
    ASSERT_EQ(song["bars"].size(), 8u);
    EXPECT_EQ(
        song["bars"][1],
        (json{
            {"number", 2}, {"frame", 176400}, {"end", 264600}, {"beats", {176400, 198450, 220500, 242550}}}));
    EXPECT_EQ(song["chords"][0]["name"], "E♭m7");
    EXPECT_EQ(song["chords"][0]["simpleName"], "E♭m");
    EXPECT_EQ(song["chords"][0]["soundingName"], "F♯m7");
    EXPECT_EQ(song["chords"][0]["end"], 176400);
    EXPECT_EQ(song["chords"][1]["end"], 882000);
    EXPECT_EQ(song["sections"][0]["name"], "<img src=x>"); // text, which the page shows as text
    EXPECT_EQ(song["regions"][0]["kind"], "chorus");
    EXPECT_EQ(song["regions"][0]["end"], 352800);
}

TEST_F(PracticeAPITests, RowsShowWhatTheirFramesHold) {
    open();
    page.edit("add-section A at 2:1");
    page.edit("add-region verse Mine 1:1 to 5:1");
    page.edit("add-marker Here at 6:3");
    const auto chart = page.get("/api/rows", {{"width", "800"},
                                              {"scale", "100"},
                                              {"from", "0"},
                                              {"count", "10"},
                                              {"simple", "1"},
                                              {"starts", "1"}});
    // Eight seconds are four bars; pickup and ending join the rows beside them.
    ASSERT_EQ(chart["rowCount"], 2);
    EXPECT_EQ(chart["starts"], (json{0, 441000}));
    const auto& first = chart["rows"][0];
    EXPECT_EQ(first["bars"].size(), 4u);
    EXPECT_EQ(first["chords"][0]["text"], "F♯m");
    EXPECT_EQ(first["chords"][1]["text"], "B♭");
    const auto& second = chart["rows"][1];
    EXPECT_EQ(second["frame"], 441000);
    EXPECT_EQ(second["bars"][0], (json{{"number", 5}, {"x", 0}}));
    EXPECT_EQ(second["chords"][0]["repeated"], true);
    EXPECT_EQ(second["chords"][0]["width"], second["width"]);
    EXPECT_EQ(second["sections"][0]["frame"], 176400); // the whole of it, as a click on it loops it
    EXPECT_EQ(second["sections"][0]["repeated"], true);
    EXPECT_EQ(second["regions"].size(), 0u);
    EXPECT_NEAR(second["markers"][0]["x"].get<double>(), 800 * 1.5 / 5, 1); // of five bars
    EXPECT_EQ(second["pieces"][1], (json{882000, second["width"]}));
}

TEST_F(PracticeAPITests, RequestsOutOfBoundsAreRefused) {
    open();
    using Query = HTTPRequest::Fields;
    for (const Query& query :
         {Query{},
          {{"width", "1e9"}, {"scale", "60"}, {"from", "0"}, {"count", "1"}},
          {{"width", "nan"}, {"scale", "60"}, {"from", "0"}, {"count", "1"}},
          {{"width", "800"}, {"scale", "0"}, {"from", "0"}, {"count", "1"}},
          {{"width", "800"}, {"scale", "60"}, {"from", "-1"}, {"count", "1"}},
          {{"width", "800"}, {"scale", "60"}, {"from", "0"}, {"count", "99999999999999999999"}}})
        EXPECT_EQ(page.send("GET", "/api/rows", "", query).status, 400);
    EXPECT_EQ(page.send("GET", "/api/waveform", "", {{"from", "5"}, {"to", "5"}, {"points", "9"}}).status,
              400);
    EXPECT_EQ(
        page.send("GET", "/api/waveform", "", {{"from", "0"}, {"to", "5"}, {"points", "1000000000"}}).status,
        400);
    EXPECT_EQ(page.send("GET", "/api/countin", "", {{"at", "0"}, {"bars", "3"}}).status, 400);
    for (const char* body :
         {"", "[]", "{}", R"({"from":-1})", R"({"from":1e30})", R"({"from":0,"speed":0.1})",
          R"({"from":0,"speed":"1"})", R"({"from":0,"loop":[5,5]})", R"({"from":0,"loop":[0,100]})",
          R"({"from":0,"loop":[900000,1000000]})", R"({"from":0,"semitones":99})", R"({"from":882001})",
          R"({"from":100,"to":99})"})
        EXPECT_EQ(page.send("POST", "/api/streams", body).status, 400) << body;
    for (const char* settings :
         {"", "7", R"({"speed":3})", R"({"unknown":1})", R"({"loop":[5,1]})", R"({"click":{"rate":3}})",
          R"({"trainer":{"rounds":1.5}})", R"({"language":"xx"})"})
        EXPECT_EQ(page.send("PUT", "/api/practice", settings).status, 400) << settings;
    EXPECT_EQ(page.send("PUT", "/api/practice", "{\"language\":\"" + std::string(9000, 'e') + "\"}").status,
              400);
}

TEST_F(PracticeAPITests, AnEditIsSavedAtOnceAndRefusedWhereTheSongHasMovedOn) {
    open();
    const auto seen = page.song()["revision"];
    EXPECT_EQ(page.send("PUT", "/api/practice", R"({"speed":0.5})").status, 200); // does not move the song
    EXPECT_EQ(page.send("POST", "/api/edit", json{{"edit", "title=Mine"}, {"seen", seen}}.dump()).status,
              200);
    EXPECT_EQ(Song::open(files.document)->properties.title, "Mine");
    const auto late = page.send("POST", "/api/edit", json{{"edit", "title=Late"}, {"seen", seen}}.dump());
    EXPECT_EQ(late.status, 409);
    EXPECT_EQ(page.send("POST", "/api/edit", R"({"edit":"move-bar 99 to 3s"})").status, 409);
    EXPECT_EQ(page.send("POST", "/api/edit", R"({"edit":"explode"})").status, 400);
    EXPECT_EQ(page.song()["title"], "Mine");
    EXPECT_EQ(page.send("POST", "/api/undo").status, 200);
    EXPECT_EQ(Song::open(files.document)->properties.title, "");
    EXPECT_EQ(page.send("POST", "/api/redo").status, 200);
    EXPECT_EQ(page.song()["title"], "Mine");
}

TEST_F(PracticeAPITests, WhatOthersDoToTheFileIsToldAndKept) {
    open();
    const auto events = page.send("GET", "/api/events").events;
    ASSERT_TRUE(events);
    files.change([](Song& song) { addChord(song, 4 * 88200, "E7"); });
    EXPECT_THAT(eventsUntil(events, "chords"), HasSubstr(R"(event: song)"));
    EXPECT_EQ(page.song()["chords"].size(), 3u);
    // An edit of the page right after another's change: neither is lost.
    files.change([](Song& song) { song.properties.artist = "Somebody"; });
    page.edit("title=Mine");
    const auto saved = Song::open(files.document);
    EXPECT_EQ(saved->properties.artist, "Somebody");
    EXPECT_EQ(saved->properties.title, "Mine");
    // A file that cannot be read changes nothing for the page.
    const auto bytes = textOf(files.document);
    writeText(files.document, "no song");
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(page.song()["title"], "Mine");
    EXPECT_EQ(page.send("POST", "/api/edit", R"({"edit":"title=Lost"})").status, 409);
    EXPECT_EQ(textOf(files.document), "no song");
    writeText(files.document, bytes);
}

TEST_F(PracticeAPITests, HowASongIsPractisedComesBackWithItAndIsNoStepOfItsHistory) {
    files.change(
        [](Song& song) { song.practice = R"({"speed":0.5,"of a newer edition":{"a":[1]},"zoom":"bad"})"; });
    const auto before = Song::open(files.document)->history.steps();
    open();
    EXPECT_EQ(page.song()["practice"], (json{{"speed", 0.5}}));
    const json settings{{"speed", 0.7},
                        {"loop", {88200, 264600}},
                        {"click", {{"on", true}, {"rate", 2}}},
                        {"volumes", {{"song", 0.8}, {"click", 1}}},
                        {"trainer", {{"on", false}, {"step", 5}, {"rounds", 4}, {"goal", 1}}},
                        {"countIn", 1}};
    EXPECT_EQ(page.send("PUT", "/api/practice", settings.dump()).status, 200);
    EXPECT_EQ(page.song()["practice"], settings);
    const auto saved = Song::open(files.document);
    EXPECT_EQ(json::parse(saved->practice)["of a newer edition"], (json{{"a", {1}}}));
    EXPECT_EQ(saved->history.steps(), before);
    page.edit("title=T");
    EXPECT_EQ(page.send("POST", "/api/undo").status, 200);
    EXPECT_EQ(page.song()["practice"], settings);
}

TEST_F(PracticeAPITests, OtherDevicesPractiseOnly) {
    PracticeAPI offered(onNetwork(false));
    withHost(offered).open({files.document});
    Page device(offered, "");
    const auto begun = device.send("POST", "/api/session", json{{"code", *offered.access().code()}}.dump());
    ASSERT_EQ(begun.status, 200);
    const auto answer = json::parse(begun.body);
    EXPECT_EQ(answer["lan"], true);
    EXPECT_EQ(answer["canEdit"], false);
    Page phone(offered, answer["session"]);
    EXPECT_EQ(phone.song()["canEdit"], false);
    EXPECT_EQ(phone.send("PUT", "/api/practice", R"({"speed":0.8})").status, 200);
    for (const char* path :
         {"/api/edit", "/api/undo", "/api/redo", "/api/stop", "/api/analyze", "/api/sound", "/api/open"})
        EXPECT_EQ(phone.send("POST", path, R"({"edit":"title=X","index":0})").status, 403) << path;
    EXPECT_EQ(phone.send("GET", "/api/recent").status, 403);
    EXPECT_EQ(Song::open(files.document)->properties.title, "");

    PracticeAPI shared(onNetwork(true));
    withHost(shared).open({files.document});
    Page other(shared, "");
    const auto session = json::parse(
        other.send("POST", "/api/session", json{{"code", *shared.access().code()}}.dump()).body)["session"];
    (void)Page(shared, session).edit("title=X");
    EXPECT_EQ(Song::open(files.document)->properties.title, "X");
    // A token does not leave the machine.
    HTTPRequest request{"POST",
                        "/api/session",
                        {},
                        {{"host", "127.0.0.1:1"}, {"origin", "http://127.0.0.1:1"}},
                        json{{"token", shared.access().newToken()}}.dump(),
                        false};
    EXPECT_EQ(shared.answer(request).status, 403);
}

TEST_F(PracticeAPITests, OnlyTheDocumentsOwnRecordingIsHeard) {
    const auto stream = [this] { return page.send("POST", "/api/streams", R"({"from":0})"); };
    open();
    EXPECT_EQ(stream().status, 200);
    // Another file in its place.
    writeAudio(files.recording, noise(40, 0.2), 22050);
    EXPECT_EQ(stream().status, 409);
    open();
    EXPECT_EQ(stream().status, 409);
    EXPECT_THAT(page.song()["soundReason"].get<std::string>(), HasSubstr("another recording"));
    // No recording at all, and what is no ordinary file.
    std::filesystem::remove(files.recording);
    open();
    EXPECT_EQ(stream().status, 409);
    std::filesystem::create_directory(files.recording);
    open();
    EXPECT_EQ(stream().status, 409);
}

TEST_F(PracticeAPITests, ARecordingElsewhereIsNamedToTheUserFirst) {
    const TemporaryFolder elsewhere;
    const auto moved = elsewhere.path() / "song.wav";
    std::filesystem::rename(files.recording, moved);
    std::filesystem::create_symlink(moved, files.recording); // beside the document, but not there
    open();
    EXPECT_EQ(page.song()["soundAsk"], moved.string());
    EXPECT_EQ(page.send("POST", "/api/streams", R"({"from":0})").status, 409);
    EXPECT_EQ(page.send("GET", "/api/waveform", "", {{"from", "0"}, {"to", "9"}, {"points", "1"}}).status,
              202);
    EXPECT_EQ(page.send("POST", "/api/sound", R"({"allow":true})").status, 200);
    EXPECT_EQ(page.song()["soundAsk"], nullptr);
    EXPECT_EQ(page.send("POST", "/api/streams", R"({"from":0})").status, 200);
    open(true); // named by the user
    EXPECT_EQ(page.song()["soundAsk"], nullptr);
    EXPECT_EQ(page.send("POST", "/api/streams", R"({"from":0})").status, 200);
}

TEST_F(PracticeAPITests, SoundIsGivenInBlocksThatSayWhereTheSongIs) {
    open();
    const auto begun =
        json::parse(page.send("POST", "/api/streams", R"({"from":88200,"to":110250,"speed":0.5})").body);
    EXPECT_EQ(begun["sampleRate"], 44100);
    const std::string blocks = "/api/streams/" + begun["stream"].get<std::string>() + "/blocks/";
    std::size_t size = 0;
    bool isLast = false;
    for (int number = 0; !isLast && number < 100; ++number) {
        const auto block = page.send("GET", blocks + std::to_string(number));
        ASSERT_EQ(block.status, 200);
        size += block.body.size();
        for (const auto& [name, value] : block.headers) {
            isLast = isLast || name == "X-Tarn-Last";
            if (name == "X-Tarn-Segments" && number == 1) {
                EXPECT_EQ(json::parse(value), (json{{0, 88200 + 8192 * 0.5, 0.5}}));
            }
        }
    }
    EXPECT_EQ(size, 2 * 44100u);
    EXPECT_EQ(page.send("GET", blocks + "0").status, 409);
    EXPECT_EQ(page.send("GET", blocks + "-1").status, 400);
    EXPECT_EQ(page.send("DELETE", blocks.substr(0, blocks.size() - 8)).status, 200);
    EXPECT_EQ(page.send("GET", blocks + "0").status, 404);
}

TEST_F(PracticeAPITests, ANewSongIsAnalysedWhileThePageWatches) {
    const auto fresh = files.folder.path() / "fresh.wav";
    std::filesystem::copy(files.recording, fresh);
    const auto document = files.folder.path() / "fresh.tarn";
    const auto events = api.events().newStream();
    api.open({document, fresh, true});
    EXPECT_EQ(page.song()["state"], "analyzing");
    EXPECT_EQ(page.song()["length"], 882000);
    EXPECT_EQ(page.send("POST", "/api/edit", R"({"edit":"title=X"})").status, 409);
    EXPECT_EQ(page.send("PUT", "/api/practice", R"({"speed":0.5})").status, 200);
    const auto heard = eventsUntil(events, R"("kinds":["state"])");
    EXPECT_THAT(heard, HasSubstr("event: progress"));
    EXPECT_THAT(heard, HasSubstr("event: partial"));
    for (int i = 0; i < 400 && page.song()["practice"].empty(); ++i)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(page.song()["practice"]["speed"], 0.5);
    EXPECT_EQ(page.song()["state"], "ready");
    EXPECT_GT(page.song()["bars"].size(), 4u);
    EXPECT_EQ(Song::open(document)->recording.fileName, "fresh.wav");
    EXPECT_THAT(
        page.send("GET", "/api/waveform", "", {{"from", "88200"}, {"to", "88500"}, {"points", "1"}}).body,
        testing::Not(std::string(1, '\0')));
}

TEST_F(PracticeAPITests, AnAnalysisThatIsStoppedLeavesNoDocumentAndCanBeginAgain) {
    const auto fresh = files.folder.path() / "fresh.wav";
    writeAudio(fresh, noise(300, 0.3), 22050);
    const auto document = files.folder.path() / "fresh.tarn";
    api.open({document, fresh, true});
    EXPECT_EQ(page.send("POST", "/api/stop").status, 200);
    for (int i = 0; i < 4000 && page.song()["state"] == "analyzing"; ++i)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(page.song()["state"], "failed");
    EXPECT_FALSE(std::filesystem::exists(document));
    EXPECT_EQ(page.send("POST", "/api/analyze").status, 200);
    EXPECT_EQ(page.song()["state"], "analyzing");
}

TEST_F(PracticeAPITests, RecentSongsAreOpenedByTheirPlaceInTheList) {
    PracticeAPI::Options options;
    options.recentSongs = [&] { return std::vector<RecentSong>{{files.document, "Title", "Artist"}}; };
    std::filesystem::path remembered;
    options.rememberSong = [&](const auto& document) { remembered = document; };
    PracticeAPI chooser(options);
    Page user = Page::on(withHost(chooser));
    EXPECT_EQ(user.send("GET", "/api/song").status, 404);
    const auto songs = user.get("/api/recent")["songs"];
    EXPECT_EQ(songs[0]["title"], "Title");
    EXPECT_EQ(songs[0]["fileName"], "song.tarn");
    EXPECT_EQ(user.send("POST", "/api/open", R"({"index":1})").status, 404);
    EXPECT_EQ(remembered, "");
    EXPECT_EQ(user.send("POST", "/api/open", R"({"index":0})").status, 200);
    EXPECT_EQ(remembered, files.document);
    EXPECT_EQ(user.song()["title"], "song");
}

TEST_F(PracticeAPITests, ChordsAreShownForTheInstrumentThatIsPlayed) {
    const auto guitar = page.get("/api/chord", {{"name", "F♯m7"}, {"instrument", "guitar"}});
    EXPECT_EQ(guitar["name"], "F♯m7");
    EXPECT_GE(guitar["fingerings"].size(), 2u);
    EXPECT_EQ(guitar["fingerings"][0]["frets"].size(), 6u);
    const auto piano = page.get("/api/chord", {{"name", "C/G"}, {"instrument", "piano"}});
    EXPECT_EQ(piano["fingerings"].size(), 0u);
    EXPECT_EQ(piano["notes"], (json{55, 60, 64, 67}));
    EXPECT_EQ(page.send("GET", "/api/chord", "", {{"name", "H!"}, {"instrument", "guitar"}}).status, 404);
    EXPECT_EQ(page.send("GET", "/api/chord", "", {{"name", "C"}, {"instrument", "lute"}}).status, 400);
}

} // namespace
} // namespace tarn
