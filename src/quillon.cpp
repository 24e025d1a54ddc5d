// SPDX-License-Identifier: MIT
//
// The program: start-up (banner, tables, start position, threads), the loop that turns lines into
// calls, and the end. There is no chess in this file. The main thread reads and answers; searches
// run on other threads, so that `stop` and `ponderhit` are read while one is running.

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

/// What a command leaves for later lines: `perft` without a number takes the last one's depth.
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
    testFenPosition(state.perftDepth, "current", HASHOPTION.standard, 4);
    warmHashTable();
}

void runRtest(std::istream&, console&)
{
    theWorkForce.endSearch();
    checkMoveGenWithPerft(1);
    warmHashTable();
}

#ifdef QUILLON_TUNE
void runTexel(std::istream& words, console&)
{
    tuneTexel(words, 24);
}

/// Sets the tables that the words name to zero.
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

// The table decides what is a command. The handlers of uci.h read the words that they need.
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
    if constexpr (TESTER)
        if (token == "bench")
        {
            UCIbench(words);
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

    // The tables come first: a position gets its keys and its check flag from them.
    initHashCodeTables();
    initBitboardConstants();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(engine.nofThreads);
    if (argc == 1) warmHashTable();
    // If this fails the output is slower, not wrong.
    std::ignore = std::setvbuf(stdout, nullptr, _IOLBF, 4096);

    // The arguments, if there are any, are one command, and the process then exits. The end of
    // input counts as `quit`: the program that has sent the commands is gone.
    console state;
    std::string command;
    for (int i = 1; i < argc; ++i) command += std::string(argv[i]) + ' ';
    std::string token;
    do {
        if (argc == 1 && !std::getline(std::cin, command)) command = "quit";
        token = execute(command, state);
    } while (argc == 1 && token != "quit");

    // A search that is still running must end before its table is freed. No one waits for its
    // result any more, so it writes nothing.
    theWorkForce.abandon();
    theWorkForce.endSearch();
    destroyHashTable();
    return 0;
}
