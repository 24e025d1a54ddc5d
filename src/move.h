// SPDX-License-Identifier: MIT
//
// Moves: playing and taking back, legality, generation by class, and the pickers that hand the
// search one move at a time.
//
//   Making moves                makeMove, unmakeMove
//   Legality                    inCheckAfterMove, isLegalMove
//   Generators                  generateMovesCaptures, generateMovesQuiets, generateMovesEvade, ...
//   Pickers                     doNextMoveStaged, doNextMoveQuiesc, doNextMoveProbCut
//   PV from the table           getPVFromHashTable
//   Interface without a caller  generateSimpleChecks, getBestMoveHist, listWriter
#pragma once

#include "global.h"


// Making moves

/// makeMove and unmakeMove of the colour `us`, the mover's: codes and directions are constants in
/// them. Call them by way of the two functions below, which find the colour.
template <int us>
bool makeMoveOf(u8 ply, const moveStruct* move, positionStruct* position, bool testLegal);
template <int us> void unmakeMoveOf(u8 ply, const moveStruct* move, positionStruct* position);

/// Plays a pseudo-legal move and creates the state of plies[ply], `ply` being the child's ply.
/// With `testLegal`, and when the parent is not in check, a move that leaves the own king in check
/// is refused: the result is false and nothing has changed. In check moves are taken on trust,
/// since evasions are generated exact. inCheck of the child is left to the caller.
inline bool makeMove(u8 ply, const moveStruct* move, positionStruct* position, bool testLegal)
{
    return position->sideToMove == WHITE ? makeMoveOf<WHITE>(ply, move, position, testLegal)
                                         : makeMoveOf<BLACK>(ply, move, position, testLegal);
}

/// Takes back the move that makeMove played with the same arguments.
inline void unmakeMove(u8 ply, const moveStruct* move, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        unmakeMoveOf<BLACK>(ply, move, position);
    else
        unmakeMoveOf<WHITE>(ply, move, position);
}


// Legality

/// The part of inCheckAfterMove that looks at lines to the king.
bool isKingHitAfterMove(const moveStruct* move, const positionStruct* position);

/// Whether a generated move leaves the own king in check. `ply` is the ply of the position itself.
/// Right for men that are not pinned only when the position is not in check. En passant clears
/// two squares at once, so it is looked at whether or not anything is pinned.
inline bool inCheckAfterMove(u8 ply, const moveStruct* move, const positionStruct* position)
{
    if ((position->plies[ply].notPinned & bit(move->from)) && move->kind != KINDENPASSANT &&
        !isKing(position->board[move->from]))
        return false;
    return isKingHitAfterMove(move, position);
}

/// Whether a move that was not generated here can be played: one out of the table or a killer.
/// Its score byte must hold the moving man's code. Any bytes are safe. With `pseudoOnly` the own
/// king's safety is not looked at. `ply` is the ply of the position itself.
bool isLegalMove(u8 ply, const moveStruct* move, const positionStruct* position, bool pseudoOnly);


// Generators
//
// Each writes its moves from `moves` upward and sets moveListEnd of `ply` and moveListStart of
// the next ply to one past its last move. Men are taken from the lowest square up, and so are the
// destinations of each. Moves are pseudo-legal, evasions legal.

/// Captures and capturing promotions; in check all evasions, and pickerStage becomes 99. Computes
/// notPinned.
void generateMovesCaptures(u8 ply, moveStruct* moves, positionStruct* position);

/// The legal moves of a side in check; needs notPinned.
void generateMovesEvade(u8 ply, moveStruct* moves, positionStruct* position);

/// Moves that capture nothing, castling and pushes to the last rank included; needs notPinned.
/// Leaves no ordering scores.
void generateMovesQuiets(u8 ply, moveStruct* moves, positionStruct* position);

/// Captures and queen promotions; in check all evasions. Computes notPinned.
void generateMovesQuiescence(u8 ply, moveStruct* moves, positionStruct* position);

/// Captures on the square that the previous move reached; in check all evasions. Computes
/// notPinned in check only.
void generateMovesRecapture(u8 ply, moveStruct* moves, positionStruct* position);

/// All legal moves, scored as captures are and not in order. Computes inCheck and notPinned.
void generateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position);

/// Their number; leaves the list in no useful state. Computes inCheck and notPinned.
u32 countMovesLegal(u8 ply, moveStruct* moves, positionStruct* position);


// Pickers
//
// A picker takes a cursor into the node's list and returns true with the move already made at
// ply + 1, false with nothing played at this slot. The caller moves the cursor on by one slot
// after every call.

/// pickerStage of doNextMoveStaged, as it stands when the picker is entered. The picker raises
/// the stage before it returns, so a node that has got a move sees the one behind.
enum pickerStages : u8
{
    stageHashMove = 0,        // the one move in the first slot
    stageMakeCaptures = 1,    // generates the captures, or the evasions
    stageWinningCaptures = 2, // best score first; losing ones are put aside
    stageFirstKiller = 3,     // passed through within a call
    stageSecondKiller = 4,
    stageCounterMove = 5,
    stageOpenLosers = 6,     // passed through within a call
    stageLosingCaptures = 7, // in the order in which they were put aside
    stageMakeQuiets = 8,     // generates the quiet moves
    stageQuiets = 9,         // best history first
    stageEvasions = 99       // all legal moves, in check
};

/// The next move of a node of the main search. With `skipOrdering` quiet moves come as they lie.
bool doNextMoveStaged(u8 ply, moveStruct* cursor, positionStruct* position, bool skipOrdering);

/// The next move of a quiescence node, whose list is complete; `depth` is 0 or less.
bool doNextMoveQuiesc(u8 ply, moveStruct* cursor, positionStruct* position, int depth);

/// The next capture or promotion of a node out of check that gains at least `threshold`.
bool doNextMoveProbCut(u8 ply, moveStruct* cursor, positionStruct* position, i16 threshold);

/// Swaps the move of the highest score in [first, end) to `first`; of equals the first one. The
/// stretch is not empty.
void getBestMove(moveStruct* first, const moveStruct* end);


// PV from the table

/// Lays out the line of exact table entries from the position on, at most `depth` moves, in the
/// bestMove fields from plies[ply] on, and sets pvLength to the index of the last. Without an
/// entry nothing changes. The position is left as it was.
void getPVFromHashTable(u8 ply, positionStruct* position, int depth);


// Interface without a caller
//
// Two ways to list moves that the search does not use, and the list writers for the test that
// compares them.

/// Quiet moves that give direct check; needs notPinned. The first slot's score becomes 255.
void generateSimpleChecks(u8 ply, moveStruct* moves, positionStruct* position);

/// getBestMove by history ratio instead of score.
void getBestMoveHist(moveStruct* first, const moveStruct* end, const positionStruct* position);

/// The two functions of a list writer; see move.cpp. Each appends the moves to `targets`, at most
/// 32 squares, and returns the end of the list. Up to seven slots after the end may be overwritten.
struct listWriter
{
    moveStruct* (*appendMoves)(moveStruct* moves, u64 targets, u32 step, u32 base);
    moveStruct* (*appendCaptures)(moveStruct* moves, u64 targets, u32 step, u32 base,
                                  const positionStruct* position);
};

extern const listWriter plainListWriter; // the writer for any processor
extern const listWriter listWriterInUse; // the one that the generators of this build call
