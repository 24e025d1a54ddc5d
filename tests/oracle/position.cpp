// SPDX-License-Identifier: MIT
//
// Set-up, keys, attacks, making and unmaking, legality. Nothing is kept incrementally but the
// board: keys are computed from scratch after every move.
#include "position.h"

#include <algorithm>
#include <sstream>

namespace oracle
{

bool sameMove(const Move& a, const Move& b)
{
    return a.from == b.from && a.to == b.to && a.kind == b.kind;
}

bool isEmpty(const Move& move)
{
    return sameMove(move, Move{}) && move.score == 0;
}

Byte at(const Position& p, int square)
{
    return p.board[static_cast<std::size_t>(square)];
}

Ply& plyAt(Position& p, int ply)
{
    return p.plies.at(static_cast<std::size_t>(ply));
}

const Ply& plyAt(const Position& p, int ply)
{
    return p.plies.at(static_cast<std::size_t>(ply));
}

Move& slot(Position& p, int index)
{
    return p.stack.at(static_cast<std::size_t>(index));
}

Set occupancy(const Position& p)
{
    Set set = 0;
    for (int s = 0; s < 64; ++s) set |= static_cast<Set>(at(p, s) != none) << s;
    return set;
}

Set piecesOf(const Position& p, int colour)
{
    Set set = 0;
    for (int s = 0; s < 64; ++s) set |= static_cast<Set>(isOf(at(p, s), colour)) << s;
    return set;
}

int kingSquare(const Position& p, int colour)
{
    const auto found = std::find(p.board.begin(), p.board.end(), pieceOf(king, colour));
    return found == p.board.end() ? 0 : static_cast<int>(found - p.board.begin());
}

namespace
{

void put(Position& p, int square, Byte piece)
{
    p.board[static_cast<std::size_t>(square)] = piece;
}

// The keys. Any well mixed numbers do; results don't depend on them.
struct Keys
{
    std::array<std::array<std::uint64_t, 64>, 14> piece{};
    std::array<std::uint64_t, 16> rights{};
    std::array<std::uint64_t, 8> enPassantFile{};
    std::uint64_t blackToMove = 0;

    // Sebastiano Vigna's splitmix64.
    std::uint64_t state = 20240229;
    std::uint64_t draw()
    {
        std::uint64_t z = (state += 0x9e3779b97f4a7c15u);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }

    Keys()
    {
        for (std::size_t code = 2; code < 14; ++code)
            for (auto& number : piece[code]) number = draw();
        for (auto& number : rights) number = draw();
        for (auto& number : enPassantFile) number = draw();
        blackToMove = draw();
    }
};

const Keys keys;

} // namespace

std::uint64_t computeKey(const Position& p, int ply)
{
    const Ply& here = plyAt(p, ply);
    std::uint64_t key = 0;
    for (std::size_t s = 0; s < 64; ++s)
    {
        const Byte piece = p.board[s];
        if (piece >= 2 && piece < 14) key ^= keys.piece[piece][s];
    }
    key ^= keys.rights[here.rights];
    if (here.enPassantPawn != 0) key ^= keys.enPassantFile[here.enPassantPawn & 7u];
    if (p.side == 1) key ^= keys.blackToMove;
    return key;
}

// FEN

void setPosition(const std::string& fen, Position& p)
{
    std::string pieces;
    std::string side;
    std::string rights;
    std::string passed;
    int clock = 0;
    std::istringstream fields(fen);
    fields >> pieces >> side >> rights >> passed >> clock;

    p.board.fill(none);
    int square = 56;
    for (const char c : pieces)
    {
        if (c == '/')
            square -= 16;
        else if (c >= '1' && c <= '8')
            square += c - '0';
        else
            put(p, square++, static_cast<Byte>(std::string("  PpNnBbRrQqKk").find(c)));
    }
    p.side = side == "w" ? 0 : 1;

    Ply& root = plyAt(p, 0);
    root.rights = 0;
    for (const char c : rights)
        if (c != '-') root.rights |= static_cast<Byte>(1u << std::string("KkQq").find(c));
    // The pawn stands beyond the square that it has passed.
    root.enPassantPawn = 0;
    if (passed != "-")
        root.enPassantPawn = static_cast<Byte>((p.side == 1 ? 24 : 32) + passed[0] - 'a');

    p.halfMoveClock = clock;
    // The slot number follows the half-move clock; the move number isn't read.
    p.keyIndex = std::clamp(p.side + 2 * clock - 2, 0, 512);
    p.key = computeKey(p, 0);
    p.keyHistory.at(static_cast<std::size_t>(p.keyIndex)) = p.key;
    ++p.keyIndex;
    root.inCheck = isInCheck(p);
}

// Attacks

namespace
{

// Whether a slider of the colour sees the square. `ignored` is a square whose piece doesn't count
// as an attacker, though it still blocks if it is in the occupancy.
bool sliderSees(const Position& p, int square, int byColour, Set occupied, int ignored = offBoard)
{
    for (int direction = 0; direction < directions; ++direction)
    {
        for (int s = neighbour(square, direction); s != offBoard; s = neighbour(s, direction))
        {
            if (!has(occupied, s)) continue;
            if (s != ignored && isOf(at(p, s), byColour) && slides(at(p, s), direction))
                return true;
            break;
        }
    }
    return false;
}

bool anyOf(const Position& p, Set squares, Byte piece)
{
    for (int s = 0; s < 64 && squares != 0; ++s, squares >>= 1)
        if ((squares & 1) != 0 && at(p, s) == piece) return true;
    return false;
}

} // namespace

bool isAttacked(const Position& p, int square, int byColour, Set occupied)
{
    return sliderSees(p, square, byColour, occupied) ||
           anyOf(p, pawnSources(byColour, square), pieceOf(pawn, byColour)) ||
           anyOf(p, knightReach(square), pieceOf(knight, byColour)) ||
           anyOf(p, kingReach(square), pieceOf(king, byColour));
}

bool isAttacked(const Position& p, int square, int byColour)
{
    return isAttacked(p, square, byColour, occupancy(p));
}

bool isInCheck(const Position& p)
{
    return isAttacked(p, kingSquare(p, p.side), p.side ^ 1);
}

void computePins(Position& p, int ply)
{
    const int own = kingSquare(p, p.side);
    Set pinned = 0;
    for (int direction = 0; direction < directions; ++direction)
    {
        // Every enemy slider on the line counts, whatever is in between; it pins if just one
        // piece does.
        int piecesBetween = 0;
        int lastPiece = offBoard;
        for (int s = neighbour(own, direction); s != offBoard; s = neighbour(s, direction))
        {
            if (at(p, s) == none) continue;
            if (piecesBetween == 1 && isOf(at(p, s), p.side ^ 1) && slides(at(p, s), direction) &&
                isOf(at(p, lastPiece), p.side))
                pinned |= setOf(lastPiece);
            ++piecesBetween;
            lastPiece = s;
        }
    }
    plyAt(p, ply).notPinned = ~pinned;
}

// Making and unmaking

namespace
{

int landingSquare(const Move& move, int side)
{
    return move.to + forward(side);
}

bool isPromotion(Byte kind)
{
    return kind > 0 && kind < enPassant;
}

// The test of a move about to be made out of check: a pinned piece is looked at, others aren't.
bool illegalToMake(const Ply& parent, const Move& move, const Position& p)
{
    const int enemy = p.side ^ 1;
    const Byte mover = at(p, move.from);
    const Set occupied = occupancy(p);
    if (mover >= king)
        return isAttacked(p, move.to, enemy, (occupied & ~setOf(move.from)) | setOf(move.to));
    const int own = kingSquare(p, p.side);
    if (move.kind == enPassant)
    {
        const Set after =
            (occupied & ~setOf(move.from) & ~setOf(move.to)) | setOf(landingSquare(move, p.side));
        return sliderSees(p, own, enemy, after);
    }
    if (has(parent.notPinned, move.from)) return false;
    return sliderSees(p, own, enemy, (occupied & ~setOf(move.from)) | setOf(move.to), move.to);
}

// Rights left after a move: a king or rook that leaves home, and any move onto a rook's home
// square. Black's moves look at the rights of black and at a1 and h1 alone.
Byte rightsAfter(Byte rights, const Move& move, Byte mover, int side)
{
    Byte lost = 0;
    if (side == 1 && (rights & 10) != 0)
    {
        if (mover == pieceOf(rook, 1) && move.from == 56) lost |= 8;
        if (mover == pieceOf(rook, 1) && move.from == 63) lost |= 2;
        if (mover == pieceOf(king, 1)) lost |= 10;
    }
    if (side == 0 && (rights & 5) != 0)
    {
        if (mover == rook && move.from == 0) lost |= 4;
        if (mover == rook && move.from == 7) lost |= 1;
        if (mover == king) lost |= 5;
    }
    if (side == 0 && (rights & 10) != 0)
    {
        if (move.to == 56) lost |= 8;
        if (move.to == 63) lost |= 2;
    }
    if ((rights & 5) != 0)
    {
        if (move.to == 0) lost |= 4;
        if (move.to == 7) lost |= 1;
    }
    return static_cast<Byte>(rights & ~lost);
}

} // namespace

bool makeMove(int ply, const Move& moveGiven, Position& p, bool testLegal)
{
    const Move move = moveGiven;
    const Ply& parent = plyAt(p, ply - 1);
    Ply& child = plyAt(p, ply);
    if (testLegal && parent.inCheck == 0 && illegalToMake(parent, move, p)) return false;

    const Byte mover = at(p, move.from);
    child.captured = at(p, move.to);
    child.savedKey = p.key;
    child.rights = rightsAfter(parent.rights, move, mover, p.side);
    child.enPassantPawn = 0;

    put(p, move.from, none);
    if (move.kind == enPassant)
    {
        put(p, move.to, none);
        put(p, landingSquare(move, p.side), mover);
    }
    else if (isPromotion(move.kind))
        put(p, move.to, pieceOf(move.kind, p.side));
    else
        put(p, move.to, mover);
    if (move.kind == doublePush) child.enPassantPawn = move.to;
    if (move.kind == castleKingSide)
    {
        put(p, move.to - 1, pieceOf(rook, p.side));
        put(p, move.from + 3, none);
    }
    if (move.kind == castleQueenSide)
    {
        put(p, move.to + 1, pieceOf(rook, p.side));
        put(p, move.from - 4, none);
    }

    child.savedHalfMoveClock = p.halfMoveClock;
    p.halfMoveClock = mover < knight || child.captured != none
                          ? 0
                          : static_cast<std::int16_t>(p.halfMoveClock + 1);
    p.side ^= 1;
    p.key = computeKey(p, ply);
    p.keyHistory.at(static_cast<std::size_t>(p.keyIndex)) = p.key;
    ++p.keyIndex;
    return true;
}

void unmakeMove(int ply, const Move& moveGiven, Position& p)
{
    const Move move = moveGiven;
    const Ply& child = plyAt(p, ply);
    p.side ^= 1;
    p.key = child.savedKey;
    --p.keyIndex;
    p.halfMoveClock = child.savedHalfMoveClock;

    Byte mover = at(p, move.to);
    if (move.kind == enPassant)
    {
        mover = pieceOf(pawn, p.side);
        put(p, landingSquare(move, p.side), none);
    }
    if (isPromotion(move.kind)) mover = pieceOf(pawn, p.side);
    if (move.kind == castleKingSide)
    {
        put(p, move.to - 1, none);
        put(p, move.from + 3, pieceOf(rook, p.side));
    }
    if (move.kind == castleQueenSide)
    {
        put(p, move.to + 1, none);
        put(p, move.from - 4, pieceOf(rook, p.side));
    }
    put(p, move.from, mover);
    put(p, move.to, child.captured);
}

// Legality

bool leavesKingInCheck(int ply, const Move& move, const Position& p)
{
    const int enemy = p.side ^ 1;
    const Set occupied = occupancy(p);
    Set flipped = setOf(move.from);
    if (at(p, move.to) == none) flipped |= setOf(move.to);
    if (at(p, move.from) >= king) return isAttacked(p, move.to, enemy, occupied ^ flipped);

    const int own = kingSquare(p, p.side);
    if (move.kind == enPassant)
    {
        flipped = setOf(move.from) | setOf(move.to) | setOf(landingSquare(move, p.side));
        return sliderSees(p, own, enemy, occupied ^ flipped);
    }
    if (has(plyAt(p, ply).notPinned, move.from)) return false;
    return sliderSees(p, own, enemy, occupied ^ flipped, move.to);
}

namespace
{

bool pawnCanPlay(const Ply& here, const Move& move, const Position& p)
{
    const int step = forward(p.side);
    const int ahead = move.from + step;
    if (move.kind == doublePush)
        return at(p, move.to) == none && ahead >= 0 && ahead < 64 && at(p, ahead) == none;
    // Castling kinds aren't told apart from en passant.
    if (move.kind == enPassant || move.kind == castleKingSide || move.kind == castleQueenSide)
    {
        const int landing = move.to + step;
        return here.enPassantPawn != 0 && has(besidePawn(here.enPassantPawn), move.from) &&
               at(p, move.to) == pieceOf(pawn, p.side ^ 1) && landing >= 0 && landing < 64 &&
               at(p, landing) == none;
    }
    if (move.from < 8 || move.from > 55) return false;
    const int distance = move.from < move.to ? move.to - move.from : move.from - move.to;
    if (distance < 7 || distance > 9) return false;
    return move.to == ahead ? at(p, move.to) == none : at(p, move.to) != none;
}

bool canCastle(const Ply& here, const Move& move, const Position& p)
{
    const bool kingSide = move.kind == castleKingSide;
    if (here.inCheck != 0 || (here.rights & (kingSide ? 3 : 12)) == 0) return false;
    const int home = p.side == 0 ? 0 : 56; // square of the queen side's rook
    const int right = (kingSide ? 1 : 4) << p.side;
    if ((here.rights & right) == 0) return false;
    if (at(p, home + (kingSide ? 7 : 0)) != pieceOf(rook, p.side)) return false;
    for (int s = home + (kingSide ? 5 : 1); s <= home + (kingSide ? 6 : 3); ++s)
        if (at(p, s) != none) return false;
    return !isAttacked(p, home + (kingSide ? 5 : 3), p.side ^ 1);
}

} // namespace

bool isPseudoLegal(int ply, const Move& move, const Position& p)
{
    const Ply& here = plyAt(p, ply);
    if (move.from > 63 || move.to > 63) return false;
    const Byte mover = at(p, move.from);
    if (move.score != mover) return false;
    if (isOf(at(p, move.to), p.side)) return false;
    if (at(p, move.to) >= king) return false;

    const int code = mover - p.side;
    if (code == pawn) return pawnCanPlay(here, move, p);
    if (move.kind >= 1 && move.kind <= doublePush) return false;
    switch (code)
    {
    case knight: return has(knightReach(move.from), move.to);
    case bishop:
    case rook:
    case queen: return has(sliderReach(mover, move.from, occupancy(p)), move.to);
    case king:
        if (move.kind == plain) return has(kingReach(move.from), move.to);
        return canCastle(here, move, p);
    default: return false;
    }
}

bool isLegalMove(int ply, const Move& moveGiven, Position& p)
{
    const Move move = moveGiven;
    if (isEmpty(move) || !isPseudoLegal(ply, move, p)) return false;
    const int mover = p.side;
    makeMove(ply + 1, move, p, false);
    const bool legal = !isAttacked(p, kingSquare(p, mover), mover ^ 1);
    unmakeMove(ply + 1, move, p);
    return legal;
}

} // namespace oracle
