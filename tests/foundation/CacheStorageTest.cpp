#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CacheStorage.h"

using namespace Vespra;

TEST(CacheStorage, EvictsLeastRecentlyUsedBySize) {
    CacheStorage cache(100);
    cache.insertAny(1, String(u"A"), 40);
    cache.insertAny(2, String(u"B"), 40);
    EXPECT_EQ(cache.find<String>(1), String(u"A"));
    // 40 + 40 + 30 > 100: 2 is the least recently used, as 1 was just read.
    cache.insertAny(3, String(u"C"), 30);
    EXPECT_FALSE(cache.findAny(2).has_value());
    EXPECT_EQ(cache.usedBytes(), 70u);
    // Order now 3, 1: 70 + 60 > 100 drops 1, and 30 + 60 fits.
    cache.insertAny(4, String(u"D"), 60);
    EXPECT_FALSE(cache.findAny(1).has_value());
    EXPECT_TRUE(cache.findAny(3).has_value());
    EXPECT_EQ(cache.usedBytes(), 90u);
    EXPECT_EQ(cache.size(), 2u);

    // Larger than the whole cache: refused, and the rest stays.
    cache.insertAny(5, String(u"E"), 101);
    EXPECT_FALSE(cache.findAny(5).has_value());
    EXPECT_EQ(cache.size(), 2u);

    // Replacing a value counts its new size only.
    cache.insertAny(4, 7, 10);
    EXPECT_EQ(cache.find<int>(4), 7);
    EXPECT_FALSE(cache.find<String>(4).has_value());
    EXPECT_EQ(cache.usedBytes(), 40u);
    cache.clear();
    EXPECT_EQ(cache.size(), 0u);
    EXPECT_EQ(cache.usedBytes(), 0u);
}

TEST(CacheStorage, ConcurrentUseKeepsTheAccountsRight) {
    constexpr int KEYS = 64;
    CacheStorage cache(200);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&cache, t] {
            for (int i = 0; i < 3000; ++i) {
                const int key = (i * 7 + t * 13) % KEYS;
                if (i % 3 == 0) {
                    cache.findAny(std::uint64_t(key));
                } else {
                    // The value is its own size, so the accounts can be checked afterwards.
                    const int size = 1 + (i + t) % 16;
                    cache.insertAny(std::uint64_t(key), size, std::size_t(size));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::size_t sum = 0;
    std::size_t count = 0;
    for (int key = 0; key < KEYS; ++key) {
        if (const Optional<int> size = cache.find<int>(std::uint64_t(key))) {
            sum += std::size_t(*size);
            ++count;
        }
    }
    EXPECT_EQ(sum, cache.usedBytes());
    EXPECT_EQ(count, cache.size());
    EXPECT_LE(sum, 200u);
    EXPECT_GT(count, 0u);
}
