// SPDX-License-Identifier: MIT
//
// The search: position set-up, static exchange evaluation (SEE), the node searches, the pool of
// threads with its root search, and the clock.
//
//   Position set-up             setPosition, makePlayable, initPosition
//   Static exchange evaluation  see, seeAfter, updateSeeScoreEvade
//   Node searches               initLMRTable, quietCheckFilter, alfabeta, quiescence
//   Threads and root            desk, worker, boss, workForce
//   Time                        calcTimeParameters
//   Interface without a caller  addPiece, setPositionG, updateSeeScore, quiescenceHash
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "global.h"
#include "hash.h"
#include "moveTable.h"


// Position set-up

/// Sets a position from a FEN: pieces, side, rights, en passant, half-move clock; the move number
/// is not used. Missing fields from the third on get "-", "-", "0", "1"; a missing side is white.
/// Nothing is checked: unknown letters become code 255, pieces beyond h8 leave only a bit, and a
/// clock that is not a number throws std::invalid_argument. keyHistory, killers, history and
/// counters keep what they held.
void setPosition(std::string fen, positionStruct* position);

/// Empties board and bitboards, nothing else.
void initPosition(positionStruct* position);

/// Whether board and bitboards agree.
bool isBoardStructOK(const positionStruct* position);

/// Whether the side to move is in check; false without a king.
bool isSideInCheck(const positionStruct* position);

/// Makes a copy of a position fit to be searched or counted: drops castling rights whose king or
/// rook is not at home and an en passant square without a pawn to take. Returns whether the rest
/// can be played on: board and bitboards agree, each side has one king, no pawn is on the first or
/// last rank, each code names a piece, and the side not to move is not in check. Positions that
/// arise in chess are left as they are.
bool makePlayable(positionStruct* position);


// Static exchange evaluation

/// seeValue[piece code]: value of a piece in an exchange. Bishop and knight are equal, so that an
/// exchange of one for the other counts as even. The king's value is so high that no side gains by
/// losing it. These values are not tuned.
constexpr int seeValue[NOFPIECECODES] = {0,   0,   87,  87,   340,  340,   340,
                                         340, 515, 515, 1005, 1005, 10000, 10000};

/// Plays the exchange on `to` out until it is decided whether the side that captured first keeps
/// its gain. `balance` is that side's balance if it loses the piece on `to`, and negative; `side`
/// makes the next capture; `occupied` leaves out the piece on `to`. After each capture only x-rays
/// of the capturing colour are added, and a queen uncovers none along ranks and files. Both limits
/// are deliberate: the search's results depend on them (test: SeeXrayTable).
bool exchangeHolds(int balance, u8 to, u64 occupied, size_t side, const positionStruct* position);

/// Whether SEE applies to a move. It does not to en passant and castling, where the square that the
/// move names is not the square on which an exchange could take place.
constexpr bool hasExchange(moveStruct move)
{
    constexpr u32 without = 1U << KINDENPASSANT | 1U << KINDCASTLEKING | 1U << KINDCASTLEQUEEN;
    return !(without >> move.kind & 1);
}

/// Whether the exchange that a move begins on its destination gains at least `threshold`, in
/// units of seeValue. Call it before the move is made. All sums are 16-bit and wrap.
inline bool see(moveStruct move, i16 threshold, const positionStruct* position)
{
    if (!hasExchange(move)) return threshold <= 0;
    // Two cheap answers first, which settle many calls: the victim alone is worth too little, or
    // the gain is enough even if the mover is lost.
    int balance = wrap16(seeValue[position->board[move.to]] - threshold);
    if (balance < 0) return false;
    balance -= seeValue[position->board[move.from]];
    if (balance >= 0) return true;
    return exchangeHolds(balance, move.to, allPieces(position) ^ bit(move.from) ^ bit(move.to),
                         position->sideToMove ^ 1U, position);
}

/// The same after the move is made; `captured` is the piece that it took. The exchange starts with
/// the side that has just moved.
bool seeAfter(moveStruct move, i16 threshold, const positionStruct* position, u8 captured);

/// Lowers by 100 the score of each evasion from `first` to the list's end that loses material.
void updateSeeScoreEvade(u8 ply, moveStruct* first, const positionStruct* position);


// Node searches

// Quiescence depths, counting down from 0, at which a band begins. A long exchange of captures all
// over the board would make the tree explode; recaptures on one square come to an end by
// themselves.
constexpr int FIRSTRECAPTUREDEPTH = -5;  // recaptures only, and evasions in check
constexpr int FIRSTNOEVASIONDEPTH = -14; // recaptures only, in check too

/// Whether the path can't get longer: it has reached the last ply record, or the move stack is used
/// up, which takes a board full of queens.
inline bool isPathFull(int ply, const positionStruct* position)
{
    return ply >= NOFPLIES - 1 ||
           position->plies[ply].moveListStart >= position->plies[0].moveListStart + MOVESTACKSIZE;
}

/// Fills the table of late move reductions.
void initLMRTable();

/// Lets late move pruning drop a quiet move without making it. For most moves, the squares alone
/// show that they give no check. A move that gives check is never pruned: it must be made, searched
/// and counted. The filter made the whole search 1.08 times as fast.
// cppcheck-suppress noConstructor ; prepare comes before any question
class quietCheckFilter
{
  public:
    /// Sets it up for the side to move, whose opponent is not in check.
    void prepare(const positionStruct* position);

    /// Whether a quiet move may give check. May return true wrongly, but never false for a check.
    bool mayGiveCheck(moveStruct move, const positionStruct* position) const
    {
        const u64 direct = checkingSquares[position->board[move.from]] >> move.to;
        return ((direct | discoverers >> move.from) & 1) ||
               (move.kind != KINDPLAIN && move.kind != KINDDOUBLEPUSH);
    }

  private:
    u64 checkingSquares[NOFPIECECODES]; // [piece code]: from where that piece checks; ours only
    u64 discoverers;                    // squares that may open a line to the king when they empty
};

/// Searches a node `depth` plies deep, 1 to 127, within the window alpha to beta. Returns its score
/// from the side to move's view, which may lie outside the window. `nullAllowed` 0 forbids the null
/// move here; the engine passes 2 otherwise. After a stop the result means nothing.
i16 alfabeta(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position, u8 nullAllowed);

/// Resolves captures, queen promotions and checks at `depth` 0 and below. inCheck of `ply` must be
/// set.
i16 quiescence(u8 ply, int depth, i16 alpha, i16 beta, positionStruct* position);


// Threads and root

/// Where a thread waits for work, and where others wait for the thread. The search and the tuner
/// both use it.
class desk
{
  public:
    /// Called by the thread: reports that it is parked and waits for work. Returns false when the
    /// thread must end.
    bool waitForWork();

    /// Wakes the thread.
    void startWorking();

    /// Waits until the thread is parked.
    void waitToTakeABreak();

    /// Wakes the thread so that it ends; it must be parked.
    void dismiss();

  private:
    std::mutex mtx;             // guards working and quit
    std::condition_variable cv; // a change of working, in both directions
    bool quit = false;          // the thread must leave
    bool working = true;        // from startWorking until parked again
};

/// One search thread with all that it needs: a copy of the position, a move stack and caches. Apart
/// from the transposition table workers share nothing that they write, so none waits for another. A
/// worker sleeps in atTheOffice between searches; starting a thread for each search would take
/// longer than a short search.
class worker
{
  public:
    /// Makes a parked thread; `number` is its place in the pool, 0 for the boss.
    explicit worker(int number);

    /// Ends the thread, which must be parked, and joins it.
    virtual ~worker();
    worker(const worker&) = delete;
    worker& operator=(const worker&) = delete;

    /// Searches `position` by iterative deepening; a mated root isn't searched. Each iteration
    /// orders the moves of the next, and after a stop the result of the last one is available. When
    /// it returns, stopSearch is set.
    virtual void searchRoot();

    /// Interface without a caller: the previous root search, a loop over the root's moves that
    /// keeps their list, ordered by their nodes, and writes lines from depth 11 on.
    virtual void searchRootOld();

    /// The thread's main loop: park, wait to be woken, search.
    void atTheOffice();

    /// Wakes the thread.
    void startWorking();

    /// Waits until the thread is parked.
    void waitToTakeABreak();

    /// Takes a copy of a position; the thread must be parked.
    void setPosition(const positionStruct* source);

  protected:
    friend class workForce;
    friend class boss;

    desk ownDesk;
    i32 id;                    // place in the pool: 0 is the boss; row of the root's tables
    relaxed<i32> currentDepth; // depth being searched or searched last; other workers read it
    std::thread thread;
    positionStruct* position = &positionData;
    positionStruct positionData{};
    moveStruct moveStack[MOVESTACKSIZE + MOVESTACKSLACK];
    pawnHashTableStruct pawnHash{};
    evalHashTableStruct evalHash{};

  private:
    int othersAt(int depth) const;
};

// The counters and flags of two workers never share a cache line.
static_assert(alignof(worker) == 64 && sizeof(worker) % 64 == 0);

/// The worker that starts the others, waits for them and prints the result.
class boss : public worker
{
  public:
    boss() : worker(0) {}
    ~boss() override = default;

    /// Runs a whole search of the pool and writes "bestmove", unless the search is abandoned.
    void searchRoot() override;

    /// Interface without a caller: the same with the previous root search on this thread. Helpers
    /// run the live one.
    void searchRootOld() override;

    /// The ponder candidate: the move expected after a best move, from the last PV.
    void initPonderCandidate();
    void storePonderCandidate();

    /// The candidate when `move` is the move that it was stored for, else EMPTYMOVE.
    moveStruct getPonderCandidate(moveStruct move) const;

  private:
    friend class worker;

    void reportIteration(int depth, int score);
    bool endsWithMate(int depth, int score) const;
    void wakeHelpers();
    const worker* chooseBest() const;
    void writeResult();

    moveStruct ponderFirst = EMPTYMOVE;
    moveStruct ponderSecond = EMPTYMOVE;
};

// Values of stopSearch. The first to end a search decides how it ends.
constexpr i32 SEARCHING = 0;
constexpr i32 STOPPED = 1;   // it writes its result
constexpr i32 ABANDONED = 2; // it writes nothing more

/// The pool and its flags.
///
///   flag         | set by                                  | cleared by        | polled by
///   -------------|-----------------------------------------|-------------------|----------------
///   stopSearch   | stop, quit, endSearch, late ponderhit,  | startWorkForce    | every node, the
///                | hard clock, threads leaving their loop  |                   | root loop
///   ponderSearch | go ponder                               | go, ponderhit     | both clocks
///   timeIsUp     | the soft clock, the boss at the end     | startWorkForce,   | ponderhit, the
///                |                                         | each worker       | soft clock
///   deepestDepth | the soft clock                          | startWorkForce    | the soft clock
class alignas(64) workForce
{
  public:
    /// Ends all threads, after a running search has ended, and makes n new ones.
    void setNofWorkers(int n);

    /// Begins a search of a playable position, after a running search has ended.
    void startWorkForce(const positionStruct* position);

    /// Ends a running search without waiting for it; the search writes its result.
    void stop() { stopSearch.replace(SEARCHING, STOPPED); }

    /// Ends a running search without waiting for it. The search writes nothing more, unless it has
    /// ended already: then its result still comes.
    void abandon() { stopSearch.replace(SEARCHING, ABANDONED); }

    /// Writes a line of the current search, unless that is abandoned.
    void report(const std::string& line) const;

    /// Stops a running search and waits until every thread is parked.
    void endSearch();

    /// Nodes of all workers in the current search.
    u64 nofNodes() const;

    // Raw pointers on purpose: at the end of the process the threads are still parked, and owning
    // pointers would destroy them from a static destructor.
    std::vector<worker*> workers; // the boss first
    relaxed<i32> stopSearch;
    relaxed<u8> ponderSearch;
    relaxed<u8> timeIsUp;
    relaxed<i32> deepestDepth;
};

extern workForce theWorkForce;


// Time

/// Sets the soft and the hard budget, targetTime and maxTime, from the limits in `engine` and the
/// side to move of GPS. Any limits are safe: sums are 64-bit and results are held within 32 bits.
void calcTimeParameters();


// Interface without a caller
//
// Nothing in the engine calls these, nor worker::searchRootOld and boss::searchRootOld.

/// Puts a piece (code 2 to 13) on a square of board and bitboards; keys and sums stay as they are.
void addPiece(u8 piece, u8 square, positionStruct* position);

/// Does nothing; makeMove removes pieces.
void removePiece(u8 square);

/// A twin of setPosition that reads by words: a bad clock is 0, and the move number gives
/// keyIndex.
void setPositionG(std::string fen, positionStruct* position);

/// Raises by 100 the score of each capture from `first` to the list's end that loses material.
void updateSeeScore(u8 ply, moveStruct* first, const positionStruct* position);

/// quiescence, but its top node probes the table and stores its result there.
i16 quiescenceHash(u8 ply, int depth, i16 low, i16 high, positionStruct* position);
