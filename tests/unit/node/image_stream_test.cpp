// SPDX-License-Identifier: MIT
// Two digests of one image, of bytes that are hashed once.
#include "fixture.h"
#include "node/digest.h"
#include "node/image_stream.h"

namespace {

using node::sha256Of;

TEST(ImageSums, AreThoseOfPayloadAndWholeWhereverThePiecesEnd) {
    const std::string payload = payloadOf(1000);
    const std::string trailer = payloadOf(60, 2);
    const std::string whole = payload + trailer;
    for (std::size_t piece = 1; piece <= whole.size(); ++piece) {
        node::ImageSums sums(payload.size());
        for (std::size_t at = 0; at < whole.size(); at += piece) {
            const std::string bytes = whole.substr(at, piece);
            sums.add(bytes.data(), bytes.size());
        }
        ASSERT_EQ(sums.payload(), sha256Of(payload)) << piece;
        ASSERT_EQ(sums.trailer(), trailer) << piece;
        ASSERT_EQ(sums.whole(), sha256Of(whole)) << piece;
    }
}

TEST(ImageSums, TellNoPayloadThatIsNotThereYet) {
    node::ImageSums sums(3);
    sums.add("ab", 2);
    EXPECT_EQ(sums.payload(), "");
    sums.add("c", 1);
    EXPECT_EQ(sums.payload(), sha256Of("abc"));
    EXPECT_EQ(sums.trailer(), "");
    EXPECT_EQ(sums.whole(), sha256Of("abc"));
}

} // namespace
