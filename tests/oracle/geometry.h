// SPDX-License-Identifier: MIT
//
// Squares, pieces and lines of the reference model. Lines are walked one square at a time; there is
// no lookup by occupancy here, so that an error in the engine's tables can't repeat itself.
#ifndef QUILLON_ORACLE_GEOMETRY_H
#define QUILLON_ORACLE_GEOMETRY_H

#include <cstdint>

namespace oracle
{

using Byte = std::uint8_t;
using Score = std::int16_t;

// A set of squares, bit n for square n, a1 = 0 and h8 = 63.
using Set = std::uint64_t;

// Pieces of the side to move are the white code + colour.
enum Piece : Byte
{
    none = 0,
    pawn = 2,
    knight = 4,
    bishop = 6,
    rook = 8,
    queen = 10,
    king = 12
};

// What sort of move a move is. Promotions use the white code of the new piece, 4 to 10.
enum Kind : Byte
{
    plain = 0,
    enPassant = 12, // `to` is the square of the captured pawn
    doublePush = 13,
    castleKingSide = 14,
    castleQueenSide = 15
};

constexpr int offBoard = -1;

// The four straight directions come first, then the four diagonal ones.
constexpr int directions = 8;
constexpr int firstDiagonal = 4;

constexpr int fileOf(int square)
{
    return square & 7;
}
constexpr int rankOf(int square)
{
    return square >> 3;
}
constexpr Set setOf(int square)
{
    return Set{1} << square;
}
constexpr bool has(Set set, int square)
{
    return ((set >> square) & 1) != 0;
}
constexpr int forward(int colour)
{
    return colour == 0 ? 8 : -8;
}
constexpr Byte pieceOf(Byte whiteCode, int colour)
{
    return static_cast<Byte>(whiteCode + colour);
}
constexpr bool isOf(Byte piece, int colour)
{
    return piece >= 2 && (piece & 1) == colour;
}

// The lowest square of a set, 64 of an empty one.
int lowest(Set set);
int count(Set set);

// Visits the squares of a set in ascending order.
template <typename Function> void forEach(Set set, Function visit)
{
    for (int s = 0; s < 64; ++s)
        if (has(set, s)) visit(s);
}

// The next square in a direction, or offBoard.
int neighbour(int square, int direction);

// Squares that a slider reaches, the first piece on each ray included.
Set straightReach(int square, Set occupied);
Set diagonalReach(int square, Set occupied);
Set sliderReach(Byte piece, int square, Set occupied);

Set knightReach(int square);
Set kingReach(int square);

// The squares from which a pawn of that colour attacks the square.
Set pawnSources(int colour, int square);

// The squares beside a pawn that has pushed two squares, empty off the fourth and fifth ranks.
Set besidePawn(int square);

// The squares strictly between two squares on a line; none if there is no line.
Set between(int a, int b);

// Whether a piece of this code slides in this direction.
bool slides(Byte piece, int direction);

} // namespace oracle

#endif
