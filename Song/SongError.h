#pragma once

#include "Platform/Export.h"

#include <stdexcept>
#include <string>

namespace TARN_PUBLIC tarn {

/// What goes wrong with a song's file, for a caller to handle. The text names the file and the reason.
class SongError : public std::runtime_error {
public:
    enum class Kind {
        missing,        ///< there is no such file
        unreadable,     ///< it is there but cannot be read
        undecodable,    ///< it is not a song's document, or one of which nothing can be read
        damaged,        ///< it is damaged, was edited by another program, or holds what no song can hold;
                        ///< Song::salvage may read the rest
        unsound,        ///< the song as it is now would not open again; nothing was written
        unwritable,     ///< the file cannot be written; it is as it was
        busy,           ///< another process keeps changing the document
        changed,        ///< somebody changed the document meanwhile without locking it; it is as they left it
        otherRecording, ///< the document annotates another recording
        otherSampleRate,      ///< the same, and with another sample rate, in whose frames it counts
        unsupportedRecording, ///< the audio file cannot be decoded
    };

    SongError(Kind kind, const std::string& text) : std::runtime_error(text), mKind(kind) {}
    [[nodiscard]] Kind kind() const { return mKind; }

private:
    Kind mKind;
};

} // namespace tarn
