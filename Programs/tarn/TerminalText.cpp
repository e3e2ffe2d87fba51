#include "Programs/tarn/TerminalText.h"

#include "Platform/UTF8.h"

#include <ostream>

namespace tarn::program {
namespace {

std::string withoutControls(std::string_view text, bool keepsLines) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextUTF8(text, i);
        const bool isShown = !isControl(character) || (keepsLines && character == '\n');
        appendUTF8(result, isShown ? character : U' ');
    }
    return result;
}

} // namespace

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string printable(std::string_view text) {
    return withoutControls(text, true);
}

std::string onOneLine(std::string_view text) {
    return withoutControls(text, false);
}

PrintableOutput::PrintableOutput(std::ostream& stream) : mStream(stream), mTarget(stream.rdbuf(this)) {}

PrintableOutput::~PrintableOutput() {
    PrintableOutput::sync();
    mStream.rdbuf(mTarget);
}

PrintableOutput::int_type PrintableOutput::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        mPending += traits_type::to_char_type(character);
    return passOnLines() ? traits_type::not_eof(character) : traits_type::eof();
}

std::streamsize PrintableOutput::xsputn(const char* text, std::streamsize count) {
    mPending.append(text, static_cast<std::size_t>(count));
    return passOnLines() ? count : 0;
}

int PrintableOutput::sync() {
    const bool arrived = passOn(mPending.size());
    return mTarget->pubsync() == 0 && arrived ? 0 : -1;
}

bool PrintableOutput::passOnLines() {
    return passOn(mPending.rfind('\n') + 1); // 0 where there is no whole line
}

bool PrintableOutput::passOn(std::size_t count) {
    if (count == 0)
        return true;
    const std::string text = printable(std::string_view(mPending).substr(0, count));
    mPending.erase(0, count);
    const auto size = static_cast<std::streamsize>(text.size());
    return mTarget->sputn(text.data(), size) == size;
}

} // namespace tarn::program
