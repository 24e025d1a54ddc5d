// SPDX-License-Identifier: MIT
//
// The pickers: all legal moves through the stages, stored moves in stages of their own, and what
// each stage leaves out.

#include <cstring>

#include "support.h"

namespace
{

/// A plain move as the search stores it; EMPTYMOVE for an empty text.
moveStruct stored(const positionStruct* position, const std::string& text)
{
    if (text.empty()) return EMPTYMOVE;
    const u8 from = sq(text);
    return {from, sq(text.substr(2)), KINDPLAIN, position->board[from]};
}

/// Sets a node up for the pickers as the search does.
void startNode(Board& board, int ply, moveStruct hashMove = EMPTYMOVE)
{
    plyStruct& here = board.ply(ply);
    here.hashMove = hashMove;
    here.moveListEnd = here.moveListStart;
    here.pickerStage = stageMakeCaptures;
    if (moveWord(hashMove))
    {
        *here.moveListEnd++ = hashMove;
        here.pickerStage = stageHashMove;
    }
    board.ply(ply + 1).moveListStart = here.moveListEnd;
}

/// All that the staged picker yields at a node: slot/stage:move. Only the first quiet move has its
/// slot and stage.
std::string pickAll(Board& board, int ply, bool skipOrdering = false)
{
    plyStruct& here = board.ply(ply);
    const u8 side = board->sideToMove;
    std::string picked;
    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        if (!doNextMoveStaged(static_cast<u8>(ply), cursor, board.get(), skipOrdering)) continue;
        if (here.pickerStage != stageQuiets || cursor == here.quietsStart)
            picked += std::to_string(cursor - here.moveListStart) + '/' +
                      std::to_string(here.pickerStage) + ':';
        picked += moveToLA(cursor, side) + ' ';
        unmakeMove(static_cast<u8>(ply + 1), cursor, board.get());
    }
    EXPECT_FALSE(doNextMoveStaged(static_cast<u8>(ply), here.moveListEnd, board.get(), false))
        << "nothing more, however often it is asked";
    EXPECT_EQ(board.ply(ply + 1).moveListStart, here.moveListEnd);
    return picked;
}

/// What another picker yields at ply 0, slot by slot, "-" for nothing.
template <typename Picker> std::string pickSlots(Board& board, bool beyondEnd, Picker pick)
{
    const u8 side = board->sideToMove;
    std::string picked;
    for (moveStruct* cursor = board.ply(0).moveListStart;
         cursor < board.ply(0).moveListEnd + beyondEnd; ++cursor)
    {
        const bool made = pick(cursor);
        picked += made ? moveToLA(cursor, side) + ' ' : "- ";
        if (made) unmakeMove(1, cursor, board.get());
    }
    return picked;
}

/// Perft with all moves from the staged picker.
u64 perftThroughPicker(Board& board, int ply, int depth)
{
    if (depth == 0) return 1;
    u64 count = 0;
    board.ply(ply).inCheck = isSideInCheck(board.get());
    startNode(board, ply);
    for (moveStruct* cursor = board.ply(ply).moveListStart; cursor <= board.ply(ply).moveListEnd;
         ++cursor)
    {
        if (!doNextMoveStaged(static_cast<u8>(ply), cursor, board.get(), false)) continue;
        count += perftThroughPicker(board, ply + 1, depth - 1);
        unmakeMove(static_cast<u8>(ply + 1), cursor, board.get());
    }
    return count;
}

constexpr const char* quietNode = "4k3/8/8/8/8/8/3P4/4K3 w - - 0 1";
const std::string sixQuiets = "d2d3 d2d4 e1d1 e1f1 e1e2 e1f2 ";

} // namespace

TEST(MovePickers, PerftThroughTheStagesEqualsPerft)
{
    for (size_t i = 0; i < manyPositions().size(); i += 7)
    {
        Board board(manyPositions()[i]);
        const u64 expected = perft(0, 3, board.get());
        EXPECT_EQ(perftThroughPicker(board, 0, 3), expected) << manyPositions()[i];
    }
}

TEST(MovePickers, StoredMovesHaveStagesOfTheirOwnAndTheQuietStageRepeatsThem)
{
    const char* const check = "4k3/8/8/8/8/8/4r3/4K2N w - - 0 1";
    const char* const capture = "4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1";
    // The counter move is the answer to the piece on the square that the previous move reached.
    const struct
    {
        const char *fen, *hashMove, *firstKiller, *secondKiller, *previousTo, *counterMove;
        std::string picked;
    } nodes[] = {
        {quietNode, "", "", "", "e8", "", "3/9:" + sixQuiets},
        // The node count depends on the repetition.
        {quietNode, "e1f2", "e1e2", "d2d3", "e8", "e1f1",
         "0/1:e1f2 1/4:e1e2 2/5:d2d3 3/6:e1f1 4/9:" + sixQuiets},
        // A killer or counter move that equals the hash move or a killer is skipped.
        {quietNode, "e1f2", "e1f2", "d2d3", "e8", "e1f1",
         "0/1:e1f2 2/5:d2d3 3/6:e1f1 4/9:" + sixQuiets},
        {quietNode, "e1f2", "e1e2", "e1f2", "e8", "e1f1",
         "0/1:e1f2 1/4:e1e2 3/6:e1f1 4/9:" + sixQuiets},
        {quietNode, "e1f2", "e1e2", "d2d3", "e8", "e1f2",
         "0/1:e1f2 1/4:e1e2 2/5:d2d3 4/9:" + sixQuiets},
        {quietNode, "e1f2", "e1e2", "d2d3", "e8", "e1e2",
         "0/1:e1f2 1/4:e1e2 2/5:d2d3 4/9:" + sixQuiets},
        {quietNode, "e1f2", "e1e2", "d2d3", "e8", "d2d3",
         "0/1:e1f2 1/4:e1e2 2/5:d2d3 4/9:" + sixQuiets},
        // After a null move the square may be empty, or hold a piece of the side to move, whose
        // counter move is the enemy's.
        {quietNode, "", "", "", "e5", "", "3/9:" + sixQuiets},
        {quietNode, "", "", "", "d2", "e8e7", "3/9:" + sixQuiets},
        // In check neither killers nor the counter move are tried. An evasion that loses material
        // comes after the king's.
        {check, "e1e2", "h1g3", "h1f2", "e2", "h1f2", "0/1:e1e2 2/99:e1f1 3/99:e1d1 "},
        {"4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1", "", "", "", "e8", "",
         "0/99:e1d1 1/99:e1f1 2/99:e1d2 3/99:e1f2 4/99:a5e5 "},
        // A killer or counter move that equals a capture is played again.
        {capture, "", "e4d5", "", "d5", "", "0/2:e4d5 1/4:e4d5 4/9:e4e5 e1d1 e1f1 e1d2 e1e2 e1f2 "},
        {capture, "e1e2", "", "", "d5", "e4d5",
         "0/1:e1e2 1/2:e4d5 4/6:e4d5 5/9:e4e5 e1d1 e1f1 e1d2 e1e2 e1f2 "},
        // Bad captures come after the stored moves and before the quiet ones.
        {"4k3/8/2p5/3p3p/6P1/2N5/8/4K3 w - - 0 1", "e1e2", "e1f1", "", "d5", "",
         "0/1:e1e2 1/2:g4h5 3/4:e1f1 6/7:c3d5 "
         "7/9:g4g5 c3b1 c3d1 c3a2 c3e2 c3a4 c3e4 c3b5 e1d1 e1f1 e1d2 e1e2 e1f2 "}};
    for (const auto& n : nodes)
    {
        Board board(n.fen);
        const u8 previousTo = sq(n.previousTo);
        board.ply(0).currentMove.to = previousTo;
        board.ply(1) = board.ply(0);
        board.ply(1).killers[0] = stored(board.get(), n.firstKiller);
        board.ply(1).killers[1] = stored(board.get(), n.secondKiller);
        if (const u8 piece = board->board[previousTo])
            board->counterMoves[piece - PAWN][previousTo] = stored(board.get(), n.counterMove);
        startNode(board, 1, stored(board.get(), n.hashMove));
        EXPECT_EQ(pickAll(board, 1), n.picked) << "case " << &n - nodes;
    }
}

TEST(MovePickers, AtPly0TheCounterMoveStageYieldsNothingAndOpensItsSlot)
{
    Board board("4k3/8/8/8/8/1p6/1P6/B3K3 w - - 0 1");
    // A counter move for every piece and square, so that any previous move would have an answer.
    // An empty record of a previous move points to the bishop on a1.
    std::fill_n(&board->counterMoves[0][0], 12 * 64, stored(board.get(), "e1f2"));
    board.ply(0).currentMove.to = sq("e8");
    startNode(board, 0);
    EXPECT_EQ(pickAll(board, 0), "3/9:e1d1 e1f1 e1d2 e1e2 e1f2 ");
}

TEST(MovePickers, AMoveWithoutHistoryComesBetweenCutOffsAndFailures)
{
    Board board(quietNode);
    board->historyGood[KING - 2][sq("f2")] = 30;
    board->historyBad[KING - 2][sq("f2")] = 10;
    board->historyBad[0][sq("d3")] = 10;
    startNode(board, 0);
    EXPECT_EQ(pickAll(board, 0), "3/9:e1f2 d2d4 e1d1 e1f1 e1e2 d2d3 ");
    startNode(board, 0);
    EXPECT_EQ(pickAll(board, 0, true), "3/9:" + sixQuiets) << "unsorted with skipOrdering";
}

TEST(MovePickers, ACutOffOnTheWayReordersTheQuietMovesThatAreLeft)
{
    Board board(quietNode);
    startNode(board, 0);
    moveStruct* cursor = board.ply(0).moveListStart;
    while (!doNextMoveStaged(0, cursor, board.get(), false)) ++cursor;
    EXPECT_EQ(moveToLA(cursor, WHITE), "d2d3");
    unmakeMove(1, cursor, board.get());

    board->historyGood[KING - 2][sq("f1")] = 9;
    board->historyBad[0][sq("d4")] = 9;
    ++board->historyChanges;
    board.ply(0).moveListStart = cursor + 1;
    EXPECT_EQ(pickAll(board, 0), "e1f1 e1d1 e1e2 e1f2 d2d4 ") << "swaps decide the order of equals";
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
    moveStruct list[] = {stored(board.get(), "b1a3"), stored(board.get(), "b1c3"),
                         stored(board.get(), "g1f3"), stored(board.get(), "g1h3")};
    getBestMoveHist(list, list + 3, board.get());
    EXPECT_EQ(list[0].to, sq("a3")) << "all at 64";
    getBestMoveHist(list, list + 4, board.get());
    EXPECT_EQ(list[0].to, sq("h3"));
    EXPECT_EQ(list[3].to, sq("a3"));
}

TEST(MovePickers, QuiescenceUsesSeeOutOfCheckAtDepths0ToMinus4)
{
    // The queen takes a pawn that a bishop defends.
    const char* const losing = "4k3/3b4/2p5/8/8/2Q5/8/4K3 w - - 0 1";
    const struct
    {
        const char* fen;
        int depth;
        const char* picked;
    } cases[] = {
        {losing, 1, "c3c6 "},
        {losing, 0, "- "},
        {losing, -1, "- "},
        {losing, -4, "- "},
        {losing, -5, "c3c6 "},
        {losing, -9, "c3c6 "},
        // The queen's capture of the rook scores most but loses to a pawn.
        {"4k3/1p6/2r5/3p2n1/4P2P/2Q2N2/8/4K3 w - - 0 1", 0, "h4g5 f3g5 e4d5 - "},
        // A promotion without a capture comes after all captures. If it loses the new queen, SEE
        // counts only the pawn.
        {"4k3/P7/8/3p4/4P3/8/8/4K3 w - - 0 1", 0, "e4d5 a7a8q "},
        {"4k3/P7/8/8/8/5b2/8/4K3 w - - 0 1", 0, "- "},
        // In check there is no SEE: the rook may block where a pawn takes it.
        {"4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1", 0, "a5e5 e1f1 e1d2 e1f2 e1d1 "},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
        const auto pick = [&](moveStruct* cursor)
        { return doNextMoveQuiesc(0, cursor, board.get(), c.depth); };
        EXPECT_EQ(pickSlots(board, false, pick), c.picked) << c.fen << ' ' << c.depth;
    }
}

TEST(MovePickers, ProbCutPlaysCapturesAndPromotionsThatReachTheThreshold)
{
    const char* const knight = "4k3/8/3n4/4P3/8/8/8/4K3 w - - 0 1";
    const char* const passing = "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1";
    const char* const promotion = "4k3/P7/8/8/8/8/4P3/4K2R w K - 0 1";
    const struct
    {
        const char *fen, *hashMove;
        i16 threshold;
        const char* picked;
    } cases[] = {
        {knight, "", 340, "e5d6 - "},
        {knight, "", 341, "- - "},
        // The hash move comes once, and not at all if it is quiet.
        {knight, "e5d6", 340, "e5d6 - - "},
        {knight, "e5d6", 341, "- - - "},
        {knight, "e1e2", 100, "- e5d6 - "},
        {promotion, "a7a8q", 0, "a7a8q - "},
        {promotion, "a7a8n", 0, "a7a8n - "},
        {promotion, "e2e4", 0, "- - "},
        {promotion, "e1g1", 0, "- - "},
        {promotion, "e2e3", 0, "- - "},
        // En passant is judged by the sign of the threshold.
        {passing, "e5d6", 0, "e5d6 - - "},
        {passing, "e5d6", 1, "- - - "},
        // Pawn takes queen, rook takes rook; the pinned rook may not take the knight.
        {"4k3/4r3/8/1q6/P7/8/n3R3/4K3 w - - 0 1", "", 0, "a4b5 e2e7 - - "},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        startNode(board, 0, *c.hashMove ? board.move(c.hashMove) : EMPTYMOVE);
        const auto pick = [&](moveStruct* cursor)
        { return doNextMoveProbCut(0, cursor, board.get(), c.threshold); };
        EXPECT_EQ(pickSlots(board, true, pick), c.picked) << c.fen << ' ' << c.hashMove;
        EXPECT_EQ(board.ply(0).pickerStage, 2);
    }
}
