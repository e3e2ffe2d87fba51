#include "Platform/SHA256.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using tarn::SHA256;

std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

TEST(SHA256Tests, PublishedDigests) {
    EXPECT_EQ(SHA256::hexDigestOf({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(SHA256::hexDigestOf(bytesOf("abc")),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(SHA256::hexDigestOf(bytesOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(SHA256::hexDigestOf(bytesOf(std::string(1'000'000, 'a'))),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SHA256Tests, PiecesGiveTheDigestOfTheWhole) {
    const std::string text(200, 'x'); // more than three blocks
    for (std::size_t first = 0; first <= text.size(); ++first) {
        SHA256 hash;
        hash.update(bytesOf(text).first(first));
        EXPECT_EQ(hash.hexDigest(), SHA256::hexDigestOf(bytesOf(text).first(first))); // more may follow
        hash.update(bytesOf(text).subspan(first));
        EXPECT_EQ(hash.hexDigest(), SHA256::hexDigestOf(bytesOf(text))) << first;
    }
}

} // namespace
