#include "Tests/Programs/ProgramTest.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace tarn::program {

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(ProgramTest, changesAreUndoneAndRedoneInLaterRuns) {
    saveSmallDocument();
    const auto shown = [&] { return tarn({"show", "small.tarn", "--json"}).output; };
    const auto first = shown();
    (void)outputOf({"edit", "small.tarn", "key=Eb", "add-marker Here at 5:1", "--message", "For Ann"});
    const auto second = shown();
    write("beats.txt", "1.0 1\n1.5 2\n2.0 1\n2.5 2\n");
    (void)outputOf({"import", "small.tarn", "beats.txt", "--what", "beats"});
    const auto third = shown();

    const auto history = nlohmann::json::parse(outputOf({"history", "small.tarn", "--json"}));
    std::vector<std::string> messages;
    for (const auto& step : history)
        messages.push_back(step["message"]);
    const std::size_t count = messages.size();
    ASSERT_GE(count, 2u);
    EXPECT_EQ(messages[count - 2], "For Ann");
    EXPECT_EQ(messages[count - 1], "Imported beats.txt");

    EXPECT_THAT(outputOf({"undo", "small.tarn", "--dry-run"}), HasSubstr("unchanged"));
    EXPECT_EQ(shown(), third);
    EXPECT_EQ(outputOf({"undo", "small.tarn"}), "undone: Imported beats.txt\n");
    EXPECT_EQ(shown(), second);
    const std::string newest = std::to_string(history.back()["step"].get<int>());
    expectFailure(tarn({"undo", "small.tarn", "--seen", newest}), 5, "changed since");
    EXPECT_EQ(outputOf({"undo", "small.tarn"}), "undone: For Ann\n");
    EXPECT_EQ(shown(), first);
    EXPECT_THAT(outputOf({"history", "small.tarn"}), HasSubstr("(undone) For Ann"));
    (void)outputOf({"redo", "small.tarn"});
    (void)outputOf({"redo", "small.tarn"});
    EXPECT_EQ(shown(), third);
    expectFailure(tarn({"redo", "small.tarn"}), 5, "nothing to redo");
}

TEST_F(ProgramTest, anImportOfWhatTheDocumentHoldsMakesNoStep) {
    saveSmallDocument();
    const auto history = outputOf({"history", "small.tarn"});
    const std::vector<std::string> files[] = {{"a.lab"},      {"beats.csv", "--what", "beats"},
                                              {"a.jams"},     {"a.txt", "--what", "sections"},
                                              {"a.musicxml"}, {"a.svl", "--what", "regions"}};
    for (const auto& file : files) {
        for (const char* command : {"export", "import"}) {
            std::vector<std::string> arguments{command, "small.tarn"};
            arguments.insert(arguments.end(), file.begin(), file.end());
            (void)outputOf(arguments);
        }
        EXPECT_EQ(outputOf({"history", "small.tarn"}), history) << file.front();
    }
}

TEST_F(ProgramTest, aDamagedDocumentIsToldShownAndRepaired) {
    saveSmallDocument();
    const auto shown = tarn({"show", "small.tarn"}).output;
    auto bytes = read("small.tarn");
    const auto name = bytes.rfind("Solo"); // the marker's; before it, the history has the name too
    ASSERT_NE(name, std::string::npos);
    bytes[name] = 'P';
    write("small.tarn", bytes);
    expectFailure(tarn({"show", "small.tarn"}), 4, "its checksum is wrong; 'tarn show --salvage'");
    expectFailure(tarn({"edit", "small.tarn", "key=C"}), 4, "checksum");
    const auto salvaged = tarn({"show", "small.tarn", "--salvage"});
    EXPECT_EQ(salvaged.status, 0);
    EXPECT_THAT(salvaged.output, HasSubstr("Polo"));
    EXPECT_THAT(salvaged.errors, HasSubstr("everything could be read"));
    EXPECT_THAT(outputOf({"edit", "small.tarn", "--salvage"}), HasSubstr("kept as small.tarn~"));
    EXPECT_EQ(read("small.tarn~"), bytes);
    EXPECT_THAT(outputOf({"show", "small.tarn"}), HasSubstr("Polo"));
    expectFailure(tarn({"edit", "small.tarn"}), 2, "name an edit");
}

} // namespace tarn::program
