// SPDX-License-Identifier: MIT
//
// The root search, the pool, the clock and the line from the table, each with searchers whose
// inner state shows and on positions whose scores are in the table beforehand.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <set>
#include <sstream>
#include <thread>

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
        Board board(kingsAndPawns);
        const std::vector<moveStruct> answers = settle(board, lastDepth);
        engine.depthLimit = lastDepth;
        lines(board, search);
        EXPECT_EQ(pool->position->rootDepth, lastDepth);
        EXPECT_EQ(pool->position->rootScore, -2000);
        std::vector<u32> weights;
        for (size_t k = 0; k < 6; ++k)
        {
            const moveStruct answer = answers.at(k);
            weights.push_back(
                pool->position->historyGood[board->board[answer.from] - PAWN][answer.to]);
        }
        return weights;
    }

    /// Empties the table and puts scores into it. White's first move is a draw up to the last but
    /// one depth; at the last, black's answers are worth `worths`, the others nothing. So many of
    /// white's other moves are each better than the one before. Returns black's answers.
    static std::vector<moveStruct>
    settle(Board& board, int lastDepth,
           const std::vector<int>& worths = {15, 50, 90, 170, 330, 2000}, size_t betterMoves = 0)
    {
        liftLimits();
        clearHashTable();
        const std::vector<moveStruct> moves = board.legalMoves();
        for (size_t i = 1; i < moves.size(); ++i)
        {
            makeMove(1, &moves[i], board.get(), false);
            enter(board, 1, i <= betterMoves ? 2000 - 100 * static_cast<int>(i) : 5000);
            unmakeMove(1, &moves[i], board.get());
        }
        makeMove(1, &moves[0], board.get(), false);
        enter(board, 1, 0, boundExact, lastDepth - 2);
        const std::vector<moveStruct> answers = movesAt(board, 1);
        for (size_t k = 0; k < answers.size(); ++k)
        {
            makeMove(2, &answers[k], board.get(), false);
            enter(board, 2, k < worths.size() ? -worths[k] : 5000);
            unmakeMove(2, &answers[k], board.get());
        }
        unmakeMove(1, &moves[0], board.get());
        return answers;
    }

    /// The same with answers that are worth 5000 to white, which the search only sees in windows
    /// above these bounds.
    static void settleHigh(Board& board, int lastDepth, const std::vector<int>& bounds)
    {
        settle(board, lastDepth, {});
        const moveStruct first = board.legalMoves()[0];
        makeMove(1, &first, board.get(), false);
        const std::vector<moveStruct> answers = movesAt(board, 1);
        for (size_t k = 0; k < bounds.size(); ++k)
        {
            makeMove(2, &answers[k], board.get(), false);
            enter(board, 2, bounds[k], boundLower);
            for (const moveStruct& move : movesAt(board, 2))
            {
                makeMove(3, &move, board.get(), false);
                enter(board, 3, -5000);
                unmakeMove(3, &move, board.get());
            }
            unmakeMove(2, &answers[k], board.get());
        }
        unmakeMove(1, &first, board.get());
    }

    /// Puts a score of the position at a ply into the table.
    static void enter(Board& board, u8 ply, int score, u8 bound = boundExact, int depth = 127)
    {
        putHashTableEntry(board->hashKey, EMPTYMOVE, static_cast<i16>(score),
                          static_cast<i8>(depth), bound, ply);
    }

    static std::vector<moveStruct> movesAt(Board& board, u8 ply)
    {
        generateMovesLegal(ply, board.ply(ply).moveListStart, board.get());
        return {board.ply(ply).moveListStart, board.ply(ply).moveListEnd};
    }

    static constexpr const char* kingsAndPawns = "4k3/pppp4/8/8/8/8/PPPP4/4K3 w - - 0 1";
};

} // namespace

TEST_F(RootSteps, HelpersSkipTheDepthsOfTheirRowAndRowsRepeatAfter16)
{
    // With the soft clock open to helpers, a helper stops at the first depth of its schedule that
    // reaches the limit.
    const std::vector<int> all = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    struct
    {
        int id;
        std::vector<int> depths; // up to 12 and one beyond
    } const schedules[] = {
        {1, {2, 4, 6, 8, 10, 12}},
        {2, all},
        {3, {1, 2, 4, 5, 7, 8, 10, 11, 13}},
        {4, {1, 3, 4, 6, 7, 9, 10, 12}},
        {5, all},
        {6, all},
        {7, {3, 4, 7, 8, 11, 12}},
        {8, {1, 2, 3, 5, 6, 7, 8, 9, 11, 12}},
        {9, {1, 2, 6, 7, 8, 12}},
        {10, all},
        {11, {3, 4, 7, 8, 11, 12}},
        {12, {1, 2, 3, 6, 7, 10, 11, 14}},
        {13, {1, 3, 4, 5, 6, 8, 9, 10, 11, 13}},
        {14, {2, 3, 5, 6, 8, 9, 11, 12}},
        {15, all},
        {16, all},
        {17, {2, 4, 6, 8, 10, 12}},
    };
    Board board(stalemated);
    for (const auto& [id, depths] : schedules)
    {
        OpenWorker helper(id);
        std::set<int> reached;
        for (int limit = 1; limit <= 12; ++limit)
        {
            liftLimits();
            openSoftClock();
            engine.depthLimit = limit;
            helper.setPosition(board.get());
            helper.searchRoot();
            reached.insert(helper.currentDepth);
            EXPECT_EQ(helper.position->rootDepth, helper.currentDepth);
            EXPECT_TRUE(theWorkForce.stopSearch);
        }
        EXPECT_EQ(reached, std::set<int>(depths.begin(), depths.end())) << id;
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
        EXPECT_EQ(helper.currentDepth, reached) << "a depth left out is not begun";
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

TEST_F(RootSteps, EverySearchOfATableReadsTheClockAfter4096Nodes)
{
    // The time is up before the search begins, which it sees when it first reads the clock.
    Board board(start);
    for (const u32 earlierSearches : {0U, 1U})
    {
        clearHashTable();
        hashHartBeat = earlierSearches + 1;
        theWorkForce.stopSearch = false;
        liftLimits();
        engine.maxTime = 0;
        engine.startTime = static_cast<u64>(now()) - 1000;
        engine.nodeCheckInterval = 4096;
        EXPECT_NE(lines(board), "bestmove a1a1\n");
        EXPECT_EQ(pool->position->nodes, 4097U);
    }
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

TEST_F(RootSteps, TheSoftClockEndsAnIterationWhoseElapsedTimeTimesTheFactorExceedsItsShare)
{
    // Every depth is settled: the share is 1 up to depth 5, then falls by a tenth, to 0.6 at depth
    // 10 and no further.
    Board board(stalemated);
    for (const auto& [used, factor, end] :
         {std::tuple(0.595, 1.0F, 127), std::tuple(0.605, 1.0F, 10), std::tuple(0.905, 1.0F, 6),
          std::tuple(0.995, 1.0F, 6), std::tuple(1.005, 1.0F, 1), std::tuple(0.119, 5.0F, 127),
          std::tuple(0.181, 5.0F, 6), std::tuple(0.201, 5.0F, 1)})
    {
        liftLimits();
        spendSoftBudget(used);
        engine.timeFactor = factor;
        lines(board);
        EXPECT_EQ(pool->currentDepth, end) << used << " times " << factor;
    }
}

TEST_F(RootSteps, HelpersLookAtTheLimitsOnceASixteenthOfTheSoftBudgetOr100MillisecondsHavePassed)
{
    Board board(stalemated);
    OpenWorker helper(2);
    helper.setPosition(board.get());
    const auto reached = [&](int elapsed, int targetTime)
    {
        liftLimits();
        engine.depthLimit = 4;
        engine.targetTime = targetTime;
        engine.startTime = static_cast<u64>(now() - elapsed);
        helper.searchRoot();
        return i32{helper.currentDepth};
    };
    // Minutes lie between these times and their limits.
    EXPECT_EQ(reached(100'000'000, 16 * 101'000'000), 127);
    EXPECT_EQ(reached(100'000'000, 16 * 99'000'000), 4);
    EXPECT_EQ(reached(101, 0), 4);
    EXPECT_EQ(reached(101, -1'000'000'000), 4);
    // The second must not end on the way: when the machine was so slow, again.
    int depth = 0;
    for (int attempts = 0; attempts < 1000 && (depth == 0 || engine.elapsedTime > 100); ++attempts)
        depth = reached(90, 160);
    EXPECT_EQ(depth, 127);
}

TEST_F(RootSteps, AHelperClearsTheSignThatTimeIsUpAndTheBossSetsItAtItsEnd)
{
    Board board(stalemated);
    OpenWorker helper(2);
    helper.setPosition(board.get());
    engine.depthLimit = 1;
    theWorkForce.timeIsUp = true;
    openSoftClock();
    helper.searchRoot();
    EXPECT_FALSE(theWorkForce.timeIsUp);

    theWorkForce.stopSearch = false;
    lines(board);
    EXPECT_TRUE(theWorkForce.timeIsUp);
}

TEST_F(RootSteps, TheDeepestResultWinsACompleteOneFirstAndAMateByItsScore)
{
    struct
    {
        std::vector<claim> claims;
        size_t winner;
    } const cases[] = {
        {{{60, 1, 500}, {61, 0, 0}}, 1},
        {{{60, 1, 0}, {60, 0, 500}}, 0},
        {{{60, 0, 500}, {60, 1, 0}}, 1},
        {{{60, 1, 10}, {60, 1, 10}}, 0},
        {{{60, 1, 10}, {60, 1, 11}}, 1},
        {{{60, 1, 10}, {59, 1, 31872}}, 1},
        {{{60, 1, 10}, {59, 1, 31871}}, 0},
        {{{60, 1, 31900}, {61, 1, 31890}}, 0},          // a lower mate, though deeper
        {{{60, 1, 10}, {61, 1, -31990}}, 1},            // being mated overrides nothing
        {{{60, 1, 10}, {50, 1, 31900}, {51, 1, 0}}, 2}, // measured by the mate's depth
    };
    Board board(start);
    const std::vector<moveStruct> moves = board.legalMoves();
    for (const auto& [claims, winner] : cases)
    {
        std::vector<worker*> helpers;
        for (size_t i = 0; i < claims.size(); ++i)
            helpers.push_back(new Claimant(static_cast<int>(i) + 1, moves[i], claims[i]));
        makePool(helpers);
        clearHashTable();
        theWorkForce.stopSearch = true;
        EXPECT_EQ(lineFromEnd(lines(board), 1), "bestmove " + moveToLA(&moves[winner], WHITE))
            << &winner - &cases[0].winner;
    }
}

TEST_F(RootSteps, AResultOfOneMoveIsGivenThePonderMoveOfTheLastLineWithThatMove)
{
    // The walk of a result of depth 0 finds nothing.
    for (const auto& [claimed, answer] : {std::pair("e2e4", " ponder e7e5"), {"d2d4", ""}})
    {
        Board board(start);
        settleE2e4(board);
        makePool({new Claimant(1, board.move(claimed), {0, 1, 31900})});
        liftLimits();
        spendSoftBudget(0.605); // to depth 10
        const std::string text = lines(board);
        const std::string info = lineFromEnd(text, 2);
        EXPECT_EQ(info.substr(info.find(" pv ")), std::string(" pv ") + claimed + " ") << text;
        EXPECT_EQ(lineFromEnd(text, 1), std::string("bestmove ") + claimed + answer);
    }
}

TEST_F(RootSteps, AStoppedIterationWritesItsLineButKeepsNoPonderMove)
{
    int stopped = 0;
    for (int nodes = 150; nodes < 260; ++nodes)
    {
        Board board(start);
        settleE2e4(board);
        liftLimits();
        engine.nodeCheckInterval = nodes;
        engine.maxTime = 0;
        const std::string info = lineFromEnd(lines(board), 2);
        if (info.find(" depth 10 ") == std::string::npos) continue;
        ++stopped;
        EXPECT_EQ(info.substr(info.find(" pv ")), " pv e2e4 e7e5 ");
        EXPECT_EQ(moveWord(pool->getPonderCandidate(board.move("e2e4"))), 0U) << nodes;
    }
    EXPECT_GT(stopped, 0);
}

TEST_F(RootWindows, EachRowHasItsOwnWideningsAndRowsRepeatAfter16)
{
    // The first windows below the last score after each failure. Of two answers around each limit
    // only the one that reaches it cuts off.
    struct
    {
        int id;
        int depth; // the first with a window that the row doesn't skip
        int limits[5];
    } const rows[] = {
        {1, 6, {15, 35, 75, 155, 315}},   {2, 6, {11, 30, 61, 110, 186}},
        {3, 7, {15, 50, 90, 170, 330}},   {4, 6, {50, 90, 170, 330, 650}},
        {5, 6, {15, 50, 90, 170, 330}},   {6, 6, {29, 61, 129, 253, 453}},
        {7, 7, {15, 50, 90, 170, 330}},   {8, 6, {15, 50, 90, 170, 330}},
        {9, 6, {29, 61, 129, 253, 453}},  {10, 6, {15, 50, 90, 170, 330}},
        {11, 7, {15, 50, 90, 170, 330}},  {12, 6, {15, 35, 75, 155, 315}},
        {13, 6, {11, 30, 61, 110, 186}},  {14, 6, {50, 90, 170, 330, 650}},
        {15, 6, {35, 62, 120, 259, 459}}, {16, 6, {15, 50, 90, 170, 330}},
    };
    for (const auto& row : rows)
    {
        std::vector<int> worths;
        for (const int limit : row.limits)
        {
            worths.push_back(limit - 1);
            worths.push_back(limit);
        }
        worths.push_back(2000);
        Board board(kingsAndPawns);
        const std::vector<moveStruct> answers = settle(board, row.depth, worths);
        openSoftClock();
        engine.depthLimit = row.depth;
        OpenWorker helper(row.id);
        helper.setPosition(board.get());
        helper.searchRoot();
        const u32 weight = static_cast<u32>((row.depth - 1) * (row.depth - 1));
        for (size_t k = 0; k < worths.size(); ++k)
        {
            const moveStruct answer = answers.at(k);
            EXPECT_EQ(helper.position->historyGood[board->board[answer.from] - PAWN][answer.to],
                      k % 2 ? weight : 0)
                << row.id << ": " << worths[k];
        }
    }
}

TEST_F(RootWindows, TheFifthFailHighOfADepthOpensTheWindowAbove)
{
    // White's first move is at least worth as much as each window asks, until that is 330 above
    // 330; then it is worth 5000. Each search of the root finds it anew.
    for (const auto& [bounds, searches] : {std::pair(std::vector<int>{}, 2),
                                           {{15}, 3},
                                           {{15, 50, 90, 170}, 6},
                                           {{15, 50, 90, 170, 330}, 6}})
    {
        Board board(kingsAndPawns);
        settleHigh(board, 6, bounds);
        engine.depthLimit = 6;
        lines(board);
        EXPECT_EQ(pool->position->rootScore, 5000);
        EXPECT_EQ(pool->position->rootBestChanges, searches) << bounds.size();
    }
}

TEST_F(RootWindows, TheFifthFailLowOfADepthOpensTheWindowBelow)
{
    for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        EXPECT_EQ(failLowSixTimes(6, search), (std::vector<u32>{25, 25, 25, 25, 25, 0}));
}

TEST_F(RootWindows, EachFailureBehindTheFirstOfADepthMakesItLessSettled)
{
    // At depth 6 the window fails as often as black has answers but one; each depth behind it is
    // settled and takes a tenth off the share, 1 plus a fifth of the failures. The search ends
    // where the share comes below 0.95: 0.9 at once, or 1.4, 1.6, 1.8 or 2 times powers of 0.9.
    const struct
    {
        std::vector<int> worths;
        size_t betterMoves;
        int end;
    } cases[] = {
        {{10}, 0, 6},     // holds at once
        {{15, 20}, 0, 6}, // one failure is none
        {{15, 50, 60}, 0, 10},
        {{15, 50, 90, 100}, 0, 11},
        {{15, 50, 90, 170, 180}, 0, 13},
        {{15, 50, 90, 170, 330, 2000}, 0, 14},
        {{15, 50, 90, 170, 330, 2000}, 4, 14}, // four more best moves: no share above 2
    };
    for (const auto& c : cases)
    {
        Board board(kingsAndPawns);
        settle(board, 6, c.worths, c.betterMoves);
        spendSoftBudget(0.95); // which the depths below 6 leave alone
        lines(board);
        EXPECT_EQ(pool->position->rootDepth, c.end) << c.worths.size();
        EXPECT_EQ(pool->position->rootScore,
                  -c.worths.back() + 100 * static_cast<int>(c.betterMoves));
    }
}

TEST_F(RootWindows, UpToDepth5TheWindowIsTheWholeScale)
{
    for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        EXPECT_EQ(failLowSixTimes(5, search), std::vector<u32>(6, 0));
}

TEST_F(RootSteps, TheSoftBudgetShrinksWithEachSettledDepthFrom6OnAndGrowsWithUnsettledOnes)
{
    // The shares of the soft budget behind each depth and the scores, from a root of our own: a
    // window of 15 around the last score from depth 6 on, widened by 35, 40, 80, 160, then open.
    // The depths up to 5 end any search that has used more than the whole budget, so a share above
    // 1 only shows by the number of settled depths that bring it down again.
    struct outline
    {
        std::vector<double> shares;
        std::vector<int> scores;
    };
    int restless = 0;  // unsettled depths behind settled or shallow ones
    int stormy = 0;    // unsettled depths while the share is above 1
    int widenings = 0; // depths whose windows failed more than once on a side
    const auto outlineOf = [&](const std::string& fen, int depths)
    {
        constexpr int steps[] = {15, 35, 40, 80, 160};
        clearHashTable();
        liftLimits();
        Board board(fen);
        board->nodesToClockCheck = 4096;
        board.legalMoves();
        outline found;
        double share = 1;
        int score = 0;
        for (int depth = 1; depth <= depths; ++depth)
        {
            int low = depth > 5 ? score - steps[0] : -32767;
            int high = depth > 5 ? score + steps[0] : 32767;
            int lowFails = 0;
            int highFails = 0;
            board->rootBestChanges = 0;
            for (;;)
            {
                score = alfabeta(0, depth, static_cast<i16>(low), static_cast<i16>(high),
                                 board.get(), 2);
                if (score <= low && low > -32000)
                {
                    high = (low + high) / 2;
                    low = ++lowFails < 5 ? score - steps[lowFails] : -32000;
                }
                else if (score >= high && high < 32000)
                    high = ++highFails < 5 ? score + steps[highFails] : 32000;
                else
                    break;
            }
            int unrest = board->rootBestChanges;
            if (lowFails > 1 || highFails > 1)
            {
                unrest += std::max(lowFails, highFails) - 1;
                ++widenings;
            }
            if (depth < 6)
                share = 1;
            else if (unrest <= 1)
                share *= 0.9;
            else if (share <= 1)
            {
                share = 1 + 0.2 * unrest;
                ++restless;
            }
            else
            {
                share = 0.8 * share + 0.2 * unrest;
                ++stormy;
            }
            share = std::min(std::max(share, 0.6), 2.0);
            found.shares.push_back(share);
            found.scores.push_back(score);
        }
        return found;
    };

    // The last two have unsettled depths one behind another, and few men, so they are cheap.
    std::vector<std::pair<std::string, int>> searches;
    for (size_t i = 0; i < manyPositions().size(); i += 8)
        searches.emplace_back(manyPositions()[i], 9);
    searches.emplace_back("4k3/4P3/b7/2p5/8/7K/8/8 w - - 0 1", 14);
    searches.emplace_back("4k3/4P3/b7/2p5/8/6K1/8/8 w - - 0 1", 14);
    for (const auto& [fen, depths] : searches)
    {
        Board board(fen);
        if (board.legalMoves().size() < 2) continue;
        const outline expected = outlineOf(fen, depths);
        if (std::any_of(expected.scores.begin(), expected.scores.end(),
                        [](int score) { return std::abs(score) > 31000; }))
            continue; // a mate would end the search

        // The clock shows so much time that what the search itself takes is nothing. Tried are
        // times just below and just above each share: the search ends behind the first smaller one.
        std::vector<double> times;
        for (const double share : expected.shares)
            for (const double used : {share - 0.005, share + 0.005})
                if (std::all_of(expected.shares.begin(), expected.shares.end(),
                                [used](double other) { return std::abs(used - other) > 0.004; }) &&
                    used < 1 &&
                    used > *std::min_element(expected.shares.begin(), expected.shares.end()))
                    times.push_back(used);
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        for (const double used : times)
        {
            const auto last = std::find_if(expected.shares.begin(), expected.shares.end(),
                                           [used](double share) { return share < used; });
            const auto depth = last - expected.shares.begin() + 1;

            clearHashTable();
            liftLimits();
            spendSoftBudget(used);
            lines(board);
            EXPECT_EQ(pool->position->rootDepth, depth) << fen << " at " << used;
            EXPECT_EQ(pool->position->rootScore, expected.scores[static_cast<size_t>(depth - 1)]);
        }
    }
    EXPECT_GT(restless, 0);
    EXPECT_GT(stormy, 0);
    EXPECT_GT(widenings, 0);
}

TEST_F(RootWindows, AStopAtAnyNodeOfDepth10LeavesALegalLine)
{
    // While the window is being widened the root has no exact entry, so the line comes from the
    // fields, which hold moves that nobody has.
    int linesSeen = 0;
    for (int nodes = 100; nodes < 400; ++nodes)
    {
        Board board(kingsAndPawns);
        settle(board, 10);
        board->pvLength = 3;
        for (int ply = 0; ply <= 3; ++ply) board.ply(ply).bestMove = {sq("e4"), sq("e5"), 0, PAWN};
        engine.nodeCheckInterval = nodes;
        engine.maxTime = 0;
        const std::string info = lineFromEnd(lines(board), 2);
        if (info.empty()) continue;
        ++linesSeen;

        std::istringstream line(info.substr(info.find(" pv ") + 4));
        Board played(kingsAndPawns);
        for (std::string text; line >> text;)
        {
            const moveStruct move = played.move(text);
            ASSERT_NE(moveWord(move), 0U) << info;
            makeMove(1, &move, played.get(), false);
            played.ply(0).enPassantSquare = played.ply(1).enPassantSquare;
        }
    }
    EXPECT_GT(linesSeen, 20);
}

TEST_F(RootSteps, TheAnswerInALineThatWasWrittenIsThePonderCandidate)
{
    Board board(start);
    engine.depthLimit = 10;
    const std::string text = lines(board);
    const moveStruct best = pool->position->plies[0].bestMove;
    const std::string answer = text.substr(text.find(" ponder ") + 8, 4);
    const moveStruct candidate = pool->getPonderCandidate(best);
    EXPECT_EQ(moveToLA(&candidate, BLACK), answer) << text;
}

TEST_F(RootSteps, ALineThatIsNotLegalToItsEndIsCutBeforeItIsWritten)
{
    // A helper's line of three moves: white's, an answer that black doesn't have, any move.
    class Dreamer : public Claimant
    {
      public:
        using Claimant::Claimant;
        void searchRoot() override
        {
            Claimant::searchRoot();
            position->plies[1].bestMove = {sq("e8"), sq("e5"), KINDPLAIN, KING + BLACK};
            position->plies[2].bestMove = {sq("d2"), sq("d3"), KINDPLAIN, PAWN};
            position->pvLength = 2;
        }
    };
    Board board(start);
    theWorkForce.workers.push_back(new Dreamer(1, board.move("b1a3")));
    engine.nofThreads = 2;
    theWorkForce.stopSearch = true;
    const std::string text = lines(board);
    const std::string info = lineFromEnd(text, 2);
    EXPECT_EQ(info.substr(info.find(" pv ")), " pv b1a3 ") << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove b1a3");
}

TEST_F(RootSteps, AnAcceptedMateStandsInTheTableAsTheRootSeesIt)
{
    Board board(mateInOne);
    engine.infinite = true; // else the mate ends the search at depth 1, which stores nothing
    lines(board);
    const u64 entry = getHashTableEntry(board->hashKey);
    EXPECT_EQ(hashScore(entry, 0), 31999);
    EXPECT_EQ(hashDepth(entry), 127);
    EXPECT_EQ(hashBound(entry), boundExact);
}

TEST_F(RootSteps, ANewGameEndsTheSearchBeforeItAnswers)
{
    theWorkForce.setNofWorkers(1);
    testing::internal::CaptureStdout();
    std::istringstream words("startpos");
    UCIposition(words);
    std::istringstream go("infinite");
    UCIgo(go);
    UCInewgame();
    std::fflush(stdout);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(lineFromEnd(text, 2).find("bestmove "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 1), "readyok");
    theWorkForce.endSearch();
}

TEST_F(RootSteps, AnAbandonedSearchWritesNothingUnlessItHadEndedBefore)
{
    Board board(start);
    theWorkForce.workers.push_back(new Claimant(1, board.move("b1a3")));
    for (const int threads : {1, 2})
    {
        engine.nofThreads = threads;
        liftLimits();
        theWorkForce.abandon();
        theWorkForce.stop();
        EXPECT_EQ(lines(board), "");

        liftLimits();
        theWorkForce.stop();
        theWorkForce.abandon();
        EXPECT_EQ(lineFromEnd(lines(board), 1), threads == 1 ? "bestmove a1a1" : "bestmove b1a3");
    }

    Board mated("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    engine.nofThreads = 1;
    liftLimits();
    theWorkForce.abandon();
    EXPECT_EQ(lines(mated), "");
}

TEST_F(RootSteps, AHelperHasNoResultForAMatedRoot)
{
    Board mated("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    OpenWorker helper(1);
    helper.setPosition(mated.get());
    helper.searchRoot();
    EXPECT_EQ(helper.position->rootDepth, 0);
    EXPECT_EQ(helper.position->rootDepthComplete, 1);
    EXPECT_EQ(helper.position->rootScore, -32767);
    EXPECT_TRUE(theWorkForce.stopSearch);
}

TEST_F(RootSteps, EndSearchStopsAnInfiniteSearch)
{
    theWorkForce.setNofWorkers(1);
    testing::internal::CaptureStdout();
    std::istringstream words("startpos");
    UCIposition(words);
    std::istringstream go("infinite");
    UCIgo(go);
    std::atomic<bool> ended = false;
    std::thread caller(
        [&ended]
        {
            theWorkForce.endSearch();
            ended = true;
        });
    // Long beyond what it takes, and no wait at all where it works.
    for (int i = 0; i < 3000 && !ended; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(ended);
    theWorkForce.stopSearch = true;
    caller.join();
    std::fflush(stdout);
    EXPECT_EQ(lineFromEnd(testing::internal::GetCapturedStdout(), 1).find("bestmove "), 0U);
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
    hashHartBeat = 127;
    for (unsigned i = 0; i < 2; ++i)
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
        EXPECT_EQ(hashHartBeat, 128U + i);
        EXPECT_EQ(hashAgeCounter, i ? 0 : 63) << "the low six bits of the count before";
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

TEST(Budgets, TheShareIs72Or82HundredthsAndAFifthMoreWithPonder)
{
    // An even share of 22501.
    std::istringstream words("startpos");
    UCIposition(words);
    engine.timeLeft[WHITE] = 900040;
    for (const auto& [threads, ponder, target] :
         {std::tuple(3, false, 16200), std::tuple(4, false, 18450), std::tuple(3, true, 19440),
          std::tuple(4, true, 22140)})
    {
        engine.nofThreads = threads;
        engine.ponderEnabled = ponder;
        calcTimeParameters();
        EXPECT_EQ(engine.targetTime, target) << threads;
    }
    engine.nofThreads = 1;
    engine.ponderEnabled = false;
}

TEST(Budgets, AClockBelowFourTargetsIsSplitAgain)
{
    // An even share of 1001 gives 720.
    std::istringstream words("startpos");
    UCIposition(words);
    engine.gamePly = 201;
    engine.timeInc[WHITE] = 867;
    for (const auto& [time, factor, target, max] :
         {std::tuple(2889, 5.0F, 360, 936), std::tuple(2890, 1.0F, 720, 1873)})
    {
        engine.timeLeft[WHITE] = time;
        calcTimeParameters();
        EXPECT_EQ(engine.timeFactor, factor);
        EXPECT_EQ(engine.targetTime, target);
        EXPECT_EQ(engine.maxTime, max);
    }
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

TEST(LineFromTable, AWalkThatFindsNoMoveLeavesTheLineAndOneInACircleEndsAtTheDepth)
{
    clearHashTable();
    Board board(start);
    board->pvLength = 3;
    board.ply(0).bestMove = {1, 2, 3, 4};
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(board->pvLength, 3);
    EXPECT_EQ(board.ply(0).bestMove, (moveStruct{1, 2, 3, 4}));

    u8 ply = 0;
    for (const auto& [from, to] : {std::pair("g1", "f3"), {"g8", "f6"}, {"f3", "g1"}, {"f6", "g8"}})
    {
        const moveStruct move{sq(from), sq(to), KINDPLAIN, board->board[sq(from)]};
        putHashTableEntry(board->hashKey, move, 0, 9, boundExact, ply);
        makeMove(++ply, &move, board.get(), false);
    }
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(PVToString(board.get()), "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3 ");
}
