#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Values of an archived object that its class does not know, such as what a newer edition of the program
/// keeps in it, so that they can be written back as they are. Objects that they share among one another stay
/// shared, and circles stay circles.
class ArchivedContent {
public:
    [[nodiscard]] bool isEmpty() const { return mValues.empty(); }
    [[nodiscard]] std::size_t size() const { return mValues.size(); }

private:
    friend class KeyedArchiver;
    friend class KeyedUnarchiver;

    struct Null {};
    struct Integer {
        std::uint64_t bits = 0; ///< two's complement
        bool isNegative = false;
    };
    struct Date {
        double seconds = 0; ///< since the beginning of 2001, UTC
    };
    /// Of an object of the archive, which other values may refer to as well: its place in mObjects.
    struct Reference {
        std::size_t object = 0;
    };
    struct Value;
    struct Array {
        std::vector<Value> elements;
    };
    struct Dictionary {
        std::vector<std::string> keys;
        std::vector<Value> members; ///< as many
    };
    struct Value {
        std::variant<Null, bool, Integer, float, double, Date, std::string, std::vector<std::byte>, Reference,
                     Array, Dictionary>
            content;
    };

    std::vector<Value> mObjects;
    std::vector<std::pair<std::string, Value>> mValues; ///< by key
};

} // namespace tarn
