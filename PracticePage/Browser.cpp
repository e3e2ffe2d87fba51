#include "PracticePage/Browser.h"

#include "PracticePage/AccessControl.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tarn {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience{3};

/// A new file that nobody else can read; empty where none can be made.
fs::path writePrivately(const std::string& text) {
    std::error_code error;
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    const fs::path folder = runtime ? fs::path(runtime) : fs::temp_directory_path(error);
    const fs::path file = folder / ("tarn-" + newSecret() + ".html");
    const int descriptor =
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return {};
    const bool isWritten = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(descriptor);
    return isWritten ? file : fs::path();
}

std::string pageLeadingTo(const std::string& address) {
    return "<!DOCTYPE html>\n<meta charset=\"utf-8\">\n<meta name=\"referrer\" content=\"no-referrer\">\n"
           "<meta http-equiv=\"refresh\" content=\"0; url=" +
           address + "\">\n<title>tarn</title>\n<p><a href=\"" + address + "\">tarn</a></p>\n";
}

/// Not reached by the signals of the terminal, and with those as usual that are ignored here.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&mAttributes);
        sigset_t usual;
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        posix_spawnattr_setsigdefault(&mAttributes, &usual);
        posix_spawnattr_setpgroup(&mAttributes, 0);
        posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&mAttributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    [[nodiscard]] const posix_spawnattr_t* get() const { return &mAttributes; }

private:
    posix_spawnattr_t mAttributes{};
};

/// Whether the program came to a good end or goes on after a moment, with the file as its argument and
/// nothing to read or write.
bool starts(const char* program, const fs::path& file) {
    const SpawnAttributes attributes;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    std::string name = program;
    std::string argument = file;
    char* arguments[] = {name.data(), argument.data(), nullptr};
    pid_t process = 0;
    const bool hasStarted =
        posix_spawnp(&process, program, &actions, attributes.get(), arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    if (!hasStarted)
        return false;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    int status = 0;
    pid_t ended = 0;
    while ((ended = waitpid(process, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return ended == 0 || (ended == process && WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

} // namespace

std::optional<BrowserStart> BrowserStart::open(const std::string& address) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        return std::nullopt;
    fs::path file = writePrivately(pageLeadingTo(address));
    if (file.empty())
        return std::nullopt;
    BrowserStart start(std::move(file));
    if (!starts("xdg-open", start.mFile))
        return std::nullopt;
    return start;
}

BrowserStart::~BrowserStart() {
    std::error_code ignored;
    if (!mFile.empty())
        fs::remove(mFile, ignored);
}

} // namespace tarn
