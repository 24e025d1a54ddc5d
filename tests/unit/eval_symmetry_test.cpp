// SPDX-License-Identifier: MIT
//
// What holds for every evaluation: it is the same with the colours exchanged, no cache and no order
// of earlier evaluations changes it, the terms add up to it, and no board overflows it.

#include <algorithm>
#include <random>

#include "support.h"

namespace
{

/// A board without history, and the side to move.
struct placement
{
    u8 board[NOFSQUARES] = {};
    u8 side = WHITE;
};

/// The same position with the ranks mirrored and the colours exchanged.
placement turned(const placement& from)
{
    placement to;
    for (int square = 0; square < NOFSQUARES; ++square)
    {
        const u8 code = from.board[square];
        to.board[square ^ 56] = code ? code ^ 1 : NOPIECE;
    }
    to.side = from.side ^ 1;
    return to;
}

placement placementOf(const std::string& fen)
{
    Board board(fen);
    placement result;
    std::copy_n(board->board, NOFSQUARES, result.board);
    result.side = board->sideToMove;
    return result;
}

/// Evaluates placements with caches of its own.
class evaluator
{
  public:
    int score(const placement& what)
    {
        set(what);
        return evaluateN(0, position.get());
    }

    /// With the cache entries that this placement would meet emptied before.
    int coldScore(const placement& what)
    {
        set(what);
        position->pawnHashTable->entries[pawnSlot(position->pawnHashKey)] = {};
        position->evalHashTable->entries[evalSlot(position->hashKey)] = {};
        return evaluateN(0, position.get());
    }

    evalTrace trace(const placement& what)
    {
        set(what);
        return evaluateTraced(position.get());
    }

    positionStruct* set(const placement& what)
    {
        positionStruct* p = position.get();
        std::fill_n(p->pieceBB, NOFPIECECODES, 0);
        for (u8 square = 0; square < NOFSQUARES; ++square)
        {
            const u8 code = what.board[square];
            p->board[square] = code;
            if (code == NOPIECE) continue;
            p->pieceBB[code] |= bit(square);
            p->pieceBB[code & 1] |= bit(square);
        }
        p->sideToMove = what.side;
        p->plies[0].castlingRights = p->plies[0].enPassantSquare = 0;
        p->hashKey = calcHashKey(0, p);
        p->pawnHashKey = calcHashKeyPawn(0, p);
        initEvaluation(p);
        return p;
    }

  private:
    Board position{"4k3/8/8/8/8/8/8/4K3 w - - 0 1"};
};

/// Two kings and up to 40 more pieces anywhere; the side not to move isn't in check.
std::vector<placement> randomPlacements(size_t count)
{
    std::vector<placement> placements;
    std::mt19937 random(5);
    evaluator check;
    while (placements.size() < count)
    {
        placement next;
        next.side = random() & 1;
        next.board[random() % NOFSQUARES] = KING + WHITE;
        next.board[random() % NOFSQUARES] = KING + BLACK;
        for (auto pieces = random() % 40; pieces; --pieces)
        {
            const auto square = random() % NOFSQUARES;
            const u8 code = static_cast<u8>(PAWN + random() % 10);
            const bool isOnEdge = square < 8 || square >= 56;
            if (next.board[square] == NOPIECE && !(code < KNIGHT && isOnEdge))
                next.board[square] = code;
        }
        if (makePlayable(check.set(next))) placements.push_back(next);
    }
    return placements;
}

/// Random placements and positions of games, made once a process.
const std::vector<placement>& allPlacements()
{
    static const std::vector<placement> all = []
    {
        std::vector<placement> list = randomPlacements(20000);
        for (const std::string& fen : manyPositions()) list.push_back(placementOf(fen));
        return list;
    }();
    return all;
}

TEST(EvalSymmetry, IsTheSameWithColoursExchanged)
{
    evaluator evaluate;
    for (const placement& position : allPlacements())
        ASSERT_EQ(evaluate.score(position), evaluate.score(turned(position)));
}

TEST(EvalSymmetry, CachesAndTheOrderOfEarlierEvaluationsChangeNothing)
{
    evaluator warm;
    evaluator cold;
    std::vector<placement> positions = allPlacements();
    for (const bool again : {false, true})
    {
        for (const placement& position : positions)
        {
            const int score = cold.coldScore(position);
            ASSERT_EQ(warm.score(position), score);
            ASSERT_EQ(warm.score(position), score) << "from the evaluation cache";
        }
        if (!again) std::shuffle(positions.begin(), positions.end(), std::mt19937(6));
    }
}

TEST(EvalSymmetry, TermsAddUpToTheScore)
{
    evaluator evaluate;
    for (const placement& position : allPlacements())
    {
        const evalTrace trace = evaluate.trace(position);
        ASSERT_EQ(trace.score, evaluate.score(position));
        combEval sum = X(0, 0);
        for (const auto& both : trace.terms) sum += both[WHITE] - both[BLACK];
        ASSERT_EQ(sum, trace.total);
        ASSERT_TRUE(!trace.isDraw || trace.score == 0);
    }
}

TEST(EvalSymmetry, TheStartPositionIsWorthTheTempo)
{
    evaluator evaluate;
    const placement start = placementOf(std::string(fenStartPos));
    EXPECT_EQ(evaluate.score(start), mgHalf(EVALTEMPO));
    EXPECT_EQ(evaluate.score(turned(start)), mgHalf(EVALTEMPO));
}

// The halves hold 16 bits each, and a mate score must never be reached. Under the sanitizer these
// boards also show that nothing overflows on the way.
TEST(EvalSymmetry, ExtremeBoardsStayWithinSixteenBits)
{
    const char* const boards[] = {
        // nine queens a side
        "qqqqk3/qqqqq3/8/8/8/8/3QQQQQ/3KQQQQ w - - 0 1",
        // nine queens and all other pieces against a king
        "k7/8/8/8/8/QQQQQQQQ/RNBQKBNR/8 w - - 0 1",
        // all pawns passed
        "4k3/PPPP4/8/8/8/8/4pppp/4K3 w - - 0 1",
        "4k3/PPPPPPPP/8/8/8/8/8/4K3 w - - 0 1",
        // a king in the open under attack of everything
        "1q1r1r2/1b1n1n2/2b5/3K4/8/8/q7/k7 w - - 0 1",
        "3rr3/1b3b2/2n2n2/q7/4K3/8/8/k7 w - - 0 1",
    };
    evaluator evaluate;
    for (const char* const fen : boards)
    {
        const placement position = placementOf(fen);
        const evalTrace trace = evaluate.trace(position);
        EXPECT_LT(std::abs(trace.score), SCOREMATELIMIT) << fen;
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
        EXPECT_EQ(evaluate.score(turned(position)), trace.score) << fen;
    }
}

TEST(EvalSymmetry, BoardsFullOfPiecesAreEvaluatedWithoutAFault)
{
    evaluator evaluate;
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i)
    {
        placement full;
        for (int square = 0; square < NOFSQUARES; ++square)
        {
            const bool isOnEdge = square < 8 || square >= 56;
            full.board[square] =
                static_cast<u8>(isOnEdge ? KNIGHT + random() % 8 : PAWN + random() % 10);
        }
        full.board[random() % 32] = KING + WHITE;
        full.board[32 + random() % 32] = KING + BLACK;
        const int score = evaluate.score(full);
        ASSERT_GE(score, -32768);
        ASSERT_LE(score, 32767);
    }
}

} // namespace
