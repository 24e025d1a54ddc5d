// SPDX-License-Identifier: MIT
//
// The words of UCI commands: limits and budgets of a search, moves and options.

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "support.h"
#include "uci.h"

namespace
{

void command(void (*handler)(std::istream&), const std::string& words)
{
    std::istringstream stream(words);
    handler(stream);
}

/// Runs `go` on a board without pieces, which isn't searched: the answer comes at once.
void goNowhere(const std::string& words)
{
    command(UCIposition, "fen 8/8/8/8/8/8/8/8 w - - 0 1");
    testing::internal::CaptureStdout();
    command(UCIgo, words);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "bestmove a1a1\n");
    command(UCIposition, "startpos");
}

} // namespace

TEST(UciGo, EveryWordSetsItsLimitAndTheNextGoStartsAfresh)
{
    const u64 before = static_cast<u64>(now());
    goNowhere("some ponder wtime 1000 btime 2000 winc 3 binc 4 movestogo 17 word depth 5 "
              "nodes 6000000000 mate 7 movetime 8 infinite");
    EXPECT_TRUE(theWorkForce.ponderSearch);
    EXPECT_EQ(engine.timeLeft[WHITE], 1000);
    EXPECT_EQ(engine.timeLeft[BLACK], 2000);
    EXPECT_EQ(engine.timeInc[WHITE], 3);
    EXPECT_EQ(engine.timeInc[BLACK], 4);
    EXPECT_EQ(engine.movesToGo, 17);
    EXPECT_TRUE(engine.movesToGoGiven);
    EXPECT_EQ(engine.depthLimit, 5);
    EXPECT_EQ(engine.nodeLimit, 6000000000U);
    EXPECT_EQ(engine.mateLimit, 7);
    EXPECT_EQ(engine.moveTime, 8);
    EXPECT_TRUE(engine.infinite);
    EXPECT_GE(engine.startTime, before);
    EXPECT_LE(engine.startTime, static_cast<u64>(now()));

    goNowhere("");
    EXPECT_FALSE(theWorkForce.ponderSearch);
    for (const int colour : {WHITE, BLACK})
    {
        EXPECT_EQ(engine.timeLeft[colour], 900000);
        EXPECT_EQ(engine.timeInc[colour], 0);
    }
    EXPECT_EQ(engine.movesToGo, 30);
    EXPECT_EQ(engine.depthLimit + engine.mateLimit + engine.moveTime, 0);
    EXPECT_EQ(engine.nodeLimit, 0U);
    EXPECT_EQ(engine.nodeCheckInterval, 4096);
    EXPECT_FALSE(engine.infinite);
    EXPECT_FALSE(engine.movesToGoGiven);
}

TEST(UciGo, TheFirstNumberThatCantBeReadEndsTheWords)
{
    goNowhere("winc 12 depth seven mate 3 infinite");
    EXPECT_EQ(engine.timeInc[WHITE], 12) << "what was read stands";
    EXPECT_EQ(engine.mateLimit, 0);
    EXPECT_FALSE(engine.infinite);
}

TEST(UciGo, ALimitOfNodesOrMovesToMateLeavesTheDefaultBudget)
{
    // 900,000 ms by 30 moves, times 0.72 * 1.4 for a game of unknown length; seven times that.
    for (const char* words : {"", "nodes 1000", "mate 3", "nodes 1 mate 1"})
    {
        goNowhere(words);
        EXPECT_EQ(engine.targetTime, 30240) << words;
        EXPECT_EQ(engine.maxTime, 211680) << words;
        EXPECT_EQ(engine.depthLimit, 0) << words;
    }
}

TEST(UciMoves, CastlingTextsCountForEitherColourAndOnlyAFifthLetterOfFivePromotes)
{
    const struct
    {
        const char *fen, *move, *square;
        int piece;
    } cases[] = {
        {"4K2R/8/8/8/8/8/8/4k3 w - - 0 1", "e8g8", "f8", ROOK + WHITE},
        {"R3K3/8/8/8/8/8/8/4k3 w - - 0 1", "e8c8", "d8", ROOK + WHITE},
        {"4K3/8/8/8/8/8/8/4k2r b - - 0 1", "e1g1", "f1", ROOK + BLACK},
        {"4K3/8/8/8/8/8/8/r3k3 b - - 0 1", "e1c1", "d1", ROOK + BLACK},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8n", "a8", KNIGHT},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q+", "a8", PAWN},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8", "a8", PAWN},
    };
    for (const auto& c : cases)
    {
        command(UCIposition, std::string("fen ") + c.fen + " moves " + c.move);
        EXPECT_EQ(GPS->board[sq(c.square)], c.piece) << c.fen << ' ' << c.move;
    }
    command(UCIposition, "startpos");
}

TEST(UciNewGame, EmptiesTheTableTheKeysOfTheGameAndItsLength)
{
    command(UCIposition, "startpos moves e2e4 e7e5");
    ASSERT_EQ(engine.gamePly, 2);
    GPS->keyHistory[KEYHISTORYSIZE - 1] = 9;
    putHashTableEntry(123, {1, 2, 0, 4}, 0, 5, boundLower, 0);
    testing::internal::CaptureStdout();
    UCInewgame();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "readyok\n");
    EXPECT_EQ(engine.gamePly, 0);
    EXPECT_TRUE(std::all_of(std::begin(GPS->keyHistory), std::end(GPS->keyHistory),
                            [](u64 key) { return key == 0; }));
    EXPECT_EQ(getHashTableEntry(123), 0U);
    command(UCIposition, "startpos");
}

TEST(UciSetOption, TheFirstWordIsThrownAwayWhateverItIs)
{
    for (const char* first : {"name", "value", "Ponder", "x"})
    {
        engine.ponderEnabled = false;
        command(UCIsetoption, std::string(first) + " Ponder value true");
        EXPECT_TRUE(engine.ponderEnabled) << first;
    }
    command(UCIsetoption, "name Ponder value false");
}
