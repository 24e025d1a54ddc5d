// SPDX-License-Identifier: MIT
//
// Text and time: board pictures, move and square notation, the principal variation's text, the
// clock, and the one way in which a line leaves the program.
//
//   Output                writeText, writeLine
//   Clock                 now
//   Notation              squareToLA, LAToSquare, moveToLA, PVToString
//   Pictures              boardToString, bitboardToStringL, showBitboardsL, printTableInFormatX
//   Counting bits         softwarePopcount
#pragma once

#include <string>
#include <string_view>

#include "global.h"


// Output

/// Hands a text to standard output in one piece and flushes it, so that texts of two threads never
/// mix.
void writeText(std::string_view text);

/// writeText with a line feed behind.
void writeLine(std::string_view line);


// Clock

/// The monotonic clock in milliseconds, truncated.
i64 now();


// Notation

/// A square's two characters, such as "e4".
std::string squareToLA(u8 square);

/// The square of a text's first two characters, file letter and rank digit, in 8-bit arithmetic;
/// other characters give whatever comes out, up to 255. A text shorter than two characters gives
/// 255.
u8 LAToSquare(std::string_view text);

/// A move's text in long algebraic notation. `side` is the colour that moves; only en passant
/// needs it. The empty move is "a1a1".
std::string moveToLA(const moveStruct* move, u8 side);

/// The line laid out in the bestMove fields, pvLength + 1 moves, each with a blank behind it.
std::string PVToString(const positionStruct* position);

/// The current moves of plies 0 to n, white's first, each with a blank behind it. For debugging.
std::string currentMovesToString(u8 n, const positionStruct* position);

/// A move's squares and the number of its kind, behind indent + 1 tabs when `indent` is 0 or more.
/// For debugging.
std::string moveToString(const moveStruct* move, int indent);


// Pictures

/// The board with rank 8 at the top: 17 lines, each with a line feed. A code that is no man's is
/// shown as '?'.
std::string boardToString(const positionStruct* position);

// The rest is for a debugger: nothing in the engine calls it. Rank 8 is at the top, file a at the
// left.

/// A bitboard as a grid like the board's, with '*' for a set bit.
std::string bitboardToStringL(u64 bitboard);

/// A bitboard as eight rows of "1 " and ". ".
std::string bitboardToStringS(u64 bitboard);

/// Writes the bitboards of all piece codes by bitboardToStringL, or by bitboardToStringS.
void showBitboardsL(const positionStruct* position);
void showBitboardsS(const positionStruct* position);

/// Writes 64 piece codes as numbers, and an empty line behind them.
void printBoard(const u8* board);

/// Writes two tables of 64 mid-game and end-game scores as one, in rows of X(mg,eg).
void printTableInFormatX(const i16* first, const i16* second);


// Counting bits

/// Number of set bits, by sums of ever wider fields of the word; what popcount is checked against.
u64 softwarePopcount(u64 bitboard);
