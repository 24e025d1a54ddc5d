// SPDX-License-Identifier: MIT
//
// Perft; see perft.h. Runs on the main thread with the generators and the makeMove of the search.

#include "perft.h"

#include <chrono>
#include <fstream>
#include <sstream>

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
    plyStruct& here = position->plies[ply];
    here.inCheck = isSideInCheck(position);
    generateMovesCaptures(ply, moves, position);
    if (here.inCheck) return static_cast<u32>(here.moveListEnd - here.moveListStart);
    generateMovesQuiets(ply, here.moveListEnd, position);

    u32 count = 0;
    for (const moveStruct* move = moves; move < here.moveListEnd; ++move)
        count += !inCheckAfterMove(ply, move, position);
    return count;
}

u64 perft(u8 ply, i32 depth, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    if (depth <= 0) return 1;
    if (isPathFull(ply, position)) return 0;
    if (depth == 1) return perftGenerateMovesLegalCount(ply, here.moveListStart, position);

    const u8 childPly = static_cast<u8>(ply + 1);
    u64 count = 0;
    perftGenerateMovesLegal(ply, here.moveListStart, position);
    for (const moveStruct* move = here.moveListStart; move < here.moveListEnd; ++move)
    {
        makeMove(childPly, move, position, false);
        count += perft(childPly, depth - 1, position);
        unmakeMove(childPly, move, position);
    }
    return count;
}

u64 perftRev(u8 ply, i32 depth, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    if (depth <= 0) return 1;
    if (isPathFull(ply, position)) return 0;
    if (depth == 1) return perftGenerateMovesLegalCount(ply, here.moveListStart, position);

    const u8 childPly = static_cast<u8>(ply + 1);
    u64 count = 0;
    perftGenerateMovesLegal(ply, here.moveListStart, position);
    for (const moveStruct* move = here.moveListEnd; move-- > here.moveListStart;)
    {
        if (!makeMove(childPly, move, position, false)) continue;
        count += perftRev(childPly, depth - 1, position);
        unmakeMove(childPly, move, position);
    }
    return count;
}


// Commands

namespace
{

/// A count and the time that it took.
struct timedCount
{
    u64 count;
    i64 nanoseconds;
};

/// Counts a position as it would be searched; one that can't be played on counts 0.
timedCount countPosition(i32 depth, positionStruct* position)
{
    const auto start = std::chrono::steady_clock::now();
    const u64 count = makePlayable(position) ? perft(0, depth, position) : 0;
    const auto end = std::chrono::steady_clock::now();
    return {count, std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count()};
}

/// Replaces the table, which no search may be using.
void replaceHashTable(i32 megabytes)
{
    theWorkForce.endSearch();
    createHashTable(megabytes);
}

} // namespace

bool checkMoveGenWithPerft(i32 level)
{
    constexpr i32 tableSizeMB = 128;

    positionStruct position{};
    position.plies[0].moveListStart = GMS;
    std::ifstream file{std::string(perftFilename)};
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
        replaceHashTable(tableSizeMB);
    }
    writeLine(std::string("Results of the perft checks is OK: ") + (ok ? "1" : "0"));
    return ok;
}

void testFenPosition(i32 depth, std::string fen, i32 hashSizeMB, u32)
{
    positionStruct position = GPSData;
    if (fen != "current") setPosition(fen, &position);
    writeText(boardToString(&position));
    replaceHashTable(hashSizeMB);

    const timedCount result = countPosition(depth, &position);
    const double seconds = static_cast<double>(result.nanoseconds) / 1e9;
    std::ostringstream report;
    report << result.nanoseconds << " ns and " << seconds << " in seconds\n"
           << "Perft results for depth: " << depth << "  " << result.count
           << "  Nodes per sec: " << static_cast<double>(result.count) / seconds << '\n';
    writeText(report.str());
}
