// SPDX-License-Identifier: MIT
//
// Perft: counting the leaves of the legal move tree, which checks generators, legality, make and
// unmake together against known counts. Every node is visited; there is no table.
//
//   Counters                      perft, perftRev, perftGenerateMovesLegal
//   Counting on several threads   perftMt
//   Commands                      checkMoveGenWithPerft, testFenPosition
#pragma once

#include <string>

#include "global.h"


// Counters

/// The leaves `depth` plies below a playable position at `ply`, whose moveListStart is set; 1 for
/// a depth of 0 or less. The last ply is counted without making its moves.
u64 perft(u8 ply, i32 depth, positionStruct* position);

/// The same count with the moves taken in reverse order.
u64 perftRev(u8 ply, i32 depth, positionStruct* position);

/// Fills the list from `moves` with the legal moves of a position.
void perftGenerateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position);

/// The number of legal moves; the list from `moves` is left in no useful state.
u32 perftGenerateMovesLegalCount(u8 ply, moveStruct* moves, positionStruct* position);


// Counting on several threads

/// perft on `threads` threads of their own, 1 or more, at ply 0; none of them starts without a
/// job, and 0 threads count nothing. A job is a pair of a first and a second move. Writes the
/// number of moves in the list of jobs, two for each, while it is empty and when it is full.
/// Another ply, or a depth below 3, is counted by perft. std::system_error when a thread can't be
/// started.
u64 perftMt(u8 ply, i32 depth, positionStruct* position, u32 threads);


// Commands

/// Counts the positions of `perft.txt`, up to the line "extended" for level 1 and "full" for level
/// 2, writes a line for each and the result, and leaves the table at 128 MB. Returns whether all
/// counts matched; false when the file can't be read. A malformed line throws what std::stoi does.
bool checkMoveGenWithPerft(i32 level);

/// Counts one position, a FEN or "current", and writes board, count and speed. Leaves the table at
/// `hashSizeMB`. `threads` is not used. A position that can't be played on counts 0.
void testFenPosition(i32 depth, std::string fen, i32 hashSizeMB, u32 threads);
