// SPDX-License-Identifier: MIT
//
// The pickers hand a node one move at a time, made at ply + 1. Each looks at the slot of the
// cursor; false means that nothing was played there. The caller moves the cursor on by one slot
// after every call.
#ifndef QUILLON_ORACLE_PICKERS_H
#define QUILLON_ORACLE_PICKERS_H

#include "position.h"

namespace oracle
{

// For the main search. Stages: 0 hash move, 1 generate captures, 2 good captures, 3 and 4
// killers, 5 counter move, 6 and 7 bad captures, 8 and 9 quiet moves, 99 evasions.
bool nextMove(int ply, int cursor, Position& p, bool skipOrdering);

// For quiescence; the list is complete before the first call.
bool nextQuiescenceMove(int ply, int cursor, Position& p, int depth);

// For the cut by a shallow capture search. Stages: 0 hash move, 1 generate, 2 captures.
bool nextProbCutMove(int ply, int cursor, Position& p, Score threshold);

} // namespace oracle

#endif
