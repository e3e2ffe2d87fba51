#include "Platform/Bundle.h"

#include "Tests/Platform/System.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <regex>

namespace tarn {

namespace {

using Texts = std::map<std::string, std::string>;

struct BundleTests : testing::Test {
    BundleTests() { bundle.setResourceFolder(folder.path()); }
    void writeTable(const std::string& language, const std::string& text,
                    const std::string& table = "Localizable") const {
        writeText(folder.path() / (language + ".lproj") / (table + ".strings"), text);
    }
    const TemporaryFolder folder;
    Bundle bundle;
};

} // namespace

TEST_F(BundleTests, ReadsStringsFiles) {
    writeTable("en", R"(/* "commented" = "out"; */ // to the end of the line "a" = "b";
"plain" = "text";"beside"="it";
"quote \"\\\n\t\'" /* between */ = // and here
    "escapes \"\\\n\r\t\'\q";
"unicode" = "\U00e9 \u266F \Ud834\Udd1e é";
"lone" = "\Ud834 \Udd1e \Ud834\U0041 \U12";
"two
lines" = "kept
apart";
"malformed" "no sign";
"no semicolon" = "x"
"after" = "found";
"twice" = "first";
"twice" = "second";
"url" = "http://example.org/*;";
"open comment" = "y"; /* "z" = "z";)");
    bundle.setPreferredLanguages({"en"});
    const Texts expected = {{"plain", "text"},
                            {"beside", "it"},
                            {"quote \"\\\n\t'", "escapes \"\\\n\r\t'q"},
                            {"unicode", "é ♯ 𝄞 é"},
                            {"lone", "\uFFFD \uFFFD \uFFFDA U12"},
                            {"two\nlines", "kept\napart"},
                            {"after", "found"},
                            {"twice", "second"},
                            {"url", "http://example.org/*;"},
                            {"open comment", "y"}};
    for (const auto& [key, text] : expected)
        EXPECT_EQ(bundle.localizedString(key, "missing"), text) << key;
    for (const char* key : {"commented", "a", "malformed", "z"})
        EXPECT_EQ(bundle.localizedString(key, "missing"), "missing") << key;
}

TEST_F(BundleTests, LooksInEachPreferredLanguageFromTheRegionalToTheGeneral) {
    writeTable("de-AT", R"("January" = "Jänner";)");
    writeTable("de", R"("January" = "Januar"; "March" = "März";)");
    writeTable("fr", R"("January" = "janvier"; "March" = "mars"; "May" = "mai";)");
    writeTable("de", R"("January" = "1";)", "Short");
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"de_AT.UTF-8", "fr"}, "Jänner März mai"},
        {{"de-CH", "fr"}, "Januar März mai"},
        {{"fr-CA@euro"}, "janvier mars mai"},
        {{"it", "de"}, "Januar März May"},
        {{"../de"}, "January March May"}, // no language, and no way out of the folder
        {{"C"}, "January March May"},
        {{}, "January March May"}};
    for (const auto& [languages, months] : cases) {
        bundle.setPreferredLanguages(languages);
        EXPECT_EQ(bundle.localizedString("January") + " " + bundle.localizedString("March") + " " +
                      bundle.localizedString("May"),
                  months);
    }
    EXPECT_EQ(bundle.localizedString("May", "default"), "default");
    bundle.setPreferredLanguages({"de"});
    EXPECT_EQ(bundle.localizedString("January", "", "Short"), "1");
    bundle.setResourceFolder({});
    EXPECT_EQ(bundle.localizedString("January"), "January");
}

TEST_F(BundleTests, StartsWithTheLanguagesOfTheEnvironment) {
    for (const std::string language : {"de", "fr", "it", "es"})
        writeTable(language, "\"language\" = \"" + language + "\";");
    const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
        {nullptr, nullptr, nullptr, "de_DE.UTF-8", "de"},
        {nullptr, nullptr, "fr_FR", "de_DE", "fr"},
        {nullptr, "it_IT", "fr_FR", "de_DE", "it"},
        {nullptr, "", "fr_FR", "de_DE", "fr"}, // an empty variable counts as absent
        {"nl:es:de", nullptr, nullptr, "it_IT", "es"},
        {"nl", nullptr, nullptr, "it_IT", "it"},
        {"es", "C.UTF-8", nullptr, "it_IT", "none"}, // the C locale wants no translation
        {"es", nullptr, nullptr, nullptr, "none"}};
    for (const auto& [language, all, messages, lang, expected] : cases) {
        const EnvironmentVariable first("LANGUAGE", language), second("LC_ALL", all),
            third("LC_MESSAGES", messages), last("LANG", lang);
        Bundle started;
        started.setResourceFolder(folder.path());
        EXPECT_EQ(started.localizedString("language", "none"), expected);
    }
}

TEST_F(BundleTests, TheShippedTablesHoldTheSameKeysAndEnglishIsItsOwnKey) {
    const auto resources =
        (std::filesystem::path(TARN_TEST_DATA) / "../../../TarnFoundation/Resources").lexically_normal();
    bundle.setResourceFolder(resources);
    std::map<std::string, Texts> tables;
    for (const std::string language : {"en", "de"}) {
        const auto file = textOf(resources / (language + ".lproj") / "Localizable.strings");
        bundle.setPreferredLanguages({language});
        const std::regex line("\"(.*)\" = \"(.*)\";\n");
        for (std::sregex_iterator match(file.begin(), file.end(), line), end; match != end; ++match) {
            tables[language][(*match)[1]] = (*match)[2];
            EXPECT_EQ(bundle.localizedString((*match)[1], "missing"), (*match)[2]);
        }
    }
    EXPECT_GE(tables["en"].size(), 19U) << "the table was read";
    EXPECT_EQ(tables["en"].size(), tables["de"].size());
    for (const auto& [key, text] : tables["en"])
        EXPECT_TRUE(text == key && tables["de"].contains(key)) << key;
    EXPECT_EQ(tables["de"]["Chorus"], "Refrain");

    // Sources and tables name the same texts.
    std::string sources;
    for (const char* module : {"TarnFoundation", "KELPMusicInformationRetrieval", "AnalysisEngine"}) {
        const auto root = resources.parent_path().parent_path() / module;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
                sources += textOf(entry.path());
        }
    }
    for (const auto& [key, text] : tables["en"])
        EXPECT_NE(sources.find('"' + key + '"'), std::string::npos) << key << " is not used";
    const std::regex use("locali[sz]ed(String)?\\(\\s*\"([^\"]*)\"");
    int uses = 0;
    for (std::sregex_iterator match(sources.begin(), sources.end(), use), end; match != end; ++match, ++uses)
        EXPECT_TRUE(tables["en"].contains((*match)[2])) << (*match)[2] << " is in no table";
    EXPECT_GE(uses, 8);
}

} // namespace tarn
