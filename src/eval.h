// SPDX-License-Identifier: MIT
//
// The static evaluation: packed material and piece-square sums that makeMove keeps up, evaluateN,
// the score of a position, and evaluateTraced, the same score term by term.
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

// Evaluation by terms

/// The terms of an evaluation, in the order of its stages. A range ...By means one term each for
/// knights, bishops, rooks and queens, as far as they have it.
enum evalTerm : int
{
    termMaterial,
    termPieceSquares,
    termPawnCandidate,
    termPawnIsolated,
    termPawnKsIsolated,
    termPawnDoubled,
    termPawnKsDoubled,
    termPawnBackHalf,
    termPawnKsBackward,
    termPawnConnected,
    termPawnNeighbour,
    termShield,
    termPinned,
    termDiscovered = termPinned + 4,
    termMobility = termDiscovered + 4,
    termOutpost = termMobility + 4,
    termKingDistance = termOutpost + 2,
    termBadBishop = termKingDistance + 2,
    termRookFile,
    termPassedPawns,
    termThreatWeakPawn,
    termThreatMinorByPawn,
    termThreatMinorByMinor,
    termThreatMinorByMajor,
    termThreatRookByLess,
    termThreatQueenByAll,
    termThreatOverloaded,
    termThreatPawnPush,
    termFlank,
    termDanger,
    termBishopPair,
    termTempo,
    NOFEVALTERMS
};

/// What a position is worth, term by term.
struct evalTrace
{
    combEval terms[NOFEVALTERMS][2]; // per colour, good for it when positive
    combEval total;                  // white minus black
    int phase;                       // held between pure end-game and pure mid-game
    bool isDraw;                     // a pawnless draw: the score is 0 whatever the terms
    int score;                       // for the side to move
};

/// The name of a term.
const char* evalTermName(int term);

/// Evaluates as evaluateN does, past the caches, and notes every term.
evalTrace evaluateTraced(positionStruct* position);
