// SPDX-License-Identifier: MIT
//
// Perft: counts the leaves of the legal move tree. Compared with known counts, it checks the
// generators, the legality tests, make and unmake together: a single move too many or too few
// anywhere in the tree changes the count. It uses no table, which could hide such an error.
//
//   Counters                     perft, perftGenerateMovesLegal
//   Commands                     checkMoveGenWithPerft, testFenPosition
//   Interface without a caller   perftRev, perftMt
#pragma once

#include <string>

#include "global.h"


// Counters

/// The number of leaves `depth` plies below a playable position at `ply`, whose moveListStart is
/// set; 1 if the depth is 0 or less. The moves of the last ply are counted without being made: most
/// of the nodes are there.
u64 perft(u8 ply, i32 depth, positionStruct* position);

/// Writes the legal moves of the position to the list that starts at `moves`.
void perftGenerateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position);

/// The number of legal moves. The content of the list that starts at `moves` is undefined
/// afterwards.
u32 perftGenerateMovesLegalCount(u8 ply, moveStruct* moves, positionStruct* position);


// Commands

/// Counts the positions of `perft.txt`, up to the line "extended" for level 1 and "full" for level
/// 2. Writes a line for each position and the overall result, and leaves the table at 128 MB.
/// Returns whether all counts matched. The file is perftFilename; if that is missing, `perft.txt`
/// in the folder of the program, in `../share/quillon` or `../share/games/quillon` relative to that
/// folder, or in the current folder. Without a file, writes a message and returns false. A
/// malformed line throws the exception of std::stoi. No search may be running.
bool checkMoveGenWithPerft(i32 level);

/// Counts one position, given as a FEN or "current"; writes the board, the count and the speed.
/// Leaves the table at `hashSizeMB`. `threads` is not used. An unplayable position counts 0. No
/// search may be running.
void testFenPosition(i32 depth, std::string fen, i32 hashSizeMB, u32 threads);


// Interface without a caller

/// The count of perft with the moves of each list taken in reverse order. A different result would
/// show that unmakeMove does not restore everything.
u64 perftRev(u8 ply, i32 depth, positionStruct* position);

/// perft with `threads` threads, for ply 0; another ply, or a depth below 3, is left to perft. Each
/// job is a pair of a first move and a reply, and all jobs are in one list of moves, two for each
/// job. The size of the list is written before and after it is filled. No more threads start than
/// the list has moves, so an empty list starts none. With 0 threads the count is 0. Throws
/// std::system_error if a thread can't be started.
u64 perftMt(u8 ply, i32 depth, positionStruct* position, u32 threads);
