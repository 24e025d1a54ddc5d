// SPDX-License-Identifier: MIT
//
// The search; see search.h. Scores are 16-bit from the side to move's view: 0 a draw,
// -32000 + ply mated at that ply, 32000 - ply mating. A stop is a flag, after which every node
// returns 0 and the root throws away what comes back.
//
//   Position set-up       setPosition, setPositionG, makePlayable
//   Exchange evaluation   see, seeAfter, updateSeeScoreEvade
//   Node search           initLMRTable, alfabeta
//   Quiescence            quiescence, quiescenceHash
//   Root                  worker::searchRoot, boss::searchRoot
//   Previous root search  worker::searchRootOld, boss::searchRootOld
//   Threads               worker, workForce
//   Time                  calcTimeParameters

#include "search.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
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

void addPiece(u8 piece, u8 square, positionStruct* position)
{
    position->pieceBB[piece] |= bit(square);
    position->pieceBB[piece & 1] |= bit(square);
    position->board[square] = piece;
}

void removePiece(u8)
{
}

bool isBoardStructOK(const positionStruct* position)
{
    u64 fresh[NOFPIECECODES] = {};
    for (int square = 0; square < NOFSQUARES; ++square)
    {
        const u8 code = position->board[square];
        if (code == NOPIECE) continue;
        if (code >= NOFPIECECODES) return false;
        fresh[code] |= bit(square);
        fresh[code & 1] |= bit(square);
    }
    return std::equal(fresh, fresh + NOFPIECECODES, position->pieceBB);
}

bool isSideInCheck(const positionStruct* position)
{
    const int us = position->sideToMove;
    return position->pieceBB[KING + us] &&
           isSquareAttacked(kingSquareOf(us, position), static_cast<u8>(us ^ 1), position);
}

bool makePlayable(positionStruct* position)
{
    if (!isBoardStructOK(position)) return false;
    const int us = position->sideToMove;
    const int them = us ^ 1;
    const u8* board = position->board;
    constexpr u64 outerRanks = 0xff000000000000ff;
    if (std::find(board, board + NOFSQUARES, 1) != board + NOFSQUARES) return false;
    if (popcount(position->pieceBB[KING + WHITE]) != 1) return false;
    if (popcount(position->pieceBB[KING + BLACK]) != 1) return false;
    if ((position->pieceBB[PAWN + WHITE] | position->pieceBB[PAWN + BLACK]) & outerRanks)
        return false;
    if (isSquareAttacked(kingSquareOf(them, position), static_cast<u8>(us), position)) return false;

    plyStruct& root = position->plies[0];
    u8 possible = 0;
    if (board[E1] == KING + WHITE)
        possible |= static_cast<u8>((board[H1] == ROOK + WHITE ? WHITEKINGSIDE : 0) |
                                    (board[A1] == ROOK + WHITE ? WHITEQUEENSIDE : 0));
    if (board[E8] == KING + BLACK)
        possible |= static_cast<u8>((board[H8] == ROOK + BLACK ? BLACKKINGSIDE : 0) |
                                    (board[A8] == ROOK + BLACK ? BLACKQUEENSIDE : 0));
    const u8 rights = root.castlingRights & possible;

    u8 enPassant = root.enPassantSquare;
    if (enPassant)
    {
        const int landing = us == WHITE ? enPassant + 8 : enPassant - 8;
        if (enPassant >= NOFSQUARES || !onBoard(landing) || board[enPassant] != PAWN + them ||
            board[landing] != NOPIECE)
            enPassant = 0;
    }

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

/// The men of a FEN's first field. Rank lengths are not checked: "/" goes back 16 squares
/// wherever the square stands.
void setMen(const std::string& men, positionStruct* position)
{
    initPosition(position);
    u8 square = A8;
    for (const char letter : men)
    {
        if (letter >= '1' && letter <= '8')
            square = static_cast<u8>(square + (letter - '0'));
        else if (letter == '/')
            square = static_cast<u8>(square - 16);
        else
        {
            // A letter that is no man's leaves the code 255 and a bit among the black men, a
            // square beyond h8 only the bit; makePlayable refuses both.
            const u8 code = static_cast<u8>(fenLabelPieces.find(letter));
            if (code)
            {
                if (code < NOFPIECECODES) position->pieceBB[code] |= bit(square);
                position->pieceBB[code & 1] |= bit(square);
                if (square < NOFSQUARES) position->board[square] = code;
            }
            ++square;
        }
    }
}

/// Side, rights and en passant square, all in plies[0]. The FEN names the square behind the pawn
/// that has double-pushed, the record keeps the pawn's own, in 8-bit arithmetic.
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

/// The slot of the first key: it follows a count of moves, held between 0 and 512.
i16 firstKeyIndex(u8 sideToMove, i64 count)
{
    return static_cast<i16>(std::clamp<i64>(sideToMove + 2 * count - 2, 0, 512));
}

/// All that follows from the fields of a FEN.
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

    if (tokens.size() == 1) tokens.emplace_back("w");
    if (tokens.size() == 2) tokens.emplace_back("-");
    if (tokens.size() == 3) tokens.emplace_back("-");
    if (tokens.size() == 4) tokens.emplace_back("0");
    if (tokens.size() == 5) tokens.emplace_back("1");

    setMen(tokens[0], position);
    setState(tokens[1], tokens[2], tokens[3], position);

    // The half-move clock is read a second time as the count of moves, and the move number never.
    const int clock = std::stoi(tokens[4]);
    position->halfMoveClock = static_cast<i16>(clock);
    position->keyIndex = firstKeyIndex(position->sideToMove, clock);
    deriveState(position);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): takes its words as setPosition does
void setPositionG(std::string fen, positionStruct* position)
{
    std::istringstream stream(fen);
    std::string men;
    std::string side;
    std::string rights;
    std::string enPassant;
    stream >> men >> side >> rights >> enPassant;
    if (rights.empty()) rights.assign(1, '-');
    if (enPassant.empty()) enPassant.assign(1, '-');

    setMen(men, position);
    setState(side, rights, enPassant, position);

    i16 clock = 0;
    i32 number = 0;
    stream >> clock >> number;
    position->halfMoveClock = clock;
    position->keyIndex = firstKeyIndex(position->sideToMove, number);
    deriveState(position);
}


// Exchange evaluation

namespace
{

// seeValue[piece code]: value of a man in an exchange; not tuned, bishop and knight are equal.
constexpr i16 seeValue[NOFPIECECODES] = {0,   0,   87,  87,   340,  340,   340,
                                         340, 515, 515, 1005, 1005, 10000, 10000};

/// A sum on the 16-bit scale of the exchange.
constexpr i16 wrap16(int value)
{
    return static_cast<i16>(value);
}

/// Runs the exchange on `to` out until it is decided whether the side that began it keeps its
/// gain. `balance` is negative, what the beginner stands at once its man there is lost; `side`
/// captures first; `occupied` is without the man on `to`. After each capture only men of the
/// capturing colour are looked for behind the man that left, and none behind a queen on a rank or
/// file: results all over the search depend on these limits (test: SeeXrayTable).
bool exchangeHolds(int balance, u8 to, u64 occupied, int side, const positionStruct* position)
{
    const u64* men = position->pieceBB;
    u64 attackers = (getBishopAttackTable(to, occupied) &
                     (bishopsAndQueens(WHITE, position) | bishopsAndQueens(BLACK, position))) |
                    (getRookAttackTable(to, occupied) &
                     (rooksAndQueens(WHITE, position) | rooksAndQueens(BLACK, position))) |
                    (pawnAttackTable[WHITE][to] & men[PAWN + WHITE]) |
                    (pawnAttackTable[BLACK][to] & men[PAWN + BLACK]) |
                    (knightAttackTable[to] & (men[KNIGHT + WHITE] | men[KNIGHT + BLACK])) |
                    (kingAttackTable[to] & (men[KING + WHITE] | men[KING + BLACK]));
    attackers &= occupied;

    bool result = true;
    while (attackers & men[side])
    {
        int taker = PAWN + side;
        while (!(attackers & men[taker])) taker += 2;
        const u64 cheapest = attackers & men[taker];
        occupied ^= cheapest & (0 - cheapest);

        switch (taker - side)
        {
        case PAWN:
        case BISHOP:
        case QUEEN:
            attackers |= getBishopAttackTable(to, occupied) & bishopsAndQueens(side, position);
            break;
        case ROOK:
        case KING:
            attackers |= getRookAttackTable(to, occupied) & rooksAndQueens(side, position);
            break;
        default: break;
        }
        attackers &= occupied;

        // A king may not take what is still defended.
        if (isKing(taker)) return (attackers & men[side ^ 1]) ? result : !result;

        result = !result;
        balance = wrap16(balance + seeValue[taker]);
        if (balance < 0) return result;
        balance = wrap16(-balance);
        side ^= 1;
    }
    return result;
}

/// Whether a move's exchange is judged at all: en passant and castling are not.
bool hasExchange(moveStruct move)
{
    return move.kind != KINDENPASSANT && !isCastling(move.kind);
}

} // namespace

bool see(moveStruct move, i16 threshold, const positionStruct* position)
{
    if (!hasExchange(move)) return threshold <= 0;
    int balance = wrap16(seeValue[position->board[move.to]] - threshold);
    if (balance < 0) return false;
    balance = wrap16(balance - seeValue[position->board[move.from]]);
    if (balance >= 0) return true;
    return exchangeHolds(balance, move.to, allMen(position) ^ bit(move.from) ^ bit(move.to),
                         position->sideToMove ^ 1, position);
}

// The colour that captures first is taken over from `see` though the position is one move
// further, so it is the mover's own. The check extension is built on that (test: SeeAfterSide).
bool seeAfter(moveStruct move, i16 threshold, const positionStruct* position, u8 captured)
{
    if (!hasExchange(move)) return threshold <= 0;
    int balance = wrap16(seeValue[captured] - threshold);
    if (balance < 0) return false;
    balance = wrap16(balance - seeValue[position->board[move.to]]);
    if (balance >= 0) return true;
    return exchangeHolds(balance, move.to, allMen(position) ^ bit(move.to),
                         position->sideToMove ^ 1, position);
}

namespace
{

/// Whether a listed move loses material, by an exchange without threshold.
bool losesMaterial(moveStruct move, const positionStruct* position)
{
    const int balance =
        wrap16(seeValue[position->board[move.to]] - seeValue[position->board[move.from]]);
    return balance < 0 &&
           !exchangeHolds(balance, move.to, allMen(position) ^ bit(move.from) ^ bit(move.to),
                          position->sideToMove ^ 1, position);
}

} // namespace

void updateSeeScoreEvade(u8 ply, moveStruct* first, const positionStruct* position)
{
    constexpr u8 pawnTakesChecker = 250;
    for (moveStruct* move = first; move < position->plies[ply].moveListEnd; ++move)
        if (move->score != pawnTakesChecker && !isKing(position->board[move->from]) &&
            hasExchange(*move) && losesMaterial(*move, position))
            move->score = static_cast<u8>(move->score - 100);
}

void updateSeeScore(u8 ply, moveStruct* first, const positionStruct* position)
{
    for (moveStruct* move = first; move < position->plies[ply].moveListEnd; ++move)
        if (hasExchange(*move) && losesMaterial(*move, position))
            move->score = static_cast<u8>(move->score + 100);
}


// Node search

namespace
{

// Margins by depth, in score units.
constexpr i32 razor[4] = {0, 120, 190, 240};
constexpr i32 futility[8] = {0, 65, 130, 195, 260, 325, 390, 455};

// LMP[depth]: moves of a null-window node after which quiet moves are given up.
constexpr i8 LMP[5] = {2, 3, 5, 7, 9};

// LMR[depth][move number]: plies by which a late quiet move is reduced.
i8 LMR[128][256];

constexpr int PROBCUTMARGIN = 110;
constexpr int NULLDEEPENINGMARGIN = 100; // below beta, still worth internal deepening
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
            LMR[depth][number] = static_cast<i8>(reduction);
        }
}

namespace
{

/// A search of any depth: the node search above 0, else quiescence.
inline i16 searchNode(int ply, int depth, int alpha, int beta, positionStruct* position,
                      u8 nullAllowed)
{
    const u8 at = static_cast<u8>(ply);
    const i16 low = static_cast<i16>(alpha);
    const i16 high = static_cast<i16>(beta);
    return depth > 0 ? alfabeta(at, depth, low, high, position, nullAllowed)
                     : quiescence(at, 0, low, high, position);
}

/// The child's score from the parent's view, with the parent's window.
inline int searchChild(int childPly, int depth, int alpha, int beta, positionStruct* position,
                       u8 nullAllowed = 2)
{
    return static_cast<i16>(-searchNode(childPly, depth, -beta, -alpha, position, nullAllowed));
}

/// Counts a node of one of the two counters that the boss adds up over running threads.
inline void countNode(u64& counter)
{
    publish(counter, counter + 1);
}

/// Counts down to the next check of the clock; true when the hard budget is used up.
bool isTimeOver(positionStruct* position)
{
    if (position->nodesToClockCheck-- > 0) return false;
    position->nodesToClockCheck = engine.nodeCheckInterval;
    if (theWorkForce.ponderSearch || engine.infinite) return false;
    if (now() - static_cast<i64>(engine.startTime) < engine.maxTime) return false;
    theWorkForce.stop();
    return true;
}

/// Set before a search of a board that no game leads to. With thirty queens a side a quiescence
/// search takes minutes, so there alone it looks at the clock and the stop flag itself.
relaxed<bool> boardIsCrowded = false;

/// More men of a side than a game can give it: promoted men and pawns together beyond eight.
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

/// True when the quiescence search of a crowded board has to end.
inline bool isQuiescenceOver(positionStruct* position)
{
    return boardIsCrowded && (isTimeOver(position) || theWorkForce.stopSearch);
}

/// Whether the position has occurred before, in the game or on the path; once is enough. The
/// first key looked at is four plies back. A null move pushes no key, so below it the walk meets
/// the positions of the other parity.
bool isRepetition(const positionStruct* position)
{
    const int last = std::max(position->keyIndex - position->halfMoveClock - 1, 0);
    for (int i = position->keyIndex - 5; i >= last; i -= 2)
        if (position->keyHistory[i] == position->hashKey) return true;
    return false;
}

/// Whether a table entry decides a node with this window.
bool isCutOff(u8 bound, int score, int alpha, int beta)
{
    return bound == boundExact || (bound != boundUpper && score >= beta) ||
           (bound == boundUpper && score <= alpha);
}

/// The static evaluation, replaced by the table's score where that is known to be nearer.
int improvedEvaluation(u8 ply, u8 bound, int tableScore, positionStruct* position)
{
    if (bound == boundExact) return tableScore;
    const int evaluation = static_cast<i16>(evaluateN(ply, position));
    if ((bound == boundLower && evaluation < tableScore) ||
        (bound == boundUpper && evaluation > tableScore))
        return tableScore;
    return evaluation;
}

/// Prepares the node's list for a picker: a legal hash move in the first slot, or nothing.
void startList(bool hashMoveIsLegal, plyStruct& here, plyStruct& next)
{
    here.moveListEnd = here.moveListStart;
    if (hashMoveIsLegal) *here.moveListEnd++ = here.hashMove;
    here.pickerStage = hashMoveIsLegal ? stageHashMove : stageMakeCaptures;
    next.moveListStart = here.moveListEnd;
}

/// Halves the weights of all quiet moves, so that old ones fade.
void halveHistory(positionStruct* position)
{
    for (int man = 0; man < 12; ++man)
        for (int square = 0; square < NOFSQUARES; ++square)
        {
            position->historyGood[man][square] >>= 1;
            position->historyBad[man][square] >>= 1;
        }
}

/// Remembers a move that cut off: counter move, killers and, from depth 3 on, history. Quiet
/// moves only but for the counter move; a promotion on an empty square counts as quiet.
void rewardCutOff(u8 ply, int depth, const moveStruct* cursor, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    const moveStruct move = *cursor;
    const u8* board = position->board;

    if (ply > 0)
    {
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

    ++position->historyChanges;
    const u32 weight = static_cast<u32>(depth * depth);
    u32& good = position->historyGood[board[move.from] - PAWN][move.to];
    good += weight;
    if (here.pickerStage == stageQuiets)
        for (const moveStruct* quiet = here.quietsStart; quiet < cursor; ++quiet)
        {
            u32& bad = position->historyBad[board[quiet->from] - PAWN][quiet->to];
            bad += weight;
            if (bad >= HISTORYLIMIT) halveHistory(position);
        }
    if (good >= HISTORYLIMIT) halveHistory(position);
}

/// Whether a side has two men besides its pawns; its king counts.
bool hasPiece(int colour, const positionStruct* position)
{
    return moreThanOne(position->pieceBB[colour] & ~position->pieceBB[PAWN + colour]);
}

/// Step 8. Null move (Donninger, "Null move and deep search", 1993): a side that stands above
/// beta after passing stands above it with a move. Returns the score of passing.
int searchNullMove(u8 ply, int depth, int beta, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    const u64 key = position->hashKey;
    const u8 enPassant = here.enPassantSquare;

    // No key is pushed and the half-move clock stands still.
    position->sideToMove ^= 1;
    position->hashKey ^= hashCodeBlackToMove;
    if (enPassant) position->hashKey ^= hashCodeEnpassant[fileOf(enPassant)];
    here.enPassantSquare = 0;
    position->plies[ply + 1] = here;

    const int score = searchChild(ply + 1, depth - 3 - depth / 6, beta - 1, beta, position, 0);

    position->sideToMove ^= 1;
    position->hashKey = key;
    here.enPassantSquare = enPassant;
    return score;
}

/// What a quiet move needs to give check, as far as a look at its squares can tell.
class quietChecks
{
  public:
    /// For the side to move, whose opponent is not in check.
    explicit quietChecks(const positionStruct* position)
    {
        const int us = position->sideToMove;
        const u8 king = kingSquareOf(us ^ 1, position);
        const u64 occupied = allMen(position);
        const u64 bishopLines = getBishopAttackTable(king, occupied);
        const u64 rookLines = getRookAttackTable(king, occupied);
        from[PAWN / 2] = pawnAttackTable[us][king];
        from[KNIGHT / 2] = knightAttackTable[king];
        from[BISHOP / 2] = bishopLines;
        from[ROOK / 2] = rookLines;
        from[QUEEN / 2] = bishopLines | rookLines;
        if (bishopsAndQueens(us, position) & bishopAttackAll[king]) unveilers |= bishopLines;
        if (rooksAndQueens(us, position) & rookAttackAll[king]) unveilers |= rookLines;
    }

    /// Whether a move may give check. Only a false answer is sure.
    bool arePossible(moveStruct move, const positionStruct* position) const
    {
        return ((from[position->board[move.from] / 2] & bit(move.to)) |
                (unveilers & bit(move.from))) ||
               (move.kind != KINDPLAIN && move.kind != KINDDOUBLEPUSH);
    }

  private:
    u64 from[NOFPIECECODES / 2] = {}; // [piece code / 2]: squares from which that man gives check
    u64 unveilers = 0;                // squares that open a line to the king when they empty
};

/// Step 10. ProbCut (Buro, 1995): a capture that beats beta by a margin in a shallow search will
/// beat beta in a full one. Returns whether one did, with its score in `score`.
bool searchProbCut(u8 ply, int depth, int beta, int staticEval, positionStruct* position,
                   int& score)
{
    plyStruct& here = position->plies[ply];
    const u8 us = position->sideToMove;
    const int raised = beta + PROBCUTMARGIN;
    const i16 threshold = wrap16(raised - staticEval);

    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        if (!doNextMoveProbCut(ply, cursor, position, threshold)) continue;
        position->plies[ply + 1].inCheck =
            isSquareAttacked(kingSquareOf(us ^ 1, position), us, position);
        here.currentMove = *cursor;
        score = searchChild(ply + 1, 0, raised - 1, raised, position);
        if (score >= raised) score = searchChild(ply + 1, depth - 3, raised - 1, raised, position);
        unmakeMove(static_cast<u8>(ply + 1), cursor, position);
        if (score >= raised) return true;
    }
    return false;
}

} // namespace

// Principal variation search (Marsland and Campbell, 1982): the first move gets the full window,
// the others a null window and a second search when they fail high.
i16 alfabeta(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position, u8 nullAllowed)
{
    plyStruct& here = position->plies[ply];

    // Step 1. Count, clock and stop.
    countNode(position->nodes);
    if (ply > position->selDepth) position->selDepth = ply;
    if (isTimeOver(position) || theWorkForce.stopSearch) return 0;
    if (isPathFull(ply, position)) return static_cast<i16>(evaluateN(ply, position));

    if (ply > 0)
    {
        // Step 2. Mate distance: nothing here is worse than being mated now or better than
        // mating with the next move. The two limits differ by one on purpose.
        alpha = std::max(alpha, static_cast<i16>(ply - SCOREMATE));
        if (beta > SCOREMATE - ply) beta = static_cast<i16>(SCOREMATE + 1 - ply);
        if (alpha >= beta) return alpha;

        // Step 3. Repetition.
        if (position->halfMoveClock >= 4 && isRepetition(position)) return 0;
    }
    const int entryAlpha = alpha;
    const bool pvNode = alpha + 1 < beta;

    // Step 4. Transposition table. Cut-offs are taken with a full window too.
    here.hashMove = EMPTYMOVE;
    u64 entry = getHashTableEntry(position->hashKey);
    const u8 bound = hashBound(entry);
    const int tableScore = hashScore(entry, ply);
    if (bound)
    {
        if (ply > 0 && hashDepth(entry) >= depth && isCutOff(bound, tableScore, alpha, beta))
            return static_cast<i16>(tableScore);
        here.hashMove = wordMove(entry);
    }

    const u8 us = position->sideToMove;
    plyStruct& next = position->plies[ply + 1];
    if (!here.inCheck)
    {
        // Step 5. Static evaluation.
        const int staticEval = improvedEvaluation(ply, bound, tableScore, position);
        const bool mateEval = std::abs(staticEval) >= SCOREMATELIMIT;

        // Step 6. Razoring (Heinz, "Scalable search in computer chess", 2000): so far below alpha,
        // only captures can help.
        if (depth <= 3 && !pvNode && staticEval + razor[depth] < alpha)
        {
            const i16 score = quiescence(ply, 0, alpha, beta, position);
            if (score < alpha) return score;
        }

        // Step 7. Reverse futility: so far above beta that no quiet reply brings it down.
        if (depth < 7 && !pvNode && !mateEval && staticEval >= beta + futility[depth] &&
            hasPiece(us, position))
            return static_cast<i16>(staticEval);

        // Step 8. Null move. Mates found by passing are no mates.
        if (depth >= 3 && nullAllowed && staticEval >= beta && hasPiece(us, position))
        {
            const int score = searchNullMove(ply, depth, beta, position);
            if (score >= beta) return score <= SCOREMATELIMIT ? static_cast<i16>(score) : beta;
        }

        // Step 9. Internal deepening: a shallow search finds the move to begin with.
        if (depth >= 4 && moveWord(here.hashMove) == 0 &&
            (pvNode || staticEval >= beta - NULLDEEPENINGMARGIN))
        {
            alfabeta(ply, depth - 3, alpha, beta, position, 2);
            entry = getHashTableEntry(position->hashKey);
            if (hashBound(entry)) here.hashMove = wordMove(entry);
        }

        // Step 10. ProbCut.
        if (depth >= 5 && !pvNode && !mateEval)
        {
            startList(isLegalMove(ply, &here.hashMove, position, false), here, next);
            int score = 0;
            if (searchProbCut(ply, depth, beta, staticEval, position, score))
                return static_cast<i16>(score);
        }
    }

    // Step 11. The move loop. A slot of the list may yield nothing; one call with the cursor at
    // the end is what moves the picker's stages on.
    startList(isLegalMove(ply, &here.hashMove, position, false), here, next);
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    const u8 childPly = static_cast<u8>(ply + 1);
    std::optional<quietChecks> checks; // once late moves are pruned
    int bestScore = -SCOREMATE;
    int searchedMoves = 0;
    int moveNumber = 0;
    int lateMoveNumber = 0;

    for (moveStruct* cursor = here.moveListStart; cursor <= here.moveListEnd; ++cursor)
    {
        const bool skipOrdering = checks.has_value();
        if (skipOrdering && !next.inCheck && cursor < here.moveListEnd &&
            !checks->arePossible(*cursor, position))
            continue;
        if (!doNextMoveStaged(ply, cursor, position, skipOrdering)) continue;
        prefetchEvaluation(position);
        next.inCheck = isSquareAttacked(enemyKing, us, position);

        // Step 12. Late move pruning: after so many moves a quiet one that gives no check hardly
        // ever raises alpha. Once begun, the node's other quiet moves go unsorted, and those that
        // can't give check are not even made, except to end the check that the move before has left
        // in the child's record: getPVFromHashTable reads what stays there.
        if (ply > 0 && !next.inCheck &&
            (skipOrdering || (!pvNode && depth <= 4 && !here.inCheck &&
                              here.pickerStage == stageQuiets && moveNumber >= LMP[depth])))
        {
            unmakeMove(childPly, cursor, position);
            if (!skipOrdering) checks.emplace(position);
            continue;
        }
        prefetchHashLine(position->hashKey);
        here.currentMove = *cursor;

        // Step 13. Check extension, unless the checking man is lost.
        int newDepth = depth - 1;
        if (next.inCheck &&
            (!hasExchange(*cursor) || seeAfter(*cursor, 0, position, next.capturedPiece)))
            newDepth = depth;

        if (here.pickerStage != stageLosingCaptures)
        {
            ++moveNumber;
            if (here.pickerStage >= stageFirstKiller) ++lateMoveNumber;
        }

        // Step 14. Search the move; late quiet ones at a reduced depth first (late move
        // reductions, Romstad, 2006).
        int score;
        if (searchedMoves == 0)
            score = searchChild(childPly, newDepth, alpha, beta, position);
        else
        {
            int reduction = 0;
            if (here.pickerStage == stageQuiets && depth >= 3 && !here.inCheck)
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

        // Step 15. A new best move, and the cut-off.
        if (score <= bestScore) continue;
        if (score <= alpha)
        {
            bestScore = score;
            continue;
        }
        cursor->score = position->board[cursor->from];
        here.bestMove = *cursor;
        if (ply == 0)
        {
            ++position->rootBestChanges;
            position->rootDepth = static_cast<i16>(depth);
            position->rootDepthComplete = 0;
        }
        if (score >= beta)
        {
            putHashTableEntry(position->hashKey, *cursor, static_cast<i16>(score),
                              static_cast<i8>(depth), boundLower, ply);
            rewardCutOff(ply, depth, cursor, position);
            return static_cast<i16>(score);
        }
        bestScore = score;
        alpha = static_cast<i16>(score);
    }

    // Step 16. Mate and stalemate, then the fifty moves, so that a mate by the hundredth ply
    // wins. A node that cuts off never looks at the clock of fifty moves.
    if (searchedMoves == 0) return here.inCheck ? static_cast<i16>(ply - SCOREMATE) : i16{0};
    if (position->halfMoveClock > 99) return 0;

    // Step 17. Store. A fail low keeps the old hash move.
    const bool failedLow = bestScore <= entryAlpha;
    putHashTableEntry(position->hashKey, failedLow ? here.hashMove : here.bestMove,
                      static_cast<i16>(bestScore), static_cast<i8>(depth),
                      failedLow ? boundUpper : boundExact, ply);
    return static_cast<i16>(bestScore);
}


// Quiescence

namespace
{

/// Plays the moves that the picker yields and returns the best score; `alpha` rises on the way.
/// `best` receives the cursor of a move that raised alpha.
int searchQuietMoves(u8 ply, int depth, int alpha, int beta, int bestScore,
                     positionStruct* position, moveStruct* best)
{
    plyStruct& here = position->plies[ply];
    const u8 us = position->sideToMove;
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    const u8 childPly = static_cast<u8>(ply + 1);
    const auto searchQuiet = [=](int low, int high)
    {
        return static_cast<i16>(-quiescence(childPly, depth - 1, static_cast<i16>(-high),
                                            static_cast<i16>(-low), position));
    };

    bool isFirst = true;
    for (moveStruct* cursor = here.moveListStart; cursor < here.moveListEnd; ++cursor)
    {
        if (!doNextMoveQuiesc(ply, cursor, position, depth)) continue;
        prefetchEvaluation(position);
        here.currentMove = *cursor;
        position->plies[childPly].inCheck = isSquareAttacked(enemyKing, us, position);

        int score = isFirst ? searchQuiet(alpha, beta) : searchQuiet(alpha, alpha + 1);
        if (!isFirst && score > alpha && score < beta) score = searchQuiet(alpha, beta);
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

/// Generates the list of a quiescence node by its band of depth. False when it is in check without
/// an evasion. From FIRSTNOEVASIONDEPTH down a check is forgotten and only recaptures are played,
/// so a node there may return the mated score though it is no mate (test: DeepBandForgetsChecks).
bool generateQuietList(u8 ply, int depth, positionStruct* position)
{
    plyStruct& here = position->plies[ply];
    if (depth <= FIRSTNOEVASIONDEPTH) here.inCheck = 0;
    if (depth <= FIRSTRECAPTUREDEPTH)
        generateMovesRecapture(ply, here.moveListStart, position);
    else
        generateMovesQuiescence(ply, here.moveListStart, position);

    if (!here.inCheck) return true;
    updateSeeScoreEvade(ply, here.moveListStart, position);
    return here.moveListEnd != here.moveListStart;
}

} // namespace

i16 quiescence(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position)
{
    // Step 1. Count, mate distance, end of the path.
    countNode(position->qNodes);
    alpha = std::max(alpha, static_cast<i16>(ply - SCOREMATE));
    if (beta > SCOREMATE - ply) beta = static_cast<i16>(SCOREMATE + 1 - ply);
    if (alpha >= beta) return alpha;
    if (isPathFull(ply, position)) return static_cast<i16>(evaluateN(ply, position));
    if (isQuiescenceOver(position)) return 0;

    // Step 2. Stand pat: a side out of check can do at least as well as it stands.
    int bestScore = ply - SCOREMATE;
    if (!position->plies[ply].inCheck)
    {
        bestScore = static_cast<i16>(evaluateN(ply, position));
        if (bestScore >= beta) return static_cast<i16>(bestScore);
        alpha = std::max(alpha, static_cast<i16>(bestScore));
    }

    // Step 3. The moves.
    if (!generateQuietList(ply, depth, position)) return static_cast<i16>(bestScore);
    return static_cast<i16>(
        searchQuietMoves(ply, depth, alpha, beta, bestScore, position, nullptr));
}

i16 quiescenceHash(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position)
{
    plyStruct& here = position->plies[ply];

    // Step 1. Count, mate distance, end of the path.
    countNode(position->qNodes);
    alpha = std::max(alpha, static_cast<i16>(ply - SCOREMATE));
    if (beta > SCOREMATE - ply) beta = static_cast<i16>(SCOREMATE + 1 - ply);
    if (alpha >= beta) return alpha;
    if (isPathFull(ply, position)) return static_cast<i16>(evaluateN(ply, position));

    // Step 2. Transposition table, whatever the depth of the entry. Its move is not read: the
    // hash move of the ply is what it was.
    const u64 entry = getHashTableEntry(position->hashKey);
    const u8 bound = hashBound(entry);
    const int tableScore = hashScore(entry, ply);
    if (bound && isCutOff(bound, tableScore, alpha, beta)) return static_cast<i16>(tableScore);

    // Step 3. Stand pat, with the table's bound where it is nearer.
    int bestScore = ply - SCOREMATE;
    moveStruct best = EMPTYMOVE;
    const auto store = [&](moveStruct move, u8 kindOfBound)
    {
        putHashTableEntry(position->hashKey, move, static_cast<i16>(bestScore), 0, kindOfBound,
                          ply);
        return static_cast<i16>(bestScore);
    };
    if (!here.inCheck)
    {
        bestScore = improvedEvaluation(ply, bound, tableScore, position);
        if (bestScore >= beta) return static_cast<i16>(bestScore);
        alpha = std::max(alpha, static_cast<i16>(bestScore));
    }

    // Step 4. The hash move, before anything is generated.
    const u8 childPly = static_cast<u8>(ply + 1);
    if (isLegalMove(ply, &here.hashMove, position, false))
    {
        const u8 us = position->sideToMove;
        const moveStruct move = here.hashMove;
        position->plies[childPly].moveListStart = here.moveListStart;
        makeMove(childPly, &move, position, false);
        here.currentMove = move;
        position->plies[childPly].inCheck =
            isSquareAttacked(kingSquareOf(us ^ 1, position), us, position);
        const int score = static_cast<i16>(-quiescence(childPly, depth - 1, static_cast<i16>(-beta),
                                                       static_cast<i16>(-alpha), position));
        unmakeMove(childPly, &move, position);
        bestScore = std::max(bestScore, score);
        if (score > alpha)
        {
            alpha = static_cast<i16>(score);
            best = move;
            if (score >= beta) return store(best, boundLower);
        }
    }

    // Step 5. The moves.
    if (generateQuietList(ply, depth, position))
        bestScore = searchQuietMoves(ply, depth, alpha, beta, bestScore, position, &best);
    if (bestScore >= beta) return store(best, boundLower);
    return moveWord(best) ? store(best, boundExact) : store(here.hashMove, boundUpper);
}


// Root

namespace
{

constexpr int MAXDEPTH = 127;      // the last iteration
constexpr int FIRSTINFODEPTH = 10; // below, the root writes nothing and walks no line

// aspMatrix[id & 15]: half-width of an iteration's first window, then its widenings after the
// first to fourth failure. Different windows spread the threads over different trees.
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

// skipCnt[id & 15], skipAmount[id & 15]: period of a helper's depth skipping, and how many depths
// a skip jumps. Row 0 has no effect.
constexpr i32 skipCnt[16]    = {1, 2, 2, 3, 3, 3, 4, 4, 6, 3, 2, 2, 4, 5, 3, 2};
constexpr i32 skipAmount[16] = {0, 1, 0, 1, 1, 0, 0, 2, 1, 3, 0, 2, 2, 1, 1, 0};
// clang-format on

/// An aspiration window and how often it has failed in this iteration.
struct aspirationWindow
{
    i16 alpha = -SCOREINFINITE;
    i16 beta = SCOREINFINITE;
    int failLow = 0;
    int failHigh = 0;
    const i16* delta; // row of aspMatrix

    /// The fifth failure on a side opens that side to the end of the scale. A score beyond it,
    /// which only boards that can't arise in chess have, is taken as it is.
    static constexpr int OPEN = 5;

    explicit aspirationWindow(const i16* row) : delta(row) {}

    /// The first window of an iteration around the last score.
    void centre(i16 score)
    {
        alpha = wrap16(score - delta[0]);
        beta = wrap16(score + delta[0]);
    }

    /// The null window above a score, with the same widenings.
    aspirationWindow nullAbove(int score) const
    {
        aspirationWindow above(delta);
        above.alpha = wrap16(score);
        above.beta = wrap16(score + 1);
        return above;
    }

    /// Takes a score in; true when it lies within the window, else the window has been widened.
    bool holds(int score)
    {
        if (score <= alpha && alpha > -SCOREMATE)
        {
            ++failLow;
            beta = wrap16((alpha + beta) / 2);
            alpha = failLow < OPEN ? wrap16(score - delta[failLow]) : i16{-SCOREMATE};
            return false;
        }
        return holdsBelow(score);
    }

    /// The same where a score too low is as good as one within.
    bool holdsBelow(int score)
    {
        if (score >= beta && beta < SCOREMATE)
        {
            ++failHigh;
            beta = failHigh < OPEN ? wrap16(score + delta[failHigh]) : i16{SCOREMATE};
            return false;
        }
        return true;
    }

    /// How unsettled the iteration was: new best moves, and failures when there were several.
    int instability(int bestChanges) const
    {
        if (failHigh > 1 || failLow >= 2) return std::max(failLow, failHigh) + bestChanges - 1;
        return bestChanges;
    }
};

/// The share of the soft budget that a move deserves, after an iteration of this instability or
/// one whose best move has not changed.
double nextTimeScale(double timeScale, int depth, int instability, bool isSettled)
{
    double x = 1.0;
    if (depth >= 6)
    {
        if (isSettled)
            x = timeScale * 0.9;
        else if (timeScale <= 1.0)
            x = instability * 0.2 + 1.0;
        else
            x = instability * 0.2 + timeScale * 0.8;
    }
    return std::clamp(x, 0.6, 2.0);
}

/// Whether a score is a mate no further away in plies than the depth searched.
bool isMateWithin(int score, int depth)
{
    return std::abs(score) >= SCOREMATELIMIT && SCOREMATE - std::abs(score) <= depth;
}

/// Moves to mate as the mate line gives them; a losing score counts one more than is usual.
int movesToMate(int score)
{
    const int moves = (SCOREMATE - std::abs(score)) / 2 + 1;
    return score > 0 ? moves : -moves;
}

/// Brings engine.elapsedTime up to date.
void stampElapsedTime()
{
    engine.elapsedTime = static_cast<u64>(now() - static_cast<i64>(engine.startTime));
}

/// The part of an info line behind its score.
std::string linesTail(const std::string& depths, const std::string& hashFull,
                      const positionStruct* position)
{
    return depths + " nodes " + std::to_string(theWorkForce.nofNodes()) + " time " +
           std::to_string(engine.elapsedTime) + hashFull + " pv " + PVToString(position);
}

std::string depthText(int depth)
{
    return " depth " + std::to_string(depth);
}

std::string selDepthText(const positionStruct* position)
{
    return " seldepth " + std::to_string(position->selDepth);
}

/// Cuts the line in the bestMove fields before the first move that is not legal. A walk that finds
/// no exact entry at the root leaves pvLength as it was, over fields that the search has changed
/// since: after an iteration that was stopped, or when another thread has written the root's
/// entry. Uses the move stack behind the root's list, so the running iteration must be over.
void cutLineToLegal(positionStruct* position)
{
    moveStruct* const list = position->plies[0].moveListEnd;
    int length = 0;
    for (; length <= position->pvLength; ++length)
    {
        const u8 ply = static_cast<u8>(length);
        plyStruct& here = position->plies[ply];
        if (isPathFull(ply, position)) break;
        generateMovesLegal(ply, list, position);
        const bool isLegal =
            std::any_of(list, here.moveListEnd,
                        [&here](moveStruct move) { return sameMove(move, here.bestMove); });
        if (!isLegal) break;
        makeMove(static_cast<u8>(ply + 1), &here.bestMove, position, false);
    }
    position->pvLength = static_cast<u8>(std::max(length - 1, 0));
    while (length-- > 0)
        unmakeMove(static_cast<u8>(length + 1), &position->plies[length].bestMove, position);
    position->plies[0].moveListEnd = position->plies[1].moveListStart = list;
}

/// Iterative deepening: what is kept from one iteration to the next, and what each does before and
/// behind the search of its moves. The owner chooses the depths and searches.
class deepening
{
  public:
    int depth = 0; // of the iteration
    aspirationWindow window;
    positionStruct* const position;
    boss* const reporter; // null in a helper
    const int maxAhead = engine.nofThreads / 2;

    /// Step 1. A fresh root, for the worker `id`. No line is written below `firstInfo`.
    deepening(int id, boss* owner, positionStruct* searched, int firstInfo)
        : window(aspMatrix[id % 16]), position(searched), reporter(owner), firstInfoDepth(firstInfo)
    {
        plyStruct& root = position->plies[0];
        position->nodesToClockCheck = engine.nodeCheckInterval;
        root.killers[0] = root.killers[1] = EMPTYMOVE;
        theWorkForce.timeIsUp = false;
    }

    /// Lists the root's moves and notes the result that stands before the first iteration. Returns
    /// false for a mated root.
    bool listMoves(int resultDepth, i16 result)
    {
        plyStruct& root = position->plies[0];
        generateMovesLegal(0, root.moveListStart, position);
        depth = resultDepth;
        score = result;
        noteResult();

        const auto legalMoves = root.moveListEnd - root.moveListStart;
        if (legalMoves == 1) depthLimit = 3;
        return legalMoves > 0 || !root.inCheck;
    }

    /// Leaves a mated root without a line.
    void forgetLine() const
    {
        position->plies[0].bestMove = EMPTYMOVE;
        position->pvLength = 0;
        engine.elapsedTime = 1;
    }

    /// Begins an iteration.
    void begin()
    {
        if (depth > 5) window.centre(score);
        window.failLow = window.failHigh = 0;
        position->rootBestChanges = 0;
    }

    /// Takes the score of an iteration that was not stopped.
    void accept(i16 value)
    {
        score = value;
        noteResult();
        if (reporter && depth >= firstInfoDepth)
            putHashTableEntry(position->hashKey, position->plies[0].bestMove, score,
                              static_cast<i8>(depth), boundExact, 0);
    }

    /// How unsettled the iteration was.
    int instability() const { return window.instability(position->rootBestChanges); }

    /// Ends an iteration, accepted or not: lines and clocks.
    void finish(bool isSettled)
    {
        stampElapsedTime();
        if (reporter && !report())
            goOn = false;
        else if (isToCheckClock())
            checkClock(isSettled);
    }

    /// Whether another iteration follows.
    bool goesOn() const { return goOn && depth < MAXDEPTH && !theWorkForce.stopSearch; }

    /// Ends the search, for all threads.
    static void close()
    {
        stampElapsedTime();
        theWorkForce.stop();
    }

  private:
    /// Makes the present score this searcher's result.
    void noteResult() const
    {
        position->rootScore = score;
        position->rootDepthComplete = 1;
        position->rootDepth = static_cast<i16>(depth);
    }

    /// Step 4. The boss reports; a proven mate ends the search, and the answer is false.
    bool report() const
    {
        if (depth >= firstInfoDepth)
        {
            getPVFromHashTable(0, position, depth);
            if (theWorkForce.stopSearch || engine.nofThreads > 1) cutLineToLegal(position);
            if (!theWorkForce.stopSearch) reporter->storePonderCandidate();
            theWorkForce.report("info score cp " + std::to_string(score) +
                                linesTail(depthText(depth) + selDepthText(position),
                                          " hashfull " + std::to_string(engine.hashFull),
                                          position));
        }
        if (!isMateWithin(score, depth) || theWorkForce.stopSearch) return true;
        theWorkForce.report("info score mate " + std::to_string(movesToMate(score)) +
                            linesTail(depthText(depth), "", position));
        return engine.infinite;
    }

    /// Step 5. Soft time check, by the boss and by the first searcher past a depth, which takes its
    /// turn by asking.
    bool isToCheckClock() const
    {
        if (engine.elapsedTime <= softCheckTime || depth <= theWorkForce.deepestDepth)
            return reporter != nullptr;
        theWorkForce.deepestDepth = depth;
        return true;
    }

    void checkClock(bool isSettled)
    {
        if (depthLimit)
            goOn = depth < depthLimit;
        else
        {
            timeScale = nextTimeScale(timeScale, depth, instability(), isSettled);
            const float elapsed =
                static_cast<float>(static_cast<u64>(engine.elapsedTime)) * engine.timeFactor;
            if (static_cast<double>(elapsed) > engine.targetTime * timeScale)
                theWorkForce.timeIsUp = true;
            goOn = theWorkForce.ponderSearch || !theWorkForce.timeIsUp;
        }
        if (engine.infinite) goOn = true;
    }

    const int firstInfoDepth;
    const u64 softCheckTime =
        engine.targetTime < 1600 ? 100 : static_cast<u64>(engine.targetTime / 16);
    int depthLimit = engine.depthLimit; // 0 none, 3 for an only move
    i16 score = -SCOREINFINITE;
    double timeScale = 1.0;
    bool goOn = true;
};

} // namespace

/// How many other workers have begun a depth.
int worker::othersAt(int depth) const
{
    int count = 0;
    for (const worker* other : theWorkForce.workers)
        if (other != this && other->currentDepth >= depth) ++count;
    return count;
}

void worker::searchRoot()
{
    // Step 1. A fresh root.
    boss* const self = id == 0 ? static_cast<boss*>(this) : nullptr;
    deepening run(id, self, position, FIRSTINFODEPTH);
    if (!run.listMoves(0, -SCOREINFINITE))
    {
        // Helpers leave too, so that none of them has a result to choose.
        theWorkForce.stop();
        if (!self) return;
        theWorkForce.report("info score mate 0");
        run.forgetLine();
        return;
    }

    const int row = id % 16;
    do {
        // Step 2. Choose the depth. Helpers jump over some, and leave a depth that enough others
        // have begun.
        ++run.depth;
        if (!self)
        {
            if ((row + run.depth) % skipCnt[row] == 0) run.depth += skipAmount[row];
            if (run.depth > MAXDEPTH - 1) run.depth = MAXDEPTH;
            if (run.depth >= 9 && othersAt(run.depth) > run.maxAhead) continue;
        }
        currentDepth = run.depth;

        // Step 3. Search, with a wider window after each failure, until one holds.
        run.begin();
        while (!theWorkForce.stopSearch)
        {
            const i16 value =
                alfabeta(0, run.depth, run.window.alpha, run.window.beta, position, 2);
            if (!run.window.holds(value)) continue;
            if (!theWorkForce.stopSearch) run.accept(value);
            break;
        }

        run.finish(run.instability() <= 1);
    } while (run.goesOn());
    deepening::close();
}

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

/// The worker whose result is played. A deeper result wins, a complete one before an incomplete
/// one of its depth, then the higher score; a found mate overrides depth, on a higher score.
const worker* boss::chooseBest() const
{
    const worker* best = this;
    if (engine.nofThreads == 1) return best;
    // A depth limit is the boss's, unless a helper has run through before the boss had a move.
    if (engine.depthLimit && position->rootDepth) return best;
    const auto rank = [](const worker* w)
    { return w->position->rootDepth * 2 + w->position->rootDepthComplete; };

    for (const worker* candidate : theWorkForce.workers)
    {
        const i16 score = candidate->position->rootScore;
        const bool byScore = rank(candidate) == rank(best) || score >= SCOREMATELIMIT;
        if (byScore ? score > best->position->rootScore : rank(candidate) > rank(best))
            best = candidate;
    }
    return best;
}

void boss::wakeHelpers()
{
    initPonderCandidate();
    for (worker* helper : theWorkForce.workers)
        if (helper != this) helper->startWorking();
}

void boss::writeResult()
{
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


// Previous root search
//
// The root as a loop over a list of moves that lives as long as the search, ordered by what each
// move has cost, where the present one leaves the root to alfabeta. Nothing runs it; it stands
// ready for comparisons.

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

/// Searches the root's moves one depth on: the first with the aspiration window, each other with a
/// null window above the best score so far. Moves that were best come to the head of the list,
/// the last one first; the score byte of the others becomes their nodes in 128ths of the first
/// move's. Returns false when stopped, and when there is no move.
bool searchRootMoves(deepening& run, int& best)
{
    positionStruct* const position = run.position;
    plyStruct& root = position->plies[0];
    const u8 us = position->sideToMove;
    const u8 enemyKing = kingSquareOf(us ^ 1, position);
    u64 nodeUnit = 1;

    for (moveStruct* cursor = root.moveListStart; cursor < root.moveListEnd; ++cursor)
    {
        const bool isFirst = cursor == root.moveListStart;
        const u64 nodesBefore = nodesOf(position);
        aspirationWindow above = run.window.nullAbove(best);
        aspirationWindow& window = isFirst ? run.window : above;

        root.currentMove = *cursor;
        makeMove(1, cursor, position, false);
        position->plies[1].inCheck = isSquareAttacked(enemyKing, us, position);
        int value = 0;
        for (bool holds = false; !holds && !theWorkForce.stopSearch;)
        {
            value = searchChild(1, run.depth - 1, window.alpha, window.beta, position);
            holds = isFirst ? window.holds(value) : window.holdsBelow(value);
        }
        unmakeMove(1, cursor, position);
        if (theWorkForce.stopSearch) return false;

        const u64 nodes = nodesOf(position) - nodesBefore;
        if (isFirst)
            nodeUnit = std::max<u64>(nodes >> 7, 1);
        else if (value <= best)
        {
            cursor->score = static_cast<u8>(std::min(nodes / nodeUnit, LARGESTNODESHARE));
            continue;
        }

        best = value;
        cursor->score = position->board[cursor->from];
        root.bestMove = *cursor;
        putHashTableEntry(position->hashKey, root.bestMove, static_cast<i16>(best),
                          static_cast<i8>(run.depth), boundExact, 0);
        ++position->rootBestChanges;
        position->rootDepth = static_cast<i16>(run.depth);
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

void worker::searchRootOld()
{
    // Step 1. A fresh root, worth at first what its captures make of it. A mated one is answered
    // and then searched like any other.
    boss* const self = id == 0 ? static_cast<boss*>(this) : nullptr;
    deepening run(id, self, position, FIRSTINFODEPTHOLD);
    const i16 quietScore = quiescence(0, 0, -SCOREINFINITE, SCOREINFINITE, position);
    if (!run.listMoves(1, quietScore))
    {
        theWorkForce.report("info score mate 0\nbestmove a1a1");
        run.forgetLine();
    }

    const plyStruct& root = position->plies[0];
    const u32 period = engine.nofThreads > 4 ? 6 : 3;
    do {
        // Step 2. Helpers take turns in leaving a depth out, another one in each search.
        ++run.depth;
        if (!self)
        {
            const int counter = run.depth - 2; // iterations begun before this one
            if ((static_cast<u32>(id + counter + 1) + hashHartBeat / 2) % period == 0) continue;
            if (counter >= 9 && engine.nofThreads >= 5 && othersAt(counter + 1) > run.maxAhead)
                continue;
        }
        currentDepth = run.depth;

        // Step 3. Search the moves and order them for the next iteration.
        run.begin();
        int best = 0;
        if (searchRootMoves(run, best)) run.accept(static_cast<i16>(best));
        sortByScore(root.moveListStart, root.moveListEnd);

        run.finish(position->rootBestChanges == 1);
    } while (run.goesOn());
    deepening::close();
}

void boss::searchRootOld()
{
    wakeHelpers();
    worker::searchRootOld();
    writeResult();
}


// Threads
//
// One condition variable a worker serves both directions: the thread waits on it for work, others
// wait on it for the thread to be parked. No thread holds two of these locks at once.

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
    workers.push_back(new boss);
    while (static_cast<int>(workers.size()) < n)
        workers.push_back(new worker(static_cast<int>(workers.size())));
}

void workForce::startWorkForce(const positionStruct* position)
{
    // The boss parks after all helpers have.
    workers[0]->waitToTakeABreak();
    stopSearch = SEARCHING;
    timeIsUp = false;
    deepestDepth = 0;
    boardIsCrowded = isCrowded(position);
    hashAgeCounter = static_cast<u8>(hashHartBeat & 63);
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
    u64 total = 0;
    for (const worker* w : workers)
    {
        total += peek(w->position->nodes);
        total += peek(w->position->qNodes);
    }
    return total;
}


// Time

void calcTimeParameters()
{
    constexpr i64 SAFETYMARGIN = 10; // ms kept back from the clock
    constexpr int FEWESTMOVES = 4;   // movestogo below this counts as this
    const auto held = [](i64 value)
    {
        return static_cast<i32>(std::clamp<i64>(value, std::numeric_limits<i32>::min(),
                                                std::numeric_limits<i32>::max()));
    };

    const int side = GPS->sideToMove;
    const i64 time = engine.timeLeft[side];
    const i64 inc = engine.timeInc[side];
    const int gamePly = engine.gamePly;

    // The share f of an even split that a move gets, and the divisor m of the split.
    double f = engine.nofThreads > 3 ? 0.82 : 0.72;
    if (engine.ponderEnabled) f *= 1.2;
    int m;
    if (engine.movesToGoGiven)
    {
        if (gamePly <= 17)
            f *= 0.9;
        else if (gamePly <= 50)
            f *= 1.1;
        m = std::max<int>(engine.movesToGo, FEWESTMOVES);
        engine.movesToGo = m;
    }
    else if (gamePly == GAMEPLYUNKNOWN)
    {
        m = 30;
        f *= 1.4;
    }
    else
    {
        // Not monotonic, and meant so.
        m = gamePly < 18 ? 40 : gamePly <= 50 ? 22 : gamePly <= 80 ? 25 : gamePly <= 200 ? 20 : 15;
        engine.movesToGo = m;
    }

    engine.timeFactor = 1.0F;
    const i64 avail = time - SAFETYMARGIN;
    const i64 evenShare = ((m - 1) * inc + time) / m;
    i64 target = static_cast<i64>(static_cast<double>(evenShare) * f);
    i64 max = std::min(7 * target, (inc + avail) / 2);
    if (engine.movesToGoGiven)
    {
        if (m == FEWESTMOVES) max = std::max<i64>(max, 40);
    }
    else if (target == 0 || avail / target < 4)
    {
        // Time is short: with almost nothing on the clock the target is 0.
        engine.timeFactor = 5.0F;
        target /= 2;
        max /= 2;
    }
    engine.targetTime = held(target);

    // A fixed time ends on the hard budget alone.
    if (engine.moveTime)
    {
        engine.targetTime = held(10LL * engine.moveTime);
        engine.maxTime = i32{engine.moveTime};
        return;
    }
    engine.maxTime = held(std::max(target + 1, std::min(max, avail)));
}
