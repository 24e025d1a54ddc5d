// SPDX-License-Identifier: MIT
//
// Moves; see move.h. Most listed moves are never played, because a cut-off comes first. So the
// generators do not test them for legality, evasions excepted, which are few and easy to list
// exactly. makeMove tests a move when its turn comes, and refuses it before anything changes.
//
//   Making moves                makeMove, unmakeMove
//   Legality                    inCheckAfterMove, isLegalMove
//   List writers                plainWriter, avx2Writer, avx512Writer
//   Generators                  generateMovesCaptures, generateMovesEvade, generateMovesQuiets,
//                               generateMovesQuiescence, generateMovesRecapture, generateMovesLegal
//   Pickers                     getBestMove, doNextMoveStaged, doNextMoveQuiesc, doNextMoveProbCut
//   PV from the table           getPVFromHashTable
//   Interface without a caller  generateSimpleChecks, getBestMoveHist, listWriters

#include "move.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <numeric>
#include <utility>

#include "eval.h"
#include "hash.h"
#include "moveTable.h"
#include "search.h"

// The instructions that the other list writers need.
#if defined(__AVX2__) && defined(QUILLON_PEXT)
#define QUILLON_AVX2
#include <immintrin.h>
#endif
#if defined(__AVX512VBMI2__) && defined(__AVX512VL__)
#define QUILLON_AVX512
#include <immintrin.h>
#endif


// Making moves

namespace
{

// Contracts. The console plays the moves of `position` on GPS as they are written, even if they
// make no sense as chess. So what is asserted about pieces holds for every other position:
// makePlayable has accepted its root, and its moves come from a list or have passed isLegalMove.

[[maybe_unused]] bool isPieceOf(int colour, int code, const positionStruct* position)
{
    return position == GPS || (code >= PAWN && code < NOFPIECECODES && colourOf(code) == colour);
}

/// Whether board and bitboards agree on `squares`. One call in a thousand compares the whole board;
/// doing so at each move would make builds with assertions too slow to play.
[[maybe_unused]] bool boardsAgree(u64 squares, const positionStruct* position)
{
    if (position == GPS) return true;
    if (position->hashKey % 1024 == 0) return isBoardStructOK(position);
    while (squares)
    {
        const int square = takeLowest(squares);
        const int code = position->board[square];
        const bool agrees =
            code == NOPIECE
                ? !(allPieces(position) & bit(square))
                : (position->pieceBB[code] & position->pieceBB[colourOf(code)] & bit(square));
        if (!agrees) return false;
    }
    return true;
}

/// The rook's squares of a castling move.
struct castlingRook
{
    u8 from;
    u8 to;
};

/// The rook's squares are counted from the king's, so that one rule serves both colours.
constexpr castlingRook castlingRookOf(moveStruct move)
{
    if (move.kind == KINDCASTLEKING) return {narrow<u8>(move.from + 3), narrow<u8>(move.to - 1)};
    return {narrow<u8>(move.from - 4), narrow<u8>(move.to + 1)};
}

/// The castling rights that a move ends. A king or rook that leaves its first square ends its own
/// side's; a move to a corner ends the right of the rook there, whatever is on the square. Black
/// moves to a8 and h8 are not compared: Black's own rook is there as long as it has the right.
inline int rightsLost(moveStruct move, int mover, int rights)
{
    int lost = 0;
    if (colourOf(mover) == BLACK)
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

template <int us, bool isPlain>
bool playMove(plyStruct& child, const moveStruct* movePointer, positionStruct* position)
{
    assert(&child > position->plies && &child < position->plies + NOFPLIES);
    assert(position->sideToMove == us);
    assert(position->keyIndex >= 0 && position->keyIndex < KEYHISTORYSIZE);
    constexpr int them = us ^ 1;
    const plyStruct& parent = (&child)[-1];

    // Numbers that are neighbours are read before they are written, which is one copy. The move is
    // read after the first write, here and in takeBack: otherwise the compiler would let the caller
    // read it, and pass its bytes one by one.
    saveEvaluation(child, position);
    const moveStruct move = *movePointer;
    assert((move.from | move.to) < NOFSQUARES && move.kind <= KINDCASTLEQUEEN);
    assert(!isPlain || move.kind == KINDPLAIN);
    const u8 from = move.from;
    const u8 to = move.to;
    const u8 mover = position->board[from];
    const u8 captured = position->board[to];
    assert(isPieceOf(us, mover, position));
    assert(captured == NOPIECE || isPieceOf(them, captured, position));
    assert(!isKing(captured) || position == GPS);

    child.capturedPiece = captured;
    u64 key = position->hashKey;
    const u64 pawnKey = position->pawnHashKey;
    child.savedHashKey = key;
    child.savedPawnHashKey = pawnKey;
    child.savedHalfMoveClock = position->halfMoveClock;
    position->halfMoveClock = wrap16(position->halfMoveClock + 1);

    // Keys are kept up to date: each change of the position adds or removes one number by XOR.
    key ^= hashCodeBlackToMove;
    if (parent.enPassantSquare) key ^= hashCodeEnpassant[fileOf(parent.enPassantSquare)];
    child.castlingRights = parent.castlingRights;

    // `arriving` is the piece that ends on `landing`. It is the mover except for a promotion, and
    // `landing` is the move's own `to` except for en passant.
    int landing = to;
    u8 arriving = mover;
    u8 enPassant = 0;
    if (!isPlain)
    {
        key ^= hashCodeCastling[parent.castlingRights];
        child.castlingRights =
            narrow<u8>(parent.castlingRights & ~rightsLost(move, mover, parent.castlingRights));
        key ^= hashCodeCastling[child.castlingRights];

        if (move.kind == KINDDOUBLEPUSH)
        {
            enPassant = move.to;
            key ^= hashCodeEnpassant[fileOf(to)];
        }
        else if (isCastling(move.kind))
        {
            // The rook's part of the move. The king moves below like any piece.
            const castlingRook rook = castlingRookOf(move);
            constexpr u8 code = ROOK + us;
            assert(position == GPS || (isKing(mover) && position->board[rook.from] == code));
            position->pieceBB[code] ^= bit(rook.from) | bit(rook.to);
            position->pieceBB[us] ^= bit(rook.from) | bit(rook.to);
            position->board[rook.from] = NOPIECE;
            position->board[rook.to] = code;
            key ^= hashCodePiece[code][rook.from] ^ hashCodePiece[code][rook.to];
        }
        else if (move.kind == KINDENPASSANT)
        {
            position->board[to] = NOPIECE;
            landing = enPassantLanding(to, us);
            assert(landing < NOFSQUARES);
            assert(position == GPS || position->board[landing] == NOPIECE);
        }
        else if (isPromotion(move.kind))
        {
            // The piece lands below on the mover's board. Here it changes boards, and leaves the
            // pawn key, which promoted pieces do not enter.
            arriving = narrow<u8>(move.kind + us);
            position->pieceBB[arriving] ^= bit(to);
            position->pieceBB[mover] ^= bit(to);
            position->pawnHashKey ^= hashCodePiece[arriving][to];
        }
    }
    child.enPassantSquare = enPassant;

    if (isPlain || move.kind == KINDPLAIN)
        updateEvaluation<us, true>(move, mover, position);
    else
        updateEvaluation<us, false>(move, mover, position);
    const u64 squares = bit(from) ^ bit(landing);
    position->pieceBB[mover] ^= squares;
    position->pieceBB[us] ^= squares;
    position->board[from] = NOPIECE;
    position->board[landing] = arriving;
    const u64 moved = hashCodePiece[mover][from] ^ hashCodePiece[arriving][landing];
    key ^= moved;
    if (isPawn(mover) || isKing(mover))
    {
        position->pawnHashKey ^= moved;
        if (isPawn(mover)) position->halfMoveClock = 0;
    }

    if (captured)
    {
        position->pieceBB[captured] ^= bit(to);
        position->pieceBB[them] ^= bit(to);
        const u64 taken = hashCodePiece[captured][to];
        key ^= taken;
        updateEvaluationCapture<them>(captured, to, position);
        if (isPawn(captured)) position->pawnHashKey ^= taken;
        position->halfMoveClock = 0;
    }

    // The history holds the keys of all positions up to this one, for the test of repetition.
    position->hashKey = key;
    position->keyHistory[position->keyIndex++] = key;
    position->sideToMove = them;
    assert(boardsAgree(bit(from) | bit(to) | bit(landing), position));
    return true;
}

template <bool isPlain>
void takeBack(const plyStruct& child, const moveStruct* movePointer, positionStruct* position)
{
    assert(&child > position->plies && &child < position->plies + NOFPLIES);
    assert(position->keyIndex > 0);
    const u8 them = position->sideToMove;
    const u8 us = them ^ 1;

    // Castling rights and en passant square need no restoring: the parent's record still has them.
    position->sideToMove = us;
    const u64 key = child.savedHashKey; // two neighbours, as in playMove
    const u64 pawnKey = child.savedPawnHashKey;
    position->hashKey = key;
    position->pawnHashKey = pawnKey;
    --position->keyIndex;
    position->halfMoveClock = narrow<i16>(child.savedHalfMoveClock);
    restoreEvaluation(child, position);

    const moveStruct move = *movePointer;
    const u8 from = move.from;
    const u8 to = move.to;
    int landing = to;
    if (!isPlain && move.kind == KINDENPASSANT) landing = enPassantLanding(to, us);
    const u8 arrived = position->board[landing];
    assert(isPieceOf(us, arrived, position));
    assert(position == GPS || position->board[from] == NOPIECE);
    u8 mover = arrived;
    if (!isPlain && isCastling(move.kind))
    {
        const castlingRook rook = castlingRookOf(move);
        const u8 code = narrow<u8>(ROOK + us);
        position->pieceBB[code] ^= bit(rook.from) | bit(rook.to);
        position->pieceBB[us] ^= bit(rook.from) | bit(rook.to);
        position->board[rook.to] = NOPIECE;
        position->board[rook.from] = code;
    }
    if (!isPlain && isPromotion(move.kind)) mover = narrow<u8>(PAWN + us);

    // `landing` is emptied before the captured piece comes back: except for en passant both are
    // the same square.
    const u8 captured = child.capturedPiece;
    position->pieceBB[arrived] ^= bit(landing);
    position->pieceBB[mover] ^= bit(from);
    position->pieceBB[us] ^= bit(from) ^ bit(landing);
    position->board[landing] = NOPIECE;
    position->board[from] = mover;
    position->board[to] = captured;
    if (captured)
    {
        position->pieceBB[captured] ^= bit(to);
        position->pieceBB[them] ^= bit(to);
    }
    assert(boardsAgree(bit(from) | bit(to) | bit(landing), position));
}

bool makeIfKingSafe(int ply, const moveStruct* move, positionStruct* position)
{
    return !isKingHitAfterMove(move, position) && makeMove(ply, move, position, false);
}

template bool playMove<WHITE, true>(plyStruct&, const moveStruct*, positionStruct*);
template bool playMove<WHITE, false>(plyStruct&, const moveStruct*, positionStruct*);
template bool playMove<BLACK, true>(plyStruct&, const moveStruct*, positionStruct*);
template bool playMove<BLACK, false>(plyStruct&, const moveStruct*, positionStruct*);
template void takeBack<true>(const plyStruct&, const moveStruct*, positionStruct*);
template void takeBack<false>(const plyStruct&, const moveStruct*, positionStruct*);


// Legality

bool isKingHitAfterMove(const moveStruct* move, const positionStruct* position)
{
    const u8 us = position->sideToMove;
    const u8 them = us ^ 1;
    assert(position->pieceBB[KING + us] && isPieceOf(us, position->board[move->from], position));
    const u64 from = bit(move->from);
    const u64 to = bit(move->to);

    // The board after the move, as far as it blocks lines. En passant empties `to` and fills the
    // landing square.
    u64 occupied = (allPieces(position) & ~from) | to;
    if (isKing(position->board[move->from]))
        return isSquareAttackedThrough(move->to, them, occupied, position);
    if (move->kind == KINDENPASSANT)
        occupied = (occupied & ~to) | bit(enPassantLanding(move->to, us));

    // The bitboards still hold a slider that the move captures; it gives no check.
    const int king = kingSquareOf(us, position);
    return (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position) & ~to) ||
           (getRookAttackTable(king, occupied) & rooksAndQueens(them, position) & ~to);
}

namespace
{

/// What castling to one side needs. The king must not be in check, nor cross an attacked square,
/// nor arrive on one.
struct castlingRule
{
    u8 right;
    u8 kingFrom;
    u8 kingTo;
    u8 rookSquare;
    u8 crossed; // must not be attacked; makeMove tests the destination like any king's move
    u64 empty;
};

// castlingRules[colour][wing]: wing 0 is the king side, 1 the queen side. On the queen side the
// squares b1 and b8 must be empty too, for the rook's sake, but may be attacked.
constexpr castlingRule castlingRules[2][2] = {
    {{WHITEKINGSIDE, E1, G1, H1, F1, 0x60}, {WHITEQUEENSIDE, E1, C1, A1, D1, 0x0e}},
    {{BLACKKINGSIDE, E8, G8, H8, F8, 0x60ULL << 56},
     {BLACKQUEENSIDE, E8, C8, A8, D8, 0x0eULL << 56}}};

/// The pawn part of the pseudo-legal test. It is loose on purpose: it trusts the kind byte and does
/// not check the direction of a capture, the edges of the board or the last rank. Only after a
/// collision of keys does a move come here that a stricter test would refuse, and it does no harm:
/// makeMove can play it.
bool isPseudoLegalPawnMove(const plyStruct& here, moveStruct move, int us,
                           const positionStruct* position)
{
    const int step = us == WHITE ? 8 : -8;
    const u8* board = position->board;
    // A step from an arbitrary square may leave the board; the number then wraps around.
    const auto isEmpty = [board](int square) { return board[square & 63] == NOPIECE; };

    if (move.kind == KINDDOUBLEPUSH) return isEmpty(move.to) && isEmpty(move.from + step);
    if (move.kind != KINDPLAIN && !isPromotion(move.kind))
        return here.enPassantSquare && (enpassantTable[here.enPassantSquare] & bit(move.from)) &&
               board[move.to] == PAWN + (us ^ 1) && isEmpty(move.to + step);

    if (rankOf(move.from) == 0 || rankOf(move.from) == 7) return false;
    const int reach = move.from > move.to ? move.from - move.to : move.to - move.from;
    if (reach < 7 || reach > 9) return false;
    // A push needs an empty square, a capture an enemy piece; isLegalMove has ruled out our own.
    return (move.to == move.from + step) == isEmpty(move.to);
}

/// The castling part of the pseudo-legal test. Any kind but KINDCASTLEKING counts as queen side.
bool isPseudoLegalCastling(const plyStruct& here, moveStruct move, int us,
                           const positionStruct* position)
{
    const castlingRule& rule = castlingRules[us][move.kind == KINDCASTLEKING ? 0 : 1];
    const u8 them = position->sideToMove ^ 1;
    return !here.inCheck && (here.castlingRights & rule.right) &&
           !(allPieces(position) & rule.empty) && position->board[rule.rookSquare] == ROOK + us &&
           !isSquareAttacked(rule.crossed, them, position);
}

/// Whether the mover's king is attacked after a pseudo-legal move. This test is exact in any
/// position. inCheckAfterMove is cheaper, but needs notPinned, and that is not computed yet when a
/// node tests its hash move.
bool isKingAttackedAfter(moveStruct move, int us, const positionStruct* position)
{
    const int them = us ^ 1;
    const u64 to = bit(move.to);
    const bool kingMoves = isKing(position->board[move.from]);

    u64 occupied = (allPieces(position) & ~bit(move.from)) | to;
    if (kingMoves && move.kind != KINDPLAIN)
    {
        const castlingRook rook = castlingRookOf(move);
        occupied = (occupied & ~bit(rook.from)) | bit(rook.to);
    }
    else if (move.kind == KINDENPASSANT)
        occupied = (occupied & ~to) | bit(enPassantLanding(move.to, us));

    // The bitboards are those before the move, so a captured piece is still among the attackers.
    const int king = kingMoves ? move.to : kingSquareOf(us, position);
    const u64 notCaptured = ~to;
    return (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position) &
            notCaptured) ||
           (getRookAttackTable(king, occupied) & rooksAndQueens(them, position) & notCaptured) ||
           (pawnAttackTable[them][king] & position->pieceBB[PAWN + them] & notCaptured) ||
           (knightAttackTable[king] & position->pieceBB[KNIGHT + them] & notCaptured) ||
           (kingAttackTable[king] & position->pieceBB[KING + them]);
}

/// Whether unmakeMove can reverse what makeMove does with a pseudo-legal move. It can't for a kind
/// that no generator gives to a piece of this type; the loose tests above let such kinds pass.
bool canBeUnmade(moveStruct move, int type, int us)
{
    constexpr u32 pawnKinds = 1U << KINDPLAIN | 1U << KNIGHT | 1U << BISHOP | 1U << ROOK |
                              1U << QUEEN | 1U << KINDENPASSANT | 1U << KINDDOUBLEPUSH;
    if (type == PAWN) return pawnKinds >> move.kind & 1;
    if (move.kind == KINDPLAIN) return true;
    const castlingRule& rule = castlingRules[us][move.kind - KINDCASTLEKING];
    return type == KING && move.from == rule.kingFrom && move.to == rule.kingTo;
}

} // namespace

bool isLegalMove(int ply, const moveStruct* movePointer, const positionStruct* position,
                 bool pseudoOnly)
{
    assert(ply >= 0 && ply < NOFPLIES);
    const moveStruct move = *movePointer;
    if (moveWord(move) == 0) return false;
    if ((move.from | move.to) >= NOFSQUARES || move.kind > KINDCASTLEQUEEN) return false;

    const int mover = position->board[move.from];
    const int us = position->sideToMove;
    const u64 to = bit(move.to);
    // The score byte of a stored move is its piece. If another piece is on the square now, it is
    // another move.
    if (move.score != mover) return false;
    if (position->pieceBB[us] & to) return false;
    if (isKing(position->board[move.to])) return false;

    // For an empty square or a piece of the wrong colour, `type` is odd or below PAWN, so it
    // matches no case below.
    const plyStruct& here = position->plies[ply];
    const int type = mover - us;
    const u64 occupied = allPieces(position);
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
    return pseudoOnly || (canBeUnmade(move, type, us) && !isKingAttackedAfter(move, us, position));
}


// List writers
//
// A writer appends one move for each bit of `targets`, lowest bit first, and returns the end of the
// list. It has three functions. appendPawnMoves writes one step of all pawns that can make it, and
// appendPieceMoves the moves of one piece; both write score 0. appendCaptures adds the captured
// piece's code times 8 to the score, so that the most valuable victim comes first. To add a writer
// for another instruction set, define it beside these three, choose it where `writer` is defined,
// and add it to listWriters for the test.
//
// The plain writer loops over the bits of a set, and no predictor knows when such a loop ends; that
// was most of the cost of a generator. The others write moves eight at a time, whatever their
// number. So up to eight slots after the end of a list are overwritten. They are free, and
// MOVESTACKSLACK leaves room for them after the last list.
//
// The four bytes of a move are written as one word, `to * step + base`. For the moves of one piece,
// `base` holds its square and step is byTo, which puts `to` into the second byte. For a step of all
// pawns at once step is byBoth, which puts `to` into the first byte too: `from` is at the same
// distance from every `to`, and `base` holds that distance.

namespace
{

constexpr u32 byTo = 0x100;
constexpr u32 byBoth = 0x101;

/// The most targets of one call. A piece has at most 27, and the pawns have at most one target
/// each, on squares without a pawn. Only assertions read it.
[[maybe_unused]] constexpr int mostTargets = 32;

/// What the words of moves to several targets have in common. `from` and `score` may be negative.
/// They then borrow from the bytes above, and what the target adds makes up for it.
constexpr u32 moveBase(int from, int score, int kind = KINDPLAIN)
{
    return static_cast<u32>(from) + (static_cast<u32>(kind) << 16) +
           (static_cast<u32>(score) << 24);
}

/// The writer for any processor.
struct plainWriter
{
    /// The targets are on the ranks from `low` to `high`.
    static moveStruct* appendPawnMoves(moveStruct* moves, u64 targets, u32 base, int, int)
    {
        while (targets) *moves++ = wordMove(takeLowest(targets) * byBoth + base);
        return moves;
    }

    /// `targets` is part of what a piece of this type on `from` attacks.
    static moveStruct* appendPieceMoves(moveStruct* moves, u64 targets, int from, int)
    {
        while (targets) *moves++ = wordMove(takeLowest(targets) * byTo + moveBase(from, 0));
        return moves;
    }

    static moveStruct* appendCaptures(moveStruct* moves, u64 targets, u32 step, u32 base,
                                      const positionStruct* position)
    {
        assert(popcount(targets) <= mostTargets);
        while (targets)
        {
            const u8 to = takeLowest(targets);
            *moves++ = wordMove(to * step + base + moveBase(0, position->board[to] * 8));
        }
        return moves;
    }
};

#ifdef QUILLON_AVX2

/// The writer for AVX2 and BMI2. A table lists the moves of each piece on an empty board. The
/// targets choose from such a list, eight moves at a time, and one instruction puts the chosen ones
/// side by side: perft is 1.2 to 1.7 times as fast. Captures are left to the plain writer: they are
/// few.
struct avx2Writer : plainWriter
{
    static moveStruct* appendPawnMoves(moveStruct* moves, u64 targets, u32 base, int low, int high)
    {
        assert(!targets ||
               (rankOf(lowestSquare(targets)) >= low && rankOf(highestSquare(targets)) <= high));
        const __m256i oneRank = wordsOf(8 * byBoth);
        __m256i words = _mm256_add_epi32(
            _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), wordsOf(byBoth)),
            wordsOf(static_cast<u32>(low) * 8 * byBoth + base));
        for (int rank = low; rank <= high; ++rank)
        {
            moves = appendChosen(moves, targets >> 8 * rank & 0xff, words);
            words = _mm256_add_epi32(words, oneRank);
        }
        return moves;
    }

    static moveStruct* appendPieceMoves(moveStruct* moves, u64 targets, int from, int type)
    {
        const emptyBoardMoves& all = emptyBoard.of[type / 2 - KNIGHT / 2][from];
        assert(!(targets & ~all.targets));
        const u64 chosen = _pext_u64(targets, all.targets);
        // A queen has at most 27 moves, a rook 14, a bishop 13, a knight or king 8.
        const int most = type == QUEEN ? 32 : type == ROOK || type == BISHOP ? 16 : 8;
        for (int i = 0; i < most; i += 8)
            moves = appendChosen(moves, chosen >> i & 0xff, loadWords(all.words + i));
        return moves;
    }

  private:
    /// The moves of a piece from one square on an empty board, lowest target first.
    struct alignas(32) emptyBoardMoves
    {
        u32 words[32];
        u64 targets;
    };

    struct emptyBoardTable
    {
        emptyBoardMoves of[5][NOFSQUARES]; // [type / 2 - KNIGHT / 2][from]
    };

    static constexpr emptyBoardTable emptyBoard = []
    {
        emptyBoardTable table{};
        for (int from = 0; from < NOFSQUARES; ++from)
        {
            int count[5] = {};
            for (int to = 0; to < NOFSQUARES; ++to)
            {
                const int files = fileOf(to) - fileOf(from);
                const int ranks = rankOf(to) - rankOf(from);
                const int squared = files * files + ranks * ranks; // of the distance
                const bool diagonal = files * files == ranks * ranks;
                const bool straight = files * ranks == 0;
                const bool reached[5] = {squared == 5, diagonal, straight, diagonal || straight,
                                         squared <= 2};
                for (int piece = 0; piece < 5; ++piece)
                {
                    if (!reached[piece] || from == to) continue;
                    emptyBoardMoves& all = table.of[piece][from];
                    all.words[count[piece]++] = static_cast<u32>(to) * byTo + moveBase(from, 0);
                    all.targets |= bit(to);
                }
            }
        }
        return table;
    }();

    // For each choice of eight words, the places of the chosen ones, a byte each, in order.
    static constexpr auto chosenPlaces = []
    {
        std::array<u64, 256> table{};
        for (u64 choice = 0; choice < 256; ++choice)
        {
            int shift = 0;
            for (u64 rest = choice; rest; shift += 8)
                table[choice] |= u64{takeLowest(rest)} << shift;
        }
        return table;
    }();

    static __m256i wordsOf(u32 word) { return _mm256_set1_epi32(bitCast<int>(word)); }

    static __m256i loadWords(const u32* words)
    {
        return _mm256_load_si256(reinterpret_cast<const __m256i*>(words));
    }

    /// Appends those of eight moves whose bits are set in `chosen`.
    static moveStruct* appendChosen(moveStruct* moves, u64 chosen, __m256i words)
    {
        const __m256i places = _mm256_cvtepu8_epi32(
            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&chosenPlaces[chosen])));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(moves),
                            _mm256_permutevar8x32_epi32(words, places));
        return moves + popcount(chosen);
    }
};

#endif

#ifdef QUILLON_AVX512

/// The writer for AVX-512. One instruction packs the squares of a set side by side: perft is 1.3 to
/// 1.8 times as fast as with the plain writer.
struct avx512Writer
{
    static moveStruct* appendPawnMoves(moveStruct* moves, u64 targets, u32 base, int, int)
    {
        return appendMoves(moves, targets, byBoth, base);
    }

    static moveStruct* appendPieceMoves(moveStruct* moves, u64 targets, int from, int)
    {
        return appendMoves(moves, targets, byTo, moveBase(from, 0));
    }

    static moveStruct* appendCaptures(moveStruct* moves, u64 targets, u32 step, u32 base,
                                      const positionStruct* position)
    {
        assert(popcount(targets) <= mostTargets);
        // Most pieces have nothing to capture.
        if (!targets) return moves;

        const int count = popcount(targets);
        const __m256i bases = _mm256_set1_epi32(bitCast<int>(base));
        __m256i squares = packSquares(targets);
        __m256i victims = packPieces(targets, position);
        for (int i = 0;;)
        {
            // Times 8 and into the score byte.
            const __m256i scores = _mm256_slli_epi32(firstEight(victims), 3 + 24);
            writeEight(moves + i, squares, step, _mm256_add_epi32(bases, scores));
            i += 8;
            if (i >= count) return moves + count;
            squares = dropEight(squares);
            victims = dropEight(victims);
        }
    }

  private:
    static moveStruct* appendMoves(moveStruct* moves, u64 targets, u32 step, u32 base)
    {
        assert(popcount(targets) <= mostTargets);
        const int count = popcount(targets);
        const __m256i bases = _mm256_set1_epi32(bitCast<int>(base));
        __m256i squares = packSquares(targets);
        writeEight(moves, squares, step, bases);
        for (int i = 8; i < count; i += 8)
        {
            squares = dropEight(squares);
            writeEight(moves + i, squares, step, bases);
        }
        return moves + count;
    }

    // Sets are packed into 32 bytes, the lower half of a register: enough for mostTargets.

    /// The squares of a set, lowest first, then zeros.
    static __m256i packSquares(u64 set)
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
    static __m256i packPieces(u64 set, const positionStruct* position)
    {
        const __m512i all = _mm512_loadu_si512(position->board);
        return _mm512_castsi512_si256(_mm512_maskz_compress_epi8(set, all));
    }

    /// The first eight bytes as 32-bit words.
    static __m256i firstEight(__m256i bytes)
    {
        return _mm256_cvtepu8_epi32(_mm256_castsi256_si128(bytes));
    }

    /// The bytes moved down by eight places.
    static __m256i dropEight(__m256i bytes) { return _mm256_permute4x64_epi64(bytes, 0x39); }

    /// Writes the moves to the first eight squares.
    static void writeEight(moveStruct* moves, __m256i squares, u32 step, __m256i base)
    {
        const __m256i to = firstEight(squares);
        const __m256i from = step == byBoth ? to : _mm256_setzero_si256();
        const __m256i both = _mm256_or_si256(_mm256_slli_epi32(to, 8), from);
        _mm256_storeu_epi32(moves, _mm256_add_epi32(both, base));
    }
};

using writer = avx512Writer;

#elif defined(QUILLON_AVX2)
using writer = avx2Writer;
#else
using writer = plainWriter;
#endif

} // namespace


// Generators

namespace
{

/// Appends the four promotions of one pawn, the most valuable first, which is nearly always the
/// best.
inline moveStruct* appendPromotions(moveStruct* moves, int from, int to, int score)
{
    for (const int kind : {QUEEN, ROOK, BISHOP, KNIGHT}) *moves++ = packMove(from, to, kind, score);
    return moves;
}

/// Ends a list at `end`, one past its last move. The child's list begins there.
inline void closeList(int ply, moveStruct* end, positionStruct* position)
{
    assert(ply >= 0 && ply + 1 < NOFPLIES);
    assert(end >= position->plies[0].moveListStart &&
           end - position->plies[0].moveListStart <= MOVESTACKSIZE + MOVESTACKSLACK);
    position->plies[ply].moveListEnd = end;
    position->plies[ply + 1].moveListStart = end;
}

/// Steps of all pawns of one colour at once: one shift of a bitboard moves every pawn. `right` and
/// `left` are as the player sees them, so `right` is towards file h for white and towards file a
/// for black, and the same order of directions serves both colours.
template <int us> struct pawnSteps
{
    // to - from
    static constexpr int up = us == WHITE ? 8 : -8;
    static constexpr int right = us == WHITE ? 9 : -9;
    static constexpr int left = us == WHITE ? 7 : -7;
    static constexpr u64 lastRank = us == WHITE ? 0xffULL << 56 : 0xffULL;
    static constexpr u64 doubleRank = us == WHITE ? 0xffULL << 24 : 0xffULL << 32;
    // The file on which captures land if they have wrapped around the edge of the board.
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

/// Computes notPinned and returns whether the king is in check. Both look at the enemy sliders that
/// would hit our king on an empty board: one with a single piece in between pins that piece if it
/// is ours, and one with nothing in between gives check.
template <int us> inline bool computePins(int ply, positionStruct* position)
{
    constexpr int them = us ^ 1;
    const int king = kingSquareOf(us, position);
    assert(king < NOFSQUARES);
    const u64 occupied = allPieces(position);

    u64 sliders = (bishopsAndQueens(them, position) & bishopAttackAll[king]) |
                  (rooksAndQueens(them, position) & rookAttackAll[king]);
    u64 pinned = 0;
    bool inCheck = ((pawnAttackTable[them][king] & position->pieceBB[PAWN + them]) |
                    (knightAttackTable[king] & position->pieceBB[KNIGHT + them]) |
                    (kingAttackTable[king] & position->pieceBB[KING + them])) != 0;
    while (sliders)
    {
        const u64 between = inBetweenSquares[king][takeLowest(sliders)] & occupied;
        inCheck |= !between;
        if (!moreThanOne(between)) pinned |= between;
    }
    position->plies[ply].notPinned = ~(pinned & position->pieceBB[us]);
    return inCheck;
}

void computePins(int ply, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        computePins<WHITE>(ply, position);
    else
        computePins<BLACK>(ply, position);
}

/// Looks up what a bishop, rook or queen attacks.
struct attackLookup
{
    u64 occupied;

    u64 operator()(int type, int from) const
    {
        u64 attacks = 0;
        if (type != ROOK) attacks |= getBishopAttackTable(from, occupied);
        if (type != BISHOP) attacks |= getRookAttackTable(from, occupied);
        return attacks;
    }
};

/// Appends the moves of knights, bishops, rooks and queens to `targets`. attacksOf(type, from) is
/// what a slider attacks. append(moves, from, set, type) writes the moves of one piece to the
/// squares of `set` and returns the end of the list.
template <typename AttacksOf, typename Append>
inline moveStruct* appendPieces(moveStruct* moves, u64 knights, u64 bishops, u64 rooks, u64 queens,
                                u64 targets, AttacksOf attacksOf, Append append)
{
    while (knights)
    {
        const int from = takeLowest(knights);
        moves = append(moves, from, knightAttackTable[from] & targets, KNIGHT);
    }
    while (bishops)
    {
        const int from = takeLowest(bishops);
        moves = append(moves, from, attacksOf(BISHOP, from) & targets, BISHOP);
    }
    while (rooks)
    {
        const int from = takeLowest(rooks);
        moves = append(moves, from, attacksOf(ROOK, from) & targets, ROOK);
    }
    while (queens)
    {
        const int from = takeLowest(queens);
        moves = append(moves, from, attacksOf(QUEEN, from) & targets, QUEEN);
    }
    return moves;
}

/// Which promotions a generator of captures lists.
enum class captureClass
{
    all,        // all four
    quiescence, // to a queen only, which is nearly always the best
};

// Ordering scores of captures: the victim's code times 8, less a penalty that depends on the mover
// (MVV-LVA). So the most valuable victim comes first, and of two captures of the same piece the one
// by the lesser piece, which risks less.
constexpr int pawnMalus = 2;
constexpr int promotionMalus = 14;
constexpr int kingMalus = 12;
constexpr int enPassantScore = 14;
constexpr int pushPromotionScore = 1;

/// For knight 4, bishop 6, rook 8, queen 10: the mover's own code.
constexpr int pieceMalus(int type)
{
    return type;
}

/// Appends the pawn captures of one direction, promotions first. `step` is to - from.
template <int us, captureClass which>
inline moveStruct* appendPawnCaptures(moveStruct* moves, u64 targets, int step,
                                      const positionStruct* position)
{
    u64 promotions = targets & pawnSteps<us>::lastRank;
    targets ^= promotions;
    while (promotions)
    {
        const int to = takeLowest(promotions);
        const int from = to - step;
        const int score = position->board[to] * 8 - promotionMalus;
        if constexpr (which == captureClass::all)
            moves = appendPromotions(moves, from, to, score);
        else
            *moves++ = packMove(from, to, QUEEN, score);
    }
    return writer::appendCaptures(moves, targets, byBoth, moveBase(-step, -pawnMalus), position);
}

/// Appends all captures on `targets`, a set of enemy pieces, except en passant and those by the
/// king, which generators of captures place differently.
template <int us, captureClass which, typename AttacksOf>
inline moveStruct* appendCapturesOf(moveStruct* moves, u64 targets, u64 knights,
                                    const positionStruct* position, AttacksOf attacksOf)
{
    using steps = pawnSteps<us>;
    const u64 pawns = position->pieceBB[PAWN + us];
    moves = appendPawnCaptures<us, which>(moves, steps::captureRight(pawns) & targets, steps::right,
                                          position);
    moves = appendPawnCaptures<us, which>(moves, steps::captureLeft(pawns) & targets, steps::left,
                                          position);
    return appendPieces(moves, knights, position->pieceBB[BISHOP + us],
                        position->pieceBB[ROOK + us], position->pieceBB[QUEEN + us], targets,
                        attacksOf,
                        [position](moveStruct* end, int from, u64 attacks, int type)
                        {
                            const u32 base = moveBase(from, -pieceMalus(type));
                            return writer::appendCaptures(end, attacks, byTo, base, position);
                        });
}

/// Appends en passant captures of the pawn on `square`; none if it is 0.
template <int us>
inline moveStruct* appendEnPassant(moveStruct* moves, int square, const positionStruct* position)
{
    if (!square) return moves;
    u64 pawns = position->pieceBB[PAWN + us] & enpassantTable[square];
    while (pawns) *moves++ = packMove(takeLowest(pawns), square, KINDENPASSANT, enPassantScore);
    return moves;
}

/// Appends the king's captures on `targets`. Whether they are defended is left to makeMove.
template <int us>
inline moveStruct* appendKingCaptures(moveStruct* moves, u64 targets,
                                      const positionStruct* position)
{
    const int king = kingSquareOf(us, position);
    return writer::appendCaptures(moves, kingAttackTable[king] & targets, byTo,
                                  moveBase(king, -kingMalus), position);
}

template <int us, typename AttacksOf>
void generateCaptures(int ply, moveStruct* moves, positionStruct* position, AttacksOf attacksOf)
{
    const plyStruct& here = position->plies[ply];
    const u64 enemies = position->pieceBB[us ^ 1];

    // A pinned knight can never move: it leaves the line of the pin with every step. Other pinned
    // pieces may move along the line, so makeMove decides about them.
    const u64 knights = position->pieceBB[KNIGHT + us] & here.notPinned;
    moves = appendCapturesOf<us, captureClass::all>(moves, enemies, knights, position, attacksOf);
    moves = appendEnPassant<us>(moves, here.enPassantSquare, position);
    moves = appendKingCaptures<us>(moves, enemies, position);
    closeList(ply, moves, position);
}

} // namespace

void generateMovesCaptures(int ply, moveStruct* moves, positionStruct* position)
{
    moves->score = 0;
    computePins(ply, position);
    if (position->plies[ply].inCheck)
    {
        generateMovesEvade(ply, moves, position);
        position->plies[ply].pickerStage = stageEvasions;
    }
    else if (position->sideToMove == WHITE)
        generateCaptures<WHITE>(ply, moves, position, attackLookup{allPieces(position)});
    else
        generateCaptures<BLACK>(ply, moves, position, attackLookup{allPieces(position)});
}

namespace
{

// Ordering scores of evasions. Capturing the checker is usually best, then blocking, then moving
// the king. All are 200 or more, so a score lowered by 100 for a loss stays below all others.
constexpr int kingTakesScore = 220; // plus the victim's code, plus 1 if it is the only checker
constexpr int kingFleesScore = 202;
constexpr int pawnTakesScore = 250;
constexpr int pawnBlocksScore = 210;
constexpr int pieceTakesScore = 238;  // less half the mover's code: knight 236 to queen 233
constexpr int pieceBlocksScore = 208; // knight 206 to queen 203

/// Lists the legal moves of a side in check: first those of the king, then, against a lone checker,
/// captures of it and blocks of its line.
template <int us> void generateEvasions(int ply, moveStruct* moves, positionStruct* position)
{
    using steps = pawnSteps<us>;
    constexpr u8 them = us ^ 1;
    const plyStruct& here = position->plies[ply];
    const int king = kingSquareOf(us, position);
    const u64 occupied = allPieces(position);
    const u64 checkers = (getBishopAttackTable(king, occupied) & bishopsAndQueens(them, position)) |
                         (getRookAttackTable(king, occupied) & rooksAndQueens(them, position)) |
                         (pawnAttackTable[them][king] & position->pieceBB[PAWN + them]) |
                         (knightAttackTable[king] & position->pieceBB[KNIGHT + them]);
    const bool doubleCheck = moreThanOne(checkers);

    // The king is taken off the board for this: it can't hide from a slider behind itself.
    const u64 withoutKing = occupied ^ bit(king);
    for (u64 targets = kingAttackTable[king] & ~position->pieceBB[us]; targets;)
    {
        const u8 to = takeLowest(targets);
        if (isSquareAttackedThrough(to, them, withoutKing, position)) continue;
        const int victim = position->board[to];
        const int takes = kingTakesScore + victim + (bit(to) == checkers);
        // NOLINTNEXTLINE(readability-suspicious-call-argument): king is its square
        *moves++ = packMove(king, to, KINDPLAIN, victim ? takes : kingFleesScore);
    }
    // Only a king move answers two checks at once.
    if (doubleCheck || !checkers)
    {
        closeList(ply, moves, position);
        return;
    }

    // A pinned piece never answers a check: it may move only along the line of its pin, which meets
    // the line of the check on the king's own square.
    const u64 able = here.notPinned;
    const u64 pawns = position->pieceBB[PAWN + us] & able;
    const int checker = lowestSquare(checkers);
    const auto pawnTakes = [&moves](u64 targets, int step)
    {
        if (!targets) return;
        const int to = lowestSquare(targets);
        const int from = to - step;
        if (targets & steps::lastRank)
            moves = appendPromotions(moves, from, to, pawnTakesScore);
        else
            *moves++ = packMove(from, to, KINDPLAIN, pawnTakesScore);
    };
    pawnTakes(steps::captureRight(pawns) & checkers, steps::right);
    pawnTakes(steps::captureLeft(pawns) & checkers, steps::left);

    // En passant helps only if the double-pushed pawn itself gives check. The landing square blocks
    // no other check: of the lines that the push has opened only the file runs through it, and on
    // the file the pawn is still in the way.
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
        const int to = takeLowest(promotions);
        moves = appendPromotions(moves, to - steps::up, to, pawnBlocksScore);
    }
    while (singles)
    {
        const int to = takeLowest(singles);
        *moves++ = packMove(to - steps::up, to, KINDPLAIN, pawnBlocksScore);
    }
    while (doubles)
    {
        const int to = takeLowest(doubles);
        *moves++ = packMove(to - 2 * steps::up, to, KINDDOUBLEPUSH, pawnBlocksScore);
    }

    moves = appendPieces(
        moves, position->pieceBB[KNIGHT + us] & able, position->pieceBB[BISHOP + us] & able,
        position->pieceBB[ROOK + us] & able, position->pieceBB[QUEEN + us] & able,
        between | checkers, attackLookup{occupied},
        [checkers](moveStruct* end, int from, u64 targets, int type)
        {
            while (targets)
            {
                const int to = takeLowest(targets);
                const int score = bit(to) == checkers ? pieceTakesScore : pieceBlocksScore;
                *end++ = packMove(from, to, KINDPLAIN, score - type / 2);
            }
            return end;
        });
    closeList(ply, moves, position);
}

} // namespace

void generateMovesEvade(int ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateEvasions<WHITE>(ply, moves, position);
    else
        generateEvasions<BLACK>(ply, moves, position);
}

namespace
{

/// Lists the quiet moves: pawns, castling, pieces, king. Returns where the castling moves are in
/// the list, if there are any; countLegal needs to know.
template <int us, typename AttacksOf>
inline moveStruct* generateQuiets(int ply, moveStruct* moves, positionStruct* position,
                                  AttacksOf attacksOf)
{
    using steps = pawnSteps<us>;
    const plyStruct& here = position->plies[ply];
    const u64 occupied = allPieces(position);
    const u64 empty = ~occupied;

    const u64 pushed = steps::push(position->pieceBB[PAWN + us]) & empty;
    u64 promotions = pushed & steps::lastRank;
    const u64 singles = pushed & ~steps::lastRank;
    const u64 doubles = steps::push(pushed) & empty & steps::doubleRank;
    while (promotions)
    {
        const int to = takeLowest(promotions);
        moves = appendPromotions(moves, to - steps::up, to, 0);
    }
    moves = writer::appendPawnMoves(moves, singles, moveBase(-steps::up, 0), 1, 6);
    constexpr int doubleRank = rankOf(lowestSquare(steps::doubleRank));
    moves = writer::appendPawnMoves(moves, doubles, moveBase(-2 * steps::up, 0, KINDDOUBLEPUSH),
                                    doubleRank, doubleRank);

    moveStruct* const castling = moves;
    // A right means that king and rook are on their first squares. Whether the king's destination
    // is attacked is left to makeMove, which tests every move of the king.
    if ((here.castlingRights & (us == WHITE ? WHITERIGHTS : BLACKRIGHTS)) && !here.inCheck)
        for (const int wing : {0, 1})
        {
            const castlingRule& rule = castlingRules[us][wing];
            if ((here.castlingRights & rule.right) && !(occupied & rule.empty) &&
                !isSquareAttacked(rule.crossed, us ^ 1, position))
            {
                assert(position->board[rule.kingFrom] == KING + us);
                *moves++ = packMove(rule.kingFrom, rule.kingTo, KINDCASTLEKING + wing, 0);
            }
        }

    moves = appendPieces(moves, position->pieceBB[KNIGHT + us] & here.notPinned,
                         position->pieceBB[BISHOP + us], position->pieceBB[ROOK + us],
                         position->pieceBB[QUEEN + us], empty, attacksOf,
                         [](moveStruct* end, int from, u64 targets, int type)
                         { return writer::appendPieceMoves(end, targets, from, type); });
    const int king = kingSquareOf(us, position);
    moves = writer::appendPieceMoves(moves, kingAttackTable[king] & empty, king, KING);
    closeList(ply, moves, position);
    return castling;
}

/// Lists captures and queen promotions.
template <int us> void generateQuiescence(int ply, moveStruct* moves, positionStruct* position)
{
    using steps = pawnSteps<us>;
    const plyStruct& here = position->plies[ply];
    const u64 enemies = position->pieceBB[us ^ 1];

    // Unlike in generateCaptures, en passant comes after the king. The order of equal scores
    // depends on it.
    const u64 knights = position->pieceBB[KNIGHT + us] & here.notPinned;
    moves = appendCapturesOf<us, captureClass::quiescence>(moves, enemies, knights, position,
                                                           attackLookup{allPieces(position)});
    moves = appendKingCaptures<us>(moves, enemies, position);
    moves = appendEnPassant<us>(moves, here.enPassantSquare, position);

    u64 promotions =
        steps::push(position->pieceBB[PAWN + us]) & ~allPieces(position) & steps::lastRank;
    while (promotions)
    {
        const int to = takeLowest(promotions);
        *moves++ = packMove(to - steps::up, to, QUEEN, pushPromotionScore);
    }
    closeList(ply, moves, position);
}

/// Lists the captures on the square that the previous move reached.
template <int us> void generateRecapture(int ply, moveStruct* moves, positionStruct* position)
{
    // After an en passant capture `to` is the emptied square, so the list is empty. En passant is
    // never a recapture: it answers a double push, which captures nothing.
    assert(ply > 0);
    const u64 target = bit(position->plies[ply - 1].currentMove.to) & position->pieceBB[us ^ 1];
    moves = appendCapturesOf<us, captureClass::quiescence>(
        moves, target, position->pieceBB[KNIGHT + us], position, attackLookup{allPieces(position)});
    moves = appendKingCaptures<us>(moves, target, position);
    closeList(ply, moves, position);
}

} // namespace

// Not inlined: the writer's vector registers would make the node search align its stack, which
// takes a register and some steps at each node.
[[gnu::noinline]] void generateMovesQuiets(int ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateQuiets<WHITE>(ply, moves, position, attackLookup{allPieces(position)});
    else
        generateQuiets<BLACK>(ply, moves, position, attackLookup{allPieces(position)});
}

// Not inlined, nor is generateMovesRecapture: apart, each needs fewer registers than both together.
[[gnu::noinline]] void generateMovesQuiescence(int ply, moveStruct* moves, positionStruct* position)
{
    computePins(ply, position);
    if (position->plies[ply].inCheck)
        generateMovesEvade(ply, moves, position);
    else if (position->sideToMove == WHITE)
        generateQuiescence<WHITE>(ply, moves, position);
    else
        generateQuiescence<BLACK>(ply, moves, position);
}

[[gnu::noinline]] void generateMovesRecapture(int ply, moveStruct* moves, positionStruct* position)
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

/// Lists all moves; in check the evasions. Computes inCheck and notPinned. Returns what
/// generateQuiets returns.
template <int us>
inline const moveStruct* generateAll(int ply, moveStruct* moves, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    moves->score = 0;
    here.inCheck = computePins<us>(ply, position);
    if (here.inCheck)
    {
        generateEvasions<us>(ply, moves, position);
        here.pickerStage = stageEvasions;
        return here.moveListEnd;
    }

    // What the sliders attack is looked up once, for the captures, and kept for the quiet moves.
    const attackLookup lookup{allPieces(position)};
    u64 kept[NOFSQUARES];
    u64* end = kept;
    const u64* next = kept;
    generateCaptures<us>(ply, moves, position,
                         [&](int type, int from) { return *end++ = lookup(type, from); });
    return generateQuiets<us>(ply, here.moveListEnd, position, [&](int, int) { return *next++; });
}

/// Lists the legal moves. Only the root, its PV and perft need such a list.
template <int us> void generateLegal(int ply, moveStruct* moves, positionStruct* position)
{
    generateAll<us>(ply, moves, position);
    const plyStruct& here = position->plies[ply];
    if (here.inCheck) return;

    // An illegal move is swapped to the end and dropped. The root search depends on the order that
    // this leaves.
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

/// The number of illegal moves that the generators list for the pinned pieces in `pinned`: those
/// that leave the line of the pin. Knights and en passant are left out.
template <int us> u32 countPinnedIllegal(u64 pinned, const positionStruct* position)
{
    using steps = pawnSteps<us>;
    const int king = kingSquareOf(us, position);
    const u64 occupied = allPieces(position);
    int count = 0;
    while (pinned)
    {
        const int from = takeLowest(pinned);
        const u64 offLine = ~(inLineSquares[king][from] | position->pieceBB[us]);
        u64 targets = 0;
        switch (position->board[from] - us)
        {
        case PAWN:
        {
            const u64 pawn = bit(from);
            const u64 pushed = steps::push(pawn) & ~occupied;
            targets = pushed | (steps::push(pushed) & ~occupied & steps::doubleRank) |
                      ((steps::captureRight(pawn) | steps::captureLeft(pawn)) & occupied);
            // Each promotion is listed four times.
            count += 3 * popcount(targets & offLine & steps::lastRank);
            break;
        }
        case BISHOP: targets = getBishopAttackTable(from, occupied); break;
        case ROOK: targets = getRookAttackTable(from, occupied); break;
        case QUEEN:
            targets = getBishopAttackTable(from, occupied) | getRookAttackTable(from, occupied);
            break;
        default: break;
        }
        count += popcount(targets & offLine);
    }
    return narrow<u32>(count);
}

/// The squares that the pieces of `them` attack.
template <int them> u64 attackedSquares(const positionStruct* position)
{
    using steps = pawnSteps<them>;
    const u64 occupied = allPieces(position);
    const u64 pawns = position->pieceBB[PAWN + them];
    u64 attacked = kingAttackTable[kingSquareOf(them, position)] | steps::captureRight(pawns) |
                   steps::captureLeft(pawns);
    for (u64 knights = position->pieceBB[KNIGHT + them]; knights;)
        attacked |= knightAttackTable[takeLowest(knights)];
    for (u64 sliders = bishopsAndQueens(them, position); sliders;)
        attacked |= getBishopAttackTable(takeLowest(sliders), occupied);
    for (u64 sliders = rooksAndQueens(them, position); sliders;)
        attacked |= getRookAttackTable(takeLowest(sliders), occupied);
    return attacked;
}

/// Counts the legal moves: all listed moves less the illegal ones, which are few. They are found by
/// sets of squares: asking inCheckAfterMove about each move would take a fifth of perft.
template <int us> u32 countLegal(int ply, moveStruct* moves, positionStruct* position)
{
    const moveStruct* castling = generateAll<us>(ply, moves, position);
    const plyStruct& here = position->plies[ply];
    u32 count = narrow<u32>(here.moveListEnd - moves);
    if (here.inCheck) return count;

    // The king has targets if it can castle: at least the square that it crosses. As there is no
    // check, no slider looks through the king at one of them.
    const u64 targets = kingAttackTable[kingSquareOf(us, position)] & ~position->pieceBB[us];
    if (targets)
    {
        const u64 attacked = attackedSquares<us ^ 1>(position);
        count -= narrow<u32>(popcount(targets & attacked));
        for (; castling < here.moveListEnd && isCastling(castling->kind); ++castling)
            count -= (attacked & bit(castling->to)) != 0;
    }
    if (here.notPinned != ~0ULL) count -= countPinnedIllegal<us>(~here.notPinned, position);
    if (here.enPassantSquare)
        for (u64 takers = position->pieceBB[PAWN + us] & enpassantTable[here.enPassantSquare];
             takers;)
        {
            const moveStruct move =
                packMove(takeLowest(takers), here.enPassantSquare, KINDENPASSANT, 0);
            count -= isKingHitAfterMove(&move, position);
        }
    assert(count <= narrow<u32>(here.moveListEnd - moves)); // has not gone below 0
    return count;
}

} // namespace

void generateMovesLegal(int ply, moveStruct* moves, positionStruct* position)
{
    if (position->sideToMove == WHITE)
        generateLegal<WHITE>(ply, moves, position);
    else
        generateLegal<BLACK>(ply, moves, position);
}

u32 countMovesLegal(int ply, moveStruct* moves, positionStruct* position)
{
    return position->sideToMove == WHITE ? countLegal<WHITE>(ply, moves, position)
                                         : countLegal<BLACK>(ply, moves, position);
}


// Pickers

namespace
{

/// Swaps two moves, each as one word; of a move whose fields it has read, the compiler would swap
/// the bytes one by one.
inline void swapMoves(moveStruct* a, moveStruct* b)
{
    const u32 word = moveWord(*a);
    *a = *b;
    *b = wordMove(word);
}

/// Eight numbers that one instruction of a suitable processor compares.
using eightWords = u32 __attribute__((vector_size(32)));

/// The place of the highest score among `count` moves, at least 8; of equal scores the lowest
/// place.
u32 placeOfBest(const moveStruct* first, u32 count)
{
    // A key has the score in its high byte, and in the other bytes a number that falls with the
    // place. So the greatest key is that of the move.
    constexpr u32 lastPlace = 0xffffff;
    const auto readKeys = [first](u32 place, eightWords& keys)
    {
        std::memcpy(&keys, first + place, sizeof keys);
        keys = (keys & ~lastPlace) | (lastPlace - eightWords{0, 1, 2, 3, 4, 5, 6, 7} - place);
    };
    // The last eight moves overlap with the eight before, which does no harm.
    eightWords greatest;
    readKeys(count - 8, greatest);
    for (u32 place = 0; place < count - 8; place += 8)
    {
        eightWords keys;
        readKeys(place, keys);
        greatest = keys > greatest ? keys : greatest;
    }
    u32 key = 0;
    for (int lane = 0; lane < 8; ++lane) key = std::max<u32>(key, greatest[lane]);
    return lastPlace - (key & lastPlace);
}

} // namespace

void getBestMove(moveStruct* first, const moveStruct* end)
{
    // Selection, one move at a time: a cut-off usually comes before a sorted list would have paid.
    assert(first < end);
    moveStruct* best = first;
    if (end - first >= 8)
        best += placeOfBest(first, static_cast<u32>(end - first));
    else
        for (moveStruct* move = first + 1; move < end; ++move)
            if (move->score > best->score) best = move;
    if (best != first) swapMoves(first, best);
}

namespace
{

/// The share of cut-offs among what a quiet move has led to, in 128ths: 0 to 128, 64 without data.
/// A share and not a count, so that a move is not ranked by how often it happened to be legal.
u32 historyRatio(moveStruct move, const positionStruct* position)
{
    assert(isPieceOf(position->sideToMove, position->board[move.from], position));
    assert(move.to < NOFSQUARES);
    const size_t piece = size_t{position->board[move.from]} - PAWN;
    const u32 good = position->historyGood[piece][move.to];
    const u32 sum = good + position->historyBad[piece][move.to];
    return sum ? good * 128 / sum : 64;
}

/// Swaps the quiet move of the highest history ratio to the cursor. The ratios are kept in the
/// score bytes and computed again only if a cut-off has changed the history since then. Below a
/// node of depth 2 or less, no cut-off changes it. Dividing for each move at each pick took a
/// fifteenth of the search.
void getBestQuiet(plyStruct& here, moveStruct* cursor, const positionStruct* position)
{
    if (here.rankedAt != position->historyChanges)
    {
        here.rankedAt = position->historyChanges;
        for (moveStruct* move = cursor; move < here.moveListEnd; ++move)
            move->score = narrow<u8>(historyRatio(*move, position));
    }
    getBestMove(cursor, here.moveListEnd);
}

/// Puts a killer or counter move into the cursor's slot and makes it, if it can be played.
bool playStoredMove(int ply, moveStruct move, moveStruct* cursor, positionStruct* position)
{
    // The move comes from another node, so it may be impossible here. makeMove tests the king.
    if (!isLegalMove(ply, &move, position, true)) return false;
    *cursor = move;
    return makeMove(ply + 1, cursor, position, true);
}

/// In check: the next evasion. Evasions are legal, so makeMove need not test them. The hash move
/// has been played before; the rest of the list follows by score.
bool playEvasion(int ply, moveStruct* cursor, positionStruct* position)
{
    const plyStruct& here = position->plies[ply];
    assert(here.inCheck);
    if (cursor == here.moveListEnd) return false;
    getBestMove(cursor, here.moveListEnd);
    if (sameMove(*cursor, here.hashMove)) return false;
    return makeMove(ply + 1, cursor, position, false);
}

} // namespace

// A node's list, in the order of addresses:
//
//   stretch                                      | written by
//   ---------------------------------------------|---------------------------------------
//   hash move, if legal: one slot                | the search
//   captures, the best one selected at each slot | stageMakeCaptures
//   first killer, second killer, counter move    | their stages, one reserved slot each
//   bad captures                                 | stageGoodCaptures, one by one
//   quiet moves                                  | stageMakeQuiets
//
// The caller moves the cursor on by one slot after every call, so a stage gets as many calls as it
// has slots. moveListEnd is the end of the current stretch; a cursor that has reached it has used
// the stretch up. The stage of a stored move moves the end on by its one slot, which keeps the
// caller's loop running even if it yields nothing.
//
// Bad captures are copied to the end of the list. moveListStart of the next ply is their write
// pointer, so that a child's list begins after them.
//
// The quiet stage does not filter: a quiet hash move, killer or counter move that has been played
// in its own stage is played again there. Node counts depend on it.
bool doNextMoveStaged(int ply, moveStruct* cursor, positionStruct* position, bool skipOrdering)
{
    plyStruct& here = position->plies[ply];
    plyStruct& next = position->plies[ply + 1];
    assert(cursor >= here.moveListStart && cursor <= here.moveListEnd);

    switch (here.pickerStage)
    {
    case stageHashMove:
        here.pickerStage = stageMakeCaptures;
        assert(sameMove(*cursor, here.hashMove));
        // The search has tested it exactly before it took it into the list.
        return makeMove(ply + 1, cursor, position, false);

    case stageMakeCaptures:
        generateMovesCaptures(ply, cursor, position);
        if (here.pickerStage == stageEvasions)
        {
            updateSeeScoreEvade(narrow<u8>(ply), cursor, position);
            return playEvasion(ply, cursor, position);
        }
        here.pickerStage = stageGoodCaptures;
        next.moveListStart += 3; // the slots of the stored moves
        [[fallthrough]];

    case stageGoodCaptures:
        if (cursor != here.moveListEnd)
        {
            getBestMove(cursor, here.moveListEnd);
            if (sameMove(*cursor, here.hashMove)) return false;
            if (!see(*cursor, 0, position))
            {
                assert(next.moveListStart >= here.moveListEnd + 3);
                *next.moveListStart++ = *cursor;
                return false;
            }
            return makeMove(ply + 1, cursor, position, true);
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
        here.pickerStage = stageOpenBadCaptures;
        if (ply == 0) return false;
        // After a null move currentMove is an old one and its square may be empty.
        const int square = position->plies[ply - 1].currentMove.to;
        const int piece = position->board[square];
        if (piece == NOPIECE) return false;
        const moveStruct counter = position->counterMoves[piece - PAWN][square];
        if (moveWord(counter) == 0 || sameMove(counter, here.hashMove) ||
            sameMove(counter, here.killers[0]) || sameMove(counter, here.killers[1]))
            return false;
        return playStoredMove(ply, counter, cursor, position);
    }

    // The bad captures begin right after the slots of the stored moves, where the cursor is now.
    case stageOpenBadCaptures:
        here.moveListEnd = next.moveListStart;
        here.pickerStage = stageBadCaptures;
        [[fallthrough]];

    case stageBadCaptures:
        if (cursor != here.moveListEnd) return makeMove(ply + 1, cursor, position, true);
        here.pickerStage = stageMakeQuiets;
        [[fallthrough]];

    case stageMakeQuiets:
        generateMovesQuiets(ply, cursor, position);
        here.quietsStart = cursor;
        here.rankedAt = position->historyChanges - 1; // out of date: nothing is ranked yet
        here.pickerStage = stageQuiets;
        [[fallthrough]];

    case stageQuiets:
        if (cursor == here.moveListEnd) return false;
        assert(cursor >= here.quietsStart && !here.inCheck);
        if (!skipOrdering) getBestQuiet(here, cursor, position);
        return makeMove(ply + 1, cursor, position, true);

    case stageEvasions: return playEvasion(ply, cursor, position);
    default: return false;
    }
}

bool doNextMoveQuiesc(int ply, moveStruct* cursor, positionStruct* position, int depth)
{
    const plyStruct& here = position->plies[ply];

    assert(cursor >= here.moveListStart && cursor < here.moveListEnd);

    // Evasions and recaptures are all played, whatever they lose: they are few, and in check there
    // is no standing pat.
    const bool testSee = depth <= 0 && depth > FIRSTRECAPTUREDEPTH;
    if (here.inCheck || !testSee)
    {
        getBestMove(cursor, here.moveListEnd);
        return makeMove(ply + 1, cursor, position, !here.inCheck);
    }

    // Selects the highest score among the moves that do not lose material. SEE is costly, so only a
    // move that scores more than the best so far is tested, and the one at the cursor only if no
    // other was selected.
    moveStruct* best = cursor;
    for (moveStruct* move = cursor + 1; move < here.moveListEnd; ++move)
        if (move->score > best->score && see(*move, 0, position)) best = move;
    if (best != cursor)
        swapMoves(cursor, best);
    else if (!see(*cursor, 0, position))
        return false;
    return makeMove(ply + 1, cursor, position, true);
}

// Captures that gain less than the threshold are not put aside: ProbCut has no use for them, and
// the node generates its list anew afterwards.
bool doNextMoveProbCut(int ply, moveStruct* cursor, positionStruct* position, i16 threshold)
{
    plyStruct& here = position->plies[ply];
    assert(!here.inCheck);

    switch (here.pickerStage)
    {
    case stageHashMove:
        // Only a capture or a promotion can gain enough.
        here.pickerStage = stageMakeCaptures;
        if (position->board[cursor->to] == NOPIECE && !isPromotion(cursor->kind)) return false;
        return see(*cursor, threshold, position) && makeMove(ply + 1, cursor, position, false);

    case stageMakeCaptures:
        generateMovesCaptures(ply, cursor, position);
        ++here.pickerStage;
        [[fallthrough]];

    case stageGoodCaptures:
        if (cursor == here.moveListEnd) return false;
        getBestMove(cursor, here.moveListEnd);
        if (sameMove(*cursor, here.hashMove)) return false;
        return see(*cursor, threshold, position) && makeMove(ply + 1, cursor, position, true);

    default: return false;
    }
}


// PV from the table

void getPVFromHashTable(int ply, positionStruct* position, int depth)
{
    // Each move is made to find the next position's entry. Entries may be overwritten at any time,
    // so a move is tested like any move from the table.
    assert(ply >= 0 && ply + depth < NOFPLIES);
    int found = 0;
    for (; found < depth; ++found)
    {
        const int here = ply + found;
        const u64 entry = getHashTableEntry(position->hashKey);
        if (hashBound(entry) != boundExact) break;
        const moveStruct move = wordMove(entry);
        if (!isLegalMove(here, &move, position, false)) break;

        position->plies[here].bestMove = move;
        makeMove(here + 1, &move, position, false);
        position->pvLength = narrow<u8>(found);
    }
    while (found-- > 0)
        unmakeMove(ply + found + 1, &position->plies[ply + found].bestMove, position);
}


// Interface without a caller

void generateSimpleChecks(int ply, moveStruct* moves, positionStruct* position)
{
    const int us = position->sideToMove;
    const u64 occupied = allPieces(position);
    const u64 empty = ~occupied;
    const int king = kingSquareOf(us ^ 1, position);
    const plyStruct& here = position->plies[ply];

    moves->score = 255;
    // The other score bytes keep what was in them.
    const auto append = [&moves](int from, int to, int kind)
    {
        *moves = packMove(from, to, kind, moves->score);
        ++moves;
    };

    // Pawns: promotions, then single pushes, then double pushes. A promotion to a rook or a bishop
    // checks from no square from which a queen does not, so only queen and knight are listed.
    const int up = us == WHITE ? 8 : -8;
    const auto push = [us](u64 pawns) { return us == WHITE ? pawns << 8 : pawns >> 8; };
    const u64 lastRank = us == WHITE ? pawnSteps<WHITE>::lastRank : pawnSteps<BLACK>::lastRank;
    const u64 doubleRank =
        us == WHITE ? pawnSteps<WHITE>::doubleRank : pawnSteps<BLACK>::doubleRank;
    const u64 pushed = push(position->pieceBB[PAWN + us]) & empty;
    const u64 pawnChecks = pawnAttackTable[us][king];
    for (u64 promotions = pushed & lastRank; promotions;)
    {
        const int to = takeLowest(promotions);
        const int from = to - up;
        // The new piece may look back along the file, through the square that the pawn has left.
        const u64 withoutPawn = occupied ^ bit(from);
        if ((getBishopAttackTable(to, withoutPawn) | getRookAttackTable(to, withoutPawn)) &
            bit(king))
            append(from, to, QUEEN);
        if (knightAttackTable[king] & bit(to)) append(from, to, KNIGHT);
    }
    for (u64 singles = pushed & ~lastRank & pawnChecks; singles;)
    {
        const int to = takeLowest(singles);
        append(to - up, to, KINDPLAIN);
    }
    for (u64 doubles = push(pushed) & empty & doubleRank & pawnChecks; doubles;)
    {
        const int to = takeLowest(doubles);
        append(to - 2 * up, to, KINDDOUBLEPUSH);
    }

    // Pieces: a square from which the piece attacks the king once it has left its own. The king's
    // lines are those of the board without the piece, which may have been in the way.
    for (const int type : {KNIGHT, BISHOP, ROOK, QUEEN})
    {
        const auto attacksFrom = [type](int square, u64 blockers)
        {
            u64 attacks = type == KNIGHT ? knightAttackTable[square] : 0;
            if (type == BISHOP || type == QUEEN) attacks |= getBishopAttackTable(square, blockers);
            if (type == ROOK || type == QUEEN) attacks |= getRookAttackTable(square, blockers);
            return attacks;
        };
        u64 pieces = position->pieceBB[type + us];
        if (type == KNIGHT) pieces &= here.notPinned;
        while (pieces)
        {
            const int from = takeLowest(pieces);
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

namespace
{

template <typename Writer> listWriter functionsOf()
{
    return {Writer::appendPawnMoves, Writer::appendPieceMoves, Writer::appendCaptures};
}

} // namespace

std::vector<listWriter> listWriters()
{
    return {functionsOf<plainWriter>(),
#ifdef QUILLON_AVX2
            functionsOf<avx2Writer>(),
#endif
            functionsOf<writer>()};
}
