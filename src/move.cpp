// SPDX-License-Identifier: MIT
//
// Moves; see move.h. Legality is decided late: generators give pseudo-legal moves, evasions
// excepted, and makeMove refuses the few that leave the king in check before it changes anything.
//
//   Making moves                makeMove, unmakeMove
//   Legality                    inCheckAfterMove, isLegalMove
//   List writers                plainWriter, avx512Writer
//   Generators                  generateMovesCaptures, generateMovesEvade, generateMovesQuiets,
//                               generateMovesQuiescence, generateMovesRecapture, generateMovesLegal
//   Pickers                     getBestMove, doNextMoveStaged, doNextMoveQuiesc, doNextMoveProbCut
//   PV from the table           getPVFromHashTable
//   Interface without a caller  generateSimpleChecks, getBestMoveHist, plainListWriter

#include "move.h"

#include <array>
#include <numeric>
#include <utility>

// The instructions that the second list writer needs.
#if defined(__AVX512VBMI2__) && defined(__AVX512VL__)
#define QUILLON_AVX512
#include <immintrin.h>
#endif

#include "eval.h"
#include "hash.h"
#include "moveTable.h"
#include "search.h"


// Making moves

namespace
{

constexpr u64 corners = 1ULL << A1 | 1ULL << H1 | 1ULL << A8 | 1ULL << H8;

/// Where the capturing pawn lands, one rank beyond the pawn that it takes.
constexpr u8 enPassantLanding(u8 to, int us)
{
    return static_cast<u8>(us == WHITE ? to + 8 : to - 8);
}

/// The rook's squares of a castling move.
struct castlingRook
{
    u8 from;
    u8 to;
};

constexpr castlingRook castlingRookOf(moveStruct move)
{
    if (move.kind == KINDCASTLEKING)
        return {static_cast<u8>(move.from + 3), static_cast<u8>(move.to - 1)};
    return {static_cast<u8>(move.from - 4), static_cast<u8>(move.to + 1)};
}

/// The rights that a move takes away. A move onto a corner counts as the capture of its rook,
/// without a look at the board.
u8 rightsLost(moveStruct move, u8 mover, u8 rights)
{
    u8 lost = 0;
    if (mover & 1)
    {
        if (rights & BLACKRIGHTS)
        {
            if (mover == ROOK + BLACK && move.from == A8) lost |= BLACKQUEENSIDE;
            if (mover == ROOK + BLACK && move.from == H8) lost |= BLACKKINGSIDE;
            if (mover == KING + BLACK) lost |= BLACKRIGHTS;
        }
    }
    else
    {
        if (rights & WHITERIGHTS)
        {
            if (mover == ROOK + WHITE && move.from == A1) lost |= WHITEQUEENSIDE;
            if (mover == ROOK + WHITE && move.from == H1) lost |= WHITEKINGSIDE;
            if (mover == KING + WHITE) lost |= WHITERIGHTS;
        }
        if (rights & BLACKRIGHTS)
        {
            if (move.to == A8) lost |= BLACKQUEENSIDE;
            if (move.to == H8) lost |= BLACKKINGSIDE;
        }
    }
    if (rights & WHITERIGHTS)
    {
        if (move.to == A1) lost |= WHITEQUEENSIDE;
        if (move.to == H1) lost |= WHITEKINGSIDE;
    }
    return lost;
}

} // namespace

template <int us>
bool makeMoveOf(u8 ply, const moveStruct* movePointer, positionStruct* position, bool testLegal)
{
    constexpr int them = us ^ 1;
    const moveStruct move = *movePointer;
    const plyStruct& parent = position->plies[ply - 1];
    plyStruct& child = position->plies[ply];

    if (testLegal && !parent.inCheck &&
        inCheckAfterMove(static_cast<u8>(ply - 1), movePointer, position))
        return false;

    const u8 mover = position->board[move.from];
    const u8 captured = position->board[move.to];
    const bool keyedAsPawn = isPawn(mover) || isKing(mover);

    // The evaluation reads the untouched board.
    updateEvaluation<us>(ply, move, position);

    child.capturedPiece = captured;
    child.savedHashKey = position->hashKey;
    child.savedPawnHashKey = position->pawnHashKey;
    child.savedHalfMoveClock = position->halfMoveClock;
    u64 key = position->hashKey ^ hashCodeBlackToMove ^ hashCodePiece[mover][move.from];
    u64 pawnKey = position->pawnHashKey;

    u8 rights = parent.castlingRights;
    if (rights && ((corners & (bit(move.from) | bit(move.to))) || isKing(mover)))
    {
        key ^= hashCodeCastling[rights];
        rights &= static_cast<u8>(~rightsLost(move, mover, rights));
        key ^= hashCodeCastling[rights];
    }
    child.castlingRights = rights;
    if (parent.enPassantSquare) key ^= hashCodeEnpassant[fileOf(parent.enPassantSquare)];

    // `arriving` is the man that reaches `landing`: the mover but for a promotion, and the move's
    // own `to` but for en passant.
    u8 landing = move.to;
    u8 arriving = mover;
    u8 enPassant = 0;
    if (move.kind != KINDPLAIN)
    {
        if (move.kind == KINDDOUBLEPUSH)
        {
            enPassant = move.to;
            key ^= hashCodeEnpassant[fileOf(move.to)];
        }
        else if (isCastling(move.kind))
        {
            const castlingRook rook = castlingRookOf(move);
            constexpr u8 code = ROOK + us;
            position->pieceBB[code] ^= bit(rook.from) | bit(rook.to);
            position->pieceBB[us] ^= bit(rook.from) | bit(rook.to);
            position->board[rook.from] = NOPIECE;
            position->board[rook.to] = code;
            key ^= hashCodePiece[code][rook.from] ^ hashCodePiece[code][rook.to];
        }
        else if (move.kind == KINDENPASSANT)
        {
            position->board[move.to] = NOPIECE;
            landing = enPassantLanding(move.to, us);
        }
        else
            arriving = static_cast<u8>(move.kind + us);
    }
    child.enPassantSquare = enPassant;

    position->pieceBB[mover] ^= bit(move.from);
    position->pieceBB[arriving] ^= bit(landing);
    position->pieceBB[us] ^= bit(move.from) | bit(landing);
    position->board[move.from] = NOPIECE;
    position->board[landing] = arriving;
    key ^= hashCodePiece[arriving][landing];
    if (keyedAsPawn)
    {
        pawnKey ^= hashCodePiece[mover][move.from];
        if (arriving == mover) pawnKey ^= hashCodePiece[mover][landing];
    }

    i16 clock = mover < KNIGHT ? i16{0} : static_cast<i16>(position->halfMoveClock + 1);
    if (captured)
    {
        position->pieceBB[captured] ^= bit(move.to);
        position->pieceBB[them] ^= bit(move.to);
        key ^= hashCodePiece[captured][move.to];
        if (captured < KNIGHT) pawnKey ^= hashCodePiece[captured][move.to];
        clock = 0;
    }

    position->hashKey = key;
    position->pawnHashKey = pawnKey;
    position->keyHistory[position->keyIndex++] = key;
    position->halfMoveClock = clock;
    position->sideToMove = them;
    return true;
}

template <int us> void unmakeMoveOf(u8 ply, const moveStruct* movePointer, positionStruct* position)
{
    constexpr int them = us ^ 1;
    const moveStruct move = *movePointer;
    const plyStruct& child = position->plies[ply];

    position->sideToMove = us;
    position->hashKey = child.savedHashKey;
    position->pawnHashKey = child.savedPawnHashKey;
    --position->keyIndex;
    position->halfMoveClock = static_cast<i16>(child.savedHalfMoveClock);
    restoreEvaluation(ply, position);

    u8 landing = move.to;
    if (move.kind == KINDENPASSANT) landing = enPassantLanding(move.to, us);
    const u8 arrived = position->board[landing];
    u8 mover = arrived;
    if (move.kind != KINDPLAIN)
    {
        if (isCastling(move.kind))
        {
            const castlingRook rook = castlingRookOf(move);
            constexpr u8 code = ROOK + us;
            position->pieceBB[code] ^= bit(rook.from) | bit(rook.to);
            position->pieceBB[us] ^= bit(rook.from) | bit(rook.to);
            position->board[rook.to] = NOPIECE;
            position->board[rook.from] = code;
        }
        else if (isPromotion(move.kind))
            mover = PAWN + us;
    }

    const u8 captured = child.capturedPiece;
    position->pieceBB[arrived] ^= bit(landing);
    position->pieceBB[mover] ^= bit(move.from);
    position->pieceBB[us] ^= bit(move.from) | bit(landing);
    position->board[landing] = NOPIECE;
    position->board[move.from] = mover;
    position->board[move.to] = captured;
    if (captured)
    {
        position->pieceBB[captured] ^= bit(move.to);
        position->pieceBB[them] ^= bit(move.to);
    }
}

template bool makeMoveOf<WHITE>(u8, const moveStruct*, positionStruct*, bool);
template bool makeMoveOf<BLACK>(u8, const moveStruct*, positionStruct*, bool);
template void unmakeMoveOf<WHITE>(u8, const moveStruct*, positionStruct*);
template void unmakeMoveOf<BLACK>(u8, const moveStruct*, positionStruct*);


// Legality

bool isKingHitAfterMove(const moveStruct* move, const positionStruct* position)
{
    const int us = position->sideToMove;
    const u8 them = static_cast<u8>(us ^ 1);
    const u64 from = bit(move->from);
    const u64 to = bit(move->to);

    u64 occupied = (allMen(position) & ~from) | to;
    if (isKing(position->board[move->from]))
        return isSquareAttackedThrough(move->to, them, occupied, position);
    if (move->kind == KINDENPASSANT)
        occupied = (occupied & ~to) | bit(enPassantLanding(move->to, us));

    // A slider that is taken gives no check.
    const u8 king = kingSquareOf(us, position);
    return (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position) & ~to) ||
           (getRookAttackTable(king, occupied) & rooksAndQueens(them, position) & ~to);
}

namespace
{

/// What a castling move asks for.
struct castlingRule
{
    u8 right;
    u8 kingFrom;
    u8 kingTo;
    u8 rookSquare;
    u8 crossed; // square that must not be attacked; the destination is tested by the move itself
    u64 empty;
};

// [colour][0 king side, 1 queen side]
constexpr castlingRule castlingRules[2][2] = {
    {{WHITEKINGSIDE, E1, G1, H1, F1, 0x60}, {WHITEQUEENSIDE, E1, C1, A1, D1, 0x0e}},
    {{BLACKKINGSIDE, E8, G8, H8, F8, 0x60ULL << 56},
     {BLACKQUEENSIDE, E8, C8, A8, D8, 0x0eULL << 56}}};

/// A pawn's part of the pseudo-legal test. Deliberately loose: the kind byte is believed, and
/// the direction of a capture, the sides of the board and the last rank are not looked at. A move
/// that passes fits the board in every byte that makeMove reads.
bool isPseudoLegalPawnMove(const plyStruct& here, moveStruct move, int us,
                           const positionStruct* position)
{
    const int step = us == WHITE ? 8 : -8;
    const u8* board = position->board;
    const auto isEmpty = [board](int square) { return board[square & 63] == NOPIECE; };

    if (move.kind == KINDDOUBLEPUSH) return isEmpty(move.to) && isEmpty(move.from + step);
    if (move.kind >= KINDENPASSANT)
        return here.enPassantSquare && (enpassantTable[here.enPassantSquare] & bit(move.from)) &&
               board[move.to] == PAWN + (us ^ 1) && isEmpty(move.to + step);

    if (move.from < 8 || move.from > 55) return false;
    const int reach = move.from > move.to ? move.from - move.to : move.to - move.from;
    if (reach < 7 || reach > 9) return false;
    return (move.to == move.from + step) == isEmpty(move.to);
}

/// A castling move's part of the pseudo-legal test. Any kind but 14 counts as 15.
bool isPseudoLegalCastling(const plyStruct& here, moveStruct move, int us,
                           const positionStruct* position)
{
    const castlingRule& rule = castlingRules[us][move.kind == KINDCASTLEKING ? 0 : 1];
    return !here.inCheck && (here.castlingRights & rule.right) &&
           !(allMen(position) & rule.empty) && position->board[rule.rookSquare] == ROOK + us &&
           !isSquareAttacked(rule.crossed, static_cast<u8>(us ^ 1), position);
}

/// Whether the own king stands in check after a pseudo-legal move, whatever the state of pins.
bool isKingAttackedAfter(moveStruct move, int us, const positionStruct* position)
{
    const int them = us ^ 1;
    const u64 to = bit(move.to);
    const bool kingMoves = isKing(position->board[move.from]);

    u64 occupied = (allMen(position) & ~bit(move.from)) | to;
    if (kingMoves && move.kind != KINDPLAIN)
    {
        const castlingRook rook = castlingRookOf(move);
        occupied = (occupied & ~bit(rook.from)) | bit(rook.to);
    }
    else if (move.kind == KINDENPASSANT)
        occupied = (occupied & ~to) | bit(enPassantLanding(move.to, us));

    const u8 king = kingMoves ? move.to : kingSquareOf(us, position);
    const u64 left = ~to;
    return (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position) & left) ||
           (getRookAttackTable(king, occupied) & rooksAndQueens(them, position) & left) ||
           (pawnAttackTable[them][king] & position->pieceBB[PAWN + them] & left) ||
           (knightAttackTable[king] & position->pieceBB[KNIGHT + them] & left) ||
           (kingAttackTable[king] & position->pieceBB[KING + them]);
}

/// Whether unmakeMove can take back what makeMove makes of a pseudo-legal move. It can't for a
/// kind that no generator gives to that man, which the loose tests above let pass.
bool isTakenBack(moveStruct move, int type, int us)
{
    constexpr u32 pawnKinds = 1U << KINDPLAIN | 1U << KNIGHT | 1U << BISHOP | 1U << ROOK |
                              1U << QUEEN | 1U << KINDENPASSANT | 1U << KINDDOUBLEPUSH;
    if (type == PAWN) return pawnKinds >> move.kind & 1;
    if (move.kind == KINDPLAIN) return true;
    const castlingRule& rule = castlingRules[us][move.kind - KINDCASTLEKING];
    return type == KING && move.from == rule.kingFrom && move.to == rule.kingTo;
}

} // namespace

bool isLegalMove(u8 ply, const moveStruct* movePointer, const positionStruct* position,
                 bool pseudoOnly)
{
    const moveStruct move = *movePointer;
    if (moveWord(move) == 0) return false;
    if ((move.from | move.to) >= NOFSQUARES || move.kind > KINDCASTLEQUEEN) return false;

    const u8 mover = position->board[move.from];
    const int us = position->sideToMove;
    const u64 to = bit(move.to);
    if (move.score != mover) return false;
    if (position->pieceBB[us] & to) return false;
    if (isKing(position->board[move.to])) return false;

    // A man of the wrong colour gives an odd or too small type and fits no case.
    const plyStruct& here = position->plies[ply];
    const int type = mover - us;
    const u64 occupied = allMen(position);
    if (type != PAWN && move.kind != KINDPLAIN && !isCastling(move.kind)) return false;
    bool reachable = false;
    switch (type)
    {
    case PAWN: reachable = isPseudoLegalPawnMove(here, move, us, position); break;
    case KNIGHT: reachable = knightAttackTable[move.from] & to; break;
    case BISHOP: reachable = getBishopAttackTable(move.from, occupied) & to; break;
    case ROOK: reachable = getRookAttackTable(move.from, occupied) & to; break;
    case QUEEN:
        reachable =
            (getBishopAttackTable(move.from, occupied) | getRookAttackTable(move.from, occupied)) &
            to;
        break;
    case KING:
        reachable = move.kind == KINDPLAIN ? (kingAttackTable[move.from] & to) != 0
                                           : isPseudoLegalCastling(here, move, us, position);
        break;
    default: break;
    }
    if (!reachable) return false;
    return pseudoOnly || (isTakenBack(move, type, us) && !isKingAttackedAfter(move, us, position));
}


// List writers
//
// A writer appends one move for each bit of `targets`, lowest bit first, and returns the end of the
// list. It has two functions: appendMoves for moves of score 0, and appendCaptures, which adds the
// captured piece's code times 8 to the score, so that the most valuable victim comes first. A
// writer for another instruction set goes beside these two; the build takes the best one that it
// may use.
//
// The words of all these moves are `to * step + base`, so a move costs a multiplication and an
// addition instead of four bytes put together. `step` is byTo for one piece, whose square is in
// `base`. It is byBoth for a step of all pawns at once: `from` then follows `to` at a constant
// distance, which is in `base` as a negative or positive number and wraps around.

namespace
{

constexpr u32 byTo = 0x100;
constexpr u32 byBoth = 0x101;

/// What the words of moves to several targets have in common. `from` and `score` may be negative:
/// what is added for each target brings them back into their bytes.
constexpr u32 moveBase(int from, int score, int kind = KINDPLAIN)
{
    return static_cast<u32>(from) + (static_cast<u32>(kind) << 16) +
           (static_cast<u32>(score) << 24);
}

/// The writer for any processor.
struct plainWriter
{
    static inline moveStruct* appendMoves(moveStruct* moves, u64 targets, u32 step, u32 base)
    {
        while (targets) *moves++ = wordMove(takeLowest(targets) * step + base);
        return moves;
    }

    static inline moveStruct* appendCaptures(moveStruct* moves, u64 targets, u32 step, u32 base,
                                             const positionStruct* position)
    {
        while (targets)
        {
            const u8 to = takeLowest(targets);
            *moves++ = wordMove(to * step + base + moveBase(0, position->board[to] * 8));
        }
        return moves;
    }
};

#ifdef QUILLON_AVX512

/// The writer for AVX-512. A loop over the bits of a set ends with a branch that no predictor
/// guesses, and that was most of the cost of a generator. This processor has an instruction that
/// packs the squares of a set side by side, and then writes eight moves at a time: perft is 1.3 to
/// 1.8 times as fast. It always writes whole groups of eight, so up to seven slots after the end of
/// the list are overwritten. They are free, and the slack of the stack covers the last list.
struct avx512Writer
{
    static inline moveStruct* appendMoves(moveStruct* moves, u64 targets, u32 step, u32 base)
    {
        const int count = popcount(targets);
        const __m256i bases = _mm256_set1_epi32(static_cast<int>(base));
        __m256i squares = packSquares(targets);
        writeEight(moves, squares, step, bases);
        for (int i = 8; i < count; i += 8)
        {
            squares = withoutFirstEight(squares);
            writeEight(moves + i, squares, step, bases);
        }
        return moves + count;
    }

    static inline moveStruct* appendCaptures(moveStruct* moves, u64 targets, u32 step, u32 base,
                                             const positionStruct* position)
    {
        // Most pieces can capture nothing.
        if (!targets) return moves;

        const int count = popcount(targets);
        const __m256i bases = _mm256_set1_epi32(static_cast<int>(base));
        __m256i squares = packSquares(targets);
        __m256i victims = packPieces(targets, position);
        for (int i = 0;;)
        {
            // The code times 8, in the score byte.
            const __m256i scores = _mm256_slli_epi32(firstEight(victims), 24 + 3);
            writeEight(moves + i, squares, step, _mm256_add_epi32(bases, scores));
            i += 8;
            if (i >= count) return moves + count;
            squares = withoutFirstEight(squares);
            victims = withoutFirstEight(victims);
        }
    }

  private:
    // One byte per target, at most 32 of them, so half a register is enough.

    /// The squares of a set, lowest first, then zeros.
    static inline __m256i packSquares(u64 set)
    {
        alignas(64) static constexpr auto squares = []
        {
            std::array<u8, NOFSQUARES> list{};
            std::iota(list.begin(), list.end(), u8{0});
            return list;
        }();
        const __m512i all = _mm512_load_si512(squares.data());
        return _mm512_castsi512_si256(_mm512_maskz_compress_epi8(set, all));
    }

    /// The piece codes on the squares of a set, in the same order.
    static inline __m256i packPieces(u64 set, const positionStruct* position)
    {
        const __m512i all = _mm512_loadu_si512(position->board);
        return _mm512_castsi512_si256(_mm512_maskz_compress_epi8(set, all));
    }

    /// The first eight bytes as 32-bit words.
    static inline __m256i firstEight(__m256i bytes)
    {
        return _mm256_cvtepu8_epi32(_mm256_castsi256_si128(bytes));
    }

    /// The bytes rotated by eight, so that the next eight come first.
    static inline __m256i withoutFirstEight(__m256i bytes)
    {
        return _mm256_permute4x64_epi64(bytes, 0x39);
    }

    /// Writes the moves to the first eight squares.
    static inline void writeEight(moveStruct* moves, __m256i squares, u32 step, __m256i base)
    {
        const __m256i to = firstEight(squares);
        const __m256i from = step == byBoth ? to : _mm256_setzero_si256();
        const __m256i both = _mm256_or_si256(_mm256_slli_epi32(to, 8), from);
        _mm256_storeu_epi32(moves, _mm256_add_epi32(both, base));
    }
};

using writer = avx512Writer;

#else

using writer = plainWriter;

#endif

} // namespace


// Generators

namespace
{

/// Appends the four promotions of one pawn, queen first.
inline moveStruct* appendPromotions(moveStruct* moves, u8 from, u8 to, u8 score)
{
    for (const u8 kind : {QUEEN, ROOK, BISHOP, KNIGHT}) *moves++ = packMove(from, to, kind, score);
    return moves;
}

/// Closes a list one past its last move.
inline void closeList(u8 ply, moveStruct* end, positionStruct* position)
{
    position->plies[ply].moveListEnd = end;
    position->plies[ply + 1].moveListStart = end;
}

/// Whole-board pawn steps of one colour. `right` is towards the side that is generated first: file
/// h for white, file a for black.
template <int us> struct pawnSteps
{
    static constexpr int up = us == WHITE ? 8 : -8;
    static constexpr int left = us == WHITE ? 7 : -7;  // to - from of the second direction
    static constexpr int right = us == WHITE ? 9 : -9; // to - from of the first direction
    static constexpr u64 lastRank = us == WHITE ? 0xffULL << 56 : 0xffULL;
    static constexpr u64 doubleRank = us == WHITE ? 0xffULL << 24 : 0xffULL << 32;
    static constexpr u64 rightWrap = us == WHITE ? files[0] : files[7];
    static constexpr u64 leftWrap = us == WHITE ? files[7] : files[0];

    static constexpr u64 push(u64 pawns) { return us == WHITE ? pawns << 8 : pawns >> 8; }
    static constexpr u64 captureRight(u64 pawns)
    {
        return (us == WHITE ? pawns << 9 : pawns >> 9) & ~rightWrap;
    }
    static constexpr u64 captureLeft(u64 pawns)
    {
        return (us == WHITE ? pawns << 7 : pawns >> 7) & ~leftWrap;
    }
};

/// Computes notPinned: our men that stand alone between our king and an enemy slider. A slider
/// with nothing in between pins nothing and gives check. Returns whether the king is in check.
template <int us> inline bool computePins(u8 ply, positionStruct* position)
{
    constexpr int them = us ^ 1;
    const u8 king = kingSquareOf(us, position);
    const u64 occupied = allMen(position);

    u64 candidates = (bishopsAndQueens(them, position) & bishopAttackAll[king]) |
                     (rooksAndQueens(them, position) & rookAttackAll[king]);
    u64 pinned = 0;
    bool inCheck = ((pawnAttackTable[them][king] & position->pieceBB[PAWN + them]) |
                    (knightAttackTable[king] & position->pieceBB[KNIGHT + them]) |
                    (kingAttackTable[king] & position->pieceBB[KING + them])) != 0;
    while (candidates)
    {
        const u64 between = inBetweenSquares[king][takeLowest(candidates)] & occupied;
        inCheck |= !between;
        if (!moreThanOne(between)) pinned |= between;
    }
    position->plies[ply].notPinned = ~(pinned & position->pieceBB[us]);
    return inCheck;
}

void computePins(u8 ply, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        computePins<WHITE>(ply, position);
    else
        computePins<BLACK>(ply, position);
}

/// Appends knight, bishop, rook and queen moves to `targets`, each scored by `append`.
template <typename Append>
inline moveStruct* appendPieces(moveStruct* moves, u64 knights, u64 bishops, u64 rooks, u64 queens,
                                u64 targets, u64 occupied, Append append)
{
    while (knights)
    {
        const u8 from = takeLowest(knights);
        moves = append(moves, from, knightAttackTable[from] & targets, KNIGHT);
    }
    while (bishops)
    {
        const u8 from = takeLowest(bishops);
        moves = append(moves, from, getBishopAttackTable(from, occupied) & targets, BISHOP);
    }
    while (rooks)
    {
        const u8 from = takeLowest(rooks);
        moves = append(moves, from, getRookAttackTable(from, occupied) & targets, ROOK);
    }
    while (queens)
    {
        const u8 from = takeLowest(queens);
        const u64 attacks =
            getBishopAttackTable(from, occupied) | getRookAttackTable(from, occupied);
        moves = append(moves, from, attacks & targets, QUEEN);
    }
    return moves;
}

/// What a capture generator leaves out or adds.
enum class captureClass
{
    all,        // four promotions per capturing pawn
    quiescence, // queen promotions only
};

// Ordering scores of captures: the victim's code times 8, less this by the mover.
constexpr int pawnMalus = 2;
constexpr int promotionMalus = 14;
constexpr int kingMalus = 12;
constexpr u8 enPassantScore = 14;
constexpr u8 pushPromotionScore = 1;

/// Less for knight 4, bishop 6, rook 8, queen 10: the mover's own code.
constexpr int pieceMalus(u8 type)
{
    return type;
}

/// Appends one direction of pawn captures, promotions first.
template <int us, captureClass which>
inline moveStruct* appendPawnCaptures(moveStruct* moves, u64 targets, int step,
                                      const positionStruct* position)
{
    u64 promotions = targets & pawnSteps<us>::lastRank;
    targets ^= promotions;
    while (promotions)
    {
        const u8 to = takeLowest(promotions);
        const u8 from = static_cast<u8>(to - step);
        const u8 score = static_cast<u8>(position->board[to] * 8 - promotionMalus);
        if constexpr (which == captureClass::all)
            moves = appendPromotions(moves, from, to, score);
        else
            *moves++ = packMove(from, to, QUEEN, score);
    }
    return writer::appendCaptures(moves, targets, byBoth, moveBase(-step, -pawnMalus), position);
}

/// Appends all captures of enemy men within `targets` but en passant and the king's.
template <int us, captureClass which>
inline moveStruct* appendCapturesOf(moveStruct* moves, u64 targets, u64 knights,
                                    const positionStruct* position)
{
    using steps = pawnSteps<us>;
    const u64 pawns = position->pieceBB[PAWN + us];
    moves = appendPawnCaptures<us, which>(moves, steps::captureRight(pawns) & targets, steps::right,
                                          position);
    moves = appendPawnCaptures<us, which>(moves, steps::captureLeft(pawns) & targets, steps::left,
                                          position);
    return appendPieces(moves, knights, position->pieceBB[BISHOP + us],
                        position->pieceBB[ROOK + us], position->pieceBB[QUEEN + us], targets,
                        allMen(position),
                        [position](moveStruct* end, u8 from, u64 attacks, u8 type)
                        {
                            const u32 base = moveBase(from, -pieceMalus(type));
                            return writer::appendCaptures(end, attacks, byTo, base, position);
                        });
}

template <int us>
inline moveStruct* appendEnPassant(moveStruct* moves, u8 square, const positionStruct* position)
{
    if (!square) return moves;
    u64 pawns = position->pieceBB[PAWN + us] & enpassantTable[square];
    while (pawns) *moves++ = packMove(takeLowest(pawns), square, KINDENPASSANT, enPassantScore);
    return moves;
}

template <int us>
inline moveStruct* appendKingCaptures(moveStruct* moves, u64 targets,
                                      const positionStruct* position)
{
    const u8 king = kingSquareOf(us, position);
    return writer::appendCaptures(moves, kingAttackTable[king] & targets, byTo,
                                  moveBase(king, -kingMalus), position);
}

template <int us> void generateCaptures(u8 ply, moveStruct* moves, positionStruct* position)
{
    const plyStruct& here = position->plies[ply];
    const u64 enemies = position->pieceBB[us ^ 1];

    // A pinned knight can never move.
    const u64 knights = position->pieceBB[KNIGHT + us] & here.notPinned;
    moves = appendCapturesOf<us, captureClass::all>(moves, enemies, knights, position);
    moves = appendEnPassant<us>(moves, here.enPassantSquare, position);
    moves = appendKingCaptures<us>(moves, enemies, position);
    closeList(ply, moves, position);
}

} // namespace

void generateMovesCaptures(u8 ply, moveStruct* moves, positionStruct* position)
{
    moves->score = 0;
    computePins(ply, position);
    if (position->plies[ply].inCheck)
    {
        generateMovesEvade(ply, moves, position);
        position->plies[ply].pickerStage = stageEvasions;
    }
    else if (position->sideToMove == WHITE)
        generateCaptures<WHITE>(ply, moves, position);
    else
        generateCaptures<BLACK>(ply, moves, position);
}

namespace
{

// Ordering scores of evasions.
constexpr int kingTakesScore = 220; // and the victim's code, and 1 for the only checker
constexpr u8 kingFleesScore = 202;
constexpr u8 pawnTakesScore = 250;
constexpr u8 pawnBlocksScore = 210;
constexpr int pieceTakesScore = 238;  // less half the mover's code: knight 236 to queen 233
constexpr int pieceBlocksScore = 208; // knight 206 to queen 203

template <int us> void generateEvasions(u8 ply, moveStruct* moves, positionStruct* position)
{
    using steps = pawnSteps<us>;
    constexpr u8 them = us ^ 1;
    const plyStruct& here = position->plies[ply];
    const u8 king = kingSquareOf(us, position);
    const u64 occupied = allMen(position);
    const u64 checkers = (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position)) |
                         (getRookAttackTable(king, occupied) & rooksAndQueens(them, position)) |
                         (pawnAttackTable[them][king] & position->pieceBB[PAWN + them]) |
                         (knightAttackTable[king] & position->pieceBB[KNIGHT + them]);
    const bool doubleCheck = moreThanOne(checkers);

    // The king's rays run on through the square that it leaves.
    const u64 withoutKing = occupied ^ bit(king);
    for (u64 targets = kingAttackTable[king] & ~position->pieceBB[us]; targets;)
    {
        const u8 to = takeLowest(targets);
        if (isSquareAttackedThrough(to, them, withoutKing, position)) continue;
        const u8 victim = position->board[to];
        const int takes = kingTakesScore + victim + (bit(to) == checkers);
        // NOLINTNEXTLINE(readability-suspicious-call-argument): king is its square
        *moves++ = packMove(king, to, KINDPLAIN, victim ? takes : kingFleesScore);
    }
    if (doubleCheck || !checkers)
    {
        closeList(ply, moves, position);
        return;
    }

    // A pinned man can't answer a check from another line.
    const u64 able = here.notPinned;
    const u64 pawns = position->pieceBB[PAWN + us] & able;
    const u8 checker = lowestSquare(checkers);
    const auto pawnTakes = [&moves](u64 targets, int step)
    {
        if (!targets) return;
        const u8 to = lowestSquare(targets);
        const u8 from = static_cast<u8>(to - step);
        if (targets & steps::lastRank)
            moves = appendPromotions(moves, from, to, pawnTakesScore);
        else
            *moves++ = packMove(from, to, KINDPLAIN, pawnTakesScore);
    };
    pawnTakes(steps::captureRight(pawns) & checkers, steps::right);
    pawnTakes(steps::captureLeft(pawns) & checkers, steps::left);

    // Only the checking pawn itself is worth taking en passant: the landing square blocks nothing.
    if (here.enPassantSquare == checker)
        for (u64 takers = pawns & enpassantTable[checker]; takers;)
            *moves++ = packMove(takeLowest(takers), checker, KINDENPASSANT, pawnTakesScore);

    const u64 between = inBetweenSquares[king][checker];
    const u64 pushed = steps::push(pawns) & ~occupied;
    u64 promotions = pushed & between & steps::lastRank;
    u64 singles = pushed & between & ~steps::lastRank;
    u64 doubles = steps::push(pushed) & ~occupied & between & steps::doubleRank;
    while (promotions)
    {
        const u8 to = takeLowest(promotions);
        moves = appendPromotions(moves, static_cast<u8>(to - steps::up), to, pawnBlocksScore);
    }
    while (singles)
    {
        const u8 to = takeLowest(singles);
        *moves++ = packMove(to - steps::up, to, KINDPLAIN, pawnBlocksScore);
    }
    while (doubles)
    {
        const u8 to = takeLowest(doubles);
        *moves++ = packMove(to - 2 * steps::up, to, KINDDOUBLEPUSH, pawnBlocksScore);
    }

    moves = appendPieces(moves, position->pieceBB[KNIGHT + us] & able,
                         position->pieceBB[BISHOP + us] & able, position->pieceBB[ROOK + us] & able,
                         position->pieceBB[QUEEN + us] & able, between | checkers, occupied,
                         [checkers](moveStruct* end, u8 from, u64 targets, u8 type)
                         {
                             while (targets)
                             {
                                 const u8 to = takeLowest(targets);
                                 const int score =
                                     bit(to) == checkers ? pieceTakesScore : pieceBlocksScore;
                                 *end++ = packMove(from, to, KINDPLAIN, score - type / 2);
                             }
                             return end;
                         });
    closeList(ply, moves, position);
}

} // namespace

void generateMovesEvade(u8 ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateEvasions<WHITE>(ply, moves, position);
    else
        generateEvasions<BLACK>(ply, moves, position);
}

namespace
{

/// Returns where the castling moves stand if there are any.
template <int us>
inline moveStruct* generateQuiets(u8 ply, moveStruct* moves, positionStruct* position)
{
    using steps = pawnSteps<us>;
    const plyStruct& here = position->plies[ply];
    const u64 occupied = allMen(position);
    const u64 empty = ~occupied;

    const u64 pushed = steps::push(position->pieceBB[PAWN + us]) & empty;
    u64 promotions = pushed & steps::lastRank;
    const u64 singles = pushed & ~steps::lastRank;
    const u64 doubles = steps::push(pushed) & empty & steps::doubleRank;
    while (promotions)
    {
        const u8 to = takeLowest(promotions);
        moves = appendPromotions(moves, static_cast<u8>(to - steps::up), to, 0);
    }
    moves = writer::appendMoves(moves, singles, byBoth, moveBase(-steps::up, 0));
    moves =
        writer::appendMoves(moves, doubles, byBoth, moveBase(-2 * steps::up, 0, KINDDOUBLEPUSH));

    moveStruct* const castling = moves;
    // King and rook are where the right says; the destination is left to makeMove.
    if ((here.castlingRights & (us == WHITE ? WHITERIGHTS : BLACKRIGHTS)) && !here.inCheck)
        for (const int wing : {0, 1})
        {
            const castlingRule& rule = castlingRules[us][wing];
            if ((here.castlingRights & rule.right) && !(occupied & rule.empty) &&
                !isSquareAttacked(rule.crossed, us ^ 1, position))
                *moves++ = packMove(rule.kingFrom, rule.kingTo, KINDCASTLEKING + wing, 0);
        }

    moves = appendPieces(moves, position->pieceBB[KNIGHT + us] & here.notPinned,
                         position->pieceBB[BISHOP + us], position->pieceBB[ROOK + us],
                         position->pieceBB[QUEEN + us], empty, occupied,
                         [](moveStruct* end, u8 from, u64 targets, u8)
                         { return writer::appendMoves(end, targets, byTo, moveBase(from, 0)); });
    const u8 king = kingSquareOf(us, position);
    moves = writer::appendMoves(moves, kingAttackTable[king] & empty, byTo, moveBase(king, 0));
    closeList(ply, moves, position);
    return castling;
}

template <int us> void generateQuiescence(u8 ply, moveStruct* moves, positionStruct* position)
{
    using steps = pawnSteps<us>;
    const plyStruct& here = position->plies[ply];
    const u64 enemies = position->pieceBB[us ^ 1];

    const u64 knights = position->pieceBB[KNIGHT + us] & here.notPinned;
    moves = appendCapturesOf<us, captureClass::quiescence>(moves, enemies, knights, position);
    moves = appendKingCaptures<us>(moves, enemies, position);
    moves = appendEnPassant<us>(moves, here.enPassantSquare, position);

    u64 promotions =
        steps::push(position->pieceBB[PAWN + us]) & ~allMen(position) & steps::lastRank;
    while (promotions)
    {
        const u8 to = takeLowest(promotions);
        *moves++ = packMove(to - steps::up, to, QUEEN, pushPromotionScore);
    }
    closeList(ply, moves, position);
}

template <int us> void generateRecapture(u8 ply, moveStruct* moves, positionStruct* position)
{
    // After an en passant capture the square is empty, and so is the list. En passant itself is
    // never among the recaptures: the pawn to be taken would stand on the target square itself,
    // and a pawn that has just double-pushed has captured nothing.
    const u64 target = bit(position->plies[ply - 1].currentMove.to) & position->pieceBB[us ^ 1];
    moves = appendCapturesOf<us, captureClass::quiescence>(
        moves, target, position->pieceBB[KNIGHT + us], position);
    moves = appendKingCaptures<us>(moves, target, position);
    closeList(ply, moves, position);
}

} // namespace

void generateMovesQuiets(u8 ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateQuiets<WHITE>(ply, moves, position);
    else
        generateQuiets<BLACK>(ply, moves, position);
}

void generateMovesQuiescence(u8 ply, moveStruct* moves, positionStruct* position)
{
    computePins(ply, position);
    if (position->plies[ply].inCheck)
        generateMovesEvade(ply, moves, position);
    else if (position->sideToMove == WHITE)
        generateQuiescence<WHITE>(ply, moves, position);
    else
        generateQuiescence<BLACK>(ply, moves, position);
}

void generateMovesRecapture(u8 ply, moveStruct* moves, positionStruct* position)
{
    if (position->plies[ply].inCheck)
    {
        computePins(ply, position);
        generateMovesEvade(ply, moves, position);
    }
    else if (position->sideToMove == WHITE)
        generateRecapture<WHITE>(ply, moves, position);
    else
        generateRecapture<BLACK>(ply, moves, position);
}

namespace
{

/// Where in a list of all moves those stand that can be illegal when nothing is pinned.
struct kingStretches
{
    const moveStruct* captures; // the king's
    const moveStruct* quiets;   // of all men; the end of the king's captures
    const moveStruct* castling;
    const moveStruct* kingQuiets; // to the end of the list
};

/// All moves; in check the evasions, and no stretches. Computes inCheck and notPinned.
template <int us>
inline kingStretches generateAll(u8 ply, moveStruct* moves, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    moves->score = 0;
    here.inCheck = computePins<us>(ply, position);
    if (here.inCheck)
    {
        generateEvasions<us>(ply, moves, position);
        here.pickerStage = stageEvasions;
        return {};
    }

    // The king comes last among the captures and among the quiet moves.
    const u64 kingTargets = kingAttackTable[kingSquareOf(us, position)];
    generateCaptures<us>(ply, moves, position);
    moveStruct* const quiets = here.moveListEnd;
    const moveStruct* const castling = generateQuiets<us>(ply, quiets, position);
    return {quiets - popcount(kingTargets & position->pieceBB[us ^ 1]), quiets, castling,
            here.moveListEnd - popcount(kingTargets & ~allMen(position))};
}

template <int us> void generateLegal(u8 ply, moveStruct* moves, positionStruct* position)
{
    generateAll<us>(ply, moves, position);
    const plyStruct& here = position->plies[ply];
    if (here.inCheck) return;

    // An illegal move changes places with the last one and is dropped; the root search depends on
    // the order that this leaves.
    moveStruct* end = here.moveListEnd;
    for (moveStruct* move = moves; move < end;)
    {
        if (inCheckAfterMove(ply, move, position))
            std::swap(*move, *--end);
        else
            ++move;
    }
    closeList(ply, end, position);
}

template <int us> u32 countLegal(u8 ply, moveStruct* moves, positionStruct* position)
{
    const kingStretches stretches = generateAll<us>(ply, moves, position);
    const plyStruct& here = position->plies[ply];
    const moveStruct* const end = here.moveListEnd;
    u32 count = static_cast<u32>(end - moves);
    if (here.inCheck) return count;

    const auto takeOffIllegal = [=, &count](const moveStruct* first, const moveStruct* last)
    {
        for (; first < last; ++first) count -= inCheckAfterMove(ply, first, position);
    };
    if (here.notPinned != ~0ULL || here.enPassantSquare)
        takeOffIllegal(moves, end);
    else
    {
        // inCheckAfterMove would let all others pass without a look at the board.
        takeOffIllegal(stretches.captures, stretches.quiets);
        const moveStruct* move = stretches.castling;
        for (; move < end && isCastling(move->kind); ++move)
            count -= inCheckAfterMove(ply, move, position);
        takeOffIllegal(stretches.kingQuiets, end);
    }
    return count;
}

} // namespace

void generateMovesLegal(u8 ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateLegal<WHITE>(ply, moves, position);
    else
        generateLegal<BLACK>(ply, moves, position);
}

u32 countMovesLegal(u8 ply, moveStruct* moves, positionStruct* position)
{
    return position->sideToMove == WHITE ? countLegal<WHITE>(ply, moves, position)
                                         : countLegal<BLACK>(ply, moves, position);
}


// Pickers

void getBestMove(moveStruct* first, const moveStruct* end)
{
    moveStruct* best = first;
    for (moveStruct* move = first + 1; move < end; ++move)
        if (move->score > best->score) best = move;
    if (best != first) std::swap(*first, *best);
}

namespace
{

/// The share of cut-offs in what a quiet move has done, in 128ths, 0 to 128; 64 without data.
u32 historyRatio(moveStruct move, const positionStruct* position)
{
    const int man = position->board[move.from] - PAWN;
    const u32 good = position->historyGood[man][move.to];
    const u32 sum = good + position->historyBad[man][move.to];
    return sum ? good * 128 / sum : 64;
}

/// Swaps the quiet move of the highest history ratio to the cursor. The ratios stand in the score
/// bytes, worked out again only when a cut-off has changed the history since: below a node of depth
/// 2 or less none does, and to divide for each move at each pick took a fifteenth of the search.
void getBestQuiet(plyStruct& here, moveStruct* cursor, const positionStruct* position)
{
    if (here.rankedAt != position->historyChanges)
    {
        here.rankedAt = position->historyChanges;
        for (moveStruct* move = cursor; move < here.moveListEnd; ++move)
            move->score = static_cast<u8>(historyRatio(*move, position));
    }
    getBestMove(cursor, here.moveListEnd);
}

/// Puts a killer or counter move into the slot of the cursor and makes it, if it can be played.
bool playStoredMove(u8 ply, moveStruct move, moveStruct* cursor, positionStruct* position)
{
    if (!isLegalMove(ply, &move, position, true)) return false;
    *cursor = move;
    return makeMove(static_cast<u8>(ply + 1), cursor, position, true);
}

/// Stage 99: evasions are exact and need no test.
bool playEvasion(u8 ply, moveStruct* cursor, positionStruct* position)
{
    const plyStruct& here = position->plies[ply];
    if (cursor == here.moveListEnd) return false;
    getBestMove(cursor, here.moveListEnd);
    if (sameMove(*cursor, here.hashMove)) return false;
    return makeMove(static_cast<u8>(ply + 1), cursor, position, false);
}

} // namespace

// Layout of a node's list, in address order:
//
//   stretch                                      | filled by
//   ---------------------------------------------|---------------------------------------
//   hash move, if legal: one slot                | the search
//   captures, the best one selected at each slot | stage 1
//   first killer, second killer, counter move    | stages 3 to 5, one reserved slot each
//   losing captures                              | stage 2, one by one
//   quiet moves                                  | stage 8
//
// moveListEnd limits the stretch at hand: cursor and end being equal means that it is used up.
// moveListStart of the next ply doubles as the write pointer of the losing captures. Each stage
// of a stored move opens its slot by moving the end on by one, which keeps the caller's loop
// running even when the stage yields nothing.
//
// The quiet stage is not filtered: a hash move, killer or counter move that has been played in
// its own stage comes again there. Node counts depend on it (test: PickerRepeatsStoredQuiets).
bool doNextMoveStaged(u8 ply, moveStruct* cursor, positionStruct* position, bool skipOrdering)
{
    plyStruct& here = position->plies[ply];
    plyStruct& next = position->plies[ply + 1];
    const u8 childPly = static_cast<u8>(ply + 1);

    switch (here.pickerStage)
    {
    case stageHashMove:
        here.pickerStage = stageMakeCaptures;
        return makeMove(childPly, cursor, position, false);

    case stageMakeCaptures:
        generateMovesCaptures(ply, cursor, position);
        if (here.pickerStage == stageEvasions)
        {
            updateSeeScoreEvade(ply, cursor, position);
            return playEvasion(ply, cursor, position);
        }
        here.pickerStage = stageWinningCaptures;
        next.moveListStart += 3;
        [[fallthrough]];

    case stageWinningCaptures:
        if (cursor != here.moveListEnd)
        {
            getBestMove(cursor, here.moveListEnd);
            if (sameMove(*cursor, here.hashMove)) return false;
            if (!see(*cursor, 0, position))
            {
                *next.moveListStart++ = *cursor;
                return false;
            }
            return makeMove(childPly, cursor, position, true);
        }
        here.pickerStage = stageFirstKiller;
        [[fallthrough]];

    case stageFirstKiller:
    case stageSecondKiller:
    {
        const moveStruct killer = here.killers[here.pickerStage - stageFirstKiller];
        ++here.moveListEnd;
        ++here.pickerStage;
        if (moveWord(killer) == 0 || sameMove(killer, here.hashMove)) return false;
        return playStoredMove(ply, killer, cursor, position);
    }

    case stageCounterMove:
    {
        ++here.moveListEnd;
        here.pickerStage = stageOpenLosers;
        if (ply == 0) return false;
        const u8 square = position->plies[ply - 1].currentMove.to;
        const u8 man = position->board[square];
        if (man < PAWN) return false;
        const moveStruct counter = position->counterMoves[man - PAWN][square];
        if (moveWord(counter) == 0 || sameMove(counter, here.hashMove) ||
            sameMove(counter, here.killers[0]) || sameMove(counter, here.killers[1]))
            return false;
        return playStoredMove(ply, counter, cursor, position);
    }

    case stageOpenLosers:
        here.moveListEnd = next.moveListStart;
        here.pickerStage = stageLosingCaptures;
        [[fallthrough]];

    case stageLosingCaptures:
        if (cursor != here.moveListEnd) return makeMove(childPly, cursor, position, true);
        here.pickerStage = stageMakeQuiets;
        [[fallthrough]];

    case stageMakeQuiets:
        generateMovesQuiets(ply, cursor, position);
        here.quietsStart = cursor;
        here.rankedAt = position->historyChanges - 1;
        here.pickerStage = stageQuiets;
        [[fallthrough]];

    case stageQuiets:
        if (cursor == here.moveListEnd) return false;
        if (!skipOrdering) getBestQuiet(here, cursor, position);
        return makeMove(childPly, cursor, position, true);

    case stageEvasions: return playEvasion(ply, cursor, position);
    default: return false;
    }
}

bool doNextMoveQuiesc(u8 ply, moveStruct* cursor, positionStruct* position, int depth)
{
    const plyStruct& here = position->plies[ply];
    const u8 childPly = static_cast<u8>(ply + 1);
    const bool testExchange = depth <= 0 && depth > FIRSTRECAPTUREDEPTH;

    if (here.inCheck || !testExchange)
    {
        getBestMove(cursor, here.moveListEnd);
        return makeMove(childPly, cursor, position, !here.inCheck);
    }

    // The highest score among the moves that don't lose material. The entry at the cursor is
    // tested only when nothing above it has passed.
    moveStruct* best = cursor;
    for (moveStruct* move = cursor + 1; move < here.moveListEnd; ++move)
        if (move->score > best->score && see(*move, 0, position)) best = move;
    if (best != cursor)
        std::swap(*cursor, *best);
    else if (!see(*cursor, 0, position))
        return false;
    return makeMove(childPly, cursor, position, true);
}

bool doNextMoveProbCut(u8 ply, moveStruct* cursor, positionStruct* position, i16 threshold)
{
    plyStruct& here = position->plies[ply];
    const u8 childPly = static_cast<u8>(ply + 1);

    switch (here.pickerStage)
    {
    case stageHashMove:
        here.pickerStage = stageMakeCaptures;
        if (position->board[cursor->to] == NOPIECE &&
            (cursor->kind == KINDPLAIN || cursor->kind >= KINDENPASSANT))
            return false;
        return see(*cursor, threshold, position) && makeMove(childPly, cursor, position, false);

    case stageMakeCaptures:
        generateMovesCaptures(ply, cursor, position);
        ++here.pickerStage;
        [[fallthrough]];

    case stageWinningCaptures:
        if (cursor == here.moveListEnd) return false;
        getBestMove(cursor, here.moveListEnd);
        if (sameMove(*cursor, here.hashMove)) return false;
        return see(*cursor, threshold, position) && makeMove(childPly, cursor, position, true);

    default: return false;
    }
}


// PV from the table

void getPVFromHashTable(u8 ply, positionStruct* position, int depth)
{
    int found = 0;
    for (; found < depth; ++found)
    {
        const u8 here = static_cast<u8>(ply + found);
        const u64 entry = getHashTableEntry(position->hashKey);
        if (hashBound(entry) != boundExact) break;
        const moveStruct move = wordMove(entry);
        if (!isLegalMove(here, &move, position, false)) break;

        position->plies[here].bestMove = move;
        makeMove(static_cast<u8>(here + 1), &move, position, false);
        position->pvLength = static_cast<u8>(found);
    }
    while (found-- > 0)
    {
        const u8 here = static_cast<u8>(ply + found);
        unmakeMove(static_cast<u8>(here + 1), &position->plies[here].bestMove, position);
    }
}


// Interface without a caller

void generateSimpleChecks(u8 ply, moveStruct* moves, positionStruct* position)
{
    const int us = position->sideToMove;
    const u64 occupied = allMen(position);
    const u64 empty = ~occupied;
    const u8 king = kingSquareOf(us ^ 1, position);
    const plyStruct& here = position->plies[ply];

    moves->score = 255;
    const auto append = [&moves](u8 from, u8 to, u8 kind)
    {
        moves->from = from;
        moves->to = to;
        moves->kind = kind;
        ++moves;
    };

    // Pawns: promotions, then single pushes, then double pushes.
    const int up = us == WHITE ? 8 : -8;
    const auto push = [us](u64 pawns) { return us == WHITE ? pawns << 8 : pawns >> 8; };
    const u64 lastRank = us == WHITE ? pawnSteps<WHITE>::lastRank : pawnSteps<BLACK>::lastRank;
    const u64 doubleRank =
        us == WHITE ? pawnSteps<WHITE>::doubleRank : pawnSteps<BLACK>::doubleRank;
    const u64 pushed = push(position->pieceBB[PAWN + us]) & empty;
    const u64 pawnChecks = pawnAttackTable[us][king];
    for (u64 promotions = pushed & lastRank; promotions;)
    {
        const u8 to = takeLowest(promotions);
        const u8 from = static_cast<u8>(to - up);
        const u64 behind = occupied ^ bit(from);
        if ((getBishopAttackTable(to, behind) | getRookAttackTable(to, behind)) & bit(king))
            append(from, to, QUEEN);
        if (knightAttackTable[king] & bit(to)) append(from, to, KNIGHT);
    }
    for (u64 singles = pushed & ~lastRank & pawnChecks; singles;)
    {
        const u8 to = takeLowest(singles);
        append(static_cast<u8>(to - up), to, KINDPLAIN);
    }
    for (u64 doubles = push(pushed) & empty & doubleRank & pawnChecks; doubles;)
    {
        const u8 to = takeLowest(doubles);
        append(static_cast<u8>(to - 2 * up), to, KINDDOUBLEPUSH);
    }

    // Pieces: a square from which the man would hit the king once it has left its own.
    for (const u8 type : {KNIGHT, BISHOP, ROOK, QUEEN})
    {
        u64 men = position->pieceBB[type + us];
        if (type == KNIGHT) men &= here.notPinned;
        while (men)
        {
            const u8 from = takeLowest(men);
            const auto attacksFrom = [type](u8 square, u64 blockers)
            {
                u64 attacks = type == KNIGHT ? knightAttackTable[square] : 0;
                if (type == BISHOP || type == QUEEN)
                    attacks |= getBishopAttackTable(square, blockers);
                if (type == ROOK || type == QUEEN) attacks |= getRookAttackTable(square, blockers);
                return attacks;
            };
            u64 targets =
                attacksFrom(from, occupied) & empty & attacksFrom(king, occupied ^ bit(from));
            while (targets) append(from, takeLowest(targets), KINDPLAIN);
        }
    }
    closeList(ply, moves, position);
}

void getBestMoveHist(moveStruct* first, const moveStruct* end, const positionStruct* position)
{
    moveStruct* best = first;
    for (moveStruct* move = first + 1; move < end; ++move)
        if (historyRatio(*move, position) > historyRatio(*best, position)) best = move;
    if (best != first) std::swap(*first, *best);
}

const listWriter plainListWriter = {plainWriter::appendMoves, plainWriter::appendCaptures};
const listWriter listWriterInUse = {writer::appendMoves, writer::appendCaptures};
