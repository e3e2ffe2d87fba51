#pragma once

#include "Platform/Export.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace TARN_PUBLIC tarn {

/// The colour of a section: a name that the application gives a meaning to, or four components. Written as
/// text, "named:<name>" or "rgba:" with eight upper-case hexadecimal digits, two for each component.
class TarnSectionColor {
public:
    /// Red, green, blue and alpha, each 0 to 1.
    struct RGBA {
        float red = 0;
        float green = 0;
        float blue = 0;
        float alpha = 0;
        friend bool operator==(const RGBA&, const RGBA&) = default;
    };

    static TarnSectionColor named(std::string name) { return TarnSectionColor(std::move(name)); }
    static TarnSectionColor rgba(RGBA components) { return TarnSectionColor(components); }
    static TarnSectionColor other() { return named("other"); }
    static TarnSectionColor verse() { return named("verse"); }
    static TarnSectionColor chorus() { return named("chorus"); }
    static TarnSectionColor bridge() { return named("bridge"); }

    /// Reads the text form. The payload is everything after the tag and its first colon. Nothing for an
    /// unknown tag, an empty payload, or components that are not exactly eight hexadecimal digits.
    static std::optional<TarnSectionColor> make(std::string_view rawValue);
    [[nodiscard]] std::string rawValue() const;

    [[nodiscard]] const std::string* name() const { return std::get_if<std::string>(&mValue); }
    [[nodiscard]] const RGBA* components() const { return std::get_if<RGBA>(&mValue); }
    friend bool operator==(const TarnSectionColor&, const TarnSectionColor&) = default;

private:
    explicit TarnSectionColor(std::variant<std::string, RGBA> value) : mValue(std::move(value)) {}
    std::variant<std::string, RGBA> mValue;
};

} // namespace tarn
