// SPDX-License-Identifier: MIT
//
// The static evaluation: packed material and piece-square sums that makeMove keeps up, evaluateN,
// the score of a position, and evaluateTraced, the same score term by term.
#pragma once

#include <cstring>

#include "global.h"

// Incremental material

/// Sets material, pstScore and gamePhase from the bitboards.
void initEvaluation(positionStruct* position);

/// Saves the three sums into plies[ply] and changes them for a move of the colour `us`, whose turn
/// it is. `ply` is the child's. Call it before the board changes: it reads the mover and the man
/// taken from it.
template <int us> void updateEvaluation(u8 ply, moveStruct move, positionStruct* position);

/// Gives the three sums back that updateEvaluation has saved at the same ply.
inline void restoreEvaluation(u8 ply, positionStruct* position)
{
    const plyStruct& child = position->plies[ply];
    std::memcpy(position->material, child.savedMaterial, sizeof child.savedMaterial);
    std::memcpy(position->pstScore, child.savedPstScore, sizeof child.savedPstScore);
    position->gamePhase = child.savedGamePhase;
}

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


// Tables in print

/// Writes pieceSquareScore as two arrays of 16-bit numbers, mid-game and end-game, would be, six
/// pieces one behind the other. The table is packed, so neighbouring halves come out as separate
/// squares and the end-game array begins with the rook's: of use only to look at the memory.
void printPSTinFormatX();


#ifdef QUILLON_TUNE

// Tunable tables, writable in a tuning build; see eval.cpp for their meaning

extern combEval pieceValue[6];
extern combEval pieceSquareScore[6][NOFSQUARES];
extern combEval EVALBISHOPPAIR;
extern combEval EVALTEMPO;
extern combEval EVALPAWNISOLATED[8];
extern combEval EVALPAWNDOUBLED[8];
extern combEval EVALPAWNBACKHALF[8];
extern combEval EVALPAWNCONNECTED[8];
extern combEval EVALPAWNNEIGHBOUR[8];
extern combEval EVALPAWNPASSEDCANDIDATE[2][8];
extern combEval EVALPAWNKSISOLATED;
extern combEval EVALPAWNKSDOUBLED;
extern combEval EVALPAWNKSBACKWARD;
extern combEval EVALPAWNPASSED[2][2][8];
extern combEval EVALPAWNPASSEDDISTOWN[8];
extern combEval EVALPAWNPASSEDDISTOTHER[8];
extern combEval EVALPAWNPASSEDPROMO[4];
extern combEval EVALPINNED[8];
extern combEval EVALPINNEDFREE[8];
extern combEval EVALDISCOVERED[8];
extern combEval EVALMOBILITYKNIGHT[12];
extern combEval EVALMOBILITYBISHOP[16];
extern combEval EVALMOBILITYROOK[16];
extern combEval EVALMOBILITYQUEEN[28];
extern combEval EVALOUTPOSTKNIGHT[2];
extern combEval EVALOUTPOSTBISHOP[2];
extern combEval EVALROOKONOPEN[2];
extern combEval EVALKINGDIST[4];
extern combEval EVALTEST;
extern combEval EVALKINGATTWEIGHT[5];
extern combEval EVALTHREADWEAKPAWN;
extern combEval EVALTHREADMINORABPAWN;
extern combEval EVALTHREADMINORABMINOR;
extern combEval EVALTHREADMINORABMAJOR;
extern combEval EVALTHREADROOKABLESS;
extern combEval EVALTHREADQUEENABALL;
extern combEval EVALTHREADOVERLOADED;
extern combEval EVALTHREADPAWNPUSH;
extern combEval EVALPAWNSHIELD[NOFSQUARES];
extern combEval EVALKINGDANGER[7];
extern combEval EVALCHECKSAFEQUEEN;
extern combEval EVALCHECKSAFEROOK;
extern combEval EVALCHECKSAFEBISHOP;
extern combEval EVALCHECKSAFEKNIGHT;
extern combEval EVALKINGDANGERTRANSMG;
extern combEval EVALKINGDANGERTRANSEG;
extern combEval EVALKINGNOPAWNONFILES[3];

#endif
