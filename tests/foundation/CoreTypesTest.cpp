#include <cstdint>

#include <gtest/gtest.h>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/CopyOnWrite.h"
#include "foundation/Exception.h"
#include "foundation/Flags.h"
#include "foundation/Memory.h"
#include "foundation/Optional.h"
#include "foundation/Rgb.h"

using namespace Vespra;

TEST(CoreTypes, StackGrowsByHalfItsCapacity) {
    Stack<int> stack;
    stack.push(1);
    EXPECT_EQ(stack.capacity(), 1u);
    stack.reserve(10);
    for (int i = 0; i < 10; ++i) {
        stack.push(i);
    }
    EXPECT_EQ(stack.capacity(), 15u); // full at 10, one more needs max(11, 10 * 1.5)
    stack.pushAll(Array<int>(40).view());
    EXPECT_EQ(stack.capacity(), 51u); // 51 needed is more than 15 * 1.5
    EXPECT_EQ(stack.pop(), 0);
    EXPECT_EQ(stack.size(), 50u);
}

TEST(CoreTypes, AllocationsAreAlignedAndCounted) {
    const std::int64_t before = getAllocatedMemory();
    {
        Array<float> floats(1001);
        Array<Rgb> colors(3);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(floats.data()) % FLOAT4_ALIGNMENT, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(colors.data()) % 16, 0u);
        EXPECT_EQ(getAllocatedMemory() - before, std::int64_t(1001 * sizeof(float) + 3 * sizeof(Rgb)));
        EXPECT_GE(getPeakAllocatedMemory(), getAllocatedMemory());
    }
    EXPECT_EQ(getAllocatedMemory(), before);
    resetPeakAllocatedMemory();
    EXPECT_EQ(getPeakAllocatedMemory(), before);
}

TEST(CoreTypes, EmptyOptionalAndInternalStopsRaiseReadableTexts) {
    Optional<int> empty;
    try {
        (void)*empty;
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(), String(u"bad_optional_access"));
    }
    Optional<int> five = 5;
    EXPECT_EQ(five.value(), 5);

    int stopLine = 0;
    try {
        stopLine = __LINE__ + 1;
        VESPRA_STOP();
        FAIL() << "no exception";
    } catch (const Exception& error) {
        const std::string expected =
            "STOP@tests/foundation/CoreTypesTest.cpp(" + std::to_string(stopLine) + ")";
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_NO_THROW(VESPRA_ASSERT(1 + 1 == 2));
    EXPECT_THROW(VESPRA_ASSERT(1 + 1 == 3), Exception);
}

namespace {
enum class Bits : std::uint32_t { A = 1, B = 4, C = 1024 };
VESPRA_FLAGS_OPERATORS(Bits)
} // namespace

TEST(CoreTypes, FlagsAndBitmaps) {
    Flags<Bits> flags = Bits::A | Bits::C;
    EXPECT_TRUE(flags.has(Bits::C));
    EXPECT_FALSE(flags.has(Bits::B));
    EXPECT_EQ(flags.value(), 1025u);
    flags.unset(Bits::A).set(Bits::B);
    EXPECT_EQ(flags, Flags<Bits>::fromValue(1028));
    EXPECT_TRUE(flags.hasAny(Bits::B | Bits::A));

    BitmapImpl<float> bitmap(3, 2, 0.5f);
    bitmap(2, 1) = 7.f;
    EXPECT_EQ(bitmap.row(1)[2], 7.f);
    EXPECT_EQ(bitmap.view().size(), 6u);
    EXPECT_EQ(bitmap.data()[5], 7.f);
}

// Copies share the value; changing one gives it a value of its own first and leaves the others
// as they were, and a value no other copy shares is changed where it lies.
TEST(CoreTypes, CopyOnWriteSharesUntilAChange) {
    CopyOnWrite<Array<int>> empty;
    EXPECT_FALSE(empty);
    CopyOnWrite<Array<int>> original(Array<int>{1, 2, 3});
    const CopyOnWrite<Array<int>> reader = original;
    CopyOnWrite<Array<int>> writer = original;
    EXPECT_EQ(&*reader, &*original);
    EXPECT_EQ(&*writer, &*original);

    writer.edit()[0] = 7;
    EXPECT_NE(&*writer, &*original);
    EXPECT_EQ((*writer)[0], 7);
    EXPECT_EQ((*original)[0], 1);
    EXPECT_EQ((*reader)[0], 1);

    const Array<int>* own = &*writer;
    writer.edit()[1] = 8;
    EXPECT_EQ(&*writer, own);
    EXPECT_EQ((*writer)[1], 8);

    writer.emplace(Array<int>{4});
    EXPECT_EQ(writer->size(), 1u);
    writer.reset();
    EXPECT_FALSE(writer);
}
