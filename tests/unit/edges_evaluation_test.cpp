// SPDX-License-Identifier: MIT
//
// Packed scores, the draw rules of the evaluation, and its two caches.

#include "support.h"

namespace
{

/// Whether a position is one of the pawnless draws, which score 0 and are not cached.
bool isDrawByRule(const char* fen)
{
    Board board(fen);
    const int score = evaluateN(0, board.get());
    const bool kept = getEvalHashEntry(board->evalHashTable, board->hashKey) != nullptr;
    EXPECT_TRUE(kept || score == 0);
    return !kept;
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


// Draw rules

TEST(EvalDriver, WithoutPawnsAtMostOneMinorPieceEachOrRookAgainstRookIsADraw)
{
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/8/2B1K3 w - - 0 1",
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
          "4kn2/8/8/8/8/8/P7/2B1K3 w - - 0 1", "4kn2/p7/8/8/8/8/8/2B1K3 w - - 0 1",
          "r3k3/8/8/8/8/8/7P/R3K3 w - - 0 1", "r3k3/7p/8/8/8/8/8/R3K3 b - - 0 1"})
        EXPECT_FALSE(isDrawByRule(fen)) << fen;
}

TEST(EvalDriver, ACacheEntryComesBeforeTheDrawRulesAndIsKeptForWhite)
{
    Board draw("4k3/8/8/8/8/8/8/4K3 b - - 0 1");
    putEvalHashEntry(draw->evalHashTable, draw->hashKey, 321);
    EXPECT_EQ(evaluateN(0, draw.get()), -321);
}


// Caches

TEST(HashCaches, SlotsAreTheLowBitsAndTheWholeKeyIsCompared)
{
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    const auto evaluations = std::make_unique<evalHashTableStruct>();
    for (u64 key = 1; key < 65536; ++key) putPawnHashEntry(pawns.get(), key, key, X(1, 1));
    for (u64 key = 1; key < 16384; ++key)
        putEvalHashEntry(evaluations.get(), key, static_cast<int>(key));
    for (u64 key = 1; key < 65536; ++key)
        ASSERT_EQ(getPawnHashEntry(pawns.get(), key)->passedPawns, key);
    for (u64 key = 1; key < 16384; ++key)
        ASSERT_EQ(getEvalHashEntry(evaluations.get(), key)->score, static_cast<int>(key));
    for (int i = 14; i < 64; ++i)
    {
        EXPECT_TRUE(i < 16 || !getPawnHashEntry(pawns.get(), 0x1234 | 1ULL << i)) << i;
        EXPECT_EQ(getEvalHashEntry(evaluations.get(), 0x1234 | 1ULL << i), nullptr) << i;
    }
}

TEST(HashCaches, AKnownPawnStructureStillHalvesTheShieldWithoutAnEnemyQueen)
{
    // The same pawns and kings, so the same pawn entry.
    Board board("3q2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1");
    evaluateN(0, board.get());
    const u64 pawnKey = board->pawnHashKey;
    const std::string withoutQueen = "3r2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1";
    setPosition(withoutQueen, board.get());
    ASSERT_EQ(board->pawnHashKey, pawnKey);
    EXPECT_EQ(evaluateN(0, board.get()), evaluateN(0, Board(withoutQueen).get()));
}

TEST(HashCaches, ScoresKeepTheirSignAndTheLow16BitsAndZeroIsData)
{
    const auto evaluations = std::make_unique<evalHashTableStruct>();
    for (const auto& [score, kept] :
         {std::pair(-1, -1), {0, 0}, {-32768, -32768}, {32767, 32767}, {0x7fff0005, 5}})
    {
        putEvalHashEntry(evaluations.get(), 9, score);
        ASSERT_NE(getEvalHashEntry(evaluations.get(), 9), nullptr);
        EXPECT_EQ(getEvalHashEntry(evaluations.get(), 9)->score, kept);
    }
    putEvalHashEntry(evaluations.get(), 0x4009, 7);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 9), nullptr) << "another key of the slot";
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    putPawnHashEntry(pawns.get(), 77, 0, X(-1, 0));
    ASSERT_NE(getPawnHashEntry(pawns.get(), 77), nullptr);
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->passedPawns, 0U);
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->score, X(-1, 0));
}
