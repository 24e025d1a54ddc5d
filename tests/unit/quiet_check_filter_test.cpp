// SPDX-License-Identifier: MIT
//
// The filter that lets late move pruning drop quiet moves unmade: were it to miss a check, that
// move would be pruned instead of searched, and the tree would change.

#include "move.h"
#include "moveTable.h"
#include "support.h"

namespace
{

struct tally
{
    int checks = 0;
    int missed = 0;
    int others = 0;
    int dropped = 0;
};

/// Compares the filter with the move made, for the quiet moves of a position and of those below.
void compare(u8 ply, int depth, positionStruct* position, tally& result)
{
    plyStruct& here = position->plies[ply];
    const u8 us = position->sideToMove;
    const quietCheckFilter filter(position);
    generateMovesLegal(ply, here.moveListStart, position);
    for (const moveStruct* move = here.moveListStart; move < here.moveListEnd; ++move)
    {
        const u8 child = static_cast<u8>(ply + 1);
        const bool isQuiet = position->board[move->to] == NOPIECE && move->kind != KINDENPASSANT;
        const bool mayCheck = filter.mayGiveCheck(*move, position);
        makeMove(child, move, position, false);
        if (isQuiet)
        {
            const bool checks = isSquareAttacked(kingSquareOf(us ^ 1, position), us, position);
            ++(checks ? result.checks : result.others);
            if (checks && !mayCheck) ++result.missed;
            if (!checks && !mayCheck) ++result.dropped;
        }
        if (depth > 1) compare(child, depth - 1, position, result);
        unmakeMove(child, move, position);
    }
}

} // namespace

TEST(SearchQuietCheckFilter, NeverMissesACheckAndDropsMostOtherMoves)
{
    tally result;
    for (const char* fen :
         {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
          "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", "4k3/P6P/8/8/3B4/8/p6p/R2QK2R b KQ - 0 1",
          "3k4/3N4/8/b2R4/3B3q/4P3/5K2/8 w - - 0 1"})
    {
        Board board(fen);
        compare(0, 3, board.get(), result);
    }
    EXPECT_GT(result.checks, 1000);
    EXPECT_EQ(result.missed, 0);
    EXPECT_GT(result.dropped, result.others * 3 / 4) << "or it isn't worth its time";
}
