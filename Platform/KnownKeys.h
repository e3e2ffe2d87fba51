#pragma once

#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// Remembers for a few dozen key texts where the property list holds them, so that keys repeated over
/// thousands of objects are looked up once. A key that lands on another's slot takes its place.
class KnownKeys {
public:
    struct Entry {
        std::string text;
        std::size_t reference = 0;
        bool isKnown = false;

        [[nodiscard]] bool holds(std::string_view key) const { return isKnown && text == key; }
        void remember(std::string_view key, std::size_t keyReference) {
            text = key;
            reference = keyReference;
            isKnown = true;
        }
    };

    Entry& entryFor(std::string_view key) {
        std::size_t hash = key.size();
        if (!key.empty())
            hash = hash * 31 + std::size_t{static_cast<unsigned char>(key.front())} * 7 +
                   static_cast<unsigned char>(key.back());
        return mEntries[hash % mEntries.size()];
    }

private:
    std::array<Entry, 64> mEntries;
};

} // namespace tarn
