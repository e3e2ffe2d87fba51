#include "PracticePage/Browser.h"
#include "PracticePage/PracticeServer.h"
#include "PracticePage/SongPlaces.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/InterruptWatch.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/RefusedOptions.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <optional>

namespace tarn::program {

namespace {

/// Some browsers may not read the file that they are given.
constexpr std::chrono::seconds kPatienceWithBrowser{10};

struct OpenOptions {
    std::string song; ///< empty: the songs that were opened last are shown
    bool isOnNetwork = false;
    bool mayNetworkEdit = false;
    bool hasNoBrowser = false;
    std::uint16_t port = 0;
};

struct Place {
    PracticeSession::Options song;
    std::optional<std::filesystem::path> folder; ///< where the document goes instead
};

Place placeOf(const std::filesystem::path& song) {
    if (endingOf(song) == ".tarn")
        return {{song}, {}};
    auto place = documentPlaceOf(song);
    Place result{{place.file, song, true}, {}};
    if (!place.isBesideRecording)
        result.folder = place.file.parent_path();
    return result;
}

void printAddresses(PracticeServer& server) {
    const auto addresses = server.networkAddresses();
    const auto code = server.api().access().code();
    if (!code)
        return;
    if (addresses.empty())
        std::cout << "No network is connected; other devices cannot reach this machine.\n";
    for (const std::string& address : addresses)
        std::cout << "Other devices   " << address << "   code " << *code << "\n";
    std::cout << "Note            whoever can listen on this network can hear and read along\n";
}

void open(const OpenOptions& options) {
    std::signal(SIGPIPE, SIG_IGN); // whoever reads the output may stop reading
    const InterruptWatch watch({SIGINT, SIGTERM, SIGHUP});
    Place place;
    if (!options.song.empty())
        place = placeOf(options.song);
    PracticeServer server({.api = {.access = {options.isOnNetwork, options.mayNetworkEdit},
                                   .documentFolder = place.folder,
                                   .language = {},
                                   .recentSongs = &recentSongs,
                                   .rememberSong = &rememberSong},
                           .port = options.port});
    if (!options.song.empty()) {
        server.api().open(place.song);
        rememberSong(place.song.document);
    }
    auto browser = options.hasNoBrowser ? std::nullopt : BrowserStart::open(server.addressWithToken());
    if (place.folder)
        std::cout << "Document        " << place.song.document.string()
                  << ", for the song's folder cannot be written\n";
    if (!browser)
        std::cout << "Open this address in a browser on this machine; it works once:\n"
                  << server.addressWithToken() << "\n";
    printAddresses(server);
    std::cout << "Ctrl-C ends; so does closing the page." << std::endl;
    auto late = std::chrono::steady_clock::now() + kPatienceWithBrowser;
    server.run([&] {
        if (browser && server.api().wasVisited()) {
            browser.reset(); // it has read its file
        } else if (browser && std::chrono::steady_clock::now() > late) {
            late = std::chrono::steady_clock::time_point::max();
            std::cout
                << "Has no page appeared? Open this address in a browser on this machine; it works once:\n"
                << server.addressWithToken() << std::endl;
        }
        return InterruptWatch::isInterrupted();
    });
    trimCache(kLargestCache); // what cannot be removed does not spoil anything
}

} // namespace

void addOpenCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "open",
        "Practise a song on a page in the browser: chart, loop, speed, click; analyses it where needed");
    const auto options = std::make_shared<OpenOptions>();
    command
        ->add_option("song", options->song,
                     "The recording, or its document; without it, the songs that were opened last")
        ->type_name("SONG");
    auto* const lan =
        command->add_flag("--lan", options->isOnNetwork,
                          "Also offer the page to other devices on the network, with a code that is printed");
    command->add_flag("--lan-edit", options->mayNetworkEdit, "Let those devices change the document, too")
        ->needs(lan);
    command->add_flag("--no-browser", options->hasNoBrowser,
                      "Print the address instead of opening a browser");
    command->add_option("--port", options->port, "The port to serve on (any free one)")->type_name("N");
    command->footer("Example:\n  tarn open song.mp3");
    command->callback([options] { open(*options); });
}

} // namespace tarn::program
