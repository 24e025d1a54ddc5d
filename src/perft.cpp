// SPDX-License-Identifier: MIT
//
// Perft; see perft.h. It uses the generators and the makeMove of the search, because those are what
// it checks.

#include "perft.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <system_error>
#include <thread>
#include <vector>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#elif defined(__APPLE__)
#include <climits>
#include <mach-o/dyld.h>
#endif

#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "search.h"


// Counters

void perftGenerateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position)
{
    generateMovesLegal(ply, moves, position);
}

u32 perftGenerateMovesLegalCount(u8 ply, moveStruct* moves, positionStruct* position)
{
    return countMovesLegal(ply, moves, position);
}

namespace
{

/// Counts for perft and perftRev; with `reversed` it walks each list from its end to its start.
template <bool reversed> u64 countLeaves(u8 ply, i32 depth, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    if (depth <= 0) return 1;
    if (isPathFull(ply, position)) return 0;
    if (depth == 1) return perftGenerateMovesLegalCount(ply, here.moveListStart, position);

    const u8 childPly = narrow<u8>(ply + 1);
    u64 count = 0;
    perftGenerateMovesLegal(ply, here.moveListStart, position);
    const auto countAfter = [=, &count](const moveStruct* move)
    {
        makeMove(childPly, move, position, false);
        count += countLeaves<reversed>(childPly, depth - 1, position);
        unmakeMove(childPly, move, position);
    };
    if constexpr (reversed)
        for (const moveStruct* move = here.moveListEnd; move-- > here.moveListStart;)
            countAfter(move);
    else
        for (const moveStruct* move = here.moveListStart; move < here.moveListEnd; ++move)
            countAfter(move);
    return count;
}

} // namespace

u64 perft(u8 ply, i32 depth, positionStruct* position)
{
    return countLeaves<false>(ply, depth, position);
}


// The perft file

namespace
{

/// The folder of the running program, symbolic links resolved on Linux and macOS; empty if the
/// system has no way to tell.
std::filesystem::path programFolder()
{
    std::filesystem::path program;
#ifdef _WIN32
    std::wstring name(32767, L'\0'); // the longest path that Windows allows
    name.resize(GetModuleFileNameW(nullptr, name.data(), narrow<DWORD>(name.size())));
    program = name;
#elif defined(__APPLE__)
    char name[PATH_MAX];
    std::uint32_t size = sizeof name;
    std::error_code failed;
    if (_NSGetExecutablePath(name, &size) == 0) program = std::filesystem::canonical(name, failed);
#else
    std::error_code failed; // always outside Linux, which leaves the path empty
    program = std::filesystem::read_symlink("/proc/self/exe", failed);
#endif
    return program.parent_path();
}

/// Opens the first perft file that exists; a failed stream if there is none.
std::ifstream openPerftFile()
{
    std::vector<std::filesystem::path> places = {perftFilename};
    const std::filesystem::path program = programFolder();
    if (!program.empty())
        for (const char* folder : {".", "../share/quillon", "../share/games/quillon"})
            places.push_back(program / folder / "perft.txt");
    places.emplace_back("perft.txt");

    // The file of the build comes first, then that of an installation, last the current folder.
    std::ifstream file;
    for (const std::filesystem::path& name : places)
    {
        file.open(name);
        if (file) break;
    }
    return file;
}

} // namespace


// Commands

namespace
{

/// A count and the time it took.
struct timedCount
{
    u64 count;
    i64 nanoseconds;
};

/// Counts a position after preparing it as for a search; an unplayable one counts 0, because the
/// generators rely on what makePlayable checks. The time includes the preparation, which is too
/// short to matter.
timedCount countPosition(i32 depth, positionStruct* position)
{
    const auto start = std::chrono::steady_clock::now();
    const u64 count = makePlayable(position) ? perft(0, depth, position) : 0;
    const auto end = std::chrono::steady_clock::now();
    return {count, std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count()};
}

} // namespace

bool checkMoveGenWithPerft(i32 level)
{
    constexpr i32 tableSizeMB = 128;

    positionStruct position{};
    position.plies[0].moveListStart = GMS;
    std::ifstream file = openPerftFile();
    if (!file)
    {
        writeLine("There seems to be a problem with the perftFile. check of the move generator "
                  "not executed");
        return false;
    }

    bool ok = true;
    std::string line;
    while (std::getline(file, line))
    {
        // These two lines separate the levels of the file, the quickest first.
        if (line == "extended" || line == "full")
        {
            if (level > (line == "full" ? 2 : 1)) continue;
            break;
        }

        std::istringstream fields(line);
        std::string fen;
        std::string depthText;
        std::string countText;
        std::getline(fields, fen, ';');
        std::getline(fields, depthText, ';');
        std::getline(fields, countText, ';');
        const i32 depth = std::stoi(depthText);
        const u64 expected = std::stoull(countText);

        setPosition(fen, &position);
        const timedCount result = countPosition(depth, &position);
        const bool matches = result.count == expected;
        std::ostringstream report;
        report << matches << "; " << fen << "; " << depth << "; " << expected << "; "
               << result.count << "; " << result.nanoseconds;
        writeLine(report.str());
        ok = ok && matches;
        createHashTable(tableSizeMB);
    }
    writeLine(std::string("Results of the perft checks is OK: ") + (ok ? "1" : "0"));
    return ok;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is fixed
void testFenPosition(i32 depth, std::string fen, i32 hashSizeMB, u32)
{
    positionStruct position = GPSData;
    if (fen != "current") setPosition(fen, &position);
    writeText(boardToString(&position));
    createHashTable(hashSizeMB);

    const timedCount result = countPosition(depth, &position);
    const double seconds = static_cast<double>(result.nanoseconds) / 1e9;
    std::ostringstream report;
    report << result.nanoseconds << " ns and " << seconds << " in seconds\n"
           << "Perft results for depth: " << depth << "  " << result.count
           << "  Nodes per sec: " << static_cast<double>(result.count) / seconds << '\n';
    writeText(report.str());
}


// Interface without a caller
//
// For developers. In perftMt each thread takes jobs from one list and counts on a position of its
// own. A job for each pair of moves makes many small jobs, so no thread is left with a long one at
// the end.

u64 perftRev(u8 ply, i32 depth, positionStruct* position)
{
    return countLeaves<true>(ply, depth, position);
}

namespace
{

/// What the threads share: the jobs that are left and the sum of the counts.
struct perftJobs
{
    std::mutex mtx;               // guards moves
    std::deque<moveStruct> moves; // two per job: a first move and a reply to it
    std::atomic<u64> total{0};
    relaxed<u32> started = 0; // threads
};

/// Adds a job for every legal pair of a first move and a reply.
void makeJobs(perftJobs& jobs, positionStruct* position)
{
    plyStruct& root = position->plies[0];
    plyStruct& next = position->plies[1];
    perftGenerateMovesLegal(0, root.moveListStart, position);

    // The replies to each first move are listed after those to the one before. 218 lists of 218
    // moves are more than the stack holds, but a list may be overwritten once its jobs are made.
    moveStruct* const firstList = next.moveListStart;
    const moveStruct* const stackEnd = root.moveListStart + MOVESTACKSIZE;
    moveStruct* list = firstList;
    for (const moveStruct* first = root.moveListStart; first < root.moveListEnd; ++first)
    {
        if (list >= stackEnd) list = firstList;
        makeMove(1, first, position, false);
        perftGenerateMovesLegal(1, list, position);
        for (; list < next.moveListEnd; ++list)
        {
            jobs.moves.push_back(*first);
            jobs.moves.push_back(*list);
        }
        unmakeMove(1, first, position);
    }
}

/// Runs in each thread: takes jobs until none is left, and counts what follows their two moves.
void countJobs(perftJobs& jobs, i32 depth, const positionStruct* root)
{
    positionStruct position = *root;
    moveStruct stack[MOVESTACKSIZE + MOVESTACKSLACK];
    for (const int ply : {0, 1, 2}) position.plies[ply].moveListStart = stack;

    // The lock is held except while counting.
    std::unique_lock<std::mutex> lock(jobs.mtx);
    while (!jobs.moves.empty())
    {
        const moveStruct first = jobs.moves[0];
        const moveStruct second = jobs.moves[1];
        jobs.moves.erase(jobs.moves.begin(), jobs.moves.begin() + 2);
        lock.unlock();

        // Jobs hold legal moves only, so makeMove need not test them.
        makeMove(1, &first, &position, false);
        makeMove(2, &second, &position, false);
        const u64 count =
            jobs.started % 2 ? perft(2, depth - 2, &position) : perftRev(2, depth - 2, &position);
        unmakeMove(2, &second, &position);
        unmakeMove(1, &first, &position);
        lock.lock();
        jobs.total += count;
    }
}

/// Threads that the destructor joins, even after the start of one more has thrown.
struct threadPool
{
    std::vector<std::thread> threads;

    threadPool() = default;
    threadPool(const threadPool&) = delete;
    threadPool& operator=(const threadPool&) = delete;
    ~threadPool()
    {
        for (std::thread& thread : threads) thread.join();
    }
};

} // namespace

u64 perftMt(u8 ply, i32 depth, positionStruct* position, u32 threads)
{
    if (depth < 3 || ply > 0) return perft(ply, depth, position);

    perftJobs jobs;
    const auto writeSize = [&jobs]
    { writeLine("aantal elementen : " + std::to_string(jobs.moves.size())); };
    writeSize();
    makeJobs(jobs, position);
    writeSize();

    const size_t wanted = std::min<size_t>(threads, jobs.moves.size());
    {
        threadPool pool;
        while (pool.threads.size() < wanted)
        {
            pool.threads.emplace_back(countJobs, std::ref(jobs), depth, position);
            jobs.started = narrow<u32>(pool.threads.size());
        }
    }
    return jobs.total;
}
