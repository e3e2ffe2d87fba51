#pragma once

#include "Platform/Export.h"

#include <exception>
#include <string>
#include <utility>

namespace TARN_PUBLIC tarn {

/// An edit of the document that cannot be made; the document is unchanged.
struct NoteEntryStorageError : std::exception {
    std::string description;

    explicit NoteEntryStorageError(std::string text) : description(std::move(text)) {}
    [[nodiscard]] const char* what() const noexcept override { return description.c_str(); }
};

} // namespace tarn
