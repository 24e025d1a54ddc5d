// SPDX-License-Identifier: MIT
//
// The transposition table. It loses nothing: the searches that are compared are so small that the
// engine's table keeps all they need, too.
#ifndef QUILLON_ORACLE_TABLE_H
#define QUILLON_ORACLE_TABLE_H

#include "position.h"

#include <unordered_map>

namespace oracle
{

enum Bound : Byte
{
    noBound = 0,
    upperBound = 1,
    lowerBound = 2,
    exactBound = 3
};

// An entry. A miss has no bound.
struct Entry
{
    Move move;
    int score = 0; // mate scores count from the storing node
    int depth = 0;
    Bound bound = noBound;
};

using Table = std::unordered_map<std::uint64_t, Entry>;

} // namespace oracle

#endif
