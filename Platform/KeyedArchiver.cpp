#include "Platform/BinaryPropertyList.h"
#include "Platform/FatalError.h"
#include "Platform/IntegerTable.h"
#include "Platform/KeyedArchive.h"
#include "Platform/KeyedArchiveLayout.h"
#include "Platform/KnownKeys.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>
#include <variant>

namespace tarn {

namespace {

using Reference = BinaryPropertyListWriter::Reference;

} // namespace

struct KeyedArchiver::Core {
    struct WrittenClass {
        const ClassDescription* description;
        Reference uid;
    };

    BinaryPropertyListWriter list;
    std::vector<Reference> objects;   // the entries of $objects
    std::vector<Reference> entryUIDs; // per entry the UID object that refers to it
    IntegerTable entryOfObject;       // by address
    IntegerTable entryOfString;       // by the string's reference
    std::size_t textCopied = 0;       // what a reader copies when it decodes all strings
    std::vector<std::shared_ptr<const SecureCoding>>
        written;                     // kept alive, so that no address comes back as another object
    std::vector<std::uint32_t> open; // the entries of the objects that are being written, outermost first
    std::vector<Reference> stack; // key and value references of those objects, and elements of their arrays
    std::size_t frame = 0;        // where the innermost object's begin
    std::vector<WrittenClass> classes;
    Reference classKey = 0;
    Reference arrayClass = 0; // 0 until the first array
    KnownKeys keys;
    bool isFinished = false;

    Core() {
        newEntry(list.addString(layout::kNull));
        classKey = list.addString(layout::kClass);
    }

    std::uint32_t newEntry(Reference reference) {
        precondition(objects.size() < std::numeric_limits<std::uint32_t>::max(),
                     "An archive holds too many objects");
        const auto entry = static_cast<std::uint32_t>(objects.size());
        objects.push_back(reference);
        entryUIDs.push_back(list.addUID(entry));
        return entry;
    }

    Reference null() const { return entryUIDs.front(); }

    Reference keyReference(std::string_view key) {
        KnownKeys::Entry& known = keys.entryFor(key);
        if (!known.holds(key)) {
            precondition(
                std::ranges::all_of(key, [](char c) { return static_cast<unsigned char>(c) < 0x80; }) &&
                    !key.starts_with('$'),
                "An archive key is not ASCII text or begins with $");
            known.remember(key, list.addString(key));
        }
        return static_cast<Reference>(known.reference);
    }

    void put(std::string_view key, Reference value) {
        precondition(!isFinished, "Encoding into a finished archive");
        const Reference reference = keyReference(key);
        for (std::size_t i = frame; i < stack.size(); i += 2) {
            if (stack[i] == reference)
                fatalError("The key \"" + std::string(key) + "\" is encoded twice in one object");
        }
        stack.push_back(reference);
        stack.push_back(value);
    }

    Reference newClass(std::string_view name, const ClassDescription* superclass) {
        std::vector<Reference> names{list.addString(name)};
        for (; superclass; superclass = superclass->superclass)
            names.push_back(list.addString(superclass->name));
        names.push_back(list.addString(layout::kBaseClass));
        const Reference record[] = {list.addString(layout::kClassName), names.front(),
                                    list.addString(layout::kClasses), list.addArray(names)};
        return entryUIDs[newEntry(list.addDictionary(record))];
    }

    Reference classUID(const ClassDescription& description) {
        for (auto i = classes.rbegin(); i != classes.rend(); ++i) {
            if (i->description == &description)
                return i->uid;
        }
        classes.push_back({&description, newClass(description.name, description.superclass)});
        return classes.back().uid;
    }

    void pushClass(Reference uid) {
        stack.push_back(classKey);
        stack.push_back(uid);
    }

    Reference objectUID(KeyedArchiver& archiver, std::shared_ptr<const SecureCoding>&& object) {
        precondition(!isFinished, "Encoding into a finished archive");
        // Objects mostly lie at multiples of 16.
        const auto address = std::rotr(std::uint64_t{reinterpret_cast<std::uintptr_t>(object.get())}, 4);
        const auto [entry, isKnown] = entryOfObject.insert(address, objects.size());
        if (isKnown) {
            precondition(std::ranges::find(open, entry) == open.end(), "An archived object contains itself");
            return entryUIDs[entry];
        }
        precondition(open.size() < kKeyedArchiveMaximumDepth, "Archived objects are nested too deep");
        newEntry(0); // replaced when the object is complete
        const SecureCoding& content = *object;
        written.push_back(std::move(object));
        open.push_back(static_cast<std::uint32_t>(entry));
        const std::size_t outer = std::exchange(frame, stack.size());
        pushClass(classUID(content.dynamicClass()));
        content.encodeWithCoder(archiver);
        objects[entry] = list.addDictionary(std::span(stack).subspan(frame));
        stack.resize(frame);
        frame = outer;
        open.pop_back();
        return entryUIDs[entry];
    }
};

KeyedArchiver::KeyedArchiver() : mCore(std::make_unique<Core>()) {}
KeyedArchiver::~KeyedArchiver() = default;

Data KeyedArchiver::archivedData(const std::shared_ptr<const SecureCoding>& root) {
    KeyedArchiver archiver;
    archiver.encodeObject(layout::kRoot, root);
    return archiver.finishEncoding();
}

void KeyedArchiver::encodeObject(std::string_view key, const std::shared_ptr<const SecureCoding>& object) {
    mCore->put(key, object ? mCore->objectUID(*this, std::shared_ptr(object)) : mCore->null());
}

std::size_t KeyedArchiver::beginArray() {
    return mCore->stack.size();
}

void KeyedArchiver::appendToArray(std::shared_ptr<const SecureCoding> object) {
    precondition(object != nullptr, "An archived array has an empty element");
    mCore->stack.push_back(mCore->objectUID(*this, std::move(object)));
}

void KeyedArchiver::endArray(std::string_view key, std::size_t start) {
    Core& core = *mCore;
    const Reference elements = core.list.addArray(std::span(core.stack).subspan(start));
    core.stack.resize(start);
    if (core.arrayClass == 0)
        core.arrayClass = core.newClass(layout::kArrayClass, nullptr);
    core.pushClass(core.arrayClass);
    core.stack.push_back(core.list.addString(layout::kArrayElements));
    core.stack.push_back(elements);
    const Reference array = core.list.addDictionary(std::span(core.stack).subspan(start));
    core.stack.resize(start);
    core.put(key, core.entryUIDs[core.newEntry(array)]);
}

void KeyedArchiver::encodeString(std::string_view key, const std::optional<std::string>& text) {
    Core& core = *mCore;
    if (!text) {
        core.put(key, core.null());
        return;
    }
    const auto next = static_cast<std::uint32_t>(core.objects.size());
    const Reference reference = core.list.addString(*text);
    const auto [entry, isKnown] = core.entryOfString.insert(reference, next);
    core.textCopied += text->size();
    if (!isKnown) {
        core.newEntry(reference);
        core.put(key, core.entryUIDs[entry]);
    } else if (core.textCopied <= layout::writableCopies(core.list.size())) {
        core.put(key, core.entryUIDs[entry]);
    } else {
        // A long text repeated thousands of times: a reader could not tell it from an attack.
        core.put(key, core.entryUIDs[core.newEntry(core.list.addStringCopy(*text))]);
    }
}

void KeyedArchiver::encodeData(std::string_view key, std::span<const std::byte> bytes) {
    mCore->put(key, mCore->entryUIDs[mCore->newEntry(mCore->list.addData(bytes))]);
}

void KeyedArchiver::encodeInt(std::string_view key, std::int64_t value) {
    mCore->put(key, mCore->list.addInteger(value));
}

void KeyedArchiver::encodeUnsigned(std::string_view key, std::uint64_t value) {
    mCore->put(key, mCore->list.addUnsigned(value));
}

void KeyedArchiver::encodeFloat(std::string_view key, float value) {
    mCore->put(key, mCore->list.addFloat(value));
}

void KeyedArchiver::encodeDouble(std::string_view key, double value) {
    mCore->put(key, mCore->list.addDouble(value));
}

void KeyedArchiver::encodeBool(std::string_view key, bool value) {
    mCore->put(key, mCore->list.addBool(value));
}

std::uint32_t KeyedArchiver::contentReference(const ArchivedContent::Value& value,
                                              std::vector<std::uint32_t>& entryOfObject) {
    Core& core = *mCore;
    BinaryPropertyListWriter& list = core.list;
    struct Writer {
        KeyedArchiver& archiver;
        Core& core;
        BinaryPropertyListWriter& list;
        std::vector<std::uint32_t>& entryOfObject;

        Reference operator()(const ArchivedContent::Null&) const { return core.null(); }
        Reference operator()(bool flag) const { return list.addBool(flag); }
        Reference operator()(const ArchivedContent::Integer& number) const {
            return number.isNegative ? list.addInteger(static_cast<std::int64_t>(number.bits))
                                     : list.addUnsigned(number.bits);
        }
        Reference operator()(float number) const { return list.addFloat(number); }
        Reference operator()(double number) const { return list.addDouble(number); }
        Reference operator()(const ArchivedContent::Date& date) const { return list.addDate(date.seconds); }
        Reference operator()(const std::string& text) const { return list.addString(text); }
        Reference operator()(const std::vector<std::byte>& bytes) const { return list.addData(bytes); }
        Reference operator()(const ArchivedContent::Reference& reference) const {
            auto& entry = entryOfObject[reference.object];
            if (entry == 0)
                entry = core.newEntry(0); // replaced when the object is written
            return core.entryUIDs[entry];
        }
        Reference operator()(const ArchivedContent::Array& array) const {
            std::vector<Reference> elements;
            elements.reserve(array.elements.size());
            for (const auto& element : array.elements)
                elements.push_back(archiver.contentReference(element, entryOfObject));
            return list.addArray(elements);
        }
        Reference operator()(const ArchivedContent::Dictionary& dictionary) const {
            std::vector<Reference> pairs;
            pairs.reserve(2 * dictionary.members.size());
            for (std::size_t i = 0; i < dictionary.keys.size(); ++i) {
                pairs.push_back(list.addString(dictionary.keys[i]));
                pairs.push_back(archiver.contentReference(dictionary.members[i], entryOfObject));
            }
            return list.addDictionary(pairs);
        }
    };
    return std::visit(Writer{*this, core, list, entryOfObject}, value.content);
}

void KeyedArchiver::encodeContent(const ArchivedContent& content) {
    Core& core = *mCore;
    std::vector<std::uint32_t> entryOfObject(content.mObjects.size()); // 0: not referred to yet
    for (const auto& [key, value] : content.mValues) {
        core.stack.push_back(core.list.addString(key));
        core.stack.push_back(contentReference(value, entryOfObject));
    }
    // Objects stand in the order in which they are first referred to, by values or by earlier objects.
    for (std::size_t i = 0; i < entryOfObject.size(); ++i) {
        const Reference written = contentReference(content.mObjects[i], entryOfObject);
        precondition(entryOfObject[i] != 0, "Nothing refers to an object of archived content");
        core.objects[entryOfObject[i]] = written;
    }
}

Data KeyedArchiver::finishEncoding() {
    Core& core = *mCore;
    precondition(!core.isFinished, "An archive is finished twice");
    precondition(core.open.empty(), "An archive is finished while an object is being encoded");
    core.isFinished = true;
    BinaryPropertyListWriter& list = core.list;
    const Reference top = list.addDictionary(core.stack);
    const Reference archive[] = {
        list.addString(layout::kVersion),  list.addInteger(layout::kVersionNumber),
        list.addString(layout::kArchiver), list.addString(layout::kArchiverName),
        list.addString(layout::kTop),      top,
        list.addString(layout::kObjects),  list.addArray(core.objects),
    };
    return list.finish(list.addDictionary(archive));
}

} // namespace tarn
