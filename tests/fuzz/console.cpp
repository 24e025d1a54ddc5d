// SPDX-License-Identifier: MIT
//
// A whole session: each line goes through the program's own command table at once, even while a
// search runs. Only what would make a run long is changed: depths, sizes and numbers of threads are
// lowered, and a search that the next line would wait for is stopped after a moment.

// The table of commands is in the program's own source file.
#define main quillonMain
#include "../../src/quillon.cpp" // NOLINT(bugprone-suspicious-include)
#undef main

#include <algorithm>
#include <cstdlib>

#include "targets.h"

namespace
{

// One session holds no more than this, so that an input takes milliseconds.
constexpr int mostLines = 40;
constexpr int mostPerfts = 2;
constexpr int mostTunings = 1;

/// Maps any number to one from 1 to `most`; numbers in this range stay.
long limited(long value, long most)
{
    return value >= 1 && value <= most ? value : 1 + static_cast<long>(u64(value) % u64(most));
}

/// `go` with a small depth in front, in place of all depths of the line.
std::string limitGo(std::istream& words)
{
    long depth = 3;
    std::string rest;
    for (std::string word; words >> word;)
    {
        if (word != "depth")
            rest += ' ' + word;
        else if (std::string number; words >> number)
            depth = limited(std::strtol(number.c_str(), nullptr, 10), 4);
    }
    return "go depth " + std::to_string(depth) + rest;
}

/// `setoption` with a small number of megabytes or threads; one that is not a number stays.
std::string limitOption(const std::string& line, std::istream& words)
{
    std::string word;
    std::string name;
    words >> word;
    while (words >> word && word != "value") name += (name.empty() ? "" : " ") + word;
    if ((name != "Hash" && name != "Threads") || !(words >> word)) return line;
    char* end = nullptr;
    const long value = std::strtol(word.c_str(), &end, 10);
    const long most = name == "Hash" ? 8 : 4;
    if (end == word.c_str() || value <= most || value > 0x7fffffff) return line;
    return "setoption name " + name + " value " + std::to_string(limited(value, most));
}

/// `perft` with a depth that is small enough for the position; `depth` is that of the last one.
std::string limitPerft(std::istream& words, i32 depth)
{
    words >> depth;
    const int pieces = popcount(GPS->pieceBB[WHITE] | GPS->pieceBB[BLACK]);
    const i32 most = GPS->gamePhase > 40 || pieces > 32 ? 2 : 3;
    return "perft " + std::to_string(std::min(depth, most));
}

} // namespace

void fuzzConsole(const std::string& input)
{
    console state;
    std::istringstream lines(input);
    std::string line;
    std::string token;
    int perfts = 0;
    int tunings = 0;
    for (int n = 0; n < mostLines && token != "quit" && std::getline(lines, line); ++n)
    {
        std::istringstream words(line);
        token.clear();
        words >> token;
        if (token == "perft" && ++perfts > mostPerfts) continue;
        if (token == "texel" && ++tunings > mostTunings) continue;
        if (token == "go" || token == "setoption") finishSearch();
        if (token == "go") line = limitGo(words);
        if (token == "setoption") line = limitOption(line, words);
        if (token == "perft") line = limitPerft(words, state.perftDepth);

        token = execute(line, state);
        require(GPS->keyIndex >= 0 && GPS->keyIndex < KEYHISTORYSIZE, "the next key has a slot");
        require(GPS->hashKey == calcHashKey(0, GPS), "the key is that of the position");
        // A count leaves a large table, which is slow to clear.
        if (token == "perft") createHashTable(1);
    }
    finishSearch();
}
