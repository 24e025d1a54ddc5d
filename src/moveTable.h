// SPDX-License-Identifier: MIT
//
// Attack tables: where every man attacks from every square, the lines between squares, and the
// areas around pawns and kings that the evaluation asks for. Built once at start-up, read by all
// threads. Squares are a1 = 0 to h8 = 63, bit n of a bitboard is square n, "forward" is +8 for
// white and -8 for black.
//
//   Tables                knightAttackTable ... kingSafetyArea
//   Start-up              initBitboardConstants, searchMagics, initInBetweenSquares
//   Lookups               getRookAttackTable, getBishopAttackTable, isSquareAttacked
//   Geometry              getDistanceSquares, onBoard, northFill, southFill
//   Slow counterparts     createRookAttackFromVar, createBishopAttackFromVar
#pragma once

#include "global.h"

// Zen 1 and 2 take twenty cycles and more for an extraction of bits.
#if defined(__BMI2__) && !defined(__znver1__) && !defined(__znver2__)
#define QUILLON_PEXT
#include <immintrin.h>
#endif


// Tables. A [2] dimension is a colour.

/// A slider's lookup record for one square.
struct magicStruct
{
    u64* attacks; // this square's slice of the attack table
    u64 mask;     // relevant occupancy: the rays without their last squares
    u64 magic;    // multiplier, found at start-up
    i32 shift;    // 64 minus the number of bits in mask
};

/// files[f]: file a (0) to h (7).
constexpr u64 files[8] = {0x0101010101010101, 0x0202020202020202, 0x0404040404040404,
                          0x0808080808080808, 0x1010101010101010, 0x2020202020202020,
                          0x4040404040404040, 0x8080808080808080};

extern u64 knightAttackTable[64];
extern u64 kingAttackTable[64];
extern u64 pawnAttackTable[2][64]; // [c][s]: from where a pawn of colour c attacks s
extern u64 enpassantTable[64];     // neighbours on the rank, for ranks 4 and 5; else none
extern u64 rookAttackAll[64];      // on an empty board
extern u64 bishopAttackAll[64];    // on an empty board
extern magicStruct rookAttackLUT[64];
extern magicStruct bishopAttackLUT[64];
extern u64 rookAttackTable[102400]; // slices of all squares, one behind the other
extern u64 bishopAttackTable[5248];
extern u64 inBetweenSquares[64][64]; // strictly between two squares of a line, else empty
extern u64 inLineSquares[64][64];    // the whole line through both, edge to edge, else empty
extern u8 distance[64][64];          // king moves from one to the other on an empty board
extern u64 ranksAtOrAbove[2][64];    // the rank of s and all ahead of it
extern u64 isolatedPawns[64];        // the neighbour files of s
extern u64 passedPawnsMask[2][64];   // ahead of s on its own and the neighbour files
extern u64 kingSafetyArea[2][64];    // three files by four ranks around a king on s


// Start-up

/// Builds all tables, and before them points GPSData's move lists at GMS and fills the table of
/// late move reductions. May run again while nothing searches. The magic multipliers are
/// searched for anew each time; nothing depends on their values.
void initBitboardConstants();

/// Builds inBetweenSquares, inLineSquares and distance; needs the slider lookups.
void initInBetweenSquares();

/// Finds a multiplier for each square and slider, fills both tables by them, and returns how many
/// candidates it has rejected. `seeded` starts the generator anew at each rank, where the search is
/// short; else it runs on from where it is, which rejects ten times as many. Needs rookAttackAll
/// and bishopAttackAll.
i32 searchMagics(bool seeded);

/// A word with exactly `bits` distinct random bits set, 0 to 64; zero when `bits` is below 1.
u64 generateMagicNumber(i32 bits);


// Lookups

/// Where in a square's slice the attacks under `occupancy` stand. Extracting the relevant bits
/// takes one instruction where the processor has it, and two loads less than the multiplier.
inline u64 slotOf(u64 occupancy, const magicStruct& entry)
{
#ifdef QUILLON_PEXT
    return _pext_u64(occupancy, entry.mask);
#else
    return ((occupancy & entry.mask) * entry.magic) >> entry.shift;
#endif
}

/// The squares that a rook on `square` attacks under `occupancy`, the first blocker of each ray
/// included, whoever it is. Whether `occupancy` holds the square itself makes no difference.
inline u64 getRookAttackTable(i32 square, u64 occupancy)
{
    const magicStruct& entry = rookAttackLUT[square];
    return entry.attacks[slotOf(occupancy, entry)];
}

/// The same for a bishop. A queen's attacks are the union of both.
inline u64 getBishopAttackTable(i32 square, u64 occupancy)
{
    const magicStruct& entry = bishopAttackLUT[square];
    return entry.attacks[slotOf(occupancy, entry)];
}

/// All men, white and black.
inline u64 allPieces(const positionStruct* position)
{
    return position->pieceBB[WHITE] | position->pieceBB[BLACK];
}

/// Men of one colour that move like a bishop, or like a rook; queens do both.
inline u64 bishopsAndQueens(int colour, const positionStruct* position)
{
    return position->pieceBB[BISHOP + colour] | position->pieceBB[QUEEN + colour];
}

inline u64 rooksAndQueens(int colour, const positionStruct* position)
{
    return position->pieceBB[ROOK + colour] | position->pieceBB[QUEEN + colour];
}

/// The square of a colour's king: the lowest set bit of its board, 64 when there is none.
inline u8 kingSquareOf(int colour, const positionStruct* position)
{
    return lowestSquare(position->pieceBB[KING + colour]);
}

/// Whether `attacker`'s men, as they stand in the bitboards, attack `square` when the sliders'
/// rays are blocked by `occupancy`.
inline bool isSquareAttackedThrough(u8 square, u8 attacker, u64 occupancy,
                                    const positionStruct* position)
{
    if (getBishopAttackTable(square, occupancy) & bishopsAndQueens(attacker, position)) return true;
    if (getRookAttackTable(square, occupancy) & rooksAndQueens(attacker, position)) return true;
    return ((pawnAttackTable[attacker][square] & position->pieceBB[PAWN + attacker]) |
            (knightAttackTable[square] & position->pieceBB[KNIGHT + attacker]) |
            (kingAttackTable[square] & position->pieceBB[KING + attacker])) != 0;
}

/// Whether the colour `attacker` attacks `square` (0 to 63).
inline bool isSquareAttacked(u8 square, u8 attacker, const positionStruct* position)
{
    return isSquareAttackedThrough(square, attacker, allPieces(position), position);
}


// Geometry

/// Chebyshev distance of two squares: the larger of the file and the rank difference, 0 to 7.
i32 getDistanceSquares(i32 a, i32 b);

/// Whether a square number lies on the board.
bool onBoard(i32 square);

/// Fills every file from each set bit towards rank 8, the start included (Kogge-Stone).
constexpr u64 northFill(u64 bitboard)
{
    bitboard |= bitboard << 8;
    bitboard |= bitboard << 16;
    return bitboard | bitboard << 32;
}

/// The same towards rank 1.
constexpr u64 southFill(u64 bitboard)
{
    bitboard |= bitboard >> 8;
    bitboard |= bitboard >> 16;
    return bitboard | bitboard >> 32;
}


// Slow counterparts

/// What getRookAttackTable returns, found by walking the four rays; fills the tables.
u64 createRookAttackFromVar(i32 square, u64 occupancy);

/// What getBishopAttackTable returns, found by walking the four rays.
u64 createBishopAttackFromVar(i32 square, u64 occupancy);
