// SPDX-License-Identifier: MIT
//
// The pickers, where model_test.cpp does not compare them with the model.

#include <algorithm>

#include "support.h"

namespace
{

/// Sets the root up for the staged picker as the search does.
void startNode(Board& board)
{
    board.ply(1).moveListStart = board.ply(0).moveListEnd = board.ply(0).moveListStart;
    board.ply(0).pickerStage = stageMakeCaptures;
}

/// All that the staged picker yields at the root.
std::string pickAll(Board& board)
{
    const plyStruct& here = board.ply(0);
    std::string picked;
    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        if (!doNextMoveStaged(0, cursor, board.get(), false)) continue;
        picked += moveToLA(cursor, WHITE) + ' ';
        unmakeMove(1, cursor, board.get());
    }
    EXPECT_FALSE(doNextMoveStaged(0, here.moveListEnd, board.get(), false))
        << "nothing more, however often it is asked";
    return picked;
}

} // namespace

TEST(MovePickers, AtPly0TheCounterMoveStageYieldsNothingAndOpensItsSlot)
{
    Board board("4k3/8/8/8/8/1p6/1P6/B3K3 w - - 0 1");
    // A counter move for every piece and square, so that any previous move would have an answer.
    // An empty record of a previous move points to the bishop on a1.
    std::fill_n(&board->counterMoves[0][0], 12 * 64, board.move("e1f2"));
    board.ply(0).currentMove.to = sq("e8");
    startNode(board);
    EXPECT_EQ(pickAll(board), "e1d1 e1f1 e1d2 e1e2 e1f2 ");
    EXPECT_EQ(board.ply(0).quietsStart - board.ply(0).moveListStart, 3);
}

TEST(MovePickers, ACutOffOnTheWayReordersTheQuietMovesThatAreLeft)
{
    Board board("4k3/8/8/8/8/8/3P4/4K3 w - - 0 1");
    startNode(board);
    moveStruct* cursor = board.ply(0).moveListStart;
    while (!doNextMoveStaged(0, cursor, board.get(), false)) ++cursor;
    EXPECT_EQ(moveToLA(cursor, WHITE), "d2d3");
    unmakeMove(1, cursor, board.get());

    board->historyGood[KING - 2][sq("f1")] = 9;
    board->historyBad[0][sq("d4")] = 9;
    ++board->historyChanges;
    board.ply(0).moveListStart = cursor + 1;
    EXPECT_EQ(pickAll(board), "e1f1 e1d1 e1e2 e1f2 d2d4 ") << "swaps decide the order of equals";
}

TEST(MovePickers, TheHistoryRatioIsInUnitsOf128AndEqualsKeepTheirOrder)
{
    Board board{std::string(fenStartPos)};
    // Knights to a3, c3, f3, h3: no data 64; 2 of 4 64; 129 of 256 truncates to 64; 2 of 3 85.
    const auto set = [&board](const char* to, u32 good, u32 bad)
    {
        board->historyGood[KNIGHT - 2][sq(to)] = good;
        board->historyBad[KNIGHT - 2][sq(to)] = bad;
    };
    set("c3", 2, 2);
    set("f3", 129, 127);
    set("h3", 2, 1);
    moveStruct list[] = {board.move("b1a3"), board.move("b1c3"), board.move("g1f3"),
                         board.move("g1h3")};
    getBestMoveHist(list, list + 3, board.get());
    EXPECT_EQ(list[0].to, sq("a3")) << "all at 64";
    getBestMoveHist(list, list + 4, board.get());
    EXPECT_EQ(list[0].to, sq("h3"));
    EXPECT_EQ(list[3].to, sq("a3"));
}

TEST(MovePickers, QuiescenceUsesSeeAtDepths0ToMinus4)
{
    // The queen takes a pawn that a bishop defends.
    for (const auto& [depth, isPlayed] :
         {std::pair(1, true), {0, false}, {-1, false}, {-4, false}, {-5, true}, {-9, true}})
    {
        Board board("4k3/3b4/2p5/8/8/2Q5/8/4K3 w - - 0 1");
        generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
        EXPECT_EQ(doNextMoveQuiesc(0, board.ply(0).moveListStart, board.get(), depth), isPlayed)
            << depth;
    }
}
