// SPDX-License-Identifier: MIT
//
// What the tests of the root searches share: searchers whose inner state is accessible, and a pool
// whose searchers a test chooses. They run on the thread of the test.
#pragma once

#include <set>
#include <sstream>

#include "support.h"
#include "uci.h"

inline const std::string start{fenStartPos};
inline const std::string stalemated = "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1";
inline const std::string mateInOne = "6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1";
inline const std::string onlyMove = "7k/8/6K1/8/8/8/8/7R b - - 0 1";

/// A boss whose inner state is accessible.
class OpenBoss : public boss
{
  public:
    using worker::currentDepth;
    using worker::position;
};

/// A helper whose inner state is accessible.
class OpenWorker : public worker
{
  public:
    using worker::currentDepth;
    using worker::position;
    using worker::worker;

    static i32 idOf(const worker* any) { return any->*(&OpenWorker::id); }
    static relaxed<i32>& depthOf(worker* any) { return any->*(&OpenWorker::currentDepth); }
    static const positionStruct* positionOf(const worker* any)
    {
        return any->*(&OpenWorker::position);
    }
};

struct claim
{
    int depth = 60;
    int isComplete = 1;
    int score = 31000;
};

/// A helper that does not search but claims a result, with a line of `moves`.
class Claimant : public OpenWorker
{
  public:
    Claimant(int place, std::vector<moveStruct> moves, claim result = {})
        : OpenWorker(place), line(std::move(moves)), claimed(result)
    {
    }
    void searchRoot() override
    {
        position->rootDepth = static_cast<i16>(claimed.depth);
        position->rootDepthComplete = static_cast<u8>(claimed.isComplete);
        position->rootScore = static_cast<i16>(claimed.score);
        position->plies[0].moveListEnd = position->plies[0].moveListStart;
        position->pvLength = static_cast<u8>(line.size() - 1);
        for (size_t ply = 0; ply < line.size(); ++ply) position->plies[ply].bestMove = line[ply];
    }

  private:
    std::vector<moveStruct> line;
    claim claimed;
};

/// A pool without limits; a test chooses its helpers and sets the limits that it needs.
class SearchRoot : public testing::Test
{
  protected:
    void SetUp() override
    {
        makePool({});
        clearHashTable();
        liftLimits();
    }

    void TearDown() override
    {
        theWorkForce.setNofWorkers(0);
        theWorkForce.setNofWorkers(1);
        engine.nofThreads = 1;
        liftLimits();
    }

    /// Replaces the pool by a boss and these helpers.
    void makePool(const std::vector<worker*>& helpers)
    {
        theWorkForce.setNofWorkers(0);
        theWorkForce.workers.assign(1, pool = new OpenBoss);
        for (worker* helper : helpers) theWorkForce.workers.push_back(helper);
        engine.nofThreads = static_cast<int>(theWorkForce.workers.size());
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

    /// Sets the clock so that this share of the soft budget is used up. The search itself takes
    /// next to nothing of it. The hard budget ends the search twenty seconds later.
    static void spendSoftBudget(double share)
    {
        constexpr int elapsed = 100'000'000;
        engine.startTime = static_cast<u64>(now() - elapsed);
        engine.targetTime = static_cast<i32>(elapsed / share);
        engine.maxTime = elapsed + 20'000;
    }

    /// Lets helpers check the limits after each depth, as the boss does.
    static void openSoftClock()
    {
        engine.startTime = static_cast<u64>(now() - 100000);
        engine.targetTime = 0;
    }

    /// Stores a score in the table for the position after a root move, for the side to move there.
    static void enterAfter(Board& board, moveStruct move, int score, u8 bound = boundExact,
                           moveStruct answer = EMPTYMOVE)
    {
        makeMove(1, &move, board.get(), false);
        putHashTableEntry(board->hashKey, answer, static_cast<i16>(score), 127, bound, 1);
        unmakeMove(1, &move, board.get());
    }

    /// Stores the same score after each root move.
    static void enterAfterAll(Board& board, int score)
    {
        for (const moveStruct& move : board.legalMoves()) enterAfter(board, move, score);
    }

    /// What a whole search of the pool writes, with either root search.
    std::string lines(Board& board, void (boss::*search)() = &boss::searchRoot)
    {
        for (worker* each : theWorkForce.workers) each->setPosition(board.get());
        return written([&] { (pool->*search)(); });
    }

    /// The depths at which a helper stops under each of the limits `first` to 12, or under `first`
    /// alone if that is larger. With `first` 1 these are the depths that its row does not skip.
    static std::set<int> depthsOf(int id, void (worker::*search)() = &worker::searchRoot,
                                  int first = 1)
    {
        Board board(stalemated);
        OpenWorker helper(id);
        std::set<int> depths;
        for (int limit = first; limit <= std::max(first, 12); ++limit)
        {
            liftLimits();
            openSoftClock();
            engine.depthLimit = limit;
            helper.setPosition(board.get());
            (helper.*search)();
            depths.insert(helper.currentDepth);
        }
        return depths;
    }

    OpenBoss* pool = nullptr;
};

/// A line of a text by its place from the end, 1 the last; empty when there are too few.
inline std::string lineFromEnd(const std::string& text, size_t place)
{
    const std::vector<std::string> all = linesOf(text);
    return place <= all.size() ? all[all.size() - place] : "";
}

/// A text without the times of its info lines.
inline std::string withoutTimes(std::string text)
{
    for (size_t at = text.find(" time "); at != std::string::npos; at = text.find(" time "))
        text.erase(at, text.find(' ', at + 6) - at);
    return text;
}

/// Sets a position and starts a search of the real pool.
inline void go(const std::string& position, const std::string& words)
{
    std::istringstream positionWords(position);
    std::istringstream goWords(words);
    UCIposition(positionWords);
    UCIgo(goWords);
}

/// What such a search writes until it ends, without times.
inline std::string goLines(const std::string& position, const std::string& words)
{
    return withoutTimes(written(
        [&]
        {
            go(position, words);
            theWorkForce.workers[0]->waitToTakeABreak();
        }));
}
