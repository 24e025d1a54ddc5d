// SPDX-License-Identifier: MIT
//
// Prints what a position is worth, term by term, computed by the engine's own code.
//
// Usage: quillon_explain FEN...      one table for each FEN (quote it)
//        quillon_explain             reads one FEN a line from standard input
// With --raw as the first argument each FEN gives "score S" and a line per term that is not zero:
// name, colour 0 or 1, mid-game half, end-game half; then an empty line.

#include <cstdio>
#include <iostream>
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
    std::printf("phase %d (497 end-game to 6183 mid-game)%s\nscore %d for the side to move\n\n",
                trace.phase, trace.isDraw ? ", a pawnless draw" : "", trace.score);
}

/// Evaluates one FEN and prints it; false when it can't be played on.
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
    engine.hashSizeMB = 1;
    initBitboardConstants();
    initHashCodeTables();

    std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool raw = !arguments.empty() && arguments[0] == "--raw";
    if (raw) arguments.erase(arguments.begin());

    bool ok = true;
    for (const std::string& fen : arguments) ok = explain(fen, raw) && ok;
    if (arguments.empty())
        for (std::string line; std::getline(std::cin, line);)
            if (!line.empty()) ok = explain(line, raw) && ok;
    destroyHashTable();
    return ok ? 0 : 1;
}
