#include "Platform/UserDefaults.h"

#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Platform/Threads.h"

#include <limits>
#include <tuple>

namespace tarn {

namespace {

struct UserDefaultsTests : testing::Test {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "defaults.txt";
    UserDefaults defaults{file};
};
using UserDefaultsConcurrencyTests = UserDefaultsTests;

} // namespace

TEST_F(UserDefaultsTests, KeepsAnyKeyAndValueInTheFile) {
    const auto made = folder.path() / "made" / "defaults.txt";
    const std::map<std::string, std::string> values = {
        {"plain", "value"}, {"a=b\\", "c=d\\"},   {"line\nbreak", "\r\n\ttext\n"},
        {" blank ", "  "},  {"empty", ""},        {"", "empty key"},
        {"\\n", "\\n"},     {"Tonhöhe", "♯ = #"}, {"\\", "\\"},
        {"=", "="}};
    {
        UserDefaults writing(made);
        for (const auto& [key, value] : values)
            EXPECT_TRUE(writing.setString(key, value));
        EXPECT_TRUE(writing.setString("gone", "soon"));
        EXPECT_TRUE(writing.removeValue("gone"));
    }
    const UserDefaults reading(made);
    for (const auto& [key, value] : values)
        EXPECT_EQ(reading.string(key), value) << key;
    EXPECT_EQ(reading.string("gone"), std::nullopt);
}

TEST_F(UserDefaultsTests, ReadsAFileWrittenByHand) {
    writeText(file, "no separator\r\nTempo=120\r\n  Name  =  a b  \r\n\nTempo = 90\nlast = x");
    const UserDefaults reading(file);
    EXPECT_EQ(reading.integerForKey("Tempo"), 90);
    EXPECT_EQ(reading.string("Name"), "a b");
    EXPECT_EQ(reading.string("last"), "x");
}

TEST_F(UserDefaultsTests, ReadsTextAsTheTypeThatIsAsked) {
    constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
    const std::tuple<const char*, bool, std::int64_t, double> cases[] = {
        {"YES", true, 0, 0},
        {"true", true, 0, 0},
        {"no", false, 0, 0},
        {"1", true, 1, 1},
        {"0", false, 0, 0},
        {" +12 ", true, 12, 12},
        {"-2.75", true, -2, -2.75},
        {"1e3", true, 1000, 1000},
        {"9223372036854775807", true, kLargest, 9223372036854775807.0},
        {"1e30", false, 0, 1e30}, // not an integer, and so not a truth value either
        {"12 apples", false, 0, 0},
        {"+-5", false, 0, 0},
        {"", false, 0, 0}};
    for (const auto& [text, asBool, asInteger, asDouble] : cases) {
        defaults.setVolatileValue("key", text);
        EXPECT_EQ(defaults.boolForKey("key"), asBool) << text;
        EXPECT_EQ(defaults.integerForKey("key"), asInteger) << text;
        EXPECT_EQ(defaults.doubleForKey("key"), asDouble) << text;
    }
    for (const double number : {0.1, -0.0, 1e300, 5e-324}) {
        EXPECT_TRUE(defaults.setDouble("number", number));
        EXPECT_EQ(UserDefaults(file).doubleForKey("number"), number);
    }
}

TEST_F(UserDefaultsTests, LooksAmongTheProcessTheFileAndTheRegisteredInThisOrder) {
    defaults.registerDefaults({{"key", "1"}});
    defaults.registerDefaults({{"key", "2"}});
    EXPECT_EQ(defaults.integerForKey("key"), 2);
    defaults.setInteger("key", 3);
    EXPECT_EQ(defaults.integerForKey("key"), 3);
    defaults.setVolatileValue("key", "4");
    EXPECT_EQ(defaults.integerForKey("key"), 4);
    defaults.setVolatileValue("key", "four"); // not a number, so the next in line counts
    EXPECT_EQ(defaults.integerForKey("key"), 3);
    EXPECT_EQ(defaults.string("key"), "four");
    defaults.setVolatileValue("key", std::nullopt);
    defaults.removeValue("key");
    EXPECT_EQ(defaults.integerForKey("key"), 2);
    EXPECT_EQ(textOf(file), "");
}

TEST_F(UserDefaultsTests, ChangesKeepWhatOthersWroteMeanwhile) {
    UserDefaults first(file), second(file);
    EXPECT_TRUE(first.setBool("first", true));
    EXPECT_TRUE(second.setBool("second", true));
    EXPECT_TRUE(second.boolForKey("first"));
    EXPECT_EQ(textOf(file), "first = YES\nsecond = YES\n");
}

TEST_F(UserDefaultsTests, AValueThatCannotBeWrittenHoldsAndGoesAlongWithTheNext) {
    const auto obstacle = folder.path() / "settings";
    writeText(obstacle, "a file where the folder should be");
    UserDefaults hindered(obstacle / "defaults.txt");
    EXPECT_FALSE(hindered.setInteger("first", 1));
    EXPECT_EQ(hindered.integerForKey("first"), 1);
    std::filesystem::remove(obstacle);
    EXPECT_TRUE(hindered.setInteger("second", 2));
    EXPECT_EQ(textOf(obstacle / "defaults.txt"), "first = 1\nsecond = 2\n");
}

TEST_F(UserDefaultsConcurrencyTests, ThreadsReadAndChangeOneStore) {
    inThreads(8, [&](int i) {
        const auto key = std::to_string(i);
        for (int value = 1; value <= 5; ++value) {
            defaults.setInteger(key, value);
            EXPECT_EQ(defaults.integerForKey(key), value);
        }
    });
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(UserDefaults(file).integerForKey(std::to_string(i)), 5);
}

} // namespace tarn
