// SPDX-License-Identifier: MIT
//
// The search. Its steps come in the order in which the engine takes them, as scores, node counts
// and lines are compared one by one.
#include "search.h"

#include "exchange.h"
#include "generators.h"
#include "oracle_eval.h"
#include "pickers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <sstream>

namespace oracle
{

namespace
{

constexpr int mated = 32000;
constexpr int mateBound = 31872;

constexpr std::array<int, 4> razorMargin{0, 120, 190, 240};
constexpr std::array<int, 8> futilityMargin{0, 65, 130, 195, 260, 325, 390, 455};
constexpr std::array<int, 5> lateMoveCount{2, 3, 5, 7, 9};
constexpr std::array<int, 5> windowSteps{15, 35, 40, 80, 160};

// Plies taken off a late quiet move. Reductions dip from the fourth to the fifth move at small
// depths; that is part of the tree.
int lateMoveReduction(int depth, int moveNumber)
{
    if (moveNumber <= 2) return 0;
    if (moveNumber <= 4) return 1;
    // NOLINTNEXTLINE(bugprone-integer-division): the root of a whole number is meant
    return static_cast<int>(std::sqrt(static_cast<double>(moveNumber * depth / 9)));
}

Score toScore(int value)
{
    return static_cast<Score>(value);
}

int fromTable(int score, int ply)
{
    if (score >= mateBound) return score - ply;
    if (score <= -mateBound) return score + ply;
    return score;
}

bool cutsOff(const Entry& entry, int score, int alpha, int beta)
{
    if (entry.bound == exactBound) return true;
    return entry.bound == upperBound ? score <= alpha : score >= beta;
}

} // namespace

std::string moveText(const Move& move, int side)
{
    const auto square = [](int s) {
        return std::string{static_cast<char>('a' + fileOf(s)), static_cast<char>('1' + rankOf(s))};
    };
    if (move.kind == enPassant) return square(move.from) + square((move.to + forward(side)) & 63);
    std::string text = square(move.from) + square(move.to);
    if (move.kind >= 1 && move.kind <= 11) text += std::string("  ppnnbbrrqq  ")[move.kind];
    return text;
}

Score Search::evaluate() const
{
    return toScore(oracleEvaluate(p.board.data(), p.side));
}

Entry Search::lookUp() const
{
    const auto found = table.find(p.key);
    return found == table.end() ? Entry{} : found->second;
}

// Mate scores are stored as distances from this node.
void Search::store(const Move& move, int value, int depth, Bound bound, int ply)
{
    if (value >= mateBound)
        value += ply;
    else if (value <= -mateBound)
        value -= ply;
    table[p.key] = {move, value, depth, bound};
}

// Pieces of the side to move other than pawns, the king included.
int Search::nonPawns() const
{
    int pieces = 0;
    for (const Byte piece : p.board) pieces += isOf(piece, p.side) && piece >= knight ? 1 : 0;
    return pieces;
}

bool Search::repeated() const
{
    if (p.halfMoveClock < 4) return false;
    const int oldest = std::max(p.keyIndex - p.halfMoveClock - 1, 0);
    for (int i = p.keyIndex - 5; i >= oldest; i -= 2)
        if (p.keyHistory.at(static_cast<std::size_t>(i)) == p.key) return true;
    return false;
}

// The score of the child after a move was made, from the mover's view.
Score Search::child(int ply, int depth, int alphaOfMover, int betaOfMover)
{
    if (depth > 0) return toScore(-alphaBeta(ply + 1, depth, -betaOfMover, -alphaOfMover, true));
    return toScore(-quiescence(ply + 1, 0, -betaOfMover, -alphaOfMover));
}

// Passes the turn. Key history and half-move clock don't notice; the whole record of the ply,
// killers and pins included, goes down to the next.
Score Search::nullMove(int ply, int depth, Score betaOfMover)
{
    const int reduced = depth - 3 - depth / 6;
    Ply& here = plyAt(p, ply);
    const std::uint64_t key = p.key;
    const Byte pushedPawn = here.enPassantPawn;
    here.enPassantPawn = 0;
    plyAt(p, ply + 1) = here;
    p.side ^= 1;
    p.key = computeKey(p, ply + 1);
    Score value = 0;
    if (reduced > 0)
        value = toScore(-alphaBeta(ply + 1, reduced, -betaOfMover, 1 - betaOfMover, false));
    else
        value = toScore(-quiescence(ply + 1, 0, -betaOfMover, 1 - betaOfMover));
    p.side ^= 1;
    p.key = key;
    here.enPassantPawn = pushedPawn;
    return value;
}

// Puts a playable hash move in the first slot and sets the picker's first stage.
void Search::prepareList(int ply)
{
    Ply& here = plyAt(p, ply);
    here.listEnd = here.listStart;
    here.stage = 1;
    if (isLegalMove(ply, here.hashMove, p))
    {
        slot(p, here.listEnd++) = here.hashMove;
        here.stage = 0;
    }
    plyAt(p, ply + 1).listStart = here.listEnd;
}

// Whether a capture beats beta by a margin, first in quiescence, then at reduced depth.
bool Search::probCut(int ply, int depth, Score betaOfNode, int staticEval, Score& value)
{
    prepareList(ply);
    Ply& here = plyAt(p, ply);
    const Score raised = toScore(betaOfNode + 110);
    const Score threshold = toScore(raised - staticEval);
    for (int cursor = here.listStart; cursor <= here.listEnd; ++cursor)
    {
        if (!nextProbCutMove(ply, cursor, p, threshold)) continue;
        plyAt(p, ply + 1).inCheck = isInCheck(p);
        here.currentMove = slot(p, cursor);
        value = toScore(-quiescence(ply + 1, 0, -raised, 1 - raised));
        if (value >= raised)
            value = toScore(-alphaBeta(ply + 1, depth - 3, -raised, 1 - raised, true));
        unmakeMove(ply + 1, slot(p, cursor), p);
        if (value >= raised) return true;
    }
    return false;
}

// Any move but the first: null window, reduced at first, and the full window if it holds up.
int Search::laterMove(int ply, int newDepth, int reduction, Score alphaOfNode, Score betaOfNode)
{
    int value = child(ply, newDepth - reduction, alphaOfNode, alphaOfNode + 1);
    if (newDepth > 0 && reduction != 0 && value > alphaOfNode)
        value = child(ply, newDepth, alphaOfNode, alphaOfNode + 1);
    if (alphaOfNode < value && value < betaOfNode)
        value = child(ply, newDepth, alphaOfNode, betaOfNode);
    return value;
}

void Search::halveHistories()
{
    for (auto* histories : {&p.historyGood, &p.historyBad})
        for (auto& squares : *histories)
            for (auto& weight : squares) weight >>= 1;
}

// Remembers the move at the cursor, which has reached beta.
Score Search::failHigh(int ply, int depth, int cursor, Score value)
{
    Ply& here = plyAt(p, ply);
    const Move move = slot(p, cursor);
    store(move, value, depth, lowerBound, ply);
    if (ply > 0)
    {
        const std::size_t to = plyAt(p, ply - 1).currentMove.to;
        const Byte piece = p.board[to];
        if (piece >= 2) p.counterMoves.at(piece - 2u).at(to) = move;
    }
    if (here.inCheck != 0) return value;
    if (at(p, move.to) != none) return value;
    if (!sameMove(move, here.hashMove) && !sameMove(move, here.killers[0]))
    {
        here.killers[1] = here.killers[0];
        here.killers[0] = move;
    }
    if (depth < 3) return value;

    const auto weight = static_cast<std::uint32_t>(depth * depth);
    std::uint32_t& good = p.historyGood.at(at(p, move.from) - 2u).at(move.to);
    good += weight;
    if (here.stage == 9)
    {
        for (int s = here.quietsStart; s < cursor; ++s)
        {
            const Move& tried = slot(p, s);
            std::uint32_t& bad = p.historyBad.at(at(p, tried.from) - 2u).at(tried.to);
            bad += weight;
            if (bad >= historyLimit) halveHistories();
        }
    }
    if (good >= historyLimit) halveHistories();
    return value;
}

Score Search::alphaBeta(int ply, int depth, int alphaGiven, int betaGiven, bool nullAllowed)
{
    Score alphaHere = toScore(alphaGiven);
    Score betaHere = toScore(betaGiven);
    ++p.nodes;
    p.selectiveDepth = std::max(p.selectiveDepth, ply);
    if (ply >= plyLimit) return evaluate();

    if (ply > 0)
    {
        // The limits differ by one: the mated score below, one more than the mating one above.
        if (alphaHere < ply - mated) alphaHere = toScore(ply - mated);
        if (betaHere > mated - ply) betaHere = toScore(mated + 1 - ply);
        if (alphaHere >= betaHere) return alphaHere;
        if (repeated()) return 0;
    }
    const Score entryAlpha = alphaHere;
    const bool wide = alphaHere + 1 < betaHere;

    Ply& here = plyAt(p, ply);
    here.hashMove = Move{};
    const Entry entry = lookUp();
    const int entryScore = fromTable(entry.score, ply);
    if (entry.bound != noBound)
    {
        if (ply > 0 && entry.depth >= depth && cutsOff(entry, entryScore, alphaHere, betaHere))
            return toScore(entryScore);
        here.hashMove = entry.move;
    }

    if (here.inCheck == 0)
    {
        int staticEval = entryScore;
        if (entry.bound != exactBound)
        {
            staticEval = evaluate();
            if ((entry.bound == lowerBound && staticEval < entryScore) ||
                (entry.bound == upperBound && staticEval > entryScore))
                staticEval = entryScore;
        }
        const bool farFromMate = std::abs(staticEval) < mateBound;

        if (depth <= 3 && !wide &&
            staticEval + razorMargin[static_cast<std::size_t>(depth)] < alphaHere)
        {
            const Score value = quiescence(ply, 0, alphaHere, betaHere);
            if (value < alphaHere) return value;
        }
        if (depth < 7 && !wide && farFromMate &&
            staticEval >= betaHere + futilityMargin[static_cast<std::size_t>(depth)] &&
            nonPawns() >= 2)
            return toScore(staticEval);
        if (depth >= 3 && nullAllowed && staticEval >= betaHere && nonPawns() >= 2)
        {
            const Score value = nullMove(ply, depth, betaHere);
            if (value >= betaHere) return value <= mateBound ? value : betaHere;
        }
        if (depth >= 4 && isEmpty(here.hashMove) && (wide || staticEval >= betaHere - 100))
        {
            alphaBeta(ply, depth - 3, alphaHere, betaHere, true);
            const Entry found = lookUp();
            if (found.bound != noBound) here.hashMove = found.move;
        }
        Score value = 0;
        if (depth >= 5 && !wide && farFromMate && probCut(ply, depth, betaHere, staticEval, value))
            return value;
    }

    prepareList(ply);
    const int enemyKing = kingSquare(p, p.side ^ 1);
    const int mover = p.side;
    bool skipOrdering = false;
    Score bestScore = -mated;
    int searchedMoves = 0;
    int moveNumber = 0;
    int lateMoveNumber = 0;
    Ply& below = plyAt(p, ply + 1);

    for (int cursor = here.listStart; cursor <= here.listEnd; ++cursor)
    {
        if (!nextMove(ply, cursor, p, skipOrdering)) continue;
        const Move move = slot(p, cursor);
        const bool givesCheck = isAttacked(p, enemyKing, mover);
        below.inCheck = givesCheck;

        if (ply > 0 && !givesCheck &&
            (skipOrdering || (!wide && depth <= 4 && here.inCheck == 0 && here.stage == 9 &&
                              moveNumber >= lateMoveCount[static_cast<std::size_t>(depth)])))
        {
            unmakeMove(ply + 1, move, p);
            skipOrdering = true;
            continue;
        }

        here.currentMove = move;
        int newDepth = depth - 1;
        if (givesCheck && (move.kind == enPassant || move.kind >= castleKingSide ||
                           seeAfter(move, 0, p, below.captured)))
            newDepth = depth;

        if (here.stage != 7) ++moveNumber;
        if (here.stage != 7 && here.stage >= 3) ++lateMoveNumber;

        int value = 0;
        if (searchedMoves == 0)
            value = child(ply, newDepth, alphaHere, betaHere);
        else
        {
            int reduction = 0;
            if (here.stage == 9 && depth >= 3 && here.inCheck == 0)
                reduction = lateMoveReduction(depth, wide ? lateMoveNumber : moveNumber);
            value = laterMove(ply, newDepth, reduction, alphaHere, betaHere);
        }
        unmakeMove(ply + 1, move, p);
        ++searchedMoves;

        if (value <= bestScore) continue;
        if (value <= alphaHere)
        {
            bestScore = toScore(value);
            continue;
        }
        slot(p, cursor).score = at(p, move.from);
        here.bestMove = slot(p, cursor);
        if (ply == 0)
        {
            ++p.rootBestChanges;
            p.rootDepth = depth;
            p.rootDepthComplete = 0;
        }
        if (value >= betaHere) return failHigh(ply, depth, cursor, toScore(value));
        bestScore = toScore(value);
        alphaHere = toScore(value);
    }

    if (searchedMoves == 0) return here.inCheck != 0 ? toScore(ply - mated) : Score{0};
    if (p.halfMoveClock > 99) return 0;
    if (bestScore <= entryAlpha)
        store(here.hashMove, bestScore, depth, upperBound, ply);
    else
        store(here.bestMove, bestScore, depth, exactBound, ply);
    return bestScore;
}

Score Search::quiescence(int ply, int depth, int alphaGiven, int betaGiven)
{
    Score alphaHere = toScore(alphaGiven);
    Score betaHere = toScore(betaGiven);
    ++p.quiescenceNodes;
    if (alphaHere < ply - mated) alphaHere = toScore(ply - mated);
    if (betaHere > mated - ply) betaHere = toScore(mated + 1 - ply);
    if (alphaHere >= betaHere) return alphaHere;
    if (ply >= plyLimit) return evaluate();

    Ply& here = plyAt(p, ply);
    Score bestScore = toScore(ply - mated);
    if (here.inCheck == 0)
    {
        bestScore = evaluate();
        if (bestScore >= betaHere) return bestScore;
        alphaHere = std::max(alphaHere, bestScore);
    }

    const int enemyKing = kingSquare(p, p.side ^ 1);
    const int mover = p.side;
    if (depth >= -4)
        generateQuiescence(ply, here.listStart, p);
    else
    {
        if (depth <= -14) here.inCheck = 0;
        generateRecaptures(ply, here.listStart, p);
    }
    if (here.inCheck != 0)
    {
        if (here.listEnd == here.listStart) return bestScore;
        lowerBadEvasions(ply, here.listStart, p);
    }

    bool first = true;
    for (int cursor = here.listStart; cursor < here.listEnd; ++cursor)
    {
        if (!nextQuiescenceMove(ply, cursor, p, depth)) continue;
        const Move move = slot(p, cursor);
        here.currentMove = move;
        plyAt(p, ply + 1).inCheck = isAttacked(p, enemyKing, mover);
        Score value = 0;
        if (first)
            value = toScore(-quiescence(ply + 1, depth - 1, -betaHere, -alphaHere));
        else
        {
            value = toScore(-quiescence(ply + 1, depth - 1, -alphaHere - 1, -alphaHere));
            if (alphaHere < value && value < betaHere)
                value = toScore(-quiescence(ply + 1, depth - 1, -betaHere, -alphaHere));
        }
        first = false;
        unmakeMove(ply + 1, move, p);
        if (value > bestScore)
        {
            bestScore = value;
            if (value > alphaHere)
            {
                alphaHere = value;
                if (value >= betaHere) return value;
            }
        }
    }
    return bestScore;
}

// The root

// Lays the line of exact entries out in the bestMove fields; a walk that finds no move leaves
// everything as it was.
void Search::lineFromTable(int depth)
{
    int ply = 0;
    while (ply < depth)
    {
        const Entry entry = lookUp();
        if (entry.bound != exactBound || !isLegalMove(ply, entry.move, p)) break;
        plyAt(p, ply).bestMove = entry.move;
        makeMove(ply + 1, entry.move, p, false);
        p.lineLength = ply;
        ++ply;
    }
    for (; ply > 0; --ply) unmakeMove(ply, plyAt(p, ply - 1).bestMove, p);
}

std::string Search::lineText() const
{
    std::string text;
    for (int ply = 0; ply <= p.lineLength; ++ply)
        text += moveText(plyAt(p, ply).bestMove, (p.side + ply) & 1) + " ";
    return text;
}

// One iteration's windows, widened until the score lies inside.
void Search::widenUntilHeld(int depth)
{
    int failLow = 0;
    int failHigh = 0;
    for (;;)
    {
        const Score value = alphaBeta(0, depth, alpha, beta, true);
        if (value <= alpha)
        {
            ++failLow;
            beta = toScore((alpha + beta) / 2);
            alpha = toScore(failLow <= 4 ? value - windowSteps[static_cast<std::size_t>(failLow)]
                                         : -mated);
        }
        else if (value >= beta)
        {
            ++failHigh;
            beta = toScore(failHigh <= 4 ? value + windowSteps[static_cast<std::size_t>(failHigh)]
                                         : mated);
        }
        else
        {
            p.rootScore = value;
            if (depth >= 10) store(plyAt(p, 0).bestMove, value, depth, exactBound, 0);
            p.rootDepthComplete = 1;
            p.rootDepth = depth;
            score = value;
            return;
        }
    }
}

// Writes the iteration's lines. True if a mate within the depth ends the search.
bool Search::reportIteration(int depth)
{
    const std::uint64_t nodes = p.nodes + p.quiescenceNodes;
    if (depth >= 10)
    {
        lineFromTable(depth);
        if (p.lineLength != 0)
        {
            ponderFirst = plyAt(p, 0).bestMove;
            ponderSecond = plyAt(p, 1).bestMove;
        }
        std::cout << "info score cp " << score << " depth " << depth << " seldepth "
                  << p.selectiveDepth << " nodes " << nodes << " time 0 hashfull 0 pv "
                  << lineText() << "\n";
    }
    const int distance = mated - std::abs(score);
    if (std::abs(score) < mateBound || distance > depth) return false;
    const int moves = (distance / 2 + 1) * (score > 0 ? 1 : -1);
    std::cout << "info score mate " << moves << " depth " << depth << " nodes " << nodes
              << " time 0 pv " << lineText() << "\n";
    return true;
}

void Search::iterate(int depthLimit)
{
    plyAt(p, 0).killers = {};
    generateLegal(0, plyAt(p, 0).listStart, p);
    const int legalMoves = plyAt(p, 0).listEnd - plyAt(p, 0).listStart;
    p.rootDepthComplete = 1;
    p.rootScore = -32767;
    p.rootDepth = 0;
    if (plyAt(p, 0).inCheck != 0 && legalMoves == 0)
    {
        std::cout << "info score mate 0\n";
        plyAt(p, 0).bestMove = Move{};
        p.lineLength = 0;
        return;
    }
    if (legalMoves == 1) depthLimit = 3;

    score = -32767;
    alpha = -32767;
    beta = 32767;
    for (int depth = 1; depth <= plyLimit; ++depth)
    {
        if (depth > 5)
        {
            alpha = toScore(score - windowSteps[0]);
            beta = toScore(score + windowSteps[0]);
        }
        p.rootBestChanges = 0;
        widenUntilHeld(depth);
        if (reportIteration(depth)) return;
        if (depthLimit != 0 && depth >= depthLimit) return;
    }
}

void Search::go(const Position& game, int depthLimit)
{
    std::vector<Move> stack = std::move(p.stack);
    p = game;
    p.stack = std::move(stack);
    plyAt(p, 0).listStart = 0;
    ponderFirst = Move{};
    ponderSecond = Move{};
    if (isAttacked(p, kingSquare(p, p.side ^ 1), p.side))
    {
        std::cout << "bestmove a1a1" << std::endl; // a king that can be taken: no chess position
        return;
    }
    iterate(depthLimit);

    const Move best = plyAt(p, 0).bestMove;
    Move ponder = p.lineLength != 0 ? plyAt(p, 1).bestMove : Move{};
    if (isEmpty(ponder) && sameMove(best, ponderFirst)) ponder = ponderSecond;
    std::cout << "bestmove " << moveText(best, p.side);
    if (!isEmpty(ponder)) std::cout << " ponder " << moveText(ponder, p.side ^ 1);
    std::cout << std::endl;
}

} // namespace oracle
