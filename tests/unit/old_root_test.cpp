// SPDX-License-Identifier: MIT
//
// The previous root search, which only these tests run: how it differs from the current one.

#include <algorithm>
#include <set>

#include "root_support.h"

namespace
{

class SearchOldRoot : public SearchRoot
{
  protected:
    std::string oldLines(Board& board) { return lines(board, &boss::searchRootOld); }
};

} // namespace

TEST_F(SearchOldRoot, MatesAreFound)
{
    // The engine's own count: one higher than usual when the side to move loses.
    for (const auto& [fen, moves] :
         {std::pair(mateInOne, "1"),
          {"r1bq2rk/pp3pbp/2p1p1pQ/7P/3P4/2PB1N2/PP3PPR/2KR4 w - - 0 1", "2"},
          {"7k/R7/8/8/8/8/1R6/K7 b - - 0 1", "-2"}})
    {
        Board board(fen);
        liftLimits();
        clearHashTable();
        engine.depthLimit = 12;
        const std::string text = oldLines(board);
        EXPECT_NE(text.find(std::string("info score mate ") + moves + " "), std::string::npos)
            << text;
        EXPECT_EQ(pool->position->hashKey, board->hashKey);
        EXPECT_EQ(inconsistency(pool->position, 0), "");
    }
}

TEST_F(SearchOldRoot, EveryThreadAnswersAMatedRootAndSearchesItAllTheSame)
{
    const std::string answer = "info score mate 0\nbestmove a1a1\n";
    Board board("R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1");
    const std::string text = oldLines(board);
    EXPECT_EQ(text.find(answer + "info score mate -1 depth 2 nodes "), 0U) << text;
    EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");

    liftLimits();
    OpenWorker helper(2);
    helper.setPosition(board.get());
    EXPECT_EQ(written([&] { helper.searchRootOld(); }), answer);
}

TEST_F(SearchOldRoot, DepthsBeginWith2LinesWith11AndAnOnlyMoveEndsAt3)
{
    Board board(start);
    enterAfterAll(board, 3000);
    enterAfter(board, board.legalMoves()[3], 0);
    engine.depthLimit = 11;
    EXPECT_EQ(oldLines(board).find("info score cp 0 depth 11 seldepth "), 0U);
    for (const auto& [fen, limit, reached] : {std::tuple(start, 1, 2), {onlyMove, 30, 3}})
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
    // A move whose score is in the table costs one node, and a second one when it beats the best so
    // far. Move 5 seems to be worth 600 in its null window, so it is searched again, and fails low.
    Board board(start);
    const std::vector<moveStruct> moves = board.legalMoves();
    enterAfterAll(board, 3000);
    for (const auto& [i, worth] : {std::pair(0, 0), {3, 500}, {9, 700}})
        enterAfter(board, moves[static_cast<size_t>(i)], -worth);
    enterAfter(board, moves[5], -600, boundUpper);
    engine.depthLimit = 2;
    oldLines(board);

    std::vector<size_t> order = {9, 3, 0, 5};
    for (size_t i = 0; i < moves.size(); ++i)
        if (std::find(order.begin(), order.end(), i) == order.end()) order.push_back(i);
    const plyStruct& root = pool->position->plies[0];
    for (size_t i = 0; i < moves.size(); ++i)
        EXPECT_TRUE(sameMove(root.moveListStart[i], moves[order[i]])) << i;
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(root.moveListStart[i].score, 255);
    for (size_t i = 4; i < 20; ++i) EXPECT_EQ(root.moveListStart[i].score, 1);
    EXPECT_EQ(pool->position->rootScore, 700);
    EXPECT_EQ(pool->position->rootBestChanges, 3);

    const u64 entry = getHashTableEntry(board->hashKey);
    EXPECT_EQ(hashBound(entry), boundExact);
    EXPECT_EQ(hashDepth(entry), 2);
    EXPECT_EQ(hashScore(entry, 0), 700);
    EXPECT_TRUE(sameMove(wordMove(entry), moves[9]));
}

TEST_F(SearchOldRoot, HelpersSkipEveryThirdOrSixthDepth)
{
    // A helper skips depth d when id + d - 1 + searches / 2 is divisible by 3, or with more than
    // four threads by 6. The depths up to 12 that it does not skip, and the next one.
    hashHartBeat = 2;
    EXPECT_EQ(depthsOf(1, &worker::searchRootOld), (std::set{3, 4, 6, 7, 9, 10, 12}));
    hashHartBeat = 0;
    engine.nofThreads = 5;
    EXPECT_EQ(depthsOf(1, &worker::searchRootOld), (std::set{2, 3, 4, 5, 7, 8, 9, 10, 11, 13}));
}
