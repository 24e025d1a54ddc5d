// SPDX-License-Identifier: MIT
//
// The pickers: every legal move once through the stages, stored moves in their own stages, and
// what each stage leaves out.

#include <algorithm>
#include <map>
#include <set>

#include "support.h"

namespace
{

/// Sets a node up for the staged picker as the search does, without or with a hash move.
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

void clearStored(Board& board)
{
    for (plyStruct& ply : board->plies) ply.killers[0] = ply.killers[1] = EMPTYMOVE;
    std::fill(&board->counterMoves[0][0], &board->counterMoves[0][0] + 12L * 64, EMPTYMOVE);
}

/// What the picker yields at ply 0: stage as the search sees it, and the move's text.
std::vector<std::pair<int, std::string>> pickAll(Board& board, bool skipOrdering = false)
{
    std::vector<std::pair<int, std::string>> picked;
    const u8 side = board->sideToMove;
    for (moveStruct* cursor = board.ply(0).moveListStart; cursor <= board.ply(0).moveListEnd;
         ++cursor)
    {
        if (!doNextMoveStaged(0, cursor, board.get(), skipOrdering)) continue;
        picked.emplace_back(board.ply(0).pickerStage, moveToLA(cursor, side));
        unmakeMove(1, cursor, board.get());
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

} // namespace

TEST(Pickers, PerftThroughTheStagesEqualsPerft)
{
    for (size_t i = 0; i < manyPositions().size(); i += 7)
    {
        Board board(manyPositions()[i]);
        clearStored(board);
        const u64 expected = perft(0, 3, board.get());
        EXPECT_EQ(perftThroughPicker(board, 0, 3), expected) << manyPositions()[i];
    }
}

TEST(Pickers, EvasionsComeOnceEachFromStage99)
{
    Board board("4k3/8/8/8/1b6/2N5/3P4/r3K2R w K - 0 1");
    ASSERT_TRUE(board.ply(0).inCheck);
    clearStored(board);
    startNode(board, 0);
    std::multiset<std::string> picked;
    for (const auto& [stage, text] : pickAll(board))
    {
        EXPECT_EQ(stage, stageEvasions);
        picked.insert(text);
    }
    for (const moveStruct& move : board.legalMoves())
        EXPECT_EQ(picked.count(moveToLA(&move, WHITE)), 1U) << move;
    EXPECT_EQ(picked.size(), board.legalMoves().size());
}

// Pins the missing filter of the quiet stage: node counts depend on the repetition.
TEST(Pickers, PickerRepeatsStoredQuiets)
{
    Board board{std::string(fenStartPos)};
    clearStored(board);
    const moveStruct hashMove = board.move("b1c3");
    board.ply(0).killers[0] = board.move("g1f3");
    board.ply(0).killers[1] = board.move("d2d4");
    startNode(board, 0, hashMove);
    std::map<std::string, std::vector<int>> stages;
    for (const auto& [stage, text] : pickAll(board)) stages[text].push_back(stage);
    EXPECT_EQ(stages["b1c3"], (std::vector<int>{1, 9}));
    EXPECT_EQ(stages["g1f3"], (std::vector<int>{4, 9}));
    EXPECT_EQ(stages["d2d4"], (std::vector<int>{5, 9}));
    EXPECT_EQ(stages["e2e4"], (std::vector<int>{9}));
    EXPECT_EQ(stages.size(), 20U);
}

TEST(Pickers, WithoutAHashMoveANodeStartsAtStage1AndWithOneTheCapturesComeBehindIt)
{
    Board board("4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1");
    clearStored(board);
    startNode(board, 0);
    EXPECT_EQ(pickAll(board).front(), (std::pair<int, std::string>{2, "e4d5"}));
    startNode(board, 0, board.move("e1e2"));
    const auto picked = pickAll(board);
    EXPECT_EQ(picked[0], (std::pair<int, std::string>{1, "e1e2"}));
    EXPECT_EQ(picked[1], (std::pair<int, std::string>{2, "e4d5"}));
}

TEST(Pickers, InCheckNoKillersOrCounterMovesArePlayed)
{
    Board board("4k3/8/8/8/8/8/4r3/4K2N w - - 0 1");
    clearStored(board);
    board.ply(0).killers[0] = {sq("h1"), sq("g3"), 0, KNIGHT};
    startNode(board, 0);
    std::set<std::string> texts;
    for (const auto& [stage, text] : pickAll(board))
    {
        EXPECT_EQ(stage, stageEvasions);
        texts.insert(text);
    }
    EXPECT_EQ(texts, (std::set<std::string>{"e1e2", "e1d1", "e1f1"}));
}

TEST(Pickers, AHashMoveInCheckComesOnce)
{
    Board board("4k3/8/8/8/8/8/4r3/4K2N w - - 0 1");
    clearStored(board);
    startNode(board, 0, board.move("e1e2"));
    const auto picked = pickAll(board);
    EXPECT_EQ(picked[0], (std::pair<int, std::string>{1, "e1e2"}));
    EXPECT_EQ(picked.size(), 3U) << "and the king's two flights";
}

TEST(Pickers, WithNoCapturesTheFirstCallGoesOnToTheFirstKiller)
{
    Board board{std::string(fenStartPos)};
    clearStored(board);
    board.ply(0).killers[0] = board.move("g1f3");
    startNode(board, 0);
    moveStruct* cursor = board.ply(0).moveListStart;
    EXPECT_TRUE(doNextMoveStaged(0, cursor, board.get(), false));
    EXPECT_EQ(board.ply(0).pickerStage, stageSecondKiller);
    unmakeMove(1, cursor, board.get());
}

TEST(Pickers, AtPly0TheCounterMoveStageOpensItsSlotAndYieldsNothing)
{
    Board board{std::string(fenStartPos)};
    clearStored(board);
    startNode(board, 0);
    moveStruct* cursor = board.ply(0).moveListStart;
    for (int slot = 0; slot < 2; ++slot)
        EXPECT_FALSE(doNextMoveStaged(0, cursor++, board.get(), false));
    EXPECT_EQ(board.ply(0).pickerStage, stageCounterMove);
    EXPECT_FALSE(doNextMoveStaged(0, cursor++, board.get(), false));
    EXPECT_EQ(board.ply(0).pickerStage, stageOpenLosers);
    EXPECT_EQ(board.ply(0).moveListEnd, board.ply(0).moveListStart + 3);
}

TEST(Pickers, TheCounterMoveAnswersTheManOnThePreviousMovesSquare)
{
    Board board{std::string(fenStartPos)};
    clearStored(board);
    const moveStruct first = board.move("e2e4");
    makeMove(1, &first, board.get(), false);
    board.ply(0).currentMove = first;
    board.ply(1).inCheck = 0;
    board->counterMoves[PAWN + WHITE - 2][sq("e4")] = {sq("g8"), sq("f6"), 0, KNIGHT + BLACK};
    startNode(board, 1);
    bool found = false;
    for (moveStruct* cursor = board.ply(1).moveListStart; cursor <= board.ply(1).moveListEnd;
         ++cursor)
    {
        if (!doNextMoveStaged(1, cursor, board.get(), false)) continue;
        if (board.ply(1).pickerStage == stageOpenLosers)
        {
            EXPECT_EQ(moveToLA(cursor, BLACK), "g8f6");
            found = true;
        }
        unmakeMove(2, cursor, board.get());
    }
    EXPECT_TRUE(found);
}

TEST(Pickers, AStaleCurrentMoveBehindANullMoveGivesNoCounterMove)
{
    // Black to move at ply 1 as behind a null move: what plies[0].currentMove names is long past,
    // an empty square or a man of the side that passed, whose counter move is white's own.
    for (const char* square : {"e5", "e2"})
    {
        Board board("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
        clearStored(board);
        board->counterMoves[PAWN + WHITE - 2][sq("e2")] = {sq("g1"), sq("f3"), 0, KNIGHT};
        board.ply(0).currentMove = {sq("e7"), sq(square), 0, PAWN + BLACK};
        board.ply(1) = board.ply(0);
        startNode(board, 1);
        int picked = 0;
        for (moveStruct* cursor = board.ply(1).moveListStart; cursor <= board.ply(1).moveListEnd;
             ++cursor)
        {
            if (!doNextMoveStaged(1, cursor, board.get(), false)) continue;
            EXPECT_EQ(board.ply(1).pickerStage, stageQuiets);
            ++picked;
            unmakeMove(2, cursor, board.get());
        }
        EXPECT_EQ(picked, 20);
    }
}

TEST(Pickers, AKillerThatIsACaptureIsPlayedAgain)
{
    Board board("4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1");
    clearStored(board);
    board.ply(0).killers[0] = board.move("e4d5");
    startNode(board, 0);
    const auto picked = pickAll(board);
    EXPECT_EQ(picked[0], (std::pair<int, std::string>{2, "e4d5"}));
    EXPECT_EQ(picked[1], (std::pair<int, std::string>{4, "e4d5"}));
}

TEST(Pickers, WithoutHistoryQuietMovesComeInGenerationOrder)
{
    Board board("4k3/8/8/8/8/8/3P4/4K3 w - - 0 1");
    clearStored(board);
    startNode(board, 0);
    std::string order;
    for (const auto& [stage, text] : pickAll(board)) order += text + ' ';
    EXPECT_EQ(order, "d2d3 d2d4 e1d1 e1f1 e1e2 e1f2 ");
}

TEST(Pickers, AMoveWithoutDataStandsBetweenFailuresAndCutOffs)
{
    Board board("4k3/8/8/8/8/8/3P4/4K3 w - - 0 1");
    clearStored(board);
    board->historyGood[KING - 2][sq("f2")] = 30;
    board->historyBad[KING - 2][sq("f2")] = 10;
    board->historyBad[0][sq("d3")] = 10;
    startNode(board, 0);
    std::string order;
    for (const auto& [stage, text] : pickAll(board)) order += text + ' ';
    EXPECT_EQ(order, "e1f2 d2d4 e1d1 e1f1 e1e2 d2d3 ");
    startNode(board, 0);
    order.clear();
    for (const auto& [stage, text] : pickAll(board, true)) order += text + ' ';
    EXPECT_EQ(order, "d2d3 d2d4 e1d1 e1f1 e1e2 e1f2 ") << "skipOrdering takes them as they lie";
}

TEST(Pickers, WhatACutOffTeachesReordersTheQuietMovesThatAreLeft)
{
    Board board("4k3/8/8/8/8/8/3P4/4K3 w - - 0 1");
    clearStored(board);
    startNode(board, 0);
    moveStruct* cursor = board.ply(0).moveListStart;
    while (!doNextMoveStaged(0, cursor, board.get(), false)) ++cursor;
    EXPECT_EQ(moveToLA(cursor, WHITE), "d2d3");
    unmakeMove(1, cursor, board.get());

    board->historyGood[KING - 2][sq("f1")] = 9;
    board->historyBad[0][sq("d4")] = 9;
    ++board->historyChanges;
    std::string order;
    for (++cursor; cursor < board.ply(0).moveListEnd; ++cursor)
    {
        ASSERT_TRUE(doNextMoveStaged(0, cursor, board.get(), false));
        order += moveToLA(cursor, WHITE) + ' ';
        unmakeMove(1, cursor, board.get());
    }
    EXPECT_EQ(order, "e1f1 e1d1 e1e2 e1f2 d2d4 ") << "equal ones in the order that swaps leave";
}

TEST(Pickers, LosingCapturesComeBehindTheStoredMovesAndBeforeTheQuietOnes)
{
    Board board("4k3/8/2p5/3p4/8/2N5/8/4K3 w - - 0 1");
    clearStored(board);
    startNode(board, 0);
    EXPECT_EQ(pickAll(board).front(), (std::pair<int, std::string>{7, "c3d5"}));
}

TEST(Pickers, AnyOtherStageYieldsNothing)
{
    Board board{std::string(fenStartPos)};
    startNode(board, 0);
    board.ply(0).pickerStage = 50;
    EXPECT_FALSE(doNextMoveStaged(0, board.ply(0).moveListStart, board.get(), false));
    EXPECT_FALSE(doNextMoveProbCut(0, board.ply(0).moveListStart, board.get(), 0));
}

TEST(Pickers, QuiescenceDropsALosingCaptureAtDepth0AndPlaysItAmongRecaptures)
{
    Board board("4k3/8/2p5/3p4/8/2Q5/8/4K3 w - - 0 1");
    board->plies[0].inCheck = 0;
    generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
    std::string all = board.texts(board.list());
    EXPECT_EQ(all, "c3c6");
    Board losing("4k3/3b4/2p5/8/8/2Q5/8/4K3 w - - 0 1");
    generateMovesQuiescence(0, losing.ply(0).moveListStart, losing.get());
    moveStruct* cursor = losing.ply(0).moveListStart;
    EXPECT_FALSE(doNextMoveQuiesc(0, cursor, losing.get(), 0));
    EXPECT_FALSE(doNextMoveQuiesc(0, cursor, losing.get(), -4));
    EXPECT_TRUE(doNextMoveQuiesc(0, cursor, losing.get(), -5));
    unmakeMove(1, cursor, losing.get());
}

TEST(Pickers, APushPromotionIsTestedBehindAllCaptures)
{
    Board board("4k3/P7/8/3p4/4P3/8/8/4K3 w - - 0 1");
    generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(board.texts(board.list()), "e4d5 a7a8q");
    EXPECT_EQ(board.list()[1].score, 1);
    moveStruct* cursor = board.ply(0).moveListStart;
    for (const char* text : {"e4d5", "a7a8q"})
    {
        ASSERT_TRUE(doNextMoveQuiesc(0, cursor, board.get(), 0));
        EXPECT_EQ(moveToLA(cursor, WHITE), text);
        unmakeMove(1, cursor++, board.get());
    }

    // The bishop on f3 takes the new queen, which counts as the pawn that it was.
    Board losing("4k3/P7/8/8/8/5b2/8/4K3 w - - 0 1");
    generateMovesQuiescence(0, losing.ply(0).moveListStart, losing.get());
    EXPECT_EQ(losing.texts(losing.list()), "a7a8q");
    EXPECT_FALSE(doNextMoveQuiesc(0, losing.ply(0).moveListStart, losing.get(), 0));
}

TEST(Pickers, ProbCutDropsAQuietHashMoveAndPlaysCapturesThatReachTheThreshold)
{
    Board board("4k3/8/3n4/4P3/8/8/8/4K3 w - - 0 1");
    startNode(board, 0, board.move("e1e2"));
    moveStruct* cursor = board.ply(0).moveListStart;
    EXPECT_FALSE(doNextMoveProbCut(0, cursor++, board.get(), 100));
    EXPECT_TRUE(doNextMoveProbCut(0, cursor, board.get(), 100));
    EXPECT_EQ(moveToLA(cursor, WHITE), "e5d6");
    unmakeMove(1, cursor++, board.get());
    EXPECT_FALSE(doNextMoveProbCut(0, cursor, board.get(), 100));

    startNode(board, 0);
    cursor = board.ply(0).moveListStart;
    EXPECT_FALSE(doNextMoveProbCut(0, cursor, board.get(), 2000)) << "above any capture";
}

TEST(Pickers, ProbCutJudgesAnEnPassantHashMoveByTheSignOfTheThreshold)
{
    Board board("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    startNode(board, 0, board.move("e5d6"));
    EXPECT_FALSE(doNextMoveProbCut(0, board.ply(0).moveListStart, board.get(), 1));
    startNode(board, 0, board.move("e5d6"));
    EXPECT_TRUE(doNextMoveProbCut(0, board.ply(0).moveListStart, board.get(), 0));
    unmakeMove(1, board.ply(0).moveListStart, board.get());
}
