// SPDX-License-Identifier: MIT
//
// The reference model: a slow, separate implementation of the evaluation and of the search of one
// thread. It shares no code with the engine and looks nothing up by occupancy: lines are walked one
// square at a time, and keys are computed from scratch, so no error of the engine's tables can
// recur here.
//
//   Board, geometry            board.cpp
//   Set-up, making, legality   position.cpp
//   Move lists                 generators.cpp
//   Static exchange            exchange.cpp
//   Pickers                    pickers.cpp
//   Search                     search.cpp
//   Evaluation                 oracle_eval.cpp
#ifndef QUILLON_ORACLE_MODEL_H
#define QUILLON_ORACLE_MODEL_H

#include <array>
#include <bit>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace oracle
{

// Board and geometry. Squares count from a1 = 0 to h8 = 63; colours are 0 white and 1 black.

// The code of a piece on the board is its type plus its colour; 0 is an empty square.
enum Type
{
    none = 0,
    pawn = 2,
    knight = 4,
    bishop = 6,
    rook = 8,
    queen = 10,
    king = 12
};

// The kind of a move; a promotion has the type of the new piece.
enum Kind
{
    plain = 0,
    enPassant = 12, // `to` is the square of the captured pawn
    doublePush = 13,
    castleKingSide = 14,
    castleQueenSide = 15
};

// A set of squares, bit n for square n.
using Set = std::uint64_t;

// Visits a set in ascending order: for (const int square : Squares(set)).
class Squares
{
  public:
    explicit Squares(Set set) : rest(set) {}
    Squares begin() const { return *this; }
    Squares end() const { return Squares(0); }
    bool operator!=(const Squares& other) const { return rest != other.rest; }
    int operator*() const { return std::countr_zero(rest); }
    Squares& operator++()
    {
        rest &= rest - 1;
        return *this;
    }

  private:
    Set rest;
};

constexpr int fileOf(int square)
{
    return square & 7;
}
constexpr int rankOf(int square)
{
    return square >> 3;
}
constexpr int typeOf(int piece)
{
    return piece & ~1;
}
constexpr bool isOf(int piece, int colour)
{
    return piece != none && (piece & 1) == colour;
}
constexpr int forward(int colour)
{
    return colour == 0 ? 8 : -8;
}
constexpr Set setOf(int square)
{
    return Set{1} << square;
}
constexpr bool has(Set set, int square)
{
    return (set >> square & 1) != 0;
}

// The squares that a piece attacks; a ray ends with the first occupied square, which is included.
Set reach(int piece, int square, Set occupied);

// The squares strictly between two squares on a line, and all squares of the line from the first
// one through the second to the edge; empty if no line joins the two.
Set between(int a, int b);
Set lineFrom(int a, int b);

struct Board
{
    int squares[64] = {};

    int operator[](int square) const { return squares[square]; }
    int& operator[](int square) { return squares[square]; }

    Set occupied() const;
    Set of(int colour) const;
    Set pieces(int piece) const;
    int kingSquare(int colour) const;

    // The pieces of a colour that attack a square with the given occupancy.
    Set attackers(int square, int colour, Set occupancy) const;

    // The pieces of both colours that stand alone between a square and a slider of the colour.
    Set screens(int square, int colour) const;
};


// Evaluation

// A mid-game and an end-game value.
struct Pair
{
    int mg = 0;
    int eg = 0;
};

// The tables of tests/data/evaluation.txt: a line with the name, then the entries, pairs as mg/eg.
// A plain number is the mid-game half of its entry. The line with the checksum is a table without
// entries.
const std::map<std::string, std::vector<Pair>>& tables();

// White's and black's values by the names of the terms that the engine prints; what is good for the
// colour counts positive.
using Terms = std::map<std::string, std::array<Pair, 2>>;

// The score for the side to move. The terms are added to `terms` if there is one.
int evaluate(const Board& board, int sideToMove, Terms* terms = nullptr);


// Position

struct Move
{
    int from = 0;
    int to = 0;
    int kind = plain;
    int score = 0; // order within a list; the code of the moving piece in a stored move

    bool operator==(const Move& other) const = default;
};

// Whether two moves are equal but for their scores.
constexpr bool sameMove(const Move& a, const Move& b)
{
    return a.from == b.from && a.to == b.to && a.kind == b.kind;
}

constexpr int plyLimit = 127; // the last ply at which anything is searched

// The saved values belong to the parent; captured, enPassantPawn, rights and inCheck to this ply.
struct Ply
{
    Board savedBoard;
    std::uint64_t savedKey = 0;
    int savedHalfMoveClock = 0;
    int captured = none;
    int enPassantPawn = 0; // the square of the pawn that has just advanced two squares, or 0
    int rights = 0;        // 1 and 4 white king and queen side, 2 and 8 black
    bool inCheck = false;
    int stage = 0;     // of the picker
    int listStart = 0; // indices into the move stack
    int listEnd = 0;
    int quietsStart = 0;
    Set notPinned = 0; // all squares but those of pinned pieces
    Move currentMove;
    Move hashMove;
    Move bestMove;
    Move killers[2];
};

// A position and what a search of it needs: its path, the move stack and the ordering tables.
struct Position
{
    Board board;
    int side = 0;
    int ply = 0;
    std::uint64_t key = 0;
    int halfMoveClock = 0;
    int keyIndex = 0;
    std::uint64_t keyHistory[16384] = {}; // long enough for any game
    Ply plies[plyLimit + 3];
    Move stack[8192];
    int historyGood[14][64] = {}; // [piece][to]
    int historyBad[14][64] = {};
    Move counterMoves[14][64]; // by the piece and the destination of the move before

    Ply& here() { return plies[ply]; }
    const Ply& here() const { return plies[ply]; }
    Ply& next() { return plies[ply + 1]; }

    void set(const std::string& fen);
    std::uint64_t computeKey() const;
    bool isAttacked(int square, int byColour) const;
    bool isInCheck() const;
    void computePins();

    // Plays a move and goes to the next ply. With `testLegal`, refuses a move that leaves the king
    // in check and changes nothing.
    bool make(Move move, bool testLegal);
    void unmake();

    // Whether a generated move leaves its own king in check.
    bool leavesKingInCheck(const Move& move) const;

    // Whether a stored move can be played: by the pseudo-legal tests alone, or in full.
    bool isPseudoLegal(const Move& move) const;
    bool isLegal(const Move& move);

    // Whether a capture, before it is made, gains at least the threshold on its square; and the
    // same for the move just made.
    bool see(const Move& move, int threshold) const;
    bool seeAfter(const Move& move, int threshold) const;

    // Lowers the score of evasions that lose material, from slot `first` to the end of the list.
    void lowerBadEvasions(int first);

    // Each generator writes its list into the move stack from slot `first` on. In check, all but
    // generateQuiets generate all evasions.
    void generateCaptures(int first);   // and capturing promotions
    void generateQuiets(int first);     // everything else; needs the pins of generateCaptures
    void generateQuiescence(int first); // captures and queen promotions
    void generateRecaptures(int first); // captures on the destination of the previous move
    void generateLegal(int first);      // all legal moves; sets inCheck

    // The pickers look at the slot of the cursor and play a move there, or return false. The caller
    // advances the cursor by one after each call. Quiescence generates its list beforehand.
    bool playNext(int cursor, bool skipOrdering);
    bool playNextInQuiescence(int cursor, int depth);
    bool playNextInProbCut(int cursor, int threshold);
};

// Stages of the picker that the search asks about.
constexpr int badCaptureStage = 7;
constexpr int quietStage = 9;
constexpr int evasionStage = 99;


// Search

enum Bound
{
    noBound = 0,
    upperBound = 1,
    lowerBound = 2,
    exactBound = 3
};

// An entry of the transposition table. A miss has no bound.
struct Entry
{
    Move move;
    int score = 0; // mate scores count from the storing node
    int depth = 0;
    Bound bound = noBound;
};

// The model's table keeps every entry. The compared searches are so small that the engine's table
// also keeps all that they need.
using Table = std::unordered_map<std::uint64_t, Entry>;

std::string moveText(const Move& move, int side);

// Searches the position without a clock and prints what it finds. A depth of 0 sets no limit.
void search(const Position& game, int depthLimit, Table& table);

} // namespace oracle

#endif
