// SPDX-License-Identifier: MIT
//
// Static exchange: whether a capture, a check or an evasion keeps its material on one square.
#ifndef QUILLON_ORACLE_EXCHANGE_H
#define QUILLON_ORACLE_EXCHANGE_H

#include "position.h"

namespace oracle
{

// Before the move is made: whether the exchange gains at least the threshold.
bool see(const Move& move, Score threshold, const Position& p);

// After the move is made; `captured` is the piece that it took.
bool seeAfter(const Move& move, Score threshold, const Position& p, Byte captured);

// Lowers the score of evasions that lose material, from slot `first` to the end of the list.
void lowerBadEvasions(int ply, int first, Position& p);

} // namespace oracle

#endif
