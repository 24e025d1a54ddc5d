// SPDX-License-Identifier: MIT
//
// Node searches, the root, threads, time, notation and the UCI handlers, called directly.

#include <chrono>
#include <limits>
#include <sstream>
#include <thread>

#include "support.h"
#include "uci.h"

namespace
{

/// A search without clocks on a board of its own.
int searchNodeScore(Board& board, int ply, int depth, int alpha = -32767, int beta = 32767)
{
    theWorkForce.stopSearch = false;
    engine.infinite = true;
    engine.nodeCheckInterval = 4096;
    board->nodesToClockCheck = 4096;
    clearHashTable();
    board.ply(ply).inCheck = isSideInCheck(board.get());
    board.ply(ply).moveListStart = board.ply(0).moveListStart;
    const int score = alfabeta(static_cast<u8>(ply), depth, static_cast<i16>(alpha),
                               static_cast<i16>(beta), board.get(), 2);
    engine.infinite = false;
    return score;
}

/// The lines that a command prints until its search has ended, times left out.
std::string goLines(const std::string& position, const std::string& limits)
{
    testing::internal::CaptureStdout();
    std::istringstream positionWords(position);
    std::istringstream goWords(limits);
    UCIposition(positionWords);
    UCIgo(goWords);
    theWorkForce.workers[0]->waitToTakeABreak();
    std::fflush(stdout);
    std::istringstream lines(testing::internal::GetCapturedStdout());
    std::string text;
    for (std::string line; std::getline(lines, line);)
    {
        const size_t time = line.find(" time ");
        if (time != std::string::npos) line.erase(time, line.find(' ', time + 6) - time);
        text += line + '\n';
    }
    return text;
}

/// The budgets for a `go`, at a progress of the game.
std::pair<int, int> budgets(const std::string& words, int gamePly)
{
    std::istringstream start("startpos");
    UCIposition(start);
    engine.timeLeft[0] = engine.timeLeft[1] = 900000;
    engine.timeInc[0] = engine.timeInc[1] = 0;
    engine.movesToGo = 30;
    engine.movesToGoGiven = false;
    engine.moveTime = 0;
    engine.gamePly = gamePly;
    std::istringstream stream(words);
    for (std::string word; stream >> word;)
    {
        int value = 0;
        stream >> value;
        if (word == "wtime") engine.timeLeft[0] = value;
        if (word == "winc") engine.timeInc[0] = value;
        if (word == "movetime") engine.moveTime = value;
        if (word == "movestogo")
        {
            engine.movesToGo = value;
            engine.movesToGoGiven = true;
        }
    }
    calcTimeParameters();
    return {engine.targetTime, engine.maxTime};
}

void position(const std::string& words)
{
    std::istringstream stream(words);
    UCIposition(stream);
}

} // namespace

TEST(NodeSearch, StalemateIsZeroAndMateCountsFromThePly)
{
    Board stalemate("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(searchNodeScore(stalemate, 0, 3), 0);
    Board mate("R3k3/8/4K3/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(searchNodeScore(mate, 0, 3), -32000);
    Board deeper("R3k3/8/4K3/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(searchNodeScore(deeper, 5, 3), -31995);
    EXPECT_EQ(getHashTableEntry(deeper->hashKey), 0U) << "a mate is not stored";
}

TEST(NodeSearch, FindsMates)
{
    Board one("6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1");
    EXPECT_EQ(searchNodeScore(one, 0, 2), 31999);
    Board two("7k/8/8/8/8/8/R7/1R2K3 w - - 0 1");
    EXPECT_EQ(searchNodeScore(two, 0, 8), 31997);
}

TEST(NodeSearch, AtAHundredPliesOnlyACutOffOrAMateIsAWin)
{
    // A queen up, but every quiet move ends in a draw by the fifty moves.
    Board drawn("7k/8/8/8/8/8/Q7/K7 w - - 100 80");
    drawn->plies[0].inCheck = 0;
    EXPECT_EQ(searchNodeScore(drawn, 1, 2, -32000, 32000), 0);
    Board cut("7k/8/8/8/8/8/Q7/K7 w - - 100 80");
    EXPECT_GT(searchNodeScore(cut, 1, 1, -100, -50), -51) << "a cut-off never looks at the clock";
    Board mate("6k1/5ppp/8/8/8/8/8/R3K3 w - - 99 80");
    EXPECT_EQ(searchNodeScore(mate, 0, 2), 31999);
}

TEST(NodeSearch, TheRootTakesNoCutOffFromTheTableAndPly1Does)
{
    Board board{std::string(fenStartPos)};
    for (const int ply : {0, 1})
    {
        board->nodes = 0;
        theWorkForce.stopSearch = false;
        engine.infinite = true;
        board->nodesToClockCheck = 4096;
        board.ply(ply).moveListStart = board.ply(0).moveListStart;
        board.ply(ply).inCheck = 0;
        clearHashTable();
        putHashTableEntry(board->hashKey, EMPTYMOVE, 123, 9, boundExact, static_cast<u8>(ply));
        const int score = alfabeta(static_cast<u8>(ply), 2, -32767, 32767, board.get(), 2);
        EXPECT_EQ(score == 123 && board->nodes == 1, ply == 1) << ply;
        engine.infinite = false;
    }
}

TEST(NodeSearch, AnExactEntryOfLessDepthIsTheStaticEvaluation)
{
    // Reverse futility returns it as it is: depth 2 asks for beta + 130.
    Board board{std::string(fenStartPos)};
    theWorkForce.stopSearch = false;
    engine.infinite = true;
    board->nodesToClockCheck = 4096;
    clearHashTable();
    board.ply(1).moveListStart = board.ply(0).moveListStart;
    board.ply(1).inCheck = 0;
    putHashTableEntry(board->hashKey, EMPTYMOVE, 777, 1, boundExact, 1);
    EXPECT_EQ(alfabeta(1, 2, 646, 647, board.get(), 2), 777);
    EXPECT_NE(alfabeta(1, 2, 647, 648, board.get(), 2), 777);
    engine.infinite = false;
}

TEST(NodeSearch, ASideWithKingAndPawnsTriesNeitherNullMoveNorReverseFutility)
{
    // A null move leaves its mark in the record of the next ply: the copy of an unlikely killer.
    const auto nullMoveTried = [](const std::string& fen)
    {
        Board board(fen);
        theWorkForce.stopSearch = false;
        engine.infinite = true;
        board->nodesToClockCheck = 4096;
        clearHashTable();
        board.ply(1).moveListStart = board.ply(0).moveListStart;
        board.ply(1).inCheck = 0;
        board.ply(1).killers[1] = {1, 2, 3, 4};
        alfabeta(1, 3, -5001, -5000, board.get(), 2);
        engine.infinite = false;
        return sameMove(board.ply(2).killers[1], {1, 2, 3, 4});
    };
    EXPECT_FALSE(nullMoveTried("4k3/8/8/8/8/8/PPPP4/4K3 w - - 0 1"));

    // With pieces reverse futility returns first at this depth, so the window is near the score.
    Board pieces("4k3/8/8/8/8/8/PPPP4/QQ2K3 w - - 0 1");
    pieces.ply(1).moveListStart = pieces.ply(0).moveListStart;
    pieces.ply(1).inCheck = 0;
    theWorkForce.stopSearch = false;
    engine.infinite = true;
    pieces->nodesToClockCheck = 4096;
    clearHashTable();
    EXPECT_EQ(alfabeta(1, 3, -5001, -5000, pieces.get(), 2), evaluateN(0, pieces.get()));
    EXPECT_EQ(pieces->nodes, 1U);
    pieces.ply(1).killers[1] = {1, 2, 3, 4};
    const int near = evaluateN(0, pieces.get()) - 190;
    alfabeta(1, 3, static_cast<i16>(near - 1), static_cast<i16>(near), pieces.get(), 2);
    EXPECT_TRUE(sameMove(pieces.ply(2).killers[1], {1, 2, 3, 4}));
    engine.infinite = false;
}

TEST(NodeSearch, AFailHighRewardsKillerAndHistoryFromDepth3On)
{
    for (const int depth : {2, 3})
    {
        // Kings and pawns: nothing cuts off before the moves.
        Board board("4k3/8/8/8/8/8/PPPP4/4K3 w - - 0 1");
        searchNodeScore(board, 0, depth, -5001, -5000);
        EXPECT_NE(moveWord(board.ply(0).killers[0]), 0U);
        const moveStruct killer = board.ply(0).killers[0];
        EXPECT_EQ(killer.score, board->board[killer.from]);
        EXPECT_EQ(board->historyGood[killer.score - 2][killer.to], depth == 3 ? 9U : 0U);
    }
}

TEST(NodeSearch, ARepetitionIsADrawFromPly1On)
{
    position("startpos moves g1f3 g8f6 f3g1 f6g8");
    Board board{std::string(fenStartPos)};
    const moveStruct* const stack = board.ply(0).moveListStart;
    (void)stack;
    for (const char* text : {"g1f3", "g8f6", "f3g1", "f6g8"})
    {
        const moveStruct move = board.move(text);
        makeMove(1, &move, board.get(), false);
        board.ply(0).castlingRights = board.ply(1).castlingRights;
        board.ply(0).enPassantSquare = 0;
    }
    EXPECT_EQ(searchNodeScore(board, 1, 3), 0);
    EXPECT_EQ(board->nodes, 1U) << "decided at once";
}

TEST(Quiescence, StandsPatAndCountsItsNodes)
{
    Board board("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
    board.ply(0).inCheck = 0;
    const int score = evaluateN(0, board.get());
    EXPECT_EQ(quiescence(0, 0, -32767, 32767, board.get()), score);
    EXPECT_EQ(board->qNodes, 1U);
    EXPECT_EQ(quiescence(0, 0, -50, -40, board.get()), score) << "at or above beta at once";
}

TEST(Quiescence, InCheckWithoutAnEvasionIsMated)
{
    Board board("R3k3/8/4K3/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(quiescence(0, 0, -32767, 32767, board.get()), -32000);
}

// Pins the oddity of the deepest band.
TEST(Quiescence, DeepBandForgetsChecks)
{
    Board board("4k3/8/8/8/8/8/4r3/4K3 w - - 0 1");
    ASSERT_TRUE(board.ply(0).inCheck);
    board.ply(1).moveListStart = board.ply(0).moveListStart;
    board.ply(0).currentMove = {sq("a8"), sq("a8"), 0, ROOK};
    board.ply(1).inCheck = 1;
    EXPECT_EQ(quiescence(1, -14, -32767, 32767, board.get()), -31999)
        << "no recapture: the mated score, though the king can take";
    EXPECT_EQ(board.ply(1).inCheck, 0) << "and the byte stays cleared";
}

TEST(Quiescence, AtPly127TheEvaluationComesBackEvenInCheck)
{
    Board board("4k3/8/8/8/8/8/4r3/4K3 w - - 0 1");
    board.ply(127).inCheck = 1;
    EXPECT_EQ(quiescence(127, 0, -32767, 32767, board.get()), evaluateN(0, board.get()));
    theWorkForce.stopSearch = false;
    board->nodesToClockCheck = 4096;
    EXPECT_EQ(alfabeta(127, 3, -32767, 32767, board.get(), 2), evaluateN(0, board.get()));
}

TEST(Quiescence, StalemateIsNotSeen)
{
    Board board("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(quiescence(0, 0, -32767, 32767, board.get()), evaluateN(0, board.get()));
}

TEST(Root, AMateInOneEndsTheSearchAtDepth1)
{
    const std::string lines = goLines("fen 6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1", "depth 20");
    EXPECT_EQ(lines.find("info score mate 1 depth "), 0U) << lines;
    EXPECT_NE(lines.find("bestmove a1a8\n"), std::string::npos) << lines;
    EXPECT_EQ(lines.find("score cp"), std::string::npos) << lines;
}

TEST(Root, MatedAndStalematedRoots)
{
    EXPECT_EQ(goLines("fen R3k3/8/4K3/8/8/8/8/8 b - - 0 1", "depth 5"),
              "info score mate 0\nbestmove a1a1\n");
    EXPECT_EQ(goLines("fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "depth 5"), "bestmove a1a1\n");
}

TEST(Root, AnOnlyMoveIsPlayedWithoutALine)
{
    EXPECT_EQ(goLines("fen 7k/8/6K1/8/8/8/8/7R b - - 0 1", "depth 30"), "bestmove h8g8\n");
}

TEST(Root, WhatCantBePlayedOnGetsTheEmptyMove)
{
    EXPECT_EQ(goLines("fen 8/8/8/8/8/8/8/4K3 w - - 0 1", "infinite"), "bestmove a1a1\n");
}

TEST(Root, TheSameSearchTwiceGivesTheSameLines)
{
    const std::string fen = "fen r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13";
    clearHashTable();
    const std::string first = goLines(fen, "depth 11");
    EXPECT_NE(first.find("info score cp "), std::string::npos);
    goLines("startpos moves e2e4", "depth 9");
    testing::internal::CaptureStdout();
    UCInewgame();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "readyok\n");
    EXPECT_EQ(goLines(fen, "depth 11"), first);
}

TEST(Root, LinesBeginAtDepth10AndEndWithABlank)
{
    clearHashTable();
    const std::string lines = goLines("startpos", "depth 10");
    EXPECT_EQ(lines.find("info score cp "), 0U) << lines;
    EXPECT_NE(lines.find(" depth 10 seldepth "), std::string::npos);
    EXPECT_NE(lines.find(" hashfull 0 pv "), std::string::npos);
    EXPECT_NE(lines.find(" \nbestmove "), std::string::npos);
    EXPECT_EQ(goLines("startpos", "depth 9").find("bestmove "), 0U);
}

TEST(Workers, ThePoolIsRebuiltAtAnySizeAndADepthLimitStands)
{
    for (const int n : {2, 8, 1, 3, 1})
    {
        engine.nofThreads = n;
        theWorkForce.setNofWorkers(n);
        EXPECT_EQ(theWorkForce.workers.size(), static_cast<size_t>(n));
        EXPECT_EQ(goLines("startpos", "depth 5").find("bestmove "), 0U);
    }
}

TEST(Workers, HelpersLeaveOutTheDepthsOfTheirRow)
{
    // A helper's depths show in its exact entries only by chance, so the pool is asked: with a
    // depth limit the boss stops at it and its result stands, whatever the helpers have reached.
    engine.nofThreads = 4;
    theWorkForce.setNofWorkers(4);
    clearHashTable();
    const std::string lines = goLines("startpos", "depth 10");
    EXPECT_NE(lines.find(" depth 10 "), std::string::npos);
    EXPECT_EQ(lines.find(" depth 11 "), std::string::npos) << lines;
    engine.nofThreads = 1;
    theWorkForce.setNofWorkers(1);
}

TEST(Workers, AWorkerTakesLessThanFourMegabytes)
{
    EXPECT_LT(sizeof(worker), 4U << 20);
}

TEST(Workers, StopEndsAnInfiniteSearchOnSeveralThreads)
{
    engine.nofThreads = 3;
    theWorkForce.setNofWorkers(3);
    testing::internal::CaptureStdout();
    position("startpos");
    std::istringstream go("infinite");
    UCIgo(go);
    UCIstop();
    theWorkForce.workers[0]->waitToTakeABreak();
    std::fflush(stdout);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("bestmove "), std::string::npos);
    engine.nofThreads = 1;
    theWorkForce.setNofWorkers(1);
}

TEST(Time, TheClockCountsWholeMillisecondsSinceTheSystemsStart)
{
    const auto milliseconds = []
    {
        return std::chrono::floor<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    };
    const auto before = milliseconds();
    const i64 middle = now();
    EXPECT_LE(before, middle);
    EXPECT_LE(middle, milliseconds());
}

TEST(Time, TheTableOfBudgets)
{
    EXPECT_EQ(budgets("", 0), std::pair(16200, 113400));
    EXPECT_EQ(budgets("wtime 60000 winc 1000", 0), std::pair(1782, 12474));
    EXPECT_EQ(budgets("wtime 60000 winc 1000", 30), std::pair(2650, 18550));
    EXPECT_EQ(budgets("wtime 60000 winc 1000", 100), std::pair(2844, 19908));
    EXPECT_EQ(budgets("wtime 60000 winc 1000", 1024), std::pair(2989, 20923));
    EXPECT_EQ(budgets("wtime 300000 movestogo 20", 40), std::pair(11880, 83160));
    EXPECT_EQ(budgets("wtime 300000 movestogo 2", 40), std::pair(59400, 149995));
    EXPECT_EQ(engine.movesToGo, 4);
}

TEST(Time, MoreThanThreeThreadsRaiseTheShare)
{
    engine.nofThreads = 4;
    EXPECT_EQ(budgets("", 0).first, 18450);
    engine.nofThreads = 3;
    EXPECT_EQ(budgets("", 0).first, 16200);
    engine.nofThreads = 1;
}

TEST(Time, BlackReadsItsOwnClock)
{
    budgets("wtime 1000", 0);
    position("startpos moves e2e4");
    engine.timeLeft[1] = 60000;
    engine.timeInc[1] = 1000;
    engine.gamePly = 0;
    calcTimeParameters();
    EXPECT_EQ(engine.targetTime, 1782);
    EXPECT_EQ(engine.maxTime, 12474);
}

TEST(Time, AFixedTimeHasNoMargin)
{
    EXPECT_EQ(budgets("movetime 500", 0), std::pair(5000, 500));
}

TEST(Time, AShortClockIsSplitAgain)
{
    EXPECT_EQ(budgets("wtime 1000 winc 2000", 0), std::pair(711, 747));
    EXPECT_EQ(engine.timeFactor, 5.0F);
    const auto [target, max] = budgets("wtime 5 winc 1000", 0);
    EXPECT_EQ(max, target + 1) << "nothing is left behind the margin";
    EXPECT_GE(budgets("wtime 50 movestogo 1", 0).second, 40);
}

TEST(Time, DivisorsChangeAtTheBordersOfTheTable)
{
    const std::pair<int, int> divisors[] = {{17, 40}, {18, 22}, {50, 22},  {51, 25},
                                            {80, 25}, {81, 20}, {200, 20}, {201, 15}};
    for (const auto& [ply, m] : divisors)
    {
        budgets("", ply);
        EXPECT_EQ(engine.movesToGo, m) << ply;
    }
}

TEST(Time, NoClockIsTooStrange)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    std::vector<int> times = {-1, 0, 1, most, least};
    for (int t = -1000; t <= 1000; t += 7) times.push_back(t);
    for (const int ply : {0, 17, 18, 50, 51, 80, 81, 200, 201, 1024})
        for (const int inc : {0, 1, 100, most})
            for (const int toGo : {-1, 0, 1, 40})
                for (const int time : times)
                {
                    std::string words =
                        "wtime " + std::to_string(time) + " winc " + std::to_string(inc);
                    if (toGo >= 0) words += " movestogo " + std::to_string(toGo);
                    const auto [target, max] = budgets(words, ply);
                    EXPECT_TRUE(max > target || target == most) << words;
                }
}

TEST(Notation, MovesHaveTheirText)
{
    const moveStruct white{sq("e5"), sq("d5"), KINDENPASSANT, 0};
    const moveStruct black{sq("d4"), sq("e4"), KINDENPASSANT, 0};
    const moveStruct queen{sq("a2"), sq("a1"), QUEEN, 0};
    const moveStruct push{sq("e2"), sq("e4"), KINDDOUBLEPUSH, 0};
    EXPECT_EQ(moveToLA(&white, WHITE), "e5d6");
    EXPECT_EQ(moveToLA(&black, BLACK), "d4e3");
    EXPECT_EQ(moveToLA(&queen, BLACK), "a2a1q");
    EXPECT_EQ(moveToLA(&push, WHITE), "e2e4");
    EXPECT_EQ(moveToLA(&EMPTYMOVE, WHITE), "a1a1");
    EXPECT_EQ(squareToLA(63), "h8");
    EXPECT_EQ(LAToSquare("h8"), 63);
    EXPECT_EQ(moveToString(&queen, 1), "\t\ta2a1 10");
}

TEST(Notation, ALineOfOneMoveEndsWithABlank)
{
    Board board{std::string(fenStartPos)};
    board.ply(0).bestMove = board.move("e2e4");
    board.ply(1).bestMove = {sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
    EXPECT_EQ(PVToString(board.get()), "e2e4 ");
    board->pvLength = 1;
    EXPECT_EQ(PVToString(board.get()), "e2e4 e7e5 ");
}

TEST(Notation, ABoardHas17Lines)
{
    Board board{std::string(fenStartPos)};
    const std::string picture = boardToString(board.get());
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 17);
    EXPECT_NE(picture.find("| r | n | b | q | k | b | n | r |\n"), std::string::npos);
    board->board[20] = 255;
    EXPECT_NE(boardToString(board.get()).find('?'), std::string::npos);
}

TEST(TableLine, StopsAtABoundAndLeavesThePosition)
{
    clearHashTable();
    Board board{std::string(fenStartPos)};
    const moveStruct e4 = board.move("e2e4");
    board.ply(0).bestMove = board.move("d2d4");
    putHashTableEntry(board->hashKey, e4, 1, 5, boundLower, 0);
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(moveToLA(&board.ply(0).bestMove, WHITE), "d2d4");
    EXPECT_EQ(board->pvLength, 0);

    putHashTableEntry(board->hashKey, e4, 1, 5, boundExact, 0);
    makeMove(1, &e4, board.get(), false);
    const moveStruct e5{sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
    putHashTableEntry(board->hashKey, e5, 1, 5, boundExact, 1);
    unmakeMove(1, &e4, board.get());
    const u64 key = board->hashKey;
    getPVFromHashTable(0, board.get(), 1);
    EXPECT_EQ(board->pvLength, 0) << "never more than depth";
    getPVFromHashTable(0, board.get(), 9);
    EXPECT_EQ(board->pvLength, 1);
    EXPECT_EQ(PVToString(board.get()), "e2e4 e7e5 ");
    EXPECT_EQ(board->hashKey, key);
    EXPECT_EQ(board->keyIndex, 1);
    EXPECT_EQ(inconsistency(board.get(), 0), "");
}

TEST(Uci, ProgressOfTheGame)
{
    position("startpos");
    EXPECT_EQ(engine.gamePly, 0);
    position("startpos moves e2e4 e7e5");
    EXPECT_EQ(engine.gamePly, 2);
    position("fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(engine.gamePly, 1024);
    position("fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1 moves e2e4");
    EXPECT_EQ(engine.gamePly, 3);
}

TEST(Uci, TheWordBehindStartposIsDiscardedUnseen)
{
    position("startpos what e2e4");
    EXPECT_EQ(GPS->board[sq("e4")], PAWN);
    position("nonsense e2e4 e7e5");
    EXPECT_EQ(GPS->sideToMove, BLACK) << "nothing has changed";
}

TEST(Uci, PromotionLetters)
{
    position("fen 4k3/P7/8/8/8/8/p7/4K3 w - - 0 1 moves a7a8q a2a1q");
    EXPECT_EQ(GPS->board[A8], QUEEN);
    EXPECT_EQ(GPS->board[A1], QUEEN + BLACK);
    position("fen 4k3/P7/8/8/8/8/p7/4K3 w - - 0 1 moves a7a8");
    EXPECT_EQ(GPS->board[A8], PAWN) << "kind 0 without a letter";
    position("fen 4k3/P7/8/8/8/8/p7/4K3 w - - 0 1 moves a7a8Q");
    EXPECT_EQ(GPS->board[A8], NOPIECE) << "kind 254 is no move that can be made";
}

TEST(Uci, ADiagonalStepOntoAnEmptySquareIsEnPassant)
{
    position("startpos moves e2e4 a7a6 e4e5 d7d5 e5d6");
    EXPECT_EQ(GPS->board[sq("d5")], NOPIECE);
    EXPECT_EQ(GPS->board[sq("d6")], PAWN);
}

TEST(Uci, OptionsAreForcedIntoTheirRange)
{
    const auto set = [](const std::string& words)
    {
        std::istringstream stream(words);
        UCIsetoption(stream);
    };
    set("name Hash value 0");
    EXPECT_EQ(engine.hashSizeMB, 1);
    set("name Ponder value true");
    EXPECT_TRUE(engine.ponderEnabled);
    set("name Ponder value True");
    EXPECT_FALSE(engine.ponderEnabled);
    set("name Two Words value 7");
    set("name Threads value 0");
    EXPECT_EQ(engine.nofThreads, 1);
    EXPECT_THROW(set("name Hash value many"), std::invalid_argument);
    EXPECT_THROW(set("name Threads"), std::invalid_argument);
}

// The choice among the threads' results asks how many there are, and a thread that has hardly begun
// has no move.
TEST(Uci, ARunningSearchKeepsItsNumberOfThreads)
{
    const auto setThreads = [](const char* number)
    {
        std::istringstream stream(std::string("name Threads value ") + number);
        UCIsetoption(stream);
    };
    position("startpos");
    setThreads("2");
    std::istringstream infinite("infinite");
    testing::internal::CaptureStdout();
    UCIgo(infinite);
    std::thread changing(setThreads, "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(engine.nofThreads, 2);
    UCIstop();
    changing.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(engine.nofThreads, 1);
}

TEST(Uci, PonderhitWhenIdleChangesOnlyFlags)
{
    theWorkForce.timeIsUp = false;
    theWorkForce.ponderSearch = true;
    UCIponderhit();
    EXPECT_FALSE(theWorkForce.ponderSearch);
    theWorkForce.timeIsUp = true;
    UCIponderhit();
    EXPECT_TRUE(theWorkForce.stopSearch);
}

TEST(Uci, MovesOffTheBoardArePassedOver)
{
    position("startpos");
    const u64 key = GPS->hashKey;
    for (const char* text : {"e9e4", "zz", "", "e2", "e2e9", "e4e5", "e2e4Q"}) UCIprocesMove(text);
    EXPECT_TRUE(isBoardStructOK(GPS));
    EXPECT_EQ(GPS->board[sq("e4")], PAWN) << "the distance makes a double push of the last one";
    for (const char* text : {"\xff\xff\xff\xff", "g7g7", "a1h8", "h8a1k", "e8e1"})
        UCIprocesMove(text);
    position("startpos");
    EXPECT_EQ(GPS->hashKey, key) << "and the next position is whole";
}

TEST(Uci, ACaptureEnPassantThatWouldLandBeyondTheBoardIsPassedOver)
{
    // A fifth letter k makes en passant of any move, landing a rank beyond its square.
    for (const auto& [fen, text] : {std::pair("fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8k"),
                                    std::pair("fen 4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1k")})
    {
        position(fen);
        const u64 key = GPS->hashKey;
        const u8 side = GPS->sideToMove;
        UCIprocesMove(text);
        EXPECT_EQ(GPS->hashKey, key) << text;
        EXPECT_EQ(GPS->sideToMove, side) << text;
    }
}

TEST(Uci, AGameOfSixThousandPliesFitsTheHistory)
{
    std::string words = "startpos moves";
    for (int i = 0; i < 1500; ++i) words += " g1f3 g8f6 f3g1 f6g8";
    position(words);
    EXPECT_LT(GPS->keyIndex, KEYHISTORYSIZE - NOFPLIES);
    EXPECT_EQ(GPS->keyHistory[GPS->keyIndex - 1], GPS->hashKey);
    EXPECT_EQ(GPS->keyHistory[GPS->keyIndex - 5], GPS->hashKey);
    EXPECT_EQ(engine.gamePly, 6000);
}
