#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <stdexcept>
#include <string>

/// What can go wrong between a song and a file of another format. None of these aborts.
namespace TARN_PUBLIC tarn {

/// Bytes that are not what their format says they should be.
class FormatError : public std::runtime_error {
public:
    explicit FormatError(const std::string& text, std::size_t line = 0)
        : std::runtime_error(text), mLine(line) {}
    /// The line that is wrong, counted from 1; 0 where the format has no lines.
    [[nodiscard]] std::size_t line() const { return mLine; }

private:
    std::size_t mLine;
};

/// A song that cannot be written in a format, or that has no place for what a file holds.
class FormatRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An option that a format does not have, or whose value does not suit it.
class FormatOptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tarn
