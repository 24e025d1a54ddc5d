// SPDX-License-Identifier: MIT
//
// The pickers. A node's list lies in the stack as: hash move, captures, three reserved slots for
// killers and counter move, bad captures, quiet moves. listStart of the next ply is at the
// same time the place where the next bad capture is put aside.
#include "pickers.h"

#include "exchange.h"
#include "generators.h"

#include <utility>

namespace oracle
{

namespace
{

// Swaps the entry with the highest score to the cursor; the first one if several have it.
void selectByScore(Position& p, int cursor, int end)
{
    int best = cursor;
    for (int s = cursor + 1; s < end; ++s)
        if (slot(p, s).score > slot(p, best).score) best = s;
    if (best != cursor) std::swap(slot(p, best), slot(p, cursor));
}

// Share of cut-offs among the successes and failures of a quiet move, 0 to 128.
std::uint32_t historyRatio(const Position& p, const Move& move)
{
    const auto piece = static_cast<std::size_t>(at(p, move.from) - 2);
    const std::uint32_t good = p.historyGood.at(piece).at(move.to);
    const std::uint32_t bad = p.historyBad.at(piece).at(move.to);
    return good + bad == 0 ? 64 : good * 128 / (good + bad);
}

void selectByHistory(Position& p, int cursor, int end)
{
    int best = cursor;
    std::uint32_t bestRatio = historyRatio(p, slot(p, cursor));
    for (int s = cursor + 1; s < end; ++s)
    {
        const std::uint32_t ratio = historyRatio(p, slot(p, s));
        if (ratio > bestRatio)
        {
            best = s;
            bestRatio = ratio;
        }
    }
    if (best != cursor) std::swap(slot(p, best), slot(p, cursor));
}

bool playAt(int ply, int cursor, Position& p, bool testLegal)
{
    return makeMove(ply + 1, slot(p, cursor), p, testLegal);
}

// Opens one reserved slot, which keeps the caller's loop running.
void openSlot(Ply& here, Byte nextStage)
{
    ++here.listEnd;
    here.stage = nextStage;
}

// Plays a remembered move in a reserved slot if it fits the position.
bool playRemembered(int ply, int cursor, Position& p, const Move& move)
{
    if (isEmpty(move) || sameMove(move, plyAt(p, ply).hashMove)) return false;
    if (!isPseudoLegal(ply, move, p)) return false;
    slot(p, cursor) = move;
    return playAt(ply, cursor, p, true);
}

bool playCounterMove(int ply, int cursor, Position& p)
{
    if (ply == 0) return false;
    const Ply& here = plyAt(p, ply);
    const int to = plyAt(p, ply - 1).currentMove.to;
    const Byte piece = at(p, to);
    if (piece < 2) return false;
    const Move move =
        p.counterMoves.at(static_cast<std::size_t>(piece - 2)).at(static_cast<std::size_t>(to));
    if (isEmpty(move) || sameMove(move, here.killers[0]) || sameMove(move, here.killers[1]))
        return false;
    return playRemembered(ply, cursor, p, move);
}

bool playEvasion(int ply, int cursor, Position& p)
{
    const Ply& here = plyAt(p, ply);
    if (cursor == here.listEnd) return false;
    selectByScore(p, cursor, here.listEnd);
    if (sameMove(slot(p, cursor), here.hashMove)) return false;
    return playAt(ply, cursor, p, false);
}

bool playNodeCapture(int ply, int cursor, Position& p)
{
    const Ply& here = plyAt(p, ply);
    selectByScore(p, cursor, here.listEnd);
    const Move move = slot(p, cursor);
    if (sameMove(move, here.hashMove)) return false;
    if (!see(move, 0, p))
    {
        slot(p, plyAt(p, ply + 1).listStart++) = move;
        return false;
    }
    return playAt(ply, cursor, p, true);
}

} // namespace

bool nextMove(int ply, int cursor, Position& p, bool skipOrdering)
{
    Ply& here = plyAt(p, ply);
    switch (here.stage)
    {
    case 0: here.stage = 1; return playAt(ply, cursor, p, false);
    case 1:
        generateCaptures(ply, cursor, p);
        if (here.stage == evasionStage)
        {
            lowerBadEvasions(ply, cursor, p);
            return playEvasion(ply, cursor, p);
        }
        here.stage = 2;
        plyAt(p, ply + 1).listStart += 3;
        [[fallthrough]];
    case 2:
        if (cursor != here.listEnd) return playNodeCapture(ply, cursor, p);
        here.stage = 3;
        [[fallthrough]];
    case 3: openSlot(here, 4); return playRemembered(ply, cursor, p, here.killers[0]);
    case 4: openSlot(here, 5); return playRemembered(ply, cursor, p, here.killers[1]);
    case 5: openSlot(here, 6); return playCounterMove(ply, cursor, p);
    case 6:
        here.listEnd = plyAt(p, ply + 1).listStart;
        here.stage = 7;
        [[fallthrough]];
    case 7:
        if (cursor != here.listEnd) return playAt(ply, cursor, p, true);
        here.stage = 8;
        [[fallthrough]];
    case 8:
        generateQuiets(ply, cursor, p);
        here.quietsStart = cursor;
        here.stage = 9;
        [[fallthrough]];
    case 9:
        if (cursor == here.listEnd) return false;
        if (!skipOrdering) selectByHistory(p, cursor, here.listEnd);
        return playAt(ply, cursor, p, true);
    case evasionStage: return playEvasion(ply, cursor, p);
    default: return false;
    }
}

namespace
{

// Picks among captures by score and exchange. A bad capture stays in the list and may be
// tested again, until the cursor reaches it.
bool playGoodCapture(int ply, int cursor, Position& p)
{
    const int end = plyAt(p, ply).listEnd;
    int best = cursor;
    for (int s = cursor + 1; s < end; ++s)
        if (slot(p, s).score > slot(p, best).score && see(slot(p, s), 0, p)) best = s;
    if (best != cursor)
        std::swap(slot(p, best), slot(p, cursor));
    else if (!see(slot(p, cursor), 0, p))
        return false;
    return playAt(ply, cursor, p, true);
}

} // namespace

bool nextQuiescenceMove(int ply, int cursor, Position& p, int depth)
{
    const Ply& here = plyAt(p, ply);
    const bool inCheck = here.inCheck != 0;
    if (!inCheck && depth >= -4 && depth <= 0) return playGoodCapture(ply, cursor, p);
    selectByScore(p, cursor, here.listEnd);
    return playAt(ply, cursor, p, !inCheck);
}

bool nextProbCutMove(int ply, int cursor, Position& p, Score threshold)
{
    Ply& here = plyAt(p, ply);
    switch (here.stage)
    {
    case 0:
    {
        here.stage = 1;
        const Move& move = slot(p, cursor);
        if (at(p, move.to) == none && (move.kind == plain || move.kind >= enPassant)) return false;
        return see(move, threshold, p) && playAt(ply, cursor, p, false);
    }
    case 1:
        generateCaptures(ply, cursor, p);
        ++here.stage;
        [[fallthrough]];
    case 2:
        if (cursor == here.listEnd) return false;
        selectByScore(p, cursor, here.listEnd);
        if (sameMove(slot(p, cursor), here.hashMove)) return false;
        return see(slot(p, cursor), threshold, p) && playAt(ply, cursor, p, true);
    default: return false;
    }
}

} // namespace oracle
