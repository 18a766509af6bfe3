// The bytes of the messages between ranks: numbers, texts and vectors of doubles come back as
// written (doubles bit for bit, infinities and NaN included), and a message cut short or read
// past its end fails instead of yielding values.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "engine/byte_codec.h"

TEST(ByteCodec, ValuesComeBackAsWrittenBitForBit) {
    const std::vector<double> values{0.1, -1e20, std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(), std::nan(""), 5e-324};
    ByteWriter writer;
    writer.put<std::uint8_t>(7).put<std::uint64_t>(1ull << 40).put(std::string("trait T, pedigree 12-2")).put(values);
    writer.put(std::string()).put(std::vector<double>{});
    const std::vector<char> bytes = writer.take();

    ByteReader reader(bytes);
    std::uint8_t kind = 0;
    std::uint64_t piece = 0;
    std::string text, empty = "x";
    std::vector<double> read, none{1.0};
    ASSERT_TRUE(reader.get(kind) && reader.get(piece) && reader.get(text) && reader.get(read) && reader.get(empty) &&
                reader.get(none));
    EXPECT_EQ(kind, 7);
    EXPECT_EQ(piece, 1ull << 40);
    EXPECT_EQ(text, "trait T, pedigree 12-2");
    ASSERT_EQ(read.size(), values.size());
    EXPECT_EQ(std::memcmp(read.data(), values.data(), values.size() * sizeof(double)), 0);
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(reader.atEnd());
}

TEST(ByteCodec, AShortOrOverreadMessageFails) {
    ByteWriter writer;
    writer.put(std::vector<double>{1.0, 2.0, 3.0});
    std::vector<char> bytes = writer.take();
    bytes.pop_back();
    ByteReader cut(bytes);
    std::vector<double> values;
    EXPECT_FALSE(cut.get(values));
    EXPECT_FALSE(cut.ok());

    // A length beyond the message (a corrupt count) is refused before anything is allocated.
    ByteWriter lying;
    lying.put<std::uint64_t>(std::numeric_limits<std::uint64_t>::max() / 4);
    const std::vector<char> lie = lying.take();
    ByteReader huge(lie);
    EXPECT_FALSE(huge.get(values));

    ByteWriter one;
    one.put<std::int32_t>(3);
    const std::vector<char> small = one.take();
    ByteReader reader(small);
    std::int32_t value = 0;
    std::uint8_t more = 0;
    EXPECT_TRUE(reader.get(value));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_FALSE(reader.get(more));
    EXPECT_FALSE(reader.atEnd());
}
