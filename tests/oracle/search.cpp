// SPDX-License-Identifier: MIT
//
// The search. Its steps have the order of the engine's, because scores, node counts and lines are
// compared one by one.
#include "model.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace oracle
{

namespace
{

constexpr int mated = 32000;
constexpr int mateBound = 31872;
constexpr int infinite = 32767;

constexpr int razorMargin[] = {0, 120, 190, 240};
constexpr int futilityMargin[] = {0, 65, 130, 195, 260, 325, 390, 455};
constexpr int lateMoveCount[] = {2, 3, 5, 7, 9};
constexpr int windowSteps[] = {15, 35, 40, 80, 160};
constexpr int historyLimit = 131072;

// Plies by which a late quiet move is reduced. The dip from the fourth to the fifth move at small
// depths is deliberate.
int lateMoveReduction(int depth, int moveNumber)
{
    if (moveNumber <= 2) return 0;
    if (moveNumber <= 4) return 1;
    // NOLINTNEXTLINE(bugprone-integer-division): the quotient is meant to be truncated
    return static_cast<int>(std::sqrt(static_cast<double>(moveNumber * depth / 9)));
}

// A mate score with its distance counted from a node that is so many plies further up.
int shifted(int score, int plies)
{
    if (std::abs(score) < mateBound) return score;
    return score > 0 ? score - plies : score + plies;
}

bool cutsOff(Bound bound, int score, int alpha, int beta)
{
    if (bound == exactBound) return true;
    return bound == upperBound ? score <= alpha : score >= beta;
}

class Search : Position
{
  public:
    Search(const Position& game, Table& entries) : Position(game), table(entries) {}

    void go(int depthLimit)
    {
        here().listStart = 0;
        if (isAttacked(board.kingSquare(side ^ 1), side))
        {
            std::cout << "bestmove a1a1" << std::endl; // a king that can be taken
            return;
        }
        iterate(depthLimit);

        const Move best = here().bestMove;
        Move ponder = lineLength != 0 ? next().bestMove : Move{};
        if (ponder == Move{} && sameMove(best, ponderFirst)) ponder = ponderSecond;
        std::cout << "bestmove " << moveText(best, side);
        if (ponder != Move{}) std::cout << " ponder " << moveText(ponder, side ^ 1);
        std::cout << std::endl;
    }

  private:
    int evaluate() const { return oracle::evaluate(board, side); }

    Entry lookUp() const
    {
        const auto found = table.find(key);
        return found == table.end() ? Entry{} : found->second;
    }

    void store(const Move& move, int value, int depth, Bound bound)
    {
        table[key] = {move, shifted(value, -ply), depth, bound};
    }

    // Whether the side to move has a piece besides king and pawns.
    bool hasPieces() const
    {
        const auto isPiece = [&](int code) { return isOf(code, side) && code >= knight; };
        return std::count_if(board.squares, board.squares + 64, isPiece) >= 2;
    }

    bool repeated() const
    {
        if (halfMoveClock < 4) return false;
        const int oldest = std::max(keyIndex - halfMoveClock - 1, 0);
        for (int i = keyIndex - 5; i >= oldest; i -= 2)
            if (keyHistory[i] == key) return true;
        return false;
    }

    // The score of the position after a move, from the mover's view.
    int child(int depth, int alpha, int beta)
    {
        return depth > 0 ? -alphaBeta(depth, -beta, -alpha, true) : -quiescence(0, -beta, -alpha);
    }

    // Passes the turn. Key history and half-move clock don't change; the whole record of the ply,
    // killers and pins included, is copied to the next.
    int nullMove(int depth, int beta)
    {
        const int reduced = depth - 3 - depth / 6;
        const std::uint64_t oldKey = key;
        next() = here();
        next().enPassantPawn = 0;
        side ^= 1;
        ++ply;
        key = computeKey();
        const int value = reduced > 0 ? -alphaBeta(reduced, -beta, 1 - beta, false)
                                      : -quiescence(0, -beta, 1 - beta);
        key = oldKey;
        --ply;
        side ^= 1;
        return value;
    }

    // Puts a playable hash move in the first slot and sets the picker's first stage.
    void prepareList()
    {
        const bool playable = isLegal(here().hashMove);
        if (playable) stack[here().listStart] = here().hashMove;
        here().listEnd = next().listStart = here().listStart + playable;
        here().stage = playable ? 0 : 1;
    }

    // Whether a capture beats beta by a margin, first in quiescence, then at reduced depth.
    bool probCut(int depth, int beta, int staticEval, int& value)
    {
        prepareList();
        Ply& node = here();
        const int raised = beta + 110;
        const int threshold = static_cast<std::int16_t>(raised - staticEval); // wraps
        for (int cursor = node.listStart; cursor <= node.listEnd; ++cursor)
        {
            if (!playNextInProbCut(cursor, threshold)) continue;
            here().inCheck = isInCheck();
            node.currentMove = stack[cursor];
            value = -quiescence(0, -raised, 1 - raised);
            if (value >= raised) value = -alphaBeta(depth - 3, -raised, 1 - raised, true);
            unmake();
            if (value >= raised) return true;
        }
        return false;
    }

    // Any move but the first: null window, reduced at first, and the full window if it holds up.
    int laterMove(int newDepth, int reduction, int alpha, int beta)
    {
        int value = child(newDepth - reduction, alpha, alpha + 1);
        if (newDepth > 0 && reduction != 0 && value > alpha)
            value = child(newDepth, alpha, alpha + 1);
        return alpha < value && value < beta ? child(newDepth, alpha, beta) : value;
    }

    // Halves all histories when one has reached the limit.
    void limitHistories(int weight)
    {
        if (weight < historyLimit) return;
        for (auto* histories : {&historyGood, &historyBad})
            for (auto& squares : *histories)
                for (int& each : squares) each /= 2;
    }

    // Remembers the move at the cursor, which has reached beta.
    void failHigh(int depth, int cursor, int value)
    {
        Ply& node = here();
        const Move move = stack[cursor];
        store(move, value, depth, lowerBound);
        if (ply > 0)
        {
            const int to = plies[ply - 1].currentMove.to;
            if (board[to] != none) counterMoves[board[to]][to] = move;
        }
        if (node.inCheck || board[move.to] != none) return;
        if (!sameMove(move, node.hashMove) && !sameMove(move, node.killers[0]))
        {
            node.killers[1] = node.killers[0];
            node.killers[0] = move;
        }
        if (depth < 3) return;

        int& good = historyGood[board[move.from]][move.to];
        good += depth * depth;
        for (int i = node.quietsStart; node.stage == quietStage && i < cursor; ++i)
        {
            int& bad = historyBad[board[stack[i].from]][stack[i].to];
            bad += depth * depth;
            limitHistories(bad);
        }
        limitHistories(good);
    }

    int alphaBeta(int depth, int alpha, int beta, bool nullAllowed)
    {
        ++nodes;
        selectiveDepth = std::max(selectiveDepth, ply);
        if (ply >= plyLimit) return evaluate();

        const bool isRoot = ply == 0;
        if (!isRoot)
        {
            narrow(alpha, beta);
            if (alpha >= beta) return alpha;
            if (repeated()) return 0;
        }
        const int entryAlpha = alpha;
        const bool wide = alpha + 1 < beta;

        Ply& node = here();
        node.hashMove = Move{};
        const Entry entry = lookUp();
        const int entryScore = shifted(entry.score, ply);
        if (entry.bound != noBound)
        {
            if (!isRoot && entry.depth >= depth && cutsOff(entry.bound, entryScore, alpha, beta))
                return entryScore;
            node.hashMove = entry.move;
        }

        if (!node.inCheck)
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

            if (depth <= 3 && !wide && staticEval + razorMargin[depth] < alpha)
            {
                const int value = quiescence(0, alpha, beta);
                if (value < alpha) return value;
            }
            if (depth < 7 && !wide && farFromMate && staticEval >= beta + futilityMargin[depth] &&
                hasPieces())
                return staticEval;
            if (depth >= 3 && nullAllowed && staticEval >= beta && hasPieces())
            {
                const int value = nullMove(depth, beta);
                if (value >= beta) return value <= mateBound ? value : beta;
            }
            if (depth >= 4 && node.hashMove == Move{} && (wide || staticEval >= beta - 100))
            {
                alphaBeta(depth - 3, alpha, beta, true);
                if (const Entry found = lookUp(); found.bound != noBound)
                    node.hashMove = found.move;
            }
            int value = 0;
            if (depth >= 5 && !wide && farFromMate && probCut(depth, beta, staticEval, value))
                return value;
        }

        prepareList();
        bool skipOrdering = false;
        int bestScore = -mated;
        int searchedMoves = 0;
        int moveNumber = 0;
        int lateMoveNumber = 0;

        for (int cursor = node.listStart; cursor <= node.listEnd; ++cursor)
        {
            if (!playNext(cursor, skipOrdering)) continue;
            const Move move = stack[cursor];
            const bool givesCheck = here().inCheck = isInCheck();
            const bool isQuiet = node.stage == quietStage && !node.inCheck;

            if (!isRoot && !givesCheck &&
                (skipOrdering ||
                 (!wide && depth <= 4 && isQuiet && moveNumber >= lateMoveCount[depth])))
            {
                unmake();
                skipOrdering = true;
                continue;
            }

            node.currentMove = move;
            const bool extends = givesCheck && (move.kind == enPassant ||
                                                move.kind >= castleKingSide || seeAfter(move, 0));
            const int newDepth = extends ? depth : depth - 1;
            if (node.stage != badCaptureStage)
            {
                ++moveNumber;
                if (node.stage > 2) ++lateMoveNumber;
            }

            int value = 0;
            if (searchedMoves == 0)
                value = child(newDepth, alpha, beta);
            else
            {
                const int number = wide ? lateMoveNumber : moveNumber;
                const int reduction = isQuiet && depth >= 3 ? lateMoveReduction(depth, number) : 0;
                value = laterMove(newDepth, reduction, alpha, beta);
            }
            unmake();
            ++searchedMoves;

            if (value <= bestScore) continue;
            bestScore = value;
            if (value <= alpha) continue;
            stack[cursor].score = board[move.from];
            node.bestMove = stack[cursor];
            if (value >= beta)
            {
                failHigh(depth, cursor, value);
                return value;
            }
            alpha = value;
        }

        if (searchedMoves == 0) return node.inCheck ? ply - mated : 0;
        if (halfMoveClock > 99) return 0;
        const bool failedLow = bestScore <= entryAlpha;
        store(failedLow ? node.hashMove : node.bestMove, bestScore, depth,
              failedLow ? upperBound : exactBound);
        return bestScore;
    }

    // Narrows the window to the scores that a mate can have from this ply on. The two limits differ
    // by one on purpose.
    void narrow(int& alpha, int& beta) const
    {
        alpha = std::max(alpha, ply - mated);
        if (beta > mated - ply) beta = mated + 1 - ply;
    }

    int quiescence(int depth, int alpha, int beta)
    {
        ++nodes;
        narrow(alpha, beta);
        if (alpha >= beta) return alpha;
        if (ply >= plyLimit) return evaluate();

        Ply& node = here();
        int bestScore = ply - mated;
        if (!node.inCheck)
        {
            bestScore = evaluate();
            if (bestScore >= beta) return bestScore;
            alpha = std::max(alpha, bestScore);
        }

        if (depth <= -14) node.inCheck = false;
        if (depth >= -4)
            generateQuiescence(node.listStart);
        else
            generateRecaptures(node.listStart);
        if (node.inCheck) lowerBadEvasions(node.listStart);

        bool first = true;
        for (int cursor = node.listStart; cursor < node.listEnd; ++cursor)
        {
            if (!playNextInQuiescence(cursor, depth)) continue;
            node.currentMove = stack[cursor];
            here().inCheck = isInCheck();
            int value = first ? 0 : -quiescence(depth - 1, -alpha - 1, -alpha);
            if (first || (alpha < value && value < beta))
                value = -quiescence(depth - 1, -beta, -alpha);
            first = false;
            unmake();
            bestScore = std::max(bestScore, value);
            alpha = std::max(alpha, value);
            if (value >= beta) return value;
        }
        return bestScore;
    }

    // Writes the moves of the exact entries that follow the root to the bestMove fields. If the
    // root has no exact entry, nothing changes.
    void lineFromTable(int depth)
    {
        while (ply < depth)
        {
            const Entry entry = lookUp();
            if (entry.bound != exactBound || !isLegal(entry.move)) break;
            here().bestMove = entry.move;
            lineLength = ply;
            make(entry.move, false);
        }
        while (ply > 0) unmake();
    }

    std::string lineText() const
    {
        std::string text;
        for (int i = 0; i <= lineLength; ++i)
            text += moveText(plies[i].bestMove, (side + i) & 1) + " ";
        return text;
    }

    // Searches one iteration in windows that are widened until the score lies inside.
    void widenUntilHeld(int depth, int alpha, int beta)
    {
        int failsLow = 0;
        int failsHigh = 0;
        for (;;)
        {
            score = alphaBeta(depth, alpha, beta, true);
            if (score <= alpha)
            {
                beta = (alpha + beta) / 2;
                alpha = ++failsLow <= 4 ? score - windowSteps[failsLow] : -mated;
            }
            else if (score >= beta)
                beta = ++failsHigh <= 4 ? score + windowSteps[failsHigh] : mated;
            else
                break;
        }
        if (depth >= 10) store(here().bestMove, score, depth, exactBound);
    }

    // Writes the iteration's lines. Returns whether a mate within the depth ends the search.
    bool reportIteration(int depth)
    {
        if (depth >= 10)
        {
            lineFromTable(depth);
            if (lineLength != 0)
            {
                ponderFirst = here().bestMove;
                ponderSecond = next().bestMove;
            }
            std::cout << "info score cp " << score << " depth " << depth << " seldepth "
                      << selectiveDepth << " nodes " << nodes << " time 0 hashfull 0 pv "
                      << lineText() << "\n";
        }
        const int distance = mated - std::abs(score);
        if (std::abs(score) < mateBound || distance > depth) return false;
        const int moves = (distance / 2 + 1) * (score > 0 ? 1 : -1);
        std::cout << "info score mate " << moves << " depth " << depth << " nodes " << nodes
                  << " time 0 pv " << lineText() << "\n";
        return true;
    }

    void iterate(int depthLimit)
    {
        generateLegal(here().listStart);
        const int legalMoves = here().listEnd - here().listStart;
        if (here().inCheck && legalMoves == 0)
        {
            std::cout << "info score mate 0\n";
            here().bestMove = Move{};
            return;
        }
        if (legalMoves == 1) depthLimit = 3;
        for (int depth = 1; depth <= plyLimit; ++depth)
        {
            if (depth > 5)
                widenUntilHeld(depth, score - windowSteps[0], score + windowSteps[0]);
            else
                widenUntilHeld(depth, -infinite, infinite);
            if (reportIteration(depth) || depth == depthLimit) return;
        }
    }

    Table& table;
    std::uint64_t nodes = 0;
    int selectiveDepth = 0;
    int score = 0;
    int lineLength = 0; // index of the last move of the line that is laid out in bestMove
    Move ponderFirst;
    Move ponderSecond;
};

} // namespace

std::string moveText(const Move& move, int side)
{
    const auto square = [](int s) {
        return std::string{static_cast<char>('a' + fileOf(s)), static_cast<char>('1' + rankOf(s))};
    };
    if (move.kind == enPassant) return square(move.from) + square(move.to + forward(side));
    std::string text = square(move.from) + square(move.to);
    if (move.kind > plain && move.kind < enPassant) text += " pnbrq"[move.kind / 2];
    return text;
}

void search(const Position& game, int depthLimit, Table& table)
{
    std::make_unique<Search>(game, table)->go(depthLimit);
}

} // namespace oracle
