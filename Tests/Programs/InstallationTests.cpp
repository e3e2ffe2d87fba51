#include "Interchange/Format.h"
#include "Tests/Programs/ProgramTest.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

namespace tarn::program {

namespace {

std::string readSource(const std::string& name) {
    return textOf(std::filesystem::path(TARN_PROGRAM_SOURCES) / name);
}

/// The options that a help text lists, without their dashes.
std::set<std::string> optionsIn(const std::string& help) {
    const std::regex option("(^|\n)  (-[a-zA-Z],)?--?([a-zA-Z-]+)");
    std::set<std::string> options;
    for (std::sregex_iterator match(help.begin(), help.end(), option), end; match != end; ++match)
        options.insert((*match)[3]);
    return options;
}

} // namespace

TEST_F(ProgramTest, everyCommandAndOptionIsInHelpManualAndCompletions) {
    const auto overview = outputOf({"--help"});
    const std::string manual = std::regex_replace(readSource("tarn.1"), std::regex(R"(\\-)"), "-");
    const std::string bash = readSource("completion/tarn.bash");
    const std::string zsh = readSource("completion/_tarn");
    const std::string fish = readSource("completion/tarn.fish");
    for (const std::string command :
         {"analyze", "open", "render", "show", "edit", "export", "import", "draw", "chords", "cache"}) {
        SCOPED_TRACE(command);
        EXPECT_THAT(overview, testing::HasSubstr("\n  " + command + " "));
        const auto help = outputOf({command, "--help"});
        EXPECT_THAT(help, testing::HasSubstr("Example:\n  tarn " + command));
        EXPECT_THAT(manual, testing::HasSubstr("\n.SS " + command + "\n"));
        EXPECT_THAT(fish, testing::HasSubstr(" -a " + command + " "));
        const auto options = optionsIn(help);
        EXPECT_TRUE(options.contains("help"));
        for (const std::string& option : options) {
            SCOPED_TRACE(option);
            const std::string dashed = (option.size() == 1 ? "-" : "--") + option;
            EXPECT_THAT(manual, testing::HasSubstr(dashed));
            EXPECT_THAT(bash, testing::HasSubstr(dashed));
            EXPECT_THAT(zsh, testing::ContainsRegex("['\"]" + dashed + "\\["));
            const std::string listed = option == "help" ? "complete -c tarn" : "__tarn_complete " + command;
            const std::string dashes = option.size() == 1 ? " -s " : " -l ";
            EXPECT_THAT(fish, testing::ContainsRegex("\n" + listed + "[^\n]*" + dashes + option + " "));
        }
    }
    // What the scripts leave to the program.
    for (const std::string list : {"edits", "exports", "imports", "formats", "imported-formats",
                                   "picture-formats", "kinds", "imported-kinds"})
        EXPECT_FALSE(outputOf({"complete", list}).empty());
    EXPECT_THAT("\n" + outputOf({"complete", "exports"}), testing::HasSubstr("\nmidi\nlab\ncsv\ntxt\n"));
    EXPECT_THAT("\n" + outputOf({"complete", "edits"}),
                testing::AllOf(testing::HasSubstr("\nkey=\n"), testing::HasSubstr("\nmove-bar\n")));
}

TEST_F(ProgramTest, everyFormatIsInTheManualAndTheDocumentation) {
    const std::string manual = std::regex_replace(readSource("tarn.1"), std::regex(R"(\\-)"), "-");
    const std::string page = readSource("../../docs/editing.md");
    for (const Format& format : formats()) {
        SCOPED_TRACE(format.name);
        EXPECT_THAT(manual, testing::ContainsRegex("The format, .*" + std::string(format.name)));
        EXPECT_THAT(page, testing::HasSubstr("`" + std::string(format.name) + "`"));
        for (const std::string_view ending : format.endings)
            EXPECT_THAT(page, testing::HasSubstr("`" + std::string(ending) + "`"));
        if (!format.endings.empty()) {
            EXPECT_THAT(manual, testing::HasSubstr(std::string(format.endings.front())));
        }
    }
}

} // namespace tarn::program
