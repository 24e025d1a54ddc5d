// SPDX-License-Identifier: MIT
//
// The bench: one thread searches a fixed list of positions to a fixed depth, each from an empty
// table. It is the node signature and, in the tester build, a command of the console.

#include <sstream>
#include <string>

#include "general.h"
#include "hash.h"
#include "positions.h"
#include "search.h"
#include "uci.h"

namespace
{

/// Gives a handler its words.
void call(void (*handler)(std::istream&), const std::string& text)
{
    std::istringstream words(text);
    handler(words);
}

/// Sets the two options that influence the search.
void setOptions(int megabytes, int threads)
{
    call(UCIsetoption, "name Hash value " + std::to_string(megabytes));
    call(UCIsetoption, "name Threads value " + std::to_string(threads));
}

} // namespace

/// Reads a depth, 15 if there is none. When it returns, options are as before, and the board is
/// that of the start position.
void UCIbench(std::istream& stream)
{
    int depth = 15; // deep enough to load the caches as a game does
    stream >> depth;
    if (depth < 1 || depth > 127)
    {
        writeLine("bench takes a depth from 1 to 127");
        return;
    }

    const int megabytes = engine.hashSizeMB;
    const int threads = engine.nofThreads;
    setOptions(64, 1);
    u64 nodes = 0;
    const i64 start = now();
    for (const std::string_view fen : benchPositions)
    {
        clearHashTable();
        call(UCIposition, "fen " + std::string(fen));
        // With a depth limit alone, the default time budget would apply.
        call(UCIgo, "depth " + std::to_string(depth) + " wtime 2000000000 btime 2000000000");
        theWorkForce.workers[0]->waitToTakeABreak();
        nodes += theWorkForce.nofNodes();
    }
    const i64 elapsed = now() - start;
    setOptions(megabytes, threads);
    call(UCIposition, "startpos");
    const u64 nps = nodes * 1000 / static_cast<u64>(elapsed > 0 ? elapsed : 1);
    writeLine(std::to_string(nodes) + " nodes " + std::to_string(nps) + " nps");
}
