// SPDX-License-Identifier: MIT
//
// Lines and leaps over the board, found from files and ranks.
#include "geometry.h"

#include <array>
#include <cstdlib>

namespace oracle
{

namespace
{

constexpr std::array<int, directions> fileStep{0, 0, 1, -1, 1, -1, 1, -1};
constexpr std::array<int, directions> rankStep{1, -1, 0, 0, 1, 1, -1, -1};

int squareAt(int file, int rank)
{
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return offBoard;
    return rank * 8 + file;
}

struct Geometry
{
    std::array<std::array<int, directions>, 64> next{};
    std::array<Set, 64> knightSet{};
    std::array<Set, 64> kingSet{};

    Geometry()
    {
        for (int from = 0; from < 64; ++from)
        {
            const auto f = static_cast<std::size_t>(from);
            for (std::size_t d = 0; d < directions; ++d)
                next[f][d] = squareAt(fileOf(from) + fileStep[d], rankOf(from) + rankStep[d]);
            for (int to = 0; to < 64; ++to)
            {
                const int files = std::abs(fileOf(from) - fileOf(to));
                const int ranks = std::abs(rankOf(from) - rankOf(to));
                if (files * ranks == 2) knightSet[f] |= setOf(to);
                if (from != to && files <= 1 && ranks <= 1) kingSet[f] |= setOf(to);
            }
        }
    }
};

const Geometry geometry;

Set walk(int square, Set occupied, int firstDirection)
{
    Set reached = 0;
    for (int direction = firstDirection; direction < firstDirection + 4; ++direction)
    {
        for (int s = neighbour(square, direction); s != offBoard; s = neighbour(s, direction))
        {
            reached |= setOf(s);
            if (has(occupied, s)) break;
        }
    }
    return reached;
}

} // namespace

int lowest(Set set)
{
    int square = 0;
    while (square < 64 && !has(set, square)) ++square;
    return square;
}

int count(Set set)
{
    int n = 0;
    for (; set != 0; set &= set - 1) ++n;
    return n;
}

int neighbour(int square, int direction)
{
    return geometry.next[static_cast<std::size_t>(square)][static_cast<std::size_t>(direction)];
}

Set straightReach(int square, Set occupied)
{
    return walk(square, occupied, 0);
}

Set diagonalReach(int square, Set occupied)
{
    return walk(square, occupied, firstDiagonal);
}

Set sliderReach(Byte piece, int square, Set occupied)
{
    Set reached = 0;
    if (slides(piece, 0)) reached |= straightReach(square, occupied);
    if (slides(piece, firstDiagonal)) reached |= diagonalReach(square, occupied);
    return reached;
}

Set knightReach(int square)
{
    return geometry.knightSet[static_cast<std::size_t>(square)];
}

Set kingReach(int square)
{
    return geometry.kingSet[static_cast<std::size_t>(square)];
}

Set pawnSources(int colour, int square)
{
    const int rank = rankOf(square) + (colour == 0 ? -1 : 1);
    Set sources = 0;
    for (const int file : {fileOf(square) - 1, fileOf(square) + 1})
    {
        const int source = squareAt(file, rank);
        if (source != offBoard) sources |= setOf(source);
    }
    return sources;
}

Set besidePawn(int square)
{
    if (square > 63 || (rankOf(square) != 3 && rankOf(square) != 4)) return 0;
    Set beside = 0;
    if (fileOf(square) > 0) beside |= setOf(square - 1);
    if (fileOf(square) < 7) beside |= setOf(square + 1);
    return beside;
}

Set between(int a, int b)
{
    for (int direction = 0; direction < directions; ++direction)
    {
        Set passed = 0;
        for (int s = neighbour(a, direction); s != offBoard; s = neighbour(s, direction))
        {
            if (s == b) return passed;
            passed |= setOf(s);
        }
    }
    return 0;
}

bool slides(Byte piece, int direction)
{
    const int white = piece & ~1;
    if (white == queen) return true;
    return direction < firstDiagonal ? white == rook : white == bishop;
}

} // namespace oracle
