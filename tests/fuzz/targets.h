// SPDX-License-Identifier: MIT
//
// The inputs that come from outside, one function each that takes any bytes. The fuzzers and the
// replay program share them. A target that finds a broken promise aborts.
#pragma once

#include <string>

#include "global.h"

/// One run on one input. The only exceptions let through as ordinary ends of a process are those of
/// std::stoi, which a clock or an option value that is not a number throws by design.
void fuzzFen(const std::string& input);
void fuzzMoves(const std::string& input);
void fuzzConsole(const std::string& input);
void fuzzPerftFile(const std::string& input);
void fuzzTraining(const std::string& input);
void fuzzTableWord(const std::string& input);

/// A target and the name of its corpus.
struct fuzzTarget
{
    const char* name;
    void (*run)(const std::string& input);
};

/// The target of a name, null when there is none.
const fuzzTarget* findTarget(const std::string& name);

/// Runs a target on an input, from the same state of the process each time.
void runTarget(const fuzzTarget& target, const std::string& input);

/// Builds the tables and a pool of one thread, sends standard output to nowhere, and makes an empty
/// folder the working directory, since two commands read files from there.
void startFuzzing();


// What several targets use

/// Ends the process with a message when a promise is broken.
void require(bool holds, const char* promise);

/// A fresh position with a move stack and caches of its own; the next call takes it back.
positionStruct* bareBoard();

/// Lets a running search come to its end, but no longer than some milliseconds, and stops it. Each
/// thread sets stopSearch when it leaves its loop, so an idle pool takes no time.
void finishSearch();

/// Writes a file into the working directory.
void writeFile(const char* name, const std::string& content);
