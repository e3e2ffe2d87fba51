#include "Platform/UserDefaults.h"

#include "Tests/Platform/TemporaryFolder.h"

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace tarn {

TEST(UserDefaults, keepsAnyKeyAndValueInTheFile) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "made" / "defaults.txt";
    const std::map<std::string, std::string> values = {
        {"plain", "value"}, {"a=b\\", "c=d\\"},   {"line\nbreak", "\r\n\ttext\n"},
        {" blank ", "  "},  {"empty", ""},        {"", "empty key"},
        {"\\n", "\\n"},     {"Tonhöhe", "♯ = #"}, {"\\", "\\"},
        {"=", "="},
    };
    {
        UserDefaults defaults(file);
        for (const auto& [key, value] : values)
            EXPECT_TRUE(defaults.setString(key, value));
        EXPECT_TRUE(defaults.setString("gone", "soon"));
        EXPECT_TRUE(defaults.removeValue("gone"));
    }
    const UserDefaults defaults(file);
    for (const auto& [key, value] : values)
        EXPECT_EQ(defaults.string(key), value) << key;
    EXPECT_EQ(defaults.string("gone"), std::nullopt);
}

TEST(UserDefaults, readsAFileWrittenByHand) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "defaults.txt";
    writeText(file, "no separator\r\nTempo=120\r\n  Name  =  a b  \r\n\nTempo = 90\nlast = x");
    const UserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("Tempo"), 90);
    EXPECT_EQ(defaults.string("Name"), "a b");
    EXPECT_EQ(defaults.string("last"), "x");
}

TEST(UserDefaults, readsTextAsTheTypeThatIsAsked) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder.path() / "defaults.txt");
    struct Case {
        const char* text;
        bool asBool;
        std::int64_t asInteger;
        double asDouble;
    };
    constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
    const Case cases[] = {
        {"YES", true, 0, 0},
        {"true", true, 0, 0},
        {"no", false, 0, 0},
        {"1", true, 1, 1},
        {"0", false, 0, 0},
        {" +12 ", true, 12, 12},
        {"-2.75", true, -2, -2.75},
        {"1e3", true, 1000, 1000},
        {"9223372036854775807", true, kLargest, 9223372036854775807.0},
        {"1e30", false, 0, 1e30}, // no integer, and so neither a truth value
        {"12 apples", false, 0, 0},
        {"+-5", false, 0, 0},
        {"", false, 0, 0},
    };
    for (const Case& c : cases) {
        defaults.setVolatileValue("key", c.text);
        EXPECT_EQ(defaults.boolForKey("key"), c.asBool) << c.text;
        EXPECT_EQ(defaults.integerForKey("key"), c.asInteger) << c.text;
        EXPECT_EQ(defaults.doubleForKey("key"), c.asDouble) << c.text;
    }
    for (const double number : {0.1, -0.0, 1e300, 5e-324}) {
        EXPECT_TRUE(defaults.setDouble("number", number));
        EXPECT_EQ(UserDefaults(folder.path() / "defaults.txt").doubleForKey("number"), number);
    }
}

TEST(UserDefaults, looksAmongTheProcessTheFileAndTheRegisteredInThisOrder) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder.path() / "defaults.txt");
    defaults.registerDefaults({{"key", "1"}});
    defaults.registerDefaults({{"key", "2"}});
    EXPECT_EQ(defaults.integerForKey("key"), 2);
    defaults.setInteger("key", 3);
    EXPECT_EQ(defaults.integerForKey("key"), 3);
    defaults.setVolatileValue("key", "4");
    EXPECT_EQ(defaults.integerForKey("key"), 4);
    defaults.setVolatileValue("key", "four"); // says no number, so the next in line answers
    EXPECT_EQ(defaults.integerForKey("key"), 3);
    EXPECT_EQ(defaults.string("key"), "four");
    defaults.setVolatileValue("key", std::nullopt);
    defaults.removeValue("key");
    EXPECT_EQ(defaults.integerForKey("key"), 2);
    EXPECT_EQ(textOf(folder.path() / "defaults.txt"), "");
}

TEST(UserDefaults, changesKeepWhatOthersWroteMeanwhile) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "defaults.txt";
    UserDefaults first(file);
    UserDefaults second(file);
    EXPECT_TRUE(first.setBool("first", true));
    EXPECT_TRUE(second.setBool("second", true));
    EXPECT_TRUE(second.boolForKey("first"));
    EXPECT_EQ(textOf(file), "first = YES\nsecond = YES\n");
}

TEST(UserDefaults, aValueThatCannotBeWrittenHoldsAndGoesAlongWithTheNext) {
    const TemporaryFolder folder;
    const auto obstacle = folder.path() / "settings";
    writeText(obstacle, "a file where the folder should be");
    UserDefaults defaults(obstacle / "defaults.txt");
    EXPECT_FALSE(defaults.setInteger("first", 1));
    EXPECT_EQ(defaults.integerForKey("first"), 1);
    std::filesystem::remove(obstacle);
    EXPECT_TRUE(defaults.setInteger("second", 2));
    EXPECT_EQ(textOf(obstacle / "defaults.txt"), "first = 1\nsecond = 2\n");
}

TEST(UserDefaultsConcurrency, threadsReadAndChangeOneStore) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder.path() / "defaults.txt");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, key = std::to_string(i)] {
            for (int value = 1; value <= 5; ++value) {
                defaults.setInteger(key, value);
                EXPECT_EQ(defaults.integerForKey(key), value);
            }
        });
    for (auto& thread : threads)
        thread.join();
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(UserDefaults(folder.path() / "defaults.txt").integerForKey(std::to_string(i)), 5);
}

} // namespace tarn
