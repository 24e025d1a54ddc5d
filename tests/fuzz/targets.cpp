// SPDX-License-Identifier: MIT
//
// See targets.h.

#include "targets.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <thread>

#include "hash.h"
#include "moveTable.h"
#include "search.h"

namespace
{

constexpr fuzzTarget targets[] = {
    {"fen", fuzzFen},           {"moves", fuzzMoves},
    {"console", fuzzConsole},   {"perft_file", fuzzPerftFile},
    {"training", fuzzTraining}, {"table_word", fuzzTableWord},
};

constexpr int tableSizeMB = 1;

std::unique_ptr<positionStruct> startState;
std::string folder;

void leaveFolder()
{
    for (const char* name : {"perft.txt", "quiet-labeled.epd"}) std::remove(name);
    if (chdir("/") == 0) rmdir(folder.c_str());
}

/// Ends the threads and frees the table, so that a leak shows as one.
void endFuzzing()
{
    theWorkForce.endSearch();
    theWorkForce.setNofWorkers(0);
    destroyHashTable();
    leaveFolder();
}

/// Puts back what a target may have changed and a later one may read.
void resetProcess()
{
    *GPS = *startState;
    engine.gamePly = 0;
    engine.ponderEnabled = false;
    engine.hashSizeMB = tableSizeMB;
    if (hashKeyMask + 1 != u64{16384} * tableSizeMB)
        createHashTable(tableSizeMB);
    else if (hashHartBeat)
        clearHashTable();
    hashAgeCounter = 0;
    if (theWorkForce.workers.size() != 1) theWorkForce.setNofWorkers(1);
    engine.nofThreads = 1;
}

/// Whether an exception is that of std::stoi or std::stoull. Their names are all that GNU's library
/// tells them apart by from those of a string's own functions.
bool isNumberError(const std::exception& refused)
{
    return std::strncmp(refused.what(), "sto", 3) == 0;
}

} // namespace

const fuzzTarget* findTarget(const std::string& name)
{
    const auto* const end = std::end(targets);
    const auto* const found = std::find_if(
        std::begin(targets), end, [&](const fuzzTarget& target) { return name == target.name; });
    return found == end ? nullptr : found;
}

void runTarget(const fuzzTarget& target, const std::string& input)
{
    try
    {
        target.run(input);
    }
    catch (const std::invalid_argument& refused)
    {
        require(isNumberError(refused), "only a number that can't be read ends the process");
    }
    catch (const std::out_of_range& refused)
    {
        require(isNumberError(refused), "only a number that can't be read ends the process");
    }
    theWorkForce.endSearch();
    resetProcess();
}

void startFuzzing()
{
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    const char* const parent = std::getenv("TMPDIR");
    folder = std::string(parent ? parent : "/tmp") + "/quillon-fuzz-XXXXXX";
    if (!mkdtemp(folder.data()) || chdir(folder.c_str()) != 0) std::abort();

    engine.hashSizeMB = tableSizeMB;
    initBitboardConstants();
    initHashCodeTables();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(1);
    theWorkForce.endSearch();
    startState = std::make_unique<positionStruct>(*GPS);
    std::atexit(endFuzzing);
}

void require(bool holds, const char* promise)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    leaveFolder();
    std::abort();
}

positionStruct* bareBoard()
{
    static positionStruct position;
    static moveStruct stack[MOVESTACKSIZE + MOVESTACKSLACK];
    // Entries of earlier inputs stay: what a key stands for doesn't change.
    static pawnHashTableStruct pawns;
    static evalHashTableStruct evaluations;
    position = {};
    position.plies[0].moveListStart = stack;
    position.plies[0].moveListEnd = stack;
    position.pawnHashTable = &pawns;
    position.evalHashTable = &evaluations;
    return &position;
}

void finishSearch()
{
    using clock = std::chrono::steady_clock;
    const auto limit = clock::now() + std::chrono::milliseconds(20);
    while (!theWorkForce.stopSearch && clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    theWorkForce.endSearch();
}

void writeFile(const char* name, const std::string& content)
{
    std::ofstream(name, std::ios::binary) << content;
}
