// SPDX-License-Identifier: MIT
//
// Static exchange. The balance is kept in 16 bits and wraps. Attackers that come into view behind
// a piece that leaves are looked for in that piece's own colour only, and only along the lines that
// the table in `uncovered` names.
#include "exchange.h"

#include <array>

namespace oracle
{

namespace
{

constexpr std::array<int, 14> exchangeValue{0,   0,   87,  87,   340,  340,   340,
                                            340, 515, 515, 1005, 1005, 10000, 10000};

Score valueOf(Byte piece)
{
    return static_cast<Score>(exchangeValue.at(piece));
}

Score wrapped(int value)
{
    return static_cast<Score>(value);
}

bool isQuietKind(Byte kind)
{
    return kind == enPassant || kind >= castleKingSide;
}

// Bishops and queens, or rooks and queens, of one colour that see the square.
Set slidersOn(const Position& p, int square, int colour, Set occupied, bool diagonal)
{
    const Set reach = diagonal ? diagonalReach(square, occupied) : straightReach(square, occupied);
    Set found = 0;
    forEach(reach,
            [&](int s)
            {
                const Byte piece = at(p, s);
                if (piece == pieceOf(queen, colour) ||
                    piece == pieceOf(diagonal ? bishop : rook, colour))
                    found |= setOf(s);
            });
    return found;
}

// All pieces of both colours that bear on the square.
Set attackersOf(const Position& p, int square, Set occupied)
{
    Set found = 0;
    forEach(occupied,
            [&](int s)
            {
                const Byte piece = at(p, s);
                Set reach = sliderReach(piece, square, occupied);
                if (piece == pawn || piece == pieceOf(pawn, 1))
                    reach = pawnSources(piece & 1, square);
                if (piece == knight || piece == pieceOf(knight, 1)) reach = knightReach(square);
                if (piece >= king) reach = kingReach(square);
                if (has(reach, s)) found |= setOf(s);
            });
    return found;
}

// The cheapest piece of the colour among the attackers, on the lowest square of its kind.
int cheapest(const Position& p, Set attackers, int colour)
{
    for (const Byte code : {pawn, knight, bishop, rook, queen, king})
        for (int s = 0; s < 64; ++s)
            if (has(attackers, s) && at(p, s) == pieceOf(code, colour)) return s;
    return offBoard;
}

bool hasAttacker(const Position& p, Set attackers, int colour)
{
    return cheapest(p, attackers, colour) != offBoard;
}

// What comes into view when a piece of the colour leaves; a rook behind a queen doesn't.
Set uncovered(const Position& p, int square, Byte piece, int colour, Set occupied)
{
    switch (piece & ~1)
    {
    case pawn:
    case bishop:
    case queen: return slidersOn(p, square, colour, occupied, true);
    case rook:
    case king: return slidersOn(p, square, colour, occupied, false);
    default: return 0;
    }
}

// Plays the exchange out on `square` from a balance in which the mover counts as lost.
bool exchangeHolds(const Position& p, int square, Set occupied, Score balance)
{
    Set attackers = attackersOf(p, square, occupied);
    int colour = p.side ^ 1;
    bool result = true;
    while (hasAttacker(p, attackers, colour))
    {
        const int from = cheapest(p, attackers, colour);
        const Byte piece = at(p, from);
        occupied &= ~setOf(from);
        attackers |= uncovered(p, square, piece, colour, occupied);
        attackers &= occupied;
        if (piece >= king) return hasAttacker(p, attackers, colour ^ 1) ? result : !result;
        result = !result;
        balance = wrapped(balance + valueOf(piece));
        if (balance < 0) return result;
        balance = wrapped(-balance);
        colour ^= 1;
    }
    return result;
}

} // namespace

bool see(const Move& move, Score threshold, const Position& p)
{
    if (isQuietKind(move.kind)) return threshold <= 0;
    Score balance = wrapped(valueOf(at(p, move.to)) - threshold);
    if (balance < 0) return false;
    balance = wrapped(balance - valueOf(at(p, move.from)));
    if (balance >= 0) return true;
    return exchangeHolds(p, move.to, occupancy(p) ^ setOf(move.from) ^ setOf(move.to), balance);
}

bool seeAfter(const Move& move, Score threshold, const Position& p, Byte captured)
{
    if (isQuietKind(move.kind)) return threshold <= 0;
    Score balance = wrapped(valueOf(captured) - threshold);
    if (balance < 0) return false;
    balance = wrapped(balance - valueOf(at(p, move.to)));
    if (balance >= 0) return true;
    // The side to move is now the mover's enemy, so the exchange starts with the mover's own
    // pieces.
    return exchangeHolds(p, move.to, occupancy(p) ^ setOf(move.to), balance);
}

void lowerBadEvasions(int ply, int first, Position& p)
{
    for (int s = first; s < plyAt(p, ply).listEnd; ++s)
    {
        Move& move = slot(p, s);
        if (move.score == 250 || at(p, move.from) >= king || isQuietKind(move.kind)) continue;
        const Score balance = wrapped(valueOf(at(p, move.to)) - valueOf(at(p, move.from)));
        if (balance >= 0) continue;
        const Set occupied = occupancy(p) ^ setOf(move.from) ^ setOf(move.to);
        if (!exchangeHolds(p, move.to, occupied, balance))
            move.score = static_cast<Byte>(move.score + 156);
    }
}

} // namespace oracle
