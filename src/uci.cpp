// SPDX-License-Identifier: MIT
//
// UCI handlers; see the table in uci.h. All run on the main thread. Nothing is reported: what
// can't be read is skipped or taken as it is.

#include "uci.h"

#include <algorithm>
#include <cstring>

#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "search.h"


// position

namespace
{

/// A move text as it is written, without a look at whether it fits the rules. The squares are
/// those of the text, so that `to` of an en passant capture is still the landing square.
moveStruct readMoveText(const std::string& text)
{
    moveStruct move = EMPTYMOVE;
    move.from = LAToSquare(text);
    move.to = text.size() < 4 ? u8{255} : LAToSquare(std::string_view(text).substr(2));
    if (text.size() == 5) move.kind = static_cast<u8>(2 * promotionPieces.find(text[4]));
    return move;
}

/// The kind that the mover gives a text's move: castling for a king by the text alone, en passant
/// for any pawn's diagonal step onto an empty square, a double push for any of 16 squares.
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

/// Whether makeMove can play a move without leaving the board, whatever it means as chess.
bool isOnBoard(moveStruct move, const positionStruct* position)
{
    if (move.from >= NOFSQUARES || move.to >= NOFSQUARES) return false;
    const auto isMan = [](u8 code) { return code >= PAWN && code < NOFPIECECODES; };
    const u8 captured = position->board[move.to];
    if (!isMan(position->board[move.from]) || (captured != NOPIECE && !isMan(captured)))
        return false;
    if (move.kind == KINDENPASSANT) return onBoard(enPassantLanding(move.to, position->sideToMove));
    return move.kind <= KINDCASTLEQUEEN;
}

/// Makes room in keyHistory for a search when a game has filled it: the oldest keys go.
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

    // The game never climbs the stack of plies: ply 1 is brought down to ply 0.
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

    setPosition(fen, GPS);
    const int firstKey = GPS->keyIndex;
    int moveCount = 0;
    for (; stream >> word; ++moveCount) UCIprocesMove(word);

    GPS->hashKey = calcHashKey(0, GPS);
    GPS->pawnHashKey = calcHashKeyPawn(0, GPS);
    GPS->plies[0].inCheck = isSideInCheck(GPS);

    // From a FEN the number of the next key stands for the progress of the game, and the moves
    // count once more.
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

/// Reads a number into a limit; a number that can't be read fails the stream.
template <typename T> void readLimit(std::istream& stream, relaxed<T>& limit)
{
    T value = limit;
    stream >> value;
    limit = value;
}

} // namespace

namespace
{

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
    engine.startTime = narrow<u64>(now());
    theWorkForce.ponderSearch = false;
    for (const int colour : {WHITE, BLACK})
    {
        engine.timeLeft[colour] = 900000;
        engine.timeInc[colour] = 0;
    }
    engine.movesToGo = 30;
    engine.depthLimit = 0;
    engine.mateLimit = 0;
    engine.nodeLimit = 0;
    engine.moveTime = 0;
    engine.nodeCheckInterval = 4096;
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
        if (word == "nodes") readLimit(stream, engine.nodeLimit);
        if (word == "mate") readLimit(stream, engine.mateLimit);
        if (word == "movetime") readLimit(stream, engine.moveTime);
        if (word == "infinite") engine.infinite = true;
    }
    calcTimeParameters();
    spareColdTable();

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

/// Joins the stream's words by single blanks, up to a word that is thrown away or the end.
std::string readWordsUntil(std::istream& stream, const std::string& last)
{
    std::string words;
    std::string word;
    while (stream >> word && word != last) words += (words.empty() ? "" : " ") + word;
    return words;
}

} // namespace

void UCIsetoption(std::istream& stream)
{
    std::string word;
    stream >> word;
    const std::string name = readWordsUntil(stream, "value");
    const std::string value = readWordsUntil(stream, "");

    if (name == "Hash")
    {
        const int megabytes = std::clamp(std::stoi(value), 1, 32768);
        engine.hashSizeMB = megabytes;
        theWorkForce.endSearch();
        createHashTable(megabytes);
        // Most tables are warm before the program that asked can start a search.
        warmHashTable();
        waitForWarmHashTable(1000);
    }
    else if (name == "Threads")
    {
        // A running search chooses among as many threads as it was started with.
        const int threads = std::clamp(std::stoi(value), 1, 64);
        if (!theWorkForce.workers.empty()) theWorkForce.workers[0]->waitToTakeABreak();
        engine.nofThreads = threads;
        theWorkForce.setNofWorkers(threads);
    }
    else if (name == "Ponder")
        engine.ponderEnabled = value == "true";
}

void UCIponderhit()
{
    if (theWorkForce.timeIsUp)
        theWorkForce.stop();
    else
        theWorkForce.ponderSearch = false;
}

void UCInewgame()
{
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
    writeLine("option name Hash type spin default 256 min 1 max 32768");
    writeLine("option name Threads type spin default 1 min 1 max 64");
    writeLine("option name Ponder type check default false");
    writeLine("uciok");
}

void UCIisready()
{
    writeLine("readyok");
}

void UCIquit()
{
    theWorkForce.abandon();
}

void UCIstop()
{
    theWorkForce.stop();
}
