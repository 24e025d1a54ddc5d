// SPDX-License-Identifier: MIT
//
// UCI handlers; see the table in uci.h. All run on the main thread. Errors are not reported, since
// the protocol has no message for them: what can't be read is skipped or used as it is.

#include "uci.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "search.h"


// position

namespace
{

/// A move text as it is written, whether or not it fits the rules. The squares are those of the
/// text, so `to` of an en passant capture is still the landing square.
moveStruct readMoveText(const std::string& text)
{
    // A promotion's letter gives its kind, twice the letter's index. An unknown letter gives a kind
    // that isOnBoard refuses.
    moveStruct move = EMPTYMOVE;
    move.from = LAToSquare(text);
    move.to = text.size() < 4 ? u8{255} : LAToSquare(std::string_view(text).substr(2));
    if (text.size() == 5) move.kind = static_cast<u8>(2 * promotionPieces.find(text[4]));
    return move;
}

/// Adds the kind that follows from the piece that moves: castling if a king's text is one of the
/// four castling moves, en passant for a pawn's step to another file onto an empty square, a double
/// push for a pawn's step of 16 squares.
moveStruct withKind(moveStruct move, const std::string& text, const positionStruct* position)
{
    const int us = position->sideToMove;
    const u8 mover = position->board[move.from];
    if (mover == KING + us)
    {
        if (text == "e1g1" || text == "e8g8")
            move.kind = KINDCASTLEKING;
        else if (text == "e1c1" || text == "e8c8")
            move.kind = KINDCASTLEQUEEN;
    }
    else if (mover == PAWN + us)
    {
        const bool diagonal = fileOf(move.from) != fileOf(move.to);
        if (diagonal && position->board[move.to] == NOPIECE)
        {
            move.kind = KINDENPASSANT;
            move.to = static_cast<u8>(us * 16 + move.to - 8);
        }
        else if (move.from - move.to == 16 || move.to - move.from == 16)
            move.kind = KINDDOUBLEPUSH;
    }
    return move;
}

/// Whether makeMove can play a move without leaving the board, even if it makes no sense as chess.
bool isOnBoard(moveStruct move, const positionStruct* position)
{
    if (move.from >= NOFSQUARES || move.to >= NOFSQUARES) return false;
    const auto isPiece = [](u8 code) { return code >= PAWN && code < NOFPIECECODES; };
    // The board may hold codes that name no piece, since FENs are not checked.
    const u8 captured = position->board[move.to];
    if (!isPiece(position->board[move.from]) || (captured != NOPIECE && !isPiece(captured)))
        return false;
    if (move.kind == KINDENPASSANT) return onBoard(enPassantLanding(move.to, position->sideToMove));
    return move.kind <= KINDCASTLEQUEEN;
}

/// Makes room in keyHistory for a search when a game has filled it, by dropping the oldest keys.
/// The fifty-move rule ends a game long before one of those could be repeated.
void trimKeyHistory(positionStruct* position)
{
    constexpr int searchRoom = 2 * NOFPLIES;
    constexpr int dropped = KEYHISTORYSIZE / 4;
    if (position->keyIndex < KEYHISTORYSIZE - searchRoom) return;
    std::copy(position->keyHistory + dropped, position->keyHistory + KEYHISTORYSIZE,
              position->keyHistory);
    position->keyIndex = narrow<i16>(position->keyIndex - dropped);
}

} // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): handlers of commands own their words
void UCIprocesMove(std::string text)
{
    moveStruct move = readMoveText(text);
    if (move.from >= NOFSQUARES || move.to >= NOFSQUARES) return;
    move = withKind(move, text, GPS);
    if (!isOnBoard(move, GPS)) return;

    // The move is made at ply 1, as in a search, and then becomes ply 0. So a game of any length
    // uses two records, and every search starts at ply 0.
    makeMove(1, &move, GPS, false);
    plyStruct& root = GPS->plies[0];
    const plyStruct& played = GPS->plies[1];
    root.enPassantSquare = played.enPassantSquare;
    root.castlingRights = played.castlingRights;
    root.savedHashKey = played.savedHashKey;
    root.savedPawnHashKey = played.savedPawnHashKey;
    trimKeyHistory(GPS);
}

void UCIposition(std::istream& stream)
{
    std::string word;
    std::string fen;
    stream >> word;
    const bool fromStart = word == "startpos";
    if (fromStart)
    {
        fen = fenStartPos;
        stream >> word;
    }
    else if (word == "fen")
    {
        while (stream >> word && word != "moves") fen += word + ' ';
    }
    else
        return;

    // Each `position` sets the whole game up again, which is what the protocol sends.
    setPosition(fen, GPS);
    const int firstKey = GPS->keyIndex;
    int moveCount = 0;
    for (; stream >> word; ++moveCount) UCIprocesMove(word);

    // makeMove has kept the keys up to date, but moves that make no sense as chess may have spoilt
    // them. No handler sets inCheck while it plays moves.
    GPS->hashKey = calcHashKey(0, GPS);
    GPS->pawnHashKey = calcHashKeyPawn(0, GPS);
    GPS->plies[0].inCheck = isSideInCheck(GPS);

    // The time for a move depends on how far the game has got. After a FEN the index of the next
    // key, to which the moves are added once more, has to serve as the number of plies played.
    if (fromStart)
        engine.gamePly = moveCount;
    else
    {
        const int nextKey = firstKey + moveCount;
        engine.gamePly = nextKey >= 2 ? nextKey + moveCount : GAMEPLYUNKNOWN;
    }
}


// go

namespace
{

// What `go` assumes if it does not say.
constexpr i32 DEFAULTTIMELEFT = 900000; // ms: a quarter of an hour
constexpr i32 DEFAULTMOVESTOGO = 30;
constexpr i32 NODECHECKINTERVAL = 4096; // nodes: a few milliseconds between two checks

/// Reads a number into a limit. If that fails the stream fails too, which ends the caller's loop.
template <typename T> void readLimit(std::istream& stream, relaxed<T>& limit)
{
    T value = limit;
    stream >> value;
    limit = value;
}

/// Prepares a search for its node limit, which only the tester build obeys. Its interval is short,
/// because quiescence nodes count too, but aren't counted down. Without a clock, no time ends it.
void prepareNodeLimit()
{
    if constexpr (TESTER)
    {
        if (!engine.nodeLimit) return;
        engine.nodeCheckInterval = NODECHECKINTERVAL / 16;
        for (relaxed<i32>& time : engine.timeLeft)
            if (time == DEFAULTTIMELEFT) time = std::numeric_limits<i32>::max();
    }
}

/// Lets a short search wait for a table whose pages are still being touched: between two checks of
/// the clock it can touch thousands of pages, which takes longer than it may last. When its time
/// has passed before the table is warm, it ends after depth 1, which touches few. Larger tables
/// take seconds and aren't waited for.
void spareColdTable()
{
    constexpr int SHORTSEARCH = 100; // ms
    constexpr int LARGETABLE = 1024; // MB
    if (theWorkForce.ponderSearch || engine.infinite || engine.depthLimit) return;
    if (engine.maxTime >= SHORTSEARCH || engine.hashSizeMB > LARGETABLE) return;
    if (!waitForWarmHashTable(engine.maxTime)) engine.targetTime = 0;
}

} // namespace

void UCIgo(std::istream& stream)
{
    // The clock starts first, so that the time for all that follows is counted. Limits of an
    // earlier `go` are forgotten.
    engine.startTime = narrow<u64>(now());
    theWorkForce.ponderSearch = false;
    for (const int colour : {WHITE, BLACK})
    {
        engine.timeLeft[colour] = DEFAULTTIMELEFT;
        engine.timeInc[colour] = 0;
    }
    engine.movesToGo = DEFAULTMOVESTOGO;
    engine.depthLimit = 0;
    engine.mateLimit = 0;
    engine.nodeLimit = 0;
    engine.moveTime = 0;
    engine.nodeCheckInterval = NODECHECKINTERVAL;
    engine.infinite = false;
    engine.movesToGoGiven = false;

    std::string word;
    while (stream >> word)
    {
        if (word == "ponder") theWorkForce.ponderSearch = true;
        if (word == "wtime") readLimit(stream, engine.timeLeft[WHITE]);
        if (word == "btime") readLimit(stream, engine.timeLeft[BLACK]);
        if (word == "winc") readLimit(stream, engine.timeInc[WHITE]);
        if (word == "binc") readLimit(stream, engine.timeInc[BLACK]);
        if (word == "movestogo")
        {
            readLimit(stream, engine.movesToGo);
            engine.movesToGoGiven = true;
        }
        if (word == "depth") readLimit(stream, engine.depthLimit);
        if (word == "nodes")
        {
            readLimit(stream, engine.nodeLimit);
            prepareNodeLimit();
        }
        if (word == "mate") readLimit(stream, engine.mateLimit);
        if (word == "movetime") readLimit(stream, engine.moveTime);
        if (word == "infinite") engine.infinite = true;
    }
    calcTimeParameters();
    spareColdTable();

    // The search gets a copy: makePlayable may change it, and the next `position` or `showboard`
    // must find what was set up. A position that can't be played on still needs an answer, because
    // the other side waits for one.
    positionStruct root = GPSData;
    if (makePlayable(&root))
        theWorkForce.startWorkForce(&root);
    else
    {
        theWorkForce.workers[0]->waitToTakeABreak();
        writeLine("bestmove a1a1");
    }
}


// setoption and the rest

namespace
{

/// The stream's words up to the word `last`, which is dropped, or to the end, with single spaces
/// between them: names and values of options may contain spaces.
std::string readWordsUntil(std::istream& stream, const std::string& last)
{
    std::string words;
    std::string word;
    while (stream >> word && word != last) words += (words.empty() ? "" : " ") + word;
    return words;
}

/// The value of an option that is a number, clamped to the option's range.
int readSpin(const std::string& value, const spinOption& option)
{
    return std::clamp(std::stoi(value), option.least, option.greatest);
}

/// The line of the answer to `uci` that declares such an option.
void writeSpin(const spinOption& option)
{
    writeLine("option name " + std::string(option.name) + " type spin default " +
              std::to_string(option.standard) + " min " + std::to_string(option.least) + " max " +
              std::to_string(option.greatest));
}

} // namespace

void UCIsetoption(std::istream& stream)
{
    std::string word;
    stream >> word;
    const std::string name = readWordsUntil(stream, "value");
    const std::string value = readWordsUntil(stream, "");

    if (name == HASHOPTION.name)
    {
        const int megabytes = readSpin(value, HASHOPTION);
        engine.hashSizeMB = megabytes;
        theWorkForce.endSearch();
        createHashTable(megabytes);
        // Waits up to a second, because a search in a cold table is slow. Most tables are warm
        // sooner than that.
        warmHashTable();
        waitForWarmHashTable(1000);
    }
    else if (name == THREADSOPTION.name)
    {
        // Waits until a running search has ended: at its end it compares the results of as many
        // threads as it was started with.
        const int threads = readSpin(value, THREADSOPTION);
        if (!theWorkForce.workers.empty()) theWorkForce.workers[0]->waitToTakeABreak();
        engine.nofThreads = threads;
        theWorkForce.setNofWorkers(threads);
    }
    else if (name == "Ponder")
        engine.ponderEnabled = value == "true";
}

void UCIponderhit()
{
    // A search that would already have ended if it had not been pondering ends now.
    if (theWorkForce.timeIsUp)
        theWorkForce.stop();
    else
        theWorkForce.ponderSearch = false;
}

void UCInewgame()
{
    // Results of the last game would be valid, but a search would depend on what was played before.
    theWorkForce.endSearch();
    clearHashTable();
    engine.gamePly = 0;
    std::fill_n(GPS->keyHistory, KEYHISTORYSIZE, 0);
    writeLine("readyok");
}

void UCIuci()
{
    writeLine("id name Quillon Version 2.0");
    writeLine("id author Velmar Dask");
    writeSpin(HASHOPTION);
    writeSpin(THREADSOPTION);
    writeLine("option name Ponder type check default false");
    writeLine("uciok");
}

void UCIisready()
{
    writeLine("readyok");
}

void UCIquit()
{
    // After `quit` the other side no longer reads, so no result is written.
    theWorkForce.abandon();
}

void UCIstop()
{
    theWorkForce.stop();
}
