// SPDX-License-Identifier: MIT
//
// The root search, the pool, the clock and the line from the table, each with searchers whose
// inner state shows and on positions whose scores are in the table beforehand.

#include <algorithm>
#include <cstring>
#include <sstream>

#include "root_support.h"
#include "uci.h"

namespace
{

/// Budgets of white in the initial position, at a progress of the game.
std::pair<int, int> budgets(int time, int movesToGo, int gamePly)
{
    std::istringstream words("startpos");
    UCIposition(words);
    engine.ponderEnabled = false;
    engine.timeLeft[WHITE] = time;
    engine.timeInc[WHITE] = 0;
    engine.movesToGo = movesToGo;
    engine.movesToGoGiven = true;
    engine.moveTime = 0;
    engine.gamePly = gamePly;
    calcTimeParameters();
    engine.movesToGoGiven = false;
    return {engine.targetTime, engine.maxTime};
}

class RootWindows : public RootSteps
{
  protected:
    /// All scores stand in the table. White's first move is a draw up to the last but one depth; at
    /// the last black has six answers of rising value, each just enough to fail low once more: 15
    /// at first, then the widenings 35, 40, 80 and 160 beyond the last. The sixth answer is worth
    /// more than any further step would bear, so if it cuts off, the window was not open. Kings and
    /// pawns: nothing cuts off before the moves. Returns the weights of the answers' cut-offs.
    std::vector<u32> failLowSixTimes(int lastDepth, void (boss::*search)())
    {
        constexpr int worths[] = {15, 50, 90, 170, 330, 2000};
        Board board("4k3/pppp4/8/8/8/8/PPPP4/4K3 w - - 0 1");
        liftLimits();
        clearHashTable();
        positionStruct* const position = board.get();
        std::vector<moveStruct> answers;
        const std::vector<moveStruct> moves = board.legalMoves();
        for (size_t i = 0; i < moves.size(); ++i)
        {
            makeMove(1, &moves[i], position, false);
            putHashTableEntry(position->hashKey, EMPTYMOVE, i == 0 ? 0 : 5000,
                              static_cast<i8>(i == 0 ? lastDepth - 2 : 127), boundExact, 1);
            if (i == 0)
            {
                generateMovesLegal(1, board.ply(1).moveListStart, position);
                answers.assign(board.ply(1).moveListStart, board.ply(1).moveListEnd);
                for (size_t k = 0; k < answers.size(); ++k)
                {
                    makeMove(2, &answers[k], position, false);
                    const int worth = k < 6 ? worths[k] : -5000;
                    putHashTableEntry(position->hashKey, EMPTYMOVE, static_cast<i16>(-worth), 127,
                                      boundExact, 2);
                    unmakeMove(2, &answers[k], position);
                }
            }
            unmakeMove(1, &moves[i], position);
        }

        engine.depthLimit = lastDepth;
        lines(board, search);
        EXPECT_EQ(pool->position->rootDepth, lastDepth);
        EXPECT_EQ(pool->position->rootScore, -2000);
        std::vector<u32> weights;
        for (size_t k = 0; k < 6; ++k)
        {
            // cppcheck-suppress containerOutOfBounds ; filled when the first move was made, above
            const moveStruct answer = answers.at(k);
            weights.push_back(
                pool->position->historyGood[position->board[answer.from] - PAWN][answer.to]);
        }
        return weights;
    }
};

} // namespace

TEST_F(RootSteps, HelpersSkipTheDepthsOfTheirRowAndRowsRepeatAfter16)
{
    // With the soft clock open to helpers, a helper stops at the first depth of its schedule that
    // reaches the limit.
    struct
    {
        int id;
        std::vector<int> depths; // up to 12 and one beyond
    } const schedules[] = {
        {1, {2, 4, 6, 8, 10, 12}},
        {2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
        {3, {1, 2, 4, 5, 7, 8, 10, 11, 13}},
        {9, {1, 2, 6, 7, 8, 12}},
        {16, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
        {17, {2, 4, 6, 8, 10, 12}},
        {19, {1, 2, 4, 5, 7, 8, 10, 11, 13}},
    };
    Board board(stalemated);
    for (const auto& schedule : schedules)
        for (int limit = 1; limit <= 12; ++limit)
        {
            liftLimits();
            openSoftClock();
            engine.depthLimit = limit;
            OpenWorker helper(schedule.id);
            helper.setPosition(board.get());
            helper.searchRoot();
            const int reached = *std::find_if(schedule.depths.begin(), schedule.depths.end(),
                                              [limit](int depth) { return depth >= limit; });
            EXPECT_EQ(helper.currentDepth, reached) << schedule.id << " to " << limit;
            EXPECT_EQ(helper.position->rootDepth, reached);
            EXPECT_TRUE(theWorkForce.stopSearch);
        }
}

TEST_F(RootSteps, AHelperLeavesADepthFrom9OnThatMoreThanHalfThePoolHasBegun)
{
    Board board(stalemated);
    auto* const other = new OpenWorker(1);
    theWorkForce.workers.push_back(other);
    for (const auto& [threads, begun, reached] :
         {std::tuple(2, 127, 8), std::tuple(4, 127, 9), std::tuple(2, 8, 9)})
    {
        liftLimits();
        openSoftClock();
        engine.depthLimit = 9;
        engine.nofThreads = threads;
        pool->currentDepth = other->currentDepth = begun;
        OpenWorker helper(2);
        helper.setPosition(board.get());
        helper.searchRoot();
        EXPECT_EQ(helper.position->rootDepth, reached) << threads;
    }
}

TEST_F(RootSteps, AnOnlyMoveIsSearchedToDepth3WhateverIsAsked)
{
    // Black's king has g8 alone.
    Board board("7k/8/6K1/8/8/8/8/7R b - - 0 1");
    for (const int limit : {0, 1, 2, 30})
        for (const bool ponder : {false, true})
        {
            liftLimits();
            engine.depthLimit = limit;
            theWorkForce.ponderSearch = ponder;
            EXPECT_EQ(lines(board), "bestmove h8g8\n");
            EXPECT_EQ(pool->currentDepth, 3);
            EXPECT_EQ(pool->position->rootDepth, 3);
        }
    liftLimits();
    engine.infinite = true;
    lines(board);
    EXPECT_EQ(pool->currentDepth, 127);
}

TEST_F(RootSteps, AStalematedRootEndsByItselfAtDepth127WithoutAMove)
{
    Board board(stalemated);
    for (const bool infinite : {false, true})
    {
        liftLimits();
        engine.infinite = infinite;
        const std::string text = lines(board);
        EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
        EXPECT_EQ(text.find("info score cp 0 depth 10 "), 0U);
        EXPECT_EQ(lineFromEnd(text, 2).find("info score cp 0 depth 127 "), 0U);
        EXPECT_EQ(pool->position->rootDepth, 127);
    }
}

TEST_F(RootSteps, AStopBeforeTheFirstBestMoveGivesTheEmptyMove)
{
    Board board(start);
    theWorkForce.stopSearch = true;
    EXPECT_EQ(lines(board), "bestmove a1a1\n");
    EXPECT_EQ(pool->position->nodes, 0U);

    liftLimits();
    engine.nodeCheckInterval = 0; // the hard clock is read at the first node
    engine.maxTime = 0;
    EXPECT_EQ(lines(board), "bestmove a1a1\n");
    EXPECT_EQ(pool->position->nodes, 1U);
    EXPECT_EQ(pool->position->rootDepth, 0);
}

TEST_F(RootSteps, UnderADepthLimitTheBossAnswersElseTheDeepestResult)
{
    Board board(start);
    theWorkForce.workers.push_back(new Claimant(1, board.move("b1a3")));
    engine.nofThreads = 2;
    engine.depthLimit = 5;
    const std::string own = lines(board);
    EXPECT_EQ(own.find("bestmove "), 0U) << own;
    EXPECT_EQ(own.find("bestmove b1a3"), std::string::npos) << own;
    EXPECT_EQ(pool->position->rootDepth, 5);

    // But not when it has none: the end of a helper's search may stop it before its first depth.
    clearHashTable();
    theWorkForce.stopSearch = true;
    EXPECT_EQ(lineFromEnd(lines(board), 1), "bestmove b1a3");

    // Without a limit. Stopped before its first depth, the boss has nothing to set against it, and
    // the table holds no other move.
    liftLimits();
    clearHashTable();
    theWorkForce.stopSearch = true;
    const std::string claimed = lines(board);
    EXPECT_EQ(claimed.find("info score cp 31000 depth 60 seldepth "), 0U) << claimed;
    EXPECT_EQ(lineFromEnd(claimed, 1), "bestmove b1a3");
}

TEST_F(RootSteps, NeitherAMateNorAClockEndsAnInfiniteSearchBeforeDepth127)
{
    Board board(mateInOne);
    engine.infinite = true;
    engine.startTime = static_cast<u64>(now() - 100000);
    engine.nodeCheckInterval = 0;
    engine.targetTime = engine.maxTime = 1;
    const std::string text = lines(board);
    EXPECT_EQ(text.find("info score mate 1 depth 1 "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 2).find("info score mate 1 depth 127 "), 0U);
    EXPECT_EQ(lineFromEnd(text, 1).find("bestmove a1a8"), 0U);
    EXPECT_EQ(pool->currentDepth, 127);

    liftLimits();
    EXPECT_EQ(lineFromEnd(lines(board), 1).find("bestmove a1a8"), 0U);
    EXPECT_EQ(pool->currentDepth, 1) << "else the mate ends it";
}

TEST_F(RootWindows, TheFifthFailLowOfADepthOpensTheWindowBelow)
{
    for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        EXPECT_EQ(failLowSixTimes(6, search), (std::vector<u32>{25, 25, 25, 25, 25, 0}));
}

TEST_F(RootWindows, UpToDepth5TheWindowIsTheWholeScale)
{
    for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        EXPECT_EQ(failLowSixTimes(5, search), std::vector<u32>(6, 0));
}

TEST_F(RootSteps, ALineOfOneMoveGivesNoPonderMove)
{
    Board board(start);
    board.ply(0).bestMove = board.move("e2e4");
    board.ply(1).bestMove = {sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
    for (const u8 last : {u8{0}, u8{1}})
    {
        board->pvLength = last;
        liftLimits();
        theWorkForce.stopSearch = true;
        EXPECT_EQ(lines(board), last ? "bestmove e2e4 ponder e7e5\n" : "bestmove e2e4\n");

        pool->initPonderCandidate();
        pool->storePonderCandidate();
        const moveStruct candidate = pool->getPonderCandidate(board.ply(0).bestMove);
        EXPECT_EQ(moveWord(candidate), last ? moveWord(board.ply(1).bestMove) : 0U);
        EXPECT_EQ(moveWord(pool->getPonderCandidate(board.move("d2d4"))), 0U);
    }
}

TEST_F(RootSteps, ABossAloneWakesNobodyAndAPoolHasTheIdsFrom0On)
{
    for (const int n : {1, 2, 18})
    {
        theWorkForce.setNofWorkers(n);
        ASSERT_EQ(theWorkForce.workers.size(), static_cast<size_t>(n));
        Board board(start);
        for (int i = 0; i < n; ++i)
        {
            worker* const each = theWorkForce.workers[static_cast<size_t>(i)];
            EXPECT_EQ(OpenWorker::idOf(each), i);
            EXPECT_EQ(dynamic_cast<boss*>(each) != nullptr, i == 0);
            each->setPosition(board.get());
            EXPECT_EQ(OpenWorker::positionOf(each)->workerIndex, i);
        }
    }
}

TEST_F(RootSteps, AGoBehindAFinishedOneFindsItsFlagsReset)
{
    theWorkForce.setNofWorkers(1);
    std::istringstream words("startpos moves f2f3 e7e5 g2g4 d8h4"); // mated
    UCIposition(words);
    for (int i = 0; i < 2; ++i)
    {
        theWorkForce.stopSearch = true;
        theWorkForce.timeIsUp = true;
        theWorkForce.ponderSearch = true;
        theWorkForce.deepestDepth = 99;
        testing::internal::CaptureStdout();
        std::istringstream go("depth 2");
        UCIgo(go);
        theWorkForce.workers[0]->waitToTakeABreak();
        std::fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "info score mate 0\nbestmove a1a1\n");
        EXPECT_FALSE(theWorkForce.ponderSearch);
        EXPECT_EQ(theWorkForce.deepestDepth, 0);
        EXPECT_TRUE(theWorkForce.stopSearch) << "as every search leaves it";
    }
}

TEST_F(RootSteps, AGoDuringASearchWaitsForItsEnd)
{
    theWorkForce.setNofWorkers(1);
    for (int i = 0; i < 20; ++i)
    {
        testing::internal::CaptureStdout();
        std::istringstream first("fen " + mateInOne);
        UCIposition(first);
        std::istringstream infinite("infinite");
        UCIgo(infinite);
        std::istringstream mated("startpos moves f2f3 e7e5 g2g4 d8h4");
        UCIposition(mated);
        std::istringstream next("depth 1");
        UCIgo(next);
        theWorkForce.workers[0]->waitToTakeABreak();
        std::fflush(stdout);
        const std::string text = testing::internal::GetCapturedStdout();
        EXPECT_EQ(lineFromEnd(text, 3).find("bestmove "), 0U) << text;
        EXPECT_EQ(lineFromEnd(text, 2), "info score mate 0");
        EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
    }
}

TEST(Budgets, MovesToGoBelow4ActAs4WithAtLeast40Milliseconds)
{
    for (const int moves : {-7, 0, 1, 2, 3, 4})
    {
        EXPECT_EQ(budgets(300000, moves, 40), std::pair(59400, 149995)) << moves;
        EXPECT_EQ(engine.movesToGo, 4);
        EXPECT_EQ(budgets(50, moves, 40).second, 40) << moves;
    }
    EXPECT_EQ(budgets(50, 5, 40).second, 20) << "half of what is behind the margin";
}

TEST(Budgets, WithMovesToGoTheShareChangesAtPlies18And51)
{
    // An even share of 15001 times 0.648, 0.792 and 0.72.
    EXPECT_EQ(budgets(300020, 20, 17).first, 9720);
    EXPECT_EQ(budgets(300020, 20, 18).first, 11880);
    EXPECT_EQ(budgets(300020, 20, 50).first, 11880);
    EXPECT_EQ(budgets(300020, 20, 51).first, 10800);
    EXPECT_EQ(budgets(300020, 20, 1024).first, 10800);
}

TEST(Budgets, GoInfiniteComputesThoseOfTheDefaults)
{
    std::istringstream words("startpos moves f2f3 e7e5 g2g4 d8h4"); // mated, so it ends at once
    UCIposition(words);
    engine.ponderEnabled = false;
    engine.targetTime = engine.maxTime = 7;
    testing::internal::CaptureStdout();
    std::istringstream go("infinite");
    UCIgo(go);
    theWorkForce.workers[0]->waitToTakeABreak();
    std::fflush(stdout);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(engine.targetTime, 16200);
    EXPECT_EQ(engine.maxTime, 113400);
    EXPECT_TRUE(engine.infinite);
    engine.infinite = false;
}

TEST(LineFromTable, AWalkThroughCapturesAndCastlingLeavesThePositionAsItWas)
{
    clearHashTable();
    Board board("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 7 20");
    // A capture with check that takes rights on both sides, a king move, castling.
    const moveStruct line[] = {{sq("h1"), sq("h8"), KINDPLAIN, ROOK},
                               {sq("e8"), sq("e7"), KINDPLAIN, KING + BLACK},
                               {sq("e1"), sq("c1"), KINDCASTLEQUEEN, KING}};
    u8 ply = 0;
    for (const moveStruct& move : line)
    {
        putHashTableEntry(board->hashKey, move, 0, 9, boundExact, ply);
        makeMove(++ply, &move, board.get(), false);
    }
    while (ply > 0)
    {
        unmakeMove(ply, &line[ply - 1], board.get());
        --ply;
    }

    const auto before = std::make_unique<positionStruct>(*board.get());
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 e1c1 ");
    ASSERT_EQ(board->hashKey, before->hashKey);
    EXPECT_EQ(board->pawnHashKey, before->pawnHashKey);
    EXPECT_EQ(std::memcmp(board->board, before->board, sizeof before->board), 0);
    EXPECT_EQ(std::memcmp(board->pieceBB, before->pieceBB, sizeof before->pieceBB), 0);
    EXPECT_EQ(board->sideToMove, before->sideToMove);
    EXPECT_EQ(board->keyIndex, before->keyIndex);
    EXPECT_EQ(board->halfMoveClock, 7);
    EXPECT_EQ(board.ply(0).castlingRights, before->plies[0].castlingRights);
    EXPECT_EQ(inconsistency(board.get(), 0), "");

    getPVFromHashTable(0, board.get(), 2);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 ") << "never more than depth";
    getPVFromHashTable(0, board.get(), 0);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 ") << "depth 0 changes nothing";
}
