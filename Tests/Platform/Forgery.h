#pragma once

#include "Platform/KeyedArchive.h"

#include <functional>

namespace tarn {

/// Writes whatever a test gives it under another class's name.
struct Forgery final : SecureCoding {
    Forgery(const ClassDescription& pretended, std::function<void(KeyedArchiver&)> writer)
        : description(pretended), write(std::move(writer)) {}
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return description; }
    void encodeWithCoder(KeyedArchiver& coder) const override { write(coder); }

    const ClassDescription& description;
    std::function<void(KeyedArchiver&)> write;
};

/// Whether a T can be read from an archive with that content.
template <typename T>
bool reads(std::function<void(KeyedArchiver&)> writer) {
    const Data bytes =
        KeyedArchiver::archivedData(std::make_shared<Forgery>(T::classDescription(), std::move(writer)));
    return KeyedUnarchiver::unarchivedObject<T>(bytes) != nullptr;
}

} // namespace tarn
