// SPDX-License-Identifier: MIT
//
// Builds the attack tables of moveTable.h. Sliders use "magic bitboards" (Lasse Hansen, 2006;
// Pradu Kannan, 2007): the relevant blockers of a square times a multiplier give, in the top
// bits, an index into that square's slice of precomputed attack sets.

#include "moveTable.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <numeric>

#include "search.h"

u64 knightAttackTable[64];
u64 kingAttackTable[64];
u64 pawnAttackTable[2][64];
u64 enpassantTable[64];
u64 rookAttackAll[64];
u64 bishopAttackAll[64];
magicStruct rookAttackLUT[64];
magicStruct bishopAttackLUT[64];
u64 rookAttackTable[102400];
u64 bishopAttackTable[5248];
u64 inBetweenSquares[64][64];
u64 inLineSquares[64][64];
u8 distance[64][64];
u64 ranksAtOrAbove[2][64];
u64 isolatedPawns[64];
u64 passedPawnsMask[2][64];
u64 kingSafetyArea[2][64];


// Ray walks

namespace
{

constexpr int MAXSUBSETS = 4096; // of a rook's mask on a corner square: 2 to the power of 12
constexpr int MAGICBITS = 9;     // sparse multipliers are the ones that work, and soon

constexpr int rookSteps[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
constexpr int bishopSteps[4][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}};

/// Walks four rays of {file step, rank step} up to and including the first blocker.
u64 walkRays(u8 square, u64 occupancy, const int (&steps)[4][2])
{
    u64 attacks = 0;
    for (const auto& step : steps)
    {
        int file = fileOf(square) + step[0];
        int rank = rankOf(square) + step[1];
        for (; file >= 0 && file < 8 && rank >= 0 && rank < 8; file += step[0], rank += step[1])
        {
            attacks |= bit(rank * 8 + file);
            if (occupancy & bit(rank * 8 + file)) break;
        }
    }
    return attacks;
}

/// The squares whose occupancy matters to a slider: rays without the last square of each.
u64 relevantOccupancy(int square, u64 raysOnEmptyBoard)
{
    constexpr u64 rank1 = 0xff;
    constexpr u64 rank8 = rank1 << 56;
    const u64 ownRank = rank1 << (square & 56);
    const u64 ownFile = files[fileOf(square)];
    const u64 edges = ((rank1 | rank8) & ~ownRank) | ((files[0] | files[7]) & ~ownFile);
    return raysOnEmptyBoard & ~edges;
}

/// The squares from a list of offsets that lie on the board and nearer than `reach`, so that no
/// step wraps around the side of the board.
u64 leaperAttacks(int square, const int (&offsets)[8], int reach)
{
    u64 attacks = 0;
    for (const int offset : offsets)
    {
        const u8 target = static_cast<u8>(square + offset);
        if (onBoard(target) && getDistanceSquares(static_cast<u8>(square), target) < reach)
            attacks |= bit(target);
    }
    return attacks;
}

} // namespace

u64 createRookAttackFromVar(u8 square, u64 occupancy)
{
    return walkRays(square, occupancy, rookSteps);
}

u64 createBishopAttackFromVar(u8 square, u64 occupancy)
{
    return walkRays(square, occupancy, bishopSteps);
}

i32 getDistanceSquares(u8 a, u8 b)
{
    return std::max(std::abs(fileOf(a) - fileOf(b)), std::abs(rankOf(a) - rankOf(b)));
}

bool onBoard(i32 square)
{
    return static_cast<u32>(square) < NOFSQUARES;
}


// Magic search

namespace
{

/// State of randomWord, never 0.
u64 randomState = 1;

/// Random words for the magic search (Sebastiano Vigna, xorshift64*, 2014); any source of random
/// bits would do.
u64 randomWord()
{
    randomState ^= randomState >> 12;
    randomState ^= randomState << 25;
    randomState ^= randomState >> 27;
    return randomState * 0x2545f4914f6cdd1d;
}

} // namespace

u64 generateMagicNumber(i32 bits)
{
    u64 candidate = 0;
    u64 random = 0;
    for (int left = std::min(bits, 64), numbers = 0; left > 0; --numbers)
    {
        // One word holds ten numbers of six bits.
        if (numbers == 0)
        {
            random = randomWord();
            numbers = 10;
        }
        const u64 drawn = bit(static_cast<int>(random >> 58));
        random <<= 6;
        if (candidate & drawn) continue;
        candidate |= drawn;
        --left;
    }
    return candidate;
}

namespace
{

/// Lists all subsets of a mask, by the carry-rippler step, and returns their number. Those with
/// fewer men come first: they have the most different attacks, so a candidate that fails does so
/// after a sixth of the tests.
int listSubsets(u64 mask, u64 (&subsets)[MAXSUBSETS])
{
    const auto next = [mask](u64 subset) { return (subset - mask) & mask; };
    int start[64] = {}; // of the subsets of n men
    u64 subset = 0;
    do {
        ++start[popcount(subset) + 1];
        subset = next(subset);
    } while (subset);
    std::partial_sum(std::begin(start), std::end(start), std::begin(start));

    int count = 0;
    do {
        subsets[start[popcount(subset)]++] = subset;
        ++count;
        subset = next(subset);
    } while (subset);
    return count;
}

// Seeds with which the first candidate of a square is a multiplier that works. Any others would do
// and cost time: without them the search takes ten times as long as the rest of the start.
// clang-format off
constexpr u32 rookSeeds[64] = {
     27525,  21048,  15448,    240,  30740,  18941,   2734, 167741,
     14706,   1542,  21184,   9016,  27490,  14246,   3724,  30534,
      3665,   7418,    133,     64,  17585,  40394,   2313,    963,
      6337,   2381,  32583,   4571,  10969,  28826,   5292,   3542,
     16946,   2381,  33495,  20487,  46020,  26236,   9607,  11952,
      8554,   9636, 143694,   9016,  43953, 113961,   2648,   1588,
     13725,   1542,    133,   4571,  15324,  22988,  17214,  20854,
     37357,  26502,   2405,   1659,   1659,   1659,   2501,  13166,
};
constexpr u32 bishopSeeds[64] = {
      4745,    874,    415,     27,    290,    282,    440,    296,
      1167,    556,    874,    613,    201,   1479,    762,    946,
      3108,   1945,   4737,    297,   1317,   4018,     94,    281,
      1499,   1317,    119,  18150,  25415,   1942,   1300,    675,
       159,    246,   4806,   2874,  14677,   5637,   1897,   3928,
       440,   1578,   1674,   4309,    442,   2044,   1049,    529,
       440,     22,    220,    147,    643,    643,    449,    874,
       296,    946,    226,     55,     38,    955,   1167,   4745,
};
// clang-format on

/// Finds a multiplier for each square of one slider and fills its table. `stamps` marks the cells
/// that the present attempt has filled, which spares clearing them between attempts; `attempt`
/// runs on through all squares of both sliders.
void searchMagics(magicStruct (&lut)[64], u64* table, const u64 (&emptyBoard)[64],
                  u64 (*slowAttacks)(u8, u64), const u32 (&seeds)[64], i32 (&stamps)[MAXSUBSETS],
                  i32& attempt)
{
    u64 subsets[MAXSUBSETS] = {};
    u64 attacks[MAXSUBSETS];

    lut[0].attacks = table;
    for (int square = 0; square < NOFSQUARES; ++square)
    {
        magicStruct& entry = lut[square];
        entry.mask = relevantOccupancy(square, emptyBoard[square]);
        entry.shift = 64 - popcount(entry.mask);

        const int count = listSubsets(entry.mask, subsets);
        for (int i = 0; i < count; ++i)
            attacks[i] = slowAttacks(static_cast<u8>(square), subsets[i]);
        if (square < 63) lut[square + 1].attacks = entry.attacks + count;

        randomState = seeds[square] * 0x9e3779b97f4a7c15;
        for (bool found = false; !found;)
        {
            entry.magic = generateMagicNumber(MAGICBITS);
            const i32 before = attempt++;
            found = true;
            for (int i = 0; i < count && found; ++i)
            {
                const u64 index = (subsets[i] * entry.magic) >> entry.shift;
                if (stamps[index] <= before)
                {
                    stamps[index] = attempt;
                    entry.attacks[index] = attacks[i];
                }
                else if (entry.attacks[index] != attacks[i])
                    found = false;
            }
        }
#ifdef QUILLON_PEXT
        // Lookups do without the multiplier and order the slice by the extracted bits.
        for (int i = 0; i < count; ++i) entry.attacks[slotOf(subsets[i], entry)] = attacks[i];
#endif
    }
}

} // namespace


// Lines, areas and the whole

void initInBetweenSquares()
{
    for (int a = 0; a < NOFSQUARES; ++a)
        for (int b = 0; b < NOFSQUARES; ++b)
        {
            u64 between = 0;
            if (rookAttackLUT[a].attacks[0] & bit(b))
                between = getRookAttackTable(a, bit(b)) & getRookAttackTable(b, bit(a));
            if (bishopAttackLUT[a].attacks[0] & bit(b))
                between |= getBishopAttackTable(a, bit(b)) & getBishopAttackTable(b, bit(a));
            inBetweenSquares[a][b] = between;

            if (bishopAttackAll[a] & bit(b))
                inLineSquares[a][b] = bit(a) | bit(b) | (bishopAttackAll[a] & bishopAttackAll[b]);
            else if (rookAttackAll[a] & bit(b))
                inLineSquares[a][b] = bit(a) | bit(b) | (rookAttackAll[a] & rookAttackAll[b]);

            distance[a][b] =
                static_cast<u8>(getDistanceSquares(static_cast<u8>(a), static_cast<u8>(b)));
        }
}

namespace
{

/// Leapers and pawns.
void initLeapers()
{
    constexpr int knightOffsets[8] = {17, 15, 10, 6, -6, -10, -15, -17};
    constexpr int kingOffsets[8] = {9, 8, 7, 1, -1, -7, -8, -9};

    for (int square = 0; square < NOFSQUARES; ++square)
    {
        const u64 notFileA = bit(square) & ~files[0];
        const u64 notFileH = bit(square) & ~files[7];
        const int rank = rankOf(square);

        knightAttackTable[square] = leaperAttacks(square, knightOffsets, 3);
        kingAttackTable[square] = leaperAttacks(square, kingOffsets, 2);
        enpassantTable[square] = rank == 3 || rank == 4 ? notFileA >> 1 | notFileH << 1 : 0;

        // No pawn stands on its own first rank, so nothing attacks from below rank 2.
        pawnAttackTable[WHITE][square] = square >= 16 ? notFileA >> 9 | notFileH >> 7 : 0;
        pawnAttackTable[BLACK][square] = square < 48 ? notFileA << 7 | notFileH << 9 : 0;
    }
}

/// The areas around pawns and kings that the evaluation reads.
void initAreas()
{
    constexpr u64 threeFilesFourRanks = 0x07070707;

    for (int square = 0; square < NOFSQUARES; ++square)
    {
        const int file = fileOf(square);
        const int rank = rankOf(square);
        const u64 here = bit(square);
        const u64 sides = (here & ~files[0]) >> 1 | (here & ~files[7]) << 1;

        ranksAtOrAbove[WHITE][square] = ~0ULL << (8 * rank);
        ranksAtOrAbove[BLACK][square] = ~0ULL >> (8 * (7 - rank));
        isolatedPawns[square] = northFill(sides) | southFill(sides);

        const bool pawnsStandHere = rank > 0 && rank < 7;
        passedPawnsMask[WHITE][square] = pawnsStandHere ? northFill((here | sides) << 8) : 0;
        passedPawnsMask[BLACK][square] = pawnsStandHere ? southFill((here | sides) >> 8) : 0;

        // The lowest rank of the box is one below a white king and two below a black one.
        const int leftFile = std::clamp(file, 1, 6) - 1;
        for (const int colour : {WHITE, BLACK})
        {
            const int lowestRank = rank - (colour == WHITE ? 1 : 2);
            const u64 box = lowestRank < 0 ? threeFilesFourRanks >> (-8 * lowestRank)
                                           : threeFilesFourRanks << (8 * lowestRank);
            kingSafetyArea[colour][square] = box << leftFile;
        }
    }
}

} // namespace

void initBitboardConstants()
{
    GPS->plies[0].moveListStart = GMS;
    initLMRTable();

    initLeapers();
    for (int square = 0; square < NOFSQUARES; ++square)
    {
        rookAttackAll[square] = createRookAttackFromVar(static_cast<u8>(square), 0);
        bishopAttackAll[square] = createBishopAttackFromVar(static_cast<u8>(square), 0);
    }

    i32 stamps[MAXSUBSETS] = {};
    i32 attempt = 0;
    searchMagics(rookAttackLUT, rookAttackTable, rookAttackAll, createRookAttackFromVar, rookSeeds,
                 stamps, attempt);
    searchMagics(bishopAttackLUT, bishopAttackTable, bishopAttackAll, createBishopAttackFromVar,
                 bishopSeeds, stamps, attempt);

    initInBetweenSquares();
    initAreas();
}
