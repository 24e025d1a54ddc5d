// SPDX-License-Identifier: MIT
//
// The static evaluation: packed material and piece-square sums that makeMove keeps up, and
// evaluateN, the score of a position.
#pragma once

#include "global.h"


// Incremental material

/// Sets material, pstScore and gamePhase from the bitboards.
void initEvaluation(positionStruct* position);

/// Saves the three sums into plies[ply] and changes them for a move of the side to move. `ply` is
/// the child's. Call it before the board changes: it reads the mover and the man taken from it.
void updateEvaluation(u8 ply, const moveStruct* move, positionStruct* position);


// Evaluation

/// The score of a position from the view of the side to move, within 16 bits. The position has one
/// king a side, its sums are up to date, and pawnHashTable and evalHashTable are bound. `ply` is
/// not used.
int evaluateN(int ply, positionStruct* position);
