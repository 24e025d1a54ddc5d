// SPDX-License-Identifier: MIT
//
// Prints the evaluation of a position term by term, computed by the engine's own code.
//
// Usage: quillon_explain FEN...      one table for each FEN (quote it)
//        quillon_explain             reads FENs from standard input, one to a line
//        quillon_explain --terms     the name of each term and a sentence on what it measures
//        quillon_explain --tables    the name and the entries of each table, pairs as mg/eg
// With --raw as the first argument, the output for each FEN is "score S", a line for each term that
// is not zero (name, colour 0 or 1, mid-game half, end-game half) and an empty line.

#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "eval.h"
#include "hash.h"
#include "moveTable.h"
#include "search.h"

namespace
{

struct halves
{
    int mg;
    int eg;
};

halves split(combEval score)
{
    return {mgHalf(score), egHalf(score)};
}

void printRaw(const evalTrace& trace)
{
    std::printf("score %d\n", trace.score);
    for (int term = 0; term < NOFEVALTERMS; ++term)
        for (const int colour : {WHITE, BLACK})
        {
            const halves value = split(trace.terms[term][colour]);
            if (value.mg || value.eg)
                std::printf("%s %d %d %d\n", evalTermName(term), colour, value.mg, value.eg);
        }
    std::printf("\n");
}

void printTable(const std::string& fen, const evalTrace& trace)
{
    const char* rule = "------------------------------+---------------+---------------+"
                       "---------------\n";
    std::printf("%s\n\n%-30s|  white mg   eg |  black mg   eg |  total mg   eg\n%s", fen.c_str(),
                "term", rule);
    for (int term = 0; term < NOFEVALTERMS; ++term)
    {
        const combEval* both = trace.terms[term];
        const halves white = split(both[WHITE]);
        const halves black = split(both[BLACK]);
        const halves total = split(both[WHITE] - both[BLACK]);
        if (white.mg || white.eg || black.mg || black.eg)
            std::printf("%-30s|  %8d %4d |  %8d %4d |  %8d %4d\n", evalTermName(term), white.mg,
                        white.eg, black.mg, black.eg, total.mg, total.eg);
    }
    const halves total = split(trace.total);
    std::printf("%s%-30s|%15s|%15s|  %8d %4d\n", rule, "total, white minus black", "", "", total.mg,
                total.eg);
    std::printf("phase %d (%d end-game to %d mid-game)%s\nscore %d for the side to move\n\n",
                trace.phase, GAMEPHASEMINEG, GAMEPHASEMAXMG,
                trace.isDraw ? ", a pawnless draw" : "", trace.score);
}

/// Prints a table of plain numbers or pairs, eight entries to a line.
void printEntries(const char* name, const combEval* entries, u32 size, bool hasPairs)
{
    std::printf("%s\n", name);
    for (u32 i = 0; i < size; ++i)
    {
        const halves value = split(entries[i]);
        const char* end = i + 1 == size || i % 8 == 7 ? "\n" : "";
        if (hasPairs)
            std::printf(" %d/%d%s", value.mg, value.eg, end);
        else
            std::printf(" %d%s", plain(entries[i]), end);
    }
    std::printf("\n");
}

void printTables()
{
    for (const evalTable& table : evalTables)
        printEntries(table.name, table.start, table.size, table.hasPairs());
    const std::vector<combEval> weights(std::begin(pieceValuePhase), std::end(pieceValuePhase));
    const combEval bounds[] = {GAMEPHASEMAXMG, GAMEPHASEMINEG};
    printEntries("pieceValuePhase[6]", weights.data(), 6, false);
    printEntries("GAMEPHASEMAXMG", &bounds[0], 1, false);
    printEntries("GAMEPHASEMINEG", &bounds[1], 1, false);
}

/// Evaluates a FEN and prints the result. Returns false if the position can't be played from.
bool explain(const std::string& fen, bool raw)
{
    static const auto pawns = std::make_unique<pawnHashTableStruct>();
    static const auto evaluations = std::make_unique<evalHashTableStruct>();
    const auto position = std::make_unique<positionStruct>();
    position->pawnHashTable = pawns.get();
    position->evalHashTable = evaluations.get();
    setPosition(fen, position.get());
    if (!makePlayable(position.get()))
    {
        std::fprintf(stderr, "quillon_explain: can't be played on: %s\n", fen.c_str());
        return false;
    }
    const evalTrace trace = evaluateTraced(position.get());
    if (raw)
        printRaw(trace);
    else
        printTable(fen, trace);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string first = arguments.empty() ? "" : arguments[0];
    if (first == "--terms")
    {
        for (int term = 0; term < NOFEVALTERMS; ++term)
            std::printf("%s\t%s\n", evalTermName(term), evalTermMeaning(term));
        return 0;
    }
    if (first == "--tables")
    {
        printTables();
        return 0;
    }
    const bool raw = first == "--raw";
    if (raw) arguments.erase(arguments.begin());

    engine.hashSizeMB = 1;
    initBitboardConstants();
    initHashCodeTables();
    bool ok = true;
    for (const std::string& fen : arguments) ok = explain(fen, raw) && ok;
    if (arguments.empty())
        for (std::string line; std::getline(std::cin, line);)
            if (!line.empty()) ok = explain(line, raw) && ok;
    destroyHashTable();
    return ok ? 0 : 1;
}
