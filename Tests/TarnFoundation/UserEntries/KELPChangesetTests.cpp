#include "TarnFoundation/UserEntries/KELPChangeset.h"

#include <gmock/gmock.h>

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

TEST(KELPChangesetTests, DescribesWhatWasAddedAndRemoved) {
    const Changeset changeset(items("ABC"), items("ACD"));
    EXPECT_EQ(letters(changeset.addedItems()), "D");
    EXPECT_EQ(letters(changeset.removedItems()), "B");
    EXPECT_THAT(changeset.description(),
                testing::AllOf(testing::StartsWith("<KELPChangeset: "),
                               testing::EndsWith("> [\n\tadded: " + IndexSet({2}).description() +
                                                 "\n\tremoved: " + IndexSet({1}).description() +
                                                 "\n\tchanged: " + IndexSet().description() + "\n]")));
}

TEST(KELPChangesetTests, ReturnsChangedItemsAtTheOldPositionsOfTheNewList) {
    const Changeset changeset(std::vector<Item>{{'A', 1}, {'B', 1}},
                              std::vector<Item>{{'X', 1}, {'A', 1}, {'B', 2}}, contentsEqual);
    EXPECT_EQ(changeset.changed(), IndexSet({1}));
    EXPECT_EQ(letters(changeset.changedItems()), "A");

    const Changeset beyond(std::vector<Item>{{'A', 1}, {'B', 1}}, std::vector<Item>{{'B', 2}}, contentsEqual);
    EXPECT_EQ(beyond.changed(), IndexSet({1}));
    EXPECT_DEATH((void)beyond.changedItems(), "out of range");
}

TEST(KELPChangesetTests, AgreesWithItsDefinitionOnRandomLists) {
    for (unsigned seed = 0; seed < 5000; ++seed) {
        std::mt19937 random(seed);
        const auto randomList = [&] {
            std::vector<Item> list(random() % 12);
            const bool repeats = random() % 2;
            for (char letter = 'A'; auto& item : list)
                item = {repeats ? static_cast<char>('A' + random() % 9) : letter++,
                        static_cast<int>(random() % 2)};
            return list;
        };
        const auto old = randomList();
        auto current = random() % 2 ? randomList() : old;
        if (!current.empty() && random() % 2) // as edits do: a few in the middle
            current.insert(current.begin() + std::ptrdiff_t(random() % current.size()),
                           {static_cast<char>('A' + random() % 20)});
        for (std::size_t left = random() % 3; left > 0 && !current.empty(); --left)
            current.erase(current.begin() + std::ptrdiff_t(random() % current.size()));

        // The definition, set by set.
        SCOPED_TRACE(letters(old) + " -> " + letters(current));
        const auto first = [](const std::vector<Item>& list, const Item& item) {
            return static_cast<std::size_t>(std::find(list.begin(), list.end(), item) - list.begin());
        };
        IndexSet added, removed, changed;
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
        EXPECT_TRUE(Changeset(old, current).changed().empty());
        const auto isDistinct = [&](const std::vector<Item>& list) {
            return std::all_of(list.begin(), list.end(),
                               [&](const Item& item) { return &list[first(list, item)] == &item; });
        };
        using Repetition = Changeset::Repetition;
        for (const auto repetition : {Repetition::possible, Repetition::none}) {
            if (repetition == Repetition::none && !(isDistinct(old) && isDistinct(current)))
                continue;
            const Changeset changeset(old, current, contentsEqual, repetition);
            EXPECT_EQ(changeset.added(), added);
            EXPECT_EQ(changeset.removed(), removed);
            EXPECT_EQ(changeset.changed(), changed);
        }
    }
}

} // namespace
