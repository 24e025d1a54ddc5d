// SPDX-License-Identifier: MIT
//
// The search; see search.h. Scores are 16-bit from the side to move's view: 0 a draw,
// -32000 + ply mated at that ply, 32000 - ply mating. A stop is a flag. Once it is set, every node
// returns 0 as soon as it sees it, so the recursion unwinds and unmakes all moves on the way; the
// root throws away what comes back.
//
//   Position set-up             setPosition, makePlayable
//   Static exchange evaluation  see, seeAfter, updateSeeScoreEvade
//   Node search                 initLMRTable, quietCheckFilter, alfabeta
//   Quiescence                  quiescence
//   Root                        worker::searchRoot, boss::searchRoot
//   Threads                     desk, worker, workForce
//   Time                        calcTimeParameters
//   Interface without a caller  addPiece, setPositionG, updateSeeScore, quiescenceHash,
//                               worker::searchRootOld, boss::searchRootOld

#include "search.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

#include "eval.h"
#include "general.h"
#include "move.h"
#include "moveTable.h"

engineStruct engine;
positionStruct GPSData;
positionStruct* const GPS = &GPSData;
moveStruct GMS[MOVESTACKSIZE + MOVESTACKSLACK];
workForce theWorkForce;


// Position set-up

void initPosition(positionStruct* position)
{
    std::fill_n(position->pieceBB, NOFPIECECODES, 0);
    std::fill_n(position->board, NOFSQUARES, NOPIECE);
}

bool isBoardStructOK(const positionStruct* position)
{
    // Bitboards computed afresh from the board must be those of the record.
    u64 fresh[NOFPIECECODES] = {};
    for (int square = 0; square < NOFSQUARES; ++square)
    {
        const u8 code = position->board[square];
        if (code == NOPIECE) continue;
        if (code >= NOFPIECECODES) return false;
        fresh[code] |= bit(square);
        fresh[colourOf(code)] |= bit(square);
    }
    return std::equal(fresh, fresh + NOFPIECECODES, position->pieceBB);
}

bool isSideInCheck(const positionStruct* position)
{
    const u8 us = position->sideToMove;
    return position->pieceBB[KING + us] &&
           isSquareAttacked(kingSquareOf(us, position), us ^ 1, position);
}

bool makePlayable(positionStruct* position)
{
    if (!isBoardStructOK(position)) return false;
    const u8 us = position->sideToMove;
    const u8 them = us ^ 1;
    const u8* board = position->board;
    constexpr u64 outerRanks = 0xff000000000000ff;
    if (std::find(board, board + NOFSQUARES, 1) != board + NOFSQUARES) return false;
    if (popcount(position->pieceBB[KING + WHITE]) != 1) return false;
    if (popcount(position->pieceBB[KING + BLACK]) != 1) return false;
    if ((position->pieceBB[PAWN + WHITE] | position->pieceBB[PAWN + BLACK]) & outerRanks)
        return false;
    if (isSquareAttacked(kingSquareOf(them, position), us, position)) return false;

    // A right counts while its king and its rook are at home. The generator of castling moves
    // trusts the rights and does not look at these squares.
    plyStruct& root = position->plies[0];
    u8 rights = root.castlingRights;
    if (board[E1] != KING + WHITE) rights &= BLACKRIGHTS;
    if (board[E8] != KING + BLACK) rights &= WHITERIGHTS;
    if (board[H1] != ROOK + WHITE) rights &= u8{~WHITEKINGSIDE & 15};
    if (board[A1] != ROOK + WHITE) rights &= u8{~WHITEQUEENSIDE & 15};
    if (board[H8] != ROOK + BLACK) rights &= u8{~BLACKKINGSIDE & 15};
    if (board[A8] != ROOK + BLACK) rights &= u8{~BLACKQUEENSIDE & 15};

    u8 enPassant = root.enPassantSquare;
    if (enPassant)
    {
        const int landing = enPassantLanding(enPassant, us);
        if (enPassant >= NOFSQUARES || !onBoard(landing) || board[enPassant] != PAWN + them ||
            board[landing] != NOPIECE)
            enPassant = 0;
    }

    // Both are part of the key, and the last slot of the key history holds the root's own.
    if (rights != root.castlingRights || enPassant != root.enPassantSquare)
    {
        root.castlingRights = rights;
        root.enPassantSquare = enPassant;
        position->hashKey = calcHashKey(0, position);
        if (position->keyIndex > 0)
            position->keyHistory[position->keyIndex - 1] = position->hashKey;
    }
    return true;
}

namespace
{

/// Puts the pieces of a FEN's first field on the board. Rank lengths are not checked: "/" goes back
/// 16 squares from wherever the rank ends.
void setPieces(const std::string& pieces, positionStruct* position)
{
    initPosition(position);
    u8 square = A8;
    for (const char letter : pieces)
    {
        if (letter >= '1' && letter <= '8')
            square = static_cast<u8>(square + (letter - '0'));
        else if (letter == '/')
            square = static_cast<u8>(square - 16);
        else
        {
            // A letter that names no piece leaves the code 255 and a bit among the black pieces. A
            // square beyond h8 leaves only the bit. makePlayable refuses both.
            const u8 code = static_cast<u8>(fenLabelPieces.find(letter));
            if (code)
            {
                if (code < NOFPIECECODES) position->pieceBB[code] |= bit(square);
                position->pieceBB[colourOf(code)] |= bit(square);
                if (square < NOFSQUARES) position->board[square] = code;
            }
            ++square;
        }
    }
}

/// Sets the side to move, and in plies[0] the castling rights and the en passant square. A FEN
/// names the square that the pawn has jumped over, the record the one that it has reached. The
/// arithmetic between them is 8-bit and relies on wrapping: `rank` is the character code of the
/// digit, not its value.
void setState(const std::string& side, const std::string& rights, const std::string& enPassant,
              positionStruct* position)
{
    plyStruct& root = position->plies[0];
    position->sideToMove = side[0] == 'w' ? WHITE : BLACK;

    root.castlingRights = 0;
    for (const char letter : rights)
    {
        if (letter == 'K') root.castlingRights |= WHITEKINGSIDE;
        if (letter == 'k') root.castlingRights |= BLACKKINGSIDE;
        if (letter == 'Q') root.castlingRights |= WHITEQUEENSIDE;
        if (letter == 'q') root.castlingRights |= BLACKQUEENSIDE;
    }

    root.enPassantSquare = 0;
    if (enPassant[0] != '-')
    {
        const int file = enPassant[0] - 'a';
        const int rank = enPassant[0] == '\0' ? 0 : enPassant[1];
        const int towardsPawn = position->sideToMove == BLACK ? 16 : 14;
        root.enPassantSquare = static_cast<u8>((rank + towardsPawn) * 8 + file);
    }
}

/// The slot of the first key, from a count of moves. The upper bound, 512, leaves half of
/// keyHistory for the moves of the game and the path of a search.
i16 firstKeyIndex(u8 sideToMove, i64 count)
{
    return narrow<i16>(std::clamp<i64>(sideToMove + 2 * count - 2, 0, 512));
}

/// Sets what follows from the fields of a FEN: keys, check, and the sums of the evaluation. From
/// here on makeMove keeps keys and sums up to date; whoever makes a move sets the check.
void deriveState(positionStruct* position)
{
    position->hashKey = calcHashKey(0, position);
    position->pawnHashKey = calcHashKeyPawn(0, position);
    position->keyHistory[position->keyIndex++] = position->hashKey;
    position->plies[0].inCheck = isSideInCheck(position);
    initEvaluation(position);
}

} // namespace

void setPosition(std::string fen, positionStruct* position)
{
    // The fields are separated by single spaces: two in a row have an empty field between them.
    if (fen.empty() || fen.back() != ' ') fen += ' ';
    std::vector<std::string> tokens(1);
    for (const char letter : fen)
    {
        if (letter == ' ')
            tokens.emplace_back();
        else
            tokens.back() += letter;
    }
    tokens.pop_back();

    // Each missing field gets its default, one after the other.
    if (tokens.size() == 1) tokens.emplace_back("w");
    if (tokens.size() == 2) tokens.emplace_back("-");
    if (tokens.size() == 3) tokens.emplace_back("-");
    if (tokens.size() == 4) tokens.emplace_back("0");
    if (tokens.size() == 5) tokens.emplace_back("1");

    setPieces(tokens[0], position);
    setState(tokens[1], tokens[2], tokens[3], position);

    // The half-move clock also serves as the count of moves. The move number is not read.
    const int clock = std::stoi(tokens[4]);
    position->halfMoveClock = wrap16(clock);
    position->keyIndex = firstKeyIndex(position->sideToMove, clock);
    deriveState(position);
}


// Static exchange evaluation

bool exchangeHolds(int balance, u8 to, u64 occupied, size_t side, const positionStruct* position)
{
    const u64* pieces = position->pieceBB;
    // If a pawn can capture, that usually settles the exchange before sliders are looked up.
    if (balance < -seeValue[PAWN] && (pawnAttackTable[side][to] & pieces[PAWN + side]))
        return false;
    u64 attackers = (getBishopAttackTable(to, occupied) &
                     (bishopsAndQueens(WHITE, position) | bishopsAndQueens(BLACK, position))) |
                    (getRookAttackTable(to, occupied) &
                     (rooksAndQueens(WHITE, position) | rooksAndQueens(BLACK, position))) |
                    (pawnAttackTable[WHITE][to] & pieces[PAWN + WHITE]) |
                    (pawnAttackTable[BLACK][to] & pieces[PAWN + BLACK]) |
                    (knightAttackTable[to] & (pieces[KNIGHT + WHITE] | pieces[KNIGHT + BLACK])) |
                    (kingAttackTable[to] & (pieces[KING + WHITE] | pieces[KING + BLACK]));
    attackers &= occupied;

    // The sides capture in turn, each with its least valuable piece, because that one risks least.
    // `result` is the answer if the side whose turn it is stops capturing.
    for (bool result = true;; side ^= 1)
    {
        const u64* own = pieces + side; // own[PAWN]: the pawns of `side`, and so on
        const u64 mine = attackers & pieces[side];
        if (!mine) return result;
        result = !result;

        // Whether the capture decides the exchange. If not, the other side continues with the
        // balance turned to its view.
        const auto isDecidedBy = [&](u64 takers, int type)
        {
            balance += seeValue[type];
            occupied ^= takers & (0 - takers);
            return balance < 0;
        };
        // The piece that has captured may have stood in the way of another one: a slider on the
        // same line. A knight leaves no line to the square.
        const auto uncoverDiagonals = [&]
        { attackers |= getBishopAttackTable(to, occupied) & (own[BISHOP] | own[QUEEN]); };

        if (const u64 pawns = mine & own[PAWN])
        {
            if (isDecidedBy(pawns, PAWN)) return result;
            uncoverDiagonals();
        }
        else if (const u64 knights = mine & own[KNIGHT])
        {
            if (isDecidedBy(knights, KNIGHT)) return result;
        }
        else if (const u64 bishops = mine & own[BISHOP])
        {
            if (isDecidedBy(bishops, BISHOP)) return result;
            uncoverDiagonals();
        }
        else if (const u64 rooks = mine & own[ROOK])
        {
            if (isDecidedBy(rooks, ROOK)) return result;
            attackers |= getRookAttackTable(to, occupied) & (own[ROOK] | own[QUEEN]);
        }
        else if (const u64 queens = mine & own[QUEEN])
        {
            if (isDecidedBy(queens, QUEEN)) return result;
            uncoverDiagonals();
        }
        else
            // A king may not capture a defended piece.
            return (attackers & pieces[side ^ 1]) ? !result : result;

        attackers &= occupied;
        balance = -balance;
    }
}

// The next capture is made by the side that is not to move, as in `see`. Since the move has been
// made here, that is the mover itself. The check extension relies on this (test: SeeAfterSide).
bool seeAfter(moveStruct move, i16 threshold, const positionStruct* position, u8 captured)
{
    if (!hasExchange(move)) return threshold <= 0;
    int balance = wrap16(seeValue[captured] - threshold);
    if (balance < 0) return false;
    balance -= seeValue[position->board[move.to]];
    if (balance >= 0) return true;
    return exchangeHolds(balance, move.to, allPieces(position) ^ bit(move.to),
                         position->sideToMove ^ 1U, position);
}

namespace
{

/// Whether a listed move loses material.
bool losesMaterial(moveStruct move, const positionStruct* position)
{
    const int balance = seeValue[position->board[move.to]] - seeValue[position->board[move.from]];
    return balance < 0 &&
           !exchangeHolds(balance, move.to, allPieces(position) ^ bit(move.from) ^ bit(move.to),
                          position->sideToMove ^ 1U, position);
}

} // namespace

void updateSeeScoreEvade(u8 ply, moveStruct* first, const positionStruct* position)
{
    // A king's move is legal, so nothing can take the king. A pawn that captures the checker wins
    // at least as much as it can lose. The sum is 8-bit and wraps; evasions score 200 and more.
    constexpr u8 pawnTakesChecker = 250;
    for (moveStruct* move = first; move < position->plies[ply].moveListEnd; ++move)
        if (move->score != pawnTakesChecker && !isKing(position->board[move->from]) &&
            hasExchange(*move) && losesMaterial(*move, position))
            move->score = static_cast<u8>(move->score - 100);
}


// Node search

// If one of our sliders is on a diagonal of the enemy king, however many pieces are in between, the
// first piece on each diagonal is suspect: it may discover a check by leaving. Ranks and files
// likewise. An exact test would cost more than the few moves that are made in vain.
void quietCheckFilter::prepare(const positionStruct* position)
{
    const int us = position->sideToMove;
    const u8 king = kingSquareOf(us ^ 1, position);
    const u64 occupied = allPieces(position);
    const u64 bishopLines = getBishopAttackTable(king, occupied);
    const u64 rookLines = getRookAttackTable(king, occupied);
    checkingSquares[PAWN + us] = pawnAttackTable[us][king];
    checkingSquares[KNIGHT + us] = knightAttackTable[king];
    checkingSquares[BISHOP + us] = bishopLines;
    checkingSquares[ROOK + us] = rookLines;
    checkingSquares[QUEEN + us] = bishopLines | rookLines;
    checkingSquares[KING + us] = 0;
    discoverers = 0;
    if (bishopsAndQueens(us, position) & bishopAttackAll[king]) discoverers |= bishopLines;
    if (rooksAndQueens(us, position) & rookAttackAll[king]) discoverers |= rookLines;
}

namespace
{

constexpr int MAXDEPTH = 127; // the last iteration, and the deepest node

// Margins by depth, in score units. The deeper the remaining search, the more a move can change, so
// the margins grow.
constexpr i32 razor[4] = {0, 120, 190, 240};
constexpr i32 futility[8] = {0, 65, 130, 195, 260, 325, 390, 455};

// LMP[depth]: the number of moves after which a null-window node prunes quiet moves. Few suffice,
// because a good quiet move is usually among the first by history.
constexpr i8 LMP[5] = {2, 3, 5, 7, 9};

// LMR[depth][move number]: plies by which the search of a late quiet move is reduced. The table
// saves a square root at each move.
i8 LMR[128][256];

constexpr int PROBCUTMARGIN = 110;       // by how much a shallow search must exceed beta
constexpr int NULLDEEPENINGMARGIN = 100; // how far below beta IID still pays

// When a weight reaches this, all weights are halved. This keeps old results from outweighing new
// ones for ever, and 128 times a weight, which the ratio needs, within 32 bits.
constexpr u32 HISTORYLIMIT = 131072;

} // namespace

void initLMRTable()
{
    for (int depth = 0; depth < 128; ++depth)
        for (int number = 0; number < 256; ++number)
        {
            // The dip from entry 4 to entry 5 at shallow depth is deliberate.
            int reduction = 0;
            if (number == 3 || number == 4) reduction = 1;
            if (number >= 5) reduction = static_cast<int>(std::sqrt(number * depth / 9));
            LMR[depth][number] = narrow<i8>(reduction);
        }
}

namespace
{

int searchInnerNode(int ply, int depth, int alpha, int beta, positionStruct* position,
                    u8 nullAllowed);

/// The child's score from the parent's view, with the parent's window. A reduction may take the
/// depth to 0 or below, where quiescence replaces the node search. Window and score are 16-bit here
/// and wrap.
inline int searchChild(int childPly, int depth, int alpha, int beta, positionStruct* position,
                       u8 nullAllowed = 2)
{
    const i16 low = wrap16(-beta);
    const i16 high = wrap16(-alpha);
    if (depth > 0)
        return wrap16(-searchInnerNode(childPly, depth, low, high, position, nullAllowed));
    return wrap16(-quiescence(narrow<u8>(childPly), 0, low, high, position));
}

/// Counts a node. The boss adds up the counters of running threads, so the write is published.
inline void countNode(u64& counter)
{
    publish(counter, counter + 1);
}

/// Time since the arrival of `go`.
i64 millisecondsSinceGo()
{
    return now() - narrow<i64>(u64{engine.startTime});
}

/// Checks the hard budget and the node limit; true when one is used up.
[[gnu::noinline]] bool isLimitReached(positionStruct* position)
{
    position->nodesToClockCheck = engine.nodeCheckInterval;
    // An unlimited search reads the clock too: a platform without threads uses that to take turns.
    const i64 elapsed = millisecondsSinceGo();
    bool isOver = !theWorkForce.ponderSearch && !engine.infinite && elapsed >= engine.maxTime;
    if constexpr (TESTER) isOver |= engine.nodeLimit && theWorkForce.nofNodes() >= engine.nodeLimit;
    if (!isOver) return false;
    theWorkForce.stop();
    return true;
}

/// Counts down to the next check of the limits; true when one is used up. A call to the system at
/// each node would cost more than it gains: the budget is not that exact.
inline bool isTimeOver(positionStruct* position)
{
    return position->nodesToClockCheck-- <= 0 && isLimitReached(position);
}

/// Whether a side has more pieces than a game can give it: promoted pieces and pawns together
/// beyond eight. Captures among thirty queens a side take minutes, so the quiescence search of such
/// a board checks the clock and the stop flag, which no other one needs to.
bool isCrowded(const positionStruct* position)
{
    const auto count = [=](int code) { return popcount(position->pieceBB[code]); };
    for (const int us : {WHITE, BLACK})
    {
        int pawnsNeeded = count(PAWN + us) + std::max(count(QUEEN + us) - 1, 0);
        for (const int type : {KNIGHT, BISHOP, ROOK})
            pawnsNeeded += std::max(count(type + us) - 2, 0);
        if (pawnsNeeded > 8) return true;
    }
    return false;
}

/// isCrowded of the root, set before the search starts: captures can't crowd a board.
relaxed<bool> boardIsCrowded = false;

/// Whether the position has occurred before, in the game or on the path. One occurrence is enough:
/// a side that can repeat once can repeat again, and the tree below need not be searched to see it.
/// No position returns sooner than after four plies, so the walk starts there. It ends where the
/// half-move clock started, because nothing before a capture or pawn move can come back. A null
/// move pushes no key, so below it the walk compares positions with the other side to move.
bool isRepetition(const positionStruct* position)
{
    const int last = std::max(position->keyIndex - position->halfMoveClock - 1, 0);
    for (int i = position->keyIndex - 5; i >= last; i -= 2)
        if (position->keyHistory[i] == position->hashKey) return true;
    return false;
}

/// Narrows a node's window to the scores that a mate at `ply` or after the next move can have. Once
/// a mate is known, the search does not look for a longer one.
void clipToMates(int ply, int& alpha, int& beta)
{
    // Most windows are far from the mates of any ply.
    if (alpha >= -SCOREMATELIMIT && beta <= SCOREMATELIMIT) return;
    alpha = std::max(alpha, ply - SCOREMATE);
    if (beta > SCOREMATE - ply) beta = SCOREMATE + 1 - ply;
}

/// Whether a table entry cuts off a node with this window: an exact score always does, a bound if
/// it proves that the node's score is outside the window.
bool isCutOff(u8 bound, int score, int alpha, int beta)
{
    return bound == boundExact || (bound != boundUpper && score >= beta) ||
           (bound == boundUpper && score <= alpha);
}

/// The static evaluation, or the table's score where its bound shows that it is nearer. A score
/// from a search knows more than the evaluation, whatever its depth.
int improvedEvaluation(int evaluation, u8 bound, int tableScore)
{
    const bool isNearer = bound == boundExact || (bound == boundLower && evaluation < tableScore) ||
                          (bound == boundUpper && evaluation > tableScore);
    return isNearer ? tableScore : evaluation;
}

/// Prepares the node's list for a picker: a legal hash move in the first slot, or nothing. The move
/// is searched before anything is generated, since it often cuts off.
void startList(bool hashMoveIsLegal, plyStruct& here, plyStruct& next)
{
    here.moveListEnd = here.moveListStart;
    if (hashMoveIsLegal) *here.moveListEnd++ = here.hashMove;
    here.pickerStage = hashMoveIsLegal ? stageHashMove : stageMakeCaptures;
    next.moveListStart = here.moveListEnd;
}

/// Halves the weights of all quiet moves, so that old results fade and the ratios stay. Not
/// inlined, because its vector registers would make the node search align its stack.
[[gnu::noinline]] void halveHistory(positionStruct* position)
{
    for (int piece = 0; piece < 12; ++piece)
        for (int square = 0; square < NOFSQUARES; ++square)
        {
            position->historyGood[piece][square] >>= 1;
            position->historyBad[piece][square] >>= 1;
        }
}

/// Remembers a move that cut off: as a counter move and, if it is quiet, as a killer and, from
/// depth 3 on, in the history. A promotion on an empty square counts as quiet. Captures need no
/// memory: their exchange values order them well, as the evasions' scores do in check.
void rewardCutOff(int ply, int depth, const moveStruct* cursor, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    const moveStruct move = *cursor;
    const u8* board = position->board;

    if (ply > 0)
    {
        // A counter move answers the piece that has just arrived on its square. After a null move
        // or an en passant capture there may be none.
        const u8 square = position->plies[ply - 1].currentMove.to;
        if (board[square] >= PAWN) position->counterMoves[board[square] - PAWN][square] = move;
    }
    if (here.inCheck || board[move.to]) return;

    if (!sameMove(move, here.hashMove) && !sameMove(move, here.killers[0]))
    {
        here.killers[1] = here.killers[0];
        here.killers[0] = move;
    }
    if (depth < 3) return;

    // A cut-off at a great depth saves more work and is more reliable. Without the weight, the many
    // shallow ones would drown it.
    ++position->historyChanges;
    const u32 weight = narrow<u32>(depth * depth);
    u32& good = position->historyGood[board[move.from] - PAWN][move.to];
    good += weight;
    // The quiet moves before it were searched in vain. Killers and counter moves have cut off
    // before the quiet moves are listed, so there are none to charge.
    if (here.pickerStage == stageQuiets)
        for (const moveStruct* quiet = here.quietsStart; quiet < cursor; ++quiet)
        {
            u32& bad = position->historyBad[board[quiet->from] - PAWN][quiet->to];
            bad += weight;
            if (bad >= HISTORYLIMIT) halveHistory(position);
        }
    if (good >= HISTORYLIMIT) halveHistory(position);
}

/// Whether a side has a piece besides its king and pawns. Without one, zugzwang is common: the
/// right to move is then no advantage, on which the null move and reverse futility rely.
bool hasPiece(int colour, const positionStruct* position)
{
    return moreThanOne(position->pieceBB[colour] & ~position->pieceBB[PAWN + colour]);
}

/// Whether the move that `us` has just made gives check to the king on `enemyKing`. It differs from
/// isSquareAttacked in two ways: legal moves never put one king beside the other, and as few moves
/// give check, it does not look for an early answer.
inline bool givesCheck(u8 enemyKing, int us, const positionStruct* position)
{
    const u64 occupied = allPieces(position);
    const u64* pieces = position->pieceBB;
    return ((getBishopAttackTable(enemyKing, occupied) & bishopsAndQueens(us, position)) |
            (getRookAttackTable(enemyKing, occupied) & rooksAndQueens(us, position)) |
            (pawnAttackTable[us][enemyKing] & pieces[PAWN + us]) |
            (knightAttackTable[enemyKing] & pieces[KNIGHT + us])) != 0;
}

/// Step 8. Null move (Donninger, "Null move and deep search", 1993): if passing keeps the score
/// above beta, a move will too. The search of the reply is reduced by 2 plies, and by one more for
/// every 6 plies of depth, which is what makes it pay. A second null move in a row would only
/// search the same position at a smaller depth, so the child may not pass. Returns the score of
/// passing.
int searchNullMove(int ply, int depth, int beta, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    const u64 key = position->hashKey;
    const u8 enPassant = here.enPassantSquare;

    // No key is pushed, and the half-move clock does not change. The right to capture en passant is
    // lost by passing. The child's record is a copy, because no move is made that would fill it.
    position->sideToMove ^= 1;
    position->hashKey ^= hashCodeBlackToMove;
    if (enPassant) position->hashKey ^= hashCodeEnpassant[fileOf(enPassant)];
    prefetchHashLines(position->hashKey);
    here.enPassantSquare = 0;
    position->plies[ply + 1] = here;
    evaluateNullMove(key, position);

    const int score = searchChild(ply + 1, depth - 3 - depth / 6, beta - 1, beta, position, 0);

    position->sideToMove ^= 1;
    position->hashKey = key;
    here.enPassantSquare = enPassant;
    return score;
}

/// Step 10. ProbCut (Buro, 1995): a capture that beats beta by a margin in a shallow search will
/// beat beta in a full one. Only captures that gain enough by SEE to reach the margin are tried. A
/// quiescence search comes first, since it is cheap and refutes many of them. Returns whether a
/// capture did, with its score in `score`.
bool searchProbCut(int ply, int depth, int beta, int staticEval, positionStruct* position,
                   int& score)
{
    plyStruct& here = position->plies[ply];
    const u8 us = position->sideToMove;
    const int childPly = ply + 1;
    const int raised = beta + PROBCUTMARGIN;
    const i16 threshold = wrap16(raised - staticEval);

    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        if (!doNextMoveProbCut(ply, cursor, position, threshold)) continue;
        position->plies[childPly].inCheck =
            givesCheck(kingSquareOf(us ^ 1, position), us, position);
        here.currentMove = *cursor;
        score = searchChild(childPly, 0, raised - 1, raised, position);
        if (score >= raised) score = searchChild(childPly, depth - 3, raised - 1, raised, position);
        unmakeMove(childPly, cursor, position);
        if (score >= raised) return true;
    }
    return false;
}

/// The node search. Principal variation search (Marsland and Campbell, 1982): the first move gets
/// the full window, the others a null window and a second search when they fail high. If the moves
/// are well ordered, that second search is rare, and a null window cuts off sooner than a full one.
///
/// Scores are int inside and wrap to 16 bits where they leave; see alfabeta.
int searchInnerNode(int ply, int depth, int alpha, int beta, positionStruct* position,
                    u8 nullAllowed)
{
    assert(ply < NOFPLIES);
    assert(depth > 0 && depth <= MAXDEPTH);
    assert(alpha < beta);
    assert(isSideInCheck(position) == position->plies[ply].inCheck || ply == 0);
    plyStruct& here = position->plies[ply];

    // Step 1. Count, clock and stop. At the end of the path only the evaluation is left.
    countNode(position->nodes);
    if (ply > position->selDepth) position->selDepth = narrow<u8>(ply);
    if (isTimeOver(position) || theWorkForce.stopSearch) return 0;
    if (isPathFull(ply, position)) return evaluateN(ply, position);

    if (ply > 0)
    {
        // Step 2. Mate distance: no score is worse than being mated now or better than mating with
        // the next move. The two limits differ by one on purpose.
        clipToMates(ply, alpha, beta);
        if (alpha >= beta) return alpha;

        // Step 3. Repetition. It comes before the table, whose entries know nothing of the path.
        if (position->halfMoveClock >= 4 && isRepetition(position)) return 0;
    }
    // A node with room between alpha and beta belongs to the PV or may become part of it. Most
    // pruning steps leave it alone, since a mistake there would change the move that is played.
    const int entryAlpha = alpha;
    const bool pvNode = alpha + 1 < beta;

    // Step 4. Transposition table. Cut-offs are taken with a full window too. The root takes none,
    // because it must end with a move. The evaluation of step 5 runs while the table's lines are
    // fetched. Little is wasted: most nodes that the table cuts off have it in the evaluation
    // cache.
    const int evaluation = here.inCheck ? 0 : wrap16(evaluateN(ply, position));
    here.hashMove = EMPTYMOVE;
    u64 entry = getHashTableEntry(position->hashKey);
    const u8 bound = hashBound(entry);
    int tableScore = 0;
    if (bound)
    {
        tableScore = hashScore(entry, ply);
        if (ply > 0 && hashDepth(entry) >= depth && isCutOff(bound, tableScore, alpha, beta))
            return tableScore;
        here.hashMove = wordMove(entry);
    }

    const u8 us = position->sideToMove;
    plyStruct& next = position->plies[ply + 1];
    if (!here.inCheck)
    {
        // Step 5. Static evaluation. In check it says little, so the steps that rely on it are
        // skipped there.
        const int staticEval = improvedEvaluation(evaluation, bound, tableScore);
        const bool mateEval = std::abs(staticEval) >= SCOREMATELIMIT;

        // Step 6. Razoring (Heinz, "Scalable search in computer chess", 2000): so far below alpha
        // only captures can help.
        if (depth <= 3 && !pvNode && staticEval + razor[depth] < alpha)
        {
            const int score = quiescence(narrow<u8>(ply), 0, wrap16(alpha), wrap16(beta), position);
            if (score < alpha) return score;
        }

        // Step 7. Reverse futility: so far above beta that no quiet reply brings it down. A mate
        // score is no evaluation and proves nothing about a margin.
        if (depth < 7 && !pvNode && staticEval >= beta + futility[depth] && !mateEval &&
            hasPiece(us, position))
            return staticEval;

        // Step 8. Null move. A mate found by passing is not a mate, so its score is cut to beta.
        if (depth >= 3 && nullAllowed && staticEval >= beta && hasPiece(us, position))
        {
            const int score = searchNullMove(ply, depth, beta, position);
            if (score >= beta) return score <= SCOREMATELIMIT ? score : beta;
        }

        // Step 9. Internal iterative deepening (IID): a shallow search finds a move to try first.
        // It pays where a good first move matters: in the PV, and where a cut-off is likely.
        if (depth >= 4 && moveWord(here.hashMove) == 0 &&
            (pvNode || staticEval >= beta - NULLDEEPENINGMARGIN))
        {
            alfabeta(narrow<u8>(ply), depth - 3, wrap16(alpha), wrap16(beta), position, 2);
            entry = getHashTableEntry(position->hashKey);
            if (hashBound(entry)) here.hashMove = wordMove(entry);
        }

        // Step 10. ProbCut.
        if (depth >= 5 && !pvNode && !mateEval)
        {
            startList(isLegalMove(ply, &here.hashMove, position, false), here, next);
            int score = 0;
            if (searchProbCut(ply, depth, beta, staticEval, position, score)) return score;
        }
    }

    // Step 11. The move loop. A slot of the list may yield no move. The call with the cursor at the
    // end of the list starts the picker's next stage. The list starts again here, because ProbCut
    // has used it.
    startList(isLegalMove(ply, &here.hashMove, position, false), here, next);
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    const int childPly = ply + 1;
    bool skipOrdering = false; // from the first late move that is pruned on
    quietCheckFilter filter;   // prepared then
    int bestScore = -SCOREMATE;
    int searchedMoves = 0;
    int moveNumber = 0;
    int lateMoveNumber = 0;

    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        // The child's record keeps the check flag of the last move that was made there, and
        // getPVFromHashTable reads it. So after a check the next move is always made.
        if (skipOrdering && !next.inCheck)
            while (cursor < here.moveListEnd && !filter.mayGiveCheck(*cursor, position)) ++cursor;
        if (!doNextMoveStaged(ply, cursor, position, skipOrdering)) continue;
        // What the child reads first is fetched while this node decides about the move.
        prefetchHashLines(position->hashKey);
        prefetchEvaluation(position);
        next.inCheck = givesCheck(enemyKing, us, position);

        // Step 12. Late move pruning: after so many moves a quiet one that gives no check hardly
        // ever raises alpha. From the first pruned move on, the node's other quiet moves come
        // unsorted, and those that can't give check are not even made. In check the picker never
        // comes to stageQuiets.
        if (ply > 0 && !next.inCheck &&
            (skipOrdering || (!pvNode && depth <= 4 && here.pickerStage == stageQuiets &&
                              moveNumber >= LMP[depth])))
        {
            unmakeMove(childPly, cursor, position);
            if (!skipOrdering) filter.prepare(position);
            skipOrdering = true;
            continue;
        }
        here.currentMove = *cursor;

        // Step 13. Check extension, unless the check loses the piece that moved.
        int newDepth = depth - 1;
        if (next.inCheck &&
            (!hasExchange(*cursor) || seeAfter(*cursor, 0, position, next.capturedPiece)))
            newDepth = depth;

        // Bad captures don't count as moves, so the quiet moves after them aren't reduced more. In
        // the PV only the moves after the good captures count, so that fewer are reduced.
        if (here.pickerStage != stageBadCaptures)
        {
            ++moveNumber;
            if (here.pickerStage >= stageFirstKiller) ++lateMoveNumber;
        }

        // Step 14. Search the move; late quiet ones at a reduced depth first (late move
        // reductions, Romstad, 2006). A move that then beats alpha after all has earned the full
        // depth, and if it lands inside the window also the full window.
        int score;
        if (searchedMoves == 0)
            score = searchChild(childPly, newDepth, alpha, beta, position);
        else
        {
            int reduction = 0;
            if (here.pickerStage == stageQuiets && depth >= 3)
                // cppcheck-suppress arrayIndexOutOfBoundsCond ; depth never grows from MAXDEPTH
                reduction = LMR[depth][std::min(pvNode ? lateMoveNumber : moveNumber, 255)];
            score = searchChild(childPly, newDepth - reduction, alpha, alpha + 1, position);
            if (newDepth > 0 && reduction && score > alpha)
                score = searchChild(childPly, newDepth, alpha, alpha + 1, position);
            if (score > alpha && score < beta)
                score = searchChild(childPly, newDepth, alpha, beta, position);
        }
        unmakeMove(childPly, cursor, position);
        if (theWorkForce.stopSearch) return 0;
        ++searchedMoves;

        // Step 15. A new best move, and the cut-off. A score at or below alpha is only a bound, so
        // its move is not remembered. The root notes each new best move at once: if the search is
        // stopped in this iteration, the newest one is played.
        if (score <= bestScore) continue;
        if (score <= alpha)
        {
            bestScore = score;
            continue;
        }
        // A stored move carries its piece's code, by which isLegalMove tests it elsewhere.
        cursor->score = position->board[cursor->from];
        here.bestMove = *cursor;
        if (ply == 0)
        {
            ++position->rootBestChanges;
            position->rootDepth = narrow<i16>(depth);
            position->rootDepthComplete = 0;
        }
        if (score >= beta)
        {
            putHashTableEntry(position->hashKey, *cursor, wrap16(score), narrow<i8>(depth),
                              boundLower, narrow<u8>(ply));
            rewardCutOff(ply, depth, cursor, position);
            return score;
        }
        bestScore = score;
        alpha = score;
    }

    // Step 16. Mate and stalemate come before the fifty-move rule, so that mate by the hundredth
    // ply wins. A node that cuts off never checks the fifty-move counter.
    if (searchedMoves == 0) return here.inCheck ? ply - SCOREMATE : 0;
    if (position->halfMoveClock > 99) return 0;

    // Step 17. Store. After a fail low no move is known to be best; the old hash move is a better
    // guess for the next visit than none.
    const bool failedLow = bestScore <= entryAlpha;
    putHashTableEntry(position->hashKey, failedLow ? here.hashMove : here.bestMove,
                      wrap16(bestScore), narrow<i8>(depth), failedLow ? boundUpper : boundExact,
                      narrow<u8>(ply));
    return bestScore;
}

} // namespace

// Callers see 16-bit windows and scores, here and in quiescence.
i16 alfabeta(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position, u8 nullAllowed)
{
    return wrap16(searchInnerNode(ply, depth, alpha, beta, position, nullAllowed));
}


// Quiescence

namespace
{

template <bool crowded>
int searchQuiescenceNode(int ply, int depth, int alpha, int beta, positionStruct* position);

/// Plays the moves that the picker yields and returns the best score; `alpha` rises on the way.
/// `best`, when not null, receives each move that raises alpha. The windows are those of the node
/// search: full for the first move, null for the others, full again if one lands inside.
template <bool crowded>
int searchCaptures(int ply, int depth, int alpha, int beta, int bestScore, positionStruct* position,
                   moveStruct* best)
{
    plyStruct& here = position->plies[ply];
    const u8 us = position->sideToMove;
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    const int childPly = ply + 1;
    const auto search = [=](int low, int high)
    {
        return wrap16(-searchQuiescenceNode<crowded>(childPly, depth - 1, wrap16(-high),
                                                     wrap16(-low), position));
    };

    bool isFirst = true;
    for (moveStruct* cursor = here.moveListStart; cursor < here.moveListEnd; ++cursor)
    {
        if (!doNextMoveQuiesc(ply, cursor, position, depth)) continue;
        prefetchEvaluation(position);
        here.currentMove = *cursor;
        position->plies[childPly].inCheck = givesCheck(enemyKing, us, position);

        int score = isFirst ? search(alpha, beta) : search(alpha, alpha + 1);
        if (!isFirst && score > alpha && score < beta) score = search(alpha, beta);
        isFirst = false;
        unmakeMove(childPly, cursor, position);

        if (score <= bestScore) continue;
        bestScore = score;
        if (score <= alpha) continue;
        alpha = score;
        if (best) *best = {cursor->from, cursor->to, cursor->kind, position->board[cursor->from]};
        if (score >= beta) break;
    }
    return bestScore;
}

/// Generates the list of a quiescence node by its band of depth. Returns false in check without an
/// evasion, which is mate. From FIRSTNOEVASIONDEPTH down the node forgets that it is in check and
/// plays recaptures only, so it may return the score of a mate that is not there (test:
/// DeepBandForgetsChecks).
bool generateCaptureList(int ply, int depth, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    if (depth <= FIRSTNOEVASIONDEPTH) here.inCheck = 0;
    if (depth <= FIRSTRECAPTUREDEPTH)
        generateMovesRecapture(ply, here.moveListStart, position);
    else
        generateMovesQuiescence(ply, here.moveListStart, position);

    if (!here.inCheck) return true;
    updateSeeScoreEvade(narrow<u8>(ply), here.moveListStart, position);
    return here.moveListEnd != here.moveListStart;
}

/// The quiescence node. A `crowded` one checks the clock and the stop flag; see isCrowded.
template <bool crowded>
int searchQuiescenceNode(int ply, int depth, int alpha, int beta, positionStruct* position)
{
    assert(ply < NOFPLIES);
    assert(depth <= 0);

    // Step 1. Count, mate distance.
    countNode(position->qNodes);
    clipToMates(ply, alpha, beta);
    if (alpha >= beta) return alpha;
    if (crowded && (isTimeOver(position) || theWorkForce.stopSearch)) return 0;

    // Step 2. Stand pat: a side that is not in check need not capture, so the evaluation is a lower
    // bound for its score. In check every move is searched, and without one it is mate. At the end
    // of the path the evaluation is all that is left.
    int bestScore = ply - SCOREMATE;
    if (!position->plies[ply].inCheck)
    {
        bestScore = wrap16(evaluateN(ply, position));
        if (bestScore >= beta) return bestScore;
        alpha = std::max(alpha, bestScore);
    }
    if (isPathFull(ply, position)) return wrap16(evaluateN(ply, position));

    // Step 3. The moves.
    if (!generateCaptureList(ply, depth, position)) return bestScore;
    return searchCaptures<crowded>(ply, depth, alpha, beta, bestScore, position, nullptr);
}

} // namespace

i16 quiescence(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position)
{
    return wrap16(boardIsCrowded ? searchQuiescenceNode<true>(ply, depth, alpha, beta, position)
                                 : searchQuiescenceNode<false>(ply, depth, alpha, beta, position));
}


// Root

namespace
{

// Below this depth the root writes no line and walks no PV: those iterations take a few
// milliseconds, and lines would only slow down short games.
constexpr int FIRSTINFODEPTH = 10;

// aspMatrix[id % 16]: half-width of an iteration's first window, then the widenings after its first
// to fourth failure. Different windows spread the threads over different trees, so that what one
// stores in the table is new to the others.
// clang-format off
constexpr i16 aspMatrix[16][5] = {
    {15, 35, 40,  80, 160},
    {15, 20, 40,  80, 160},
    {11, 19, 31,  49,  76},
    {15, 35, 40,  80, 160},
    {50, 40, 80, 160, 320},
    {15, 35, 40,  80, 160},
    {29, 32, 68, 124, 200},
    {15, 35, 40,  80, 160},
    {15, 35, 40,  80, 160},
    {29, 32, 68, 124, 200},
    {15, 35, 40,  80, 160},
    {15, 35, 40,  80, 160},
    {15, 20, 40,  80, 160},
    {11, 19, 31,  49,  76},
    {50, 40, 80, 160, 320},
    {35, 27, 58, 139, 200},
};

// skipCnt[id % 16], skipAmount[id % 16]: the period in which a helper skips depths, and how many
// depths it skips. Helpers that search ahead fill the table with moves for the depths to come. The
// boss never skips, so only helpers 16, 32 and 48 read row 0, which makes them skip nothing.
constexpr i32 skipCnt[16]    = {1, 2, 2, 3, 3, 3, 4, 4, 6, 3, 2, 2, 4, 5, 3, 2};
constexpr i32 skipAmount[16] = {0, 1, 0, 1, 1, 0, 0, 2, 1, 3, 0, 2, 2, 1, 1, 0};
// clang-format on

/// An aspiration window and how often it has failed in this iteration. A narrow window around the
/// last score cuts off more; it pays as long as the score rarely falls outside.
struct aspirationWindow
{
    i16 alpha = -SCOREINFINITE;
    i16 beta = SCOREINFINITE;
    int failLow = 0;
    int failHigh = 0;
    const i16* delta; // row of aspMatrix

    /// The fifth failure on a side opens that side to the end of the scale. A score beyond the
    /// scale is taken as it is; only boards that can't arise in chess have one.
    static constexpr int OPEN = 5;

    explicit aspirationWindow(const i16* row) : delta(row) {}

    /// The first window of an iteration around the last score.
    void centre(i16 score)
    {
        alpha = wrap16(score - delta[0]);
        beta = wrap16(score + delta[0]);
    }

    /// Takes a score. Returns true after a fail low or a fail high, with a wider window. After a
    /// fail low beta also comes down to the middle: the true score is below alpha, so the next one
    /// will hardly be near beta.
    bool failsLow(int score)
    {
        if (score > alpha || alpha <= -SCOREMATE) return false;
        ++failLow;
        beta = wrap16((alpha + beta) / 2);
        alpha = failLow < OPEN ? wrap16(score - delta[failLow]) : i16{-SCOREMATE};
        return true;
    }

    bool failsHigh(int score)
    {
        if (score < beta || beta >= SCOREMATE) return false;
        ++failHigh;
        beta = failHigh < OPEN ? wrap16(score + delta[failHigh]) : i16{SCOREMATE};
        return true;
    }

    /// How unsettled an iteration was: the number of new best moves, and more after several
    /// failures.
    int instability(int bestChanges) const
    {
        if (failHigh > 1 || failLow >= 2) return std::max(failLow, failHigh) + bestChanges - 1;
        return bestChanges;
    }
};

/// The share of the soft budget that the move deserves after an iteration, from the share before.
/// An unsettled iteration raises it, because another one may change the move; a settled one lowers
/// it. Shallow iterations don't count: their scores always jump.
double nextTimeScale(double timeScale, int depth, int instability, bool isSettled)
{
    if (depth < 6) return 1.0;
    if (isSettled)
        timeScale *= 0.9;
    else if (timeScale <= 1.0)
        timeScale = instability * 0.2 + 1.0;
    else
        timeScale = instability * 0.2 + timeScale * 0.8;
    return std::clamp(timeScale, 0.6, 2.0);
}

/// Whether a score is a mate no further away in plies than the depth searched. A mate beyond the
/// depth comes from extensions or the table, and a deeper search may find a shorter one.
bool isMateWithin(int score, int depth)
{
    return std::abs(score) >= SCOREMATELIMIT && SCOREMATE - std::abs(score) <= depth;
}

/// Moves to mate as the mate line gives them. A losing score counts one move more than usual.
int movesToMate(int score)
{
    const int moves = (SCOREMATE - std::abs(score)) / 2 + 1;
    return score > 0 ? moves : -moves;
}

/// Brings engine.elapsedTime up to date. Info lines and the soft clock read this one value, so that
/// they agree.
void stampElapsedTime()
{
    engine.elapsedTime = narrow<u64>(millisecondsSinceGo());
}

/// The part of an info line after its score. The node count is that of all threads.
std::string linesTail(const std::string& depths, const std::string& hashFull,
                      const positionStruct* position)
{
    return depths + " nodes " + std::to_string(theWorkForce.nofNodes()) + " time " +
           std::to_string(engine.elapsedTime) + hashFull + " pv " + PVToString(position);
}

/// Fields of an info line. Test frameworks want the speed in each line.
std::string depthText(int depth)
{
    if constexpr (TESTER)
    {
        const u64 nps = theWorkForce.nofNodes() * 1000 / std::max<u64>(engine.elapsedTime, 1);
        return " depth " + std::to_string(depth) + " nps " + std::to_string(nps);
    }
    return " depth " + std::to_string(depth);
}

std::string selDepthText(const positionStruct* position)
{
    return " seldepth " + std::to_string(position->selDepth);
}

/// Writes the line of an early iteration for test frameworks. Its PV is the best move alone: a walk
/// through the table would change what is played. A stop before the first score gives a score of 0.
void reportShallowIteration(int depth, int score, const positionStruct* position)
{
    if constexpr (TESTER)
        theWorkForce.report("info score cp " + std::to_string(score == -SCOREINFINITE ? 0 : score) +
                            linesTail(depthText(depth) + selDepthText(position), "", position));
}

/// Cuts the PV in the bestMove fields before the first move that is not legal. A walk that finds no
/// exact entry at the root leaves pvLength as it was, but the search may have changed the moves
/// since: after a stopped iteration, or when another thread has replaced the root's entry. Uses the
/// move stack after the root's list, so no iteration may be running.
void cutLineToLegal(positionStruct* position)
{
    moveStruct* const list = position->plies[0].moveListEnd;
    int length = 0;
    for (; length <= position->pvLength; ++length)
    {
        const u8 ply = narrow<u8>(length);
        plyStruct& here = position->plies[ply];
        if (isPathFull(ply, position)) break;
        generateMovesLegal(ply, list, position);
        const bool isLegal =
            std::any_of(list, here.moveListEnd,
                        [&here](moveStruct move) { return sameMove(move, here.bestMove); });
        if (!isLegal) break;
        makeMove(narrow<u8>(ply + 1), &here.bestMove, position, false);
    }
    position->pvLength = narrow<u8>(std::max(length - 1, 0));
    while (length-- > 0)
        unmakeMove(narrow<u8>(length + 1), &position->plies[length].bestMove, position);
    position->plies[0].moveListEnd = position->plies[1].moveListStart = list;
}

/// Prepares a searcher's root for iterative deepening and lists the legal moves. The list only
/// serves to count them: alfabeta makes its own. Returns their number.
int prepareRoot(positionStruct* position)
{
    plyStruct& root = position->plies[0];
    position->nodesToClockCheck = engine.nodeCheckInterval;
    root.killers[0] = root.killers[1] = EMPTYMOVE;
    theWorkForce.timeIsUp = false;
    generateMovesLegal(0, root.moveListStart, position);
    return narrow<int>(root.moveListEnd - root.moveListStart);
}

/// Leaves a mated root without a best move, so that "bestmove a1a1" is written.
void forgetLine(positionStruct* position)
{
    position->plies[0].bestMove = EMPTYMOVE;
    position->pvLength = 0;
    engine.elapsedTime = 1;
}

/// Makes a score a searcher's result. Its move is in the root's record already.
void noteResult(i16 score, int depth, positionStruct* position)
{
    position->rootScore = score;
    position->rootDepthComplete = 1;
    position->rootDepth = narrow<i16>(depth);
}

/// The soft clock and the depth limit of one searcher, which end a search between iterations.
class softClock
{
  public:
    /// For a root with so many legal moves: an only move is searched to depth 3.
    explicit softClock(int legalMoves) : depthLimit(legalMoves == 1 ? 3 : i32{engine.depthLimit}) {}

    /// Whether another iteration may start. The boss always checks. A helper does so when it is the
    /// first searcher to complete its depth after softCheckTime; otherwise it just continues.
    bool allowsMore(int depth, int instability, bool isSettled, bool isBoss)
    {
        if (engine.elapsedTime > softCheckTime && depth > theWorkForce.deepestDepth)
            theWorkForce.deepestDepth = depth;
        else if (!isBoss)
            return true;

        if (depthLimit) return depth < depthLimit || engine.infinite;
        timeScale = nextTimeScale(timeScale, depth, instability, isSettled);
        const float elapsed = static_cast<float>(u64{engine.elapsedTime}) * engine.timeFactor;
        if (double{elapsed} > engine.targetTime * timeScale) theWorkForce.timeIsUp = true;
        return theWorkForce.ponderSearch || !theWorkForce.timeIsUp || engine.infinite;
    }

  private:
    const int depthLimit; // 0 none
    // In ms; before this time helpers do not check the soft clock. It is a sixteenth of the soft
    // budget, at least 100.
    const u64 softCheckTime = engine.targetTime < 1600 ? 100 : narrow<u64>(engine.targetTime / 16);
    double timeScale = 1.0;
};

} // namespace

/// How many other workers have begun a depth, or one beyond it.
int worker::othersAt(int depth) const
{
    int count = 0;
    for (const worker* other : theWorkForce.workers)
        if (other != this && other->currentDepth >= depth) ++count;
    return count;
}

void worker::searchRoot()
{
    // Step 1. A fresh root. A mated one is answered at once; helpers leave too, so that none of
    // them has a result to choose. Boss and helpers share this loop and differ where it says so.
    boss* const reporter = id == 0 ? static_cast<boss*>(this) : nullptr;
    const int legalMoves = prepareRoot(position);
    i16 score = -SCOREINFINITE;
    noteResult(score, 0, position);
    if (legalMoves == 0 && position->plies[0].inCheck)
    {
        theWorkForce.stop();
        if (!reporter) return;
        theWorkForce.report(TESTER ? "info score mate 0 depth 0 nps 0 nodes 0 time 0"
                                   : "info score mate 0");
        forgetLine(position);
        return;
    }

    const int row = id % 16;
    const int maxAhead = engine.nofThreads / 2;
    softClock clock(legalMoves);
    aspirationWindow window(aspMatrix[row]);
    int depth = 0;
    bool goOn = true;
    do {
        // Step 2. Choose the depth. Helpers skip some depths, and leave one to the others when
        // enough of them have begun it, so that their work differs.
        ++depth;
        if (!reporter)
        {
            if ((row + depth) % skipCnt[row] == 0) depth += skipAmount[row];
            if (depth > MAXDEPTH - 1) depth = MAXDEPTH;
            if (depth >= 9 && othersAt(depth) > maxAhead) continue;
        }
        currentDepth = depth;

        // Step 3. The first window: the whole scale while scores still jump from depth to depth,
        // then narrow.
        if (depth > 5) window.centre(score);
        window.failLow = window.failHigh = 0;
        position->rootBestChanges = 0;

        // Step 4. Search, with a wider window after each failure, until one holds. The result of a
        // stopped search is thrown away.
        while (!theWorkForce.stopSearch)
        {
            const i16 value = alfabeta(0, depth, window.alpha, window.beta, position, 2);
            if (window.failsLow(value) || window.failsHigh(value)) continue;
            if (theWorkForce.stopSearch) break;
            score = value;
            noteResult(score, depth, position);
            if (reporter && depth >= FIRSTINFODEPTH)
                putHashTableEntry(position->hashKey, position->plies[0].bestMove, score,
                                  narrow<i8>(depth), boundExact, 0);
            break;
        }

        // Step 5. The boss reports. A proven mate ends the search: more depth can't improve it.
        stampElapsedTime();
        if (reporter)
        {
            if (depth >= FIRSTINFODEPTH)
                reporter->reportIteration(depth, score);
            else
                reportShallowIteration(depth, score, position);
            if (reporter->endsWithMate(depth, score)) break;
        }

        // Step 6. The soft clock.
        const int instability = window.instability(position->rootBestChanges);
        goOn = clock.allowsMore(depth, instability, instability <= 1, reporter != nullptr);
    } while (goOn && depth < MAXDEPTH && !theWorkForce.stopSearch);

    // Step 7. The first searcher that ends also ends the search for the others: the limits are the
    // same for all, and what the others would still find is not needed.
    stampElapsedTime();
    theWorkForce.stop();
}

/// Writes the line of an iteration, which may have been stopped, with the PV from the table. With
/// one thread and a complete iteration the table's PV is legal as it is; otherwise it is tested.
void boss::reportIteration(int depth, int score)
{
    getPVFromHashTable(0, position, depth);
    if (theWorkForce.stopSearch || engine.nofThreads > 1) cutLineToLegal(position);
    if (!theWorkForce.stopSearch) storePonderCandidate();
    theWorkForce.report("info score cp " + std::to_string(score) +
                        linesTail(depthText(depth) + selDepthText(position),
                                  " hashfull " + std::to_string(engine.hashFull), position));
}

/// Writes the mate line when an iteration has proven a mate. Returns whether that ends the search.
bool boss::endsWithMate(int depth, int score) const
{
    if (!isMateWithin(score, depth) || theWorkForce.stopSearch) return false;
    theWorkForce.report("info score mate " + std::to_string(movesToMate(score)) +
                        linesTail(depthText(depth), "", position));
    return !engine.infinite;
}

// The last PV may have lost its second move by the time the result is written, for example when
// other threads have replaced table entries. So the newest PV with two moves is kept.
void boss::initPonderCandidate()
{
    ponderFirst = ponderSecond = EMPTYMOVE;
}

void boss::storePonderCandidate()
{
    if (!position->pvLength) return;
    ponderFirst = position->plies[0].bestMove;
    ponderSecond = position->plies[1].bestMove;
}

moveStruct boss::getPonderCandidate(moveStruct move) const
{
    return sameMove(move, ponderFirst) ? ponderSecond : EMPTYMOVE;
}

/// The worker whose result is played: the one with the deepest result; at equal depth a complete
/// result before an incomplete one, then the higher score. A mate found overrides depth if its
/// score is higher.
const worker* boss::chooseBest() const
{
    const worker* best = this;
    if (engine.nofThreads == 1) return best;
    // Under a depth limit the boss's result counts: whoever sets one expects the result of that
    // depth. Another one is chosen only if a helper has ended the search before the boss had a
    // move.
    if (engine.depthLimit && position->rootDepth) return best;
    // Depth first; a complete iteration is worth half a ply.
    const auto rank = [](const worker* w)
    { return w->position->rootDepth * 2 + w->position->rootDepthComplete; };

    for (const worker* candidate : theWorkForce.workers)
    {
        const i16 score = candidate->position->rootScore;
        // With a mate, or at the same rank, only the score decides.
        const bool byScore = rank(candidate) == rank(best) || score >= SCOREMATELIMIT;
        if (byScore ? score > best->position->rootScore : rank(candidate) > rank(best))
            best = candidate;
    }
    return best;
}

// The main thread wakes the boss alone; the boss wakes the others and waits for them at the end.
void boss::wakeHelpers()
{
    initPonderCandidate();
    for (worker* helper : theWorkForce.workers)
        if (helper != this) helper->startWorking();
}

void boss::writeResult()
{
    // All helpers are parked before their results are compared.
    theWorkForce.timeIsUp = true;
    theWorkForce.stop();
    for (worker* helper : theWorkForce.workers)
        if (helper != this) helper->waitToTakeABreak();

    const worker* const best = chooseBest();
    positionStruct* const result = best->position;
    if (best != this)
    {
        getPVFromHashTable(0, result, result->rootDepth);
        cutLineToLegal(result);
        theWorkForce.report(
            "info score cp " + std::to_string(result->rootScore) +
            linesTail(depthText(result->rootDepth) + selDepthText(result), "", result));
    }

    const moveStruct move = result->plies[0].bestMove;
    // The ponder move is the second of the result's PV, or of an earlier PV with the same first
    // move.
    moveStruct ponder = result->pvLength ? result->plies[1].bestMove : EMPTYMOVE;
    if (moveWord(ponder) == 0) ponder = getPonderCandidate(move);
    std::string line = "bestmove " + moveToLA(&move, result->sideToMove);
    if (moveWord(ponder)) line += " ponder " + moveToLA(&ponder, result->sideToMove ^ 1);
    theWorkForce.report(line);
}

void boss::searchRoot()
{
    wakeHelpers();
    worker::searchRoot();
    writeResult();
}


// Threads
//
// Each worker has one condition variable for both directions: its thread waits for work on it, and
// other threads wait on it until the thread is parked. No thread holds two of these locks at once,
// so threads can't wait for each other in a circle.

bool desk::waitForWork()
{
    std::unique_lock<std::mutex> lock(mtx);
    working = false;
    cv.notify_one();
    cv.wait(lock, [this] { return working || quit; });
    return !quit;
}

void desk::startWorking()
{
    const std::lock_guard<std::mutex> lock(mtx);
    working = true;
    cv.notify_one();
}

void desk::waitToTakeABreak()
{
    std::unique_lock<std::mutex> lock(mtx);
    cv.wait(lock, [this] { return !working; });
}

void desk::dismiss()
{
    const std::lock_guard<std::mutex> lock(mtx);
    quit = true;
    cv.notify_one();
}

worker::worker(int number) : id(number)
{
    // The thread calls the virtual searchRoot only after startWorking, when the object is whole.
    thread = std::thread(&worker::atTheOffice, this);
    waitToTakeABreak();
}

// The thread uses the object until it has ended.
worker::~worker()
{
    ownDesk.dismiss();
    thread.join();
}

void worker::atTheOffice()
{
    while (ownDesk.waitForWork()) searchRoot();
}

void worker::startWorking()
{
    ownDesk.startWorking();
}

void worker::waitToTakeABreak()
{
    ownDesk.waitToTakeABreak();
}

void worker::setPosition(const positionStruct* source)
{
    // The copy brings the history along, and pointers to the source's lists and caches: these are
    // set to this worker's own. What the worker had learned about quiet moves is overwritten.
    positionData = *source;
    positionData.plies[0].moveListStart = moveStack;
    positionData.workerIndex = id;
    positionData.pawnHashTable = &pawnHash;
    positionData.evalHashTable = &evalHash;
}

void workForce::setNofWorkers(int n)
{
    if (!workers.empty()) workers[0]->waitToTakeABreak();
    while (!workers.empty())
    {
        delete workers.back();
        workers.pop_back();
    }
    if (n < 1) return;
    // A worker holds almost two megabytes and must not move: its thread works in it.
    workers.push_back(new boss);
    for (int id = 1; id < n; ++id) workers.push_back(new worker(id));
}

void workForce::startWorkForce(const positionStruct* position)
{
    // The boss parks after all helpers have, so waiting for the boss means waiting for all. From
    // here on no other thread reads the flags until the boss wakes the helpers.
    workers[0]->waitToTakeABreak();
    stopSearch = SEARCHING;
    timeIsUp = false;
    deepestDepth = 0;
    boardIsCrowded = isCrowded(position);
    hashAgeCounter = narrow<u8>(hashHartBeat & 63);
    ++hashHartBeat;
    for (worker* w : workers) w->setPosition(position);
    workers[0]->startWorking();
}

void workForce::endSearch()
{
    if (workers.empty()) return;
    stop();
    workers[0]->waitToTakeABreak();
}

void workForce::report(const std::string& line) const
{
    if (stopSearch != ABANDONED) writeLine(line);
}

u64 workForce::nofNodes() const
{
    // The threads are still counting, so the sum is a moment old, which no reader minds.
    u64 total = 0;
    for (const worker* w : workers)
    {
        total += peek(w->position->nodes);
        total += peek(w->position->qNodes);
    }
    return total;
}


// Time

namespace
{

constexpr i64 SAFETYMARGIN = 10;      // ms kept back from the clock
constexpr int FEWESTMOVES = 4;        // a smaller movestogo is raised to this
constexpr i64 SHORTESTHARDLIMIT = 40; // ms, with the fewest moves to go
constexpr float HURRY = 5.0F;         // factor on elapsed time when time is short

// The share of an even split of the time that a move gets, and what changes it. It starts below 1,
// which keeps time in reserve for moves that exceed their soft budget.
constexpr double SHARE = 0.72;
constexpr double SHAREOFMANYTHREADS = 0.82; // with more than three threads
constexpr double PONDERBONUS = 1.2;         // the opponent's time is used too
constexpr double OPENINGFACTOR = 0.9;       // under `movestogo`: opening moves are easy
constexpr double MIDDLEGAMEFACTOR = 1.1;    // and the middlegame needs more
constexpr double UNKNOWNPLYFACTOR = 1.4;
constexpr int UNKNOWNPLYMOVES = 30;

/// Number of moves that the remaining time is split over, from a ply of the game on. Not monotonic,
/// on purpose: moves of the early middlegame get a larger share than those right before and after
/// it. The number never gets small, since a game may always last longer.
struct movesLeftRow
{
    int fromPly;
    // cppcheck-suppress unusedStructMember
    int moves;
};
constexpr movesLeftRow movesLeft[] = {{201, 15}, {81, 20}, {51, 25}, {18, 22}};
constexpr int MOVESLEFTATFIRST = 40;

/// A number of milliseconds held within 32 bits. An interface may send any number as its clock.
i32 held(i64 value)
{
    return narrow<i32>(
        std::clamp<i64>(value, std::numeric_limits<i32>::min(), std::numeric_limits<i32>::max()));
}

} // namespace

void calcTimeParameters()
{
    const int side = GPS->sideToMove;
    const i64 time = engine.timeLeft[side];
    const i64 inc = engine.timeInc[side];
    const int gamePly = engine.gamePly;

    // Step 1. The share, and the moves that the time is split over.
    double share = engine.nofThreads > 3 ? SHAREOFMANYTHREADS : SHARE;
    if (engine.ponderEnabled) share *= PONDERBONUS;
    int moves;
    if (engine.movesToGoGiven)
    {
        if (gamePly <= 17)
            share *= OPENINGFACTOR;
        else if (gamePly <= 50)
            share *= MIDDLEGAMEFACTOR;
        moves = std::max<int>(engine.movesToGo, FEWESTMOVES);
        engine.movesToGo = moves;
    }
    else if (gamePly == GAMEPLYUNKNOWN)
    {
        share *= UNKNOWNPLYFACTOR;
        moves = UNKNOWNPLYMOVES;
    }
    else
    {
        const auto* const row = std::find_if(std::begin(movesLeft), std::end(movesLeft),
                                             [=](movesLeftRow r) { return gamePly >= r.fromPly; });
        moves = row == std::end(movesLeft) ? MOVESLEFTATFIRST : row->moves;
        engine.movesToGo = moves;
    }

    // Step 2. Both budgets. The soft one decides whether another iteration starts, the hard one
    // ends a search in the middle of an iteration. The even share counts the increments to come.
    engine.timeFactor = 1.0F;
    const i64 avail = time - SAFETYMARGIN;
    const i64 evenShare = ((moves - 1) * inc + time) / moves;
    i64 target = static_cast<i64>(static_cast<double>(evenShare) * share);
    i64 max = std::min(7 * target, (inc + avail) / 2);
    if (engine.movesToGoGiven)
    {
        if (moves == FEWESTMOVES) max = std::max(max, SHORTESTHARDLIMIT);
    }
    else if (target == 0 || avail / target < 4)
    {
        // Time is short: with almost nothing on the clock the target is 0.
        engine.timeFactor = HURRY;
        target /= 2;
        max /= 2;
    }
    engine.targetTime = held(target);

    // Step 3. A fixed time is to be used up: only the hard budget ends it, and the soft one is put
    // out of reach.
    if (engine.moveTime)
    {
        engine.targetTime = held(10LL * engine.moveTime);
        engine.maxTime = i32{engine.moveTime};
        return;
    }
    engine.maxTime = held(std::max(target + 1, std::min(max, avail)));
}


// Interface without a caller

// setPieces does the same, and also handles letters that name no piece and squares off the board.
void addPiece(u8 piece, u8 square, positionStruct* position)
{
    position->pieceBB[piece] |= bit(square);
    position->pieceBB[colourOf(piece)] |= bit(square);
    position->board[square] = piece;
}

void removePiece(u8)
{
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): takes its words as setPosition does
void setPositionG(std::string fen, positionStruct* position)
{
    std::istringstream stream(fen);
    std::string pieces;
    std::string side;
    std::string rights;
    std::string enPassant;
    stream >> pieces >> side >> rights >> enPassant;
    if (enPassant.empty()) enPassant = '-';

    setPieces(pieces, position);
    setState(side, rights, enPassant, position);

    i16 clock = 0;
    i32 number = 0;
    stream >> clock >> number;
    position->halfMoveClock = clock;
    position->keyIndex = firstKeyIndex(position->sideToMove, number);
    deriveState(position);
}

void updateSeeScore(u8 ply, moveStruct* first, const positionStruct* position)
{
    for (moveStruct* move = first; move < position->plies[ply].moveListEnd; ++move)
        if (hasExchange(*move) && losesMaterial(*move, position))
            move->score = static_cast<u8>(move->score + 100);
}

i16 quiescenceHash(u8 ply, int depth, i16 low, i16 high, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    int alpha = low;
    int beta = high;

    // Step 1. Count, mate distance, end of the path.
    countNode(position->qNodes);
    clipToMates(ply, alpha, beta);
    if (alpha >= beta) return wrap16(alpha);
    if (isPathFull(ply, position)) return wrap16(evaluateN(ply, position));

    // Step 2. Transposition table, whatever the depth of the entry: none is less than this node's.
    // Its move is not read: the ply's hash move stays what it was.
    const u64 entry = getHashTableEntry(position->hashKey);
    const u8 bound = hashBound(entry);
    const int tableScore = hashScore(entry, ply);
    if (bound && isCutOff(bound, tableScore, alpha, beta)) return wrap16(tableScore);

    // Step 3. Stand pat, with the table's score where it is nearer.
    int bestScore = ply - SCOREMATE;
    moveStruct best = EMPTYMOVE;
    const auto store = [&](moveStruct move, u8 kindOfBound)
    {
        putHashTableEntry(position->hashKey, move, wrap16(bestScore), 0, kindOfBound, ply);
        return wrap16(bestScore);
    };
    if (!here.inCheck)
    {
        bestScore = improvedEvaluation(wrap16(evaluateN(ply, position)), bound, tableScore);
        if (bestScore >= beta) return wrap16(bestScore);
        alpha = std::max(alpha, bestScore);
    }

    // Step 4. The hash move, before anything is generated.
    const u8 childPly = narrow<u8>(ply + 1);
    if (isLegalMove(ply, &here.hashMove, position, false))
    {
        const u8 us = position->sideToMove;
        const moveStruct move = here.hashMove;
        position->plies[childPly].moveListStart = here.moveListStart;
        makeMove(childPly, &move, position, false);
        here.currentMove = move;
        position->plies[childPly].inCheck =
            isSquareAttacked(kingSquareOf(us ^ 1, position), us, position);
        const int score =
            wrap16(-quiescence(childPly, depth - 1, wrap16(-beta), wrap16(-alpha), position));
        unmakeMove(childPly, &move, position);
        bestScore = std::max(bestScore, score);
        if (score > alpha)
        {
            alpha = score;
            best = move;
            if (score >= beta) return store(best, boundLower);
        }
    }

    // Step 5. The moves.
    if (generateCaptureList(ply, depth, position))
        bestScore = searchCaptures<false>(ply, depth, alpha, beta, bestScore, position, &best);
    if (bestScore >= beta) return store(best, boundLower);
    return moveWord(best) ? store(best, boundExact) : store(here.hashMove, boundUpper);
}

namespace
{

constexpr int FIRSTINFODEPTHOLD = 11;
constexpr u8 BESTMOVEMARK = 255;      // score byte of a move that has been best in an iteration
constexpr u64 LARGESTNODESHARE = 254; // of one that has not

/// The nodes that a searcher has visited.
u64 nodesOf(const positionStruct* position)
{
    return position->nodes + position->qNodes;
}

/// Searches the root's moves to a depth: the first with the aspiration window, each other with a
/// null window above the best score so far. Moves that were best come to the head of the list, the
/// last one first; the score byte of the others becomes their nodes in 128ths of the first move's.
/// Returns false when stopped, and when there is no move.
bool searchRootMoves(int depth, aspirationWindow& firstWindow, int& best, positionStruct* position)
{
    plyStruct& root = position->plies[0];
    const u8 us = position->sideToMove;
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    u64 nodeUnit = 1;

    for (moveStruct* cursor = root.moveListStart; cursor < root.moveListEnd; ++cursor)
    {
        const bool isFirst = cursor == root.moveListStart;
        const u64 nodesBefore = nodesOf(position);
        aspirationWindow nullWindow(firstWindow.delta);
        nullWindow.alpha = wrap16(best);
        nullWindow.beta = wrap16(best + 1);
        aspirationWindow& window = isFirst ? firstWindow : nullWindow;

        root.currentMove = *cursor;
        makeMove(1, cursor, position, false);
        position->plies[1].inCheck = isSquareAttacked(enemyKing, us, position);
        int value = 0;
        for (bool fails = true; fails && !theWorkForce.stopSearch;)
        {
            value = searchChild(1, depth - 1, window.alpha, window.beta, position);
            fails = (isFirst && window.failsLow(value)) || window.failsHigh(value);
        }
        unmakeMove(1, cursor, position);
        if (theWorkForce.stopSearch) return false;

        const u64 nodes = nodesOf(position) - nodesBefore;
        if (isFirst)
            nodeUnit = std::max<u64>(nodes >> 7, 1);
        else if (value <= best)
        {
            cursor->score = narrow<u8>(std::min(nodes / nodeUnit, LARGESTNODESHARE));
            continue;
        }

        best = value;
        cursor->score = position->board[cursor->from];
        root.bestMove = *cursor;
        putHashTableEntry(position->hashKey, root.bestMove, wrap16(best), narrow<i8>(depth),
                          boundExact, 0);
        ++position->rootBestChanges;
        position->rootDepth = narrow<i16>(depth);
        position->rootDepthComplete = 0;
        cursor->score = BESTMOVEMARK;
        std::rotate(root.moveListStart, cursor, cursor + 1);
    }
    return root.moveListStart < root.moveListEnd;
}

/// Sorts a list by its score bytes, the highest first, by insertion: equal ones stay in order.
void sortByScore(moveStruct* first, const moveStruct* end)
{
    const auto isHigher = [](moveStruct a, moveStruct b) { return a.score > b.score; };
    for (moveStruct* move = first; move < end; ++move)
        std::rotate(std::upper_bound(first, move, *move, isHigher), move, move + 1);
}

} // namespace

// A root search that keeps a list of the root's moves, ordered by what each has cost: a move that
// took many nodes to refute may become the best one at the next depth. The live root search leaves
// the root to alfabeta instead, which orders it like any node.
void worker::searchRootOld()
{
    // Step 1. A fresh root, with its quiescence score. A mated one is answered and then searched
    // like any other.
    boss* const reporter = id == 0 ? static_cast<boss*>(this) : nullptr;
    position->nodesToClockCheck = engine.nodeCheckInterval;
    i16 score = quiescence(0, 0, -SCOREINFINITE, SCOREINFINITE, position);
    const int legalMoves = prepareRoot(position);
    int depth = 1;
    noteResult(score, depth, position);
    const plyStruct& root = position->plies[0];
    if (legalMoves == 0 && root.inCheck)
    {
        theWorkForce.report("info score mate 0\nbestmove a1a1");
        forgetLine(position);
    }

    const u32 period = engine.nofThreads > 4 ? 6 : 3;
    const int maxAhead = engine.nofThreads / 2;
    softClock clock(legalMoves);
    aspirationWindow window(aspMatrix[id % 16]);
    bool goOn = true;
    do {
        // Step 2. Helpers take turns in skipping a depth; the turns shift after every second
        // search.
        ++depth;
        if (!reporter)
        {
            const int counter = depth - 2; // iterations begun before this one
            if ((narrow<u32>(id + counter + 1) + hashHartBeat / 2) % period == 0) continue;
            if (counter >= 9 && engine.nofThreads >= 5 && othersAt(counter + 1) > maxAhead)
                continue;
        }
        currentDepth = depth;

        // Step 3. Search the moves and order them for the next iteration.
        if (depth > 5) window.centre(score);
        window.failLow = window.failHigh = 0;
        position->rootBestChanges = 0;
        int best = 0;
        if (searchRootMoves(depth, window, best, position))
        {
            score = wrap16(best);
            noteResult(score, depth, position);
            if (reporter && depth >= FIRSTINFODEPTHOLD)
                putHashTableEntry(position->hashKey, root.bestMove, score, narrow<i8>(depth),
                                  boundExact, 0);
        }
        sortByScore(root.moveListStart, root.moveListEnd);

        // Step 4. Report, and the soft clock.
        stampElapsedTime();
        if (reporter)
        {
            if (depth >= FIRSTINFODEPTHOLD) reporter->reportIteration(depth, score);
            if (reporter->endsWithMate(depth, score)) break;
        }
        goOn = clock.allowsMore(depth, window.instability(position->rootBestChanges),
                                position->rootBestChanges == 1, reporter != nullptr);
    } while (goOn && depth < MAXDEPTH && !theWorkForce.stopSearch);

    stampElapsedTime();
    theWorkForce.stop();
}

void boss::searchRootOld()
{
    wakeHelpers();
    worker::searchRootOld();
    writeResult();
}
