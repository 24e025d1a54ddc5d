// SPDX-License-Identifier: MIT
//
// Whole searches at fixed depth have the same nodes, scores and lines as a slow model of the search
// that shares no code with the engine. Node counts depend on each step of a node and on the order
// of its moves, so this tests the pickers, too.

#include <algorithm>

#include "../../bench/positions.h"
#include "../oracle/model.h"
#include "root_support.h"

namespace
{

/// A game in the engine and in the model.
class OracleSearch : public SearchRoot
{
  protected:
    void SetUp() override
    {
        SearchRoot::SetUp();
        createHashTable(64); // enough to lose nothing, as the model's table
    }
    void TearDown() override
    {
        createHashTable(1);
        SearchRoot::TearDown();
    }

    void newGame(std::string_view fen)
    {
        written(UCInewgame);
        table.clear();
        *model = {};
        model->set(std::string(fen));
        position = "fen " + std::string(fen) + " moves";
    }

    void play(const std::string& move)
    {
        position += ' ' + move;
        model->generateLegal(0);
        const oracle::Move* const first = model->stack;
        const oracle::Move* const end = first + model->here().listEnd;
        const oracle::Move* const legal = std::find_if(
            first, end,
            [&](const oracle::Move& each) { return oracle::moveText(each, model->side) == move; });
        ASSERT_NE(legal, end) << move;
        model->make(*legal, false);
        // A game stays at the first ply.
        model->plies[0] = model->plies[1];
        model->ply = 0;
        model->here().inCheck = model->isInCheck();
    }

    /// Searches by both. Returns the last line.
    std::string search(int depth)
    {
        // A depth alone would leave the default time budget in force.
        const std::string clock = " wtime 2000000000 btime 2000000000";
        const std::string lines = goLines(position, "depth " + std::to_string(depth) + clock);
        EXPECT_EQ(lines, withoutTimes(written([&] { oracle::search(*model, depth, table); })))
            << position;
        return lineFromEnd(lines, 1);
    }

  private:
    const std::unique_ptr<oracle::Position> model = std::make_unique<oracle::Position>();
    oracle::Table table;
    std::string position;
};

} // namespace

TEST_F(OracleSearch, ThePositionsOfTheNodeSignatureAreSearchedToDepth10AsByTheModel)
{
    for (const std::string_view fen : benchPositions)
    {
        newGame(fen);
        search(10);
    }
}

// Castling in a PV is tested with the check flag that the search left in the record of that ply; if
// pruning left the record untouched, the flag would be that of an earlier move.
TEST_F(OracleSearch, PvsWithCastlingEndWhereThoseOfTheModelDo)
{
    for (const char* fen : {"rnbqkbnr/1pp1pp2/p2p2pp/8/P2P4/4P3/1PP1QPPP/RNB1KBNR w KQkq - 0 1",
                            "r1bqkbnr/pp1p1ppp/4p3/2p5/2Pn4/6PN/PPQPPP1P/RNB1KB1R w KQkq - 0 1",
                            "rnbqkb1r/pp2pp1p/2pp2pn/8/P7/2N3P1/1PPPPP1P/1RBQKBNR w Kkq - 0 1",
                            "r1bqkbnr/ppp1ppp1/7p/2np4/P7/1P6/RBPPPPPP/1N1QKBNR w Kkq - 0 1"})
    {
        newGame(fen);
        search(12);
    }
}

// The hash table with its ages and the keys of the game persist from search to search; histories,
// killers and counter moves start empty in each.
TEST_F(OracleSearch, AGameKeepsItsTableAndWritesLinesFromDepth10OnWithThePonderMove)
{
    for (const std::string_view fen :
         {fenStartPos, std::string_view("8/5pk1/4p1p1/3pP2p/1p1P3P/pP3PP1/P3K3/8 w - - 12 40")})
    {
        newGame(fen);
        for (int i = 0; i < 18; ++i)
        {
            constexpr int depths[] = {10, 7, 11, 4, 10, 8};
            std::istringstream words(search(depths[i % 6])); // "bestmove e2e4 ponder e7e5"
            for (std::string word, move; words >> word >> move;) play(move);
        }
    }
}

TEST_F(OracleSearch, ANewGameForgetsTheTable)
{
    for (int i = 0; i < 2; ++i)
    {
        newGame(fenStartPos);
        search(10);
    }
}
