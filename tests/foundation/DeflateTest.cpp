#include <random>

#include <gtest/gtest.h>

#include "foundation/io/Deflate.h"

using namespace Vespra;
using namespace Vespra::Io;

namespace {

std::string inflateAll(std::string compressed, std::size_t piece, bool& good) {
    InflateInputStream input(makeAuto<MemoryInputStream>(std::move(compressed)));
    std::string result;
    std::string buffer(piece, '\0');
    while (!input.eof()) {
        result.append(buffer.data(), input.read(buffer.data(), piece));
    }
    good = input.good();
    return result;
}

} // namespace

TEST(Deflate, RoundTripThroughABorrowedSink) {
    std::mt19937 random(3);
    std::string original(300'000, '\0');
    for (std::size_t i = 0; i < original.size(); ++i) {
        original[i] = i % 1000 < 500 ? char('a' + i % 7) : char(random());
    }
    MemoryOutputStream sink;
    {
        DeflateOutputStream output(makeAuto<ForwardingOutputStream>(sink), 6);
        EXPECT_TRUE(output.write(original.data(), 1000));
        EXPECT_TRUE(output.flush());
        EXPECT_TRUE(output.write(original.data() + 1000, original.size() - 1000));
        EXPECT_TRUE(output.finish());
        EXPECT_FALSE(output.write("x", 1));
    }
    EXPECT_LT(sink.contents().size(), original.size());

    bool good = false;
    EXPECT_EQ(inflateAll(sink.contents(), 777, good), original);
    EXPECT_TRUE(good);

    const std::string cut = sink.contents().substr(0, sink.contents().size() / 2);
    const std::string start = inflateAll(cut, 4096, good);
    EXPECT_FALSE(good);
    EXPECT_GT(start.size(), 0u);
    EXPECT_EQ(start, original.substr(0, start.size()));

    std::string damaged = sink.contents();
    damaged[0] = '\x01'; // not a zlib header
    inflateAll(damaged, 4096, good);
    EXPECT_FALSE(good);
}
