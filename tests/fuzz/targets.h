// SPDX-License-Identifier: MIT
//
// What the fuzzers, the replay program and the targets share.
#pragma once

#include <string>

/// Runs a target on any bytes, from the same state of the process each time. Aborts when a promise
/// is broken. The only exceptions that it takes for ordinary ends of a process are those of
/// std::stoi: an option value that is not a number throws them by design.
void runTarget(const std::string& name, const std::string& input);

/// The target `console`, which has a source file of its own.
void fuzzConsole(const std::string& input);

/// Lets a running search end by itself, but for a few milliseconds only, and then stops it.
void finishSearch();

/// Ends the process with a message when a promise is broken.
void require(bool holds, const char* promise);
