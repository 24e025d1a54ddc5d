// SPDX-License-Identifier: MIT
//
// Move lists by class. Pieces of one kind come by ascending square, and for each of them the
// destinations by ascending square; pawns go direction by direction.
#include "generators.h"

#include <array>
#include <utility>

namespace oracle
{

namespace
{

// Writes moves into the stack, upwards.
class List
{
  public:
    List(Position& position, int first) : p(position), next(first) {}

    void add(int from, int to, Byte kind, int score)
    {
        addUnscored(from, to, kind);
        slot(p, next - 1).score = static_cast<Byte>(score);
    }

    // Leaves the fourth byte of the slot as it was.
    void addUnscored(int from, int to, Byte kind)
    {
        Move& move = slot(p, next++);
        move.from = static_cast<Byte>(from);
        move.to = static_cast<Byte>(to);
        move.kind = kind;
    }

    void close(int ply) const
    {
        plyAt(p, ply).listEnd = next;
        plyAt(p, ply + 1).listStart = next;
    }

  private:
    Position& p;
    int next;
};

constexpr std::array<Byte, 4> allPromotions{queen, rook, bishop, knight};

bool onLastRank(int square, int colour)
{
    return rankOf(square) == (colour == 0 ? 7 : 0);
}

// Adds the four promotions or the queen alone.
void addPromotions(List& list, int from, int to, int score, bool queenOnly)
{
    for (const Byte kind : allPromotions)
        if (kind == queen || !queenOnly) list.add(from, to, kind, score);
}

Set squaresOf(const Position& p, Byte whiteCode)
{
    Set set = 0;
    for (int s = 0; s < 64; ++s)
        if (at(p, s) == pieceOf(whiteCode, p.side)) set |= setOf(s);
    return set;
}

// The two directions in which pawns capture, in the order of generation.
std::array<int, 2> captureSteps(int colour)
{
    return colour == 0 ? std::array<int, 2>{9, 7} : std::array<int, 2>{-9, -7};
}

// Where a pawn of `pawns` comes from when it captures on `to` by `step`, or offBoard.
int capturingPawn(Set pawns, int to, int step)
{
    const int from = to - step;
    if (from < 0 || from > 63 || !has(pawns, from)) return offBoard;
    const int files = fileOf(from) - fileOf(to);
    return files == 1 || files == -1 ? from : offBoard;
}

// A score for plain captures and one for promotions, by the victim's code; a flat one in check.
struct PawnScores
{
    int perVictim;
    int plainBase;
    int promotionBase;
};

constexpr PawnScores captureScores{8, -2, -14};
constexpr PawnScores evasionScores{0, 250, 250};

void pawnCaptures(List& list, const Position& p, Set pawns, Set targets, PawnScores scores,
                  bool queenOnly)
{
    for (const int step : captureSteps(p.side))
    {
        for (const bool promoting : {true, false})
        {
            for (int to = 0; to < 64; ++to)
            {
                if (!has(targets, to) || onLastRank(to, p.side) != promoting) continue;
                const int from = capturingPawn(pawns, to, step);
                if (from == offBoard) continue;
                const int victim = at(p, to) * scores.perVictim;
                if (promoting)
                    addPromotions(list, from, to, victim + scores.promotionBase, queenOnly);
                else
                    list.add(from, to, plain, victim + scores.plainBase);
            }
        }
    }
}

Set reachOf(const Position& p, Byte whiteCode, int from, Set occupied)
{
    if (whiteCode == knight) return knightReach(from);
    if (whiteCode == king) return kingReach(from);
    return sliderReach(pieceOf(whiteCode, p.side), from, occupied);
}

// Visits the moves of pieces of one kind to some squares.
template <typename Function>
void forEachMove(const Position& p, Byte whiteCode, Set movers, Set targets, Function visit)
{
    forEach(movers,
            [&](int from)
            {
                forEach(reachOf(p, whiteCode, from, occupancy(p)) & targets,
                        [&](int to) { visit(from, to); });
            });
}

// Captures of all pieces of one kind, the score falling with the attacker's value.
void pieceCaptures(List& list, const Position& p, Byte whiteCode, Set movers, Set targets)
{
    forEachMove(p, whiteCode, movers, targets,
                [&](int from, int to) { list.add(from, to, plain, at(p, to) * 8 - whiteCode); });
}

void enPassantCaptures(List& list, const Position& p, int ply, Set pawns, int score)
{
    const int victim = plyAt(p, ply).enPassantPawn;
    if (victim == 0) return;
    forEach(pawns & besidePawn(victim),
            [&](int from) { list.add(from, victim, enPassant, score); });
}

// King moves to squares that no enemy piece attacks once the king has left its own.
void kingEvasions(List& list, const Position& p, int own, Set checkers)
{
    const Set withoutKing = occupancy(p) & ~setOf(own);
    const Set targets = kingReach(own) & ~piecesOf(p, p.side);
    forEach(targets,
            [&](int to)
            {
                if (isAttacked(p, to, p.side ^ 1, withoutKing)) return;
                const Byte victim = at(p, to);
                const int bonus = checkers == setOf(to) ? 1 : 0;
                list.add(own, to, plain, victim != none ? 220 + victim + bonus : 202);
            });
}

void pawnBlocks(List& list, const Position& p, Set pawns, Set between)
{
    const int step = forward(p.side);
    constexpr int score = 210;
    for (const bool promoting : {true, false})
    {
        for (int to = 0; to < 64; ++to)
        {
            const int from = to - step;
            if (!has(between, to) || at(p, to) != none || from < 0 || from > 63) continue;
            if (!has(pawns, from) || onLastRank(to, p.side) != promoting) continue;
            if (promoting)
                addPromotions(list, from, to, score, false);
            else
                list.add(from, to, plain, score);
        }
    }
    const int doubleRank = p.side == 0 ? 3 : 4;
    for (int to = doubleRank * 8; to < doubleRank * 8 + 8; ++to)
    {
        const int from = to - 2 * step;
        if (has(between, to) && has(pawns, from) && at(p, to) == none && at(p, to - step) == none)
            list.add(from, to, doublePush, score);
    }
}

// The enemy pieces that give check, the enemy king left out.
Set findCheckers(const Position& p, int own)
{
    const int enemy = p.side ^ 1;
    Set checkers = 0;
    forEach(piecesOf(p, enemy) & ~setOf(kingSquare(p, enemy)),
            [&](int s)
            {
                const Byte piece = at(p, s);
                Set reach = sliderReach(piece, own, occupancy(p));
                if (piece == pieceOf(pawn, enemy)) reach = pawnSources(enemy, own);
                if (piece == pieceOf(knight, enemy)) reach = knightReach(own);
                if (has(reach, s)) checkers |= setOf(s);
            });
    return checkers;
}

// All legal moves in check; the pins of the ply must stand.
void generateEvasions(int ply, int first, Position& p)
{
    List list(p, first);
    const int own = kingSquare(p, p.side);
    const Set checkers = findCheckers(p, own);
    kingEvasions(list, p, own, checkers);
    if (count(checkers) < 2)
    {
        const Set notPinned = plyAt(p, ply).notPinned;
        const Set pawns = squaresOf(p, pawn) & notPinned;
        const int checker = lowest(checkers);
        const Set way = checker < 64 ? between(own, checker) : 0;
        pawnCaptures(list, p, pawns, checkers, evasionScores, false);
        if (plyAt(p, ply).enPassantPawn == checker) enPassantCaptures(list, p, ply, pawns, 250);
        pawnBlocks(list, p, pawns, way);

        int captureScore = 236;
        for (const Byte code : {knight, bishop, rook, queen})
        {
            forEachMove(p, code, squaresOf(p, code) & notPinned, way | checkers,
                        [&](int from, int to) {
                            list.add(from, to, plain,
                                     at(p, to) != none ? captureScore : captureScore - 30);
                        });
            --captureScore;
        }
    }
    list.close(ply);
}

} // namespace

void generateCaptures(int ply, int first, Position& p)
{
    slot(p, first).score = 0;
    computePins(p, ply);
    Ply& here = plyAt(p, ply);
    if (here.inCheck != 0)
    {
        generateEvasions(ply, first, p);
        here.stage = evasionStage;
        return;
    }
    List list(p, first);
    const Set enemies = piecesOf(p, p.side ^ 1);
    const Set pawns = squaresOf(p, pawn);
    pawnCaptures(list, p, pawns, enemies, captureScores, false);
    pieceCaptures(list, p, knight, squaresOf(p, knight) & here.notPinned, enemies);
    for (const Byte code : {bishop, rook, queen})
        pieceCaptures(list, p, code, squaresOf(p, code), enemies);
    enPassantCaptures(list, p, ply, pawns, 14);
    pieceCaptures(list, p, king, squaresOf(p, king), enemies);
    list.close(ply);
}

void generateQuiescence(int ply, int first, Position& p)
{
    computePins(p, ply);
    const Ply& here = plyAt(p, ply);
    if (here.inCheck != 0)
    {
        generateEvasions(ply, first, p);
        return;
    }
    List list(p, first);
    const Set enemies = piecesOf(p, p.side ^ 1);
    const Set pawns = squaresOf(p, pawn);
    pawnCaptures(list, p, pawns, enemies, captureScores, true);
    pieceCaptures(list, p, knight, squaresOf(p, knight) & here.notPinned, enemies);
    for (const Byte code : {bishop, rook, queen, king})
        pieceCaptures(list, p, code, squaresOf(p, code), enemies);
    enPassantCaptures(list, p, ply, pawns, 14);
    for (int to = 0; to < 64; ++to)
    {
        const int from = to - forward(p.side);
        if (onLastRank(to, p.side) && has(pawns, from) && at(p, to) == none)
            list.add(from, to, queen, 1);
    }
    list.close(ply);
}

void generateRecaptures(int ply, int first, Position& p)
{
    if (plyAt(p, ply).inCheck != 0)
    {
        computePins(p, ply);
        generateEvasions(ply, first, p);
        return;
    }
    // Pins are not looked at: notPinned keeps what the ply last held.
    List list(p, first);
    const Set target = piecesOf(p, p.side ^ 1) & setOf(plyAt(p, ply - 1).currentMove.to);
    pawnCaptures(list, p, squaresOf(p, pawn), target, captureScores, true);
    for (const Byte code : {knight, bishop, rook, queen, king})
        pieceCaptures(list, p, code, squaresOf(p, code), target);
    list.close(ply);
}

namespace
{

void pawnPushes(List& list, const Position& p)
{
    const Set pawns = squaresOf(p, pawn);
    const int step = forward(p.side);
    for (const bool promoting : {true, false})
    {
        for (int to = 0; to < 64; ++to)
        {
            const int from = to - step;
            if (from < 0 || from > 63 || !has(pawns, from) || at(p, to) != none) continue;
            if (onLastRank(to, p.side) != promoting) continue;
            if (!promoting)
                list.addUnscored(from, to, plain);
            else
                for (const Byte kind : allPromotions) list.addUnscored(from, to, kind);
        }
    }
    const int doubleRank = p.side == 0 ? 3 : 4;
    for (int to = doubleRank * 8; to < doubleRank * 8 + 8; ++to)
        if (has(pawns, to - 2 * step) && at(p, to) == none && at(p, to - step) == none)
            list.addUnscored(to - 2 * step, to, doublePush);
}

void castlingMoves(List& list, const Position& p, const Ply& here)
{
    if (here.inCheck != 0) return;
    const int home = p.side == 0 ? 0 : 56;
    const auto isFree = [&](int first, int last)
    {
        for (int s = home + first; s <= home + last; ++s)
            if (at(p, s) != none) return false;
        return true;
    };
    const int enemy = p.side ^ 1;
    if ((here.rights & (1 << p.side)) != 0 && isFree(5, 6) && !isAttacked(p, home + 5, enemy))
        list.addUnscored(home + 4, home + 6, castleKingSide);
    if ((here.rights & (4 << p.side)) != 0 && isFree(1, 3) && !isAttacked(p, home + 3, enemy))
        list.addUnscored(home + 4, home + 2, castleQueenSide);
}

} // namespace

void generateQuiets(int ply, int first, Position& p)
{
    slot(p, first).score = 0;
    const Ply& here = plyAt(p, ply);
    List list(p, first);
    pawnPushes(list, p);
    castlingMoves(list, p, here);
    for (const Byte code : {knight, bishop, rook, queen, king})
    {
        Set movers = squaresOf(p, code);
        if (code == knight) movers &= here.notPinned;
        forEachMove(p, code, movers, ~occupancy(p),
                    [&](int from, int to) { list.addUnscored(from, to, plain); });
    }
    list.close(ply);
}

void generateLegal(int ply, int first, Position& p)
{
    Ply& here = plyAt(p, ply);
    here.inCheck = isAttacked(p, kingSquare(p, p.side), p.side ^ 1);
    generateCaptures(ply, first, p);
    if (here.inCheck != 0) return;
    generateQuiets(ply, here.listEnd, p);

    // An illegal move changes places with the last one, so that the order isn't kept.
    int last = here.listEnd - 1;
    for (int s = first; s <= last;)
    {
        if (leavesKingInCheck(ply, slot(p, s), p))
            std::swap(slot(p, s), slot(p, last--));
        else
            ++s;
    }
    here.listEnd = last + 1;
    plyAt(p, ply + 1).listStart = last + 1;
}

} // namespace oracle
