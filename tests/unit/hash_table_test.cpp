// SPDX-License-Identifier: MIT
//
// The transposition table: sizes, layout, replacement and age.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>

#include "support.h"

namespace
{

/// A table of 1 MB and age 0 for one test, and again after it.
class HashTable : public testing::Test
{
  protected:
    void SetUp() override
    {
        createHashTable(1);
        hashAgeCounter = 0;
    }
    void TearDown() override { SetUp(); }
};

/// The eight bytes at an offset of a line of the table.
u64 wordAt(u64 line, size_t offset)
{
    u64 word;
    std::memcpy(&word, reinterpret_cast<const char*>(hashTable) + 64 * line + offset, 8);
    return word;
}

constexpr moveStruct someMove = {E1, E8, 0, ROOK};

/// A model of the table: where an entry goes and which one it replaces, on plain records.
struct modelTable
{
    struct entry
    {
        u64 key;
        int depth, bound, age;
        bool used;
    };
    std::map<u64, entry> lines;

    void put(u64 key, int depth, int bound, int age)
    {
        const u64 home = key & hashKeyMask;
        u64 target = home;
        const auto keep = [&](const entry& e)
        { return e.depth + (e.bound == 3) - 4 * ((age - e.age) & 63); };
        for (u64 line = home; line < home + 4; ++line)
        {
            if (!lines[line].used || lines[line].key == key)
            {
                target = line;
                break;
            }
            if (keep(lines[line]) < keep(lines[target])) target = line;
        }
        lines[target] = {key, depth, bound, age, true};
    }

    int get(u64 key, int age)
    {
        const u64 home = key & hashKeyMask;
        for (u64 line = home; line < home + 4; ++line)
            if (lines[line].used && lines[line].key == key)
            {
                lines[line].age = age;
                return lines[line].depth * 4 + lines[line].bound;
            }
        return 0;
    }
};

} // namespace

TEST_F(HashTable, SizesAreRoundedUpToAPowerOfTwoAndCountersStartAtZero)
{
    const std::pair<int, u64> sizes[] = {{0, 16384},     {1, 16384},    {2, 32768},  {3, 65536},
                                         {4, 65536},     {5, 131072},   {8, 131072}, {129, 4194304},
                                         {256, 4194304}, {257, 8388608}};
    for (const auto& [megabytes, lines] : sizes)
    {
        hashHartBeat = 9;
        hashCountUse = 9;
        createHashTable(megabytes);
        EXPECT_EQ(hashKeyMask + 1, lines) << megabytes;
        EXPECT_EQ(hashHartBeat, 0U);
        EXPECT_EQ(hashCountUse, 0U);
    }
}

TEST_F(HashTable, WarmingChangesNoEntryWhileOthersStore)
{
    constexpr u64 keys = 4000;
    const auto key = [](u64 n) { return n << 50 | n * 4; }; // four home lines apart
    for (u64 n = 1; n < keys; n += 2) putHashTableEntry(key(n), someMove, 7, 5, boundExact, 0);
    warmHashTable();
    for (u64 n = 2; n < keys; n += 2) putHashTableEntry(key(n), someMove, 7, 5, boundExact, 0);
    EXPECT_TRUE(waitForWarmHashTable(60000));
    for (u64 n = 1; n < keys; ++n) ASSERT_EQ(hashScore(getHashTableEntry(key(n)), 0), 7) << n;
}

TEST_F(HashTable, AWarmingTableCanBeClearedReplacedAndFreed)
{
    createHashTable(64);
    warmHashTable();
    clearHashTable();
    warmHashTable();
    createHashTable(2);
    warmHashTable();
    destroyHashTable();
    EXPECT_EQ(hashTable, nullptr);
    EXPECT_TRUE(waitForWarmHashTable(0)) << "nothing is left to do";
}

TEST(HashMemory, TheSmallestLimitOfAControlGroupAndItsParentsCounts)
{
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / "quillon-control-groups";
    const auto write = [&root](const std::string& name, const std::string& text)
    {
        fs::create_directories((root / name).parent_path());
        std::ofstream(root / name) << text << '\n';
    };
    const auto limit = [&root] { return controlGroupLimit(root.string()); };
    constexpr u64 none = std::numeric_limits<u64>::max();
    fs::remove_all(root);
    EXPECT_EQ(limit(), none) << "no control groups at all";

    write("proc/self/cgroup", "0::/user/game");
    EXPECT_EQ(limit(), none) << "a group without a limit";
    write("sys/fs/cgroup/user/game/memory.max", "max");
    EXPECT_EQ(limit(), none);
    write("sys/fs/cgroup/user/memory.max", "1000000");
    EXPECT_EQ(limit(), 1000000U) << "of the parent group";
    write("sys/fs/cgroup/user/game/memory.max", "900000");
    EXPECT_EQ(limit(), 900000U);

    write("proc/self/cgroup", "nonsense\n9:name=systemd:/\n4:cpu,memory:/box\n3:cpuset:/user");
    EXPECT_EQ(limit(), none) << "files of version 2 don't count";
    write("sys/fs/cgroup/memory/memory.limit_in_bytes", "700000");
    EXPECT_EQ(limit(), 700000U) << "of the root, as seen in a container";
    write("sys/fs/cgroup/memory/box/memory.limit_in_bytes", "600000");
    EXPECT_EQ(limit(), 600000U);

    write("proc/self/cgroup", "4:memory:box");
    EXPECT_EQ(limit(), 700000U) << "a path without a slash names no group, so only the root counts";
    fs::remove_all(root);
}

TEST_F(HashTable, MateScoresKeepTheirDistanceFromTheStoringNode)
{
    const int cases[][4] = {{31990, 4, 6, 31988}, {-31990, 4, 6, -31988}, {31872, 4, 0, 31876},
                            {31871, 4, 0, 31871}, {-31872, 4, 0, -31876}, {-31871, 4, 0, -31871}};
    for (const auto& [score, storedAt, readAt, read] : cases)
    {
        putHashTableEntry(77, someMove, static_cast<i16>(score), 5, boundExact,
                          static_cast<u8>(storedAt));
        EXPECT_EQ(hashScore(getHashTableEntry(77), static_cast<u8>(readAt)), read) << score;
    }
}

TEST_F(HashTable, AnEntryIsTwoWordsAtTheHeadOfItsLine)
{
    hashAgeCounter = 37;
    constexpr u64 key = 0xfedcba9876540000 | 9;
    putHashTableEntry(key, {12, 28, 13, 2}, -2, 100, boundLower, 0);
    const u64 data = 12 | 28 << 8 | 13 << 16 | 2 << 24 | 0xfffeULL << 32 | 100ULL << 48 |
                     2ULL << 56 | 37ULL << 58;
    EXPECT_EQ(wordAt(9, 8), data);
    EXPECT_EQ(wordAt(9, 0), key ^ (data & 0x03ffffffffffffff)) << "all bits but the age";
    for (size_t offset = 16; offset < 64; offset += 8) EXPECT_EQ(wordAt(9, offset), 0U) << offset;
    EXPECT_EQ(getHashTableEntry(key), data);
}

TEST_F(HashTable, AHitRenewsTheAgeAndNothingElse)
{
    hashAgeCounter = 5;
    putHashTableEntry(3, {1, 2, 0, 4}, 31990, 9, boundExact, 7);
    const u64 data = wordAt(3, 8);
    const u64 check = wordAt(3, 0);
    hashAgeCounter = 63;
    EXPECT_EQ(getHashTableEntry(3) & HASHDATAMASK, data & HASHDATAMASK);
    EXPECT_EQ(wordAt(3, 8), (data & HASHDATAMASK) | 63ULL << 58);
    EXPECT_EQ(wordAt(3, 0), check);
    hashAgeCounter = 0;
    EXPECT_EQ(getHashTableEntry(3 | 1ULL << 40), 0U);
    EXPECT_EQ(wordAt(3, 8) >> 58, 63U) << "a miss renews nothing";
}

TEST_F(HashTable, AnEmptyTableAndATornEntryAnswerZero)
{
    for (const u64 key : {0ULL, 1ULL, ~0ULL, 12345ULL}) EXPECT_EQ(getHashTableEntry(key), 0U);
    putHashTableEntry(5, someMove, 10, 20, boundExact, 0);
    hashTable[5].data ^= 1;
    EXPECT_EQ(getHashTableEntry(5), 0U);
}

TEST_F(HashTable, ClearingEmptiesAllLinesAndTheCountOfSearchesAndKeepsTheAge)
{
    hashAgeCounter = 11;
    hashHartBeat = 75;
    hashCountUse = 4;
    // The last home line reaches into the three spare ones.
    const u64 last = hashKeyMask;
    for (u64 n = 1; n <= 4; ++n) putHashTableEntry(n << 40 | last, someMove, 0, 5, boundLower, 0);
    EXPECT_NE(wordAt(last + 3, 8), 0U);
    EXPECT_EQ(wordAt(0, 8), 0U) << "no wrap around to the first line";
    clearHashTable();
    for (u64 line = last; line < last + 4; ++line) EXPECT_EQ(wordAt(line, 8), 0U) << line;
    EXPECT_EQ(hashHartBeat, 0U);
    EXPECT_EQ(hashCountUse, 0U);
    EXPECT_EQ(hashAgeCounter, 11);
}

TEST_F(HashTable, FollowsTheModelOverRandomStoresAndProbes)
{
    modelTable model;
    std::mt19937_64 random(9);
    for (int i = 0; i < 200000; ++i)
    {
        const u64 key = (random() % 40 << 40) | (16370 + random() % 14);
        // First search by search, then in large steps, so that entries get old.
        const int age = i / 1000 * (i < 100000 ? 1 : 37) & 63;
        hashAgeCounter = static_cast<u8>(age);
        if (random() % 2)
        {
            const int depth = static_cast<int>(random() % 30);
            const int bound = 1 + static_cast<int>(random() % 3);
            putHashTableEntry(key, someMove, 0, static_cast<i8>(depth), static_cast<u8>(bound), 0);
            model.put(key, depth, bound, age);
        }
        else
        {
            const u64 data = getHashTableEntry(key);
            ASSERT_EQ(hashDepth(data) * 4 + hashBound(data), model.get(key, age)) << i;
        }
    }
}

TEST_F(HashTable, AProbeLooksAtFourLinesAndNoFifth)
{
    const u64 key = 77;
    for (u64 line = 0; line < 6; ++line)
    {
        clearHashTable();
        putHashTableEntry(key, someMove, 5, 9, boundExact, 0);
        std::swap(hashTable[key & hashKeyMask], hashTable[(key & hashKeyMask) + line]);
        EXPECT_EQ(getHashTableEntry(key) != 0, line < 4) << line;
    }
}
