#pragma once

#include "Platform/ArchivedContent.h"
#include "Platform/Error.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Keyed archives with secure coding: objects written under text keys into a binary property list in the
/// layout of the desktop platform's keyed archiver ($archiver, $version, $top, $objects with class records
/// and UID references, absent values as $null), so that stock property-list tools open them.
///
/// The reader trusts nothing: every offset, count, reference, depth and class is checked before use, cycles
/// end, only classes that the caller admits are made, and malformed bytes give no object and a reason. Each
/// archived object is made once at most, and time and memory stay within a small multiple of the archive's
/// size.
namespace TARN_PUBLIC tarn {

using Data = std::vector<std::byte>;

/// The domain and the codes of the errors that an unarchiver gives.
inline constexpr const char* kKeyedArchiveErrorDomain = "TarnKeyedArchiveErrorDomain";
enum class KeyedArchiveErrorCode : long {
    malformedPropertyList = 1, ///< not a binary property list, or its frame is damaged
    notAKeyedArchive,          ///< a property list of another layout or version
    damagedValue,              ///< a reference, extent or text that is not well-formed
    wrongType,                 ///< a value of another type than was asked for
    outOfRange,                ///< a number that the type asked for cannot hold
    classNotAdmitted,          ///< an object of a class that is unknown here or not admitted there
    referenceCycle,            ///< an object that contains itself
    nestedTooDeep,             ///< more than kKeyedArchiveMaximumDepth objects inside one another
    tooLarge, ///< contents referred to so often that they exceed the archive's size out of all proportion
    missingObject, ///< no root object, or an object whose class could not make it
};

/// Objects may lie this deep inside one another, the root included. Archiving deeper ones aborts.
inline constexpr std::size_t kKeyedArchiveMaximumDepth = 256;

class KeyedArchiver;
class KeyedUnarchiver;
class SecureCoding;

/// What an archive needs to know of a class: its name, its base class, and how to make an object from an
/// archive. One constant per class, returned by its static `classDescription()`; identity is the address.
struct ClassDescription {
    std::string_view name;
    const ClassDescription* superclass = nullptr;
    /// Makes an object from the archive, or returns nothing when a value of it is missing or not valid.
    std::shared_ptr<SecureCoding> (*make)(KeyedUnarchiver& coder) = nullptr;

    [[nodiscard]] bool isKindOf(const ClassDescription& other) const {
        for (const auto* c = this; c; c = c->superclass) {
            if (c == &other)
                return true;
        }
        return false;
    }
};

/// An object that can be archived. Each class offers `static const ClassDescription& classDescription()`.
class SecureCoding {
public:
    virtual ~SecureCoding() = default;
    [[nodiscard]] virtual const ClassDescription& dynamicClass() const = 0;
    virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;

    [[nodiscard]] std::string_view className() const { return dynamicClass().name; }
    static constexpr bool supportsSecureCoding() { return true; }
};

/// Makes a class known by name, so that an archive may hold it where a base class is admitted.
/// Registering it again has no effect; two classes with one name abort. Thread-safe.
void registerClass(const ClassDescription& description);

/// Writes one object graph. An object met twice is written once, and so are equal numbers and strings. Keys
/// are ASCII text that does not begin with "$" and is used once in an object; anything else aborts, and so
/// does an object that contains itself.
class KeyedArchiver {
public:
    KeyedArchiver();
    ~KeyedArchiver();
    KeyedArchiver(const KeyedArchiver&) = delete;
    KeyedArchiver& operator=(const KeyedArchiver&) = delete;

    /// Archives one root object under the key "root".
    static Data archivedData(const std::shared_ptr<const SecureCoding>& root);

    void encodeObject(std::string_view key,
                      const std::shared_ptr<const SecureCoding>& object); ///< null writes $null
    /// Any range of shared pointers; an empty pointer among them aborts.
    template <typename List>
    void encodeObjects(std::string_view key, const List& objects) {
        const std::size_t start = beginArray();
        for (const auto& object : objects)
            appendToArray(object);
        endArray(key, start);
    }
    /// UTF-8, nothing writes $null. Ill-formed sequences are written as U+FFFD, so that no text makes a
    /// document unreadable.
    void encodeString(std::string_view key, const std::optional<std::string>& text);
    void encodeData(std::string_view key, std::span<const std::byte> bytes);
    void encodeInt(std::string_view key, std::int64_t value);
    void encodeUnsigned(std::string_view key, std::uint64_t value); ///< the whole unsigned range survives
    void encodeFloat(std::string_view key, float value);
    void encodeDouble(std::string_view key, double value);
    void encodeBool(std::string_view key, bool value);
    /// Values that another archive held, each under its key.
    void encodeContent(const ArchivedContent& content);

    /// Ends the archive and returns its bytes. Nothing may be encoded afterwards.
    Data finishEncoding();

private:
    std::uint32_t contentReference(const ArchivedContent::Value& value,
                                   std::vector<std::uint32_t>& entryOfObject);
    std::size_t beginArray();
    void appendToArray(std::shared_ptr<const SecureCoding> object);
    void endArray(std::string_view key, std::size_t start);

    struct Core;
    std::unique_ptr<Core> mCore;
};

/// Reads an archive. A missing key reads as nothing; a value that is there but damaged, of another type or of
/// a class that is not admitted fails the archive: `error()` then holds the reason, everything read
/// afterwards is nothing, and the object under construction and all around it come back as nothing.
class KeyedUnarchiver {
public:
    /// Checks the whole frame of the property list; on damage the unarchiver starts out failed.
    explicit KeyedUnarchiver(std::span<const std::byte> bytes); ///< the bytes must outlive the unarchiver
    ~KeyedUnarchiver();
    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

    /// The root object if it is a T or a subclass of it; else nothing and a reason (when `error` is given).
    template <typename T>
    static std::shared_ptr<T> unarchivedObject(std::span<const std::byte> bytes, Error* error = nullptr) {
        return std::static_pointer_cast<T>(unarchivedObject(bytes, T::classDescription(), error));
    }

    /// The same from an archive that may be damaged: what cannot be read counts as missing, and the rest is
    /// read. `faults` receives how much that was and the first reason. Nothing when not even the root object
    /// could be made.
    struct Faults {
        std::size_t count = 0;
        Error first;
    };
    template <typename T>
    static std::shared_ptr<T> salvagedObject(std::span<const std::byte> bytes, Faults& faults) {
        return std::static_pointer_cast<T>(salvagedObject(bytes, T::classDescription(), faults));
    }

    /// Whether the key is there, even if its value is $null.
    [[nodiscard]] bool containsValue(std::string_view key) const;

    /// The object under the key, of class T or a subclass that is known by registerClass.
    template <typename T>
    std::shared_ptr<T> decodeObject(std::string_view key) {
        return std::static_pointer_cast<T>(decodeObject(key, T::classDescription()));
    }
    /// Called with the reason why an element of an array was left out.
    using LeftOut = std::function<void(const Error& reason)>;
    /// An array whose elements are all T or subclasses; nothing when the key is missing. An element that is
    /// not admitted or does not decode fails the archive. With `leftOut`, an element that its class cannot
    /// make, because a value of it or of an object in it is missing or not valid (missingObject), is left out
    /// instead; an archive that is damaged in any other way still fails.
    template <typename T>
    std::optional<std::vector<std::shared_ptr<T>>> decodeObjects(std::string_view key,
                                                                 const LeftOut& leftOut = {}) {
        const auto array = openArray(key);
        if (!array)
            return std::nullopt;
        std::vector<std::shared_ptr<T>> objects;
        objects.reserve(array->count);
        for (std::size_t i = 0; i < array->count; ++i) {
            auto object = element(*array, i, T::classDescription(), leftOut);
            if (failed())
                return std::nullopt;
            if (object)
                objects.push_back(std::static_pointer_cast<T>(std::move(object)));
        }
        return objects;
    }
    std::optional<std::string> decodeString(std::string_view key);
    std::optional<Data> decodeData(std::string_view key);
    /// Integers: a number that the type cannot hold fails the archive. A Boolean is not a number.
    std::optional<std::int64_t> decodeInt(std::string_view key);
    std::optional<std::uint64_t> decodeUnsigned(std::string_view key);
    std::optional<std::uint8_t> decodeUInt8(std::string_view key);
    /// Reals; integers are admitted. A finite number beyond the range of float fails the archive.
    std::optional<float> decodeFloat(std::string_view key);
    std::optional<double> decodeDouble(std::string_view key);
    std::optional<bool> decodeBool(std::string_view key); ///< a number 0 or 1 is admitted
    /// What the object that is being made holds under other keys than these.
    ArchivedContent decodeContentBesides(std::span<const std::string_view> keys);

    /// Whether faults are only counted, as when an archive is salvaged: what is missing may be made up for.
    [[nodiscard]] bool isSalvaging() const;
    [[nodiscard]] bool failed() const;
    [[nodiscard]] const Error& error() const;

private:
    static std::shared_ptr<SecureCoding> unarchivedObject(std::span<const std::byte> bytes,
                                                          const ClassDescription& admitted, Error* error);
    static std::shared_ptr<SecureCoding> salvagedObject(std::span<const std::byte> bytes,
                                                        const ClassDescription& admitted, Faults& faults);
    std::shared_ptr<SecureCoding> decodeObject(std::string_view key, const ClassDescription& admitted);

    struct Array {
        std::string_view key;
        std::size_t position = 0;
        std::size_t count = 0;
    };
    std::optional<Array> openArray(std::string_view key);
    std::shared_ptr<SecureCoding> element(const Array& array, std::size_t index,
                                          const ClassDescription& admitted, const LeftOut& leftOut);

    struct Core;
    class ContentReader;
    std::unique_ptr<Core> mCore;
};

} // namespace tarn
