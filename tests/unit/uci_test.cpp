// SPDX-License-Identifier: MIT
//
// UCI commands: limits and budgets of a search, moves, positions and options.

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>

#include "hash.h"
#include "support.h"
#include "uci.h"

namespace
{

void command(void (*handler)(std::istream&), const std::string& words)
{
    std::istringstream stream(words);
    handler(stream);
}

/// Runs `go` on an empty board, which isn't searched: the answer comes at once.
void goNowhere(const std::string& words)
{
    command(UCIposition, "fen 8/8/8/8/8/8/8/8 w - - 0 1");
    EXPECT_EQ(written([&] { command(UCIgo, words); }), "bestmove a1a1\n");
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

TEST(UciGo, ANumberThatCantBeReadEndsTheCommand)
{
    goNowhere("winc 12 depth seven mate 3 infinite");
    EXPECT_EQ(engine.timeInc[WHITE], 12) << "what was read before stays";
    EXPECT_EQ(engine.mateLimit, 0);
    EXPECT_FALSE(engine.infinite);
}

TEST(UciGo, NodesMovesToMateAndInfiniteLeaveTheDefaultBudget)
{
    // 900,000 ms for 30 moves, times 0.72 * 1.4 for a game of unknown length. The hard budget is
    // seven times that.
    for (const char* words : {"", "nodes 1000", "mate 3", "nodes 1 mate 1", "infinite"})
    {
        goNowhere(words);
        EXPECT_EQ(engine.targetTime, 30240) << words;
        EXPECT_EQ(engine.maxTime, 211680) << words;
        EXPECT_EQ(engine.depthLimit, 0) << words;
    }
}

TEST(UciGo, AShortSearchInATableThatIsStillColdEndsAfterOneIteration)
{
    // A soft budget of 0 ends a search after depth 1.
    const auto target = [](const std::string& words)
    {
        goNowhere(words);
        return i32{engine.targetTime};
    };
    const i32 size = engine.hashSizeMB;
    engine.hashSizeMB = 1024;
    // The thread may warm the table before `go` on a busy machine, but not each time.
    int attempts = 0;
    do {
        ASSERT_LT(++attempts, 100);
        createHashTable(1024);
        warmHashTable();
    } while (target("movetime 1") != 0);
    EXPECT_EQ(target("movetime 1 depth 3"), 10) << "the depth limit ends it";
    EXPECT_EQ(target("movetime 1 infinite"), 10);
    EXPECT_EQ(target("movetime 1 ponder"), 10);
    EXPECT_EQ(target("movetime 100"), 1000) << "a long search warms the table itself";
    engine.hashSizeMB = 2048;
    EXPECT_EQ(target("movetime 1"), 10) << "a large table is not waited for";
    engine.hashSizeMB = 1024;
    clearHashTable();
    EXPECT_EQ(target("movetime 1"), 10) << "clearing has touched every page";
    engine.hashSizeMB = size;
    createHashTable(1);
}

TEST(UciMoves, DistanceTargetOrAFifthLetterGiveAMoveItsKind)
{
    // Castling is recognized by its squares, for a king of either colour.
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
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8Q", "a8", NOPIECE}, // no such kind
        {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1q", "a1", QUEEN + BLACK},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", "d5", NOPIECE}, // to an empty square
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
    EXPECT_EQ(written(UCInewgame), "readyok\n");
    EXPECT_EQ(engine.gamePly, 0);
    EXPECT_TRUE(std::all_of(std::begin(GPS->keyHistory), std::end(GPS->keyHistory),
                            [](u64 key) { return key == 0; }));
    EXPECT_EQ(getHashTableEntry(123), 0U);
    command(UCIposition, "startpos");
}

TEST(UciSetOption, TheFirstWordIsIgnoredAndOnlyTrueIsTrue)
{
    for (const char* first : {"name", "value", "Ponder", "x"})
    {
        engine.ponderEnabled = false;
        command(UCIsetoption, std::string(first) + " Ponder value true");
        EXPECT_TRUE(engine.ponderEnabled) << first;
    }
    command(UCIsetoption, "name Ponder value True");
    EXPECT_FALSE(engine.ponderEnabled);
}

TEST(UciPosition, AfterAFenTheIndexOfTheNextKeyPlusTheMovesIsTheProgressOfTheGame)
{
    command(UCIposition, "fen 4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
    EXPECT_EQ(engine.gamePly, 1024);
    command(UCIposition, "fen 4k3/8/8/8/8/8/4P3/4K3 w - - 0 1 moves e2e4");
    EXPECT_EQ(engine.gamePly, 3);
}

TEST(UciSetOption, HashIsRaisedToOneMegabyte)
{
    command(UCIsetoption, "name Hash value 0");
    EXPECT_EQ(engine.hashSizeMB, 1);
}

// The choice among the threads' results depends on their number, and a thread that has hardly
// started has no move.
TEST(UciSetOption, ARunningSearchKeepsItsNumberOfThreads)
{
    command(UCIposition, "startpos");
    command(UCIsetoption, "name Threads value 2");
    written(
        []
        {
            command(UCIgo, "infinite");
            std::thread changing([] { command(UCIsetoption, "name Threads value 1"); });
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            EXPECT_EQ(engine.nofThreads, 2);
            UCIstop();
            changing.join();
        });
    EXPECT_EQ(engine.nofThreads, 1);
}

TEST(UciPonderhit, ChangesOnlyFlagsWhenIdle)
{
    theWorkForce.timeIsUp = false;
    theWorkForce.ponderSearch = true;
    UCIponderhit();
    EXPECT_FALSE(theWorkForce.ponderSearch);
    theWorkForce.timeIsUp = true;
    UCIponderhit();
    EXPECT_TRUE(theWorkForce.stopSearch);
}

TEST(UciPosition, AfterIllegalMovesPawnKeyAndCheckAreThoseOfTheBoard)
{
    // A king is captured, or moved by the other side.
    for (const char* moves : {"e1e8", "e8e1"})
    {
        command(UCIposition, std::string("startpos moves ") + moves);
        EXPECT_EQ(GPS->pawnHashKey, calcHashKeyPawn(0, GPS)) << moves;
        EXPECT_EQ(GPS->plies[0].inCheck, isSideInCheck(GPS)) << moves;
    }
    command(UCIposition, "startpos");
}

TEST(UciMoves, AnEnPassantCaptureBeyondTheBoardIsIgnored)
{
    // A fifth letter k means en passant, which lands one rank beyond the target square. So does a
    // pawn's diagonal step back to an empty square of its first rank.
    for (const auto& [fen, moves] : {std::pair("fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8k"),
                                     {"fen 4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1k"},
                                     {"fen 2k5/4p3/8/8/8/8/8/4K3 b - - 0 1", "e7d8 e7f8"},
                                     {"fen 4k3/1p6/8/8/8/8/8/4K3 b - - 0 1", "b7a8 b7c8"},
                                     {"fen 4k3/6p1/8/8/8/8/8/4K3 b - - 0 1", "g7f8 g7h8"}})
    {
        command(UCIposition, fen);
        const u64 key = GPS->hashKey;
        command(UCIposition, fen + std::string(" moves ") + moves);
        EXPECT_EQ(GPS->hashKey, key) << moves;
    }
}

TEST(UciPosition, ALongGameKeepsItsLastKeysAndLeavesRoomForASearch)
{
    for (const int plies : {900, 6000})
    {
        // The king's or the queen's knights go out and home again, in an order that never repeats.
        std::string words = "startpos moves";
        for (int i = 0; i < plies / 4; ++i)
            words += i * i % 1499 % 2 ? " g1f3 g8f6 f3g1 f6g8" : " b1c3 b8c6 c3b1 c6b8";
        command(UCIposition, words);
        EXPECT_EQ(engine.gamePly, plies);
        const std::vector<u64> kept(GPS->keyHistory, GPS->keyHistory + GPS->keyIndex);
        EXPECT_LT(kept.size(), static_cast<size_t>(KEYHISTORYSIZE - NOFPLIES));

        command(UCIposition, "startpos");
        std::vector<u64> keys = {GPS->hashKey};
        std::istringstream moves(words.substr(words.find(" moves ") + 7));
        for (std::string move; moves >> move; keys.push_back(GPS->hashKey)) UCIprocesMove(move);
        EXPECT_TRUE(std::equal(kept.rbegin(), kept.rend(), keys.rbegin()));
    }
    command(UCIposition, "startpos");
}
