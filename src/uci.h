// SPDX-License-Identifier: MIT
//
// The handlers of the UCI commands, called by the command loop with the rest of the line.
//
//   command    | effect                                       | blocks              | in a search
//   -----------|----------------------------------------------|---------------------|------------
//   position   | sets up GPS and plays moves on it            | no                  | allowed
//   go         | sets the limits and starts a search of GPS   | until the last ends | waits
//   setoption  | Hash, Threads, Ponder                        | see the option      | see there
//   - Hash     | a new, empty table                           | ends a search       | ends it
//   - Threads  | a new pool of threads                        | until the last ends | waits
//   - Ponder   | a little more time for each move             | no                  | allowed
//   ponderhit  | a ponder search goes on as a normal one      | no                  | meant for it
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

/// Reads the limits up to the first word that is no number where one is due, and starts.
void UCIgo(std::istream& stream);

/// "name N value V". Values beyond the range are forced into it; Hash and Threads with a value
/// that is no number throw std::invalid_argument or std::out_of_range.
void UCIsetoption(std::istream& stream);

void UCIponderhit();
void UCInewgame();
void UCIuci();
void UCIisready();
void UCIquit();
void UCIstop();

/// Plays a move text such as "e2e4" or "a7a8q" on GPSData as it stands: nothing tests whether it
/// is legal. A text that names squares or men that aren't there is passed over.
void UCIprocesMove(std::string text);
