// SPDX-License-Identifier: MIT
//
// The records and constants on which every part of the engine works: integer aliases, packed
// scores, piece codes, the 4-byte move, the per-ply record, the position record and the `engine`
// record of settings and search limits. Plain data: no operation here changes a position.
//
//   Build switches        TCONST, TESTER, QUILLON_PERFT_FILE
//   Data shared between threads   relaxed, peek, publish
//   Limits and scores     NOFSQUARES, NOFPLIES, SCOREMATE, SCOREMATELIMIT
//   Packed scores         combEval, X
//   Codes                 WHITE, PAWN, KINDENPASSANT, WHITEKINGSIDE
//   Records               moveStruct, plyStruct, positionStruct, engineStruct
//   Globals               engine, GPSData, GPS, GMS
//   Bit operations        popcount, lowestSquare, takeLowest
#pragma once

#include <atomic>
#include <bit>
#include <cassert>
#include <cstdint>
#include <string_view>
#include <type_traits>


// Build switches
//
// switch              | value            | meaning
// --------------------|------------------|------------------------------------------------------
// QUILLON_TUNE        | not set          | evaluation tables are constants, folded into the code
//                     | set              | tables are writable and read at run time by the tuner
// QUILLON_TESTER      | not set          | the console of docs/uci.md
//                     | set              | and what test frameworks need; docs/testing-engines.md
// QUILLON_PERFT_FILE  | a string literal | the file that `rtest` tries first; see perft.h

#ifdef QUILLON_TUNE
#define TCONST
#else
#define TCONST const
#endif

#ifdef QUILLON_TESTER
constexpr bool TESTER = true;
#else
constexpr bool TESTER = false;
#endif

#ifndef QUILLON_PERFT_FILE
#define QUILLON_PERFT_FILE "perft.txt"
#endif

using i8 = std::int8_t;
using u8 = std::uint8_t;
using i16 = std::int16_t;
using u16 = std::uint16_t;
using i32 = std::int32_t;
using u32 = std::uint32_t;
using i64 = std::int64_t;
using u64 = std::uint64_t;

static_assert(std::endian::native == std::endian::little,
              "the layout of a table entry and of a move word is little-endian");

/// The bytes of one value read as another type of the same size. It is std::bit_cast, which libc++
/// has only since version 14.
template <typename To, typename From> constexpr To bitCast(const From& value)
{
    return __builtin_bit_cast(To, value);
}

/// Converts a number to a narrower type that can hold it; builds with assertions check that it can.
/// A plain cast, by contrast, says that bits may be lost and that this is intended.
template <typename T, typename S> constexpr T narrow(S value)
{
    assert(static_cast<S>(static_cast<T>(value)) == value);
    return static_cast<T>(value);
}


// Data shared between threads
//
// No lock guards these words, because a search reads some of them in every node. Their types make
// the races harmless: each access is atomic, and no thread draws conclusions from the order in
// which it sees two of them change.

/// A word that several threads read and write with no order between them: a flag, a limit or a
/// counter for which an old value is as good as a new one. It behaves like a plain T and costs the
/// same instructions, but it is not a data race.
template <typename T> class relaxed
{
  public:
    // cppcheck-suppress noExplicitConstructor ; used like a plain T
    constexpr relaxed(T initial = T{}) noexcept : word(initial) {}
    relaxed(const relaxed&) = delete;
    relaxed& operator=(const relaxed&) = delete;
    operator T() const { return word.load(std::memory_order_relaxed); }
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): gives the value read, as atomics do
    T operator=(T value)
    {
        word.store(value, std::memory_order_relaxed);
        return value;
    }
    /// Stores `value` if the word holds `expected`; otherwise nothing changes.
    void replace(T expected, T value)
    {
        word.compare_exchange_strong(expected, value, std::memory_order_relaxed);
    }

  private:
    std::atomic<T> word;
};

// The builtins of g++ and clang do what std::atomic_ref does; not every C++20 library has that one.

/// Reads a plain word of a record that its owner may be changing with `publish` at this moment.
template <typename T> inline T peek(const T& word)
{
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

/// Writes a plain word that other threads may `peek` at.
template <typename T> inline void publish(T& word, T value)
{
    __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}


// Limits and scores

constexpr int NOFSQUARES = 64;
constexpr int NOFPLIES = 128;        // records of `plies`; ply 127 is the last
constexpr int MOVESTACKSIZE = 8192;  // moves in one searcher's stack
constexpr int KEYHISTORYSIZE = 1024; // keys of the game and of the path; uci.cpp drops old ones

// Each of the 64 squares can be reached in at most 16 ways (8 lines, 8 knights). A node lists these
// moves, the promotions, and its bad captures a second time. A node starts only below
// MOVESTACKSIZE, so this much space after it keeps every list within the stack on any board.
constexpr int MOVESTACKSLACK = 3072;

// Scores fit in 16 bits, the width of a table entry's score. The distance between the two limits is
// NOFPLIES: a mate is never further from the root than the path is long.
constexpr int SCOREINFINITE = 32767;  // beyond any score
constexpr int SCOREMATE = 32000;      // mate at ply p is 32000 - p
constexpr int SCOREMATELIMIT = 31872; // at or beyond this, in absolute value, a mate score

/// A sum on the 16-bit scale of scores, phases and exchanges, on which it wraps around. No position
/// of a game comes near the ends of the scale, but a board full of queens passes them, and its
/// result has to be the same on every machine.
constexpr i16 wrap16(int value)
{
    return static_cast<i16>(value);
}


// Packed scores

/// A mid-game and an end-game score in one signed 32-bit integer: mg + eg * 65536. The halves are
/// not bit fields: a negative low half borrows from the high one, which `mgHalf` and `egHalf` undo.
/// Sums, negation and multiplication by a count work on the packed word and wrap around, so that a
/// board full of queens does not overflow. Each half must stay within 16 bits to be read back.
struct combEval
{
    i32 packed;

    // cppcheck-suppress uninitMemberVar ; unset like a plain int, so that arrays of it cost nothing
    combEval() = default;
    /// A plain number, not a pair. It is implicit so that a tunable table can hold plain numbers;
    /// `plain` reads them back.
    // cppcheck-suppress noExplicitConstructor ; see above
    constexpr combEval(i32 number) noexcept : packed(number) {}
    static constexpr combEval wrapped(u32 word) { return combEval(static_cast<i32>(word)); }
    constexpr u32 word() const { return static_cast<u32>(packed); }

    constexpr combEval operator+(combEval other) const { return wrapped(word() + other.word()); }
    constexpr combEval operator-(combEval other) const { return wrapped(word() - other.word()); }
    constexpr combEval operator-() const { return wrapped(0U - word()); }
    constexpr combEval operator*(int count) const
    {
        return wrapped(word() * static_cast<u32>(count));
    }
    constexpr combEval& operator+=(combEval other) { return *this = *this + other; }
    constexpr combEval& operator-=(combEval other) { return *this = *this - other; }
    constexpr bool operator==(const combEval&) const = default;
};

static_assert(sizeof(combEval) == 4 && std::is_trivially_copyable_v<combEval>);

/// Packs a mid-game and an end-game score, each within signed 16 bits.
constexpr combEval X(int mg, int eg) noexcept
{
    return combEval::wrapped(static_cast<u32>(mg) + static_cast<u32>(eg) * 65536U);
}

/// The mid-game half of a packed score: its low 16 bits as a signed number.
constexpr int mgHalf(combEval score)
{
    return static_cast<i16>(score.word());
}

/// The end-game half of a packed score; the added 32768 undoes the borrow of a negative low half.
constexpr int egHalf(combEval score)
{
    return static_cast<i32>(score.word() + 32768U) >> 16;
}

/// The number in an element of a table of plain numbers.
constexpr int plain(combEval number)
{
    return number.packed;
}


// Codes

// Colours. The other colour is colour ^ 1.
constexpr u8 WHITE = 0;
constexpr u8 BLACK = 1;

// Piece codes: even white, odd black; 0 is an empty square and 1 is never on the board. A white
// code plus a colour is that colour's piece; code / 2 - 1 is the index by piece type.
constexpr u8 NOPIECE = 0;
constexpr u8 PAWN = 2;
constexpr u8 KNIGHT = 4;
constexpr u8 BISHOP = 6;
constexpr u8 ROOK = 8;
constexpr u8 QUEEN = 10;
constexpr u8 KING = 12;
constexpr int NOFPIECECODES = 14;

/// The colour of a piece code.
constexpr int colourOf(int code)
{
    return code & 1;
}

/// Whether a piece's code is a pawn's, of either colour. The pawns have the two lowest codes.
/// NOPIECE is not allowed.
constexpr bool isPawn(int code)
{
    assert(code >= PAWN);
    return code < KNIGHT;
}

/// Whether a piece code is a king's, of either colour. The kings have the two highest codes.
constexpr bool isKing(int code)
{
    return code >= KING;
}

// Kinds of moves. A promotion's kind is the white code of the new piece: 4, 6, 8 or 10. The kind
// tells makeMove, without a look at the board, whether a move is more than a plain step.
constexpr u8 KINDPLAIN = 0;
constexpr u8 KINDENPASSANT = 12;
constexpr u8 KINDDOUBLEPUSH = 13;
constexpr u8 KINDCASTLEKING = 14;
constexpr u8 KINDCASTLEQUEEN = 15;

/// Whether a kind of move is a promotion: those kinds lie between plain and en passant.
constexpr bool isPromotion(int kind)
{
    return kind > KINDPLAIN && kind < KINDENPASSANT;
}

/// Whether a kind of move is castling, to either side: these are the two highest kinds.
constexpr bool isCastling(int kind)
{
    return kind >= KINDCASTLEKING;
}

/// The landing square of an en passant capture: one rank beyond the captured pawn on `to`.
constexpr int enPassantLanding(int to, int us)
{
    return us == WHITE ? to + 8 : to - 8;
}

// Castling rights, one bit each, so that all four together index the 16 keys of the Zobrist table.
constexpr u8 WHITEKINGSIDE = 1;
constexpr u8 BLACKKINGSIDE = 2;
constexpr u8 WHITEQUEENSIDE = 4;
constexpr u8 BLACKQUEENSIDE = 8;
constexpr u8 WHITERIGHTS = WHITEKINGSIDE | WHITEQUEENSIDE;
constexpr u8 BLACKRIGHTS = BLACKKINGSIDE | BLACKQUEENSIDE;

/// The file of a square, a = 0 to h = 7.
constexpr int fileOf(int square)
{
    return square & 7;
}

/// The rank of a square, 0 to 7.
constexpr int rankOf(int square)
{
    return square >> 3;
}

// Squares that the rules name.
// clang-format off
enum namedSquares : u8
{
    A1 = 0, B1 = 1, C1 = 2, D1 = 3, E1 = 4, F1 = 5, G1 = 6, H1 = 7,
    A8 = 56, B8 = 57, C8 = 58, D8 = 59, E8 = 60, F8 = 61, G8 = 62, H8 = 63
};
// clang-format on

// Notation. The index of a letter in fenLabelPieces is its piece code, in promotionPieces half its
// code. The index into promotionLabels is the kind of a promotion.
constexpr std::string_view fenLabelPieces = "  PpNnBbRrQqKk";
constexpr std::string_view promotionPieces = " pnbrqk";
constexpr std::string_view promotionLabels = "  ppnnbbrrqq";
constexpr std::string_view perftFilename = QUILLON_PERFT_FILE;
constexpr std::string_view debugFilename = "debuggi.txt";
constexpr std::string_view fenStartPos = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";


// Records

/// One move.
///
///   byte | field | content
///   -----|-------|---------------------------------------------------------------------------
///   0    | from  | square that the piece leaves
///   1    | to    | square that it reaches; for en passant the square of the captured pawn, and
///        |       | the capturing pawn lands one rank beyond it (+8 white, -8 black)
///   2    | kind  | 0 plain, 4/6/8/10 promotion, 12 en passant, 13 double push, 14/15 castling
///   3    | score | in a generated list the ordering score, in a stored move the piece code
struct alignas(4) moveStruct
{
    u8 from;
    u8 to;
    u8 kind;
    u8 score;
};

static_assert(sizeof(moveStruct) == 4 && std::is_trivially_copyable_v<moveStruct>);

/// No move: four zero bytes. No real move goes from a1 to a1.
constexpr moveStruct EMPTYMOVE = {0, 0, 0, 0};

/// A move built as one word, so that a list entry takes one store.
constexpr moveStruct packMove(int from, int to, int kind, int score)
{
    return bitCast<moveStruct>(static_cast<u32>(from) | static_cast<u32>(to) << 8 |
                               static_cast<u32>(kind) << 16 | static_cast<u32>(score) << 24);
}

/// The four bytes of a move as one word, `from` lowest.
constexpr u32 moveWord(moveStruct move)
{
    return bitCast<u32>(move);
}

/// The move in the low 32 bits of a word.
constexpr moveStruct wordMove(u64 word)
{
    return bitCast<moveStruct>(static_cast<u32>(word));
}

/// Whether two moves are the same: `from`, `to` and `kind` agree; `score` never takes part.
constexpr bool sameMove(moveStruct a, moveStruct b)
{
    return ((moveWord(a) ^ moveWord(b)) & 0xffffff) == 0;
}

/// The record of one ply of the path, from the root (0) to the horizon. A null move copies the
/// whole record to the next ply, so every field has to make sense under such a copy.
struct alignas(64) plyStruct
{
    // The parent's values, restored by unmakeMove, which costs less than undoing the changes one by
    // one. Each pair is one 16-byte copy.
    combEval savedMaterial[2];
    combEval savedPstScore[2];
    u64 savedHashKey;
    u64 savedPawnHashKey;

    // The node's list in the move stack. All plies share one stack: a child's list begins where
    // the parent's ends, so no node has to reserve room for the longest list.
    moveStruct* moveListStart; // set by the generator of the parent ply; at ply 0 by the owner
    moveStruct* moveListEnd;   // end of what has been generated so far
    moveStruct* quietsStart;   // first quiet move; from here on historyBad is charged

    moveStruct currentMove; // move being searched here; the child reads its `to`
    moveStruct hashMove;    // move from the transposition table, zero when there is none
    moveStruct killers[2];  // newest first
    moveStruct bestMove;    // best move found here; the PV from the table is written here too

    u64 notPinned = 0; // all squares but those of the mover's pinned pieces; zero: all pinned

    // The parent's values, restored by unmakeMove.
    i32 savedHalfMoveClock;
    i16 savedGamePhase;

    // State of this ply itself. It needs no restoring: after unmakeMove the parent's record is the
    // one in use, and it has not changed.
    u8 capturedPiece;   // piece that the move into this ply took, 0 when none
    u8 enPassantSquare; // square of the pawn that has just double-pushed (e4, not e3), or 0
    u8 castlingRights;  // four bits
    u8 pickerStage;     // the stage that this ply's picker has reached
    u8 inCheck = 0;     // the side to move is in check; set by whoever made the move

    u64 rankedAt; // historyChanges when the quiet moves got their scores
};

static_assert(sizeof(plyStruct) == 128 && std::is_trivially_copyable_v<plyStruct>);

struct pawnHashTableStruct;
struct evalHashTableStruct;

/// The whole private working state of one searcher: the position, its path, its key history, its
/// ordering tables and its counters. Copied bytewise, which is how a search begins in each thread;
/// owns nothing; belongs to one thread at a time. In a new record the fields with initialisers are
/// zero and the rest is undefined, until set-up or a copy.
struct positionStruct
{
    // The position. board and pieceBB always agree between a make and its unmake.
    u8 board[NOFSQUARES];       // piece code on each square
    u64 hashKey;                // Zobrist key of everything that decides the position
    u64 pawnHashKey;            // Zobrist key of pawns and kings
    u64 pieceBB[NOFPIECECODES]; // by piece code; 0 all white pieces, 1 all black ones
    u8 sideToMove = WHITE;
    combEval material[2];               // per colour, kings not counted
    combEval pstScore[2];               // per colour, from its own view
    i16 gamePhase;                      // sum over knights to queens of both sides
    pawnHashTableStruct* pawnHashTable; // owned by the searcher
    evalHashTableStruct* evalHashTable; // owned by the searcher

    // Counters, written by `publish`: the boss adds them up while the threads run. Each searcher
    // has its own, because one counter for all would travel between the caches of the cores at
    // every node.
    u64 nodes = 0;  // entered by alfabeta
    u64 qNodes = 0; // entered by quiescence

    i16 keyIndex = 0;      // next free slot of keyHistory
    i16 halfMoveClock = 0; // plies since the last capture or pawn move

    // The root's book-keeping. The boss compares these fields when it chooses whose move to play.
    i16 rootBestChanges;   // new best moves at ply 0 in this iteration
    i16 rootScore;         // score of the last accepted iteration
    i16 rootDepth;         // depth of the newest result
    u8 rootDepthComplete;  // 1 when that iteration ended, 0 when it only found a new best move
    i32 nodesToClockCheck; // countdown to the next check of the clock
    i32 workerIndex;       // whose copy this is
    u8 pvLength = 0;       // index of the last move of the line in the bestMove fields
    u8 selDepth = 0;       // deepest ply that alfabeta has entered

    plyStruct plies[NOFPLIES];
    u64 keyHistory[KEYHISTORYSIZE]; // keys of the game and of the path, in order

    // Ordering of quiet moves, by [piece code - 2][to]. The square that a piece leaves hardly
    // matters to what its move is worth, and without it the tables stay small.
    u32 historyGood[12][NOFSQUARES];         // weight of the cut-offs
    u32 historyBad[12][NOFSQUARES];          // weight of the failures
    moveStruct counterMoves[12][NOFSQUARES]; // answer to the piece that has just arrived there

    u64 historyChanges = 0; // raised with each change of historyGood and historyBad
};

static_assert(sizeof(positionStruct) % 64 == 0 && std::is_trivially_copyable_v<positionStruct>);

/// A number that `setoption` sets: its name, its default and the range that values are forced into.
/// The answer to `uci`, the handler of `setoption` and the initial settings all read it here.
struct spinOption
{
    std::string_view name;
    i32 standard;
    i32 least;
    i32 greatest;
};

constexpr spinOption HASHOPTION = {"Hash", 256, 1, 32768}; // megabytes
constexpr spinOption THREADSOPTION = {"Threads", 1, 1, 64};

/// Settings of the engine and limits of a search; times in milliseconds. All threads read them. The
/// main thread writes them, also while a search runs, and the searchers write elapsedTime: so every
/// word is relaxed.
struct engineStruct
{
    relaxed<u64> nodeLimit;    // `go nodes`; only the tester build reads it
    relaxed<u64> elapsedTime;  // since startTime, as of the last iteration
    relaxed<u64> startTime;    // now() at the arrival of `go`
    relaxed<float> timeFactor; // 1, or 5 when time is short; on elapsed time, soft check
    relaxed<i32> timeLeft[2];  // `wtime`, `btime`
    relaxed<i32> timeInc[2];   // `winc`, `binc`
    relaxed<i32> movesToGo;    // moves to the next time control, or the divisor in use
    relaxed<i32> gamePly;      // progress of the game; GAMEPLYUNKNOWN when not known
    relaxed<i32> depthLimit;   // `go depth`, 0 none
    relaxed<i32> mateLimit;    // `go mate`; nothing reads it
    relaxed<i32> moveTime;     // `go movetime`, 0 none
    relaxed<i32> targetTime;   // soft budget
    relaxed<i32> maxTime;      // hard budget
    relaxed<i32> hashSizeMB{HASHOPTION.standard};    // option `Hash`
    relaxed<i32> nofThreads{THREADSOPTION.standard}; // option `Threads`
    relaxed<i32> hashFull;                           // printed after "hashfull"; stays 0
    relaxed<i32> nodeCheckInterval;                  // nodes between two checks of the clock
    relaxed<u8> infinite;                            // `go infinite`
    relaxed<u8> ponderEnabled;                       // option `Ponder`
    relaxed<u8> movesToGoGiven;                      // `go` carried `movestogo`
};

static_assert(sizeof(engineStruct) == 96);

/// Value of engine.gamePly for a game of unknown length.
constexpr int GAMEPLYUNKNOWN = 1024;


// Globals, defined in search

extern engineStruct engine;
extern positionStruct GPSData; // the position of the console, set up and moved by `position`
extern positionStruct* const GPS;
extern moveStruct GMS[MOVESTACKSIZE + MOVESTACKSLACK]; // its move stack


// Bit operations

/// The bitboard of one square. Higher bits of the number are ignored, as the shift of most
/// processors does anyway: the mask costs nothing, and a bad square number causes no undefined
/// behaviour.
constexpr u64 bit(int square)
{
    return 1ULL << (square & 63);
}

/// Number of set bits.
constexpr int popcount(u64 bitboard)
{
    return std::popcount(bitboard);
}

/// The lowest set bit's square; 64 for an empty bitboard. Loops over bitboards go from here up, so
/// they visit a1 first and h8 last, and lists of moves come in this order.
constexpr u8 lowestSquare(u64 bitboard)
{
    return narrow<u8>(std::countr_zero(bitboard));
}

/// The highest set bit's square; 255 for an empty bitboard.
constexpr u8 highestSquare(u64 bitboard)
{
    return static_cast<u8>(63 - std::countl_zero(bitboard));
}

/// Removes the lowest set bit from a bitboard that is not empty and returns its square.
constexpr u8 takeLowest(u64& bitboard)
{
    const u8 square = lowestSquare(bitboard);
    bitboard &= bitboard - 1;
    return square;
}

/// Whether more than one bit is set.
constexpr bool moreThanOne(u64 bitboard)
{
    return (bitboard & (bitboard - 1)) != 0;
}
