// SPDX-License-Identifier: MIT
//
// Lines and leaps, found from files and ranks, and the pieces that attack along them.
#include "model.h"

#include <algorithm>
#include <cstdlib>

namespace oracle
{

namespace
{

constexpr int offBoard = -1;

// The four straight directions come first, then the four diagonal ones.
constexpr int directions = 8;
constexpr int fileStep[directions] = {0, 0, 1, -1, 1, -1, 1, -1};
constexpr int rankStep[directions] = {1, -1, 0, 0, 1, 1, -1, -1};

struct Geometry
{
    int neighbour[64][directions];
    Set knights[64] = {};
    Set kings[64] = {};
    Set pawns[2][64] = {};

    Geometry()
    {
        for (auto& row : neighbour) std::fill_n(row, directions, offBoard);
        for (int from = 0; from < 64; ++from)
            for (int to = 0; to < 64; ++to)
            {
                const int files = fileOf(to) - fileOf(from);
                const int ranks = rankOf(to) - rankOf(from);
                if (std::abs(files * ranks) == 2) knights[from] |= setOf(to);
                if (std::abs(files) == 1 && ranks == 1) pawns[0][from] |= setOf(to);
                if (std::abs(files) == 1 && ranks == -1) pawns[1][from] |= setOf(to);
                for (int d = 0; d < directions; ++d)
                    if (files == fileStep[d] && ranks == rankStep[d])
                    {
                        neighbour[from][d] = to;
                        kings[from] |= setOf(to);
                    }
            }
    }
};

const Geometry geometry;

Set walk(int square, int direction, Set occupied)
{
    Set passed = 0;
    for (int s = geometry.neighbour[square][direction]; s != offBoard;
         s = geometry.neighbour[s][direction])
    {
        passed |= setOf(s);
        if (has(occupied, s)) break;
    }
    return passed;
}

bool slides(int piece, int direction)
{
    return typeOf(piece) == queen || typeOf(piece) == (direction < 4 ? rook : bishop);
}

} // namespace

Set reach(int piece, int square, Set occupied)
{
    if (typeOf(piece) == pawn) return geometry.pawns[piece & 1][square];
    if (typeOf(piece) == knight) return geometry.knights[square];
    if (typeOf(piece) == king) return geometry.kings[square];
    Set reached = 0;
    for (int d = 0; d < directions; ++d)
        if (slides(piece, d)) reached |= walk(square, d, occupied);
    return reached;
}

Set between(int a, int b)
{
    for (int d = 0; d < directions; ++d)
        if (const Set passed = walk(a, d, setOf(b)); has(passed, b)) return passed & ~setOf(b);
    return 0;
}

Set lineFrom(int a, int b)
{
    for (int d = 0; d < directions; ++d)
        if (const Set line = walk(a, d, 0); has(line, b)) return line | setOf(a);
    return 0;
}

Set Board::occupied() const
{
    return ~pieces(none);
}

Set Board::of(int colour) const
{
    Set set = 0;
    for (int s = 0; s < 64; ++s) set |= Set{isOf(squares[s], colour)} << s;
    return set;
}

Set Board::pieces(int piece) const
{
    Set set = 0;
    for (int s = 0; s < 64; ++s) set |= Set{squares[s] == piece} << s;
    return set;
}

int Board::kingSquare(int colour) const
{
    return static_cast<int>(std::find(squares, squares + 64, king + colour) - squares);
}

Set Board::attackers(int square, int colour, Set occupancy) const
{
    const Set straight = reach(rook, square, occupancy);
    const Set diagonal = reach(bishop, square, occupancy);
    // By half the type of the attacker; a pawn attacks from where one of the other colour would.
    const Set sources[] = {0,
                           geometry.pawns[colour ^ 1][square],
                           geometry.knights[square],
                           diagonal,
                           straight,
                           straight | diagonal,
                           geometry.kings[square]};
    Set found = 0;
    for (const int s : Squares((straight | diagonal | geometry.knights[square]) & occupancy))
        if (isOf(squares[s], colour) && has(sources[squares[s] / 2], s)) found |= setOf(s);
    return found;
}

Set Board::screens(int square, int colour) const
{
    const Set all = occupied();
    Set found = 0;
    for (int d = 0; d < directions; ++d)
    {
        const Set first = walk(square, d, all) & all;
        const Set second = walk(square, d, all & ~first) & all & ~first;
        for (const int s : Squares(second))
            if (isOf(squares[s], colour) && slides(squares[s], d)) found |= first;
    }
    return found;
}

} // namespace oracle
