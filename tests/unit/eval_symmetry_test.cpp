// SPDX-License-Identifier: MIT
//
// What holds for every evaluation: neither the caches nor earlier evaluations change it, and no
// board overflows it.

#include <algorithm>
#include <random>

#include "support.h"

TEST(EvalSymmetry, CachesAndTheOrderOfEarlierEvaluationsChangeNothing)
{
    Board warm{std::string(fenStartPos)};
    std::vector<std::string> fens = manyPositions();
    for (const bool again : {false, true})
    {
        for (const std::string& fen : fens)
        {
            const int score = evaluateN(0, Board(fen).get());
            setPosition(fen, warm.get());
            ASSERT_EQ(evaluateN(0, warm.get()), score) << fen;
            ASSERT_EQ(evaluateN(0, warm.get()), score) << "from the evaluation cache: " << fen;
            warm->evalHashTable->entries[evalSlot(warm->hashKey)] = {};
            ASSERT_EQ(evaluateN(0, warm.get()), score) << "from the pawn cache: " << fen;
        }
        if (!again) std::shuffle(fens.begin(), fens.end(), std::mt19937(6));
    }
}

// The halves hold 16 bits each, and a mate score must never be reached. Under the sanitizer these
// boards also show that nothing overflows on the way.
TEST(EvalSymmetry, ExtremeBoardsStayWithinSixteenBitsInBothColours)
{
    const std::pair<const char*, const char*> boards[] = {
        // nine queens a side
        {"qqqqk3/qqqqq3/8/8/8/8/3QQQQQ/3KQQQQ w - - 0 1",
         "3kqqqq/3qqqqq/8/8/8/8/QQQQQ3/QQQQK3 b - - 0 1"},
        // nine queens and all other pieces against a king
        {"k7/8/8/8/8/QQQQQQQQ/RNBQKBNR/8 w - - 0 1", "8/rnbqkbnr/qqqqqqqq/8/8/8/8/K7 b - - 0 1"},
        // all pawns passed
        {"4k3/PPPP4/8/8/8/8/4pppp/4K3 w - - 0 1", "4k3/4PPPP/8/8/8/8/pppp4/4K3 b - - 0 1"},
        {"4k3/PPPPPPPP/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/pppppppp/4K3 b - - 0 1"},
        // an exposed king that everything attacks
        {"1q1r1r2/1b1n1n2/2b5/3K4/8/8/q7/k7 w - - 0 1",
         "K7/Q7/8/8/3k4/2B5/1B1N1N2/1Q1R1R2 b - - 0 1"},
        {"3rr3/1b3b2/2n2n2/q7/4K3/8/8/k7 w - - 0 1", "K7/8/8/4k3/Q7/2N2N2/1B3B2/3RR3 b - - 0 1"},
    };
    for (const auto& [fen, exchanged] : boards)
    {
        Board board(fen);
        const evalTrace trace = evaluateTraced(board.get());
        EXPECT_LT(std::abs(trace.score), SCOREMATELIMIT) << fen;
        EXPECT_EQ(evaluateN(0, board.get()), trace.score) << fen;
        EXPECT_EQ(evaluateN(0, Board(exchanged).get()), trace.score) << fen;
        // The same sum in wide integers.
        int mg = 0;
        int eg = 0;
        for (const auto& both : trace.terms)
        {
            mg += mgHalf(both[WHITE]) - mgHalf(both[BLACK]);
            eg += egHalf(both[WHITE]) - egHalf(both[BLACK]);
        }
        EXPECT_EQ(mgHalf(trace.total), mg) << fen;
        EXPECT_EQ(egHalf(trace.total), eg) << fen;
    }
}
