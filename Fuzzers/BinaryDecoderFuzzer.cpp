#include "BinaryCodable/BinaryDecoder.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

/// The input's first part is a list of reading steps, its rest the bytes to read. The steps are run twice,
/// over the bytes in one piece and over pieces of changing length, and must give the same values and the same
/// failure.
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Program {
    std::span<const std::uint8_t> steps;
    std::string* log;
};

void note(std::string& log, std::span<const std::uint8_t> bytes) {
    log.append(bytes.begin(), bytes.end());
    log += '|';
}

void run(Program& program, tarn::BinaryDecodingContainer container) {
    std::string& log = *program.log;
    while (!program.steps.empty()) {
        const auto step = program.steps[0];
        program.steps = program.steps.subspan(1);
        const std::size_t length = step >> 4;
        switch (step & 0x0F) {
        case 0:
            log += std::to_string(container.decode<std::uint8_t>());
            break;
        case 1:
            log += std::to_string(container.decode<std::int64_t>());
            break;
        case 2:
            log += std::to_string(container.decode<float>());
            break;
        case 3:
            note(log, container.decode(length));
            break;
        case 4:
            note(log, container.peek(length));
            break;
        case 5:
            log += container.decode(tarn::StringEncoding::utf8, std::uint8_t{0});
            break;
        case 6:
            log += container.decode(static_cast<tarn::StringEncoding>(length % 3));
            break;
        case 7:
            log += std::to_string(container.decode<std::vector<std::uint16_t>>().size());
            break;
        case 8:
            run(program, container.nestedContainer(length));
            break;
        case 9:
            log += container.isAtEnd() ? 'e' : '-';
            break;
        default:
            log += std::to_string(container.remainingLength().value_or(0));
            return;
        }
        log += ' ';
    }
}

struct Script {
    static Script decode(tarn::BinaryDecoder& decoder) {
        auto program = std::any_cast<Program>(decoder.userInfo().at("program"));
        try {
            run(program, decoder.container());
        } catch (const tarn::BinaryDecodingError& error) {
            *program.log += error.context().debugDescription;
        }
        return {};
    }
};

std::string logOf(std::span<const std::uint8_t> steps, std::shared_ptr<tarn::BufferedData> data) {
    std::string log;
    tarn::BinaryDataDecoder decoder;
    decoder.userInfo["program"] = Program{steps, &log};
    (void)decoder.decode<Script>(std::move(data));
    return log;
}

std::shared_ptr<tarn::BufferedData> inPieces(std::span<const std::uint8_t> bytes) {
    auto rest = std::make_shared<std::span<const std::uint8_t>>(bytes);
    auto count = std::make_shared<std::size_t>(0);
    return std::make_shared<tarn::BufferedData>(
        tarn::AnyBufferedDataSource(
            [=](std::size_t maxLength) -> std::optional<Bytes> {
                if (rest->empty())
                    return std::nullopt;
                const auto piece = rest->first(std::min({maxLength, rest->size(), ++*count % 5}));
                *rest = rest->subspan(piece.size());
                return Bytes(piece.begin(), piece.end());
            },
            [] { return false; }),
        3);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::span input(data + 1, size - 1);
    const auto steps = input.first(std::min<std::size_t>(data[0], input.size()));
    const auto bytes = input.subspan(steps.size());
    if (logOf(steps, tarn::bufferedData(Bytes(bytes.begin(), bytes.end()))) != logOf(steps, inPieces(bytes)))
        std::abort();
    return 0;
}
