// SPDX-License-Identifier: MIT
//
// The pickers. The list of a node of the main search lies in the stack as: hash move, captures,
// three reserved slots for killers and counter move, bad captures, quiet moves. listStart of the
// next ply is also where the next bad capture is put aside.
#include "model.h"

#include <utility>

namespace oracle
{

namespace
{

// Swaps the entry of the highest value to the cursor, the first one of equal values.
template <typename Value> void select(Position& p, int cursor, Value value)
{
    int best = cursor;
    for (int i = cursor + 1; i < p.here().listEnd; ++i)
        if (value(p.stack[i]) > value(p.stack[best])) best = i;
    std::swap(p.stack[best], p.stack[cursor]);
}

void selectByScore(Position& p, int cursor)
{
    select(p, cursor, [](const Move& move) { return move.score; });
}

// By the share of cut-offs among the successes and failures of a quiet move, 0 to 128.
void selectByHistory(Position& p, int cursor)
{
    select(p, cursor,
           [&](const Move& move)
           {
               const int piece = p.board[move.from];
               const int good = p.historyGood[piece][move.to];
               const int bad = p.historyBad[piece][move.to];
               return good + bad == 0 ? 64 : good * 128 / (good + bad);
           });
}

// Opens one reserved slot and plays a remembered move there if it fits the position.
bool playRemembered(Position& p, int cursor, const Move& move)
{
    ++p.here().listEnd;
    if (move == Move{} || sameMove(move, p.here().hashMove) || !p.isPseudoLegal(move)) return false;
    p.stack[cursor] = move;
    return p.make(move, true);
}

Move counterMove(const Position& p)
{
    if (p.ply == 0) return {};
    const int to = p.plies[p.ply - 1].currentMove.to;
    const Move& move = p.counterMoves[p.board[to]][to];
    const auto& killers = p.here().killers;
    return sameMove(move, killers[0]) || sameMove(move, killers[1]) ? Move{} : move;
}

bool playByScore(Position& p, int cursor, bool testLegal)
{
    if (cursor == p.here().listEnd) return false;
    selectByScore(p, cursor);
    return !sameMove(p.stack[cursor], p.here().hashMove) && p.make(p.stack[cursor], testLegal);
}

bool playNodeCapture(Position& p, int cursor)
{
    selectByScore(p, cursor);
    const Move move = p.stack[cursor];
    if (sameMove(move, p.here().hashMove)) return false;
    if (p.see(move, 0)) return p.make(move, true);
    p.stack[p.next().listStart++] = move;
    return false;
}

} // namespace

bool Position::playNext(int cursor, bool skipOrdering)
{
    int& stage = here().stage;
    switch (stage)
    {
    case 0: // hash move
        stage = 1;
        return make(stack[cursor], false);
    case 1: // captures, or evasions in check
        generateCaptures(cursor);
        if (here().inCheck)
        {
            stage = evasionStage;
            lowerBadEvasions(cursor);
            return playByScore(*this, cursor, false);
        }
        stage = 2;
        next().listStart += 3;
        [[fallthrough]];
    case 2: // good captures
        if (cursor != here().listEnd) return playNodeCapture(*this, cursor);
        stage = 3;
        [[fallthrough]];
    case 3:
    case 4: // killers
        ++stage;
        return playRemembered(*this, cursor, here().killers[stage - 4]);
    case 5: ++stage; return playRemembered(*this, cursor, counterMove(*this));
    case 6:
        here().listEnd = next().listStart;
        stage = badCaptureStage;
        [[fallthrough]];
    case badCaptureStage:
        if (cursor != here().listEnd) return make(stack[cursor], true);
        generateQuiets(cursor);
        here().quietsStart = cursor;
        stage = quietStage;
        [[fallthrough]];
    case quietStage:
        if (cursor == here().listEnd) return false;
        if (!skipOrdering) selectByHistory(*this, cursor);
        return make(stack[cursor], true);
    default: return playByScore(*this, cursor, false); // evasions
    }
}

// Near the root of quiescence, and not in check, a bad capture stays in the list and may be tested
// again, until the cursor reaches it.
bool Position::playNextInQuiescence(int cursor, int depth)
{
    const bool filters = !here().inCheck && depth >= -4;
    if (!filters)
        selectByScore(*this, cursor);
    else
    {
        int best = cursor;
        for (int i = cursor + 1; i < here().listEnd; ++i)
            if (stack[i].score > stack[best].score && see(stack[i], 0)) best = i;
        if (best == cursor && !see(stack[cursor], 0)) return false;
        std::swap(stack[best], stack[cursor]);
    }
    return make(stack[cursor], !here().inCheck);
}

bool Position::playNextInProbCut(int cursor, int threshold)
{
    const Move& move = stack[cursor];
    if (here().stage == 0) // hash move
    {
        here().stage = 1;
        const bool isCapture =
            board[move.to] != none || (move.kind > plain && move.kind < enPassant);
        return isCapture && see(move, threshold) && make(move, false);
    }
    if (here().stage == 1)
    {
        generateCaptures(cursor);
        here().stage = here().inCheck ? evasionStage + 1 : 2;
    }
    if (here().stage != 2 || cursor == here().listEnd) return false;
    selectByScore(*this, cursor);
    return !sameMove(move, here().hashMove) && see(move, threshold) && make(move, true);
}

} // namespace oracle
