#include "Platform/CRC64.h"

#include <gtest/gtest.h>

#include <string_view>

namespace tarn {

TEST(CRC64, givesThePublishedCheckValueHoweverTheBytesArrive) {
    const std::string_view text = "123456789";
    const auto bytes = std::as_bytes(std::span(text));
    for (std::size_t first = 0; first <= bytes.size(); ++first) {
        CRC64 check;
        check.update(bytes.first(first));
        check.update(bytes.subspan(first));
        EXPECT_EQ(check.value(), 0x995DC9BBDF1939FA) << first;
    }
    EXPECT_EQ(CRC64().value(), 0u);
}

} // namespace tarn
