// SPDX-License-Identifier: MIT
//
// The previous root search, which only these tests run: how it differs from the present one.

#include <set>

#include "root_support.h"

namespace
{

class SearchOldRoot : public SearchRoot
{
  protected:
    std::string oldLines(Board& board) { return lines(board, &boss::searchRootOld); }

    plyStruct& root() { return pool->position->plies[0]; }

    /// The root's list as the search has left it.
    std::vector<moveStruct> rootList() { return {root().moveListStart, root().moveListEnd}; }

    /// Empties the table and sets what root moves are worth to the side to move, in searches of any
    /// depth: those named by their index, and all others. A NOWORTH leaves a move to be searched.
    static constexpr int NOWORTH = 32000;
    static void setWorths(Board& board, const std::vector<std::pair<size_t, int>>& worths,
                          int others)
    {
        liftLimits();
        clearHashTable();
        const std::vector<moveStruct> moves = board.legalMoves();
        for (size_t i = 0; i < moves.size(); ++i)
        {
            int worth = others;
            for (const auto& [index, named] : worths)
                if (index == i) worth = named;
            if (worth != NOWORTH) enterAfter(board, moves[i], -worth);
        }
    }
};

} // namespace

TEST_F(SearchOldRoot, MatesAreFoundAsThePresentSearchFindsThem)
{
    // The mate line counts one move more than is usual when the side to move loses.
    for (const auto& [fen, moves] :
         {std::pair(mateInOne, "1"),
          {"r1bq2rk/pp3pbp/2p1p1pQ/7P/3P4/2PB1N2/PP3PPR/2KR4 w - - 0 1", "2"},
          {"r5rk/5p1p/5R2/4B3/8/8/7P/7K w - - 0 1", "3"},
          {"7k/R7/8/8/8/8/1R6/K7 b - - 0 1", "-2"}})
        for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        {
            Board board(fen);
            liftLimits();
            clearHashTable();
            engine.depthLimit = 12;
            const std::string text = lines(board, search);
            EXPECT_NE(text.find(std::string("info score mate ") + moves + " "), std::string::npos)
                << text;
            EXPECT_EQ(pool->position->hashKey, board->hashKey);
            EXPECT_EQ(inconsistency(pool->position, 0), "");
        }
}

TEST_F(SearchOldRoot, TheFirstScoreIsThatOfTheCapturesAtDepth1)
{
    // After one node of the first iteration the time is up. The initial position has no capture;
    // in the other one a queen hangs.
    for (const auto& [fen, gain] :
         {std::pair(start, 0), {"4k3/8/8/3q4/8/2N5/8/4K3 w - - 0 1", 500}})
    {
        Board board(fen);
        liftLimits();
        engine.nodeCheckInterval = 0;
        engine.maxTime = 0;
        EXPECT_EQ(oldLines(board), "bestmove a1a1\n");
        const int gained = pool->position->rootScore - evaluateN(0, board.get());
        EXPECT_TRUE(gain ? gained > gain : gained == 0) << gained;
        EXPECT_EQ(pool->position->rootDepth, 1);
        EXPECT_EQ(pool->position->rootDepthComplete, 1);
        EXPECT_EQ(pool->position->nodes, 1U);
    }
}

TEST_F(SearchOldRoot, EveryThreadAnswersAMatedRootAndSearchesItAllTheSame)
{
    const std::string answer = "info score mate 0\nbestmove a1a1\n";
    Board board("R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1");
    board.ply(0).bestMove = {1, 2, 3, 4};
    board->pvLength = 3;
    const std::string text = oldLines(board);
    EXPECT_EQ(text.find(answer + "info score mate -1 depth 2 nodes "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
    EXPECT_EQ(pool->position->pvLength, 0);

    liftLimits();
    openSoftClock();
    engine.depthLimit = 4;
    OpenWorker helper(2);
    helper.setPosition(board.get());
    EXPECT_EQ(written([&] { helper.searchRootOld(); }), answer);
    EXPECT_EQ(helper.currentDepth, 4);
}

TEST_F(SearchOldRoot, AStalematedRootEndsByItselfAtDepth127WithoutAMoveOrAnEntry)
{
    Board board(stalemated);
    engine.infinite = true;
    const std::string text = oldLines(board);
    const std::string score = "info score cp " + std::to_string(evaluateN(0, board.get()));
    EXPECT_EQ(text.find(score + " depth 11 "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 2).find(score + " depth 127 "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
    EXPECT_EQ(getHashTableEntry(board->hashKey), 0U) << "else a draw would be worth an evaluation";
}

TEST_F(SearchOldRoot, DepthsBeginWith2LinesWith11AndAnOnlyMoveEndsAt3)
{
    // With two threads lines are cut to their legal moves, which must leave the list alone.
    Board board(start);
    setWorths(board, {{3, 0}}, -3000);
    engine.nofThreads = 2;
    engine.depthLimit = 12;
    const std::string text = oldLines(board);
    EXPECT_EQ(text.find("info score cp 0 depth 11 seldepth "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 2).find("info score cp 0 depth 12 seldepth "), 0U) << text;
    const std::string best = moveToLA(&rootList()[0], WHITE);
    EXPECT_NE(text.find(" hashfull 0 pv " + best + " \ninfo "), std::string::npos) << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove " + best);
    EXPECT_EQ(rootList().size(), 20U);
    EXPECT_TRUE(sameMove(rootList()[0], board.legalMoves()[3]));
    EXPECT_EQ(rootList()[0].score, 255);

    for (const auto& [fen, limit, reached] :
         {std::tuple(start, 1, 2), std::tuple(onlyMove, 0, 3), std::tuple(onlyMove, 30, 3)})
    {
        Board other(fen);
        liftLimits();
        engine.depthLimit = limit;
        EXPECT_EQ(oldLines(other).find("bestmove "), 0U);
        EXPECT_EQ(pool->position->rootDepth, reached);
    }
}

TEST_F(SearchOldRoot, BestMovesComeToTheHeadOfTheListAndTheOthersFollowByTheirNodes)
{
    // A settled move costs a node, and a second one when it beats the best so far. The sixth seems
    // to be worth 600 in a narrow window, so it is searched in the wide one, where it is not.
    Board board(start);
    const std::vector<moveStruct> moves = board.legalMoves();
    setWorths(board, {{0, 0}, {3, 500}, {5, NOWORTH}, {9, 700}}, -3000);
    enterAfter(board, moves[5], -600, boundUpper);
    engine.depthLimit = 2;
    const std::string text = oldLines(board);

    const auto expectList = [&](std::vector<size_t> order)
    {
        for (size_t i = 0; i < moves.size(); ++i)
            if (std::find(order.begin(), order.end(), i) == order.end()) order.push_back(i);
        for (size_t i = 0; i < moves.size(); ++i)
            EXPECT_TRUE(sameMove(rootList()[i], moves[order[i]])) << i;
    };
    expectList({9, 3, 0, 5});
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(rootList()[i].score, 255);
    EXPECT_GT(rootList()[3].score, 1);
    EXPECT_LT(rootList()[3].score, 255);
    for (size_t i = 4; i < 20; ++i) EXPECT_EQ(rootList()[i].score, 1);
    EXPECT_EQ(lineFromEnd(text, 1).substr(9, 4), moveToLA(&moves[9], WHITE));
    EXPECT_EQ(pool->position->rootScore, 700);
    EXPECT_EQ(pool->position->rootBestChanges, 3);

    // The best move is in the table: with its piece's code, exact, at the iteration's depth.
    const u64 entry = getHashTableEntry(board->hashKey);
    EXPECT_EQ(hashBound(entry), boundExact);
    EXPECT_EQ(hashDepth(entry), 2);
    EXPECT_EQ(hashScore(entry, 0), 700);
    EXPECT_TRUE(sameMove(wordMove(entry), moves[9]));
    EXPECT_EQ(wordMove(entry).score, board->board[moves[9].from]);

    // The next iteration goes on with this list.
    setWorths(board, {{0, 0}, {3, 500}, {9, 700}}, -3000);
    engine.depthLimit = 3;
    oldLines(board);
    expectList({9, 3, 0});
    EXPECT_EQ(rootList()[0].score, 255);
    EXPECT_EQ(rootList()[1].score, 1);
    EXPECT_EQ(pool->position->rootBestChanges, 1);
    EXPECT_EQ(pool->position->rootDepth, 3);
    EXPECT_EQ(pool->position->nodes, 20U + 2U + 20U);
}

TEST_F(SearchOldRoot, AMovesByteIsItsNodesIn128thsOfTheFirstMovesButAtMost254)
{
    // All moves but one are settled and cost a node each. The difference of two searches gives the
    // nodes of an iteration, and so those of that move.
    Board board("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    const std::vector<moveStruct> moves = board.legalMoves();
    const size_t last = moves.size() - 1;
    std::set<u64> units;
    std::set<bool> held; // at 254
    for (const size_t searched : {size_t{0}, last})
        for (int depth = 3; depth < 9; ++depth)
        {
            u64 nodes = 0;
            for (const int limit : {depth - 1, depth})
            {
                setWorths(board, {{0, 30}, {searched, NOWORTH}}, -5000);
                engine.depthLimit = limit;
                oldLines(board);
                nodes = pool->position->nodes + pool->position->qNodes - nodes;
            }
            nodes -= last;
            const u64 unit = searched ? 1 : std::max<u64>(nodes / 128, 1);
            units.insert(std::min<u64>(unit, 2));
            held.insert(nodes > 254);
            if (sameMove(root().bestMove, moves[last])) continue;
            const u64 expected = std::min<u64>((searched ? nodes : 1) / unit, 254);
            for (const moveStruct& listed : rootList())
            {
                EXPECT_TRUE(!sameMove(listed, moves[last]) || listed.score == expected) << depth;
            }
        }
    EXPECT_EQ(units.size() + held.size(), 4U) << "all cases occur";
}

TEST_F(SearchOldRoot, AStoppedIterationLeavesItsNewBestMoveButNotItsScore)
{
    // The first move is settled; at the second node the time is up.
    Board board(start);
    setWorths(board, {{0, 300}}, NOWORTH);
    engine.nodeCheckInterval = 1;
    engine.maxTime = 0;
    const moveStruct first = board.legalMoves()[0];
    EXPECT_EQ(oldLines(board), "bestmove " + moveToLA(&first, WHITE) + "\n");
    EXPECT_EQ(pool->position->nodes, 2U);
    EXPECT_EQ(pool->position->rootDepth, 2);
    EXPECT_EQ(pool->position->rootDepthComplete, 0);
    EXPECT_EQ(pool->position->rootScore, evaluateN(0, board.get()));
}

TEST_F(SearchOldRoot, HelpersLeaveOutEveryThirdOrSixthDepthByTheirNumberAndTheSearch)
{
    // The depth is the counter + 2. A helper leaves it out when id + counter + 1 + searches / 2 is
    // divisible by 3, or above four threads by 6.
    struct
    {
        int id, threads;
        u32 searches;
        std::set<int> depths; // up to 12 and one beyond
    } const schedules[] = {
        {1, 2, 0, {2, 4, 5, 7, 8, 10, 11, 13}},   {2, 4, 0, {3, 4, 6, 7, 9, 10, 12}},
        {3, 4, 1, {2, 3, 5, 6, 8, 9, 11, 12}},    {1, 2, 2, {3, 4, 6, 7, 9, 10, 12}},
        {1, 2, 5, {2, 3, 5, 6, 8, 9, 11, 12}},    {1, 5, 0, {2, 3, 4, 5, 7, 8, 9, 10, 11, 13}},
        {2, 8, 0, {2, 3, 4, 6, 7, 8, 9, 10, 12}}, {17, 8, 3, {2, 3, 4, 5, 6, 8, 9, 10, 11, 12}},
    };
    for (const auto& [id, threads, searches, depths] : schedules)
    {
        engine.nofThreads = threads;
        hashHartBeat = searches;
        EXPECT_EQ(depthsOf(id, &worker::searchRootOld), depths) << id << ' ' << searches;
    }
}

TEST_F(SearchOldRoot, TheShareOfTheBudgetFallsFromDepth6OnWhileTheFirstMoveStaysBest)
{
    // The share is 0.9, 0.81 and 0.729 after depth 6, 7 and 8.
    Board board(start);
    for (const auto& [used, reached] : {std::pair(1.01, 2), {0.95, 6}, {0.85, 7}, {0.78, 8}})
    {
        setWorths(board, {{0, 0}}, -3000);
        spendSoftBudget(used);
        oldLines(board);
        EXPECT_EQ(pool->position->rootDepth, reached) << used;
    }

    // Without a move none stays best.
    Board none(stalemated);
    liftLimits();
    spendSoftBudget(0.95);
    oldLines(none);
    EXPECT_EQ(pool->currentDepth, 127);
}
