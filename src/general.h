// SPDX-License-Identifier: MIT
//
// Text and time: the output of lines, the clock, the notation of moves and squares, the text of
// the principal variation (PV), and the picture of the board. All output of the program goes
// through writeText.
//
//   Output                      writeText, writeLine
//   Clock                       now
//   Notation                    squareToLA, LAToSquare, moveToLA, PVToString
//   Board picture               boardToString
//   Interface without a caller  currentMovesToString, bitboardToStringL, printBoard,
//                               softwarePopcount
#pragma once

#include <string>
#include <string_view>

#include "global.h"


// Output

/// Writes a text to standard output in one piece, so that the texts of two threads never mix, and
/// flushes it, so that a graphical interface at the other end of the pipe sees it at once.
void writeText(std::string_view text);

/// writeText with a line feed at the end.
void writeLine(std::string_view line);


// Clock

/// The monotonic clock in milliseconds, truncated. It doesn't jump when someone sets the time of
/// day, and its zero means nothing: only differences do.
i64 now();


// Notation

/// A square's two characters, such as "e4".
std::string squareToLA(u8 square);

/// The square that the first two characters of a text name: file letter, then rank digit. The
/// arithmetic is 8-bit and unchecked, so other characters give any number up to 255. A text shorter
/// than two characters gives 255.
u8 LAToSquare(std::string_view text);

/// A move's text in long algebraic notation. `side` is the colour that moves; only en passant
/// needs it. The empty move is "a1a1".
std::string moveToLA(const moveStruct* move, u8 side);

/// The principal variation in the bestMove fields: pvLength + 1 moves, each followed by a space.
std::string PVToString(const positionStruct* position);


// Board picture

/// The board with rank 8 at the top: 17 lines, each with a line feed. A code that names no piece is
/// shown as '?'.
std::string boardToString(const positionStruct* position);


// Interface without a caller
//
// Dumps for a debugger and the check of popcount: nothing in the engine calls them. Boards have
// rank 8 at the top and file a at the left.

/// The current moves of plies 0 to n, white's first, each followed by a space.
std::string currentMovesToString(u8 n, const positionStruct* position);

/// A move's squares and the number of its kind, after indent + 1 tabs when `indent` is 0 or more.
std::string moveToString(const moveStruct* move, int indent);

/// A bitboard as a grid like the board's, with '*' for a set bit.
std::string bitboardToStringL(u64 bitboard);

/// A bitboard as eight rows of "1 " and ". ".
std::string bitboardToStringS(u64 bitboard);

/// Writes the bitboards of all piece codes by bitboardToStringL, or by bitboardToStringS.
void showBitboardsL(const positionStruct* position);
void showBitboardsS(const positionStruct* position);

/// Writes 64 piece codes as numbers, followed by an empty line.
void printBoard(const u8* board);

/// Writes two tables of 64 mid-game and end-game scores as one, in rows of X(mg,eg).
void printTableInFormatX(const i16* first, const i16* second);

/// Number of set bits, by sums of ever wider fields of the word; what popcount is checked against.
u64 softwarePopcount(u64 bitboard);
