#include "Programs/tarn/ProgressDisplay.h"

#include "Tests/Platform/TemporaryFolder.h"

#include <fcntl.h>
#include <unistd.h>

namespace tarn::program {

namespace {

/// What the display writes to standard error when that is a terminal of the type.
std::string shownOnTerminal(const char* type) {
    const EnvironmentVariable term("TERM", type);
    const int computer = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(computer >= 0 && grantpt(computer) == 0 && unlockpt(computer) == 0);
    const int terminal = open(ptsname(computer), O_RDWR | O_NOCTTY);
    const int before = dup(STDERR_FILENO);
    dup2(terminal, STDERR_FILENO);
    ProgressDisplay(true).show(0.5, "Detecting chords");
    EXPECT_EQ(write(terminal, "end", 3), 3);
    dup2(before, STDERR_FILENO);
    std::string shown; // a terminal hands it over piece by piece
    char buffer[1000];
    while (!shown.ends_with("end")) {
        const ssize_t count = read(computer, buffer, sizeof buffer);
        if (count <= 0)
            break;
        shown.append(buffer, static_cast<std::size_t>(count));
    }
    for (const int descriptor : {before, terminal, computer})
        close(descriptor);
    return shown;
}

} // namespace

TEST(ProgressDisplay, redrawsALineOnlyOnATerminalThatCan) {
    const auto bar = shownOnTerminal("xterm");
    EXPECT_NE(bar.find(" 50 %  Detecting chords"), std::string::npos) << bar;
    EXPECT_NE(bar.find("\x1b["), std::string::npos);
    for (const char* type : {"dumb", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(shownOnTerminal(type), "end");
}

} // namespace tarn::program
