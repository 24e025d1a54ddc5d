// SPDX-License-Identifier: MIT
//
// Moves: making and unmaking them, legality, generation by class, and the pickers that give the
// search one move at a time, best first. A `ply` is the index of a record in `plies`.
//
//   Making moves                makeMove, unmakeMove
//   Legality                    inCheckAfterMove, isLegalMove
//   Generators                  generateMovesCaptures, generateMovesQuiets, generateMovesEvade, ...
//   Pickers                     doNextMoveStaged, doNextMoveQuiesc, doNextMoveProbCut
//   PV from the table           getPVFromHashTable
//   Interface without a caller  generateSimpleChecks, getBestMoveHist, listWriters
#pragma once

#include <vector>

#include "global.h"


// Making moves

/// The slow part of inCheckAfterMove: it looks for sliders that hit the king, and for all attackers
/// if the king moves.
bool isKingHitAfterMove(const moveStruct* move, const positionStruct* position);

/// Whether a generated move needs the slow test, for a position that is not in check; needs
/// notPinned. Most moves don't, and one bit says so: a piece that is not pinned opens no line. En
/// passant removes two pieces from a line at once, so it is always tested.
inline bool mayExposeKing(const plyStruct& here, const moveStruct* move,
                          const positionStruct* position)
{
    return !(here.notPinned >> move->from & 1) || move->kind == KINDENPASSANT ||
           isKing(position->board[move->from]);
}

/// Whether a generated move leaves the mover's king in check, for a position that is not in check;
/// needs notPinned.
inline bool inCheckAfterMove(int ply, const moveStruct* move, const positionStruct* position)
{
    return mayExposeKing(position->plies[ply], move, position) &&
           isKingHitAfterMove(move, position);
}

/// Whether a move can end one of `rights`: only a king's move and a move from or to a corner can.
inline bool mayEndRights(u8 rights, const moveStruct* move, const positionStruct* position)
{
    constexpr u64 corners = 1ULL << A1 | 1ULL << H1 | 1ULL << A8 | 1ULL << H8;
    return rights &&
           ((corners & (bit(move->from) | bit(move->to))) || isKing(position->board[move->from]));
}

/// What is left of makeMove once a move is known to be safe. The mover's colour is a template
/// argument, which makes piece codes and directions constants. `isPlain` says that the move's kind
/// is KINDPLAIN and that it can't end a castling right. It returns true, so that makeMove ends with
/// the call.
template <int us, bool isPlain>
[[gnu::noinline]] bool playMove(plyStruct& child, const moveStruct* move, positionStruct* position);

/// The same for unmakeMove. `isPlain` says that the move's kind is KINDPLAIN.
template <bool isPlain>
[[gnu::noinline]] void takeBack(const plyStruct& child, const moveStruct* move,
                                positionStruct* position);

/// makeMove for a move that needs the slow test. All calls in makeMove are its last steps, so that
/// it need not save registers.
[[gnu::noinline]] bool makeIfKingSafe(int ply, const moveStruct* move, positionStruct* position);

/// Plays a pseudo-legal move and fills the record of `ply`, which is the child's ply, from 1 on.
/// With `testLegal`, a move that leaves the mover's own king in check is refused: the result is
/// false and nothing has changed. This test needs notPinned of the parent; it is skipped if the
/// parent is in check, since evasions are legal. The caller sets inCheck of the child: often it
/// knows the answer already, or does not need it.
inline bool makeMove(int ply, const moveStruct* move, positionStruct* position, bool testLegal)
{
    plyStruct& child = position->plies[ply];
    const plyStruct& parent = (&child)[-1];
    if (testLegal && !parent.inCheck && mayExposeKing(parent, move, position))
        return makeIfKingSafe(ply, move, position);
    if (move->kind == KINDPLAIN && !mayEndRights(parent.castlingRights, move, position))
        return position->sideToMove == WHITE ? playMove<WHITE, true>(child, move, position)
                                             : playMove<BLACK, true>(child, move, position);
    return position->sideToMove == WHITE ? playMove<WHITE, false>(child, move, position)
                                         : playMove<BLACK, false>(child, move, position);
}

/// Takes back the move that makeMove played with the same arguments.
inline void unmakeMove(int ply, const moveStruct* move, positionStruct* position)
{
    if (move->kind == KINDPLAIN)
        takeBack<true>(position->plies[ply], move, position);
    else
        takeBack<false>(position->plies[ply], move, position);
}


// Legality
//
// Here `ply` is the ply of the position itself.

/// Whether a move from the transposition table, a killer or a counter move can be played here. Its
/// score byte must hold the moving piece's code. Any bytes are safe. With `pseudoOnly` the safety
/// of the mover's king is not tested.
bool isLegalMove(int ply, const moveStruct* move, const positionStruct* position, bool pseudoOnly);


// Generators
//
// Each writes its moves from `moves` upward and sets moveListEnd of `ply` and moveListStart of the
// next ply to one past its last move. Pieces are taken from the lowest square up, and so are the
// destinations of each. Moves are pseudo-legal, evasions legal. Up to eight slots after the last
// move may be overwritten.

/// Captures, also with promotion. In check it lists all evasions instead, and
/// pickerStage becomes stageEvasions. Computes notPinned. The first slot's score is 0 if there is
/// no move.
void generateMovesCaptures(int ply, moveStruct* moves, positionStruct* position);

/// The legal moves of a side in check; needs notPinned.
void generateMovesEvade(int ply, moveStruct* moves, positionStruct* position);

/// All moves that do not capture, among them castling and promotions; needs notPinned. Their score
/// bytes mean nothing.
void generateMovesQuiets(int ply, moveStruct* moves, positionStruct* position);

/// Captures and queen promotions; in check all evasions. Computes notPinned.
void generateMovesQuiescence(int ply, moveStruct* moves, positionStruct* position);

/// Captures on the square that the previous move reached. In check it lists all evasions instead,
/// and only then computes notPinned. `ply` is at least 1.
void generateMovesRecapture(int ply, moveStruct* moves, positionStruct* position);

/// All legal moves, captures first and with their scores, but not sorted. Computes inCheck and
/// notPinned. The first slot's score is 0 if there is no move.
void generateMovesLegal(int ply, moveStruct* moves, positionStruct* position);

/// The number of legal moves. The list's content is undefined afterwards. Computes inCheck and
/// notPinned.
u32 countMovesLegal(int ply, moveStruct* moves, positionStruct* position);


// Pickers
//
// A node asks its picker for one move at a time. The picker takes a cursor into the node's list. It
// returns true if it has made a move at ply + 1, which is then in the cursor's slot, and false if
// this slot yields none. After every call the caller moves the cursor on by one slot.
//
// The picker makes the move itself because makeMove is also the test of legality. It generates a
// class of moves only when it gets there: most nodes end before the quiet moves are listed.

/// pickerStage of doNextMoveStaged: the stage that its next call begins with. The picker raises it
/// before it returns, so when the search has a move, pickerStage may already name the next stage.
/// The names are for the main search; ProbCut uses the first three.
enum pickerStages : u8
{
    stageHashMove = 0,     // the hash move, in the first slot
    stageMakeCaptures = 1, // generates the captures, or the evasions
    stageGoodCaptures = 2, // best score first; bad ones, by SEE, are put aside
    stageFirstKiller = 3,  // follows the last good capture in the same call
    stageSecondKiller = 4,
    stageCounterMove = 5,
    stageOpenBadCaptures = 6, // bad captures follow in the same call
    stageBadCaptures = 7,     // in the order in which they were put aside
    stageMakeQuiets = 8,      // generates the quiet moves
    stageQuiets = 9,          // best history first
    stageEvasions = 99        // in check: all legal moves, best score first
};

/// The next move of a node of the main search. With `skipOrdering` quiet moves come in the order of
/// the list instead of by history.
bool doNextMoveStaged(int ply, moveStruct* cursor, positionStruct* position, bool skipOrdering);

/// The next move of a quiescence node. Its list is complete, and the cursor is before its end.
/// `depth` is 0 or less.
bool doNextMoveQuiesc(int ply, moveStruct* cursor, positionStruct* position, int depth);

/// The next capture or promotion that gains at least `threshold`, for a node that is not in check.
bool doNextMoveProbCut(int ply, moveStruct* cursor, positionStruct* position, i16 threshold);

/// Swaps the move of the highest score in [first, end) to `first`; of equal scores the first one.
/// The list is not empty.
void getBestMove(moveStruct* first, const moveStruct* end);


// PV from the table

/// Follows the exact entries of the transposition table from the position on and writes their
/// moves, at most `depth`, into the bestMove fields from plies[ply] on. pvLength becomes the index
/// of the last one. If there is no such entry nothing changes. The position is restored.
void getPVFromHashTable(int ply, positionStruct* position, int depth);


// Interface without a caller
//
// Two ways to list moves that the search does not use, and the list writers for the test that
// compares them.

/// Quiet moves that give direct check; needs notPinned. The first slot's score becomes 255.
void generateSimpleChecks(int ply, moveStruct* moves, positionStruct* position);

/// Like getBestMove, by history ratio.
void getBestMoveHist(moveStruct* first, const moveStruct* end, const positionStruct* position);

/// The three functions of a list writer; move.cpp describes them. Each appends the moves to
/// `targets` and returns the end of the list. Up to eight slots after the end may be overwritten.
struct listWriter
{
    /// Targets on the ranks from `low` to `high`.
    moveStruct* (*appendPawnMoves)(moveStruct* moves, u64 targets, u32 base, int low, int high);
    /// Targets that a piece of the type `type`, KNIGHT to KING, has on an empty board.
    moveStruct* (*appendPieceMoves)(moveStruct* moves, u64 targets, int from, int type);
    /// At most 32 targets.
    moveStruct* (*appendCaptures)(moveStruct* moves, u64 targets, u32 step, u32 base,
                                  const positionStruct* position);
};

/// The writers of this build: the plain one first, the one that the generators call last.
std::vector<listWriter> listWriters();
