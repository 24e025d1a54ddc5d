// SPDX-License-Identifier: MIT
//
// The node signature: the bench of the ordinary engine. Its total of nodes stands for the whole
// search tree: a change that isn't meant to alter the tree leaves it as it is. The number has no
// other meaning.
//
// Usage: quillon_signature [depth]. The last line is "N nodes M nps".

#include <sstream>
#include <string>

#include "hash.h"
#include "moveTable.h"
#include "search.h"
#include "uci.h"

int main(int argc, char** argv)
{
    engine.hashSizeMB = 64;
    initBitboardConstants();
    initHashCodeTables();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(1);

    std::istringstream depth(argc > 1 ? argv[1] : "");
    UCIbench(depth);

    theWorkForce.setNofWorkers(0);
    destroyHashTable();
    return 0;
}
