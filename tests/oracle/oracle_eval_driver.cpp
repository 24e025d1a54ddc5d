// SPDX-License-Identifier: MIT
//
// The frame of the static evaluation: material, piece-square sums, the two rules for drawn
// material, the bishop pair, the tempo, and the blend between the middle game and the end game.
// Everything is summed from the board afresh at each call.
#include "oracle_eval.h"

#include <array>
#include <cstdint>

namespace
{

// Both halves travel in one 32-bit word, as the engine's numbers do, so that a sum too large for
// a half spills over in the same way. Unsigned, because the spill must be allowed to wrap.
struct Pair
{
    int mg;
    int eg;
};

constexpr std::uint32_t pack(Pair pair)
{
    return static_cast<std::uint32_t>(pair.mg) + static_cast<std::uint32_t>(pair.eg) * 65536u;
}

int middleGameHalf(std::uint32_t packed)
{
    return static_cast<std::int16_t>(packed & 0xffffu);
}

int endGameHalf(std::uint32_t packed)
{
    return static_cast<std::int32_t>(packed + 32768u) >> 16;
}

// Indexed by man: pawn, knight, bishop, rook, queen, king.
constexpr std::array<Pair, 6> manValue{
    {{82, 94}, {352, 274}, {381, 293}, {484, 514}, {1043, 960}, {0, 0}}};
constexpr std::array<int, 6> phaseWeight{0, 352, 381, 484, 1043, 0};
constexpr int fullMiddleGame = 6183;
constexpr int fullEndGame = 497;
constexpr Pair bishopPair{33, 44};
constexpr Pair tempo{25, 17};

// squareValue[man][square]: white reads square ^ 56, black the square itself.
// clang-format off
constexpr std::array<std::array<Pair, 64>, 6> squareValue{{
    // pawn, the owner's eighth rank first, files a to h
    {{
        {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0},
        {48, 132}, {38, 127}, {23, 127}, {64, 109}, {42, 123}, {111, 95}, {-21, 123}, {10, 133},
        {-3, 37}, {-30, 35}, {-5, 29}, {-3, 14}, {18, 14}, {37, 14}, {-5, 25}, {-11, 30},
        {-8, 11}, {-10, 2}, {-7, 4}, {5, -7}, {3, -4}, {1, -5}, {-20, 1}, {-12, 4},
        {-12, 3}, {-19, 3}, {-6, 0}, {5, -6}, {6, -5}, {7, -9}, {-23, -6}, {-16, -6},
        {-16, -4}, {-14, -3}, {-11, 1}, {-6, 2}, {-2, 0}, {-9, -3}, {-1, -13}, {-18, -11},
        {-15, 5}, {-7, -3}, {-13, 11}, {-10, 5}, {-4, 14}, {-6, 2}, {4, -10}, {-10, -12},
        {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0},
    }},
    // knight, the owner's eighth rank first, files a to h
    {{
        {-114, -33}, {-53, -38}, {-38, -14}, {-17, -31}, {37, -33}, {-62, -40}, {-3, -63}, {-63, -78},
        {-54, -18}, {-48, -7}, {36, -31}, {-3, -5}, {13, -21}, {7, -30}, {14, -27}, {-25, -48},
        {-38, -13}, {15, -10}, {2, 14}, {17, 11}, {31, 2}, {65, -7}, {17, -12}, {24, -31},
        {11, -5}, {24, -1}, {10, 15}, {30, 19}, {29, 16}, {35, 8}, {27, -4}, {21, -7},
        {8, -8}, {23, -15}, {15, 10}, {14, 14}, {23, 12}, {28, 5}, {25, 0}, {13, -9},
        {4, -22}, {1, -9}, {4, -7}, {7, 4}, {16, 1}, {12, -9}, {23, -27}, {0, -14},
        {-5, -31}, {-18, -23}, {-7, -20}, {0, -11}, {3, -10}, {7, -23}, {8, -21}, {-1, -38},
        {-52, -13}, {-5, -34}, {-30, -26}, {-22, -13}, {3, -23}, {-21, -16}, {-10, -34}, {-10, -45},
    }},
    // bishop, the owner's eighth rank first, files a to h
    {{
        {-17, -7}, {-2, -19}, {-88, -6}, {-54, -7}, {-36, -8}, {-49, -7}, {6, -13}, {-1, -18},
        {-27, 3}, {-17, 2}, {-31, 3}, {-38, -9}, {-12, -1}, {23, -11}, {-29, -3}, {-48, -8},
        {-1, 4}, {8, -1}, {11, 0}, {3, -3}, {5, -1}, {29, 0}, {0, 3}, {8, 3},
        {1, 2}, {4, 2}, {3, 8}, {19, 9}, {7, 11}, {15, 3}, {6, -4}, {-3, 5},
        {0, -4}, {6, -1}, {9, 5}, {13, 11}, {22, 1}, {2, 7}, {4, -4}, {11, -3},
        {13, -7}, {19, -7}, {9, 5}, {7, 3}, {10, 6}, {18, -1}, {14, -5}, {10, -6},
        {15, -10}, {13, -11}, {12, -10}, {-4, -3}, {-1, 4}, {19, -10}, {26, -13}, {5, -20},
        {-5, -13}, {13, -9}, {-5, -5}, {-3, -5}, {5, -8}, {-15, 0}, {-13, -7}, {-2, -13},
    }},
    // rook, the owner's eighth rank first, files a to h
    {{
        {-18, 27}, {-4, 21}, {-25, 25}, {-2, 20}, {-8, 22}, {-34, 18}, {-14, 18}, {-11, 18},
        {-8, 22}, {-2, 20}, {13, 15}, {13, 14}, {20, 6}, {14, 11}, {-11, 20}, {-5, 18},
        {-17, 13}, {2, 12}, {3, 10}, {12, 7}, {-10, 6}, {-3, 4}, {28, 4}, {-16, 6},
        {-17, 11}, {-8, 7}, {10, 12}, {9, 3}, {15, 6}, {17, 8}, {-14, 7}, {-16, 13},
        {-18, 7}, {-9, 8}, {-9, 11}, {-4, 5}, {7, 1}, {-4, 0}, {13, -2}, {-16, 4},
        {-19, 1}, {-7, 1}, {-1, -5}, {-7, -1}, {3, -7}, {9, -11}, {2, -2}, {-21, -8},
        {-23, -3}, {-5, -8}, {-11, -2}, {4, -5}, {10, -12}, {14, -14}, {6, -15}, {-44, -2},
        {-4, -5}, {-5, -2}, {-3, 1}, {6, -2}, {7, -5}, {8, -8}, {-19, -3}, {-2, -19},
    }},
    // queen, the owner's eighth rank first, files a to h
    {{
        {-8, -14}, {-7, 21}, {12, 14}, {-10, 21}, {36, 16}, {19, 14}, {27, 10}, {26, 23},
        {-23, 7}, {-37, 18}, {-16, 24}, {0, 23}, {-36, 32}, {14, 5}, {5, 27}, {29, 16},
        {-3, 17}, {-8, 13}, {15, 1}, {-12, 35}, {9, 23}, {12, 5}, {19, 6}, {24, 12},
        {-21, 37}, {-15, 32}, {-18, 22}, {-28, 35}, {-6, 24}, {-2, 7}, {-2, 37}, {4, 26},
        {-2, 13}, {-19, 31}, {1, 15}, {-14, 37}, {4, 19}, {4, 11}, {8, 23}, {1, 27},
        {1, 6}, {16, -13}, {-3, 17}, {5, 8}, {4, 11}, {5, 13}, {17, 14}, {17, 16},
        {-11, 4}, {2, -14}, {15, -7}, {7, 0}, {11, 6}, {21, -11}, {12, -20}, {24, -12},
        {1, -6}, {-6, -9}, {1, -7}, {13, -12}, {0, 7}, {-5, -10}, {1, -4}, {-21, -19},
    }},
    // king, the owner's eighth rank first, files a to h
    {{
        {-66, -75}, {-18, -21}, {21, -20}, {-21, -19}, {-70, -4}, {-39, 20}, {-5, 10}, {26, -32},
        {20, -7}, {20, 12}, {-33, 22}, {7, 18}, {-23, 22}, {-27, 38}, {-12, 19}, {-38, 12},
        {20, 5}, {20, 17}, {21, 17}, {-16, 18}, {-3, 23}, {32, 41}, {51, 36}, {-21, 13},
        {-10, -7}, {0, 14}, {-19, 23}, {-36, 26}, {-29, 27}, {-25, 29}, {-9, 23}, {-43, 2},
        {-43, -15}, {5, -6}, {-29, 19}, {-38, 24}, {-47, 29}, {-21, 20}, {-20, 6}, {-46, -9},
        {-18, -17}, {-6, -3}, {-21, 13}, {-21, 20}, {-21, 22}, {-18, 15}, {-7, 6}, {-24, -5},
        {-8, -25}, {9, -12}, {-10, 8}, {-26, 14}, {-21, 17}, {-9, 9}, {13, -3}, {10, -13},
        {-26, -51}, {15, -31}, {1, -10}, {-45, 3}, {2, -10}, {-30, 2}, {19, -18}, {7, -39},
    }},
}};
// clang-format on

} // namespace

int oracleEvaluateDriver(const unsigned char board[64], int sideToMove)
{
    std::uint32_t material[2] = {0, 0};
    std::uint32_t placement[2] = {0, 0};
    int bishops[2] = {0, 0};
    bool anyPawn = false;
    int phase = 0;
    for (int square = 0; square < 64; ++square)
    {
        if (board[square] < 2) continue;
        const int colour = board[square] & 1;
        const auto man = static_cast<std::size_t>(board[square] / 2 - 1);
        material[colour] += pack(manValue[man]);
        placement[colour] +=
            pack(squareValue[man][static_cast<std::size_t>(colour == 0 ? square ^ 56 : square)]);
        phase += phaseWeight[man];
        if (man == 0) anyPawn = true;
        if (man == 2) ++bishops[colour];
    }

    if (!anyPawn)
    {
        const int white = middleGameHalf(material[0]);
        const int black = middleGameHalf(material[1]);
        if (white < 382 && black < 382) return 0;
        if (white == 484 && black == 484) return 0;
    }

    std::uint32_t total = material[0] - material[1] + placement[0] - placement[1];
    if (bishops[0] == 2) total += pack(bishopPair);
    if (bishops[1] == 2) total -= pack(bishopPair);
    if (sideToMove == 0)
        total += pack(tempo);
    else
        total -= pack(tempo);

    if (phase > fullMiddleGame) phase = fullMiddleGame;
    if (phase < fullEndGame) phase = fullEndGame;
    const int blended = (middleGameHalf(total) * (phase - fullEndGame) +
                         endGameHalf(total) * (fullMiddleGame - phase)) /
                        (fullMiddleGame - fullEndGame);
    const int score = static_cast<std::int16_t>(blended);
    return sideToMove == 0 ? score : -score;
}
