// SPDX-License-Identifier: MIT
//
// The static evaluation: packed material and piece-square sums that makeMove keeps up to date;
// evaluateN, the score of a position; and evaluateTraced, the same score term by term.
//
// To add a term, write its table and its use in eval.cpp, add a line to EVALTABLES and one to
// EVALTERMS below, add its code to the model in tests/oracle, and give it a test. Then
// `dev/adopt-tables --new-numbers` writes everything else.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

#include "global.h"


// Tables
//
// EVALTABLES lists every tunable table once, in the order in which the tuner counts and prints its
// parameters. It yields the declarations below, the tuner's list of parameters and the names in
// tests/data/evaluation.txt. eval.cpp defines the tables and says what each entry means.
//
//   TABLE(name, shape, first, tuned, kind)
//   SQUARES(piece, index, first, tuned, kind)    one piece of pieceSquareScore
//
// The tuner changes the `tuned` entries from number `first` on; a table of several dimensions
// counts as one long row. The others are fixed, or nothing reads them.

/// What a table holds, and how the tuner prints it; see printTexelParameters in texel.h. The
/// numbers are part of that description.
enum evalTableKind : i32
{
    tablePairs = 0,
    tableLonePair = 1,
    tableNumbers = 2,
    tableLoneNumber = 3,
    tableInnerRanks = 4, // numbers by square; the first and the last rank are not tuned
    tableFirstZero = 5,
    tableFirstAndLastZero = 6,
    tableTwoFirstAndLastZero = 7,
    tableNumbersFirstZero = 8,
    tablePieceValue = 9,
    tablePawnSquares = 10, // the first and the last rank are not tuned
    tablePieceSquares = 11,
    tableKingSquares = 12,
};

// clang-format off
#define EVALTABLES(TABLE, SQUARES) \
    TABLE(pieceValue,              [6],          1,  4, tablePieceValue)          \
    SQUARES(pawn,                  0,            8, 48, tablePawnSquares)        \
    SQUARES(knight,                1,            0, 64, tablePieceSquares)       \
    SQUARES(bishop,                2,            0, 64, tablePieceSquares)       \
    SQUARES(rook,                  3,            0, 64, tablePieceSquares)       \
    SQUARES(queen,                 4,            0, 64, tablePieceSquares)       \
    SQUARES(king,                  5,            0, 64, tableKingSquares)        \
    TABLE(EVALBISHOPPAIR,          ,             0,  1, tableLonePair)            \
    TABLE(EVALTEMPO,               ,             0,  1, tableLonePair)            \
    TABLE(EVALPAWNISOLATED,        [8],          0,  8, tablePairs)               \
    TABLE(EVALPAWNDOUBLED,         [8],          0,  8, tablePairs)               \
    TABLE(EVALPAWNBACKHALF,        [8],          0,  8, tablePairs)               \
    TABLE(EVALPAWNCONNECTED,       [8],          2,  5, tableTwoFirstAndLastZero) \
    TABLE(EVALPAWNNEIGHBOUR,       [8],          1,  6, tableFirstAndLastZero)    \
    TABLE(EVALPAWNPASSEDCANDIDATE, [2][8],       0, 16, tablePairs)               \
    TABLE(EVALPAWNKSISOLATED,      ,             0,  1, tableLonePair)            \
    TABLE(EVALPAWNKSDOUBLED,       ,             0,  1, tableLonePair)            \
    TABLE(EVALPAWNKSBACKWARD,      ,             0,  1, tableLonePair)            \
    TABLE(EVALPAWNPASSED,          [2][2][8],    0, 32, tablePairs)               \
    TABLE(EVALPAWNPASSEDDISTOWN,   [8],          1,  7, tableFirstZero)           \
    TABLE(EVALPAWNPASSEDDISTOTHER, [8],          1,  7, tableFirstZero)           \
    TABLE(EVALPAWNPASSEDPROMO,     [4],          0,  1, tablePairs)               \
    TABLE(EVALPINNED,              [8],          1,  4, tableFirstZero)           \
    TABLE(EVALPINNEDFREE,          [8],          1,  4, tableFirstZero)           \
    TABLE(EVALDISCOVERED,          [8],          1,  4, tableFirstZero)           \
    TABLE(EVALMOBILITYKNIGHT,      [12],         0,  9, tablePairs)               \
    TABLE(EVALMOBILITYBISHOP,      [16],         0, 14, tablePairs)               \
    TABLE(EVALMOBILITYROOK,        [16],         0, 15, tablePairs)               \
    TABLE(EVALMOBILITYQUEEN,       [28],         0, 28, tablePairs)               \
    TABLE(EVALOUTPOSTKNIGHT,       [2],          0,  2, tablePairs)               \
    TABLE(EVALOUTPOSTBISHOP,       [2],          0,  2, tablePairs)               \
    TABLE(EVALROOKONOPEN,          [2],          0,  2, tablePairs)               \
    TABLE(EVALKINGDIST,            [4],          0,  1, tablePairs)               \
    TABLE(EVALTEST,                ,             0,  1, tableLonePair)            \
    TABLE(EVALKINGATTWEIGHT,       [5],          1,  4, tableNumbersFirstZero)    \
    TABLE(EVALTHREADWEAKPAWN,      ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADMINORABPAWN,   ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADMINORABMINOR,  ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADMINORABMAJOR,  ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADROOKABLESS,    ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADQUEENABALL,    ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADOVERLOADED,    ,             0,  1, tableLonePair)            \
    TABLE(EVALTHREADPAWNPUSH,      ,             0,  1, tableLonePair)            \
    TABLE(EVALPAWNSHIELD,          [NOFSQUARES], 8, 48, tableInnerRanks)          \
    TABLE(EVALKINGDANGER,          [7],          0,  7, tableNumbers)             \
    TABLE(EVALCHECKSAFEQUEEN,      ,             0,  1, tableLoneNumber)          \
    TABLE(EVALCHECKSAFEROOK,       ,             0,  1, tableLoneNumber)          \
    TABLE(EVALCHECKSAFEBISHOP,     ,             0,  1, tableLoneNumber)          \
    TABLE(EVALCHECKSAFEKNIGHT,     ,             0,  1, tableLoneNumber)          \
    TABLE(EVALKINGDANGERTRANSMG,   ,             0,  1, tableLoneNumber)          \
    TABLE(EVALKINGDANGERTRANSEG,   ,             0,  1, tableLoneNumber)          \
    TABLE(EVALKINGNOPAWNONFILES,   [3],          0,  1, tablePairs)
// clang-format on

extern TCONST combEval pieceSquareScore[6][NOFSQUARES];

#define DECLARETABLE(name, shape, first, tuned, kind) extern TCONST combEval name shape;
#define DECLARENOTHING(piece, index, first, tuned, kind)
EVALTABLES(DECLARETABLE, DECLARENOTHING)
#undef DECLARETABLE
#undef DECLARENOTHING

/// A tunable table as it lies in memory.
struct evalTable
{
    const char* name; // such as "EVALPINNED[8]", or "pieceSquareScore pawn"
    TCONST combEval* start;
    u32 size;       // entries
    u32 firstTuned; // number of the first entry that is tuned
    u32 nofTuned;   // tuned entries, one after the other
    evalTableKind kind;

    /// Whether the entries are pairs X(mg, eg) and not plain numbers.
    constexpr bool hasPairs() const
    {
        return kind != tableNumbers && kind != tableLoneNumber && kind != tableInnerRanks &&
               kind != tableNumbersFirstZero;
    }

    /// Whether the table is printed with a rank of eight entries before and after the tuned ones.
    constexpr bool hasOuterRanks() const
    {
        return kind == tableInnerRanks || kind == tablePawnSquares;
    }
};

/// The first entry of a table of any shape.
constexpr TCONST combEval* firstEntry(TCONST combEval& entry)
{
    return &entry;
}

template <typename Row, size_t rows> constexpr TCONST combEval* firstEntry(Row (&table)[rows])
{
    return firstEntry(table[0]);
}

// NOLINTBEGIN(bugprone-sizeof-expression): the size of a whole table, in entries
#define LISTTABLE(name, shape, first, tuned, kind)                                                 \
    evalTable{#name #shape, firstEntry(name), sizeof(name) / sizeof(combEval), first, tuned, kind},
#define LISTSQUARES(piece, index, first, tuned, kind)                                              \
    evalTable{"pieceSquareScore " #piece, pieceSquareScore[index], NOFSQUARES, first, tuned, kind},
/// All tunable tables, in the order of the list.
inline constexpr evalTable evalTables[] = {EVALTABLES(LISTTABLE, LISTSQUARES)};
// NOLINTEND(bugprone-sizeof-expression)
#undef LISTTABLE
#undef LISTSQUARES

static_assert(std::all_of(std::begin(evalTables), std::end(evalTables),
                          [](const evalTable& table)
                          { return table.firstTuned + table.nofTuned <= table.size; }),
              "a table is shorter than the list says");


// Numbers that are not tuned

/// pieceValuePhase[type]: weight of a piece in gamePhase; the pawn's and the king's are not read.
constexpr i16 pieceValuePhase[6] = {82, 352, 381, 484, 1043, 12000};
constexpr int GAMEPHASEMAXMG = 6183; // at this phase and above, pure mid-game
constexpr int GAMEPHASEMINEG = 497;  // at this phase and below, pure end-game


// Incremental material

/// Sets material, pstScore and gamePhase from the bitboards.
void initEvaluation(positionStruct* position);

/// Saves the three sums in plies[ply] and updates them for a move of the colour `us`, whose turn it
/// is. `ply` is the child's. Call it before the board changes: it reads the moving piece and the
/// captured one from there.
template <int us> void updateEvaluation(u8 ply, moveStruct move, positionStruct* position);

/// Restores the three sums that updateEvaluation has saved at the same ply.
inline void restoreEvaluation(u8 ply, positionStruct* position)
{
    assert(ply > 0 && ply < NOFPLIES);
    const plyStruct& child = position->plies[ply];
    std::memcpy(position->material, child.savedMaterial, sizeof child.savedMaterial);
    std::memcpy(position->pstScore, child.savedPstScore, sizeof child.savedPstScore);
    position->gamePhase = child.savedGamePhase;
}


// Evaluation

/// The score of a position from the view of the side to move, within 16 bits. Both sides must have
/// a king, the three sums must be up to date, and pawnHashTable and evalHashTable must be bound.
/// `ply` is not used.
int evaluateN(int ply, positionStruct* position);


// Evaluation by terms
//
// EVALTERMS lists the terms in the order of the evaluation: TERM(enumerator, name, meaning). The
// name and the meaning are what people read, in quillon_explain, on the analysis board and in
// docs/evaluation.md. The terms of pieces come in runs: knight, bishop, rook, queen.

// clang-format off
#define EVALTERMS(TERM) \
    TERM(termMaterial, "material", "The values of all pieces but the king.")                      \
    TERM(termPieceSquares, "piece squares", "Where each piece stands, the king included.")        \
    TERM(termPawnCandidate, "pawn candidate",                                                     \
         "A pawn that may become passed: each enemy pawn ahead attacks it or its next square, "   \
         "and enough own pawns stand beside it.")                                                 \
    TERM(termPawnIsolated, "pawn isolated", "A pawn without an own pawn on a neighbouring file.") \
    TERM(termPawnKsIsolated, "pawn isolated near king",                                           \
         "An isolated pawn on one of the three files around its king.")                           \
    TERM(termPawnDoubled, "pawn doubled", "Each pawn beyond the first on a file.")                \
    TERM(termPawnKsDoubled, "pawn doubled near king",                                             \
         "A doubled pawn on one of the three files around its king.")                             \
    TERM(termPawnBackHalf, "pawn backward, half-open file",                                       \
         "A backward pawn on a file without enemy pawns: an enemy pawn guards its next square, "  \
         "and no own pawn further back can support it.")                                          \
    TERM(termPawnKsBackward, "pawn backward near king",                                           \
         "A backward pawn on one of the three files around its king.")                            \
    TERM(termPawnConnected, "pawn connected", "A pawn that an own pawn defends.")                 \
    TERM(termPawnNeighbour, "pawn neighbour", "A pawn with an own pawn directly beside it.")      \
    TERM(termShield, "king shield",                                                               \
         "The own pawns around the king; half as much if the enemy has no queen.")                \
    TERM(termPinnedKnight, "knight pinned",                                                       \
         "A knight pinned to its king, by whether an enemy pawn attacks it.")                     \
    TERM(termPinnedBishop, "bishop pinned",                                                       \
         "A bishop pinned to its king, by whether an enemy pawn attacks it.")                     \
    TERM(termPinnedRook, "rook pinned",                                                           \
         "A rook pinned to its king, by whether an enemy pawn attacks it.")                       \
    TERM(termPinnedQueen, "queen pinned",                                                         \
         "A queen pinned to its king, by whether an enemy pawn attacks it.")                      \
    TERM(termDiscoveredKnight, "knight discovers", "A knight that can give a discovered check.")  \
    TERM(termDiscoveredBishop, "bishop discovers", "A bishop that can give a discovered check.")  \
    TERM(termDiscoveredRook, "rook discovers", "A rook that can give a discovered check.")        \
    TERM(termDiscoveredQueen, "queen discovers",                                                  \
         "A queen alone between an own slider and the enemy king.")                               \
    TERM(termMobilityKnight, "knight mobility",                                                   \
         "The number of squares a knight attacks that enemy pawns do not.")                       \
    TERM(termMobilityBishop, "bishop mobility",                                                   \
         "The number of squares a bishop attacks that enemy pawns do not.")                       \
    TERM(termMobilityRook, "rook mobility",                                                       \
         "The number of squares a rook attacks that enemy pawns do not.")                         \
    TERM(termMobilityQueen, "queen mobility",                                                     \
         "The number of squares a queen attacks that enemy pawns do not.")                        \
    TERM(termOutpostKnight, "knight outpost",                                                     \
         "A knight on its fourth to sixth rank that no enemy pawn can drive away.")               \
    TERM(termOutpostBishop, "bishop outpost",                                                     \
         "A bishop on its fourth to sixth rank that no enemy pawn can drive away.")               \
    TERM(termKingDistanceKnight, "knight king distance",                                          \
         "How far each knight is from its own king.")                                             \
    TERM(termKingDistanceBishop, "bishop king distance",                                          \
         "How far each bishop is from its own king.")                                             \
    TERM(termBadBishop, "bishop bad", "Own blocked pawns on squares of a bishop's colour.")       \
    TERM(termRookFile, "rook on open file",                                                       \
         "A rook on a file without own pawns, by whether enemy pawns are there.")                 \
    TERM(termPassedPawns, "passed pawns",                                                         \
         "Passed pawns: how far they are, what stops them, and how near both kings are.")         \
    TERM(termThreatWeakPawn, "threat: weak pawn",                                                 \
         "A pawn that is attacked and not well enough defended, but not attacked by a pawn.")     \
    TERM(termThreatMinorByPawn, "threat: minor by pawn",                                          \
         "A knight or bishop attacked by a pawn.")                                                \
    TERM(termThreatMinorByMinor, "threat: minor by minor",                                        \
         "A knight or bishop attacked by a knight or bishop.")                                    \
    TERM(termThreatMinorByMajor, "threat: minor by major",                                        \
         "A knight or bishop that is not well enough defended, attacked by a rook or queen.")     \
    TERM(termThreatRookByLess, "threat: rook by less",                                            \
         "A rook attacked by a pawn, knight or bishop.")                                          \
    TERM(termThreatQueenByAll, "threat: queen by any", "A queen attacked by any enemy piece.")    \
    TERM(termThreatOverloaded, "threat: overloaded",                                              \
         "An attacked knight, bishop, rook or queen with exactly one defender.")                  \
    TERM(termThreatPawnPush, "threat: pawn push",                                                 \
         "Enemy pieces that a safe pawn push would newly attack.")                                \
    TERM(termFlank, "king flank",                                                                 \
         "A king without an own pawn on the three or four files of its flank.")                   \
    TERM(termDanger, "king danger",                                                               \
         "The attack on the king: attackers, weak squares around it, and checks.")                \
    TERM(termBishopPair, "bishop pair", "Exactly two bishops.")                                   \
    TERM(termTempo, "tempo", "The right to move.")
// clang-format on

enum evalTerm : int
{
#define TERMNUMBER(term, name, meaning) term,
    EVALTERMS(TERMNUMBER)
#undef TERMNUMBER
        NOFEVALTERMS
};

/// The value of a position, term by term.
struct evalTrace
{
    combEval terms[NOFEVALTERMS][2]; // per colour; positive is good for that colour
    combEval total;                  // white minus black, before the blend
    int phase;                       // clamped to GAMEPHASEMINEG and GAMEPHASEMAXMG
    bool isDraw;                     // a pawnless draw: the score is 0 whatever the terms
    int score;                       // from the view of the side to move
};

/// The name of a term, such as "knight outpost". `term` is below NOFEVALTERMS.
const char* evalTermName(int term);

/// One sentence that says what a term measures. `term` is below NOFEVALTERMS.
const char* evalTermMeaning(int term);

/// Evaluates as evaluateN does, without the caches, and records every term.
evalTrace evaluateTraced(positionStruct* position);


// Interface without a caller

/// Writes pieceSquareScore as if it were two arrays of 16-bit numbers, first all mid-game and then
/// all end-game scores, for six pieces in turn. The table is packed, so what comes out are the raw
/// halves in the order of memory: useful only to look at the memory.
void printPSTinFormatX();
