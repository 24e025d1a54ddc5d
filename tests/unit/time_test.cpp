// SPDX-License-Identifier: MIT
//
// The clock and the time budgets of a search.

#include <chrono>
#include <limits>
#include <optional>

#include "support.h"

namespace
{

/// What calcTimeParameters reads, with the defaults of a bare `go`.
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

/// The soft and the hard budget.
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

} // namespace

TEST(SearchTime, TheClockCountsWholeMillisecondsOfTheSteadyClock)
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
        // 22501 for each move, times 0.72, or 0.82 with more than three threads, and 1.2 times that
        // with Ponder.
        {{.time = 900040, .threads = 3}, 16200, 113400},
        {{.time = 900040, .threads = 4}, 18450, 129150},
        {{.time = 900040, .threads = 3, .ponder = true}, 19440, 136080},
        {{.time = 900040, .threads = 4, .ponder = true}, 22140, 154980},
        // With movestogo 15001 for each move, times 0.648, 0.792 and 0.72.
        {{.time = 300020, .movesToGo = 20, .gamePly = 17}, 9720, 68040},
        {{.time = 300020, .movesToGo = 20, .gamePly = 18}, 11880, 83160},
        {{.time = 300020, .movesToGo = 20, .gamePly = 50}, 11880, 83160},
        {{.time = 300020, .movesToGo = 20, .gamePly = 51}, 10800, 75600},
        {{.time = 300020, .movesToGo = 20, .gamePly = 1024}, 10800, 75600},
        // Four moves at least. With four the hard budget is at least 40 ms.
        {{.time = 50, .movesToGo = 5, .gamePly = 40}, 7, 20},
        {{.time = 50, .movesToGo = 4, .gamePly = 40}, 9, 40},
        {{.time = 50, .movesToGo = 1, .gamePly = 40}, 9, 40},
        {{.time = 300000, .movesToGo = -7, .gamePly = 40}, 59400, 149995},
        {{.time = 300000, .movesToGo = 3, .gamePly = 40}, 59400, 149995},
        // The budgets are halved if the clock, less 10 ms, holds less than four times the target.
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

TEST(SearchTime, OnAnyClockTheHardBudgetExceedsTheSoftOne)
{
    constexpr int most = std::numeric_limits<int>::max();
    std::vector<int> times = {-1, 0, 1, most, std::numeric_limits<int>::min()};
    for (int t = -1000; t <= 1000; t += 7) times.push_back(t);
    for (const int ply : {0, 18, 51, 81, 201, 1024})
        for (const int inc : {0, 1, 100, most})
            for (const auto toGo : {std::optional<int>(), {0}, {40}})
                for (const int time : times)
                {
                    const auto [target, max] =
                        budgets({.time = time, .inc = inc, .movesToGo = toGo, .gamePly = ply});
                    EXPECT_TRUE(max > target || target == most) << time << ' ' << inc << ' ' << ply;
                }
}
