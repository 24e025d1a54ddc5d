// SPDX-License-Identifier: MIT
//
// Move lists by class. Each generator writes into the move stack from slot `first` on and closes
// the list: listEnd of the ply and listStart of the next stand one past the last move.
#ifndef QUILLON_ORACLE_GENERATORS_H
#define QUILLON_ORACLE_GENERATORS_H

#include "position.h"

namespace oracle
{

constexpr Byte evasionStage = 99;

// Captures and capturing promotions. In check all evasions, and the stage becomes evasionStage.
void generateCaptures(int ply, int first, Position& p);

// Everything else, castling included; wants the pins that generateCaptures left.
void generateQuiets(int ply, int first, Position& p);

// Captures and queen promotions, or all evasions.
void generateQuiescence(int ply, int first, Position& p);

// Captures on the square of the previous move, or all evasions.
void generateRecaptures(int ply, int first, Position& p);

// All legal moves; sets inCheck of the ply.
void generateLegal(int ply, int first, Position& p);

} // namespace oracle

#endif
