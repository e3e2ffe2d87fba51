#include "Platform/BinaryPropertyList.h"
#include "Platform/ClassRegistry.h"
#include "Platform/FatalError.h"
#include "Platform/KeyedArchive.h"
#include "Platform/KeyedArchiveLayout.h"
#include "Platform/KnownKeys.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <utility>

namespace tarn {

namespace {

using List = BinaryPropertyListReader;
using Type = List::Type;
using Value = List::Value;
using Code = KeyedArchiveErrorCode;

/// What a reason is about: a value under a key, or an element of the array there.
struct Subject {
    std::string_view key;
    std::optional<std::size_t> element = std::nullopt;
};

/// A class record of the archive.
struct ArchivedClass {
    std::string name;
    const ClassDescription* registered = nullptr;
};

/// An object that is being made, on the stack of the call that makes it.
struct Frame {
    Value dictionary;
    const ClassDescription* description = nullptr; ///< null for the archive's top level
    std::size_t entry = 0;
    const Frame* outer = nullptr;
    std::size_t depth = 0;
};

} // namespace

struct KeyedUnarchiver::Core {
    List list;
    Error error;
    bool hasFailed = false;
    Faults* forgiven = nullptr;                      // where faults are only counted, as in damaged archives
    Value objects;                                   // the array $objects
    std::vector<std::shared_ptr<SecureCoding>> made; // per entry of $objects
    std::unordered_map<std::size_t, ArchivedClass> classes;
    std::size_t lastClassEntry = 0;
    const ArchivedClass* lastClass = nullptr;
    Frame top;
    const Frame* frame = &top;
    KnownKeys keys;
    // Objects that overlap or are referred to again and again could multiply the work; honest ones lie side
    // by side, so their containers together take less than the archive, save a few that its writer shared.
    std::size_t containerBytesLeft;
    std::size_t copyBytesLeft;

    explicit Core(std::span<const std::byte> bytes)
        : list(bytes), containerBytesLeft(bytes.size() * 4),
          copyBytesLeft(layout::readableCopies(bytes.size())) {
        open();
    }

    void fail(Code code, const std::string& text) {
        if (hasFailed)
            return;
        if (forgiven) {
            if (forgiven->count++ == 0)
                forgiven->first = Error(kKeyedArchiveErrorDomain, static_cast<long>(code), text);
            return;
        }
        hasFailed = true;
        error = Error(kKeyedArchiveErrorDomain, static_cast<long>(code), text);
    }

    [[nodiscard]] std::string describe(const Subject& subject) const {
        std::string text = "\"" + std::string(subject.key) + "\" of ";
        if (subject.element)
            text = "Element " + std::to_string(*subject.element) + " of " + text;
        return text + (frame->description ? std::string(frame->description->name) : "the archive");
    }
    void fail(Code code, const Subject& subject, std::string_view what) {
        if (!hasFailed)
            fail(code, describe(subject) + " " + std::string(what));
    }

    void open() {
        if (!list.isValid()) {
            fail(Code::malformedPropertyList,
                 "The data are not a binary property list, or it is cut off or damaged");
            return;
        }
        const auto archive = list.value(list.topReference());
        if (!archive || archive->type != Type::dictionary) {
            fail(Code::notAKeyedArchive, "The property list is not a keyed archive");
            return;
        }
        const auto part = [&](std::string_view key, Type type) {
            auto value = member(*archive, key);
            return value && value->type == type ? value : std::nullopt;
        };
        const auto archiver = part(layout::kArchiver, Type::ascii);
        const auto version = part(layout::kVersion, Type::integer);
        const auto number = version ? list.integer(*version) : std::nullopt;
        if (!archiver || !list.equals(*archiver, layout::kArchiverName) || !number ||
            number->bits != std::uint64_t{layout::kVersionNumber}) {
            fail(Code::notAKeyedArchive, "The property list is not a keyed archive of a known version");
            return;
        }
        const auto values = part(layout::kTop, Type::dictionary);
        const auto entries = part(layout::kObjects, Type::array);
        // Each entry but $null has a UID object of its own that refers to it, so there are fewer entries than
        // objects.
        if (!values || !entries || entries->count > list.objectCount()) {
            fail(Code::damagedValue, "The keyed archive lacks its top level or its objects");
            return;
        }
        top.dictionary = *values;
        objects = *entries;
        made.resize(entries->count);
    }

    // The reference to the value under a key.
    std::optional<std::size_t> find(const Value& dictionary, std::string_view key) {
        KnownKeys::Entry& known = keys.entryFor(key);
        if (known.holds(key)) {
            for (std::size_t i = 0; i < dictionary.count; ++i) {
                if (list.reference(dictionary, i) == known.reference)
                    return list.reference(dictionary, dictionary.count + i);
            }
        }
        // Other writers may store a key's text more than once.
        for (std::size_t i = 0; i < dictionary.count; ++i) {
            const std::size_t reference = list.reference(dictionary, i);
            const auto text = list.value(reference);
            if (text && list.equals(*text, key)) {
                known.remember(key, reference);
                return list.reference(dictionary, dictionary.count + i);
            }
        }
        return std::nullopt;
    }

    std::optional<Value> member(const Value& dictionary, std::string_view key) {
        const auto reference = find(dictionary, key);
        return reference ? list.value(*reference) : std::nullopt;
    }

    std::optional<Value> entry(std::uint64_t index, const Subject& subject) {
        auto value = index < objects.count
                         ? list.value(list.reference(objects, static_cast<std::size_t>(index)))
                         : std::nullopt;
        if (!value)
            fail(Code::damagedValue, subject, "refers to an object that is not in the archive");
        return value;
    }

    // The value under a key of the object that is being made, as it stands there.
    std::optional<Value> inlineValue(std::string_view key) {
        if (hasFailed)
            return std::nullopt;
        const auto reference = find(frame->dictionary, key);
        if (!reference)
            return std::nullopt;
        auto value = list.value(*reference);
        if (!value)
            fail(Code::damagedValue, {key}, "is damaged");
        return value;
    }

    // The same, with a UID followed to what it refers to; nothing for $null.
    std::optional<Value> value(std::string_view key) {
        auto value = inlineValue(key);
        if (!value || value->type != Type::uid)
            return value;
        const std::uint64_t index = list.uid(*value);
        return index == 0 ? std::nullopt : entry(index, {key});
    }

    bool charge(std::size_t& budget, std::size_t bytes, const Subject& subject) {
        if (bytes > budget) {
            fail(Code::tooLarge, subject,
                 "holds contents that are referred to too often for the size of the archive");
            return false;
        }
        budget -= bytes;
        return true;
    }

    // The class record of an archived object.
    const ArchivedClass* classOf(const Value& object, const Subject& subject) {
        if (!charge(containerBytesLeft, list.extent(object), subject))
            return nullptr;
        const auto uid = member(object, layout::kClass);
        if (!uid || uid->type != Type::uid) {
            fail(Code::damagedValue, subject, "is an object without a class");
            return nullptr;
        }
        const std::uint64_t index = list.uid(*uid);
        if (lastClass && index == lastClassEntry)
            return lastClass;
        const auto record = entry(index, subject);
        if (!record)
            return nullptr;
        lastClassEntry = static_cast<std::size_t>(index);
        if (const auto known = classes.find(lastClassEntry); known != classes.end())
            return lastClass = &known->second;
        lastClass = nullptr;
        if (record->type == Type::dictionary && !charge(containerBytesLeft, list.extent(*record), subject))
            return nullptr;
        const auto name =
            record->type == Type::dictionary ? member(*record, layout::kClassName) : std::nullopt;
        const auto length = name ? list.textLength(*name) : std::nullopt;
        if (!length) {
            fail(Code::damagedValue, subject, "is an object with a damaged class record");
            return nullptr;
        }
        if (!charge(copyBytesLeft, *length, subject))
            return nullptr;
        ArchivedClass archived{list.text(*name, *length), nullptr};
        archived.registered = registeredClass(archived.name);
        return lastClass = &classes.emplace(lastClassEntry, std::move(archived)).first->second;
    }

    void failNotAdmitted(const Subject& subject, std::string_view name, const ClassDescription& admitted) {
        fail(Code::classNotAdmitted, subject,
             "is a " + std::string(name) + " where only " + std::string(admitted.name) + " is admitted");
    }

    std::shared_ptr<SecureCoding> object(KeyedUnarchiver& coder, const Value& uid, const Subject& subject,
                                         const ClassDescription& admitted) {
        if (uid.type != Type::uid) {
            fail(Code::wrongType, subject, "is not an object");
            return nullptr;
        }
        const std::uint64_t index = list.uid(uid);
        if (index == 0)
            return nullptr;
        const auto dictionary = entry(index, subject);
        if (!dictionary)
            return nullptr;
        auto& result = made[static_cast<std::size_t>(index)];
        if (!result)
            result = makeObject(coder, static_cast<std::size_t>(index), *dictionary, subject, admitted);
        if (result && !result->dynamicClass().isKindOf(admitted)) {
            failNotAdmitted(subject, result->className(), admitted);
            return nullptr;
        }
        return result;
    }

    std::shared_ptr<SecureCoding> makeObject(KeyedUnarchiver& coder, std::size_t index,
                                             const Value& dictionary, const Subject& subject,
                                             const ClassDescription& admitted) {
        if (dictionary.type != Type::dictionary) {
            fail(Code::wrongType, subject, "is not an object");
            return nullptr;
        }
        for (const Frame* f = frame; f; f = f->outer) {
            if (f->description && f->entry == index) {
                fail(Code::referenceCycle, subject, "refers back to an object that contains it");
                return nullptr;
            }
        }
        if (frame->depth == kKeyedArchiveMaximumDepth) {
            fail(Code::nestedTooDeep, subject, "is nested too deep");
            return nullptr;
        }
        const ArchivedClass* archived = classOf(dictionary, subject);
        if (!archived)
            return nullptr;
        const ClassDescription* description =
            archived->name == admitted.name ? &admitted : archived->registered;
        if (!description || !description->make || !description->isKindOf(admitted)) {
            failNotAdmitted(subject, archived->name, admitted);
            return nullptr;
        }

        struct Scope { // the maker may throw
            Core& core;
            const Frame* outer;
            ~Scope() { core.frame = outer; }
        };
        std::shared_ptr<SecureCoding> object;
        {
            const Frame inner{dictionary, description, index, frame, frame->depth + 1};
            const Scope scope{*this, std::exchange(frame, &inner)};
            object = description->make(coder);
        }
        if (hasFailed)
            return nullptr;
        if (!object)
            fail(Code::missingObject, subject,
                 "cannot be made: a value of " + std::string(description->name) + " is missing or not valid");
        return object;
    }

    // The content of a text or data object: the value itself, or what a string or data object holds under
    // `contentKey`.
    std::optional<Value> content(std::string_view key, std::string_view className,
                                 std::string_view mutableClassName, std::string_view contentKey) {
        const auto found = value(key);
        if (!found || found->type != Type::dictionary)
            return found;
        const ArchivedClass* archived = classOf(*found, {key});
        if (!archived)
            return std::nullopt;
        auto inside = member(*found, contentKey);
        if (!inside || (archived->name != className && archived->name != mutableClassName)) {
            fail(Code::wrongType, {key},
                 "is a " + archived->name + " where a " + std::string(className) + " belongs");
            return std::nullopt;
        }
        return inside;
    }

    std::optional<List::Integer> integer(std::string_view key) {
        const auto found = value(key);
        if (!found)
            return std::nullopt;
        if (found->type != Type::integer) {
            fail(Code::wrongType, {key}, "is not an integer");
            return std::nullopt;
        }
        const auto number = list.integer(*found);
        if (!number)
            failOutOfRange(key);
        return number;
    }

    void failOutOfRange(std::string_view key) { fail(Code::outOfRange, {key}, "is a number out of range"); }
};

KeyedUnarchiver::KeyedUnarchiver(std::span<const std::byte> bytes) : mCore(std::make_unique<Core>(bytes)) {}
KeyedUnarchiver::~KeyedUnarchiver() = default;

bool KeyedUnarchiver::isSalvaging() const {
    return mCore->forgiven != nullptr;
}
bool KeyedUnarchiver::failed() const {
    return mCore->hasFailed;
}
const Error& KeyedUnarchiver::error() const {
    return mCore->error;
}

std::shared_ptr<SecureCoding> KeyedUnarchiver::unarchivedObject(std::span<const std::byte> bytes,
                                                                const ClassDescription& admitted,
                                                                Error* error) {
    KeyedUnarchiver coder(bytes);
    auto root = coder.decodeObject(layout::kRoot, admitted);
    if (!root)
        coder.mCore->fail(Code::missingObject, "The archive has no root object");
    if (!root && error)
        *error = coder.error();
    return root;
}

std::shared_ptr<SecureCoding> KeyedUnarchiver::salvagedObject(std::span<const std::byte> bytes,
                                                              const ClassDescription& admitted,
                                                              Faults& faults) {
    KeyedUnarchiver coder(bytes);
    if (coder.failed()) {
        faults = {1, coder.error()};
        return nullptr;
    }
    coder.mCore->forgiven = &faults;
    return coder.decodeObject(layout::kRoot, admitted);
}

/// Copies values out of an archive, each object once.
class KeyedUnarchiver::ContentReader {
public:
    ContentReader(Core& core, ArchivedContent& content)
        : mCore(core), mContent(content), mMembersLeft(core.list.size() / kBytesPerMember) {}

    /// The value under a key, with all objects that it refers to. Nothing where the archive fails; what was
    /// copied of it until then is forgotten.
    std::optional<ArchivedContent::Value> valueWithObjects(std::size_t reference, std::string_view key) {
        const std::size_t known = mEntries.size();
        auto copied = value(reference, key);
        if (copied && copyObjects(key))
            return copied;
        std::erase_if(mObjectOfEntry, [&](const auto& object) { return object.second >= known; });
        mEntries.resize(known);
        mContent.mObjects.resize(known);
        mNext = known;
        return std::nullopt;
    }

private:
    using Archived = ArchivedContent;

    /// Nothing where the archive fails.
    std::optional<ArchivedContent::Value> value(std::size_t reference, std::string_view key, int depth = 0) {
        constexpr int kDeepest = 64; // of values within values; objects are not nested but referred to
        const auto found = mCore.list.value(reference);
        if (!found) {
            mCore.fail(Code::damagedValue, {key}, "is damaged");
            return std::nullopt;
        }
        if (depth > kDeepest) {
            mCore.fail(Code::nestedTooDeep, {key}, "is nested too deep");
            return std::nullopt;
        }
        return ofType(*found, key, depth);
    }

    /// Copies the objects that were referred to, and those that they refer to.
    bool copyObjects(std::string_view key) {
        for (; mNext < mEntries.size(); ++mNext) {
            auto copied = value(mCore.list.reference(mCore.objects, mEntries[mNext]), key);
            if (!copied)
                return false;
            mContent.mObjects[mNext] = *std::move(copied);
        }
        return true;
    }

    std::optional<Archived::Value> ofType(const Value& found, std::string_view key, int depth) {
        switch (found.type) {
        case Type::null:
            return Archived::Value{Archived::Null()};
        case Type::boolean:
            return Archived::Value{found.count != 0};
        case Type::integer: {
            const auto number = mCore.list.integer(found);
            if (!number)
                mCore.failOutOfRange(key);
            return number
                       ? std::optional(Archived::Value{Archived::Integer{number->bits, number->isNegative}})
                       : std::nullopt;
        }
        case Type::real: {
            const double number = mCore.list.real(found);
            return found.count == sizeof(float) ? Archived::Value{static_cast<float>(number)}
                                                : Archived::Value{number};
        }
        case Type::date:
            return Archived::Value{Archived::Date{mCore.list.real({Type::real, found.position, 8})}};
        case Type::data: {
            if (!mCore.charge(mCore.copyBytesLeft, found.count, {key}))
                return std::nullopt;
            const auto bytes = mCore.list.data(found);
            return Archived::Value{std::vector<std::byte>(bytes.begin(), bytes.end())};
        }
        case Type::ascii:
        case Type::utf16: {
            auto copied = text(found, key);
            return copied ? std::optional(Archived::Value{*std::move(copied)}) : std::nullopt;
        }
        case Type::uid:
            return objectAt(mCore.list.uid(found), key);
        case Type::array:
            return array(found, key, depth);
        case Type::dictionary:
            return dictionary(found, key, depth);
        }
        fatalError("This is not a type of a property list");
    }

    std::optional<std::string> text(const Value& found, std::string_view key) {
        const auto length = mCore.list.textLength(found);
        if (!length)
            mCore.fail(Code::damagedValue, {key}, "is not a well-formed text");
        if (!length || !mCore.charge(mCore.copyBytesLeft, *length, {key}))
            return std::nullopt;
        return mCore.list.text(found, *length);
    }

    std::optional<Archived::Value> objectAt(std::uint64_t index, std::string_view key) {
        if (index == 0)
            return Archived::Value{Archived::Null()};
        if (!mCore.entry(index, {key}))
            return std::nullopt;
        const auto [known, isNew] = mObjectOfEntry.emplace(index, mEntries.size());
        if (isNew) {
            mEntries.push_back(static_cast<std::size_t>(index));
            mContent.mObjects.emplace_back();
        }
        return Archived::Value{Archived::Reference{known->second}};
    }

    std::optional<Archived::Value> array(const Value& found, std::string_view key, int depth) {
        if (!mCore.charge(mCore.containerBytesLeft, mCore.list.extent(found), {key}) ||
            !mCore.charge(mMembersLeft, found.count, {key}))
            return std::nullopt;
        Archived::Array array;
        array.elements.reserve(found.count);
        for (std::size_t i = 0; i < found.count; ++i) {
            auto element = value(mCore.list.reference(found, i), key, depth + 1);
            if (!element)
                return std::nullopt;
            array.elements.push_back(*std::move(element));
        }
        return Archived::Value{std::move(array)};
    }

    std::optional<Archived::Value> dictionary(const Value& found, std::string_view key, int depth) {
        if (!mCore.charge(mCore.containerBytesLeft, mCore.list.extent(found), {key}) ||
            !mCore.charge(mMembersLeft, found.count, {key}))
            return std::nullopt;
        Archived::Dictionary dictionary;
        dictionary.keys.reserve(found.count);
        dictionary.members.reserve(found.count);
        for (std::size_t i = 0; i < found.count; ++i) {
            const auto name = mCore.list.value(mCore.list.reference(found, i));
            if (!name || (name->type != Type::ascii && name->type != Type::utf16)) {
                mCore.fail(Code::damagedValue, {key}, "holds a key that is not a text");
                return std::nullopt;
            }
            auto copiedName = text(*name, key);
            auto member = value(mCore.list.reference(found, found.count + i), key, depth + 1);
            if (!copiedName || !member)
                return std::nullopt;
            dictionary.keys.push_back(*std::move(copiedName));
            dictionary.members.push_back(*std::move(member));
        }
        return Archived::Value{std::move(dictionary)};
    }

    Core& mCore;
    ArchivedContent& mContent;
    std::unordered_map<std::uint64_t, std::size_t> mObjectOfEntry;
    std::vector<std::size_t> mEntries; ///< of the archive, for each of the content's objects
    std::size_t mNext = 0;             ///< the first whose object has not been copied
    /// A copied member takes some forty bytes, in an archive one to eight: an honest archive, whose members
    /// are mostly values of their own, has far fewer than this.
    static constexpr std::size_t kBytesPerMember = 3;
    std::size_t mMembersLeft;
};

ArchivedContent KeyedUnarchiver::decodeContentBesides(std::span<const std::string_view> keys) {
    Core& core = *mCore;
    ArchivedContent content;
    ContentReader reader(core, content);
    const Value object = core.frame->dictionary;
    for (std::size_t i = 0; i < object.count && !core.hasFailed; ++i) {
        const auto text = core.list.value(core.list.reference(object, i));
        const auto length = text ? core.list.textLength(*text) : std::nullopt;
        if (!length || !core.charge(core.copyBytesLeft, *length, {"a key"}))
            continue;
        const std::string key = core.list.text(*text, *length);
        if (key == layout::kClass || std::ranges::find(keys, key) != keys.end())
            continue;
        auto value = reader.valueWithObjects(core.list.reference(object, object.count + i), key);
        if (value)
            content.mValues.emplace_back(key, *std::move(value));
    }
    return core.hasFailed ? ArchivedContent() : content;
}

bool KeyedUnarchiver::containsValue(std::string_view key) const {
    return !mCore->hasFailed && mCore->find(mCore->frame->dictionary, key).has_value();
}

std::shared_ptr<SecureCoding> KeyedUnarchiver::decodeObject(std::string_view key,
                                                            const ClassDescription& admitted) {
    const auto value = mCore->inlineValue(key);
    return value ? mCore->object(*this, *value, {key}, admitted) : nullptr;
}

std::optional<KeyedUnarchiver::Array> KeyedUnarchiver::openArray(std::string_view key) {
    Core& core = *mCore;
    const auto object = core.value(key);
    if (!object)
        return std::nullopt;
    const ArchivedClass* archived = object->type == Type::dictionary ? core.classOf(*object, {key}) : nullptr;
    const auto elements = archived ? core.member(*object, layout::kArrayElements) : std::nullopt;
    if (!elements || elements->type != Type::array ||
        (archived->name != layout::kArrayClass && archived->name != layout::kMutableArrayClass)) {
        core.fail(Code::wrongType, {key}, "is not an array");
        return std::nullopt;
    }
    if (!core.charge(core.containerBytesLeft, core.list.extent(*elements), {key}))
        return std::nullopt;
    return Array{key, elements->position, elements->count};
}

std::shared_ptr<SecureCoding> KeyedUnarchiver::element(const Array& array, std::size_t index,
                                                       const ClassDescription& admitted,
                                                       const LeftOut& leftOut) {
    Core& core = *mCore;
    const Subject subject{array.key, index};
    const auto value =
        core.list.value(core.list.reference({Type::array, array.position, array.count}, index));
    if (!value) {
        core.fail(Code::damagedValue, subject, "is damaged");
        return nullptr;
    }
    auto object = core.object(*this, *value, subject, admitted);
    if (object)
        return object;
    // The archive had not failed before, or it would not have been opened here.
    if (leftOut && core.hasFailed && core.error.code == static_cast<long>(Code::missingObject)) {
        core.hasFailed = false;
        leftOut(std::exchange(core.error, Error()));
    } else {
        core.fail(Code::wrongType, subject, "is empty");
    }
    return nullptr;
}

std::optional<std::string> KeyedUnarchiver::decodeString(std::string_view key) {
    Core& core = *mCore;
    const auto text =
        core.content(key, layout::kStringClass, layout::kMutableStringClass, layout::kStringContent);
    if (!text)
        return std::nullopt;
    if (text->type != Type::ascii && text->type != Type::utf16) {
        core.fail(Code::wrongType, {key}, "is not a text");
        return std::nullopt;
    }
    const auto length = core.list.textLength(*text);
    if (!length) {
        core.fail(Code::damagedValue, {key}, "is not a well-formed text");
        return std::nullopt;
    }
    if (!core.charge(core.copyBytesLeft, *length, {key}))
        return std::nullopt;
    return core.list.text(*text, *length);
}

std::optional<Data> KeyedUnarchiver::decodeData(std::string_view key) {
    Core& core = *mCore;
    const auto data = core.content(key, layout::kDataClass, layout::kMutableDataClass, layout::kDataContent);
    if (!data)
        return std::nullopt;
    if (data->type != Type::data) {
        core.fail(Code::wrongType, {key}, "is not data");
        return std::nullopt;
    }
    if (!core.charge(core.copyBytesLeft, data->count, {key}))
        return std::nullopt;
    const auto bytes = core.list.data(*data);
    return Data(bytes.begin(), bytes.end());
}

std::optional<std::int64_t> KeyedUnarchiver::decodeInt(std::string_view key) {
    const auto number = mCore->integer(key);
    if (!number)
        return std::nullopt;
    if (!number->isNegative && number->bits > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
        mCore->failOutOfRange(key);
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number->bits);
}

std::optional<std::uint64_t> KeyedUnarchiver::decodeUnsigned(std::string_view key) {
    const auto number = mCore->integer(key);
    if (!number)
        return std::nullopt;
    if (number->isNegative) {
        mCore->failOutOfRange(key);
        return std::nullopt;
    }
    return number->bits;
}

std::optional<std::uint8_t> KeyedUnarchiver::decodeUInt8(std::string_view key) {
    const auto number = decodeUnsigned(key);
    if (!number)
        return std::nullopt;
    if (*number > std::numeric_limits<std::uint8_t>::max()) {
        mCore->failOutOfRange(key);
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(*number);
}

std::optional<double> KeyedUnarchiver::decodeDouble(std::string_view key) {
    Core& core = *mCore;
    const auto value = core.value(key);
    if (!value)
        return std::nullopt;
    if (value->type == Type::real)
        return core.list.real(*value);
    const auto number = core.integer(key);
    if (!number)
        return std::nullopt;
    return number->isNegative ? static_cast<double>(static_cast<std::int64_t>(number->bits))
                              : static_cast<double>(number->bits);
}

std::optional<float> KeyedUnarchiver::decodeFloat(std::string_view key) {
    const auto number = decodeDouble(key);
    if (!number)
        return std::nullopt;
    if (std::isfinite(*number) && std::abs(*number) > double{std::numeric_limits<float>::max()}) {
        mCore->failOutOfRange(key);
        return std::nullopt;
    }
    return static_cast<float>(*number);
}

std::optional<bool> KeyedUnarchiver::decodeBool(std::string_view key) {
    Core& core = *mCore;
    const auto value = core.value(key);
    if (!value)
        return std::nullopt;
    if (value->type == Type::boolean)
        return value->count != 0;
    const auto number = core.integer(key);
    if (!number)
        return std::nullopt;
    if (number->bits > 1) {
        core.failOutOfRange(key);
        return std::nullopt;
    }
    return number->bits == 1;
}

} // namespace tarn
