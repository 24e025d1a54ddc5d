// SPDX-License-Identifier: MIT
//
// Move lists by class. Pieces of one type come by ascending square, and for each of them the
// destinations by ascending square; pawns go direction by direction, promotions first.
#include "model.h"

#include <cstdlib>
#include <utility>

namespace oracle
{

namespace
{

constexpr Set lastRanks = 0xff000000000000ff;

// The base of a score, and the factor by which the victim's code adds to it.
struct Scores
{
    int plainBase;
    int promotionBase;
    int perVictim;
};

constexpr Scores captureScores{-2, -14, 8};
constexpr int enPassantScore = 14;
constexpr int evasionScore = 250; // of a pawn that captures the checking piece
constexpr int blockScore = 210;

void start(Position& p, int first)
{
    p.here().listEnd = p.next().listStart = first;
}

void add(Position& p, int from, int to, int kind, int score)
{
    p.stack[p.here().listEnd++] = {from, to, kind, score};
    p.next().listStart = p.here().listEnd;
}

// Moves of pawns to the targets by one step, which is a push or a capture.
void addPawnMoves(Position& p, Set pawns, Set targets, int step, Scores scores, bool queenOnly)
{
    for (const Set ranks : {lastRanks, ~lastRanks})
        for (const int to : Squares(targets & ranks))
        {
            const int from = to - step;
            if (from < 0 || from > 63 || !has(pawns, from)) continue;
            if (std::abs(fileOf(from) - fileOf(to)) > 1) continue;
            const int bonus = p.board[to] * scores.perVictim;
            if (ranks != lastRanks)
                add(p, from, to, plain, scores.plainBase + bonus);
            else
                for (const int kind : {queen, rook, bishop, knight})
                    if (kind == queen || !queenOnly)
                        add(p, from, to, kind, scores.promotionBase + bonus);
        }
}

void addPawnCaptures(Position& p, Set pawns, Set targets, Scores scores, bool queenOnly)
{
    for (const int sideways : {1, -1})
    {
        const int step = p.side == 0 ? 8 + sideways : -8 - sideways;
        addPawnMoves(p, pawns, targets, step, scores, queenOnly);
    }
}

void addPawnPushes(Position& p, Set pawns, Set targets, int score)
{
    const int step = forward(p.side);
    addPawnMoves(p, pawns, targets, step, {score, score, 0}, false);
    const Set doubleRank = p.side == 0 ? 0x00000000ff000000 : 0x000000ff00000000;
    for (const int to : Squares(targets & doubleRank))
        if (has(pawns, to - 2 * step) && p.board[to - step] == none)
            add(p, to - 2 * step, to, doublePush, score);
}

void addEnPassant(Position& p, Set pawns, int score)
{
    const int victim = p.here().enPassantPawn;
    if (victim == 0) return;
    for (const int from : {victim - 1, victim + 1})
        if (has(pawns, from) && rankOf(from) == rankOf(victim))
            add(p, from, victim, enPassant, score);
}

// Moves of pieces of one type to the targets; the score is a function of the destination.
template <typename Score>
void addPieceMoves(Position& p, int type, Set movable, Set targets, Score score)
{
    const Set occupied = p.board.occupied();
    for (const int from : Squares(p.board.pieces(type + p.side) & movable))
        for (const int to : Squares(reach(type, from, occupied) & targets))
            add(p, from, to, plain, score(to));
}

void addPieceCaptures(Position& p, int type, Set movable, Set targets)
{
    addPieceMoves(p, type, movable, targets, [&](int to) { return p.board[to] * 8 - type; });
}

// Captures by all but the king; `knights` are those that may move.
void addCaptures(Position& p, Set targets, Set knights, bool queenOnly)
{
    addPawnCaptures(p, p.board.pieces(pawn + p.side), targets, captureScores, queenOnly);
    addPieceCaptures(p, knight, knights, targets);
    for (const int type : {bishop, rook, queen}) addPieceCaptures(p, type, ~Set{0}, targets);
}

// All legal moves in check, by the pins of the ply.
void generateEvasions(Position& p, int first)
{
    start(p, first);
    const Board& board = p.board;
    const int enemy = p.side ^ 1;
    const int own = board.kingSquare(p.side);
    const Set occupied = board.occupied();
    const Set checkers = board.attackers(own, enemy, occupied);
    for (const int to : Squares(reach(king, own, occupied) & ~board.of(p.side)))
    {
        if (board.attackers(to, enemy, occupied & ~setOf(own))) continue;
        const int bonus = checkers == setOf(to) ? 1 : 0;
        add(p, own, to, plain, board[to] == none ? 202 : 220 + board[to] + bonus);
    }
    if (std::popcount(checkers) != 1) return;

    const int checker = std::countr_zero(checkers);
    const Set way = between(own, checker);
    const Set movable = p.here().notPinned;
    const Set pawns = board.pieces(pawn + p.side) & movable;
    addPawnCaptures(p, pawns, checkers, {evasionScore, evasionScore, 0}, false);
    if (p.here().enPassantPawn == checker) addEnPassant(p, pawns, evasionScore);
    addPawnPushes(p, pawns, way, blockScore);
    int captureScore = 236;
    for (const int type : {knight, bishop, rook, queen})
    {
        addPieceMoves(p, type, movable, way | checkers,
                      [&](int to) { return to == checker ? captureScore : captureScore - 30; });
        --captureScore;
    }
}

void addCastling(Position& p, int kind, int corner, int passed, int to)
{
    const int home = p.side == 0 ? 0 : 56;
    const int right = (kind == castleKingSide ? 1 : 4) << p.side;
    if (!p.here().inCheck && (p.here().rights & right) != 0 &&
        (between(home + 4, home + corner) & p.board.occupied()) == 0 &&
        !p.isAttacked(home + passed, p.side ^ 1))
        add(p, home + 4, home + to, kind, 0);
}

} // namespace

void Position::generateCaptures(int first)
{
    computePins();
    if (here().inCheck) return generateEvasions(*this, first);
    start(*this, first);
    const Set enemies = board.of(side ^ 1);
    addCaptures(*this, enemies, here().notPinned, false);
    addEnPassant(*this, board.pieces(pawn + side), enPassantScore);
    addPieceCaptures(*this, king, ~Set{0}, enemies);
}

void Position::generateQuiets(int first)
{
    start(*this, first);
    const Set empty = ~board.occupied();
    addPawnPushes(*this, board.pieces(pawn + side), empty, 0);
    addCastling(*this, castleKingSide, 7, 5, 6);
    addCastling(*this, castleQueenSide, 0, 3, 2);
    for (const int type : {knight, bishop, rook, queen, king})
        addPieceMoves(*this, type, type == knight ? here().notPinned : ~Set{0}, empty,
                      [](int) { return 0; });
}

void Position::generateQuiescence(int first)
{
    computePins();
    if (here().inCheck) return generateEvasions(*this, first);
    start(*this, first);
    const Set enemies = board.of(side ^ 1);
    const Set pawns = board.pieces(pawn + side);
    addCaptures(*this, enemies, here().notPinned, true);
    addPieceCaptures(*this, king, ~Set{0}, enemies);
    addEnPassant(*this, pawns, enPassantScore);
    addPawnMoves(*this, pawns, lastRanks & ~board.occupied(), forward(side), {1, 1, 0}, true);
}

void Position::generateRecaptures(int first)
{
    if (here().inCheck)
    {
        computePins();
        return generateEvasions(*this, first);
    }
    // Ignores pins: notPinned keeps what the ply last held.
    start(*this, first);
    const Set target = board.of(side ^ 1) & setOf(plies[ply - 1].currentMove.to);
    addCaptures(*this, target, ~Set{0}, true);
    addPieceCaptures(*this, king, ~Set{0}, target);
}

void Position::generateLegal(int first)
{
    here().inCheck = isInCheck();
    generateCaptures(first);
    if (here().inCheck) return;
    generateQuiets(here().listEnd);

    // An illegal move changes places with the last one, so the order isn't kept.
    for (int i = first; i < here().listEnd;)
    {
        if (leavesKingInCheck(stack[i]))
            std::swap(stack[i], stack[--here().listEnd]);
        else
            ++i;
    }
    next().listStart = here().listEnd;
}

} // namespace oracle
