// SPDX-License-Identifier: MIT
//
// Corners of the material sums, of the blend, of the draw rules, and of the three tables. Where the
// positional terms would disturb, the tests change a sum of the record by hand, or look at
// differences in which those terms cancel.

#include <algorithm>
#include <cstring>

#include "support.h"

namespace
{

enum typeNumbers
{
    pawn,
    knight,
    bishop,
    rook,
    queen,
    king
};

combEval value(int type)
{
    return type == king ? X(0, 0) : pieceValue[type];
}

int phase(int type)
{
    return type == pawn || type == king ? 0 : pieceValuePhase[type];
}

/// Piece-square score of a piece, from its owner's view: white looks the board up from its far
/// side.
combEval square(int type, int colour, const std::string& name)
{
    return pieceSquareScore[type][colour == WHITE ? sq(name) ^ 56 : sq(name)];
}

/// White's score of a position with these sums added to white's material, at a phase.
int scoreWith(combEval extra, int gamePhase)
{
    Board board("4k3/4p3/8/8/8/8/4P3/3QK3 w - - 0 1");
    board->material[WHITE] += extra;
    board->gamePhase = static_cast<i16>(gamePhase);
    return evaluateN(0, board.get());
}

/// Whether a position is one of the pawnless draws, which score 0 and are not kept.
bool isDrawByRule(Board& board)
{
    const int score = evaluateN(0, board.get());
    const bool kept = getEvalHashEntry(board->evalHashTable, board->hashKey) != nullptr;
    EXPECT_TRUE(kept || score == 0);
    return !kept;
}

bool isDrawByRule(const char* fen)
{
    Board board(fen);
    return isDrawByRule(board);
}

/// A small table and age 0 for one test, and again after it.
class HashTableEdges : public testing::Test
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

} // namespace


// Packed scores

TEST(EvalPackedScore, HalvesSeparateAtEverySignAndEdge)
{
    const int edges[] = {-32768, -32767, -12000, -257, -1, 0, 1, 255, 256, 12000, 32767};
    for (const int mg : edges)
        for (const int eg : edges)
        {
            EXPECT_EQ(mgHalf(X(mg, eg)), mg) << mg << ',' << eg;
            EXPECT_EQ(egHalf(X(mg, eg)), eg) << mg << ',' << eg;
        }
    EXPECT_EQ(X(82, 94).packed, 6160466);
    EXPECT_EQ(X(-2, -6).packed, -393218);
    EXPECT_EQ(X(12000, 12000).packed, 786444000);
    EXPECT_EQ(egHalf(X(32, -7) - X(33, -7)), 0) << "a mid-game half of -1 leaves the other alone";
    EXPECT_EQ(X(3, -4) * -5, X(-15, 20));
    EXPECT_EQ(-X(-7, 9), X(7, -9));
    combEval sum = X(0, 0);
    for (int i = 0; i < 62; ++i) sum += X(1043, 960);
    EXPECT_EQ(sum, X(1043, 960) * 62) << "a sum beyond the word wraps around";
}


// Material

TEST(EvalMaterial, ALonePieceHasItsTableEntriesOnEverySquare)
{
    Board board("8/8/8/8/8/8/8/8 w - - 0 1");
    for (int type = pawn; type <= king; ++type)
        for (const int colour : {WHITE, BLACK})
            for (int s = 0; s < 64; ++s)
            {
                const std::string name = squareToLA(static_cast<u8>(s));
                initPosition(board.get());
                addPiece(static_cast<u8>(2 * type + 2 + colour), static_cast<u8>(s), board.get());
                initEvaluation(board.get());
                ASSERT_EQ(board->pstScore[colour], square(type, colour, name)) << type << name;
                ASSERT_EQ(board->pstScore[colour ^ 1], X(0, 0));
                ASSERT_EQ(board->material[colour], value(type)) << type;
                ASSERT_EQ(board->material[colour ^ 1], X(0, 0));
                ASSERT_EQ(board->gamePhase, phase(type)) << type;
            }
}

TEST(EvalMaterial, TheStartPositionIsPureMidGame)
{
    Board board{std::string(fenStartPos)};
    EXPECT_EQ(board->gamePhase, 6954);
    EXPECT_EQ(board->pstScore[WHITE], board->pstScore[BLACK]);
    for (const int colour : {WHITE, BLACK})
        EXPECT_EQ(board->material[colour], value(pawn) * 8 +
                                               (value(knight) + value(bishop) + value(rook)) * 2 +
                                               value(queen));
}

TEST(EvalMaterial, UnmakeCopiesTheSavedSumsBackAndComputesNothing)
{
    Board board("4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1");
    const moveStruct takes = board.move("e4d5");
    makeMove(1, &takes, board.get(), true);
    const combEval saved[4] = {X(1, 2), X(3, 4), X(5, 6), X(7, 8)};
    std::copy(saved, saved + 2, board.ply(1).savedMaterial);
    std::copy(saved + 2, saved + 4, board.ply(1).savedPstScore);
    board.ply(1).savedGamePhase = 9;
    unmakeMove(1, &takes, board.get());
    EXPECT_TRUE(std::equal(saved, saved + 2, board->material));
    EXPECT_TRUE(std::equal(saved + 2, saved + 4, board->pstScore));
    EXPECT_EQ(board->gamePhase, 9);
}


// Blend and driver

TEST(EvalDriver, EachHalfWeighsItsDistanceFromTheOtherBoundOfThePhase)
{
    constexpr int range = GAMEPHASEMAXMG - GAMEPHASEMINEG;
    for (const int gamePhase :
         {-100, 0, GAMEPHASEMINEG - 1, GAMEPHASEMINEG, GAMEPHASEMINEG + 1, 1000, 3340, 6000,
          GAMEPHASEMAXMG - 1, GAMEPHASEMAXMG, GAMEPHASEMAXMG + 1, 6954, 30000})
    {
        const int clamped = std::clamp(gamePhase, GAMEPHASEMINEG, GAMEPHASEMAXMG);
        const int score = scoreWith(X(0, 0), gamePhase);
        ASSERT_GT(score, 0) << "so that truncation goes one way";
        EXPECT_EQ(scoreWith(X(range, 0), gamePhase), score + clamped - GAMEPHASEMINEG);
        EXPECT_EQ(scoreWith(X(0, range), gamePhase), score + GAMEPHASEMAXMG - clamped);
        EXPECT_EQ(scoreWith(X(700, 700), gamePhase), score + 700) << gamePhase;
    }
}

TEST(EvalDriver, WithoutPawnsAtMostOneMinorPieceEachOrRookAgainstRookIsADraw)
{
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4k3/8/8/8/8/8/8/2B1K3 b - - 0 1", "4kn2/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4kn2/8/8/8/8/8/8/1N2K3 b - - 0 1", "2b1k3/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4k3/r7/8/8/8/8/7R/4K3 w - - 0 1", "4k3/r7/8/8/8/8/7R/4K3 b - - 0 1",
                            "4k3/r7/8/8/8/8/R7/4K3 w - - 0 1"}) // the rooks attack each other
        EXPECT_TRUE(isDrawByRule(fen)) << fen;
    for (const char* fen :
         {"4k3/8/8/8/8/8/8/1NN1K3 w - - 0 1", "4k3/8/8/8/8/8/8/1BN1K3 b - - 0 1",
          "4k3/8/8/8/8/8/8/4K2R w - - 0 1", "4k2r/8/8/8/8/8/8/2B1K3 w - - 0 1",
          "r3k3/8/8/8/8/8/8/R1B1K3 w - - 0 1", "r1b1k3/8/8/8/8/8/8/R3K3 b - - 0 1",
          "r3k3/8/8/8/8/8/8/Q3K3 w - - 0 1", "q3k3/8/8/8/8/8/8/Q3K3 w - - 0 1",
          // a pawn of either side
          "4k3/8/8/8/8/8/P7/4K3 w - - 0 1", "4k3/p7/8/8/8/8/8/4K3 w - - 0 1",
          "4kn2/8/8/8/8/8/P7/2B1K3 w - - 0 1", "4kn2/p7/8/8/8/8/8/2B1K3 w - - 0 1",
          "r3k3/8/8/8/8/8/7P/R3K3 w - - 0 1", "r3k3/7p/8/8/8/8/8/R3K3 b - - 0 1"})
        EXPECT_FALSE(isDrawByRule(fen)) << fen;
}

TEST(EvalDriver, TheDrawRulesReadTheMidGameHalvesAtTheirBounds)
{
    const auto isDraw = [](combEval white, combEval black)
    {
        Board board("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
        board->material[WHITE] = white;
        board->material[BLACK] = black;
        return isDrawByRule(board);
    };
    const int minor = std::max(mgHalf(value(knight)), mgHalf(value(bishop)));
    const int oneRook = mgHalf(value(rook));
    EXPECT_TRUE(isDraw(X(minor, 999), X(minor, -999)));
    EXPECT_FALSE(isDraw(X(minor + 1, 0), X(0, 0)));
    EXPECT_FALSE(isDraw(X(0, 0), X(minor + 1, 0)));
    EXPECT_TRUE(isDraw(X(oneRook, 1), X(oneRook, 7)));
    EXPECT_FALSE(isDraw(X(oneRook, 514), X(oneRook - 1, 514)));
    EXPECT_FALSE(isDraw(X(oneRook + 1, 514), X(oneRook, 514)));
}

TEST(EvalDriver, ACacheEntryComesBeforeTheDrawRulesAndADrawStoresNone)
{
    Board draw("4k3/8/8/8/8/8/8/4K3 b - - 0 1");
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(isDrawByRule(draw));
    putEvalHashEntry(draw->evalHashTable, draw->hashKey, 321);
    EXPECT_EQ(evaluateN(0, draw.get()), -321) << "kept for white";
}


// Caches

TEST(HashCaches, AnEvaluationIsKeptForWhiteAndReadForTheSideToMove)
{
    Board board("4k3/8/8/8/8/8/8/Q3K3 b - - 0 1");
    const int score = evaluateN(0, board.get());
    EXPECT_LT(score, 0);
    ASSERT_NE(getEvalHashEntry(board->evalHashTable, board->hashKey), nullptr);
    EXPECT_EQ(getEvalHashEntry(board->evalHashTable, board->hashKey)->score, -score);
    EXPECT_EQ(evaluateN(0, board.get()), score);
    Board white("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
    putEvalHashEntry(white->evalHashTable, white->hashKey, -1);
    EXPECT_EQ(evaluateN(0, white.get()), -1);
}

TEST(HashCaches, SlotsAreTheLowBitsAndTheWholeKeyIsCompared)
{
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    const auto evaluations = std::make_unique<evalHashTableStruct>();
    for (u64 slot = 1; slot < 65536; ++slot) putPawnHashEntry(pawns.get(), slot, slot, X(1, 1));
    for (u64 slot = 1; slot < 16384; ++slot)
        putEvalHashEntry(evaluations.get(), slot, static_cast<int>(slot));
    for (u64 slot = 1; slot < 65536; ++slot)
    {
        ASSERT_EQ(getPawnHashEntry(pawns.get(), slot)->passedPawns, slot);
        if (slot < 16384)
        {
            ASSERT_EQ(getEvalHashEntry(evaluations.get(), slot)->score, static_cast<int>(slot));
        }
    }
    for (int i = 14; i < 64; ++i)
    {
        EXPECT_TRUE(i < 16 || !getPawnHashEntry(pawns.get(), 0x1234 | 1ULL << i)) << i;
        EXPECT_EQ(getEvalHashEntry(evaluations.get(), 0x1234 | 1ULL << i), nullptr) << i;
    }
}

TEST(HashCaches, AKnownPawnStructureStillHalvesTheShieldWithoutAnEnemyQueen)
{
    // The same pawns and kings, so one pawn entry: only the black queen's presence differs.
    Board withQueen("3q2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1");
    Board without("3r2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1");
    ASSERT_EQ(withQueen->pawnHashKey, without->pawnHashKey);
    int shield = 0;
    for (const char* name : {"f2", "g2", "h2"}) shield += plain(EVALPAWNSHIELD[sq(name) ^ 56]);
    for (const auto& [board, divisor] : {std::pair{&withQueen, 1}, std::pair{&without, 2}})
    {
        evaluateN(0, board->get());
        const pawnEntry* entry = getPawnHashEntry((*board)->pawnHashTable, (*board)->pawnHashKey);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->shield[WHITE], shield);
        EXPECT_EQ(entry->shield[BLACK], 0);
        const evalTrace trace = evaluateTraced(board->get());
        EXPECT_EQ(trace.terms[termShield][WHITE], X(shield / divisor, 0));
        (*board)->evalHashTable->entries[evalSlot((*board)->hashKey)].key = 0;
        EXPECT_EQ(evaluateN(0, board->get()), trace.score) << "from the pawn table";
    }
}

TEST(HashCaches, ScoresKeepTheirSignAndTheLow16BitsAndZeroIsData)
{
    const auto evaluations = std::make_unique<evalHashTableStruct>();
    for (const int score : {-1, 0, -32000, 32000, -32768, 32767})
    {
        putEvalHashEntry(evaluations.get(), 9, score);
        ASSERT_NE(getEvalHashEntry(evaluations.get(), 9), nullptr);
        EXPECT_EQ(getEvalHashEntry(evaluations.get(), 9)->score, score);
    }
    putEvalHashEntry(evaluations.get(), 9, 0x7fff0005);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 9)->score, 5);
    putEvalHashEntry(evaluations.get(), 0x4009, 7);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 9), nullptr) << "another key of the slot";
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    for (const u64 passed : {0ULL, ~0ULL})
    {
        putPawnHashEntry(pawns.get(), 77, passed, X(-1, 0));
        ASSERT_NE(getPawnHashEntry(pawns.get(), 77), nullptr);
        EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->passedPawns, passed);
        EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->score, X(-1, 0));
    }
}

TEST(HashCaches, TwoSearchersDoNotSeeEachOthersEntries)
{
    struct openWorker : worker
    {
        using worker::position;
        using worker::worker;
    };
    Board board("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
    const auto first = std::make_unique<openWorker>(1);
    const auto second = std::make_unique<openWorker>(2);
    first->setPosition(board.get());
    second->setPosition(board.get());
    positionStruct* const one = first->position;
    positionStruct* const two = second->position;
    EXPECT_NE(one->pawnHashTable, two->pawnHashTable);
    EXPECT_NE(one->evalHashTable, board->evalHashTable);
    evaluateN(0, one);
    EXPECT_NE(getEvalHashEntry(one->evalHashTable, one->hashKey), nullptr);
    EXPECT_EQ(getEvalHashEntry(two->evalHashTable, two->hashKey), nullptr);
}


// Transposition table

TEST_F(HashTableEdges, AnEntryIsTwoWordsAtTheHeadOfItsLine)
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

TEST_F(HashTableEdges, AHitRenewsTheAgeAndNothingElse)
{
    hashAgeCounter = 5;
    putHashTableEntry(3, {1, 2, 0, 4}, 31990, 9, boundExact, 7);
    const u64 stored = wordAt(3, 8);
    const u64 check = wordAt(3, 0);
    hashAgeCounter = 63;
    EXPECT_EQ(getHashTableEntry(3) & HASHDATAMASK, stored & HASHDATAMASK);
    EXPECT_EQ(wordAt(3, 8), (stored & HASHDATAMASK) | 63ULL << 58);
    EXPECT_EQ(wordAt(3, 0), check);
    EXPECT_EQ(hashBound(getHashTableEntry(3)), boundExact);
    hashAgeCounter = 0;
    EXPECT_EQ(getHashTableEntry(3 | 1ULL << 40), 0U);
    EXPECT_EQ(wordAt(3, 8) >> 58, 63U) << "a miss renews nothing";
}

TEST_F(HashTableEdges, TheScanGoesOnBeyondAnEmptyLine)
{
    const auto keyOf = [](u64 n) { return n << 40 | 700; };
    for (u64 n = 1; n <= 4; ++n) putHashTableEntry(keyOf(n), {1, 2, 0, 4}, 0, 5, boundLower, 0);
    for (const u64 line : {u64{700}, u64{701}, u64{702}})
        hashTable[line].check = hashTable[line].data = 0;
    EXPECT_NE(getHashTableEntry(keyOf(4)), 0U);
    EXPECT_EQ(wordAt(704, 0), 0U) << "and no further than four lines";
}

TEST_F(HashTableEdges, TheLastHomeLinesReachIntoTheSpareOnes)
{
    const u64 last = hashKeyMask;
    ASSERT_EQ(last, 16383U);
    for (u64 n = 1; n <= 4; ++n)
        putHashTableEntry(n << 40 | last, {1, 2, 0, 4}, 0, static_cast<i8>(n), boundLower, 0);
    for (u64 n = 1; n <= 4; ++n)
    {
        EXPECT_EQ(hashDepth(getHashTableEntry(n << 40 | last)), static_cast<int>(n));
        EXPECT_EQ(hashDepth(wordAt(last + n - 1, 8)), static_cast<int>(n)) << "line by line";
    }
    EXPECT_EQ(wordAt(0, 0), 0U) << "no wrap around to the first line";
    clearHashTable();
    for (u64 line = last; line < last + 4; ++line) EXPECT_EQ(wordAt(line, 0), 0U) << line;
}

TEST_F(HashTableEdges, ClearingEmptiesTheLinesAndTheCountOfSearchesAndKeepsTheAge)
{
    hashAgeCounter = 11;
    hashHartBeat = 75;
    hashCountUse = 4;
    putHashTableEntry(123, {1, 2, 0, 4}, 0, 5, boundLower, 0);
    for (int i = 14; i < 64; ++i) EXPECT_EQ(getHashTableEntry(123 | 1ULL << i), 0U) << i;
    clearHashTable();
    EXPECT_EQ(getHashTableEntry(123), 0U);
    EXPECT_EQ(wordAt(123, 8), 0U);
    EXPECT_EQ(hashHartBeat, 0U);
    EXPECT_EQ(hashCountUse, 0U);
    EXPECT_EQ(hashAgeCounter, 11);
}
