#include "Platform/FatalError.h"
#include "TarnFoundation/Analysis/TarnChordResults.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

using namespace tarn;

// Any bytes give chord results or a reason. So do bytes that are read as the frames of a file alone, and
// frames that were read are written again unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    const BinaryDataDecoder decoder;
    try {
        static_cast<void>(decoder.decode<TarnChordResults>(bytes));
        fatalError("A file was read although its version takes all of its bytes");
    } catch (const BinaryDecodingError& error) {
        precondition(!error.context().debugDescription.empty(), "A file was refused without a reason");
    }
    try {
        const auto frames = decoder.decode<std::vector<TarnChordResults::Frame>>(bytes);
        precondition(BinaryDataEncoder().encode(frames) == bytes,
                     "Frames change when they are written again");
        TarnChordResults results;
        std::copy_if(frames.begin(), frames.end(), std::back_inserter(results.frames),
                     [](const auto& frame) { return frame.location >> 63 == 0; });
        const auto written = BinaryDataEncoder().encode(results);
        precondition(BinaryDataEncoder().encode(TarnChordResults::fromTopKResults(results.topKResults())) ==
                         written,
                     "Results change by way of the operation's list");
    } catch (const BinaryDecodingError& error) {
        precondition(!error.context().debugDescription.empty(), "Frames were refused without a reason");
    }
    return 0;
}
