#include "Platform/FatalError.h"
#include "Tests/Platform/ArchivedSong.h"

#include <cstddef>
#include <cstdint>

using namespace tarn;

// Any bytes give a song or a reason, and a song that was read is written and read again unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const bool isRegistered = (archived::registerClasses(), true);
    static_cast<void>(isRegistered);

    Error error;
    const auto song =
        KeyedUnarchiver::unarchivedObject<archived::Song>(std::as_bytes(std::span(bytes, size)), &error);
    if (!song) {
        precondition(error.domain == kKeyedArchiveErrorDomain && error.code != 0,
                     "An archive failed without a reason");
        return 0;
    }
    const Data written = KeyedArchiver::archivedData(song);
    const auto read = KeyedUnarchiver::unarchivedObject<archived::Song>(written, &error);
    precondition(read != nullptr, "An archive that was just written cannot be read");
    precondition(KeyedArchiver::archivedData(read) == written,
                 "An archive changes when it is read and written again");
    return 0;
}
