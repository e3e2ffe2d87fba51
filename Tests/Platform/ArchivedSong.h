#pragma once

#include "Platform/KeyedArchive.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A small class hierarchy to archive: a song holds marks; beats and names are marks. Used by the archive's
/// tests and its fuzzer.
namespace tarn::archived {

/// What a class says of itself to the archive.
#define ARCHIVED(Class, superclass)                                                                          \
    static const ClassDescription& classDescription() {                                                      \
        static const ClassDescription description{"Test" #Class, superclass, &make<Class>};                  \
        return description;                                                                                  \
    }                                                                                                        \
    const ClassDescription& dynamicClass() const override {                                                  \
        return classDescription();                                                                           \
    }

template <typename T>
std::shared_ptr<SecureCoding> make(KeyedUnarchiver& coder) {
    auto made = std::make_shared<T>();
    return made->decode(coder) ? made : nullptr;
}

class Mark : public SecureCoding {
public:
    std::uint64_t identifier = 0;
    std::int64_t location = 0;

    ARCHIVED(Mark, nullptr)
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeUnsigned("identifier", identifier);
        coder.encodeInt("location", location);
    }
    virtual bool decode(KeyedUnarchiver& coder) {
        const auto i = coder.decodeUnsigned("identifier");
        const auto l = coder.decodeInt("location");
        identifier = i.value_or(0);
        location = l.value_or(0);
        return i && l;
    }
};

class Beat : public Mark {
public:
    bool downbeat = false;

    ARCHIVED(Beat, &Mark::classDescription())
    void encodeWithCoder(KeyedArchiver& coder) const override {
        Mark::encodeWithCoder(coder);
        coder.encodeBool("downbeat", downbeat);
    }
    bool decode(KeyedUnarchiver& coder) override {
        if (const auto value = coder.decodeBool("downbeat"))
            downbeat = *value;
        return Mark::decode(coder);
    }
};

class Name : public Mark {
public:
    std::optional<std::string> text;
    std::shared_ptr<Mark> next;

    ARCHIVED(Name, &Mark::classDescription())
    void encodeWithCoder(KeyedArchiver& coder) const override {
        Mark::encodeWithCoder(coder);
        coder.encodeString("text", text);
        coder.encodeObject("next", next);
    }
    bool decode(KeyedUnarchiver& coder) override {
        text = coder.decodeString("text");
        next = coder.decodeObject<Mark>("next");
        return Mark::decode(coder);
    }
};

class Song : public SecureCoding {
public:
    std::vector<std::shared_ptr<Mark>> marks;
    std::shared_ptr<Mark> selected;
    Data data;
    float tempo = 0;
    double frequency = 0;
    std::uint8_t channel = 0;

    ARCHIVED(Song, nullptr)
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeObjects("marks", marks);
        coder.encodeObject("selected", selected);
        coder.encodeData("data", data);
        coder.encodeFloat("tempo", tempo);
        coder.encodeDouble("frequency", frequency);
        coder.encodeUnsigned("channel", channel);
    }
    bool decode(KeyedUnarchiver& coder) {
        marks = coder.decodeObjects<Mark>("marks").value_or(std::vector<std::shared_ptr<Mark>>{});
        selected = coder.decodeObject<Mark>("selected");
        data = coder.decodeData("data").value_or(Data{});
        tempo = coder.decodeFloat("tempo").value_or(0.0f);
        frequency = coder.decodeDouble("frequency").value_or(0.0);
        channel = coder.decodeUInt8("channel").value_or(0);
        return true;
    }
};

#undef ARCHIVED

inline void registerClasses() {
    for (const auto* description : {&Mark::classDescription(), &Beat::classDescription(),
                                    &Name::classDescription(), &Song::classDescription()})
        registerClass(*description);
}

template <typename T>
std::shared_ptr<T> makeMark(std::uint64_t identifier, std::int64_t location) {
    auto mark = std::make_shared<T>();
    mark->identifier = identifier;
    mark->location = location;
    return mark;
}

} // namespace tarn::archived
