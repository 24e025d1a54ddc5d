// SPDX-License-Identifier: MIT
//
// Perft: counts the leaves of the legal move tree. Compared with known counts, it checks the
// generators, the legality tests, make and unmake together. It visits every node and uses no table.
//
//   Counters                     perft, perftRev, perftGenerateMovesLegal
//   Commands                     checkMoveGenWithPerft, testFenPosition
//   Interface without a caller   perftMt
#pragma once

#include <string>

#include "global.h"


// Counters

/// The number of leaves `depth` plies below a playable position at `ply`, whose moveListStart is
/// set; 1 if the depth is 0 or less. The moves of the last ply are counted without being made.
u64 perft(u8 ply, i32 depth, positionStruct* position);

/// The same count with the moves of each list taken in reverse order.
u64 perftRev(u8 ply, i32 depth, positionStruct* position);

/// Writes the legal moves of the position to the list that starts at `moves`.
void perftGenerateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position);

/// The number of legal moves. Overwrites the list that starts at `moves`, with no useful content.
u32 perftGenerateMovesLegalCount(u8 ply, moveStruct* moves, positionStruct* position);


// Commands

/// Counts the positions of `perft.txt`, up to the line "extended" for level 1 and "full" for level
/// 2. Writes a line for each position and the overall result, and leaves the table at 128 MB.
/// Returns whether all counts matched. The file is perftFilename; if that is missing, `perft.txt`
/// in the folder of the program, in `../share/quillon` or `../share/games/quillon` relative to that
/// folder, or in the current folder. Without a file, writes a message and returns false. A
/// malformed line throws the exception of std::stoi.
bool checkMoveGenWithPerft(i32 level);

/// Counts one position, given as a FEN or "current"; writes the board, the count and the speed.
/// Leaves the table at `hashSizeMB`. `threads` is not used. An unplayable position counts 0.
void testFenPosition(i32 depth, std::string fen, i32 hashSizeMB, u32 threads);


// Interface without a caller

/// perft with `threads` threads, for ply 0; another ply, or a depth below 3, is left to perft. The
/// jobs are the pairs of a first move and a reply, in a list of two moves each; the size of the
/// list is written before and after it is filled. No more threads start than the list has moves,
/// none for an empty list. With 0 threads the count is 0. Throws std::system_error if a thread
/// can't be started.
u64 perftMt(u8 ply, i32 depth, positionStruct* position, u32 threads);
