// SPDX-License-Identifier: MIT
//
// What the tests of the root searches share: searchers whose inner state shows, and a pool of
// chosen searchers that run on the thread of the test.
#pragma once

#include <sstream>

#include "support.h"

inline const std::string start{fenStartPos};
inline const std::string stalemated = "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1";
inline const std::string mateInOne = "6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1";

/// A boss whose inner state shows.
class OpenBoss : public boss
{
  public:
    using worker::currentDepth;
    using worker::position;
};

/// A helper whose inner state shows.
class OpenWorker : public worker
{
  public:
    using worker::currentDepth;
    using worker::position;
    using worker::worker;

    static i32 idOf(const worker* any) { return any->*(&OpenWorker::id); }
    static const positionStruct* positionOf(const worker* any)
    {
        return any->*(&OpenWorker::position);
    }
};

/// A helper that claims a result at once.
class Claimant : public OpenWorker
{
  public:
    Claimant(int place, moveStruct bestMove) : OpenWorker(place), claimed(bestMove) {}
    void searchRoot() override
    {
        position->rootDepth = 60;
        position->rootDepthComplete = 1;
        position->rootScore = 31000;
        position->plies[0].bestMove = claimed;
        position->pvLength = 0;
    }

  private:
    moveStruct claimed;
};

/// A pool of chosen searchers, which run on the thread of the test, without any limit but those
/// that a test sets.
class RootSteps : public testing::Test
{
  protected:
    void SetUp() override
    {
        theWorkForce.setNofWorkers(0);
        pool = new OpenBoss;
        theWorkForce.workers.push_back(pool);
        clearHashTable();
        engine.nofThreads = 1;
        liftLimits();
    }

    void TearDown() override
    {
        theWorkForce.setNofWorkers(0);
        theWorkForce.setNofWorkers(1);
        engine.nofThreads = 1;
        liftLimits();
    }

    static void liftLimits()
    {
        theWorkForce.stopSearch = false;
        theWorkForce.ponderSearch = false;
        theWorkForce.timeIsUp = false;
        theWorkForce.deepestDepth = 0;
        engine.infinite = false;
        engine.depthLimit = 0;
        engine.moveTime = 0;
        engine.nodeCheckInterval = 4096;
        engine.timeFactor = 1.0F;
        engine.targetTime = 1000000000;
        engine.maxTime = 1000000000;
        engine.startTime = static_cast<u64>(now());
    }

    /// Lets helpers, too, look at the limits behind each depth.
    static void openSoftClock()
    {
        engine.startTime = static_cast<u64>(now() - 100000);
        engine.targetTime = 0;
    }

    /// What a whole search of the pool writes, by either of its root searches.
    std::string lines(Board& board, void (boss::*search)() = &boss::searchRoot)
    {
        for (worker* each : theWorkForce.workers) each->setPosition(board.get());
        testing::internal::CaptureStdout();
        (pool->*search)();
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    OpenBoss* pool = nullptr;
};

/// A line of a text by its place from the end, 1 the last; empty when there are too few.
inline std::string lineFromEnd(const std::string& text, size_t place)
{
    std::istringstream stream(text);
    std::vector<std::string> all;
    for (std::string line; std::getline(stream, line);) all.push_back(line);
    return place <= all.size() ? all[all.size() - place] : "";
}
