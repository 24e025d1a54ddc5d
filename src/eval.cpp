// SPDX-License-Identifier: MIT
//
// The static evaluation. Every term is a packed pair of a mid-game and an end-game score, X(mg, eg)
// (see combEval in global.h). So plain additions sum up a whole evaluation, which is split only
// once, at the end. A positive term is good for its colour. The total is white minus black; only
// the last step turns it to the view of the side to move.
//
// eval.h lists all tables and terms, and says how to add one. After a change of any number run
// `dev/adopt-tables --new-numbers`.
//

#include "eval.h"

#include <algorithm>
#include <cstring>

#include "general.h"
#include "hash.h"
#include "moveTable.h"


// Material

// clang-format off

// pieceValue[type]: score of a piece, pawn to king; the king's is never read.
TCONST combEval pieceValue[6] = {
    X(  82,   94), X( 352,  274), X( 381,  293), X( 484,  514), X(1043,  960), X(12000, 12000),
};

// pieceSquareScore[type][coordinate]: score of a piece by its square, from its owner's view. One
// rank per line, the owner's eighth rank first, files a to h: white reads its square XOR 56, black
// the square itself. The two wings differ.
TCONST combEval pieceSquareScore[6][NOFSQUARES] = {
    { // pawn
        X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0),
        X(  48,  132), X(  38,  127), X(  23,  127), X(  64,  109), X(  42,  123), X( 111,   95), X( -21,  123), X(  10,  133),
        X(  -3,   37), X( -30,   35), X(  -5,   29), X(  -3,   14), X(  18,   14), X(  37,   14), X(  -5,   25), X( -11,   30),
        X(  -8,   11), X( -10,    2), X(  -7,    4), X(   5,   -7), X(   3,   -4), X(   1,   -5), X( -20,    1), X( -12,    4),
        X( -12,    3), X( -19,    3), X(  -6,    0), X(   5,   -6), X(   6,   -5), X(   7,   -9), X( -23,   -6), X( -16,   -6),
        X( -16,   -4), X( -14,   -3), X( -11,    1), X(  -6,    2), X(  -2,    0), X(  -9,   -3), X(  -1,  -13), X( -18,  -11),
        X( -15,    5), X(  -7,   -3), X( -13,   11), X( -10,    5), X(  -4,   14), X(  -6,    2), X(   4,  -10), X( -10,  -12),
        X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0), X(   0,    0),
    },
    { // knight
        X(-114,  -33), X( -53,  -38), X( -38,  -14), X( -17,  -31), X(  37,  -33), X( -62,  -40), X(  -3,  -63), X( -63,  -78),
        X( -54,  -18), X( -48,   -7), X(  36,  -31), X(  -3,   -5), X(  13,  -21), X(   7,  -30), X(  14,  -27), X( -25,  -48),
        X( -38,  -13), X(  15,  -10), X(   2,   14), X(  17,   11), X(  31,    2), X(  65,   -7), X(  17,  -12), X(  24,  -31),
        X(  11,   -5), X(  24,   -1), X(  10,   15), X(  30,   19), X(  29,   16), X(  35,    8), X(  27,   -4), X(  21,   -7),
        X(   8,   -8), X(  23,  -15), X(  15,   10), X(  14,   14), X(  23,   12), X(  28,    5), X(  25,    0), X(  13,   -9),
        X(   4,  -22), X(   1,   -9), X(   4,   -7), X(   7,    4), X(  16,    1), X(  12,   -9), X(  23,  -27), X(   0,  -14),
        X(  -5,  -31), X( -18,  -23), X(  -7,  -20), X(   0,  -11), X(   3,  -10), X(   7,  -23), X(   8,  -21), X(  -1,  -38),
        X( -52,  -13), X(  -5,  -34), X( -30,  -26), X( -22,  -13), X(   3,  -23), X( -21,  -16), X( -10,  -34), X( -10,  -45),
    },
    { // bishop
        X( -17,   -7), X(  -2,  -19), X( -88,   -6), X( -54,   -7), X( -36,   -8), X( -49,   -7), X(   6,  -13), X(  -1,  -18),
        X( -27,    3), X( -17,    2), X( -31,    3), X( -38,   -9), X( -12,   -1), X(  23,  -11), X( -29,   -3), X( -48,   -8),
        X(  -1,    4), X(   8,   -1), X(  11,    0), X(   3,   -3), X(   5,   -1), X(  29,    0), X(   0,    3), X(   8,    3),
        X(   1,    2), X(   4,    2), X(   3,    8), X(  19,    9), X(   7,   11), X(  15,    3), X(   6,   -4), X(  -3,    5),
        X(   0,   -4), X(   6,   -1), X(   9,    5), X(  13,   11), X(  22,    1), X(   2,    7), X(   4,   -4), X(  11,   -3),
        X(  13,   -7), X(  19,   -7), X(   9,    5), X(   7,    3), X(  10,    6), X(  18,   -1), X(  14,   -5), X(  10,   -6),
        X(  15,  -10), X(  13,  -11), X(  12,  -10), X(  -4,   -3), X(  -1,    4), X(  19,  -10), X(  26,  -13), X(   5,  -20),
        X(  -5,  -13), X(  13,   -9), X(  -5,   -5), X(  -3,   -5), X(   5,   -8), X( -15,    0), X( -13,   -7), X(  -2,  -13),
    },
    { // rook
        X( -18,   27), X(  -4,   21), X( -25,   25), X(  -2,   20), X(  -8,   22), X( -34,   18), X( -14,   18), X( -11,   18),
        X(  -8,   22), X(  -2,   20), X(  13,   15), X(  13,   14), X(  20,    6), X(  14,   11), X( -11,   20), X(  -5,   18),
        X( -17,   13), X(   2,   12), X(   3,   10), X(  12,    7), X( -10,    6), X(  -3,    4), X(  28,    4), X( -16,    6),
        X( -17,   11), X(  -8,    7), X(  10,   12), X(   9,    3), X(  15,    6), X(  17,    8), X( -14,    7), X( -16,   13),
        X( -18,    7), X(  -9,    8), X(  -9,   11), X(  -4,    5), X(   7,    1), X(  -4,    0), X(  13,   -2), X( -16,    4),
        X( -19,    1), X(  -7,    1), X(  -1,   -5), X(  -7,   -1), X(   3,   -7), X(   9,  -11), X(   2,   -2), X( -21,   -8),
        X( -23,   -3), X(  -5,   -8), X( -11,   -2), X(   4,   -5), X(  10,  -12), X(  14,  -14), X(   6,  -15), X( -44,   -2),
        X(  -4,   -5), X(  -5,   -2), X(  -3,    1), X(   6,   -2), X(   7,   -5), X(   8,   -8), X( -19,   -3), X(  -2,  -19),
    },
    { // queen
        X(  -8,  -14), X(  -7,   21), X(  12,   14), X( -10,   21), X(  36,   16), X(  19,   14), X(  27,   10), X(  26,   23),
        X( -23,    7), X( -37,   18), X( -16,   24), X(   0,   23), X( -36,   32), X(  14,    5), X(   5,   27), X(  29,   16),
        X(  -3,   17), X(  -8,   13), X(  15,    1), X( -12,   35), X(   9,   23), X(  12,    5), X(  19,    6), X(  24,   12),
        X( -21,   37), X( -15,   32), X( -18,   22), X( -28,   35), X(  -6,   24), X(  -2,    7), X(  -2,   37), X(   4,   26),
        X(  -2,   13), X( -19,   31), X(   1,   15), X( -14,   37), X(   4,   19), X(   4,   11), X(   8,   23), X(   1,   27),
        X(   1,    6), X(  16,  -13), X(  -3,   17), X(   5,    8), X(   4,   11), X(   5,   13), X(  17,   14), X(  17,   16),
        X( -11,    4), X(   2,  -14), X(  15,   -7), X(   7,    0), X(  11,    6), X(  21,  -11), X(  12,  -20), X(  24,  -12),
        X(   1,   -6), X(  -6,   -9), X(   1,   -7), X(  13,  -12), X(   0,    7), X(  -5,  -10), X(   1,   -4), X( -21,  -19),
    },
    { // king
        X( -66,  -75), X( -18,  -21), X(  21,  -20), X( -21,  -19), X( -70,   -4), X( -39,   20), X(  -5,   10), X(  26,  -32),
        X(  20,   -7), X(  20,   12), X( -33,   22), X(   7,   18), X( -23,   22), X( -27,   38), X( -12,   19), X( -38,   12),
        X(  20,    5), X(  20,   17), X(  21,   17), X( -16,   18), X(  -3,   23), X(  32,   41), X(  51,   36), X( -21,   13),
        X( -10,   -7), X(   0,   14), X( -19,   23), X( -36,   26), X( -29,   27), X( -25,   29), X(  -9,   23), X( -43,    2),
        X( -43,  -15), X(   5,   -6), X( -29,   19), X( -38,   24), X( -47,   29), X( -21,   20), X( -20,    6), X( -46,   -9),
        X( -18,  -17), X(  -6,   -3), X( -21,   13), X( -21,   20), X( -21,   22), X( -18,   15), X(  -7,    6), X( -24,   -5),
        X(  -8,  -25), X(   9,  -12), X( -10,    8), X( -26,   14), X( -21,   17), X(  -9,    9), X(  13,   -3), X(  10,  -13),
        X( -26,  -51), X(  15,  -31), X(   1,  -10), X( -45,    3), X(   2,  -10), X( -30,    2), X(  19,  -18), X(   7,  -39),
    },
};
// clang-format on

void initEvaluation(positionStruct* position)
{
    int phase = 0;
    for (const int colour : {WHITE, BLACK})
    {
        combEval material = X(0, 0);
        combEval pst = X(0, 0);
        for (int code = PAWN + colour; code < NOFPIECECODES; code += 2)
        {
            u64 pieces = position->pieceBB[code];
            const size_t type = typeOf(code);
            if (!isKing(code)) material += pieceValue[type] * popcount(pieces);
            if (!isKing(code) && !isPawn(code)) phase += popcount(pieces) * pieceValuePhase[type];
            while (pieces) pst += pieceSquareScore[type][coordinate(colour, takeLowest(pieces))];
        }
        position->material[colour] = material;
        position->pstScore[colour] = pst;
    }
    position->gamePhase = wrap16(phase);
}


// Evaluation terms
//
// One evaluation builds an evalScratch and hands it from stage to stage. Both colours run through
// the same code. Every term passes through the trace, with the square of the piece that it belongs
// to. The trace adds it to its sum; `recording` also fills the record of evaluateTraced.

namespace
{

/// Attack maps and king counters that the stages of one evaluation share, by colour or piece code.
///
/// startScratch fills in what depends on pawns, kings and lines; evalActivity completes the maps
/// and the counters of its colour.
struct evalScratch
{
    // Left uninitialised on purpose: zeros would be overwritten before anything reads them.
    u8 kingSquare[2];
    u64 attackedBy[NOFPIECECODES]; // squares attacked by one kind of piece; 0 and 1 are not set
    u64 attacksAll[2];             // squares attacked so far
    u64 attacksDouble[2];          // squares attacked at least twice so far
    u64 mobilityArea[2];           // squares that count for mobility
    u64 blockedPawns[2];           // pawns whose next square is occupied
    u64 pawnPushes[2];             // empty squares that a pawn can move to
    u64 pinnedPieces[2];           // pieces alone between their own king and an enemy slider
    u64 discoverers[2];            // pieces alone between their own slider and the enemy king
    i32 kingAttackers[2];          // by attacking colour: attackers of the enemy king's zone
    i32 kingAttackWeight[2];       // the sum of their weights
    i32 kingAdjacentAttacks[2];    // their attacks on squares next to the enemy king
};

/// The trace of an ordinary evaluation, which only sums up. As a template argument it lets one
/// source serve both evaluations, so that the two can't disagree.
struct silent
{
    static constexpr bool traced = false;
    combEval sum = X(0, 0); // white minus black

    void note(evalTerm, int colour, combEval score) { sum += colour == WHITE ? score : -score; }
    void note(evalTerm term, int colour, int, combEval score) { note(term, colour, score); }
    void count(evalTerm term, int colour, u64 set, combEval each)
    {
        note(term, colour, each * popcount(set));
    }
    void difference(evalTerm, u64 white, u64 black, combEval each)
    {
        sum += each * (popcount(white) - popcount(black));
    }
    static void place(evalTerm, int, int, combEval) {}
};

/// The trace of evaluateTraced: adds each term to its record, too.
struct recording
{
    static constexpr bool traced = true;
    evalTrace* trace;
    combEval sum = X(0, 0); // white minus black

    /// Adds a score whose squares are placed elsewhere, or that has none.
    void note(evalTerm term, int colour, combEval score)
    {
        trace->terms[term][colour] += score;
        sum += colour == WHITE ? score : -score;
    }

    /// Adds the score of one square.
    void note(evalTerm term, int colour, int square, combEval score)
    {
        place(term, colour, square, score);
        note(term, colour, score);
    }

    /// Adds a score for each square of a set.
    void count(evalTerm term, int colour, u64 set, combEval each)
    {
        note(term, colour, each * popcount(set));
        while (set) place(term, colour, takeLowest(set), each);
    }

    /// Adds a score for each square of two sets.
    void difference(evalTerm term, u64 white, u64 black, combEval each)
    {
        count(term, WHITE, white, each);
        count(term, BLACK, black, each);
    }

    /// Places a part of a score on a square; `note` adds the score itself.
    void place(evalTerm term, int colour, int square, combEval part) const
    {
        trace->squares[term][colour][square] += part;
    }
};

constexpr u64 notFileA = ~files[0];
constexpr u64 notFileH = ~files[7];

/// The squares that a colour's pawns attack towards the a-file and towards the h-file. Pawns on an
/// edge file are taken out before a shift, since they would arrive on the other edge.
template <int us> constexpr u64 pawnAttacksLeft(u64 pawns)
{
    return us == WHITE ? (pawns & notFileA) << 7 : (pawns & notFileA) >> 9;
}

template <int us> constexpr u64 pawnAttacksRight(u64 pawns)
{
    return us == WHITE ? (pawns & notFileH) << 9 : (pawns & notFileH) >> 7;
}

/// One set of each colour, which is one register of most processors: WHITE and BLACK index it.
using setPair = u64 __attribute__((vector_size(16)));

/// Reads the sets of both colours, which are neighbours in each array by colour or by piece code.
inline setPair bothOf(const u64* sets)
{
    setPair pair;
    std::memcpy(&pair, sets, sizeof pair);
    return pair;
}

inline void writeBoth(setPair pair, u64* sets)
{
    std::memcpy(sets, &pair, sizeof pair);
}

/// For each colour the other one's set.
inline setPair swapped(setPair pair)
{
    return setPair{pair[BLACK], pair[WHITE]};
}

/// The squares one step ahead of each set, as its colour sees it.
inline setPair movedAhead(setPair pair)
{
    return (pair << setPair{8, 0}) >> setPair{0, 8};
}

/// The same by ranks. A rank is a byte, so its shift carries no square around the edge.
using rankBytes = u8 __attribute__((vector_size(16)));

/// The squares beside those of each set, towards the a-file or towards the h-file.
inline setPair leftOf(setPair pair)
{
    return reinterpret_cast<setPair>(reinterpret_cast<rankBytes>(pair) >> 1);
}

inline setPair rightOf(setPair pair)
{
    return reinterpret_cast<setPair>(reinterpret_cast<rankBytes>(pair) << 1);
}

/// Whether a set has a square.
constexpr bool contains(u64 set, int square)
{
    return (set >> square) & 1;
}

/// The squares one step ahead of a set, as a colour sees it.
template <int us> constexpr u64 ahead(u64 bitboard)
{
    return us == WHITE ? bitboard << 8 : bitboard >> 8;
}

/// The square directly ahead of a colour's pawn. For a pawn on its last rank it wraps around the
/// board; a position with such a pawn is never searched.
template <int us> constexpr int stopSquareOf(int square)
{
    return (us == WHITE ? square + 8 : square - 8) & 63;
}

/// The rank of a square as a colour counts it: 0 is its own first rank.
template <int us> constexpr int rankFrom(int square)
{
    return us == WHITE ? rankOf(square) : 7 - rankOf(square);
}

/// The three files around a king; for a king on the a- or h-file, the three at the edge.
constexpr u64 kingFileRegion(int kingSquare)
{
    return (files[0] | files[1] | files[2]) << (std::clamp(fileOf(kingSquare), 1, 6) - 1);
}

} // namespace


// Driver

namespace
{

constexpr int PHASERANGE = GAMEPHASEMAXMG - GAMEPHASEMINEG;

/// Mid-game material of the pawnless draws: a lone knight or bishop is below oneMinor, and oneRook
/// is a lone rook. They follow from the tables, so that a tuned pieceValue can't break the test.
int oneMinor()
{
    return std::max(mgHalf(pieceValue[typeOf(KNIGHT)]), mgHalf(pieceValue[typeOf(BISHOP)])) + 1;
}

int oneRook()
{
    return mgHalf(pieceValue[typeOf(ROOK)]);
}

} // namespace

// EVALBISHOPPAIR: exactly two bishops, even on squares of one colour; together they reach all
// squares. EVALTEMPO: the right to move, which is worth something in most positions.
TCONST combEval EVALBISHOPPAIR = X(33, 44);
TCONST combEval EVALTEMPO = X(25, 17);

namespace
{

// The stages, in the order of the sections below. Each adds its terms to the trace's sum.

/// The structure of one colour's pawns. Adds its passed pawns to `passedPawns`.
template <int us, typename Trace>
void evalPawnStructure(const positionStruct* position, u64& passedPawns, Trace& trace);

/// One colour's passed pawns. The attack maps of both colours must be complete.
template <int us, typename Trace>
void evalPassers(const positionStruct* position, u64 passers, const evalScratch& scratch,
                 Trace& trace);

/// One colour's pieces, knights to queens. Completes the colour's attack maps and king counters.
template <int us, typename Trace>
void evalActivity(const positionStruct* position, evalScratch& scratch, Trace& trace);

/// The attacked pieces, and what pawns could attack with a safe push. The attack maps of both
/// colours must be complete.
template <typename Trace>
void evalThreats(const positionStruct* position, const evalScratch& scratch, Trace& trace);

/// The shield of one colour's king, which depends on pawns and kings alone.
template <int us, typename Trace> int evalShield(const positionStruct* position, Trace& trace);

/// What a shield is worth: half if the enemy has no queen.
template <int us> int shieldWorth(int shield, const positionStruct* position)
{
    return position->pieceBB[QUEEN + (us ^ 1)] ? shield : shield / 2;
}

/// The shield's term.
template <int us, typename Trace>
void evalShieldOf(const positionStruct* position, const pawnEntry& pawns, Trace& trace)
{
    trace.note(termShield, us, X(shieldWorth<us>(pawns.shield[us], position), 0));
}

/// The term of a king without a pawn of its own on its flank.
template <int us, typename Trace> void evalFlank(const positionStruct* position, Trace& trace);

/// The attack on one colour's king. The attack maps of both colours must be complete.
template <int us, typename Trace>
void evalKing(const positionStruct* position, const evalScratch& scratch, Trace& trace);

/// Finds the pieces that are alone between one colour's king and an enemy slider. Such a piece is
/// pinned if it is the king's own. If it is the slider's, its move discovers a check.
template <int us> void findLoners(const positionStruct* position, evalScratch& scratch)
{
    constexpr int them = us ^ 1;
    const u8 king = kingSquareOf(us, position);
    const u64 occupied = allPieces(position);
    u64 sliders = (bishopsAndQueens(them, position) & bishopAttackAll[king]) |
                  (rooksAndQueens(them, position) & rookAttackAll[king]);
    u64 alone = 0;
    for (; sliders; sliders &= sliders - 1)
    {
        const u64 between = inBetweenSquares[king][lowestSquare(sliders)] & occupied;
        if (!moreThanOne(between)) alone |= between;
    }
    scratch.pinnedPieces[us] = alone & position->pieceBB[us];
    scratch.discoverers[them] = alone & position->pieceBB[them];
}

/// Starts the scratch record: kings, pawns, and the pieces between kings and sliders. All this must
/// be there for both colours before the activity of either is scored.
void startScratch(const positionStruct* position, evalScratch& scratch)
{
    const u64* pieces = position->pieceBB;
    const setPair pawns = bothOf(&pieces[PAWN]);
    const u64 occupied = allPieces(position);
    const u64 empty = ~occupied;

    scratch.kingSquare[WHITE] = kingSquareOf(WHITE, position);
    scratch.kingSquare[BLACK] = kingSquareOf(BLACK, position);

    const setPair attacks = movedAhead(leftOf(pawns) | rightOf(pawns));
    writeBoth(attacks, &scratch.attackedBy[PAWN]);
    writeBoth(attacks, scratch.attacksAll);
    writeBoth(movedAhead(leftOf(pawns) & rightOf(pawns)), scratch.attacksDouble);
    const setPair everything = {occupied, occupied};
    writeBoth(pawns & swapped(movedAhead(swapped(everything))), scratch.blockedPawns);

    // A double push doesn't count if an enemy pawn attacks the square that it passes.
    constexpr setPair middle = {0xff0000, 0xff0000000000};
    const setPair passing = movedAhead(pawns) & middle & empty & ~swapped(attacks);
    writeBoth(movedAhead(pawns | passing) & empty, scratch.pawnPushes);

    findLoners<WHITE>(position, scratch);
    findLoners<BLACK>(position, scratch);
}

/// Whether the maps of both colours have been completed: all attacks are in attacksAll, and what is
/// attacked twice is attacked.
[[maybe_unused]] bool areMapsComplete(const evalScratch& scratch)
{
    u64 attacks[2] = {};
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        attacks[colourOf(code)] |= scratch.attackedBy[code];
    return attacks[WHITE] == scratch.attacksAll[WHITE] &&
           attacks[BLACK] == scratch.attacksAll[BLACK] &&
           !(scratch.attacksDouble[WHITE] & ~attacks[WHITE]) &&
           !(scratch.attacksDouble[BLACK] & ~attacks[BLACK]);
}

/// Scores what depends on pawns and kings alone and puts it into the pawn table. Apart from the
/// evaluation, which rarely needs it.
template <typename Trace>
[[gnu::noinline]] const pawnEntry* evalPawnsAfresh(positionStruct* position, Trace trace)
{
    trace.sum = X(0, 0); // this copy sums up what the table holds
    u64 passedPawns = 0;
    evalPawnStructure<WHITE>(position, passedPawns, trace);
    evalPawnStructure<BLACK>(position, passedPawns, trace);
    evalFlank<WHITE>(position, trace);
    evalFlank<BLACK>(position, trace);
    return putPawnHashEntry(position->pawnHashTable, position->pawnHashKey, passedPawns, trace.sum,
                            evalShield<WHITE>(position, trace), evalShield<BLACK>(position, trace));
}

/// What builds on the pawn structure: shields and passed pawns. The attack maps of both colours
/// must be complete.
template <typename Trace>
[[gnu::always_inline]] inline void evalPawnsPassed(const positionStruct* position,
                                                   const pawnEntry& pawns,
                                                   const evalScratch& scratch, Trace& trace)
{
    const u64* pieces = position->pieceBB;
    const u64 passedPawns = pawns.passedPawns;
    assert(!(passedPawns & ~(pieces[PAWN + WHITE] | pieces[PAWN + BLACK])));
    evalShieldOf<WHITE>(position, pawns, trace);
    evalShieldOf<BLACK>(position, pawns, trace);
    evalPassers<WHITE>(position, passedPawns & pieces[PAWN + WHITE], scratch, trace);
    evalPassers<BLACK>(position, passedPawns & pieces[PAWN + BLACK], scratch, trace);
}

/// The positional terms; evalTotal adds material, piece squares and bishop pair. The activity of
/// both colours comes first, because threats, danger and passed pawns read the complete maps of
/// both.
template <typename Trace>
[[gnu::always_inline]] inline void evalPawns(positionStruct* position, Trace& trace)
{
    evalScratch scratch;
    startScratch(position, scratch);
    evalActivity<WHITE>(position, scratch, trace);
    evalActivity<BLACK>(position, scratch, trace);
    assert(areMapsComplete(scratch));
    evalKing<WHITE>(position, scratch, trace);
    evalKing<BLACK>(position, scratch, trace);
    evalThreats(position, scratch, trace);

    // Pawn structures change rarely, so nearly every probe hits. The entry takes a while to fetch,
    // so it is read last. A trace needs the single terms, which the table does not hold.
    const pawnEntry* entry = getPawnHashEntry(position->pawnHashTable, position->pawnHashKey);
    if (!entry || Trace::traced) entry = evalPawnsAfresh(position, trace);
    trace.sum += entry->score;
    evalPawnsPassed(position, *entry, scratch, trace);
}

/// Blends the halves of a packed total by the phase of the game, so that the score does not jump
/// when a piece is exchanged: pure mid-game at GAMEPHASEMAXMG and above, pure end-game at
/// GAMEPHASEMINEG and below, linear in between, truncated toward zero.
int blend(combEval total, int gamePhase)
{
    const int phase = std::clamp(gamePhase, GAMEPHASEMINEG, GAMEPHASEMAXMG);
    const int blended =
        (mgHalf(total) * (phase - GAMEPHASEMINEG) + egHalf(total) * (GAMEPHASEMAXMG - phase)) /
        PHASERANGE;
    return wrap16(blended);
}

/// Whether there are no pawns, and each side has at most one minor piece or each has just a rook.
/// Such positions are nearly always draws, whatever the small terms say.
bool isPawnlessDraw(const positionStruct* position)
{
    if (position->pieceBB[PAWN + WHITE] | position->pieceBB[PAWN + BLACK]) return false;
    const int white = mgHalf(position->material[WHITE]);
    const int black = mgHalf(position->material[BLACK]);
    return (white < oneMinor() && black < oneMinor()) || (white == oneRook() && black == oneRook());
}

/// The total without the tempo.
template <typename Trace>
[[gnu::always_inline]] inline void evalTotal(positionStruct* position, Trace& trace)
{
    trace.note(termMaterial, WHITE, position->material[WHITE]);
    trace.note(termMaterial, BLACK, position->material[BLACK]);
    trace.note(termPieceSquares, WHITE, position->pstScore[WHITE]);
    trace.note(termPieceSquares, BLACK, position->pstScore[BLACK]);
    if (popcount(position->pieceBB[BISHOP + WHITE]) == 2)
        trace.note(termBishopPair, WHITE, EVALBISHOPPAIR);
    if (popcount(position->pieceBB[BISHOP + BLACK]) == 2)
        trace.note(termBishopPair, BLACK, EVALBISHOPPAIR);
    evalPawns(position, trace);
}

/// The tempo.
template <typename Trace> void evalTempo(const positionStruct* position, Trace& trace)
{
    trace.note(termTempo, position->sideToMove, EVALTEMPO);
}

/// Finishes a total and puts it into the evaluation cache; returns the score from white's view.
int finishTotal(combEval total, positionStruct* position)
{
    silent withTempo{total};
    evalTempo(position, withTempo);
    const int score = blend(withTempo.sum, position->gamePhase);
    putEvalHashEntry(position->evalHashTable, position->hashKey, score, total);
    return score;
}

} // namespace

int evaluateAfresh(positionStruct* position)
{
    assert(position->pieceBB[KING + WHITE] && position->pieceBB[KING + BLACK]);
    assert(position->pawnHashTable && position->evalHashTable);
    if (isPawnlessDraw(position)) return 0;
    silent trace;
    evalTotal(position, trace);
    return finishTotal(trace.sum, position);
}

void evaluateNullMove(u64 parentKey, positionStruct* position)
{
    evalHashTableStruct* const cache = position->evalHashTable;
    const evalEntry* parent = getEvalHashEntry(cache, parentKey);
    if (parent && parent->hasTotal && !getEvalHashEntry(cache, position->hashKey))
        finishTotal(parent->total, position);
}


// Pawn structure

// clang-format off

// By file, a to h. The two wings differ. An isolated pawn can't be defended by a pawn; a doubled
// one stands in the other's way; a backward one on a half-open file is a target for rooks.
TCONST combEval EVALPAWNISOLATED[8] = {
    X(  -2,   -6), X(  -5,   -6), X(  -6,  -16), X( -13,  -14), X( -15,  -18), X(   4,  -15), X(  -2,   -5), X( -15,   -6),
};

TCONST combEval EVALPAWNDOUBLED[8] = {
    X( -22,  -29), X(   6,  -16), X(  -9,  -17), X( -16,  -10), X( -14,   -7), X( -10,  -16), X(  13,  -15), X(  -4,  -23),
};

TCONST combEval EVALPAWNBACKHALF[8] = {
    X( -10,  -10), X( -14,  -11), X( -16,  -14), X( -14,  -13), X( -10,  -12), X( -14,  -12), X( -14,   -8), X(  -7,   -4),
};

// By rank, from the owner's first to its eighth. Connected: a pawn defends it. Neighbour: a pawn
// beside it, so that either can advance and be defended by the other.
TCONST combEval EVALPAWNCONNECTED[8] = {
    X(   0,    0), X(   0,    0), X(  11,    5), X(  11,   -1), X(  17,    4), X(  37,   29), X( 104,   39), X(   0,    0),
};

TCONST combEval EVALPAWNNEIGHBOUR[8] = {
    X(   0,    0), X(   4,   -4), X(   4,   -2), X(  10,    2), X(  17,   17), X(  48,   67), X(   2,  147), X(   0,    0),
};

// EVALPAWNPASSEDCANDIDATE[row][rank]: row 0 if fewer friendly pawns defend the pawn than enemy
// pawns attack it, row 1 if at least as many do. The rank is the owner's.
TCONST combEval EVALPAWNPASSEDCANDIDATE[2][8] = {
    {
        X(   0,    0), X( -40,  -12), X( -18,  -10), X(   2,    4), X(  12,   25), X(  32,   17), X(   0,    0), X(   0,    0),
    },
    {
        X(   0,    0), X(  -5,   14), X(  -3,   14), X(   1,   18), X(   9,   13), X(  18,   21), X(   0,    0), X(   0,    0),
    },
};

// clang-format on

// Added for a pawn on one of the three files around its own king, where weak pawns also weaken the
// king's shelter.
TCONST combEval EVALPAWNKSISOLATED = X(-8, 4);
TCONST combEval EVALPAWNKSDOUBLED = X(10, -1);
TCONST combEval EVALPAWNKSBACKWARD = X(-1, 4);

namespace
{

/// All squares of the files of a set.
constexpr u64 wholeFiles(u64 set)
{
    return northFill(set) | southFill(set);
}

/// The squares ahead of a set on its files, as a colour sees it, without the set.
template <int us> constexpr u64 allAhead(u64 set)
{
    return us == WHITE ? northFill(set << 8) : southFill(set >> 8);
}

/// The squares beside those of a set, on the same rank.
constexpr u64 besides(u64 set)
{
    return (set & notFileA) >> 1 | (set & notFileH) << 1;
}

template <int us, typename Trace>
void evalPawnStructure(const positionStruct* position, u64& passedPawns, Trace& trace)
{
    constexpr int them = us ^ 1;
    const u64 region = kingFileRegion(kingSquareOf(us, position));
    const u64 mine = position->pieceBB[PAWN + us];
    const u64 theirs = position->pieceBB[PAWN + them];
    const u64 theirAttacks = pawnAttacksLeft<them>(theirs) | pawnAttacksRight<them>(theirs);
    const u64 ourAttacks = pawnAttacksLeft<us>(mine) | pawnAttacksRight<us>(mine);

    // `score` gives the term of a pawn by its square.
    const auto each = [&](evalTerm term, u64 pawns, auto score)
    {
        for (; pawns; pawns &= pawns - 1)
            trace.note(term, us, lowestSquare(pawns), score(lowestSquare(pawns)));
    };
    const auto byFile = [](const auto& table)
    { return [&table](int square) { return table[fileOf(square)]; }; };
    const auto byRank = [](const auto& table)
    { return [&table](int square) { return table[rankFrom<us>(square)]; }; };

    // Passed: no enemy pawn is ahead on its file or a neighbouring one.
    const u64 opposed = mine & allAhead<them>(theirs);
    const u64 passed = mine & ~opposed & ~allAhead<them>(besides(theirs));
    passedPawns |= passed;

    // A candidate: each enemy pawn in front attacks either it or its stop square, so that exchanges
    // can clear its way. Such a pawn is on a neighbouring file.
    for (u64 pawns = mine & ~opposed & ~passed; pawns; pawns &= pawns - 1)
    {
        const u8 square = lowestSquare(pawns);
        const int stop = stopSquareOf<us>(square);
        // `stopGuards` attack the stop square, `neighbours` defend it: seen from the stop square
        // they are where pawns attack it from.
        const u64 stopGuards = pawnAttackTable[them][stop] & theirs;
        const u64 neighbours = pawnAttackTable[us][stop] & mine;
        const u64 levers = pawnAttackTable[them][square] & theirs;
        const u64 defenders = pawnAttackTable[us][square] & mine;
        const u64 front = passedPawnsMask[us][square] & theirs;
        if ((front & ~levers) == stopGuards && popcount(stopGuards) <= popcount(neighbours))
        {
            const int row = popcount(defenders) >= popcount(levers);
            trace.note(termPawnCandidate, us, square,
                       EVALPAWNPASSEDCANDIDATE[row][rankFrom<us>(square)]);
        }
    }

    const u64 isolated = mine & ~wholeFiles(besides(mine));
    each(termPawnIsolated, isolated, byFile(EVALPAWNISOLATED));
    trace.count(termPawnKsIsolated, us, isolated & region, EVALPAWNKSISOLATED);

    // The pawn that is behind another one. A file with n pawns counts n - 1 doubled ones.
    const u64 doubled = mine & allAhead<them>(mine);
    each(termPawnDoubled, doubled, byFile(EVALPAWNDOUBLED));
    trace.count(termPawnKsDoubled, us, doubled & region, EVALPAWNKSDOUBLED);

    // Backward: it can't step forward safely, and no friendly pawn is further back to support it.
    const u64 backward = mine & ahead<them>(theirAttacks) & ~allAhead<us>(mine | besides(mine));
    trace.count(termPawnKsBackward, us, backward & region, EVALPAWNKSBACKWARD);
    each(termPawnBackHalf, backward & ~wholeFiles(theirs), byFile(EVALPAWNBACKHALF));

    each(termPawnConnected, mine & ourAttacks, byRank(EVALPAWNCONNECTED));
    each(termPawnNeighbour, mine & besides(mine), byRank(EVALPAWNNEIGHBOUR));
}

} // namespace


// Passed pawns

// clang-format off

// EVALPAWNPASSED[stop square empty][stop square attacked][rank]: the rank is the owner's, first to
// eighth. Pieces of both colours occupy the stop square: even its own piece blocks a pawn.
TCONST combEval EVALPAWNPASSED[2][2][8] = {
    {
        { // occupied, not attacked
            X(   0,    0), X( -22,   -7), X(  -1,    9), X(  -1,   31), X(  33,   52), X(  67,   54), X(  65,    4), X(   0,    0),
        },
        { // occupied, attacked
            X(   0,    0), X( -36,  -11), X( -39,   33), X(  -4,   36), X(  30,   62), X(  72,   32), X( 125,  -55), X(   0,    0),
        },
    },
    {
        { // empty, not attacked
            X(   0,    0), X( -20,    2), X(  -7,    8), X(   2,   35), X(  26,   78), X(  73,  151), X( 105,  168), X(   0,    0),
        },
        { // empty, attacked
            X(   0,    0), X( -29,   16), X( -22,   20), X(  -8,   44), X(  38,   53), X(  89,   62), X( 134,   32), X(   0,    0),
        },
    },
};

// By the pawn's distance in king moves from its own king, and from the enemy king: a king that is
// near escorts its pawn, and an enemy king that is far away can't stop it.
TCONST combEval EVALPAWNPASSEDDISTOWN[8] = {
    X(   0,    0), X(  20,    0), X(  15,   -7), X(   5,  -19), X( -15,  -21), X( -20,  -17), X( -25,  -13), X( -30,  -13),
};

TCONST combEval EVALPAWNPASSEDDISTOTHER[8] = {
    X(   0,    0), X( -30,  -39), X( -20,  -38), X(  -5,  -16), X(   0,   -1), X(  20,    5), X(  30,    7), X(  40,    5),
};

// Entry 0 is for a free path: the enemy attacks neither the pawn nor a square ahead of it on its
// file. Other entries are not read.
TCONST combEval EVALPAWNPASSEDPROMO[4] = {
    X( -25,   28), X(   0,    0), X(   0,    0), X(   0,    0),
};

// clang-format on

namespace
{

template <int us, typename Trace>
void evalPassers(const positionStruct* position, u64 passers, const evalScratch& scratch,
                 Trace& trace)
{
    constexpr int them = us ^ 1;
    const u64 occupied = allPieces(position);
    const u64 attacked = scratch.attacksAll[them];
    assert(!(passers & ~position->pieceBB[PAWN + us]));

    while (passers)
    {
        const u8 square = takeLowest(passers);
        const u64 file = files[fileOf(square)];
        const u64 stop = bit(stopSquareOf<us>(square));
        const bool isEmpty = !(occupied & stop);
        const bool isAttacked = attacked & stop;
        combEval value = EVALPAWNPASSEDDISTOWN[distance[square][scratch.kingSquare[us]]] +
                         EVALPAWNPASSED[isEmpty][isAttacked][rankFrom<us>(square)] +
                         EVALPAWNPASSEDDISTOTHER[distance[square][scratch.kingSquare[them]]];
        if (!(ranksAtOrAbove[us][square] & file & attacked)) value += EVALPAWNPASSEDPROMO[0];

        // A friendly rook or queen ahead blocks the pawn's path until it moves away. Rooks belong
        // behind passed pawns (Tarrasch). So the pawn is worth half, or a quarter if it is also
        // attacked.
        if (passedPawnsMask[us][square] & file & rooksAndQueens(us, position))
        {
            const int divisor = attacked & bit(square) ? 4 : 2;
            value = X(mgHalf(value) / divisor, egHalf(value) / divisor);
        }
        trace.note(termPassedPawns, us, square, value);
    }
}

} // namespace


// Piece activity and mobility

// clang-format off

// Three tables by piece type; only the entries of knight to queen are read. EVALPINNED: a pinned
// piece that an enemy pawn attacks, which is as good as lost, since it can't leave. EVALPINNEDFREE:
// any other pinned piece. EVALDISCOVERED: a piece alone between a slider of its own side and the
// enemy king, so that its move gives a discovered check and may take something at the same time.
TCONST combEval EVALPINNED[8] = {
    X(   0,    0), X( -46,  -95), X( -84, -160), X( -25, -113), X( -83, -404), X(   0,    0), X(   0,    0), X(   0,    0),
};

TCONST combEval EVALPINNEDFREE[8] = {
    X(   0,    0), X(  30,    9), X(  25,   21), X(  28,   29), X( -28,   30), X(   0,    0), X(   0,    0), X(   0,    0),
};

TCONST combEval EVALDISCOVERED[8] = {
    X(   0,    0), X( 149,   66), X( 139,   58), X( 190,  128), X( 400,  389), X(   0,    0), X(   0,    0), X(   0,    0),
};

// By the number of counted squares. Each further square is worth less. The bumps come from tuning;
// counts that few games reach have little data.
TCONST combEval EVALMOBILITYKNIGHT[12] = {
    X( -22,  -17), X( -21,  -25), X(  -8,   15), X(   1,   29), X(  13,   32), X(  18,   42),
    X(  26,   39), X(  34,   40), X(  44,   31), X(   0,    0), X(   0,    0), X(   0,    0),
};

TCONST combEval EVALMOBILITYBISHOP[16] = {
    X( -32,  -34), X( -50,    0), X( -28,   -1), X( -17,   16), X(  -9,   22), X(  -1,   28), X(   3,   35), X(   8,   35),
    X(   9,   38), X(  12,   38), X(  15,   38), X(  37,   32), X(  40,   40), X(  43,   26), X(   0,    0), X(   0,    0),
};

TCONST combEval EVALMOBILITYROOK[16] = {
    X( -63,  -92), X( -50,  -35), X( -13,  -23), X(  -8,   -6), X(  -3,    8), X(  -2,   18), X(   0,   25), X(   3,   28),
    X(   9,   31), X(  16,   31), X(  17,   37), X(  26,   40), X(  27,   43), X(  24,   47), X(  40,   40), X(   0,    0),
};

TCONST combEval EVALMOBILITYQUEEN[28] = {
    X( -77,   52), X(  53,   28), X( -43,   11), X( -32,  -25), X( -29,  -27), X( -26,  -30), X( -20,  -30),
    X( -18,  -21), X( -14,  -24), X( -16,   12), X( -12,   10), X( -12,   27), X( -11,   32), X(  -7,   37),
    X(  -4,   39), X(  -4,   49), X(  -8,   55), X(  -7,   60), X(  -4,   59), X(   6,   58), X(   5,   65),
    X(  22,   56), X(  19,   56), X(  30,   57), X(  59,   47), X(  46,   33), X(  64,   36), X(  48,   18),
};

// On an outpost, from which no pawn can drive the piece away: entry 1 if a friendly pawn defends
// it, else entry 0.
TCONST combEval EVALOUTPOSTKNIGHT[2] = {
    X(   4,  -15), X(  23,    5),
};

TCONST combEval EVALOUTPOSTBISHOP[2] = {
    X(   6,   -7), X(  32,    0),
};

// A rook on a file without friendly pawns, along which it can reach the enemy's ranks: entry 0 if
// an enemy pawn is there, else entry 1.
TCONST combEval EVALROOKONOPEN[2] = {
    X(  17,    3), X(  40,   -6),
};

// Entry 0 is for each king move between a knight or bishop and its own king, which it can defend
// only when it is near. Other entries are not read.
TCONST combEval EVALKINGDIST[4] = {
    X(  -3,    0), X(   0,    0), X(   0,    0), X(   0,    0),
};

// clang-format on

// A bad bishop: for each blocked friendly pawn on squares of its colour. Such a pawn is in its way
// for a long time.
TCONST combEval EVALTEST = X(-2, -11);

// EVALKINGATTWEIGHT[type]: weight of a piece that attacks a square of the enemy king's zone. The
// sum of weights is multiplied by the number of attackers, since an attack by several pieces is
// more than the sum of single ones.
TCONST combEval EVALKINGATTWEIGHT[5] = {0, 25, 25, 30, 21};

namespace
{

// Ranks 4 to 6 as the owner counts them.
constexpr u64 outpostMask[2] = {0x0000ffffff000000, 0x000000ffffff0000};
constexpr u64 lightSquares = 0x55aa55aa55aa55aa;

/// The zone around a colour's king.
inline u64 kingZone(int colour, const evalScratch& scratch)
{
    return kingSafetyArea[colour][scratch.kingSquare[colour]];
}

/// The attacks of one colour so far. A local copy of the scratch fields, so that the compiler keeps
/// them in registers while the pieces are entered.
struct attackSums
{
    u64 all;
    u64 twice;
    i32 kingAttackers;
    i32 kingAttackWeight = 0;
    i32 kingAdjacentAttacks = 0;

    void enter(u64 attacks)
    {
        twice |= attacks & all;
        all |= attacks;
    }
};

/// The entry of a mobility table for a number of squares.
template <size_t size> combEval mobilityScore(TCONST combEval (&table)[size], int mobility)
{
    assert(mobility >= 0 && mobility < std::ssize(table));
    return table[mobility];
}

/// All pieces of one kind and colour: enters their attacks into the maps and scores their activity.
/// Rays pass through friendly queens; rays along ranks and files also pass through friendly rooks.
/// So two pieces in line, a battery, both count as attackers of what is ahead.
template <int us, int piece, typename Trace>
inline void evalPieces(const positionStruct* position, attackSums& sums, evalScratch& scratch,
                       Trace& trace)
{
    static_assert(piece >= KNIGHT && piece <= QUEEN);
    constexpr int them = us ^ 1;
    constexpr int type = static_cast<int>(typeOf(piece));
    // `knightTerm` is the first of a run of terms: knight, bishop, rook, queen.
    const auto termOf = [](int knightTerm)
    { return static_cast<evalTerm>(knightTerm + type - static_cast<int>(typeOf(KNIGHT))); };
    const u64 ourPawns = position->pieceBB[PAWN + us];
    const u64 theirPawns = position->pieceBB[PAWN + them];
    const u64 bishopBlockers = allPieces(position) & ~position->pieceBB[QUEEN + us];
    const u64 rookBlockers = bishopBlockers & ~position->pieceBB[ROOK + us];
    const u8 king = scratch.kingSquare[us];
    const u64 enemyZone = kingZone(them, scratch);
    const u64 nextToEnemyKing = kingAttackTable[scratch.kingSquare[them]];
    // Pins and discovered checks are rare, so one test for both comes first.
    const u64 onLines = scratch.pinnedPieces[us] | scratch.discoverers[us];
    u64 attackedByThese = 0;

    for (u64 pieces = position->pieceBB[piece + us]; pieces; pieces &= pieces - 1)
    {
        const u8 square = lowestSquare(pieces);
        u64 attacks = 0;
        if constexpr (piece == KNIGHT) attacks = knightAttackTable[square];
        if constexpr (piece == BISHOP || piece == QUEEN)
            attacks |= getBishopAttackTable(square, bishopBlockers);
        if constexpr (piece == ROOK || piece == QUEEN)
            attacks |= getRookAttackTable(square, rookBlockers);

        if (contains(onLines, square)) [[unlikely]]
        {
            // From here on a pinned piece attacks along the line of the pin only.
            if (contains(scratch.pinnedPieces[us], square))
            {
                attacks &= inLineSquares[king][square];
                trace.note(termOf(termPinnedKnight), us, square,
                           contains(scratch.attackedBy[PAWN + them], square)
                               ? EVALPINNED[type]
                               : EVALPINNEDFREE[type]);
            }
            if (contains(scratch.discoverers[us], square))
                trace.note(termOf(termDiscoveredKnight), us, square, EVALDISCOVERED[type]);
        }

        // Mobility. Squares that enemy pawns attack are not in the area: no piece wants to go
        // there.
        const int mobility = popcount(attacks & scratch.mobilityArea[us]);
        if constexpr (piece == KNIGHT)
            trace.note(termOf(termMobilityKnight), us, square,
                       mobilityScore(EVALMOBILITYKNIGHT, mobility));
        if constexpr (piece == BISHOP)
            trace.note(termOf(termMobilityKnight), us, square,
                       mobilityScore(EVALMOBILITYBISHOP, mobility));
        if constexpr (piece == ROOK)
            trace.note(termOf(termMobilityKnight), us, square,
                       mobilityScore(EVALMOBILITYROOK, mobility));
        if constexpr (piece == QUEEN)
            trace.note(termOf(termMobilityKnight), us, square,
                       mobilityScore(EVALMOBILITYQUEEN, mobility));
        attackedByThese |= attacks;
        sums.enter(attacks);

        // The attack on the king, which evalKing scores once both colours are complete.
        if (attacks & enemyZone)
        {
            ++sums.kingAttackers;
            sums.kingAttackWeight += plain(EVALKINGATTWEIGHT[type]);
            sums.kingAdjacentAttacks += popcount(attacks & nextToEnemyKing);
        }

        if constexpr (piece == KNIGHT || piece == BISHOP)
        {
            // An outpost: no enemy pawn is ahead on a neighbouring file, so none can ever attack
            // it.
            const u64 besides = passedPawnsMask[us][square] & isolatedPawns[square];
            if (contains(outpostMask[us], square) && !(besides & theirPawns))
            {
                const bool defended = contains(scratch.attackedBy[PAWN + us], square);
                trace.note(termOf(termOutpostKnight), us, square,
                           piece == KNIGHT ? EVALOUTPOSTKNIGHT[defended]
                                           : EVALOUTPOSTBISHOP[defended]);
            }
            trace.note(termOf(termKingDistanceKnight), us, square,
                       EVALKINGDIST[0] * distance[square][king]);
        }
        if constexpr (piece == BISHOP)
        {
            const u64 sameColour = contains(lightSquares, square) ? lightSquares : ~lightSquares;
            trace.note(termBadBishop, us, square,
                       EVALTEST * popcount(sameColour & scratch.blockedPawns[us]));
        }
        if constexpr (piece == ROOK)
        {
            const u64 file = files[fileOf(square)];
            if (!(file & ourPawns))
                trace.note(termRookFile, us, square, EVALROOKONOPEN[!(file & theirPawns)]);
        }
    }
    scratch.attackedBy[piece + us] = attackedByThese;
}

template <int us, typename Trace>
void evalActivity(const positionStruct* position, evalScratch& scratch, Trace& trace)
{
    constexpr int them = us ^ 1;
    // Squares of friendly pieces stay in the area: defending a piece counts as mobility.
    scratch.mobilityArea[us] =
        ~(scratch.attackedBy[PAWN + them] | scratch.blockedPawns[us] | bit(scratch.kingSquare[us]));
    scratch.attackedBy[KING + us] = kingAttackTable[scratch.kingSquare[us]];
    attackSums sums{.all = scratch.attackedBy[PAWN + us],
                    .twice = scratch.attacksDouble[us],
                    .kingAttackers =
                        popcount(scratch.attackedBy[PAWN + us] & kingZone(them, scratch))};
    sums.enter(scratch.attackedBy[KING + us]);

    evalPieces<us, KNIGHT>(position, sums, scratch, trace);
    evalPieces<us, BISHOP>(position, sums, scratch, trace);
    evalPieces<us, ROOK>(position, sums, scratch, trace);
    evalPieces<us, QUEEN>(position, sums, scratch, trace);

    scratch.attacksAll[us] = sums.all;
    scratch.attacksDouble[us] = sums.twice;
    scratch.kingAttackers[us] = sums.kingAttackers;
    scratch.kingAttackWeight[us] = sums.kingAttackWeight;
    scratch.kingAdjacentAttacks[us] = sums.kingAdjacentAttacks;
}

} // namespace


// Threats

// For each piece counted. The last score is for the side whose pawn can attack; all others are for
// the side whose pieces are attacked.
TCONST combEval EVALTHREADWEAKPAWN = X(-4, -22);      // pawns on weak squares, no pawn attacks them
TCONST combEval EVALTHREADMINORABPAWN = X(-63, -24);  // minors attacked by a pawn
TCONST combEval EVALTHREADMINORABMINOR = X(-19, -22); // minors attacked by a minor
TCONST combEval EVALTHREADMINORABMAJOR = X(-20, -28); // minors on weak squares, attacked by a major
TCONST combEval EVALTHREADROOKABLESS = X(-56, -8);    // rooks attacked by a pawn or minor
TCONST combEval EVALTHREADQUEENABALL = X(-55, 10);    // queens attacked by anything
TCONST combEval EVALTHREADOVERLOADED = X(-3, -15);    // attacked pieces, defended exactly once

TCONST combEval EVALTHREADPAWNPUSH = X(16, 10); // enemy pieces that a safe push would newly attack

namespace
{

template <typename Trace>
void evalThreats(const positionStruct* position, const evalScratch& scratch, Trace& trace)
{
    // Each set is of the colour of the pieces that are attacked.
    const auto pieces = [=](int code) { return bothOf(&position->pieceBB[code]); };
    // Much of the scratch record never gets to memory, from which bothOf reads.
    const auto bothIn = [](const auto& sets, int code) {
        return setPair{sets[code], sets[code + 1]};
    };
    const auto attackers = [&](int code) { return bothIn(scratch.attackedBy, code); };
    const setPair defended = bothIn(scratch.attacksAll, WHITE);
    const setPair attacked = swapped(defended);
    const setPair defendedTwice = bothIn(scratch.attacksDouble, WHITE);
    const setPair pawnsDefend = attackers(PAWN);
    const setPair byPawns = swapped(pawnsDefend);
    const setPair byMinors = swapped(attackers(KNIGHT) | attackers(BISHOP));
    const setPair byMajors = swapped(attackers(ROOK) | attackers(QUEEN));
    const setPair minors = pieces(KNIGHT) | pieces(BISHOP);
    const setPair majors = pieces(ROOK) | pieces(QUEEN);

    // Weak: attacked and not defended at all, or attacked twice and defended neither twice nor by a
    // pawn. A piece on such a square can be won.
    const setPair weakSquares =
        (swapped(defendedTwice) & ~defendedTwice & ~pawnsDefend) | (attacked & ~defended);
    const auto count = [&](evalTerm term, combEval score, setPair set)
    { trace.difference(term, set[WHITE], set[BLACK], score); };

    count(termThreatWeakPawn, EVALTHREADWEAKPAWN, pieces(PAWN) & weakSquares & ~byPawns);
    count(termThreatMinorByPawn, EVALTHREADMINORABPAWN, minors & byPawns);
    count(termThreatMinorByMinor, EVALTHREADMINORABMINOR, minors & byMinors);
    count(termThreatMinorByMajor, EVALTHREADMINORABMAJOR, minors & weakSquares & byMajors);
    count(termThreatRookByLess, EVALTHREADROOKABLESS, pieces(ROOK) & (byMinors | byPawns));
    count(termThreatQueenByAll, EVALTHREADQUEENABALL, pieces(QUEEN) & attacked);
    count(termThreatOverloaded, EVALTHREADOVERLOADED,
          defended & ~defendedTwice & (minors | majors) & attacked);

    // A push is safe if no enemy pawn attacks the square, and if we defend it when a piece does.
    // Pieces that our pawns attack already are left out.
    const setPair pushes = bothOf(scratch.pawnPushes) & (~attacked | defended) & ~byPawns;
    const setPair hits = movedAhead(leftOf(pushes) | rightOf(pushes));
    count(termThreatPawnPush, EVALTHREADPAWNPUSH, hits & swapped(pieces(WHITE)) & ~pawnsDefend);
}

} // namespace


// King safety

// clang-format off

// EVALPAWNSHIELD[coordinate]: mid-game score of the rearmost friendly pawn of each file in the
// king's zone, by its square. One rank per line, as in pieceSquareScore. Only the rearmost pawn
// counts, because it is the one that covers the king.
TCONST combEval EVALPAWNSHIELD[NOFSQUARES] = {
       0,    0,    0,    0,    0,    0,    0,    0,
     138,   94,  191,  171,   32,  134,  144,  101,
     132,  118,  102,   48,   52,   74,   87,   45,
      46,   47,   57,   -5,   -3,   18,   15,   19,
      30,   14,    4,   -8,  -11,   -7,    7,   15,
      19,   38,    8,   -2,    5,   10,   11,   18,
      18,   43,   32,    8,    3,   35,   27,    9,
       0,    0,    0,    0,    0,    0,    0,    0,
};

// Points of danger: for each attack on a square next to the king, each weak square in its zone,
// each unsafe check and each attack on its flank; for an enemy without a queen; always; and for
// each pinned piece in the zone.
TCONST combEval EVALKINGDANGER[7] = {27, 71, 98, 23, -638, -295, -47};

// clang-format on

// Points for a safe check, once for each kind of piece. The king must answer it, which gives the
// attacker a free move.
TCONST combEval EVALCHECKSAFEQUEEN = 355;
TCONST combEval EVALCHECKSAFEROOK = 475;
TCONST combEval EVALCHECKSAFEBISHOP = 176;
TCONST combEval EVALCHECKSAFEKNIGHT = 413;

// What danger costs: danger d is d * d / TRANSMG in the mid-game and d / TRANSEG in the end-game.
TCONST combEval EVALKINGDANGERTRANSMG = 4095;
TCONST combEval EVALKINGDANGERTRANSEG = 35;

// Entry 0 is for a king without a pawn of its own on its flank. Other entries are not read.
TCONST combEval EVALKINGNOPAWNONFILES[3] = {X(11, -16), X(0, 0), X(0, 0)};

namespace
{

// kingSideFiles[file]: the flank of a king on that file, three or four files wide. A king in the
// middle can go either way; its flank is the centre.
constexpr u64 kingSideFiles[8] = {0x0707070707070707, 0x0f0f0f0f0f0f0f0f, 0x0f0f0f0f0f0f0f0f,
                                  0x3c3c3c3c3c3c3c3c, 0x3c3c3c3c3c3c3c3c, 0xf0f0f0f0f0f0f0f0,
                                  0xf0f0f0f0f0f0f0f0, 0xe0e0e0e0e0e0e0e0};

// RANK1TO5BB[colour]: the first five ranks from the colour's side.
constexpr u64 RANK1TO5BB[2] = {0x000000ffffffffff, 0xffffffffff000000};

template <int us, typename Trace> int evalShield(const positionStruct* position, Trace& trace)
{
    int shield = 0;
    const u64 zone = kingSafetyArea[us][kingSquareOf(us, position)];
    for (u64 pawns = position->pieceBB[PAWN + us] & zone; pawns;)
    {
        const u8 rearmost = us == WHITE ? lowestSquare(pawns) : highestSquare(pawns);
        const int value = plain(EVALPAWNSHIELD[coordinate(us, rearmost)]);
        trace.place(termShield, us, rearmost, X(shieldWorth<us>(value, position), 0));
        shield += value;
        pawns &= ~files[fileOf(rearmost)];
    }
    return shield;
}

/// The points of danger to one colour's king; may be negative.
template <int us> int kingDanger(const positionStruct* position, const evalScratch& scratch)
{
    constexpr int them = us ^ 1;
    const u64* attackedBy = scratch.attackedBy;
    const u8 king = scratch.kingSquare[us];
    const u64 attacked = scratch.attacksAll[them];
    const u64 attackedTwice = scratch.attacksDouble[them];
    const u64 undefended = ~scratch.attacksAll[us];

    // Attacks on the king's flank, up to the fifth rank from its side. Squares attacked twice that
    // no friendly pawn defends count twice.
    const u64 flankAttacks = kingSideFiles[fileOf(king)] & attacked & RANK1TO5BB[us];
    const u64 flankTwice = flankAttacks & attackedTwice & ~attackedBy[PAWN + us];

    // Weak: attacked, and either undefended or defended just once, by the king or a queen, neither
    // of which can take back against a second attacker without risk. Safe: the enemy could check
    // from there without losing the checking piece.
    const u64 weak = (attackedBy[KING + us] | attackedBy[QUEEN + us] | undefended) & attacked &
                     ~scratch.attacksDouble[us];
    const u64 safe = ((attackedTwice & weak) | undefended) & ~position->pieceBB[them];

    // Squares from which each kind of piece gives check. Own queens do not block the lines, since
    // they may have to move away. A queen's check counts only where our queen can't take it.
    const u64 blockers = allPieces(position) & ~position->pieceBB[QUEEN + us];
    const u64 rookLines = getRookAttackTable(king, blockers);
    const u64 bishopLines = getBishopAttackTable(king, blockers);
    const u64 rookChecks = attackedBy[ROOK + them] & rookLines;
    const u64 bishopChecks = attackedBy[BISHOP + them] & bishopLines;
    const u64 knightChecks = attackedBy[KNIGHT + them] & knightAttackTable[king];
    const u64 queenChecks =
        attackedBy[QUEEN + them] & ~attackedBy[QUEEN + us] & (rookLines | bishopLines);

    int danger =
        scratch.kingAttackers[them] * scratch.kingAttackWeight[them] +
        plain(EVALKINGDANGER[0]) * scratch.kingAdjacentAttacks[them] +
        plain(EVALKINGDANGER[1]) * popcount(weak & kingZone(us, scratch)) +
        plain(EVALKINGDANGER[3]) * (popcount(flankAttacks) + popcount(flankTwice)) +
        plain(EVALKINGDANGER[5]) +
        plain(EVALKINGDANGER[6]) * popcount(scratch.pinnedPieces[us] & kingZone(us, scratch));
    // Without a queen an attack is far less dangerous.
    if (!position->pieceBB[QUEEN + them]) danger += plain(EVALKINGDANGER[4]);

    // A kind of piece with a safe check counts once; all checks of the other kinds are unsafe ones.
    // Unsafe checks by a queen don't count.
    u64 unsafeChecks = 0;
    if (queenChecks & safe) danger += plain(EVALCHECKSAFEQUEEN);
    if (rookChecks & safe)
        danger += plain(EVALCHECKSAFEROOK);
    else
        unsafeChecks |= rookChecks;
    if (bishopChecks & safe)
        danger += plain(EVALCHECKSAFEBISHOP);
    else
        unsafeChecks |= bishopChecks;
    if (knightChecks & safe)
        danger += plain(EVALCHECKSAFEKNIGHT);
    else
        unsafeChecks |= knightChecks;
    return danger + plain(EVALKINGDANGER[2]) * popcount(unsafeChecks & scratch.mobilityArea[them]);
}

template <int us, typename Trace> void evalFlank(const positionStruct* position, Trace& trace)
{
    const u8 king = kingSquareOf(us, position);
    const u64 flank = kingSideFiles[fileOf(king)];
    if (position->pieceBB[PAWN + us] & flank) return;
    trace.note(termFlank, us, king, EVALKINGNOPAWNONFILES[0]);
}

// The cost rises with the square of the danger in the mid-game, because each further attacker makes
// the others more dangerous, and in proportion to it in the end-game.
template <int us, typename Trace>
void evalKing(const positionStruct* position, const evalScratch& scratch, Trace& trace)
{
    constexpr int them = us ^ 1;

    // A single attacker counts only if the enemy has a queen, which need not attack itself: without
    // one it can hardly mate.
    if (scratch.kingAttackers[them] + popcount(position->pieceBB[QUEEN + them]) < 2) return;
    const int danger = kingDanger<us>(position, scratch);
    if (danger < 1) return;
    const u32 points = narrow<u32>(danger);
    // The tuner may step a divisor down to zero or below.
    const u32 transMg = narrow<u32>(std::max(plain(EVALKINGDANGERTRANSMG), 1));
    const u32 transEg = narrow<u32>(std::max(plain(EVALKINGDANGERTRANSEG), 1));
    trace.note(termDanger, us,
               -X(static_cast<int>(points * points / transMg), static_cast<int>(points / transEg)));
}

} // namespace


// Evaluation by terms

namespace
{

/// What evalKing adds for one colour's king.
template <int us> combEval dangerTo(const positionStruct* position)
{
    evalTrace ignored{};
    recording record{&ignored};
    evalScratch scratch;
    startScratch(position, scratch);
    evalActivity<WHITE>(position, scratch, record);
    evalActivity<BLACK>(position, scratch, record);
    evalKing<us>(position, scratch, record);
    return ignored.terms[termDanger][us];
}

/// Places the danger to one colour's king, which is not a sum over the attackers. Each half is
/// divided among the enemy pieces, in proportion to how far it would fall without each of them.
template <int us> void placeDanger(positionStruct* position, const recording& record)
{
    constexpr int them = us ^ 1;
    const combEval danger = record.trace->terms[termDanger][us];
    if (danger == X(0, 0)) return;
    combEval falls[NOFSQUARES] = {};
    int mgSum = 0;
    int egSum = 0;
    for (u64 pieces = position->pieceBB[them] & ~position->pieceBB[KING + them]; pieces;)
    {
        const u8 square = takeLowest(pieces);
        u64& kind = position->pieceBB[position->board[square]];
        kind ^= bit(square);
        position->pieceBB[them] ^= bit(square);
        const combEval fall = dangerTo<us>(position) - danger;
        kind ^= bit(square);
        position->pieceBB[them] ^= bit(square);
        falls[square] = X(std::max(mgHalf(fall), 0), std::max(egHalf(fall), 0));
        mgSum += mgHalf(falls[square]);
        egSum += egHalf(falls[square]);
    }
    for (int square = 0; square < NOFSQUARES; ++square)
        record.place(termDanger, us, square,
                     X(mgHalf(danger) * mgHalf(falls[square]) / std::max(mgSum, 1),
                       egHalf(danger) * egHalf(falls[square]) / std::max(egSum, 1)));
}

/// Places the terms that the evaluation knows only as a whole, and what belongs to no square.
void placeRest(positionStruct* position, const recording& record)
{
    for (u64 pieces = allPieces(position); pieces;)
    {
        const u8 square = takeLowest(pieces);
        const int code = position->board[square];
        const int colour = colourOf(code);
        const size_t type = typeOf(code);
        if (!isKing(code)) record.place(termMaterial, colour, square, pieceValue[type]);
        record.place(termPieceSquares, colour, square,
                     pieceSquareScore[type][coordinate(colour, square)]);
    }
    for (const int colour : {WHITE, BLACK})
    {
        const combEval pair = record.trace->terms[termBishopPair][colour];
        if (pair == X(0, 0)) continue;
        for (u64 bishops = position->pieceBB[BISHOP + colour]; bishops;)
            record.place(termBishopPair, colour, takeLowest(bishops),
                         X(mgHalf(pair) / 2, egHalf(pair) / 2));
    }
    placeDanger<WHITE>(position, record);
    placeDanger<BLACK>(position, record);
    for (int term = 0; term < NOFEVALTERMS; ++term)
        for (const int colour : {WHITE, BLACK})
        {
            combEval& shared = record.trace->shared[term][colour];
            shared = record.trace->terms[term][colour];
            for (const combEval part : record.trace->squares[term][colour]) shared -= part;
        }
}

} // namespace

evalTrace evaluateTraced(positionStruct* position)
{
    evalTrace trace{};
    recording record{&trace};
    evalTotal(position, record);
    evalTempo(position, record);
    const combEval total = record.sum;
    placeRest(position, record);
    trace.total = total;
    trace.phase = std::clamp<int>(position->gamePhase, GAMEPHASEMINEG, GAMEPHASEMAXMG);
    trace.isDraw = isPawnlessDraw(position);
    const int score = trace.isDraw ? 0 : blend(total, position->gamePhase);
    trace.score = position->sideToMove == WHITE ? score : -score;
    return trace;
}


// Interface without a caller

void printPSTinFormatX()
{
    // The language forbids reading pairs as 16-bit numbers in place, but not copying their bytes.
    constexpr size_t half = std::size(pieceSquareScore) * NOFSQUARES;
    i16 numbers[2 * half];
    static_assert(sizeof numbers == sizeof pieceSquareScore);
    std::memcpy(numbers, pieceSquareScore, sizeof numbers);
    for (size_t piece = 0; piece < half; piece += NOFSQUARES)
    {
        printTableInFormatX(&numbers[piece], &numbers[half + piece]);
        writeLine("");
    }
}
