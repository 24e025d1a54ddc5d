// SPDX-License-Identifier: MIT
//
// Transposition table, pawn and evaluation caches, packed scores, material and the driver.

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

/// The stated layout and replacement, on plain vectors.
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

TEST_F(HashTable, SizesAreRoundedUpToAPowerOfTwo)
{
    const std::pair<int, u64> sizes[] = {{0, 16384},     {1, 16384},    {2, 32768},  {3, 65536},
                                         {4, 65536},     {5, 131072},   {8, 131072}, {129, 4194304},
                                         {256, 4194304}, {257, 8388608}};
    for (const auto& [megabytes, lines] : sizes)
    {
        createHashTable(megabytes);
        EXPECT_EQ(hashKeyMask + 1, lines) << megabytes;
        EXPECT_EQ(hashHartBeat, 0U);
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

    write("proc/self/cgroup", "9:name=systemd:/\n4:cpu,memory:/box\n3:cpuset:/user\nnonsense");
    EXPECT_EQ(limit(), none) << "the second version's files don't count";
    write("sys/fs/cgroup/memory/memory.limit_in_bytes", "700000");
    EXPECT_EQ(limit(), 700000U) << "of the top, as a container sees its own";
    write("sys/fs/cgroup/memory/box/memory.limit_in_bytes", "600000");
    EXPECT_EQ(limit(), 600000U);
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

TEST_F(HashTable, AShallowerResultReplacesTheSameKey)
{
    putHashTableEntry(5, someMove, 10, 20, boundExact, 0);
    putHashTableEntry(5, EMPTYMOVE, -7, 1, boundUpper, 0);
    const u64 data = getHashTableEntry(5);
    EXPECT_EQ(hashDepth(data), 1);
    EXPECT_EQ(hashBound(data), boundUpper);
    EXPECT_EQ(hashScore(data, 0), -7);
    EXPECT_EQ(moveWord(wordMove(data)), 0U);
}

TEST_F(HashTable, AnEmptyLineInFrontOfTheKeysOwnIsTaken)
{
    for (u64 n = 1; n <= 2; ++n) putHashTableEntry(sameHome(n), someMove, 0, 5, boundLower, 0);
    hashTable[1000].check = hashTable[1000].data = 0;
    putHashTableEntry(sameHome(2), someMove, 0, 9, boundLower, 0);
    EXPECT_EQ(hashDepth(getHashTableEntry(sameHome(2))), 9);
    EXPECT_EQ(hashDepth(hashTable[1001].data), 5) << "the old entry stays";
}

TEST_F(HashTable, AnEmptyTableAnswersZeroForEveryKeyZeroIncluded)
{
    for (const u64 key : {0ULL, 1ULL, ~0ULL, 12345ULL}) EXPECT_EQ(getHashTableEntry(key), 0U);
}

TEST_F(HashTable, ASearchOfAgeCountsForFourPliesAndAgeRunsModulo64)
{
    // Old at depth 8 against new at depth 4: equal keep-values, so the earliest line goes.
    hashAgeCounter = 3;
    putHashTableEntry(sameHome(1), someMove, 0, 8, boundLower, 0);
    hashAgeCounter = 4;
    for (u64 n = 2; n <= 4; ++n) putHashTableEntry(sameHome(n), someMove, 0, 4, boundLower, 0);
    putHashTableEntry(sameHome(5), someMove, 0, 0, boundLower, 0);
    EXPECT_EQ(getHashTableEntry(sameHome(1)), 0U);
    EXPECT_NE(getHashTableEntry(sameHome(2)), 0U);

    clearHashTable();
    hashAgeCounter = 7;
    putHashTableEntry(sameHome(1), someMove, 0, 8, boundLower, 0);
    for (u64 n = 2; n <= 4; ++n) putHashTableEntry(sameHome(n), someMove, 0, 7, boundLower, 0);
    hashAgeCounter = (7 + 64) & 63;
    putHashTableEntry(sameHome(5), someMove, 0, 0, boundLower, 0);
    EXPECT_NE(getHashTableEntry(sameHome(1)), 0U) << "64 searches old counts as new";
    EXPECT_EQ(getHashTableEntry(sameHome(2)), 0U);
}

TEST_F(HashTable, FollowsTheModelOverRandomStoresAndProbes)
{
    modelTable model;
    std::mt19937_64 random(9);
    for (int i = 0; i < 200000; ++i)
    {
        const u64 key = (random() % 40 << 40) | (16370 + random() % 14);
        const int age = static_cast<int>(i / 5000) & 63;
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
    clearHashTable();
    const u64 key = 77;
    for (u64 line = 0; line < 6; ++line)
    {
        clearHashTable();
        putHashTableEntry(key, someMove, 5, 9, boundExact, 0);
        std::swap(hashTable[key & hashKeyMask], hashTable[(key & hashKeyMask) + line]);
        EXPECT_EQ(getHashTableEntry(key) != 0, line < 4) << line;
    }
}

TEST_F(HashTable, ATornEntryIsAMiss)
{
    putHashTableEntry(5, someMove, 10, 20, boundExact, 0);
    hashTable[5].data ^= 1;
    EXPECT_EQ(getHashTableEntry(5), 0U);
}

TEST(Caches, KeysOfOneSlotReplaceEachOther)
{
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    putPawnHashEntry(pawns.get(), 0x10005, 42, X(-3, 4));
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 0x10005)->score, X(-3, 4));
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 0x10005)->passedPawns, 42U);
    putPawnHashEntry(pawns.get(), 0x20005, 0, X(0, 0));
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 0x10005), nullptr);
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 0x20005)->score, X(0, 0));

    const auto evaluations = std::make_unique<evalHashTableStruct>();
    putEvalHashEntry(evaluations.get(), 0x4007, -1);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 0x4007)->score, -1);
    putEvalHashEntry(evaluations.get(), 0x8007, 9);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 0x4007), nullptr);
}

TEST(PackedScore, ANegativeLowHalfSeparatesToItsTrueHalves)
{
    EXPECT_EQ(X(82, 94).packed, 6160466);
    EXPECT_EQ(X(-2, -6).packed, -393218);
    EXPECT_EQ(X(-1, 0).packed, -1);
    for (int mg = -32768; mg <= 32767; mg += 997)
        for (int eg = -32768; eg <= 32767; eg += 991)
        {
            EXPECT_EQ(mgHalf(X(mg, eg)), mg);
            EXPECT_EQ(egHalf(X(mg, eg)), eg);
        }
    EXPECT_EQ(X(3, -4) * -5, X(-15, 20));
    EXPECT_EQ(X(1, 2) - X(3, -4), X(-2, 6));
    EXPECT_EQ(-X(-7, 9), X(7, -9));
}

TEST(Material, TheStartPositionsSums)
{
    Board board{std::string(fenStartPos)};
    for (const int colour : {WHITE, BLACK}) EXPECT_EQ(board->material[colour], X(4133, 3874));
    EXPECT_EQ(board->pstScore[WHITE], board->pstScore[BLACK]);
    EXPECT_EQ(board->gamePhase, 6954);
}

// A slip of one digit, or two entries that change places, changes one of the sums.
TEST(Material, TheSquareTablesAddUp)
{
    // By type: sums of the mid-game and end-game halves over the 64 entries, plain and each times
    // its number in the table, the owner's eighth rank first, from 1 on.
    constexpr int expected[6][4] = {
        {69, 1128, -6212, 14276}, {3, -977, 6026, -29270}, {-78, -201, 9437, -7240},
        {-229, 322, -6694, -802}, {109, 723, 4810, 14152}, {-799, 262, -25160, 4487},
    };
    for (int type = 0; type < 6; ++type)
        for (const int colour : {WHITE, BLACK})
        {
            int sums[4] = {};
            for (int entry = 0; entry < 64; ++entry)
            {
                Board board("8/8/8/8/8/8/8/8 w - - 0 1");
                addPiece(static_cast<u8>(2 * type + 2 + colour),
                         static_cast<u8>(colour == WHITE ? entry ^ 56 : entry), board.get());
                initEvaluation(board.get());
                const combEval score = board->pstScore[colour];
                sums[0] += mgHalf(score);
                sums[1] += egHalf(score);
                sums[2] += mgHalf(score) * (entry + 1);
                sums[3] += egHalf(score) * (entry + 1);
            }
            for (int i = 0; i < 4; ++i) EXPECT_EQ(sums[i], expected[type][i]) << type << ' ' << i;
        }
}

TEST(Material, KingsAloneHaveNoMaterialAndNoPhase)
{
    Board board("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(board->material[WHITE], X(0, 0));
    EXPECT_EQ(board->gamePhase, 0);
    EXPECT_EQ(board->pstScore[WHITE], X(2, -10)) << "king e1";
    EXPECT_EQ(board->pstScore[BLACK], X(2, -10)) << "king e8, the same coordinate";
}

TEST(Material, APawnTakenLeavesThePhaseAndAPromotionRaisesIt)
{
    Board board("1n2k3/P7/8/3p4/4P3/8/8/4K3 w - - 0 1");
    const moveStruct pawn = board.move("e4d5");
    makeMove(1, &pawn, board.get(), true);
    EXPECT_EQ(board->gamePhase, 352);
    unmakeMove(1, &pawn, board.get());
    const moveStruct both = board.move("a7b8q");
    makeMove(1, &both, board.get(), true);
    EXPECT_EQ(board->gamePhase, 1043);
    EXPECT_EQ(board->material[WHITE], X(1043 + 82, 960 + 94));
    EXPECT_EQ(board->material[BLACK], X(82, 94));
}

TEST(Material, EnPassantChangesTheSquareOfThePawnTakenAndTheLandingSquare)
{
    Board board("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    const moveStruct takes = board.move("e5d6");
    const combEval black = board->pstScore[BLACK];
    makeMove(1, &takes, board.get(), true);
    // Black's pawn on d5 stands on its fourth rank: row 4 of the owner's table, file d.
    EXPECT_EQ(black - board->pstScore[BLACK], X(5, -6));
    EXPECT_EQ(board->pstScore[WHITE], X(2, -10) + X(-3, 14)) << "king e1, pawn d6";
}

TEST(Driver, TheStartPositionIsWorthTheTempo)
{
    Board white{std::string(fenStartPos)};
    Board black("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(evaluateN(0, white.get()), 25);
    EXPECT_EQ(evaluateN(0, black.get()), 25);
}

TEST(Driver, AColourFlipKeepsTheScore)
{
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        const int score = evaluateN(0, board.get());
        Board flipped("8/8/8/8/8/8/8/8 w - - 0 1");
        initPosition(flipped.get());
        for (int s = 0; s < 64; ++s)
            if (board->board[s])
                addPiece(board->board[s] ^ 1, static_cast<u8>(s ^ 56), flipped.get());
        flipped->sideToMove = board->sideToMove ^ 1;
        flipped->hashKey = calcHashKey(0, flipped.get());
        flipped->pawnHashKey = calcHashKeyPawn(0, flipped.get());
        initEvaluation(flipped.get());
        EXPECT_EQ(evaluateN(0, flipped.get()), score) << fen;
        EXPECT_EQ(evaluateN(0, board.get()), score) << "from the cache, " << fen;
    }
}

TEST(Driver, PawnlessDraws)
{
    const auto score = [](const char* men)
    {
        Board board(std::string(men) + " w - - 0 1");
        return evaluateN(0, board.get());
    };
    EXPECT_EQ(score("4kn2/8/8/8/8/8/8/2B1K3"), 0);
    EXPECT_EQ(score("4k3/8/8/8/8/8/8/4K3"), 0);
    EXPECT_EQ(score("r3k3/8/8/8/8/8/8/R3K3"), 0);
    EXPECT_NE(score("4k3/8/8/8/8/8/8/1NN1K3"), 0) << "two knights go through the evaluation";
    EXPECT_NE(score("r3k3/8/8/8/8/8/8/R1B1K3"), 0);
    EXPECT_NE(score("r3k3/8/8/8/8/8/P7/R3K3"), 0) << "one pawn, no rule";
    EXPECT_NE(score("4kn2/8/8/8/8/8/P7/2B1K3"), 0);
}

TEST(Driver, ADrawIsNotCachedAndAHitTurnsToTheSideToMove)
{
    Board draw("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(evaluateN(0, draw.get()), 0);
    EXPECT_EQ(getEvalHashEntry(draw->evalHashTable, draw->hashKey), nullptr);
    Board queen("3qk3/8/8/8/8/8/8/4K3 b - - 0 1");
    const int first = evaluateN(0, queen.get());
    EXPECT_GT(first, 500);
    EXPECT_EQ(getEvalHashEntry(queen->evalHashTable, queen->hashKey)->score, -first);
    EXPECT_EQ(evaluateN(0, queen.get()), first);
}

TEST(Driver, ThreeBishopsEarnNoPair)
{
    // The third bishop comes without the pair's bonus: the same men, told apart by the count.
    const auto pairless = [](const char* fen)
    {
        Board board(fen);
        const int sum = mgHalf(board->material[WHITE] - board->material[BLACK] +
                               board->pstScore[WHITE] - board->pstScore[BLACK]);
        return std::pair(sum, evaluateN(0, board.get()));
    };
    // Full phase: the blend is the mid-game half alone.
    const auto two = pairless("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(two.second, two.first + 25) << "one pair each cancels";
    Board three("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RBBQKBNR w KQkq - 0 1");
    Board same("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RBBQKBNR b KQkq - 0 1");
    EXPECT_EQ(evaluateN(0, three.get()) + evaluateN(0, same.get()), 50)
        << "the tempo is all that the side to move changes";
}

TEST(Driver, BeyondItsBoundsThePhaseBlendsAsAtTheBound)
{
    // Kings and pawns: phase 0 counts as 497, the end-game half alone.
    Board pawns("4k3/8/8/8/8/8/P7/4K3 w - - 0 1");
    EXPECT_EQ(pawns->gamePhase, 0);
    pawns->gamePhase = 497;
    const int atBound = evaluateN(0, pawns.get());
    Board below("4k3/8/8/8/8/8/P7/4K3 w - - 0 1");
    EXPECT_EQ(evaluateN(0, below.get()), atBound);
    // All men: phase 6954 counts as 6183.
    Board full{std::string(fenStartPos)};
    Board bound{std::string(fenStartPos)};
    bound->gamePhase = 6183;
    EXPECT_EQ(evaluateN(0, full.get()), evaluateN(0, bound.get()));
}
