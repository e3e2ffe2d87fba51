#include "PracticePage/PracticeServer.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <memory>

namespace tarn::program {

namespace {

struct OpenOptions {
    std::string song;
    bool onNetwork = false;
    bool networkMayEdit = false;
    bool noBrowser = false;
    std::uint16_t port = 0;
};

volatile std::sig_atomic_t gIsInterrupted = 0;

void open(const OpenOptions& options) {
    PracticeServer::Options server;
    server.port = options.port;
    server.api.access = {options.onNetwork, options.networkMayEdit};
    PracticeServer practice(server);
    const std::filesystem::path song(options.song);
    PracticeSession::Options session{song, {}, true};
    if (song.extension() != ".tarn") {
        session.document = std::filesystem::path(song).replace_extension(".tarn");
        session.recording = song;
    }
    practice.api().open(session);
    std::cout << practice.addressWithToken() << std::endl;
    std::signal(SIGINT, [](int) { gIsInterrupted = 1; });
    practice.run([] { return gIsInterrupted != 0; });
}

} // namespace

void addOpenCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("open", "Open a song in the browser to practise it");
    const auto options = std::make_shared<OpenOptions>();
    command->add_option("song", options->song, "The recording or the document")->type_name("SONG");
    command->add_flag("--lan", options->onNetwork, "Offer it to other devices");
    command->add_flag("--no-browser", options->noBrowser, "Print the address only");
    command->add_option("--port", options->port, "The port");
    command->callback([options] { open(*options); });
}

} // namespace tarn::program
