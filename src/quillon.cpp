// SPDX-License-Identifier: MIT
//
// The life of the process: banner, tables, start position, threads, and the loop that turns lines
// into calls. It holds no chess. One thread reads; searches run on others, so that `stop` and
// `ponderhit` arrive while one is running.

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <tuple>

#include "general.h"
#include "hash.h"
#include "moveTable.h"
#include "perft.h"
#include "search.h"
#include "texel.h"
#include "uci.h"

namespace
{

/// What the commands hand on from line to line.
struct console
{
    i32 perftDepth = 6;
};

/// A row of the command table.
struct commandRow
{
    std::string_view token;
    void (*run)(std::istream& words, console& state);
};

// These commands use the table, or keep the main thread busy, so they end a running search first.

void runPerft(std::istream& words, console& state)
{
    theWorkForce.endSearch();
    words >> state.perftDepth;
    testFenPosition(state.perftDepth, "current", 256, 4);
    warmHashTable();
}

void runRtest(std::istream&, console&)
{
    theWorkForce.endSearch();
    checkMoveGenWithPerft(1);
    warmHashTable();
}

#ifdef QUILLON_TUNE
/// Words behind `texel` are the names of the tables to tune, none means all.
void runTexel(std::istream& words, console&)
{
    texelSelection.clear();
    for (std::string name; words >> name;) texelSelection.push_back(name);
    doTheTexel();
}

/// Sets the tables that are named to zeros.
void zeroTables(std::istream& words, console&)
{
    theWorkForce.endSearch();
    for (std::string name; words >> name;)
        if (!zeroTexelTable(name)) writeLine("No table is named " + name);
}
#else
void runTexel(std::istream&, console&)
{
    doTheTexel();
}
#endif

void showHelp(std::istream&, console&)
{
    writeLine("supported UCI commands 'uci' 'ucinewgame' 'position' 'go' 'ponderhit' 'stop 'quit' "
              "'setoption' 'isready'");
    writeLine("other commands 'perft depth', default depth=6, change board with 'position'; "
              "'showboard' shows the current board");
}

// clang-format off
constexpr commandRow commands[] = {
    {"quit",       [](std::istream&, console&)       { UCIquit(); }},
    {"stop",       [](std::istream&, console&)       { UCIstop(); }},
    {"position",   [](std::istream& words, console&) { UCIposition(words); }},
    {"go",         [](std::istream& words, console&) { UCIgo(words); }},
    {"ponderhit",  [](std::istream&, console&)       { UCIponderhit(); }},
    {"ucinewgame", [](std::istream&, console&)       { UCInewgame(); }},
    {"uci",        [](std::istream&, console&)       { UCIuci(); }},
    {"setoption",  [](std::istream& words, console&) { UCIsetoption(words); }},
    {"isready",    [](std::istream&, console&)       { UCIisready(); }},
    {"rtest",      runRtest},
    {"perft",      runPerft},
    {"texel",      runTexel},
    {"showboard",  [](std::istream&, console&)       { writeText(boardToString(GPS)); }},
    {"help",       showHelp},
#ifdef QUILLON_TUNE
    {"zero",       zeroTables},
    {"fitk",       [](std::istream&, console&)       { fitTexelK(); }},
#endif
};
// clang-format on

/// Executes one line and returns its first word.
std::string execute(const std::string& command, console& state)
{
    std::istringstream words(command);
    std::string token;
    words >> token;
    for (const commandRow& row : commands)
        if (row.token == token)
        {
            row.run(words, state);
            return token;
        }
    writeText("Unknown command\n");
    return token;
}

} // namespace

int main(int argc, char** argv)
{
    writeLine("Quillon Version 2.0");
    writeLine("by Velmar Dask");
    writeLine("");
    writeLine("enter 'help' to see the commands");

    initHashCodeTables();
    initBitboardConstants();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(engine.nofThreads);
    if (argc == 1) warmHashTable();
    // Without a buffer of lines the output is slower, not wrong.
    std::ignore = std::setvbuf(stdout, nullptr, _IOLBF, 4096);

    // Arguments are one command, after which the process exits.
    console state;
    std::string command;
    for (int i = 1; i < argc; ++i) command += std::string(argv[i]) + ' ';
    std::string token;
    do {
        if (argc == 1 && !std::getline(std::cin, command)) command = "quit";
        token = execute(command, state);
    } while (argc == 1 && token != "quit");

    // A search that still runs ends without output before the table goes.
    theWorkForce.abandon();
    theWorkForce.endSearch();
    destroyHashTable();
    return 0;
}
