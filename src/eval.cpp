// SPDX-License-Identifier: MIT
//
// The static evaluation. Every term is a packed pair of a mid-game and an end-game score,
// X(mg, eg) (see combEval in global.h), so that a whole evaluation is summed with plain additions
// and split once, at the end. A colour's terms are good for that colour when positive; the total
// is white minus black, and only the last step turns it to the side to move.
//
//   Material              pieceValue, pieceSquareScore, initEvaluation, updateEvaluation
//   Driver                evaluateN, evalPawns, evalPawnsPassed

#include "eval.h"

#include <algorithm>

#include "hash.h"
#include "moveTable.h"


// Material

namespace
{

// clang-format off

// pieceValue[type]: score of a man by type pawn to king; the king's is never read.
TCONST combEval pieceValue[6] = {
    X(  82,   94), X( 352,  274), X( 381,  293), X( 484,  514), X(1043,  960), X(12000, 12000),
};

// pieceValuePhase[type]: weight of a man in gamePhase; pawn and king are never read.
constexpr i16 pieceValuePhase[6] = {82, 352, 381, 484, 1043, 12000};

// pieceSquareScore[type][coordinate]: score of a man by the square that it stands on, from its
// owner's view. One rank a line, the owner's eighth rank first, files a to h: white reads its
// square XOR 56, black the square itself. Not symmetric between the wings.
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

constexpr int GAMEPHASEMAXMG = 6183; // from here on pure mid-game
constexpr int GAMEPHASEMINEG = 497;  // down from here pure end-game

/// A square as its owner's table coordinate.
constexpr int coordinate(int colour, int square)
{
    return colour == WHITE ? square ^ 56 : square;
}

/// Index of a piece code in the tables by type.
constexpr int typeOf(int code)
{
    return code / 2 - 1;
}

} // namespace

void initEvaluation(positionStruct* position)
{
    int phase = 0;
    for (const int colour : {WHITE, BLACK})
    {
        combEval material = X(0, 0);
        combEval pst = X(0, 0);
        for (int code = PAWN + colour; code < NOFPIECECODES; code += 2)
        {
            u64 men = position->pieceBB[code];
            const int type = typeOf(code);
            if (code < KING) material += pieceValue[type] * popcount(men);
            if (code < KING && code >= KNIGHT) phase += popcount(men) * pieceValuePhase[type];
            while (men) pst += pieceSquareScore[type][coordinate(colour, takeLowest(men))];
        }
        position->material[colour] = material;
        position->pstScore[colour] = pst;
    }
    position->gamePhase = static_cast<i16>(phase);
}

void updateEvaluation(u8 ply, const moveStruct* movePointer, positionStruct* position)
{
    const moveStruct move = *movePointer;
    plyStruct& child = position->plies[ply];
    const int us = position->sideToMove;
    const int them = us ^ 1;
    const int from = coordinate(us, move.from);
    const int to = coordinate(us, move.to);

    for (const int colour : {WHITE, BLACK})
    {
        child.savedMaterial[colour] = position->material[colour];
        child.savedPstScore[colour] = position->pstScore[colour];
    }
    child.savedGamePhase = position->gamePhase;

    const int captured = position->board[move.to];
    if (captured)
    {
        const int type = typeOf(captured);
        position->material[them] -= pieceValue[type];
        position->pstScore[them] -= pieceSquareScore[type][coordinate(them, move.to)];
        if (captured >= KNIGHT)
            position->gamePhase = static_cast<i16>(position->gamePhase - pieceValuePhase[type]);
    }

    combEval& pst = position->pstScore[us];
    if (move.kind == KINDPLAIN || move.kind == KINDDOUBLEPUSH)
    {
        const combEval* table = pieceSquareScore[typeOf(position->board[move.from])];
        pst += table[to] - table[from];
    }
    else if (move.kind == KINDENPASSANT)
    {
        const int landing = us == WHITE ? move.to + 8 : move.to - 8;
        pst += pieceSquareScore[typeOf(PAWN)][coordinate(us, landing)] -
               pieceSquareScore[typeOf(PAWN)][from];
    }
    else if (move.kind >= KINDCASTLEKING)
    {
        // The rook's way in coordinates of its rank: files h to f, or a to d.
        const int rookFrom = move.kind == KINDCASTLEKING ? from + 3 : from - 4;
        const int rookTo = move.kind == KINDCASTLEKING ? from + 1 : from - 1;
        pst += pieceSquareScore[typeOf(KING)][to] - pieceSquareScore[typeOf(KING)][from];
        pst += pieceSquareScore[typeOf(ROOK)][rookTo] - pieceSquareScore[typeOf(ROOK)][rookFrom];
    }
    else
    {
        const int type = typeOf(move.kind);
        position->material[us] += pieceValue[type] - pieceValue[typeOf(PAWN)];
        pst += pieceSquareScore[type][to] - pieceSquareScore[typeOf(PAWN)][from];
        position->gamePhase = static_cast<i16>(position->gamePhase + pieceValuePhase[type]);
    }
}


// Driver

namespace
{

constexpr int PHASERANGE = GAMEPHASEMAXMG - GAMEPHASEMINEG;

// Mid-game material of the pawnless draws.
constexpr int ONEMINOR = 382; // below this a side has at most one knight or bishop
constexpr int ONEROOK = 484;

TCONST combEval EVALBISHOPPAIR = X(33, 44); // for exactly two bishops, of any colours
TCONST combEval EVALTEMPO = X(25, 17);      // for the side to move

/// Blends a packed total by the phase of the game: pure mid-game from GAMEPHASEMAXMG on, pure
/// end-game down from GAMEPHASEMINEG, linear in between, truncated toward zero.
int blend(combEval total, int gamePhase)
{
    const int phase = std::clamp(gamePhase, GAMEPHASEMINEG, GAMEPHASEMAXMG);
    const int blended =
        (mgHalf(total) * (phase - GAMEPHASEMINEG) + egHalf(total) * (GAMEPHASEMAXMG - phase)) /
        PHASERANGE;
    return static_cast<i16>(blended);
}

/// Whether neither side can win without pawns: at most one minor piece each, or rook against rook.
bool isPawnlessDraw(const positionStruct* position)
{
    if (position->pieceBB[PAWN + WHITE] | position->pieceBB[PAWN + BLACK]) return false;
    const int white = mgHalf(position->material[WHITE]);
    const int black = mgHalf(position->material[BLACK]);
    return (white < ONEMINOR && black < ONEMINOR) || (white == ONEROOK && black == ONEROOK);
}

/// The positional sum, white minus black: pawn structure and all that builds on it. Material,
/// piece squares, the bishop pair and the tempo are the driver's.
combEval evalPawns(int, positionStruct*)
{
    return X(0, 0);
}

} // namespace

int evaluateN(int ply, positionStruct* position)
{
    const bool whiteMoves = position->sideToMove == WHITE;
    if (const evalEntry* entry = getEvalHashEntry(position->evalHashTable, position->hashKey))
        return whiteMoves ? entry->score : -entry->score;
    if (isPawnlessDraw(position)) return 0;

    combEval total = evalPawns(ply, position);
    total += position->material[WHITE] - position->material[BLACK];
    total += position->pstScore[WHITE] - position->pstScore[BLACK];
    if (popcount(position->pieceBB[BISHOP + WHITE]) == 2) total += EVALBISHOPPAIR;
    if (popcount(position->pieceBB[BISHOP + BLACK]) == 2) total -= EVALBISHOPPAIR;
    total += whiteMoves ? EVALTEMPO : -EVALTEMPO;

    const int score = blend(total, position->gamePhase);
    putEvalHashEntry(position->evalHashTable, position->hashKey, score);
    return whiteMoves ? score : -score;
}
