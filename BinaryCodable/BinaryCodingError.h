#pragma once

#include "Platform/Export.h"

#include <stdexcept>
#include <string>

/// What the binary coding throws. Every failure carries a text for developers in its context; `what()` is
/// that text.
namespace TARN_PUBLIC tarn {

/// A value could not be written.
class BinaryEncodingError : public std::runtime_error {
public:
    struct Context {
        std::string debugDescription;
    };
    enum class Case { incompatibleStringEncoding };

    static BinaryEncodingError incompatibleStringEncoding(const Context& context) {
        return {Case::incompatibleStringEncoding, context};
    }
    [[nodiscard]] Case errorCase() const { return mCase; }
    [[nodiscard]] const Context& context() const { return mContext; }

private:
    BinaryEncodingError(Case errorCase, const Context& context)
        : std::runtime_error(context.debugDescription), mCase(errorCase), mContext(context) {}

    Case mCase;
    Context mContext; ///< kept beside what(), which ends at the text's first zero byte
};

/// Bytes could not be read as the value asked for. Types that decode themselves throw it with a text of their
/// own.
class BinaryDecodingError : public std::runtime_error {
public:
    struct Context {
        std::string debugDescription;
    };
    enum class Case { dataCorrupted };

    static BinaryDecodingError dataCorrupted(const Context& context) {
        return {Case::dataCorrupted, context};
    }
    [[nodiscard]] Case errorCase() const { return mCase; }
    [[nodiscard]] const Context& context() const { return mContext; }

private:
    BinaryDecodingError(Case errorCase, const Context& context)
        : std::runtime_error(context.debugDescription), mCase(errorCase), mContext(context) {}

    Case mCase;
    Context mContext; ///< kept beside what(), which ends at the text's first zero byte
};

} // namespace tarn
