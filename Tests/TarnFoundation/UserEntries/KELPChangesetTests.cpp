#include "TarnFoundation/UserEntries/KELPChangeset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

using namespace tarn;

namespace {

/// An item whose identity is its letter and whose contents are its number.
struct Item {
    char letter;
    int number = 0;
    friend bool operator==(const Item& a, const Item& b) { return a.letter == b.letter; }
};

} // namespace

template <>
struct std::hash<Item> {
    std::size_t operator()(const Item& item) const { return static_cast<std::size_t>(item.letter); }
};

namespace {

using Changeset = KELPChangeset<Item>;

List<Item> items(const std::string& letters) {
    std::vector<Item> result;
    for (const char letter : letters)
        result.push_back({letter});
    return result;
}

std::string letters(const List<Item>& list) {
    std::string result;
    for (const auto& item : list)
        result += item.letter;
    return result;
}

bool contentsEqual(const Item& a, const Item& b) {
    return a.number == b.number;
}

TEST(Changeset, TellsAddedFromRemoved) {
    struct Case {
        const char* old;
        const char* current;
        IndexSet added;
        IndexSet removed;
    };
    for (const auto& c : std::initializer_list<Case>{
             {"ABC", "ACD", {2}, {1}},
             {"", "", {}, {}},
             {"AB", "AB", {}, {}},
             {"AB", "BA", {}, {}},  // an order is no difference
             {"A", "AXX", {1}, {}}, // reported once, at the first position
             {"AXX", "A", {}, {1}},
             {"AXXB", "XAXB", {}, {}},
             {"ABCD", "ABCBD", {}, {}}, // occurs twice now, and was there before
             {"XAB", "ABX", {}, {}},
             {"", "AAB", {0, 2}, {}},
             {"ABAB", "", {}, {0, 1}},
         }) {
        const Changeset changeset(items(c.old), items(c.current));
        EXPECT_EQ(changeset.added(), c.added) << c.old << " -> " << c.current;
        EXPECT_EQ(changeset.removed(), c.removed) << c.old << " -> " << c.current;
        EXPECT_TRUE(changeset.changed().empty());
    }
    const Changeset changeset(items("ABC"), items("ACD"));
    EXPECT_EQ(letters(changeset.addedItems()), "D");
    EXPECT_EQ(letters(changeset.removedItems()), "B");
    EXPECT_NE(changeset.description().find("> [\n\tadded: " + changeset.added().description() +
                                           "\n\tremoved: " + changeset.removed().description() +
                                           "\n\tchanged: " + changeset.changed().description() + "\n]"),
              std::string::npos);
    EXPECT_EQ(changeset.description().find("<KELPChangeset: "), 0u);
}

TEST(Changeset, AnswersChangedItemsAtTheOldPositionsOfTheNewList) {
    const Changeset changeset(std::vector<Item>{{'A', 1}, {'B', 1}},
                              std::vector<Item>{{'X', 1}, {'A', 1}, {'B', 2}}, contentsEqual);
    EXPECT_EQ(changeset.changed(), IndexSet({1}));
    EXPECT_EQ(letters(changeset.changedItems()), "A");

    const Changeset beyond(std::vector<Item>{{'A', 1}, {'B', 1}}, std::vector<Item>{{'B', 2}}, contentsEqual);
    EXPECT_EQ(beyond.changed(), IndexSet({1}));
    EXPECT_DEATH((void)beyond.changedItems(), "out of range");
}

/// The definition, set by set.
void expectDefinition(const List<Item>& old, const List<Item>& current, unsigned seed) {
    const auto first = [](const List<Item>& list, const Item& item) {
        return static_cast<std::size_t>(std::find(list.begin(), list.end(), item) - list.begin());
    };
    IndexSet added;
    IndexSet removed;
    IndexSet changed;
    for (const auto& item : current) {
        if (first(old, item) == old.size())
            added.insert(first(current, item));
    }
    for (const auto& item : old) {
        const auto position = first(current, item);
        if (position == current.size())
            removed.insert(first(old, item));
        else if (current[position].number != old[first(old, item)].number)
            changed.insert(first(old, item));
    }
    const Changeset changeset(old, current, contentsEqual);
    EXPECT_EQ(changeset.added(), added)
        << "seed " << seed << ": " << letters(old) << " -> " << letters(current);
    EXPECT_EQ(changeset.removed(), removed)
        << "seed " << seed << ": " << letters(old) << " -> " << letters(current);
    EXPECT_EQ(changeset.changed(), changed)
        << "seed " << seed << ": " << letters(old) << " -> " << letters(current);
}

TEST(Changeset, AgreesWithItsDefinitionOnRandomLists) {
    for (unsigned seed = 0; seed < 5000; ++seed) {
        std::mt19937 random(seed);
        const auto randomList = [&] {
            std::vector<Item> list(random() % 12);
            for (auto& item : list)
                item = {static_cast<char>('A' + random() % 9), static_cast<int>(random() % 2)};
            return list;
        };
        const auto old = randomList();
        auto current = random() % 2 ? randomList() : old;
        if (!current.empty() && random() % 2) // as edits do: a few in the middle
            current.insert(current.begin() + std::ptrdiff_t(random() % current.size()),
                           {static_cast<char>('A' + random() % 12)});
        expectDefinition(old, current, seed);
    }
}

} // namespace
