// SPDX-License-Identifier: MIT
//
// The handlers of the UCI commands, called by the command loop with the rest of the line. They run
// on the main thread. `go` does not wait for the search that it starts, so the loop can read
// `stop`.
//
//   command    | effect                                       | blocks              | in a search
//   -----------|----------------------------------------------|---------------------|------------
//   position   | sets up GPS and plays moves on it            | no                  | allowed
//   go         | sets the limits and starts a search of GPS   | until the last ends | waits
//   setoption  | Hash, Threads, Ponder                        | see the option      | see there
//   - Hash     | a new, empty table                           | ends a search       | ends it
//   - Threads  | a new pool of threads                        | until the last ends | waits
//   - Ponder   | a little more time for each move             | no                  | allowed
//   ponderhit  | a ponder search becomes a normal one         | no                  | meant for it
//   stop       | the search ends and writes its result        | no                  | meant for it
//   quit       | the search ends and writes nothing more      | no                  | ends it
//   ucinewgame | empties the table, answers "readyok"         | ends a search       | ends it
//   isready    | answers "readyok"                            | no                  | at once
//   uci        | names the engine and its options             | no                  | allowed
#pragma once

#include <istream>
#include <string>

/// "startpos" or "fen ...", then "moves ..."; with any other first word nothing changes.
void UCIposition(std::istream& stream);

/// Reads the limits and starts the search. If another word comes where a number should be, reading
/// ends there and the search starts with the limits read so far.
void UCIgo(std::istream& stream);

/// "name N value V". Hash and Threads take a number, which is clamped to the option's range; a
/// value that is not a number throws std::invalid_argument, one beyond 32 bits std::out_of_range.
/// Unknown names are ignored.
void UCIsetoption(std::istream& stream);

/// The opponent has played the expected move: from now on the clocks count.
void UCIponderhit();

/// The next position belongs to another game, so nothing learned so far may influence it.
void UCInewgame();

void UCIuci();
void UCIisready();
void UCIquit();
void UCIstop();

/// Searches a list of positions and writes "N nodes M nps"; only in the tester build, see
/// bench/bench.cpp.
void UCIbench(std::istream& stream);

/// Plays a move text such as "e2e4" or "a7a8q" on GPSData. Nothing tests whether the move is legal.
/// A text is skipped if one of its squares is off the board or no piece is on the first one.
void UCIprocesMove(std::string text);
