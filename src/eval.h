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
#include "hash.h"


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

/// A square as its owner's table coordinate. The tables are printed as a board with white at the
/// bottom, so white's squares are mirrored.
constexpr int coordinate(int colour, int square)
{
    assert(square >= 0 && square < NOFSQUARES);
    return colour == WHITE ? square ^ 56 : square;
}

/// The index of a piece code in the tables by type.
constexpr size_t typeOf(int code)
{
    assert(code >= PAWN && code < NOFPIECECODES);
    return static_cast<size_t>(code) / 2 - 1;
}

/// Saves the three sums in the record of a child.
inline void saveEvaluation(plyStruct& child, const positionStruct* position)
{
    // Read before anything is written, two arrays are one copy of 16 bytes.
    u64 sums[2];
    std::memcpy(&sums[0], position->material, sizeof position->material);
    std::memcpy(&sums[1], position->pstScore, sizeof position->pstScore);
    std::memcpy(child.savedMaterial, &sums[0], sizeof child.savedMaterial);
    std::memcpy(child.savedPstScore, &sums[1], sizeof child.savedPstScore);
    child.savedGamePhase = position->gamePhase;
}

/// Takes a captured piece of the colour `them` out of the three sums.
template <int them>
inline void updateEvaluationCapture(int captured, int square, positionStruct* position)
{
    const size_t type = typeOf(captured);
    position->material[them] -= pieceValue[type];
    position->pstScore[them] -= pieceSquareScore[type][coordinate(them, square)];
    if (captured >= KNIGHT)
        position->gamePhase = wrap16(position->gamePhase - pieceValuePhase[type]);
}

/// Updates the three sums for what a move of the colour `us` does to its own pieces.
template <int us, bool isPlain>
inline void updateEvaluation(moveStruct move, int mover, positionStruct* position)
{
    // The sums are kept up to date move by move: adding up a whole board at each evaluation would
    // cost more than most of the terms.
    const int from = coordinate(us, move.from);
    const int to = coordinate(us, move.to);

    // The cases are those of makeMove; a double push changes the sums like a plain move.
    combEval& pst = position->pstScore[us];
    if (isPlain || move.kind == KINDDOUBLEPUSH)
    {
        const combEval* table = pieceSquareScore[typeOf(mover)];
        pst += table[to] - table[from];
    }
    else if (move.kind == KINDENPASSANT)
    {
        const int landing = enPassantLanding(move.to, us);
        pst += pieceSquareScore[typeOf(PAWN)][coordinate(us, landing)] -
               pieceSquareScore[typeOf(PAWN)][from];
    }
    else if (isCastling(move.kind))
    {
        // The rook's move, counted from the king's square: from the h-file to the f-file, or from
        // the a-file to the d-file.
        const int rookFrom = move.kind == KINDCASTLEKING ? from + 3 : from - 4;
        const int rookTo = move.kind == KINDCASTLEKING ? from + 1 : from - 1;
        pst += pieceSquareScore[typeOf(KING)][to] - pieceSquareScore[typeOf(KING)][from];
        pst += pieceSquareScore[typeOf(ROOK)][rookTo] - pieceSquareScore[typeOf(ROOK)][rookFrom];
    }
    else
    {
        const size_t type = typeOf(move.kind);
        position->material[us] += pieceValue[type] - pieceValue[typeOf(PAWN)];
        pst += pieceSquareScore[type][to] - pieceSquareScore[typeOf(PAWN)][from];
        position->gamePhase = wrap16(position->gamePhase + pieceValuePhase[type]);
    }
}

/// Restores the three sums that saveEvaluation has saved in a record.
inline void restoreEvaluation(const plyStruct& child, positionStruct* position)
{
    u64 sums[2];
    std::memcpy(&sums[0], child.savedMaterial, sizeof child.savedMaterial);
    std::memcpy(&sums[1], child.savedPstScore, sizeof child.savedPstScore);
    std::memcpy(position->material, &sums[0], sizeof position->material);
    std::memcpy(position->pstScore, &sums[1], sizeof position->pstScore);
    position->gamePhase = child.savedGamePhase;
}


// Evaluation

/// The part of evaluateN for a position that the cache does not hold: evaluates it, puts it there,
/// and returns the score from white's view.
int evaluateAfresh(positionStruct* position);

/// The score of a position from the view of the side to move, within 16 bits. Both sides must have
/// a king, the three sums must be up to date, and pawnHashTable and evalHashTable must be bound.
/// `ply` is not used.
inline int evaluateN(int, positionStruct* position)
{
    const evalEntry* entry = getEvalHashEntry(position->evalHashTable, position->hashKey);
    const int score = entry ? entry->score : evaluateAfresh(position);
    return position->sideToMove == WHITE ? score : -score;
}

/// Prepares the evaluation after a null move. It differs from that of the parent in the tempo only;
/// if the parent's is still in the cache, this puts the new one there too.
void evaluateNullMove(u64 parentKey, positionStruct* position);


// Evaluation by terms
//
// EVALGROUPS lists the groups of terms as people see them. EVALTERMS lists the terms in the order
// of the evaluation: TERM(enumerator, group, name, meaning, sentence). Name, meaning and sentence
// are what people read, in quillon_explain, on the analysis board and in docs/evaluation.md. The
// sentence is about one square of the term and the piece there; it has no full stop. The terms of
// pieces come in runs: knight, bishop, rook, queen.

// clang-format off
#define EVALGROUPS(GROUP) \
    GROUP(groupMaterial, "material")                                                              \
    GROUP(groupPieceSquares, "piece squares")                                                     \
    GROUP(groupPawns, "pawns")                                                                    \
    GROUP(groupPassed, "passed pawns")                                                            \
    GROUP(groupActivity, "mobility and activity")                                                 \
    GROUP(groupPins, "pins and discoveries")                                                      \
    GROUP(groupThreats, "threats")                                                                \
    GROUP(groupKing, "king safety")                                                               \
    GROUP(groupTempo, "tempo")

#define EVALTERMS(TERM) \
    TERM(termMaterial, groupMaterial, "material",                                                 \
         "What the pieces are worth, without the kings.",                                         \
         "The %piece on %square")                                                                 \
    TERM(termPieceSquares, groupPieceSquares, "piece squares",                                    \
         "How good its square is for each piece, the king included.",                             \
         "The place of the %piece on %square")                                                    \
    TERM(termPawnCandidate, groupPassed, "pawn candidate",                                        \
         "A pawn that exchanges could make passed: each enemy pawn ahead attacks it or its "      \
         "next square, and at least as many friendly pawns are beside it as guard that square.",  \
         "The pawn on %square may become passed")                                                 \
    TERM(termPawnIsolated, groupPawns, "pawn isolated",                                           \
         "A pawn without a friendly pawn on a neighbouring file.",                                \
         "The pawn on %square is isolated")                                                       \
    TERM(termPawnKsIsolated, groupPawns, "pawn isolated near king",                               \
         "An isolated pawn on one of the three files around its king.",                           \
         "The pawn on %square near the king is isolated")                                         \
    TERM(termPawnDoubled, groupPawns, "pawn doubled",                                             \
         "A pawn with a friendly pawn ahead of it on its file.",                                  \
         "The pawn on %square is behind a friendly pawn")                                         \
    TERM(termPawnKsDoubled, groupPawns, "pawn doubled near king",                                 \
         "A doubled pawn on one of the three files around its king.",                             \
         "The pawn on %square is behind a friendly pawn near the king")                           \
    TERM(termPawnBackHalf, groupPawns, "pawn backward, half-open file",                           \
         "A backward pawn on a file without enemy pawns: an enemy pawn guards its next square, "  \
         "and no friendly pawn is further back on its file or a neighbouring one.",               \
         "The pawn on %square is backward on a half-open file")                                   \
    TERM(termPawnKsBackward, groupPawns, "pawn backward near king",                               \
         "A backward pawn on one of the three files around its king.",                            \
         "The pawn on %square near the king is backward")                                         \
    TERM(termPawnConnected, groupPawns, "pawn connected",                                         \
         "A pawn that a friendly pawn defends.",                                                  \
         "The pawn on %square is defended by a pawn")                                             \
    TERM(termPawnNeighbour, groupPawns, "pawn neighbour",                                         \
         "A pawn with a friendly pawn directly beside it.",                                       \
         "The pawn on %square has a pawn beside it")                                              \
    TERM(termShield, groupKing, "king shield",                                                    \
         "The rearmost friendly pawn of each file close to the king; half as much if the enemy "  \
         "has no queen.",                                                                         \
         "The pawn on %square shields the king")                                                  \
    TERM(termPinnedKnight, groupPins, "knight pinned",                                            \
         "A knight pinned to its king; it matters whether an enemy pawn attacks it.",             \
         "The knight on %square is pinned")                                                       \
    TERM(termPinnedBishop, groupPins, "bishop pinned",                                            \
         "A bishop pinned to its king; it matters whether an enemy pawn attacks it.",             \
         "The bishop on %square is pinned")                                                       \
    TERM(termPinnedRook, groupPins, "rook pinned",                                                \
         "A rook pinned to its king; it matters whether an enemy pawn attacks it.",               \
         "The rook on %square is pinned")                                                         \
    TERM(termPinnedQueen, groupPins, "queen pinned",                                              \
         "A queen pinned to its king; it matters whether an enemy pawn attacks it.",              \
         "The queen on %square is pinned")                                                        \
    TERM(termDiscoveredKnight, groupPins, "knight discovers",                                     \
         "A knight alone between a friendly queen, rook or bishop and the enemy king.",           \
         "The knight on %square may discover a check")                                            \
    TERM(termDiscoveredBishop, groupPins, "bishop discovers",                                     \
         "A bishop alone between a friendly queen, rook or bishop and the enemy king.",           \
         "The bishop on %square may discover a check")                                            \
    TERM(termDiscoveredRook, groupPins, "rook discovers",                                         \
         "A rook alone between a friendly queen, rook or bishop and the enemy king.",             \
         "The rook on %square may discover a check")                                              \
    TERM(termDiscoveredQueen, groupPins, "queen discovers",                                       \
         "A queen alone between a friendly queen, rook or bishop and the enemy king.",            \
         "The queen on %square may discover a check")                                             \
    TERM(termMobilityKnight, groupActivity, "knight mobility",                                    \
         "How many squares a knight attacks, except its king's, its blocked pawns', and those "   \
         "that enemy pawns attack.",                                                              \
         "The mobility of the knight on %square")                                                 \
    TERM(termMobilityBishop, groupActivity, "bishop mobility",                                    \
         "How many squares a bishop attacks, except its king's, its blocked pawns', and those "   \
         "that enemy pawns attack.",                                                              \
         "The mobility of the bishop on %square")                                                 \
    TERM(termMobilityRook, groupActivity, "rook mobility",                                        \
         "How many squares a rook attacks, except its king's, its blocked pawns', and those "     \
         "that enemy pawns attack.",                                                              \
         "The mobility of the rook on %square")                                                   \
    TERM(termMobilityQueen, groupActivity, "queen mobility",                                      \
         "How many squares a queen attacks, except its king's, its blocked pawns', and those "    \
         "that enemy pawns attack.",                                                              \
         "The mobility of the queen on %square")                                                  \
    TERM(termOutpostKnight, groupActivity, "knight outpost",                                      \
         "A knight on its fourth to sixth rank that no enemy pawn can drive away.",               \
         "The knight on %square cannot be driven away by a pawn")                                 \
    TERM(termOutpostBishop, groupActivity, "bishop outpost",                                      \
         "A bishop on its fourth to sixth rank that no enemy pawn can drive away.",               \
         "The bishop on %square cannot be driven away by a pawn")                                 \
    TERM(termKingDistanceKnight, groupActivity, "knight king distance",                           \
         "How far each knight is from its own king.",                                             \
         "The distance of the knight on %square from its king")                                   \
    TERM(termKingDistanceBishop, groupActivity, "bishop king distance",                           \
         "How far each bishop is from its own king.",                                             \
         "The distance of the bishop on %square from its king")                                   \
    TERM(termBadBishop, groupActivity, "bishop bad",                                              \
         "Blocked friendly pawns on squares of a bishop's colour.",                               \
         "The bishop on %square has blocked friendly pawns on its colour")                        \
    TERM(termRookFile, groupActivity, "rook on open file",                                        \
         "A rook on a file without friendly pawns; it matters whether enemy pawns are there.",    \
         "The rook on %square has no friendly pawn on its file")                                  \
    TERM(termPassedPawns, groupPassed, "passed pawns",                                            \
         "A passed pawn: its rank, its next square, which squares ahead the enemy attacks, "      \
         "friendly rooks and queens ahead, and how near both kings are.",                         \
         "The pawn on %square is passed")                                                         \
    TERM(termThreatWeakPawn, groupThreats, "threat: weak pawn",                                   \
         "A pawn that is attacked and not well enough defended, but not attacked by a pawn.",     \
         "The pawn on %square is attacked and not well enough defended")                          \
    TERM(termThreatMinorByPawn, groupThreats, "threat: minor by pawn",                            \
         "A knight or bishop attacked by a pawn.",                                                \
         "A pawn attacks the %piece on %square")                                                  \
    TERM(termThreatMinorByMinor, groupThreats, "threat: minor by minor",                          \
         "A knight or bishop attacked by a knight or bishop.",                                    \
         "A knight or bishop attacks the %piece on %square")                                      \
    TERM(termThreatMinorByMajor, groupThreats, "threat: minor by major",                          \
         "A knight or bishop that is not well enough defended, attacked by a rook or queen.",     \
         "A rook or queen attacks the %piece on %square, which is not well enough defended")      \
    TERM(termThreatRookByLess, groupThreats, "threat: rook by less",                              \
         "A rook attacked by a pawn, knight or bishop.",                                          \
         "A pawn, knight or bishop attacks the rook on %square")                                  \
    TERM(termThreatQueenByAll, groupThreats, "threat: queen by any",                              \
         "A queen attacked by any enemy piece.",                                                  \
         "The queen on %square is attacked")                                                      \
    TERM(termThreatOverloaded, groupThreats, "threat: one defender",                              \
         "An attacked knight, bishop, rook or queen with exactly one defender.",                  \
         "The %piece on %square is attacked and has one defender")                                \
    TERM(termThreatPawnPush, groupThreats, "threat: pawn push",                                   \
         "Enemy pieces that a safe pawn push would newly attack.",                                \
         "A safe pawn push would attack the %piece on %square")                                   \
    TERM(termFlank, groupKing, "king flank",                                                      \
         "A king without a friendly pawn on the three or four files of its flank.",               \
         "The king on %square has no friendly pawn on its flank")                                 \
    TERM(termDanger, groupKing, "king danger",                                                    \
         "The attack on the king: attackers, weak squares around it, attacks on its flank, and "  \
         "checks.",                                                                               \
         "The %piece on %square adds to the danger to the king")                                  \
    TERM(termBishopPair, groupMaterial, "bishop pair",                                            \
         "Exactly two bishops, even if on squares of the same colour.",                           \
         "The bishop on %square is one of two")                                                   \
    TERM(termTempo, groupTempo, "tempo",                                                          \
         "The right to move.",                                                                    \
         "The right to move")
// clang-format on

enum evalGroup : int
{
#define GROUPNUMBER(group, name) group,
    EVALGROUPS(GROUPNUMBER)
#undef GROUPNUMBER
        NOFEVALGROUPS
};

enum evalTerm : int
{
#define TERMNUMBER(term, group, name, meaning, sentence) term,
    EVALTERMS(TERMNUMBER)
#undef TERMNUMBER
        NOFEVALTERMS
};

/// What people read about a term.
struct evalTermText
{
    evalGroup group;
    const char* name;     // such as "knight outpost"
    const char* meaning;  // one sentence on what the term measures
    const char* sentence; // on a "%square" where it counts, and on the "%piece" there
};

#define LISTGROUP(group, name) name,
/// The names of all groups, such as "king safety".
inline constexpr const char* evalGroupNames[] = {EVALGROUPS(LISTGROUP)};
#undef LISTGROUP

// NOLINTBEGIN(bugprone-suspicious-missing-comma): sentences that take two lines
#define LISTTERM(term, group, name, meaning, sentence) {group, name, meaning, sentence},
/// The texts of all terms.
inline constexpr evalTermText evalTermTexts[] = {EVALTERMS(LISTTERM)};
#undef LISTTERM
// NOLINTEND(bugprone-suspicious-missing-comma)

/// The value of a position, term by term.
struct evalTrace
{
    combEval terms[NOFEVALTERMS][2]; // per colour; positive is good for that colour
    // The same by the squares of the pieces that a term is about, of those that a pawn push would
    // attack, and of those that endanger a king. What is left of the term is shared.
    combEval squares[NOFEVALTERMS][2][NOFSQUARES];
    combEval shared[NOFEVALTERMS][2];
    combEval total; // white minus black, before the blend
    int phase;      // clamped to GAMEPHASEMINEG and GAMEPHASEMAXMG
    bool isDraw;    // a pawnless draw: the score is 0 whatever the terms
    int score;      // from the view of the side to move
};

/// Evaluates as evaluateN does, without the caches, and records every term.
evalTrace evaluateTraced(positionStruct* position);


// Interface without a caller

/// Writes pieceSquareScore as if it were two arrays of 16-bit numbers, first all mid-game and then
/// all end-game scores, for six pieces in turn. The table is packed, so what comes out are the raw
/// halves in the order of memory: useful only to look at the memory.
void printPSTinFormatX();
