#pragma once

#include <streambuf>
#include <string>
#include <string_view>

/// What the program prints for people. Names in documents and of files come from anywhere; none of them may
/// steer the terminal or turn a line around.
namespace tarn::program {

/// Whether a character does something other than being shown: controls (C0 and C1), the separators of lines
/// and paragraphs, and what sets the direction of the text around it. A line feed counts as one.
[[nodiscard]] bool isControl(char32_t character);

/// The text in well-formed UTF-8 with a blank for each control but line feeds, and U+FFFD for what is not
/// UTF-8.
[[nodiscard]] std::string printable(std::string_view text);
/// The same with blanks for line feeds too.
[[nodiscard]] std::string onOneLine(std::string_view text);

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
