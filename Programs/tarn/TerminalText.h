#pragma once

#include <streambuf>
#include <string>
#include <string_view>

namespace tarn::program {

/// Makes all that is written to a stream printable, line by line, for as long as it lives.
class PrintableOutput : public std::streambuf {
public:
    explicit PrintableOutput(std::ostream& stream);
    ~PrintableOutput() override;
    PrintableOutput(const PrintableOutput&) = delete;
    PrintableOutput& operator=(const PrintableOutput&) = delete;

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    /// Passes on the first `count` bytes of what has been written.
    bool passOn(std::size_t count);
    bool passOnLines();

    std::ostream& mStream;
    std::streambuf* mTarget;
    std::string mPending;
};

} // namespace tarn::program
