// SPDX-License-Identifier: MIT
//
// The transposition table: sizes, layout, replacement and age.

#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>

#include "support.h"

namespace
{

/// A 1 MB table for one test, with the age set by hand.
class HashTable : public testing::Test
{
  protected:
    void SetUp() override
    {
        createHashTable(1);
        hashAgeCounter = 0;
    }
    void TearDown() override
    {
        createHashTable(1);
        hashAgeCounter = 0;
    }
};

constexpr moveStruct someMove = {E1, E8, 0, ROOK};

/// Keys whose home line is the same.
u64 sameHome(u64 n)
{
    return n << 40 | 1000;
}

/// The layout and the replacement once more, on plain records.
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
        bool chosen = false;
        int smallest = 0;
        for (u64 line = home; line < home + 4 && !chosen; ++line)
            if (!lines[line].used || lines[line].key == key)
            {
                target = line;
                chosen = true;
            }
        for (u64 line = home; line < home + 4 && !chosen; ++line)
        {
            const entry& e = lines[line];
            const int keep = e.depth + (e.bound == 3) - 4 * ((age - e.age) & 63);
            if (line == home || keep < smallest)
            {
                smallest = keep;
                target = line;
            }
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

TEST_F(HashTable, SizesAreRoundedUpToAPowerOfTwoAndCountersBeginAfresh)
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
    const auto key = [](u64 n) { return n << 50 | n * 4; }; // each four home lines apart
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

TEST(HashMemory, TheLeastLimitOfTheControlGroupsOnTheWayUpCounts)
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
    EXPECT_EQ(limit(), 1000000U) << "of the group above";
    write("sys/fs/cgroup/user/game/memory.max", "900000");
    EXPECT_EQ(limit(), 900000U);

    write("proc/self/cgroup", "nonsense\n9:name=systemd:/\n4:cpu,memory:/box\n3:cpuset:/user");
    EXPECT_EQ(limit(), none) << "the second version's files don't count";
    write("sys/fs/cgroup/memory/memory.limit_in_bytes", "700000");
    EXPECT_EQ(limit(), 700000U) << "of the top, as a container sees its own";
    write("sys/fs/cgroup/memory/box/memory.limit_in_bytes", "600000");
    EXPECT_EQ(limit(), 600000U);

    write("proc/self/cgroup", "4:memory:box");
    EXPECT_EQ(limit(), 700000U) << "a path without a slash names no group: only the top counts";
    fs::remove_all(root);
}

TEST_F(HashTable, MateScoresKeepTheirDistanceFromTheStoringNode)
{
    const auto roundTrip = [](int score, int storedAt, int readAt)
    {
        clearHashTable();
        putHashTableEntry(77, someMove, static_cast<i16>(score), 5, boundExact,
                          static_cast<u8>(storedAt));
        return hashScore(getHashTableEntry(77), static_cast<u8>(readAt));
    };
    EXPECT_EQ(roundTrip(31990, 4, 6), 31988);
    EXPECT_EQ(roundTrip(-31990, 4, 6), -31988);
    EXPECT_EQ(roundTrip(31872, 4, 0), 31876);
    EXPECT_EQ(roundTrip(31871, 4, 0), 31871);
    EXPECT_EQ(roundTrip(-31872, 4, 0), -31876);
    EXPECT_EQ(roundTrip(-31871, 4, 0), -31871);
}

TEST_F(HashTable, AShallowerResultReplacesTheSameKeyAndAnEmptyLineBeforeItIsTaken)
{
    putHashTableEntry(sameHome(1), someMove, 0, 5, boundLower, 0);
    putHashTableEntry(sameHome(2), someMove, 10, 20, boundExact, 0);
    putHashTableEntry(sameHome(2), EMPTYMOVE, -7, 1, boundUpper, 0);
    const u64 data = getHashTableEntry(sameHome(2));
    EXPECT_EQ(hashDepth(data), 1);
    EXPECT_EQ(hashBound(data), boundUpper);
    EXPECT_EQ(hashScore(data, 0), -7);
    EXPECT_EQ(moveWord(wordMove(data)), 0U);

    hashTable[1000].check = hashTable[1000].data = 0;
    putHashTableEntry(sameHome(2), someMove, 0, 9, boundLower, 0);
    EXPECT_EQ(hashDepth(getHashTableEntry(sameHome(2))), 9);
    EXPECT_EQ(hashDepth(hashTable[1001].data), 1) << "the old entry stays";
}

TEST_F(HashTable, AnEmptyTableAndATornEntryAnswerZero)
{
    for (const u64 key : {0ULL, 1ULL, ~0ULL, 12345ULL}) EXPECT_EQ(getHashTableEntry(key), 0U);
    putHashTableEntry(5, someMove, 10, 20, boundExact, 0);
    hashTable[5].data ^= 1;
    EXPECT_EQ(getHashTableEntry(5), 0U);
}

TEST_F(HashTable, ASearchOfAgeCountsForFourPliesAndAgeRunsModulo64)
{
    // One entry against three others; a fifth key takes the place of the first or of the second.
    const struct
    {
        u8 age;
        i8 depth;
        u8 otherAge;
        i8 otherDepth;
        u8 now;
        bool firstGoes;
    } cases[] = {{3, 8, 4, 4, 4, true},   // equals: the earliest line
                 {3, 9, 4, 4, 4, false},  // 5 against 4
                 {63, 8, 0, 5, 0, true},  // one search old: 4 against 5
                 {63, 8, 0, 3, 0, false}, // 4 against 3
                 {63, 8, 0, 5, 1, true},  // 0 against 1
                 {63, 8, 0, 3, 1, false}, // 0 against -1
                 {1, 9, 0, 5, 0, true},   // 63 searches old: 9 - 252 against 5
                 {7, 8, 7, 7, 7, false}}; // of this search, or 64 searches old
    for (const auto& c : cases)
    {
        clearHashTable();
        hashAgeCounter = c.age;
        putHashTableEntry(sameHome(1), someMove, 0, c.depth, boundLower, 0);
        hashAgeCounter = c.otherAge;
        for (u64 n = 2; n <= 4; ++n)
            putHashTableEntry(sameHome(n), someMove, 0, c.otherDepth, boundLower, 0);
        hashAgeCounter = c.now;
        putHashTableEntry(sameHome(5), someMove, 0, 0, boundLower, 0);
        EXPECT_EQ(getHashTableEntry(sameHome(1)) == 0, c.firstGoes) << int{c.age} << int{c.depth};
        EXPECT_EQ(getHashTableEntry(sameHome(2)) == 0, !c.firstGoes) << int{c.age} << int{c.depth};
    }
}

TEST_F(HashTable, FollowsTheModelOverRandomStoresAndProbes)
{
    modelTable model;
    std::mt19937_64 random(9);
    for (int i = 0; i < 200000; ++i)
    {
        const u64 key = (random() % 40 << 40) | (16370 + random() % 14);
        const int age = i / 2000 & 63;
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
