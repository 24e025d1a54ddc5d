// SPDX-License-Identifier: MIT
//
// Static exchange evaluation. The balance wraps at 16 bits. When a piece leaves, only its own side
// gains an attacker from behind it, and only along the lines that `uncovered` names.
#include "model.h"

namespace oracle
{

namespace
{

using Score = std::int16_t;

constexpr Score exchangeValue[] = {0, 87, 340, 340, 515, 1005, 10000}; // by half the piece code

Score valueOf(int piece)
{
    return exchangeValue[piece / 2];
}

Score wrapped(int value)
{
    return static_cast<Score>(value);
}

bool isQuietKind(int kind)
{
    return kind == enPassant || kind >= castleKingSide;
}

// The least valuable of the pieces, the lowest square among equals.
int cheapest(const Board& board, Set pieces)
{
    int best = std::countr_zero(pieces);
    for (const int s : Squares(pieces))
        if (board[s] < board[best]) best = s;
    return best;
}

// What may come into view when a piece leaves; a rook behind a queen doesn't.
Set uncovered(const Board& board, int square, int piece, Set occupied)
{
    if (typeOf(piece) == knight) return 0;
    const int slider = typeOf(piece) == rook || typeOf(piece) == king ? rook : bishop;
    const int colour = piece & 1;
    return reach(slider, square, occupied) &
           (board.pieces(slider + colour) | board.pieces(queen + colour));
}

// Plays the exchange out on `square`; the first to capture is `colour`. The balance is that of the
// other side, which counts its piece on the square as lost. Returns whether that side holds it.
bool exchangeHolds(const Board& board, int square, int colour, Set occupied, Score balance)
{
    Set attackers[] = {board.attackers(square, 0, occupied), board.attackers(square, 1, occupied)};
    bool result = true;
    for (; attackers[colour] != 0; colour ^= 1)
    {
        const int from = cheapest(board, attackers[colour]);
        const int piece = board[from];
        occupied &= ~setOf(from);
        attackers[colour] |= uncovered(board, square, piece, occupied);
        attackers[colour] &= occupied;
        if (typeOf(piece) == king) return attackers[colour ^ 1] != 0 ? result : !result;
        result = !result;
        balance = wrapped(balance + valueOf(piece));
        if (balance < 0) return result;
        balance = wrapped(-balance);
    }
    return result;
}

// The exchange of a move that takes `captured` and leaves `mover` on the square.
bool gains(const Position& p, const Move& move, int threshold, int captured, int mover)
{
    if (isQuietKind(move.kind)) return threshold <= 0;
    Score balance = wrapped(valueOf(captured) - threshold);
    if (balance < 0) return false;
    balance = wrapped(balance - valueOf(mover));
    if (balance >= 0) return true;
    const Set rest = p.board.occupied() & ~setOf(move.from);
    return exchangeHolds(p.board, move.to, p.side ^ 1, rest ^ setOf(move.to), balance);
}

} // namespace

bool Position::see(const Move& move, int threshold) const
{
    return gains(*this, move, threshold, board[move.to], board[move.from]);
}

// The side to move is the mover's opponent by now, so the mover's own pieces "recapture" first.
bool Position::seeAfter(const Move& move, int threshold) const
{
    return gains(*this, move, threshold, here().captured, board[move.to]);
}

void Position::lowerBadEvasions(int first)
{
    for (int i = first; i < here().listEnd; ++i)
    {
        Move& move = stack[i];
        if (move.score != 250 && typeOf(board[move.from]) != king && !see(move, 0))
            move.score = (move.score + 156) & 255;
    }
}

} // namespace oracle
