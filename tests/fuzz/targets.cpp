// SPDX-License-Identifier: MIT
//
// All targets except `console`, and what every run needs: a folder of its own, a reset of the
// process, and checks that abort.

#include "targets.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "eval.h"
#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "perft.h"
#include "search.h"
#include "texel.h"
#include "uci.h"

namespace
{

constexpr int tableSizeMB = 1;

std::unique_ptr<positionStruct> startState;
std::string folder;

// Two targets write files there, for the engine to read.
void leaveFolder()
{
    for (const char* name : {"perft.txt", "quiet-labeled.epd"}) std::remove(name);
    if (chdir("/") == 0) rmdir(folder.c_str());
}

/// Ends the threads and frees the table, so that a leak shows as one.
void endFuzzing()
{
    theWorkForce.endSearch();
    theWorkForce.setNofWorkers(0);
    destroyHashTable();
    leaveFolder();
}

void startFuzzing()
{
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    const char* const parent = std::getenv("TMPDIR");
    folder = std::string(parent ? parent : "/tmp") + "/quillon-fuzz-XXXXXX";
    if (!mkdtemp(folder.data()) || chdir(folder.c_str()) != 0) std::abort();

    engine.hashSizeMB = tableSizeMB;
    initBitboardConstants();
    initHashCodeTables();
    setPosition(std::string(fenStartPos), GPS);
    theWorkForce.setNofWorkers(1);
    theWorkForce.endSearch();
    startState = std::make_unique<positionStruct>(*GPS);
    std::atexit(endFuzzing);
}

/// Restores what a target may have changed and a later one may read.
void resetProcess()
{
    theWorkForce.endSearch();
    *GPS = *startState;
    engine.gamePly = 0;
    engine.ponderEnabled = false;
    engine.hashSizeMB = tableSizeMB;
    if (hashKeyMask + 1 != u64{16384} * tableSizeMB)
        createHashTable(tableSizeMB);
    else if (hashHartBeat)
        clearHashTable();
    hashAgeCounter = 0;
    if (theWorkForce.workers.size() != 1) theWorkForce.setNofWorkers(1);
    engine.nofThreads = 1;
}

/// A fresh position with a move stack and caches of its own; the next call overwrites it.
positionStruct* bareBoard()
{
    static positionStruct position;
    static moveStruct stack[MOVESTACKSIZE + MOVESTACKSLACK];
    // Entries of earlier inputs stay: what a key stands for doesn't change.
    static pawnHashTableStruct pawns;
    static evalHashTableStruct evaluations;
    position = {};
    position.plies[0].moveListStart = stack;
    position.plies[0].moveListEnd = stack;
    position.pawnHashTable = &pawns;
    position.evalHashTable = &evaluations;
    return &position;
}


// A FEN: set up both ways, shown, evaluated both ways, and counted two plies deep.

void examine(positionStruct* position)
{
    constexpr size_t pictureSize = 17UL * 34;
    require(boardToString(position).size() == pictureSize, "a board has 17 lines");
    if (!makePlayable(position)) return;

    require(isBoardStructOK(position), "a playable board agrees with its bitboards");
    require(position->hashKey == calcHashKey(0, position), "the key is that of the record");
    require(position->pawnHashKey == calcHashKeyPawn(0, position), "so is the pawn key");

    const int traced = evaluateTraced(position).score;
    require(evaluateN(0, position) == traced, "the terms add up to the evaluation");
    require(evaluateN(0, position) == traced, "the caches give back what was put into them");

    const u64 key = position->hashKey;
    const u64 one = perft(0, 1, position);
    const u64 two = perft(0, 2, position);
    require(perftRev(0, 2, position) == two, "the order of moves doesn't change a count");
    require(one > 0 || two == 0, "no move, no second move");
    require(position->hashKey == key, "perft gives the position back");
    require(isBoardStructOK(position), "and its board");
}

void fuzzFen(const std::string& input)
{
    positionStruct* const position = bareBoard();
    setPositionG(input, position);
    examine(position);
    setPosition(input, position);
    examine(position);
}


// A file of positions and counts for the check of the move generator. Depths above 2 are lowered,
// since a deeper count of a rich position only takes time.

/// A line with a small depth in its second field; a depth that is not a number stays.
std::string limitDepth(const std::string& line)
{
    const size_t begin = line.find(';');
    if (begin == std::string::npos) return line;
    const size_t end = std::min(line.find(';', begin + 1), line.size());
    const std::string depth = line.substr(begin + 1, end - begin - 1);
    char* rest = nullptr;
    const long value = std::strtol(depth.c_str(), &rest, 10);
    if (rest == depth.c_str() || value <= 2 || value > 0x7fffffff) return line;
    return line.substr(0, begin + 1) + "2" + line.substr(end);
}

void fuzzPerftFile(const std::string& input)
{
    constexpr int mostLines = 4;
    std::istringstream lines(input);
    std::ofstream file("perft.txt", std::ios::binary);
    std::string line;
    for (int n = 0; n < mostLines && std::getline(lines, line); ++n)
        file << limitDepth(line) << (lines.eof() ? "" : "\n");
    file.close();
    checkMoveGenWithPerft(static_cast<i32>(1 + input.size() % 3));
}


// A file of training positions: read, distributed to two threads, and its error computed.

void fuzzTraining(const std::string& input)
{
    std::ofstream("quiet-labeled.epd", std::ios::binary) << input;
    require(readTexelPos() == 0, "a file that is there can be read");
    theTexelWorkForce.setNofWorkers(2);
    const double error = theTexelWorkForce.calcTexelError();
    require(texelPositions.empty() ? std::isnan(error) : error >= 0.0 && error <= 1.0,
            "the mean of squared errors lies within 0 and 1");
    require(texelPositions.empty() || theTexelWorkForce.calcTexelError() == error,
            "the same positions give the same error");
    theTexelWorkForce.setNofWorkers(0);
}


// A data word of the table in a position: the first line has the word, up to 16 hexadecimal digits,
// the second one a FEN. An accepted move is played and taken back, and a search finds the word at
// its root and after each move.

void playAndTakeBack(moveStruct move, positionStruct* position)
{
    const auto before = std::make_unique<positionStruct>(*position);
    require(makeMove(1, &move, position, false), "a move taken on trust is made");
    require(isBoardStructOK(position), "board and bitboards agree after an accepted move");
    // A pawn that is believed to double-push to a1 leaves square 0, which stands for none.
    const bool toNone = move.kind == KINDDOUBLEPUSH && move.to == A1;
    const u64 noneKey = toNone ? hashCodeEnpassant[0] : 0;
    require(position->hashKey == (calcHashKey(1, position) ^ noneKey), "so does the key");
    require(position->pawnHashKey == calcHashKeyPawn(1, position), "so does the pawn key");
    const u8 us = position->sideToMove;
    require(!isSquareAttacked(kingSquareOf(us ^ 1, position), us, position),
            "an accepted move leaves no king to be taken");
    unmakeMove(1, &move, position);
    // The child's record and the keys beyond the path may be left changed.
    require(!std::memcmp(before.get(), position, offsetof(positionStruct, plies)),
            "taking back restores every field");
}

void judge(moveStruct move, positionStruct* position)
{
    const bool pseudo = isLegalMove(0, &move, position, true);
    const bool legal = isLegalMove(0, &move, position, false);
    require(pseudo || !legal, "a legal move is pseudo-legal");
    const plyStruct& root = position->plies[0];
    const bool listed = std::any_of(root.moveListStart, root.moveListEnd,
                                    [&](moveStruct other) { return sameMove(move, other); });
    // A pawn's test is loose: it trusts the kind and ignores direction and edges.
    const bool isPawn = legal && position->board[move.from] < KNIGHT;
    if (legal) playAndTakeBack(move, position);
    if (legal && !isPawn) require(listed, "what is accepted can be generated");
    if (listed && move.score == position->board[move.from])
        require(legal, "what is generated is accepted");
}

/// Makes a word the entry of a key.
void plant(u64 word, u64 key)
{
    hashTable[key & hashKeyMask] = {key ^ (word & HASHDATAMASK), word, {}};
}

void fuzzTableWord(const std::string& input)
{
    std::istringstream lines(input);
    std::string digits;
    std::string fen;
    std::getline(lines, digits);
    std::getline(lines, fen);
    const u64 word = std::strtoull(digits.substr(0, 16).c_str(), nullptr, 16);

    positionStruct* const position = bareBoard();
    setPosition(fen, position);
    if (!makePlayable(position)) return;
    generateMovesLegal(0, position->plies[0].moveListStart, position);

    // The word as it is, then the same with each destination, and with the code of the mover.
    moveStruct move = wordMove(word);
    judge(move, position);
    for (int i = 0; i < NOFSQUARES; ++i)
    {
        move.from = static_cast<u8>((move.from + (i % 8 == 0)) & 63);
        move.to = static_cast<u8>((move.to + 1) & 63);
        move.score = position->board[move.from];
        judge(move, position);
    }

    plant(word, position->hashKey);
    const plyStruct& root = position->plies[0];
    for (const moveStruct* child = root.moveListStart; child < root.moveListEnd; ++child)
    {
        makeMove(1, child, position, false);
        plant(word, position->hashKey);
        unmakeMove(1, child, position);
    }

    std::istringstream words("fen " + fen);
    UCIposition(words);
    std::istringstream limits("depth " + std::to_string(1 + word % 4));
    UCIgo(limits);
    finishSearch();
}


/// Whether an exception is that of std::stoi or std::stoull. Only its text tells it from those of a
/// string's own functions in GNU's library.
bool isNumberError(const std::exception& refused)
{
    return std::strncmp(refused.what(), "sto", 3) == 0;
}

} // namespace

void runTarget(const std::string& name, const std::string& input)
{
    static const std::map<std::string, void (*)(const std::string&)> targets = {
        {"fen", fuzzFen},           {"console", fuzzConsole},      {"perft_file", fuzzPerftFile},
        {"training", fuzzTraining}, {"table_word", fuzzTableWord},
    };
    const auto target = targets.at(name);
    if (!startState) startFuzzing();
    try
    {
        target(input);
    }
    catch (const std::logic_error& refused) // std::invalid_argument and std::out_of_range
    {
        require(isNumberError(refused), "only a number that can't be read ends the process");
    }
    resetProcess();
}

// Each thread sets stopSearch when it leaves its loop, so an idle pool takes no time.
void finishSearch()
{
    using clock = std::chrono::steady_clock;
    const auto limit = clock::now() + std::chrono::milliseconds(20);
    while (!theWorkForce.stopSearch && clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    theWorkForce.endSearch();
}

void require(bool holds, const char* promise)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    leaveFolder();
    std::abort();
}
