// SPDX-License-Identifier: MIT
//
// Set-up, keys, making and unmaking, legality. A move saves the whole board, and keys are computed
// from scratch.
#include "model.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace oracle
{

namespace
{

// The castling rights that are lost with a move from or to a square.
constexpr int rightsOf(int square)
{
    switch (square)
    {
    case 0: return 4;
    case 4: return 5;
    case 7: return 1;
    case 56: return 8;
    case 60: return 10;
    case 63: return 2;
    default: return 0;
    }
}

constexpr bool isPromotion(int kind)
{
    return kind > plain && kind < enPassant;
}

} // namespace

// Any hash will do, since results don't depend on it; this is FNV-1a.
std::uint64_t Position::computeKey() const
{
    std::uint64_t result = 0xcbf29ce484222325;
    const auto add = [&](int number)
    { result = (result ^ static_cast<std::uint64_t>(number)) * 0x100000001b3; };
    for (const int piece : board.squares) add(piece);
    add(here().rights);
    add(here().enPassantPawn == 0 ? 8 : fileOf(here().enPassantPawn));
    add(side);
    return result;
}

void Position::set(const std::string& fen)
{
    std::string placement;
    std::string sideToMove;
    std::string rights;
    std::string passedSquare;
    std::istringstream fields(fen);
    halfMoveClock = 0;
    fields >> placement >> sideToMove >> rights >> passedSquare >> halfMoveClock;

    board = {};
    int square = 56;
    for (const char c : placement)
    {
        if (c == '/')
            square -= 16;
        else if (c >= '1' && c <= '8')
            square += c - '0';
        else
            board[square++] = static_cast<int>(std::string("  PpNnBbRrQqKk").find(c));
    }
    side = sideToMove == "w" ? 0 : 1;
    ply = 0;
    here().rights = 0;
    for (const char c : rights)
        if (c != '-') here().rights |= 1 << std::string("KkQq").find(c);
    // The pawn is one square beyond the one that it has passed.
    here().enPassantPawn = passedSquare == "-" ? 0 : (side == 1 ? 24 : 32) + passedSquare[0] - 'a';

    // The slot number follows the half-move clock; the move number isn't read.
    keyIndex = std::clamp(side + 2 * halfMoveClock - 2, 0, 512);
    key = computeKey();
    keyHistory[keyIndex++] = key;
    here().inCheck = isInCheck();
}

bool Position::isAttacked(int square, int byColour) const
{
    return board.attackers(square, byColour, board.occupied()) != 0;
}

bool Position::isInCheck() const
{
    return isAttacked(board.kingSquare(side), side ^ 1);
}

void Position::computePins()
{
    here().notPinned = ~(board.screens(board.kingSquare(side), side ^ 1) & board.of(side));
}

bool Position::make(Move move, bool testLegal)
{
    if (testLegal && !here().inCheck && leavesKingInCheck(move)) return false;

    Ply& child = next();
    child.savedBoard = board;
    child.savedKey = key;
    child.savedHalfMoveClock = halfMoveClock;
    child.captured = board[move.to];
    child.rights = here().rights & ~(rightsOf(move.from) | rightsOf(move.to));
    child.enPassantPawn = move.kind == doublePush ? move.to : 0;

    const int mover = board[move.from];
    const bool isReset = typeOf(mover) == pawn || child.captured != none;
    halfMoveClock = isReset ? 0 : halfMoveClock + 1;

    board[move.from] = none;
    board[move.to] = isPromotion(move.kind) ? move.kind + side : mover;
    if (move.kind == enPassant) std::swap(board[move.to], board[move.to + forward(side)]);
    const int home = side == 0 ? 0 : 56;
    if (move.kind == castleKingSide) std::swap(board[home + 7], board[home + 5]);
    if (move.kind == castleQueenSide) std::swap(board[home], board[home + 3]);

    side ^= 1;
    ++ply;
    key = computeKey();
    keyHistory[keyIndex++] = key;
    return true;
}

void Position::unmake()
{
    const Ply& child = here();
    board = child.savedBoard;
    key = child.savedKey;
    halfMoveClock = child.savedHalfMoveClock;
    --keyIndex;
    --ply;
    side ^= 1;
}

// Trusts the pins: a piece that isn't pinned may always move.
bool Position::leavesKingInCheck(const Move& move) const
{
    const int own = board.kingSquare(side);
    Set occupied = (board.occupied() & ~setOf(move.from)) | setOf(move.to);
    if (move.from == own) return board.attackers(move.to, side ^ 1, occupied) != 0;
    if (move.kind == enPassant)
        occupied ^= setOf(move.to) | setOf(move.to + forward(side));
    else if (has(here().notPinned, move.from))
        return false;
    for (const int s : Squares(board.attackers(own, side ^ 1, occupied) & ~setOf(move.to)))
        if (typeOf(board[s]) >= bishop) return true;
    return false;
}

namespace
{

bool pawnCanPlay(const Position& p, const Move& move)
{
    const int step = forward(p.side);
    const int ahead = move.from + step;
    if (move.kind == doublePush)
        return p.board[move.to] == none && ahead >= 0 && ahead < 64 && p.board[ahead] == none;
    // Castling kinds count as en passant.
    if (move.kind >= enPassant)
    {
        const int landing = move.to + step;
        const int victim = p.here().enPassantPawn;
        return victim != 0 && rankOf(move.from) == rankOf(victim) &&
               std::abs(move.from - victim) == 1 && p.board[move.to] == pawn + (p.side ^ 1) &&
               landing >= 0 && landing < 64 && p.board[landing] == none;
    }
    if (move.from < 8 || move.from > 55) return false;
    const int distance = std::abs(move.from - move.to);
    if (distance < 7 || distance > 9) return false;
    return (p.board[move.to] == none) == (move.to == ahead);
}

bool canCastle(const Position& p, const Move& move)
{
    const bool kingSide = move.kind == castleKingSide;
    const int right = (kingSide ? 1 : 4) << p.side;
    const int home = p.side == 0 ? 0 : 56;
    const int corner = home + (kingSide ? 7 : 0);
    return !p.here().inCheck && (p.here().rights & right) != 0 &&
           p.board[corner] == rook + p.side &&
           (between(home + 4, corner) & p.board.occupied()) == 0 &&
           !p.isAttacked(home + (kingSide ? 5 : 3), p.side ^ 1);
}

} // namespace

bool Position::isPseudoLegal(const Move& move) const
{
    const int mover = board[move.from];
    if (move.score != mover || !isOf(mover, side)) return false;
    if (isOf(board[move.to], side) || typeOf(board[move.to]) == king) return false;
    if (typeOf(mover) == pawn) return pawnCanPlay(*this, move);
    if (move.kind > plain && move.kind <= doublePush) return false;
    if (typeOf(mover) == king && move.kind != plain) return canCastle(*this, move);
    return has(reach(mover, move.from, board.occupied()), move.to);
}

bool Position::isLegal(const Move& move)
{
    if (move == Move{} || !isPseudoLegal(move)) return false;
    make(move, false);
    const bool legal = !isAttacked(board.kingSquare(side ^ 1), side);
    unmake();
    return legal;
}

} // namespace oracle
