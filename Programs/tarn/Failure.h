#pragma once

#include <stdexcept>
#include <string>

namespace tarn::program {

/// What the program's exit status says. Listed in the manual page; numbers are never given another meaning.
enum class ExitStatus : int {
    success = 0,
    usage = 2,            ///< the command line is wrong
    unreadableInput = 3,  ///< an input is missing or cannot be read
    undecodableInput = 4, ///< an input was read but is not what it should be
    refusedEdit = 5,      ///< the document refuses the edit; nothing was changed
    unwritableOutput = 6, ///< an output cannot be written; what was there before is untouched
    busyDocument = 7,     ///< others kept changing the document meanwhile; nothing was changed
    cancelled = 130,      ///< interrupted by the user
};

/// Ends the command: the line of ours on standard error, which names the file and what to do, and the exit
/// status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& line) : std::runtime_error(line), mStatus(status) {}
    [[nodiscard]] ExitStatus status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

} // namespace tarn::program
