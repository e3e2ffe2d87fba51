#include "Platform/FatalError.h"
#include "PracticePage/PracticeAPI.h"
#include "PracticePage/PracticeSettings.h"
#include "Song/SongFile.h"
#include "Tests/Song/SampleSong.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

using namespace tarn;

namespace {

constexpr const char* kHost = "127.0.0.1:1";

/// An open song, and a page of another device that practises.
struct OpenSong {
    OpenSong() : api({.access = {.isOnNetwork = true}}) {
        std::filesystem::create_directories(folder);
        const auto song = test::sampleSong();
        test::addChord(*song, 88200, "F#m7");
        Song::save(song, folder / "song.tarn");
        api.access().setHosts({kHost});
        api.open({folder / "song.tarn"});
        session = api.access().beginWithCode(*api.access().code())->session;
    }
    std::filesystem::path folder = std::filesystem::temp_directory_path() / "tarn-practice-fuzzer";
    PracticeAPI api;
    std::string session;
};

std::string takeLine(std::string_view& bytes) {
    const auto end = std::min(bytes.find('\n'), bytes.size());
    std::string line(bytes.substr(0, end));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
    return line;
}

} // namespace

// The first line is the method, the second the path, then names and values of arguments by turns up to an
// empty line; the rest is the body. Whatever a page sends is answered, and settings that are kept are valid.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static OpenSong open;
    std::string_view rest(reinterpret_cast<const char*>(bytes), size);
    HTTPRequest request;
    request.method = takeLine(rest);
    request.path = takeLine(rest);
    for (auto name = takeLine(rest); !name.empty(); name = takeLine(rest))
        request.query.emplace_back(name, takeLine(rest));
    request.body = rest;
    request.headers = {
        {"host", kHost}, {"origin", std::string("http://") + kHost}, {"x-tarn-session", open.session}};
    const auto response = open.api.answer(request);
    precondition(response.status >= 200 && response.status < 600, "A request has no answer");
    if (response.type == "application/json" && !response.events)
        precondition(nlohmann::json::accept(response.body), "An answer is not JSON");
    const auto kept = Song::open(open.folder / "song.tarn");
    precondition(nlohmann::json::accept(practiceSettingsOf(*kept)), "The settings cannot be read again");
    return 0;
}
