// SPDX-License-Identifier: MIT
//
// Time budgets, notation and the handlers of UCI commands, called directly.

#include <chrono>
#include <limits>
#include <optional>
#include <sstream>
#include <thread>

#include "support.h"
#include "uci.h"

namespace
{

/// What calcTimeParameters reads, as it is without options and words of `go`.
struct limits
{
    int time = 900000;
    int inc = 0;
    std::optional<int> movesToGo = std::nullopt;
    int gamePly = 0;
    int moveTime = 0;
    int threads = 1;
    bool ponder = false;
    u8 side = WHITE;
};

/// Computes the budgets; target and maximum.
std::pair<int, int> budgets(const limits& given)
{
    GPS->sideToMove = given.side;
    engine.timeLeft[given.side] = given.time;
    engine.timeInc[given.side] = given.inc;
    engine.timeLeft[given.side ^ 1] = engine.timeInc[given.side ^ 1] = 7;
    engine.movesToGo = given.movesToGo.value_or(30);
    engine.movesToGoGiven = given.movesToGo.has_value();
    engine.gamePly = given.gamePly;
    engine.moveTime = given.moveTime;
    engine.nofThreads = given.threads;
    engine.ponderEnabled = given.ponder;
    calcTimeParameters();
    GPS->sideToMove = WHITE;
    engine.movesToGoGiven = engine.ponderEnabled = false;
    engine.moveTime = 0;
    engine.nofThreads = 1;
    return {engine.targetTime, engine.maxTime};
}

void position(const std::string& words)
{
    std::istringstream stream(words);
    UCIposition(stream);
}

void setOption(const std::string& words)
{
    std::istringstream stream(words);
    UCIsetoption(stream);
}

} // namespace

TEST(SearchTime, TheClockCountsWholeMillisecondsSinceTheSystemsStart)
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

TEST(SearchTime, TheTableOfBudgets)
{
    struct
    {
        limits given;
        int target;
        int max;
        float factor = 1.0F;
    } const cases[] = {
        {{}, 16200, 113400},
        {{.time = 60000, .inc = 1000}, 1782, 12474},
        {{.time = 60000, .inc = 1000, .side = BLACK}, 1782, 12474},
        {{.time = 60000, .inc = 1000, .gamePly = 30}, 2650, 18550},
        {{.time = 60000, .inc = 1000, .gamePly = 100}, 2844, 19908},
        {{.time = 60000, .inc = 1000, .gamePly = 1024}, 2989, 20923},
        {{.time = 300000, .movesToGo = 20, .gamePly = 40}, 11880, 83160},
        // An even share of 22501: 72 or, above three threads, 82 hundredths of it, and a fifth
        // more with Ponder.
        {{.time = 900040, .threads = 3}, 16200, 113400},
        {{.time = 900040, .threads = 4}, 18450, 129150},
        {{.time = 900040, .threads = 3, .ponder = true}, 19440, 136080},
        {{.time = 900040, .threads = 4, .ponder = true}, 22140, 154980},
        // With movestogo an even share of 15001 times 0.648, 0.792 and 0.72.
        {{.time = 300020, .movesToGo = 20, .gamePly = 17}, 9720, 68040},
        {{.time = 300020, .movesToGo = 20, .gamePly = 18}, 11880, 83160},
        {{.time = 300020, .movesToGo = 20, .gamePly = 50}, 11880, 83160},
        {{.time = 300020, .movesToGo = 20, .gamePly = 51}, 10800, 75600},
        {{.time = 300020, .movesToGo = 20, .gamePly = 1024}, 10800, 75600},
        // Below four moves as four, and then the hard budget is at least 40 ms.
        {{.time = 50, .movesToGo = 5, .gamePly = 40}, 7, 20},
        {{.time = 50, .movesToGo = 4, .gamePly = 40}, 9, 40},
        {{.time = 50, .movesToGo = 1, .gamePly = 40}, 9, 40},
        {{.time = 300000, .movesToGo = -7, .gamePly = 40}, 59400, 149995},
        {{.time = 300000, .movesToGo = 3, .gamePly = 40}, 59400, 149995},
        // Less than four targets on the clock, 10 ms kept back: all is halved. The target is 720.
        {{.time = 2890, .inc = 867, .gamePly = 201}, 720, 1873},
        {{.time = 2889, .inc = 867, .gamePly = 201}, 360, 936, 5.0F},
        {{.time = 1000, .inc = 2000}, 711, 747, 5.0F},
        {{.time = 5, .inc = 1000}, 351, 352, 5.0F}, // nothing is left after the margin
        {{.moveTime = 500}, 5000, 500},             // without a margin
    };
    for (const auto& [given, target, max, factor] : cases)
    {
        engine.timeFactor = 3.0F;
        EXPECT_EQ(budgets(given), std::pair(target, max)) << given.time << ' ' << given.gamePly;
        EXPECT_EQ(engine.timeFactor, factor);
    }
}

TEST(SearchTime, TheDivisorReplacesTheMovesToGo)
{
    for (const auto& [ply, m] : {std::pair(17, 40),
                                 {18, 22},
                                 {50, 22},
                                 {51, 25},
                                 {80, 25},
                                 {81, 20},
                                 {200, 20},
                                 {201, 15}})
    {
        budgets({.gamePly = ply});
        EXPECT_EQ(engine.movesToGo, m) << ply;
    }
    budgets({.movesToGo = 2});
    EXPECT_EQ(engine.movesToGo, 4);
}

TEST(SearchTime, NoClockIsTooStrange)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    std::vector<int> times = {-1, 0, 1, most, least};
    for (int t = -1000; t <= 1000; t += 7) times.push_back(t);
    for (const int ply : {0, 17, 18, 50, 51, 80, 81, 200, 201, 1024})
        for (const int inc : {0, 1, 100, most})
            for (const auto toGo : {std::optional<int>(), {0}, {1}, {40}})
                for (const int time : times)
                {
                    const auto [target, max] =
                        budgets({.time = time, .inc = inc, .movesToGo = toGo, .gamePly = ply});
                    EXPECT_TRUE(max > target || target == most) << time << ' ' << inc << ' ' << ply;
                }
}

TEST(SearchTime, GoInfiniteComputesTheBudgetsOfTheDefaults)
{
    position("startpos moves f2f3 e7e5 g2g4 d8h4"); // mated, so the search ends at once
    engine.targetTime = engine.maxTime = 7;
    written(
        []
        {
            std::istringstream go("infinite");
            UCIgo(go);
            theWorkForce.workers[0]->waitToTakeABreak();
        });
    EXPECT_EQ(engine.targetTime, 16200);
    EXPECT_EQ(engine.maxTime, 113400);
    EXPECT_TRUE(engine.infinite);
    engine.infinite = false;
}

TEST(GeneralNotation, MovesHaveTheirText)
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
}

TEST(GeneralNotation, ALineEndsWithASpaceAndHasOneMoveMoreThanItsLength)
{
    Board board{std::string(fenStartPos)};
    board.ply(0).bestMove = board.move("e2e4");
    board.ply(1).bestMove = {sq("e7"), sq("e5"), KINDDOUBLEPUSH, PAWN + BLACK};
    EXPECT_EQ(PVToString(board.get()), "e2e4 ");
    board->pvLength = 1;
    EXPECT_EQ(PVToString(board.get()), "e2e4 e7e5 ");
}

TEST(GeneralNotation, ABoardHas17Lines)
{
    Board board{std::string(fenStartPos)};
    const std::string picture = boardToString(board.get());
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 17);
    EXPECT_NE(picture.find("| r | n | b | q | k | b | n | r |\n"), std::string::npos);
    board->board[20] = 255;
    EXPECT_NE(boardToString(board.get()).find('?'), std::string::npos);
}

TEST(Uci, ProgressOfTheGame)
{
    const std::string fen = "fen " + std::string(fenStartPos);
    for (const auto& [words, gamePly] : {std::pair<std::string, int>("startpos", 0),
                                         {"startpos moves e2e4 e7e5", 2},
                                         {fen, 1024},
                                         {fen + " moves e2e4", 3}})
    {
        position(words);
        EXPECT_EQ(engine.gamePly, gamePly) << words;
    }
}

TEST(Uci, TheWordAfterStartposIsDiscardedUnread)
{
    position("startpos what e2e4");
    EXPECT_EQ(GPS->board[sq("e4")], PAWN);
    position("nonsense e2e4 e7e5");
    EXPECT_EQ(GPS->sideToMove, BLACK) << "nothing has changed";
}

TEST(Uci, PromotionLetters)
{
    const std::string fen = "fen 4k3/P7/8/8/8/8/p7/4K3 w - - 0 1 moves a7a8";
    for (const auto& [letters, a8] : {std::pair("", PAWN), // kind 0 without a letter
                                      {"q a2a1q", QUEEN},
                                      {"Q", NOPIECE}}) // kind 254 can't be made
    {
        position(fen + letters);
        EXPECT_EQ(GPS->board[A8], a8) << letters;
        EXPECT_EQ(GPS->board[A1] == QUEEN + BLACK, a8 == QUEEN);
    }
}

TEST(Uci, ADiagonalStepOntoAnEmptySquareIsEnPassant)
{
    position("startpos moves e2e4 a7a6 e4e5 d7d5 e5d6");
    EXPECT_EQ(GPS->board[sq("d5")], NOPIECE);
    EXPECT_EQ(GPS->board[sq("d6")], PAWN);
}

TEST(Uci, OptionsAreForcedIntoTheirRange)
{
    setOption("name Hash value 0");
    EXPECT_EQ(engine.hashSizeMB, 1);
    setOption("name Ponder value true");
    EXPECT_TRUE(engine.ponderEnabled);
    setOption("name Ponder value True");
    EXPECT_FALSE(engine.ponderEnabled);
    setOption("name Two Words value 7");
    setOption("name Threads value 0");
    EXPECT_EQ(engine.nofThreads, 1);
    EXPECT_THROW(setOption("name Hash value many"), std::invalid_argument);
    EXPECT_THROW(setOption("name Threads"), std::invalid_argument);
}

// The choice among the threads' results asks how many there are, and a thread that has hardly begun
// has no move.
TEST(Uci, ARunningSearchKeepsItsNumberOfThreads)
{
    position("startpos");
    setOption("name Threads value 2");
    written(
        []
        {
            std::istringstream infinite("infinite");
            UCIgo(infinite);
            std::thread changing(setOption, "name Threads value 1");
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            EXPECT_EQ(engine.nofThreads, 2);
            UCIstop();
            changing.join();
        });
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
        UCIprocesMove(text);
        EXPECT_EQ(GPS->hashKey, key) << text;
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
