// SPDX-License-Identifier: MIT
//
// Zobrist keys, the transposition table that all threads share, and the two small caches that
// each searcher owns: pawn structures and finished evaluations. A position is known by its key
// alone; two positions with one key are rare enough to accept.
//
//   Zobrist keys              initHashCodeTables, calcHashKey, calcHashKeyPawn
//   Transposition table       createHashTable, warmHashTable, getHashTableEntry, putHashTableEntry
//   Pawn and evaluation hash  getPawnHashEntry, getEvalHashEntry
#pragma once

#include <string>

#include "global.h"


// Zobrist keys (Albert Zobrist, 1970)

extern u64 hashCodePiece[NOFPIECECODES][NOFSQUARES]; // [piece code][square]; rows 0, 1 are zero
extern u64 hashCodeCastling[16];                     // by the whole castlingRights value
extern u64 hashCodeEnpassant[8];                     // by file of enPassantSquare
extern u64 hashCodeBlackToMove;

/// Fills the key tables from the stored random numbers, then creates the transposition table at
/// engine.hashSizeMB.
void initHashCodeTables();

/// The key of everything that decides a position, from its bitboards, side to move, and the
/// rights and the en passant square of plies[ply]. makeMove updates a key; this computes it afresh.
u64 calcHashKey(u8 ply, const positionStruct* position);

/// The key of pawns and kings. `ply` is not used.
u64 calcHashKeyPawn(u8 ply, const positionStruct* position);


// Transposition table
//
// The table keeps the results of nodes, so that a position that is reached again, by another order
// of moves or in the next iteration, needs no second search. It has lines of 64 bytes, the unit in
// which processors fetch memory, with one entry each, in the first 16 bytes:
//
//   offset | width | content
//   -------|-------|-----------------------------------------------------------
//   0      | 8     | check word: key XOR (data word AND HASHDATAMASK); 0 means empty
//   8      | 8     | data word
//
// Data word, from the low end:
//
//   bits  | field | content
//   ------|-------|-----------------------------------------------------------
//   0-31  | move  | moveStruct, all four bytes
//   32-47 | score | i16; a mate score counts from the storing node
//   48-55 | depth | i8, 0 or more
//   56-57 | bound | 0 none, 1 upper, 2 lower, 3 exact
//   58-63 | age   | hashAgeCounter at the store or at the last hit; not covered by the check word
//
// A key's entry is in its home line or one of the three lines after it. The table has no lock,
// because every node would have to wait for it: every access is a relaxed atomic, and an entry torn
// between two stores fails its check word (Robert Hyatt and Tim Mann, "A lockless transposition
// table", 2002). The age is outside the check word, so that a hit can renew it with a single byte.

constexpr u8 boundUpper = 1; // no move reached alpha: the score is an upper bound
constexpr u8 boundLower = 2; // a move reached beta: the score is a lower bound
constexpr u8 boundExact = 3;

constexpr u64 HASHDATAMASK = 0x03FFFFFFFFFFFFFF;

/// One line of the table.
struct hashLine
{
    u64 check;
    u64 data;
    u64 unused[6];
};

constexpr int PROBES = 4; // lines that may hold a key: its home line and those after it

static_assert(sizeof(hashLine) == 64 && std::is_trivially_copyable_v<hashLine>);

extern hashLine* hashTable; // start of the block, null before the first createHashTable
extern u64 hashKeyMask;     // number of home lines, a power of two, minus one
extern u8 hashAgeCounter;   // age of everything written or hit in this search, 0 to 63
extern u32 hashHartBeat;    // searches started since the table was created or cleared
extern u64 hashCountUse;    // set to 0 by create and clear, never raised
extern u64 hashCountPuts;
extern u64 hashCountGets;

/// Replaces the table with an empty one of at least `megabytes`, rounded up to a power of two, at
/// least 1. When that is more than the machine or its control group has, or can't be allocated,
/// writes a line that says so and takes the largest size that can be had. No search may be running.
void createHashTable(int megabytes);

/// Starts a thread that touches the pages of a new table, so that the first searches needn't wait
/// while the system finds each page for them. It ends by itself, or when the table is cleared,
/// replaced or freed. If no thread can be started, pages come when they are used.
void warmHashTable();

/// Waits until that thread has touched all pages, at most `milliseconds`. Returns whether it has.
bool waitForWarmHashTable(int milliseconds);

/// The lowest memory limit, in bytes, of the control groups that hold this process on Linux; the
/// largest u64 when there is none. Files are read below `root`, "" for the system's own.
u64 controlGroupLimit(const std::string& root);

/// Empties the table and counts searches from 0 again. No search may be running.
void clearHashTable();

/// Frees the table. No search may be running.
void destroyHashTable();

/// Stores a result. `score` is relative to the root; `depth` 0 to 127; `bound` one of the three
/// codes; `ply` the distance of the storing node from the root. Overwrites the key's own entry,
/// whatever it holds, or takes the first empty one; otherwise it replaces the entry that is least
/// worth keeping.
void putHashTableEntry(u64 key, moveStruct move, i16 score, i8 depth, u8 bound, u8 ply);

/// The data word stored for a key, its age renewed, or 0 when there is none. Callers read the
/// bound first (0 is a miss) and bring the score back to their own ply with hashScore.
u64 getHashTableEntry(u64 key);

/// Asks the processor to fetch the lines that may hold a key. A search knows the key of the next
/// node well before it reads them, and the table is far larger than any cache.
inline void prefetchHashLines(u64 key)
{
    const hashLine* const home = &hashTable[key & hashKeyMask];
    for (const hashLine* line = home; line < home + PROBES; ++line) __builtin_prefetch(line, 0, 3);
}

/// The fields of a data word.
constexpr u8 hashBound(u64 data)
{
    return narrow<u8>(data >> 56 & 3);
}

constexpr i8 hashDepth(u64 data)
{
    return static_cast<i8>(data >> 48);
}

constexpr u8 hashAge(u64 data)
{
    return narrow<u8>(data >> 58);
}

/// The score of a data word, seen from the root when read at `ply`. An entry counts a mate from its
/// own node, because the position can be reached at different plies.
constexpr i16 hashScore(u64 data, int ply)
{
    const i16 score = static_cast<i16>(data >> 32);
    if (score >= SCOREMATELIMIT) return wrap16(score - ply);
    if (score <= -SCOREMATELIMIT) return wrap16(score + ply);
    return score;
}


// Pawn and evaluation hash
//
// Direct-mapped and private to one searcher: a store overwrites its slot, a probe compares the
// whole key. What they hold can be computed again at little cost, so they need neither ages nor
// several slots for a key, and being private they need no atomics.

struct pawnEntry
{
    u64 key;         // pawnHashKey
    u64 passedPawns; // of both colours
    combEval score;  // pawn structure, white minus black
    i16 shield[2];   // per colour, by the pawns before its king, whether or not queens are left
};

struct evalEntry
{
    u64 key;        // hashKey
    i16 score;      // finished score, white's view
    u16 hasTotal;   // whether the next field is set
    combEval total; // before tempo and blend, white's view
};

struct pawnHashTableStruct
{
    pawnEntry entries[65536];
};

struct evalHashTableStruct
{
    evalEntry entries[16384];
};

static_assert(sizeof(pawnEntry) == 24 && sizeof(pawnHashTableStruct) == 1572864);
static_assert(sizeof(evalEntry) == 16 && sizeof(evalHashTableStruct) == 262144);

/// The slot of a key in its table: the low bits, as many as the table has slots.
constexpr size_t pawnSlot(u64 key)
{
    return key & 0xffff;
}

constexpr size_t evalSlot(u64 key)
{
    return key & 0x3fff;
}

/// The entry of a pawn key, null when its slot holds another one.
inline pawnEntry* getPawnHashEntry(pawnHashTableStruct* table, u64 key)
{
    pawnEntry& entry = table->entries[pawnSlot(key)];
    return entry.key == key ? &entry : nullptr;
}

/// Stores what depends on pawns and kings alone and returns the entry.
inline pawnEntry* putPawnHashEntry(pawnHashTableStruct* table, u64 key, u64 passedPawns,
                                   combEval score, int whiteShield = 0, int blackShield = 0)
{
    pawnEntry& entry = table->entries[pawnSlot(key)];
    entry = {key, passedPawns, score, {narrow<i16>(whiteShield), narrow<i16>(blackShield)}};
    return &entry;
}

/// The entry of a position's key, null when its slot holds another.
inline evalEntry* getEvalHashEntry(evalHashTableStruct* table, u64 key)
{
    evalEntry& entry = table->entries[evalSlot(key)];
    return entry.key == key ? &entry : nullptr;
}

/// Stores a score from white's view. Only its low 16 bits are kept.
inline void putEvalHashEntry(evalHashTableStruct* table, u64 key, int score)
{
    table->entries[evalSlot(key)] = {key, wrap16(score), 0, X(0, 0)};
}

/// The same with the total that the score comes from.
inline void putEvalHashEntry(evalHashTableStruct* table, u64 key, int score, combEval total)
{
    table->entries[evalSlot(key)] = {key, wrap16(score), 1, total};
}

/// Asks the processor to fetch the two entries that the evaluation of a position may have: the
/// tables together are larger than the caches of a core.
inline void prefetchEvaluation(const positionStruct* position)
{
    __builtin_prefetch(&position->evalHashTable->entries[evalSlot(position->hashKey)]);
    __builtin_prefetch(&position->pawnHashTable->entries[pawnSlot(position->pawnHashKey)]);
}
