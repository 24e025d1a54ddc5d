// SPDX-License-Identifier: MIT
//
// The record that one searcher works on: board, plies of the path, key history, move stack and
// ordering tables; set-up from a FEN, making and unmaking, attack and legality tests.
#ifndef QUILLON_ORACLE_POSITION_H
#define QUILLON_ORACLE_POSITION_H

#include "geometry.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace oracle
{

struct Move
{
    Byte from = 0;
    Byte to = 0;
    Byte kind = 0;
    Byte score = 0; // order within a list; the code of the moving piece in a stored move
};

// Two moves are the same without regard to their fourth byte.
bool sameMove(const Move& a, const Move& b);
bool isEmpty(const Move& move);

constexpr int plyLimit = 127; // the last ply at which anything is searched
constexpr int stackSize = 8192;
constexpr int historyLimit = 131072;

// Saved values belong to the parent; captured, enPassantPawn, rights and inCheck to this ply.
struct Ply
{
    std::uint64_t savedKey = 0;
    int listStart = 0; // indices into the move stack
    int listEnd = 0;
    int quietsStart = 0;
    Move currentMove;
    Move hashMove;
    std::array<Move, 2> killers;
    Move bestMove;
    Set notPinned = 0; // all squares but those of pinned pieces; zero until a generator computes it
    int savedHalfMoveClock = 0;
    Byte captured = 0;
    Byte enPassantPawn = 0; // the square of the pawn that has just pushed two squares, or 0
    Byte rights = 0;        // 1 and 4 white king and queen side, 2 and 8 black
    Byte stage = 0;
    Byte inCheck = 0;
};

template <typename T> using BySquare = std::array<std::array<T, 64>, 12>;

struct Position
{
    std::array<Byte, 64> board{};
    int side = 0;
    std::uint64_t key = 0;
    std::uint64_t nodes = 0;
    std::uint64_t quiescenceNodes = 0;
    int keyIndex = 0;
    int halfMoveClock = 0;
    int rootBestChanges = 0;
    int rootScore = 0;
    int rootDepth = 0;
    int rootDepthComplete = 0;
    int lineLength = 0; // index of the last move of the line laid out in bestMove
    int selectiveDepth = 0;
    std::array<Ply, plyLimit + 3> plies;
    // Long enough for any game; the slots below keyIndex keep what an earlier game left.
    std::vector<std::uint64_t> keyHistory = std::vector<std::uint64_t>(16384);
    // [piece - 2][to], counter moves by the piece and square of the move before.
    BySquare<std::uint32_t> historyGood{};
    BySquare<std::uint32_t> historyBad{};
    BySquare<Move> counterMoves{};
    std::vector<Move> stack = std::vector<Move>(stackSize);
};

Byte at(const Position& p, int square);
Ply& plyAt(Position& p, int ply);
const Ply& plyAt(const Position& p, int ply);
Move& slot(Position& p, int index);

Set occupancy(const Position& p);
Set piecesOf(const Position& p, int colour);
int kingSquare(const Position& p, int colour);

void setPosition(const std::string& fen, Position& p);
std::uint64_t computeKey(const Position& p, int ply);

// Whether the colour attacks the square, on the board or with another occupancy.
bool isAttacked(const Position& p, int square, int byColour);
bool isAttacked(const Position& p, int square, int byColour, Set occupied);

// Whether the side to move is in check.
bool isInCheck(const Position& p);

// Rewrites notPinned of the ply.
void computePins(Position& p, int ply);

// Plays a move into `ply`, the child's. Refuses an illegal one if asked to, and changes nothing.
bool makeMove(int ply, const Move& move, Position& p, bool testLegal);
void unmakeMove(int ply, const Move& move, Position& p);

// Whether a generated move leaves the own king attacked; `ply` is the position's own.
bool leavesKingInCheck(int ply, const Move& move, const Position& p);

// Whether a stored move can be played; the pseudo-legal tests alone, or with a trial of the move.
bool isPseudoLegal(int ply, const Move& move, const Position& p);
bool isLegalMove(int ply, const Move& move, Position& p);

} // namespace oracle

#endif
