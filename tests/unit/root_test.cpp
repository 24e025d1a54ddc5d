// SPDX-License-Identifier: MIT
//
// The root search, the pool and the PV from the transposition table. The tests use searchers whose
// inner state is accessible, and store the scores of positions in the table beforehand.

#include <algorithm>
#include <sstream>

#include "root_support.h"

namespace
{

const std::string mated = "startpos moves f2f3 e7e5 g2g4 d8h4";

/// The moves of an info line.
std::string pvOf(const std::string& info)
{
    return info.substr(info.find(" pv ") + 4);
}

/// Kings and pawns, so that nothing prunes before the moves. The table holds scores for white's
/// moves and black's answers, so that each search of the root returns what a test wants.
class SearchWindow : public SearchRoot
{
  protected:
    static constexpr const char* kingsAndPawns = "4k3/pppp4/8/8/8/8/PPPP4/4K3 w - - 0 1";

    /// Empties the table and fills it with scores. White's first move is a draw below a depth; from
    /// there on black's answers to it are worth `worths`. The next moves are worth `others` to
    /// white, and the rest lose. Returns black's answers to the first move.
    static std::vector<moveStruct> settle(Board& board, int depth, const std::vector<int>& worths,
                                          const std::vector<int>& others = {})
    {
        liftLimits();
        clearHashTable();
        const std::vector<moveStruct> moves = board.legalMoves();
        for (size_t i = 1; i < moves.size(); ++i)
            enterAfter(board, moves[i], i <= others.size() ? -others[i - 1] : 31990);
        return settleMove(board, moves[0], depth, 0, worths);
    }

    /// Stores one move: its `score` to white below a depth, and the worths of black's answers from
    /// there on. An answer without a worth loses.
    static std::vector<moveStruct> settleMove(Board& board, moveStruct move, int depth, int score,
                                              const std::vector<int>& worths)
    {
        makeMove(1, &move, board.get(), false);
        enter(board, 1, -score, boundExact, depth - 2);
        std::vector<moveStruct> answers = movesAt(board, 1);
        for (size_t k = 0; k < answers.size(); ++k)
        {
            makeMove(2, &answers[k], board.get(), false);
            enter(board, 2, k < worths.size() ? -worths[k] : 31980);
            unmakeMove(2, &answers[k], board.get());
        }
        unmakeMove(1, &move, board.get());
        return answers;
    }

    /// Lets white's first move almost mate from a depth on. A window that ends at one of these
    /// bounds does not show it, because the answer to it only has a lower bound.
    static void settleHigh(Board& board, int depth, const std::vector<int>& bounds)
    {
        const std::vector<moveStruct> answers = settle(board, depth, {});
        const moveStruct first = board.legalMoves()[0];
        makeMove(1, &first, board.get(), false);
        for (size_t k = 0; k < bounds.size(); ++k)
        {
            makeMove(2, &answers[k], board.get(), false);
            enter(board, 2, bounds[k], boundLower);
            for (const moveStruct& move : movesAt(board, 2))
            {
                makeMove(3, &move, board.get(), false);
                enter(board, 3, -31980);
                unmakeMove(3, &move, board.get());
            }
            unmakeMove(2, &answers[k], board.get());
        }
        unmakeMove(1, &first, board.get());
    }

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

    /// What the history holds for each of the first answers after a search: the weight of the
    /// cut-offs.
    static std::vector<u32> cutOffs(const positionStruct* searched, size_t count,
                                    const std::vector<moveStruct>& answers)
    {
        std::vector<u32> weights;
        for (size_t k = 0; k < count; ++k)
            weights.push_back(searched->historyGood[searched->board[answers.at(k).from] - PAWN]
                                                   [answers.at(k).to]);
        return weights;
    }
};

} // namespace


// Depths and limits

TEST_F(SearchRoot, HelpersSkipTheDepthsOfTheirRowAndRowsRepeatAfter16)
{
    const std::set<int> all = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const std::set<int> schedules[] = {
        {2, 4, 6, 8, 10, 12},              // 1
        all,                               // 2
        {1, 2, 4, 5, 7, 8, 10, 11, 13},    // 3
        {1, 3, 4, 6, 7, 9, 10, 12},        // 4
        all,                               // 5
        all,                               // 6
        {3, 4, 7, 8, 11, 12},              // 7
        {1, 2, 3, 5, 6, 7, 8, 9, 11, 12},  // 8
        {1, 2, 6, 7, 8, 12},               // 9
        all,                               // 10
        {3, 4, 7, 8, 11, 12},              // 11
        {1, 2, 3, 6, 7, 10, 11, 14},       // 12
        {1, 3, 4, 5, 6, 8, 9, 10, 11, 13}, // 13
        {2, 3, 5, 6, 8, 9, 11, 12},        // 14
        all,                               // 15
        all,                               // 16, which is 0
        {2, 4, 6, 8, 10, 12},              // 17
    };
    int id = 0;
    for (const std::set<int>& depths : schedules) EXPECT_EQ(depthsOf(++id), depths) << id;
    EXPECT_TRUE(theWorkForce.stopSearch);
    EXPECT_EQ(depthsOf(2, &worker::searchRoot, 126), std::set{126});
    EXPECT_EQ(depthsOf(13, &worker::searchRoot, 127), std::set{127}) << "128 is too deep";
}

TEST_F(SearchRoot, AHelperLeavesADepthFrom9OnThatMoreThanHalfThePoolHasBegun)
{
    Board board(stalemated);
    // The previous search does so from depth 11 on with five threads or more, and also counts
    // threads beyond the depth. Its schedule leaves out 12 as well.
    const int cases[][6] = {{false, 2, 2, 127, 9, 8},  {false, 4, 2, 127, 9, 9},
                            {false, 2, 2, 8, 9, 9},    {false, 2, 2, 9, 9, 10},
                            {true, 5, 3, 127, 11, 10}, {true, 5, 3, 9, 11, 11},
                            {true, 5, 3, 10, 11, 13},  {true, 5, 2, 127, 11, 11},
                            {true, 6, 3, 127, 11, 11}, {true, 4, 3, 127, 11, 11}};
    for (const auto& [isOld, threads, others, begun, limit, reached] : cases)
    {
        makePool({new OpenWorker(2), new OpenWorker(3)});
        engine.nofThreads = threads;
        hashHartBeat = 0;
        for (size_t i = 0; i < 3; ++i)
            OpenWorker::depthOf(theWorkForce.workers[i]) = static_cast<int>(i) < others ? begun : 0;
        liftLimits();
        openSoftClock();
        engine.depthLimit = limit;
        OpenWorker helper(isOld ? 1 : 2);
        helper.setPosition(board.get());
        isOld ? helper.searchRootOld() : helper.searchRoot();
        EXPECT_EQ(helper.currentDepth, reached) << threads << ' ' << others << ' ' << begun;
        EXPECT_TRUE(isOld || helper.position->rootDepth == reached);
    }
}

TEST_F(SearchRoot, AStopEndsCapturesOnlyOnABoardWithMorePiecesThanAGameCanGiveASide)
{
    theWorkForce.setNofWorkers(1);
    for (const auto& [white, isCrowded] : {std::pair("QQQQQQQQ/Q7", false),
                                           {"QQQQQQQQ/QP6", true},
                                           {"BBBBBBBB/BB6", false},
                                           {"BBBBBBBB/BBP5", true},
                                           {"NNN5/PPPPPPP1", false},
                                           {"NNN5/PPPPPPPP", true},
                                           {"RRR5/PPPPPPP1", false},
                                           {"RRR5/PPPPPPPP", true},
                                           {"8/8", false}})
    {
        std::string black = white;
        for (char& letter : black) letter = static_cast<char>(std::tolower(letter));
        for (const std::string& pieces : {white + std::string("/8/8/4K3 b"), black + "/8/8/4K3 w"})
        {
            goLines("fen 4k3/8/8/" + pieces, "depth 1");
            Board queenAhead("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
            const int score = quiescence(0, 0, -30000, 30000, queenAhead.get());
            EXPECT_EQ(score == 0, isCrowded) << pieces;
        }
    }
}

TEST_F(SearchRoot, AnOnlyMoveIsSearchedToDepth3WhateverIsAsked)
{
    Board board(onlyMove);
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

TEST_F(SearchRoot, AStalematedRootEndsByItselfAtDepth127WithoutAMove)
{
    Board board(stalemated);
    for (const bool infinite : {false, true})
    {
        liftLimits();
        engine.infinite = infinite;
        const std::string text = lines(board);
        EXPECT_EQ(text.find("info score cp 0 depth 10 "), 0U);
        EXPECT_EQ(lineFromEnd(text, 2).find("info score cp 0 depth 127 "), 0U);
        EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
        EXPECT_EQ(pool->position->rootDepth, 127);
    }
}

TEST_F(SearchRoot, AHelperHasNoResultForAMatedRoot)
{
    Board board("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    OpenWorker helper(1);
    helper.setPosition(board.get());
    helper.searchRoot();
    EXPECT_EQ(helper.position->rootDepth, 0);
    EXPECT_EQ(helper.position->rootDepthComplete, 1);
    EXPECT_EQ(helper.position->rootScore, -32767);
    EXPECT_TRUE(theWorkForce.stopSearch);
}

TEST_F(SearchRoot, EverySearchReadsTheClockFirstAfterTheWholeInterval)
{
    // The time is up before the search begins. Without a best move the answer is the empty move.
    for (const int interval : {0, 4096})
    {
        Board board(start);
        liftLimits();
        engine.nodeCheckInterval = interval;
        engine.maxTime = 0;
        EXPECT_EQ(lines(board) == "bestmove a1a1\n", interval == 0);
        // On the way back each ply may enter one more node before it sees the stop.
        EXPECT_GT(pool->position->nodes, static_cast<u64>(interval));
        EXPECT_LE(pool->position->nodes, static_cast<u64>(interval) + NOFPLIES);
        EXPECT_EQ(pool->position->rootDepth > 0, interval > 0);
    }
}

TEST_F(SearchRoot, NeitherAMateNorAClockEndsAnInfiniteSearchBeforeDepth127)
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

    // The mate is in the table as the root sees it.
    const u64 entry = getHashTableEntry(board->hashKey);
    EXPECT_EQ(hashScore(entry, 0), 31999);
    EXPECT_EQ(hashDepth(entry), 127);
    EXPECT_EQ(hashBound(entry), boundExact);

    liftLimits();
    EXPECT_EQ(lineFromEnd(lines(board), 1).find("bestmove a1a8"), 0U);
    EXPECT_EQ(pool->currentDepth, 1) << "without infinite the mate ends it";
}

TEST_F(SearchRoot, TheSoftClockEndsAnIterationWhoseElapsedTimeTimesTheFactorExceedsItsShare)
{
    // The share of the soft budget is 1 up to depth 5. Every depth is settled, so it then falls by
    // a tenth a depth, to 0.6 at depth 10 and no further.
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

TEST_F(SearchRoot, HelpersLookAtTheLimitsOnceASixteenthOfTheSoftBudgetOr100MillisecondsHavePassed)
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
    // Each of these times is minutes away from its limit.
    EXPECT_EQ(reached(100'000'000, 16 * 101'000'000), 127);
    EXPECT_EQ(reached(100'000'000, 16 * 99'000'000), 4);
    EXPECT_EQ(reached(101, 0), 4);
    EXPECT_EQ(reached(101, -1'000'000'000), 4);
    // A run in which the 100 ms pass on a slow machine does not count.
    int depth = 0;
    for (int attempts = 0; attempts < 1000 && (depth == 0 || engine.elapsedTime > 100); ++attempts)
        depth = reached(90, 160);
    EXPECT_EQ(depth, 127);

    // The share is 1 until the helper's first look, here after depth 11, which takes a tenth off.
    for (const auto& [used, end] : {std::pair(0.895, 12), {0.905, 11}})
    {
        liftLimits();
        spendSoftBudget(used);
        theWorkForce.deepestDepth = 10;
        helper.searchRoot();
        EXPECT_EQ(helper.currentDepth, end) << used;
    }
}

TEST_F(SearchRoot, AHelperClearsTheFlagThatTimeIsUpAndTheBossSetsItAtItsEnd)
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


// Windows

TEST_F(SearchWindow, EachRowHasItsOwnWideningsAndRowsRepeatAfter16)
{
    // How far each window reaches below the last score. For each limit there are two answers, and
    // only the one that reaches it cuts off.
    struct
    {
        int depth; // the first depth with a window that the row does not skip
        int limits[5];
    } const rows[] = {
        {6, {15, 35, 75, 155, 315}},  {6, {11, 30, 61, 110, 186}},  {7, {15, 50, 90, 170, 330}},
        {6, {50, 90, 170, 330, 650}}, {6, {15, 50, 90, 170, 330}},  {6, {29, 61, 129, 253, 453}},
        {7, {15, 50, 90, 170, 330}},  {6, {15, 50, 90, 170, 330}},  {6, {29, 61, 129, 253, 453}},
        {6, {15, 50, 90, 170, 330}},  {7, {15, 50, 90, 170, 330}},  {6, {15, 35, 75, 155, 315}},
        {6, {11, 30, 61, 110, 186}},  {6, {50, 90, 170, 330, 650}}, {6, {35, 62, 120, 259, 459}},
        {6, {15, 50, 90, 170, 330}}, // 16, which is 0
    };
    int id = 0;
    for (const auto& [depth, limits] : rows)
    {
        const u32 weight = static_cast<u32>((depth - 1) * (depth - 1));
        std::vector<int> worths;
        std::vector<u32> weights;
        for (const int limit : limits)
        {
            worths.insert(worths.end(), {limit - 1, limit});
            weights.insert(weights.end(), {0, weight});
        }
        worths.push_back(2000);
        weights.push_back(0);

        Board board(kingsAndPawns);
        const std::vector<moveStruct> answers = settle(board, depth, worths);
        openSoftClock();
        engine.depthLimit = depth;
        OpenWorker helper(++id);
        helper.setPosition(board.get());
        helper.searchRoot();
        EXPECT_EQ(cutOffs(helper.position, weights.size(), answers), weights) << id;
    }
}

TEST_F(SearchWindow, TheFifthFailLowOfADepthFrom6OnOpensTheWindowBelow)
{
    // Each answer is just enough to fail low once more. The last almost mates, so it would cut off
    // in any window that is not open.
    for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        for (const auto& [depth, weight] : {std::pair(5, 0U), {6, 25U}})
        {
            Board board(kingsAndPawns);
            const auto answers = settle(board, depth, {15, 50, 90, 170, 330, 31980});
            engine.depthLimit = depth;
            lines(board, search);
            EXPECT_EQ(pool->position->rootDepth, depth);
            EXPECT_EQ(pool->position->rootScore, -31980);
            std::vector<u32> weights(6, weight);
            weights.back() = 0;
            EXPECT_EQ(cutOffs(pool->position, 6, answers), weights) << depth;
        }
}

TEST_F(SearchWindow, TheFifthFailHighOfADepthOpensTheWindowAbove)
{
    // White's first move seems to be worth each of these bounds, and above them it almost mates.
    // Each search of the root finds it as a new best move.
    for (const auto& [bounds, searches] : {std::pair(std::vector<int>{}, 2),
                                           {{15}, 3},
                                           {{15, 50, 90, 170}, 6},
                                           {{15, 50, 90, 170, 330}, 6}})
    {
        Board board(kingsAndPawns);
        settleHigh(board, 6, bounds);
        engine.depthLimit = 6;
        lines(board);
        EXPECT_EQ(pool->position->rootScore, 31980);
        EXPECT_EQ(pool->position->rootBestChanges, searches) << bounds.size();
    }
}

TEST_F(SearchWindow, EachFailureAfterTheFirstOfADepthMakesItLessSettled)
{
    // At depth 6 the window fails one time fewer than black has answers. With one failure the share
    // is 0.9; two to five raise it to 1.4, 1.6, 1.8 and 2, its maximum, which four more best moves
    // don't change. Each depth after that is settled and takes a tenth off. The search ends when
    // the share falls below the part that is used up.
    for (const auto& [worths, others, used, end] :
         {std::tuple(std::vector<int>{10}, std::vector<int>{}, 0.95, 6),
          {{15, 20}, {}, 0.95, 6},
          {{15, 50, 60}, {}, 0.95, 10},
          {{15, 50, 90, 100}, {}, 0.95, 11},
          {{15, 50, 90, 170, 180}, {}, 0.95, 13},
          {{15, 50, 90, 170, 330, 2000}, {}, 0.95, 14},
          {{15, 50, 90, 170, 330, 2000}, {-1900, -1800, -1700, -1600}, 0.95, 14},
          {{15, 50, 90, 170, 330, 2000}, {-1900, -1800, -1700, -1600}, 0.97, 13}})
    {
        Board board(kingsAndPawns);
        settle(board, 6, worths, others);
        spendSoftBudget(used);
        lines(board);
        EXPECT_EQ(pool->position->rootDepth, end) << worths.size();
        EXPECT_EQ(pool->position->rootScore, others.empty() ? -worths.back() : others.back());
    }
}

TEST_F(SearchWindow, UnsettledDepthsRaiseTheShareByTheirNewBestMoves)
{
    // Depth 6 has three best moves in turn, of -10, -8 and -6: 1 + 3 * 0.2. At depth 7 the last one
    // falls to -9, and the second is best again: 0.8 * 1.6 + 2 * 0.2 = 1.68. After five more depths
    // the share is 0.992.
    for (const auto& [used, end] : {std::pair(0.995, 12), {0.989, 13}})
    {
        Board board(kingsAndPawns);
        settle(board, 6, {10}, {-8, -6});
        settleMove(board, board.legalMoves()[2], 7, -6, {9});
        spendSoftBudget(used);
        lines(board);
        EXPECT_EQ(pool->position->rootDepth, end);
        EXPECT_EQ(pool->position->rootScore, -8);
    }
}

TEST_F(SearchWindow, AStopAtAnyNodeOfDepth10LeavesALegalLine)
{
    // While the window widens, the root has no exact entry, so the line comes from the record. It
    // holds moves that neither side has.
    int linesSeen = 0;
    for (int nodes = 100; nodes < 400; nodes += 3)
    {
        Board board(kingsAndPawns);
        settle(board, 10, {15, 50, 90, 170, 330, 2000});
        board->pvLength = 3;
        for (int ply = 0; ply <= 3; ++ply) board.ply(ply).bestMove = {sq("e4"), sq("e5"), 0, PAWN};
        engine.nodeCheckInterval = nodes;
        engine.maxTime = 0;
        const std::string info = lineFromEnd(lines(board), 2);
        if (info.empty()) continue;
        ++linesSeen;

        std::istringstream line(pvOf(info));
        Board played(kingsAndPawns);
        for (std::string text; line >> text;)
        {
            const moveStruct move = played.move(text); // fails when it is not legal
            makeMove(1, &move, played.get(), false);
            played.ply(0).enPassantSquare = played.ply(1).enPassantSquare;
        }
    }
    EXPECT_GT(linesSeen, 7);
}


// Results and lines

TEST_F(SearchRoot, UnderADepthLimitTheBossAnswersElseTheDeepestResult)
{
    // But a boss that is stopped before its first depth has no answer.
    for (const bool isOld : {false, true})
        for (const auto& [limit, stopped] : {std::pair(5, false), {5, true}, {0, true}})
        {
            Board board(start);
            makePool({new Claimant(1, {board.move("b1a3")})});
            clearHashTable();
            liftLimits();
            engine.depthLimit = limit;
            theWorkForce.stopSearch = stopped;
            const std::string text = lines(board, isOld ? &boss::searchRootOld : &boss::searchRoot);
            const bool claimed = stopped && (limit == 0 || !isOld);
            EXPECT_EQ(text.find("info score cp 31000 depth 60 seldepth ") == 0, claimed) << text;
            EXPECT_EQ(lineFromEnd(text, 1) == "bestmove b1a3", claimed) << text;
        }
}

TEST_F(SearchRoot, TheDeepestResultWinsACompleteOneFirstAndAMateByItsScore)
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
    for (const auto& each : cases)
    {
        std::vector<worker*> helpers;
        for (const claim& result : each.claims)
            helpers.push_back(new Claimant(static_cast<int>(helpers.size()) + 1,
                                           {moves[helpers.size()]}, result));
        makePool(helpers);
        clearHashTable();
        theWorkForce.stopSearch = true;
        EXPECT_EQ(lineFromEnd(lines(board), 1), "bestmove " + moveToLA(&moves[each.winner], WHITE))
            << "case " << &each - cases;
    }
}

TEST_F(SearchRoot, ALineOfOneMoveGivesNoPonderMove)
{
    Board board(start);
    const moveStruct best = board.ply(0).bestMove = board.move("e2e4");
    board.ply(1).bestMove = {sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
    for (const u8 last : {u8{0}, u8{1}})
    {
        board->pvLength = last;
        liftLimits();
        theWorkForce.stopSearch = true;
        EXPECT_EQ(lines(board), last ? "bestmove e2e4 ponder e7e5\n" : "bestmove e2e4\n");
        pool->initPonderCandidate();
        pool->storePonderCandidate();
        EXPECT_EQ(sameMove(pool->getPonderCandidate(best), board.ply(1).bestMove), last == 1);
    }
}

TEST_F(SearchRoot, APonderMoveIsWrittenFromItsOwnSide)
{
    // En passant: the record holds the captured pawn's square, the text the square behind it.
    Board board("4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1");
    board.ply(0).bestMove = board.move("d7d5");
    board.ply(1).bestMove = {sq("e5"), sq("d5"), KINDENPASSANT, PAWN};
    board->pvLength = 1;
    theWorkForce.stopSearch = true;
    EXPECT_EQ(lines(board), "bestmove d7d5 ponder e5d6\n");
}

namespace
{

/// The start position with a table in which e2e4 draws, answered by e7e5, and all else loses.
class SearchPonder : public SearchRoot
{
  protected:
    void settle()
    {
        clearHashTable();
        const moveStruct answer{sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
        enterAfterAll(board, 5000);
        enterAfter(board, board.move("e2e4"), 0, boundExact, answer);
        liftLimits();
    }

    Board board{start};
};

} // namespace

TEST_F(SearchPonder, AResultOfOneMoveIsGivenThePonderMoveOfTheLastLineWithThatMove)
{
    // A result of depth 0 gets no line from the table.
    for (const auto& [claimed, answer] : {std::pair("e2e4", " ponder e7e5"), {"d2d4", ""}})
    {
        settle();
        makePool({new Claimant(1, {board.move(claimed)}, {0, 1, 31900})});
        spendSoftBudget(0.605); // to depth 10
        const std::string text = lines(board);
        EXPECT_EQ(pvOf(lineFromEnd(text, 2)), claimed + std::string(" ")) << text;
        EXPECT_EQ(lineFromEnd(text, 1), std::string("bestmove ") + claimed + answer);
    }
}

TEST_F(SearchPonder, AStoppedIterationWritesItsLineButKeepsNoPonderMove)
{
    int stopped = 0;
    for (int nodes = 150; nodes < 260; ++nodes)
    {
        settle();
        engine.nodeCheckInterval = nodes;
        engine.maxTime = 0;
        const std::string info = lineFromEnd(lines(board), 2);
        if (info.find(" depth 10 ") == std::string::npos) continue;
        ++stopped;
        EXPECT_EQ(pvOf(info), "e2e4 e7e5 ");
        EXPECT_EQ(moveWord(pool->getPonderCandidate(board.move("e2e4"))), 0U) << nodes;
    }
    EXPECT_GT(stopped, 0);
}

TEST_F(SearchRoot, ALineThatIsNotLegalToItsEndIsCutBeforeItIsWritten)
{
    // The answer is not legal.
    Board board(start);
    makePool({new Claimant(
        1,
        {board.move("b1a3"), {sq("e8"), sq("e5"), KINDPLAIN, KING + BLACK}, board.move("d2d3")})});
    theWorkForce.stopSearch = true;
    const std::string text = lines(board);
    EXPECT_EQ(pvOf(lineFromEnd(text, 2)), "b1a3 ") << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove b1a3");
}

TEST_F(SearchRoot, AnAbandonedSearchWritesNothingUnlessItHadEndedBefore)
{
    Board board(start);
    Board matedBoard("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    for (const auto& [searched, helpers, answer] :
         {std::tuple(&board, 0, "bestmove a1a1"), std::tuple(&board, 1, "bestmove b1a3"),
          std::tuple(&matedBoard, 0, "bestmove a1a1")})
        for (const bool isAbandoned : {true, false})
        {
            makePool({});
            if (helpers) makePool({new Claimant(1, {board.move("b1a3")})});
            liftLimits();
            if (isAbandoned) theWorkForce.abandon();
            theWorkForce.stop();
            theWorkForce.abandon();
            const std::string text = lines(*searched);
            EXPECT_EQ(isAbandoned ? text : lineFromEnd(text, 1), isAbandoned ? "" : answer);
        }
}


// The pool

TEST_F(SearchRoot, APoolOfAnySizeHasItsBossFirstAndEndsAtADepthLimit)
{
    for (const int n : {2, 1, 18, 1})
    {
        engine.nofThreads = n;
        theWorkForce.setNofWorkers(n);
        ASSERT_EQ(theWorkForce.workers.size(), static_cast<size_t>(n));
        EXPECT_EQ(goLines("startpos", "depth 5").find("bestmove "), 0U);
        for (int i = 0; i < n; ++i)
        {
            worker* const each = theWorkForce.workers[static_cast<size_t>(i)];
            EXPECT_EQ(OpenWorker::idOf(each), i);
            EXPECT_EQ(dynamic_cast<boss*>(each) != nullptr, i == 0);
            EXPECT_EQ(OpenWorker::positionOf(each)->workerIndex, i);
        }
    }
    EXPECT_LT(sizeof(worker), 4U << 20);
}

TEST_F(SearchRoot, EachSearcherHasCachesOfItsOwn)
{
    Board board(start);
    OpenWorker first(1);
    OpenWorker second(2);
    for (OpenWorker* each : {&first, &second}) each->setPosition(board.get());
    EXPECT_NE(first.position->pawnHashTable, second.position->pawnHashTable);
    EXPECT_NE(first.position->evalHashTable, second.position->evalHashTable);
}

TEST_F(SearchRoot, AGoAfterAFinishedOneFindsItsFlagsResetAndTheAgeAdvanced)
{
    theWorkForce.setNofWorkers(1);
    hashHartBeat = 127;
    for (unsigned i = 0; i < 2; ++i)
    {
        theWorkForce.stopSearch = true;
        theWorkForce.timeIsUp = true;
        theWorkForce.ponderSearch = true;
        theWorkForce.deepestDepth = 99;
        EXPECT_EQ(goLines(mated, "depth 2"), "info score mate 0\nbestmove a1a1\n");
        EXPECT_FALSE(theWorkForce.ponderSearch);
        EXPECT_EQ(theWorkForce.deepestDepth, 0);
        EXPECT_TRUE(theWorkForce.stopSearch) << "as every search leaves it";
        EXPECT_EQ(hashHartBeat, 128U + i);
        EXPECT_EQ(hashAgeCounter, i ? 0 : 63) << "the low six bits of the count before";
    }
}

TEST_F(SearchRoot, AGoDuringASearchWaitsForItsEnd)
{
    theWorkForce.setNofWorkers(1);
    for (int i = 0; i < 20; ++i)
    {
        const std::string text = written(
            [&]
            {
                go("fen " + mateInOne, "infinite");
                go(mated, "depth 1");
                go("fen " + mateInOne, "infinite");
                go("fen 8/8/8/8/8/8/8/8 w - - 0 1", ""); // not playable
            });
        EXPECT_NE(text.find("\nbestmove a1a8\ninfo score mate 0\nbestmove a1a1\n"),
                  std::string::npos);
        EXPECT_TRUE(text.ends_with("\nbestmove a1a8\nbestmove a1a1\n")) << text;
    }
}


// The PV from the table

namespace
{

/// Puts exact entries for a line of moves into an empty table.
void enterLine(Board& board, const std::vector<moveStruct>& line)
{
    clearHashTable();
    u8 ply = 0;
    for (const moveStruct& move : line)
    {
        putHashTableEntry(board->hashKey, move, 0, 9, boundExact, ply);
        makeMove(++ply, &move, board.get(), false);
    }
    for (; ply > 0; --ply) unmakeMove(ply, &line[ply - 1], board.get());
}

} // namespace

TEST(MovePv, AWalkThroughCapturesAndCastlingLeavesThePositionAsItWas)
{
    // A capture with check that takes rights on both sides, a king move, castling.
    Board board("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 7 20");
    enterLine(board, {{sq("h1"), sq("h8"), KINDPLAIN, ROOK},
                      {sq("e8"), sq("e7"), KINDPLAIN, KING + BLACK},
                      {sq("e1"), sq("c1"), KINDCASTLEQUEEN, KING}});
    const u64 key = board->hashKey;
    const i32 keyIndex = board->keyIndex;
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 e1c1 ");
    EXPECT_EQ(board->hashKey, key);
    EXPECT_EQ(board->keyIndex, keyIndex);
    EXPECT_EQ(board->halfMoveClock, 7);
    EXPECT_EQ(inconsistency(board.get(), 0), "");

    getPVFromHashTable(0, board.get(), 2);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 ") << "never more than depth";
    getPVFromHashTable(0, board.get(), 0);
    EXPECT_EQ(PVToString(board.get()), "h1h8 e8e7 ") << "depth 0 changes nothing";
}

TEST(MovePv, AWalkWithoutAnExactEntryLeavesTheLine)
{
    Board board(start);
    board->pvLength = 3;
    board.ply(0).bestMove = board.move("d2d4");
    clearHashTable();
    for (const u8 bound : {u8{0}, u8{boundLower}, u8{boundUpper}})
    {
        if (bound) putHashTableEntry(board->hashKey, board.move("e2e4"), 1, 5, bound, 0);
        getPVFromHashTable(0, board.get(), 9);
        EXPECT_EQ(board->pvLength, 3);
        EXPECT_TRUE(sameMove(board.ply(0).bestMove, board.move("d2d4")));
    }
}

TEST(MovePv, ALineThatCirclesEndsAtTheDepth)
{
    Board board(start);
    enterLine(board, {{sq("g1"), sq("f3"), KINDPLAIN, KNIGHT},
                      {sq("g8"), sq("f6"), KINDPLAIN, KNIGHT + BLACK},
                      {sq("f3"), sq("g1"), KINDPLAIN, KNIGHT},
                      {sq("f6"), sq("g8"), KINDPLAIN, KNIGHT + BLACK}});
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(PVToString(board.get()), "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3 ");
}
