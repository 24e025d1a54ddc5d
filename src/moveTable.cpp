// SPDX-License-Identifier: MIT
//
// Builds the attack tables of moveTable.h. Sliders use "magic bitboards" (Lasse Hansen, 2006;
// Pradu Kannan, 2007): the relevant blockers of a square times a multiplier give, in the top
// bits, an index into that square's slice of precomputed attack sets. A multiplier is good if no
// two sets of blockers with different attacks get the same index. There is no formula for one, so
// they are found by trial. Start-up does this each time: it takes a few milliseconds, and a table
// of stored multipliers would be one more thing to check.

#include "moveTable.h"

#include <algorithm>
#include <cstdlib>

#include "search.h"

u64 knightAttackTable[64];
u64 kingAttackTable[64];
u64 pawnAttackTable[2][64];
u64 enpassantTable[64];
u64 rookAttackAll[64];
u64 bishopAttackAll[64];
magicStruct rookAttackLUT[64];
magicStruct bishopAttackLUT[64];
sliderColumns rookColumns;
sliderColumns bishopColumns;
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
constexpr int MAGICBITS = 9;     // set bits of a candidate: sparse ones work most often

constexpr u64 rank1 = 0xff;
constexpr u64 rank8 = rank1 << 56;

/// A direction: by how much a step rotates a bitboard left, and the edge where a ray ends. A step
/// down the board is a rotation by 64 less the step, so that one operation serves all directions;
/// no bit comes round from the other end, because the ray has ended at the edge before.
struct direction
{
    // cppcheck-suppress unusedStructMember
    u8 step;
    u64 edge;
};

constexpr direction rookDirections[4] = {{8, rank8}, {56, rank1}, {1, files[7]}, {63, files[0]}};
constexpr direction bishopDirections[4] = {
    {9, rank8 | files[7]}, {7, rank8 | files[0]}, {57, rank1 | files[7]}, {55, rank1 | files[0]}};

/// Walks four rays up to and including the first blocker.
u64 walkRays(u8 square, u64 occupancy, const direction (&directions)[4])
{
    u64 attacks = 0;
    for (const auto& [step, edge] : directions)
    {
        u64 here = bit(square);
        // The square itself blocks nothing.
        for (u64 end = edge; !(here & end); end = edge | occupancy)
        {
            here = std::rotl(here, step);
            attacks |= here;
        }
    }
    return attacks;
}

/// The squares whose occupancy matters to a slider: its rays without the last square of each. A
/// piece on the last square blocks nothing, and leaving these out halves the slice for each ray.
u64 relevantOccupancy(int square, u64 raysOnEmptyBoard)
{
    const u64 ownRank = rank1 << (square & 56);
    const u64 ownFile = files[fileOf(square)];
    const u64 edges = ((rank1 | rank8) & ~ownRank) | ((files[0] | files[7]) & ~ownFile);
    return raysOnEmptyBoard & ~edges;
}

/// The squares at the given offsets that are on the board. A step that wraps around the side of the
/// board arrives at a distance of `reach` or more and is left out.
u64 leaperAttacks(u8 square, const int (&offsets)[8], int reach)
{
    u64 attacks = 0;
    for (const int offset : offsets)
    {
        const int target = square + offset;
        if (onBoard(target) && getDistanceSquares(square, narrow<u8>(target)) < reach)
            attacks |= bit(target);
    }
    return attacks;
}

} // namespace

u64 createRookAttackFromVar(u8 square, u64 occupancy)
{
    return walkRays(square, occupancy, rookDirections);
}

u64 createBishopAttackFromVar(u8 square, u64 occupancy)
{
    return walkRays(square, occupancy, bishopDirections);
}

i32 getDistanceSquares(u8 a, u8 b)
{
    return std::max(std::abs(fileOf(a) - fileOf(b)), std::abs(rankOf(a) - rankOf(b)));
}

bool onBoard(i32 square)
{
    return square >= 0 && square < NOFSQUARES;
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

/// A word with `bits` distinct random bits set.
inline u64 drawBits(int bits)
{
    // A random word gives ten six-bit numbers of bits, from the top down.
    u64 word = 0;
    u64 random = randomWord();
    int shift = 64;
    const auto draw = [&] { word |= bit(narrow<int>(random >> (shift -= 6) & 63)); };
    // The first `bits` draws can't set too many, so the bits need not be counted. Some may have hit
    // the same bit; the loop below draws what is missing.
    for (int i = std::min(bits, 10); i > 0; --i) draw();
    while (popcount(word) < bits)
    {
        if (shift < 6)
        {
            random = randomWord();
            shift = 64;
        }
        draw();
    }
    return word;
}

/// Lists all subsets of a slider's mask with their attacks and returns their number. Subsets of
/// fewer pieces come first: their attacks differ most, so a bad candidate fails after few of them.
/// The subsets are generated by the carry-rippler step, (subset - mask) & mask, which counts up
/// through the bits of the mask.
int listSubsets(u8 square, u64 mask, u64 (*slowAttacks)(u8, u64), u64 (&subsets)[MAXSUBSETS],
                u64 (&attacks)[MAXSUBSETS])
{
    const int bits = popcount(mask);
    int start[64] = {}; // of the subsets of n pieces, as many as ways to choose n of the bits
    for (int n = 0, ways = 1; n <= bits; ++n)
    {
        start[n + 1] = start[n] + ways;
        ways = ways * (bits - n) / (n + 1);
    }
    u64 subset = 0;
    do {
        const int place = start[popcount(subset)]++;
        subsets[place] = subset;
        attacks[place] = slowAttacks(square, subset);
        subset = (subset - mask) & mask;
    } while (subset);
    return 1 << bits;
}

// The seeds of the generator for the squares of each rank, the first rank first. Others would work,
// but more slowly: with these, the search rejects only a tenth of the candidates that it rejects
// without seeds.
// clang-format off
constexpr u32 rookSeeds[8] = {
    467904739, 261014234, 69170229, 92825621, 556082870, 151814186, 159543925, 67135766,
};
constexpr u32 bishopSeeds[8] = {
    33129711, 476898, 38248187, 32321234, 37261165, 30463936, 38332240, 14899955,
};
// clang-format on

/// Finds a multiplier for each square of one slider and fills its table. Without seeds the
/// generator continues where it is. `stamps` holds, for each cell, the number of the attempt that
/// has filled it, so the cells need not be cleared between attempts. To that end, `attempt` counts
/// up through all squares of both sliders.
void searchSlider(magicStruct (&lut)[64], sliderColumns& columns, u64* table,
                  const u64 (&emptyBoard)[64], u64 (*slowAttacks)(u8, u64), const u32* seeds,
                  i32 (&stamps)[MAXSUBSETS], i32& attempt)
{
    u64 subsets[MAXSUBSETS] = {};
    u64 attacks[MAXSUBSETS];

    lut[0].attacks = table;
    for (u8 square = 0; square < NOFSQUARES; ++square)
    {
        magicStruct& entry = lut[square];
        entry.mask = relevantOccupancy(square, emptyBoard[square]);
        entry.shift = 64 - popcount(entry.mask);

        const int count = listSubsets(square, entry.mask, slowAttacks, subsets, attacks);
        if (square < 63) lut[square + 1].attacks = entry.attacks + count;

        // For each relevant square, the bits of a multiplier that carry a lone piece on it into the
        // index. A candidate with none of them gives that piece index 0, the index of the empty
        // board. Most candidates fail this test, which is much cheaper than the full one below. The
        // list ends with a zero, at which the loop over it stops.
        u64 carriers[13] = {};
        u64* end = carriers;
        for (u64 rest = entry.mask; rest;) *end++ = (~0ULL << entry.shift) >> takeLowest(rest);

        if (seeds && fileOf(square) == 0) randomState = seeds[rankOf(square)] * 0x9e3779b97f4a7c15;
        u64* const slice = entry.attacks;
        const i32 shift = entry.shift;
        for (bool found = false; !found;)
        {
            const u64 magic = drawBits(MAGICBITS);
            const i32 stamp = ++attempt;
            entry.magic = magic;
            const u64* carrier = carriers;
            while (magic & *carrier) ++carrier;
            found = carrier == end;
            for (int i = 0; i < count && found; ++i)
            {
                const u64 index = (subsets[i] * magic) >> shift;
                if (stamps[index] < stamp)
                {
                    stamps[index] = stamp;
                    slice[index] = attacks[i];
                }
                else
                    found = slice[index] == attacks[i];
            }
        }
        columns.attacks[square] = slice;
        columns.masks[square] = entry.mask;
#ifdef QUILLON_PEXT
        // In this build lookups extract bits instead, so the slice is filled again, in that order.
        // The multiplier is still searched for: one kind of start-up is simpler than two.
        for (int i = 0; i < count; ++i) slice[_pext_u64(subsets[i], entry.mask)] = attacks[i];
#endif
    }
}

} // namespace

i32 searchMagics(bool seeded)
{
    i32 stamps[MAXSUBSETS] = {};
    // Every square accepts one candidate; all others have been rejected.
    i32 attempt = 0;
    searchSlider(rookAttackLUT, rookColumns, rookAttackTable, rookAttackAll,
                 createRookAttackFromVar, seeded ? rookSeeds : nullptr, stamps, attempt);
    searchSlider(bishopAttackLUT, bishopColumns, bishopAttackTable, bishopAttackAll,
                 createBishopAttackFromVar, seeded ? bishopSeeds : nullptr, stamps, attempt);
    return attempt - 2 * NOFSQUARES;
}


// Lines, areas and the whole

void initInBetweenSquares()
{
    for (u8 a = 0; a < NOFSQUARES; ++a)
        for (u8 b = 0; b < NOFSQUARES; ++b)
        {
            // Two sliders that look at each other meet on the squares between them.
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

            distance[a][b] = narrow<u8>(getDistanceSquares(a, b));
        }
}

namespace
{

/// Builds the tables of knights, kings and pawns.
void initLeapers()
{
    constexpr int knightOffsets[8] = {17, 15, 10, 6, -6, -10, -15, -17};
    constexpr int kingOffsets[8] = {9, 8, 7, 1, -1, -7, -8, -9};

    for (u8 square = 0; square < NOFSQUARES; ++square)
    {
        const u64 notFileA = bit(square) & ~files[0];
        const u64 notFileH = bit(square) & ~files[7];
        const int rank = rankOf(square);

        knightAttackTable[square] = leaperAttacks(square, knightOffsets, 3);
        kingAttackTable[square] = leaperAttacks(square, kingOffsets, 2);
        enpassantTable[square] = rank == 3 || rank == 4 ? notFileA >> 1 | notFileH << 1 : 0;

        // A pawn is never on its own first rank, so it attacks nothing on its second.
        pawnAttackTable[WHITE][square] = square >= 16 ? notFileA >> 9 | notFileH >> 7 : 0;
        pawnAttackTable[BLACK][square] = square < 48 ? notFileA << 7 | notFileH << 9 : 0;
    }
}

/// Builds the areas around pawns and kings that the evaluation reads.
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

        // The box reaches one rank behind its king and two ahead. So its lowest rank is one below a
        // white king and two below a black one; ranks off the board are shifted out. A king on an
        // edge file gets the three files next to that edge.
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
    for (u8 square = 0; square < NOFSQUARES; ++square)
    {
        rookAttackAll[square] = createRookAttackFromVar(square, 0);
        bishopAttackAll[square] = createBishopAttackFromVar(square, 0);
    }

    searchMagics(true);
    initInBetweenSquares();
    initAreas();
}


// Interface without a caller

u64 generateMagicNumber(i32 bits)
{
    return drawBits(std::min(bits, 64));
}
