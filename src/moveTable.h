// SPDX-License-Identifier: MIT
//
// Attack tables: what every piece attacks from every square, the lines between squares, and the
// areas around pawns and kings that the evaluation needs. They are built once, at start-up; from
// then on all threads only read them. Squares are a1 = 0 to h8 = 63, bit n of a bitboard is square
// n, and "forward" is +8 for white and -8 for black.
//
//   Tables                      knightAttackTable ... kingSafetyArea
//   Start-up                    initBitboardConstants, searchMagics, initInBetweenSquares
//   Lookups                     getRookAttackTable, getBishopAttackTable, isSquareAttacked
//   Geometry                    getDistanceSquares, onBoard, northFill, southFill
//   Slow counterparts           createRookAttackFromVar, createBishopAttackFromVar
//   Interface without a caller  generateMagicNumber
#pragma once

#include "global.h"

// Zen 1 and 2 have the instruction that extracts bits, but need twenty cycles or more for it, so on
// these two the multiplication is faster.
#if defined(__BMI2__) && !defined(__znver1__) && !defined(__znver2__)
#define QUILLON_PEXT
#include <immintrin.h>
#endif


// Tables. A [2] dimension is a colour. A lookup in a table of a few kilobytes, which stays in the
// first cache, is cheaper than the shifts and masks that would give the same set.

/// A slider's lookup record for one square. The pieces that can block the slider are reduced to an
/// index, and the slice holds the attacks for each index.
struct magicStruct
{
    u64* attacks; // this square's slice of the attack table
    u64 mask;     // relevant occupancy: the rays without their last squares
    u64 magic;    // multiplier, found at start-up
    i32 shift;    // 64 minus the number of bits in mask
};

/// What a lookup needs if the processor can extract the bits of a mask, which takes two loads and
/// an instruction fewer than the multiplication: `attacks` and `mask` of all squares, apart from
/// each other, so that the square is the index of a word and not of a record of four.
struct sliderColumns
{
    u64* attacks[64];
    u64 masks[64];
};

/// files[f]: file a (0) to h (7).
constexpr u64 files[8] = {0x0101010101010101, 0x0202020202020202, 0x0404040404040404,
                          0x0808080808080808, 0x1010101010101010, 0x2020202020202020,
                          0x4040404040404040, 0x8080808080808080};

extern u64 knightAttackTable[64];
extern u64 kingAttackTable[64];
extern u64 pawnAttackTable[2][64]; // [c][s]: from where a pawn of colour c attacks s
extern u64 enpassantTable[64];     // from where a pawn on s, just double-pushed, can be captured
extern u64 rookAttackAll[64];      // on an empty board
extern u64 bishopAttackAll[64];    // on an empty board
extern magicStruct rookAttackLUT[64];
extern magicStruct bishopAttackLUT[64];
extern sliderColumns rookColumns; // only lookups that extract bits need them
extern sliderColumns bishopColumns;
extern u64 rookAttackTable[102400]; // the slices of all squares, one after the other
extern u64 bishopAttackTable[5248];
extern u64 inBetweenSquares[64][64]; // between two squares of a line, without them; else empty
extern u64 inLineSquares[64][64];    // the whole line through both, edge to edge; else empty
extern u8 distance[64][64];          // king moves from one to the other on an empty board
extern u64 ranksAtOrAbove[2][64];    // the rank of s and all ranks ahead of it
extern u64 isolatedPawns[64];        // the neighbour files of s
extern u64 passedPawnsMask[2][64];   // ahead of s on its own and the neighbour files
extern u64 kingSafetyArea[2][64];    // three files by four ranks around a king on s


// Start-up

/// Builds all tables. Before that it points GPSData's move lists at GMS and fills the table of late
/// move reductions. It may be called again while no search is running. The magic multipliers are
/// searched for again each time; nothing depends on their values.
void initBitboardConstants();

/// Builds inBetweenSquares, inLineSquares and distance; needs the slider lookups.
void initInBetweenSquares();

/// Finds a multiplier for each square and slider, fills both tables with them, and returns how many
/// candidates it has rejected. With `seeded` the random generator gets a stored seed at each rank,
/// with which the search is short. Otherwise the generator continues where it is, which rejects ten
/// times as many candidates. Needs rookAttackAll and bishopAttackAll.
i32 searchMagics(bool seeded);


// Lookups

/// The attacks in a square's record for the blockers in `occupancy`.
inline u64 attacksByMagic(const magicStruct& entry, u64 occupancy)
{
    return entry.attacks[((occupancy & entry.mask) * entry.magic) >> entry.shift];
}

/// The squares that a rook on `square` attacks when the squares of `occupancy` are occupied. Each
/// ray includes its first blocker, of either colour: the caller removes its own pieces. It makes no
/// difference whether `occupancy` contains `square`.
inline u64 getRookAttackTable(i32 square, u64 occupancy)
{
#ifdef QUILLON_PEXT
    return rookColumns.attacks[square][_pext_u64(occupancy, rookColumns.masks[square])];
#else
    return attacksByMagic(rookAttackLUT[square], occupancy);
#endif
}

/// The same for a bishop. A queen's attacks are the union of both.
inline u64 getBishopAttackTable(i32 square, u64 occupancy)
{
#ifdef QUILLON_PEXT
    return bishopColumns.attacks[square][_pext_u64(occupancy, bishopColumns.masks[square])];
#else
    return attacksByMagic(bishopAttackLUT[square], occupancy);
#endif
}

/// All pieces, white and black.
inline u64 allPieces(const positionStruct* position)
{
    return position->pieceBB[WHITE] | position->pieceBB[BLACK];
}

/// The pieces of one colour that move like a bishop, or like a rook. Queens are in both sets.
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

/// Whether a piece of the colour `attacker` attacks `square` when sliders are blocked by
/// `occupancy`. The attackers come from the bitboards; `occupancy` may differ from these, for
/// example by a move that is not made yet. The test looks from the square outwards: a bishop
/// attacks the square if a bishop on the square would attack it.
[[gnu::always_inline]] inline bool isSquareAttackedThrough(u8 square, u8 attacker, u64 occupancy,
                                                           const positionStruct* position)
{
    if (getBishopAttackTable(square, occupancy) & bishopsAndQueens(attacker, position)) return true;
    if (getRookAttackTable(square, occupancy) & rooksAndQueens(attacker, position)) return true;
    return ((pawnAttackTable[attacker][square] & position->pieceBB[PAWN + attacker]) |
            (knightAttackTable[square] & position->pieceBB[KNIGHT + attacker]) |
            (kingAttackTable[square] & position->pieceBB[KING + attacker])) != 0;
}

/// Whether the colour `attacker` attacks `square` (0 to 63). It is always inlined: calling it took
/// a third of its time.
[[gnu::always_inline]] inline bool isSquareAttacked(u8 square, u8 attacker,
                                                    const positionStruct* position)
{
    return isSquareAttackedThrough(square, attacker, allPieces(position), position);
}


// Geometry

/// Chebyshev distance between two squares: the larger of the file and the rank difference, 0 to 7.
i32 getDistanceSquares(u8 a, u8 b);

/// Whether a square number lies on the board.
bool onBoard(i32 square);

/// Fills every file from each set bit towards rank 8, the start included (Kogge-Stone). Each step
/// doubles the length, so three steps cover eight ranks.
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

/// What getRookAttackTable returns, found by walking the four rays. It fills the tables.
u64 createRookAttackFromVar(u8 square, u64 occupancy);

/// What getBishopAttackTable returns, found by walking the four rays.
u64 createBishopAttackFromVar(u8 square, u64 occupancy);


// Interface without a caller

/// A word with exactly `bits` distinct random bits set, 0 to 64; zero when `bits` is below 1.
u64 generateMagicNumber(i32 bits);
