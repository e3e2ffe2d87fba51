#include "Programs/tarn/TerminalText.h"

#include "Platform/PlainText.h"

#include <ostream>

namespace tarn::program {

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
