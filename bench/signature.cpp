// SPDX-License-Identifier: MIT
//
// The node signature: one thread searches a fixed list of positions to a fixed depth, each from an
// empty table. The total of nodes stands for the whole search tree: a change that doesn't mean to
// alter the tree leaves it as it is. The number has no other meaning.
//
// Usage: quillon_signature [depth]. The last line is "N nodes M nps".

#include <cstdlib>
#include <sstream>
#include <string>

#include "general.h"
#include "hash.h"
#include "moveTable.h"
#include "positions.h"
#include "search.h"
#include "uci.h"

int main(int argc, char** argv)
{
    constexpr int defaultDepth = 15; // deep enough to load the caches as a game does
    const int depth = argc > 1 ? std::atoi(argv[1]) : defaultDepth;
    if (depth < 1 || depth > 127)
    {
        writeLine("usage: quillon_signature [depth 1 to 127]");
        return 2;
    }

    engine.hashSizeMB = 64;
    initBitboardConstants();
    initHashCodeTables();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(1);

    // With a depth limit alone, the default time budget would apply.
    const std::string limits =
        "depth " + std::to_string(depth) + " wtime 2000000000 btime 2000000000";
    u64 nodes = 0;
    const i64 start = now();
    for (const std::string_view fen : benchPositions)
    {
        std::istringstream position("fen " + std::string(fen));
        std::istringstream go(limits);
        clearHashTable();
        UCIposition(position);
        UCIgo(go);
        theWorkForce.workers[0]->waitToTakeABreak();
        nodes += theWorkForce.nofNodes();
    }
    const i64 elapsed = now() - start;
    const u64 nps = nodes * 1000 / static_cast<u64>(elapsed > 0 ? elapsed : 1);

    theWorkForce.setNofWorkers(0);
    destroyHashTable();
    writeLine(std::to_string(nodes) + " nodes " + std::to_string(nps) + " nps");
    return 0;
}
