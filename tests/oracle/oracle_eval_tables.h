// SPDX-License-Identifier: MIT
//
// The tuned numbers of the reference evaluation, printed by a script: plain pairs of a middle-game
// and an end-game value in centipawn-like units, good for the colour that owns the man. A second
// copy on purpose, so that a slip in the engine's own tables shows as a difference.
#ifndef QUILLON_ORACLE_EVAL_TABLES_H
#define QUILLON_ORACLE_EVAL_TABLES_H

#include <array>

namespace oracle_eval
{

struct Pair
{
    int mg;
    int eg;
};

struct Files
{
    int first;
    int last;
};

// clang-format off

// Worth of a man, pawn to queen; a king has none.
inline constexpr std::array<Pair, 5> manValue{{
    {82, 94}, {352, 274}, {381, 293}, {484, 514}, {1043, 960}
}};

// Weight of a man in the phase, pawn to queen: pawns have none.
inline constexpr std::array<int, 5> manPhase{
    0, 352, 381, 484, 1043
};

// At or above the first the middle game counts alone, at or below the second the end game.
inline constexpr int phaseFullMiddleGame = 6183;
inline constexpr int phaseFullEndGame = 497;

// Worth of a man on a square: row 0 is the owner's eighth rank, columns a to h for both colours.
inline constexpr std::array<std::array<Pair, 64>, 6> manOnSquare{{
    // pawn
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
    // knight
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
    // bishop
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
    // rook
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
    // queen
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
    // king
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

inline constexpr Pair bishopPair{33, 44};
inline constexpr Pair tempo{25, 17};

// By file.
inline constexpr std::array<Pair, 8> pawnIsolated{{
    {-2, -6}, {-5, -6}, {-6, -16}, {-13, -14}, {-15, -18}, {4, -15}, {-2, -5}, {-15, -6}
}};

// By file.
inline constexpr std::array<Pair, 8> pawnDoubled{{
    {-22, -29}, {6, -16}, {-9, -17}, {-16, -10}, {-14, -7}, {-10, -16}, {13, -15}, {-4, -23}
}};

// By file, without an enemy pawn on the file.
inline constexpr std::array<Pair, 8> pawnBackward{{
    {-10, -10}, {-14, -11}, {-16, -14}, {-14, -13}, {-10, -12}, {-14, -12}, {-14, -8}, {-7, -4}
}};

// By the owner's rank.
inline constexpr std::array<Pair, 8> pawnConnected{{
    {0, 0}, {0, 0}, {11, 5}, {11, -1}, {17, 4}, {37, 29}, {104, 39}, {0, 0}
}};

// By the owner's rank.
inline constexpr std::array<Pair, 8> pawnNeighbour{{
    {0, 0}, {4, -4}, {4, -2}, {10, 2}, {17, 17}, {48, 67}, {2, 147}, {0, 0}
}};

// By whether the defenders are at least as many as the levers, then by the owner's rank.
inline constexpr std::array<std::array<Pair, 8>, 2> pawnCandidate{{
    {{{0, 0}, {-40, -12}, {-18, -10}, {2, 4}, {12, 25}, {32, 17}, {0, 0}, {0, 0}}},
    {{{0, 0}, {-5, 14}, {-3, 14}, {1, 18}, {9, 13}, {18, 21}, {0, 0}, {0, 0}}},
}};

inline constexpr Pair pawnIsolatedNearKing{-8, 4};
inline constexpr Pair pawnDoubledNearKing{10, -1};
inline constexpr Pair pawnBackwardNearKing{-1, 4};

// By 2 * (stop square empty) + (stop square attacked), then by the owner's rank.
inline constexpr std::array<std::array<Pair, 8>, 4> passed{{
    {{{0, 0}, {-22, -7}, {-1, 9}, {-1, 31}, {33, 52}, {67, 54}, {65, 4}, {0, 0}}},
    {{{0, 0}, {-36, -11}, {-39, 33}, {-4, 36}, {30, 62}, {72, 32}, {125, -55}, {0, 0}}},
    {{{0, 0}, {-20, 2}, {-7, 8}, {2, 35}, {26, 78}, {73, 151}, {105, 168}, {0, 0}}},
    {{{0, 0}, {-29, 16}, {-22, 20}, {-8, 44}, {38, 53}, {89, 62}, {134, 32}, {0, 0}}},
}};

// By the distance from the king.
inline constexpr std::array<Pair, 8> passedOwnKing{{
    {0, 0}, {20, 0}, {15, -7}, {5, -19}, {-15, -21}, {-20, -17}, {-25, -13}, {-30, -13}
}};

// By the distance from the king.
inline constexpr std::array<Pair, 8> passedEnemyKing{{
    {0, 0}, {-30, -39}, {-20, -38}, {-5, -16}, {0, -1}, {20, 5}, {30, 7}, {40, 5}
}};

inline constexpr Pair passedFreePath{-25, 28};

// The next four tables go by knight, bishop, rook, queen.

// Pinned and attacked by an enemy pawn.
inline constexpr std::array<Pair, 4> pinnedByPawn{{
    {-46, -95}, {-84, -160}, {-25, -113}, {-83, -404}
}};

// Pinned otherwise.
inline constexpr std::array<Pair, 4> pinnedFree{{
    {30, 9}, {25, 21}, {28, 29}, {-28, 30}
}};

// Alone between the enemy king and an own slider.
inline constexpr std::array<Pair, 4> discovery{{
    {149, 66}, {139, 58}, {190, 128}, {400, 389}
}};

// Weight of an attacker of the king zone.
inline constexpr std::array<int, 4> kingAttackWeight{
    25, 25, 30, 21
};

// By the number of counted squares.
inline constexpr std::array<Pair, 9> mobilityKnight{{
    {-22, -17}, {-21, -25}, {-8, 15}, {1, 29}, {13, 32}, {18, 42}, {26, 39}, {34, 40}, {44, 31}
}};

// By the number of counted squares.
inline constexpr std::array<Pair, 14> mobilityBishop{{
    {-32, -34}, {-50, 0}, {-28, -1}, {-17, 16}, {-9, 22}, {-1, 28}, {3, 35}, {8, 35}, {9, 38},
    {12, 38}, {15, 38}, {37, 32}, {40, 40}, {43, 26}
}};

// By the number of counted squares.
inline constexpr std::array<Pair, 15> mobilityRook{{
    {-63, -92}, {-50, -35}, {-13, -23}, {-8, -6}, {-3, 8}, {-2, 18}, {0, 25}, {3, 28}, {9, 31},
    {16, 31}, {17, 37}, {26, 40}, {27, 43}, {24, 47}, {40, 40}
}};

// By the number of counted squares.
inline constexpr std::array<Pair, 28> mobilityQueen{{
    {-77, 52}, {53, 28}, {-43, 11}, {-32, -25}, {-29, -27}, {-26, -30}, {-20, -30}, {-18, -21},
    {-14, -24}, {-16, 12}, {-12, 10}, {-12, 27}, {-11, 32}, {-7, 37}, {-4, 39}, {-4, 49},
    {-8, 55}, {-7, 60}, {-4, 59}, {6, 58}, {5, 65}, {22, 56}, {19, 56}, {30, 57}, {59, 47},
    {46, 33}, {64, 36}, {48, 18}
}};

// By whether an own pawn defends it.
inline constexpr std::array<Pair, 2> outpostKnight{{
    {4, -15}, {23, 5}
}};

// By whether an own pawn defends it.
inline constexpr std::array<Pair, 2> outpostBishop{{
    {6, -7}, {32, 0}
}};

// No own pawn on the file: half open, open.
inline constexpr std::array<Pair, 2> rookFile{{
    {17, 3}, {40, -6}
}};

// Per blocked own pawn on squares of the colour that the bishop stands on.
inline constexpr Pair badBishop{-2, -11};

// Per step between a knight or bishop and its king.
inline constexpr Pair kingDistance{-3, 0};

// Per man that is threatened; the last per enemy man that a pawn push would attack.
inline constexpr Pair threatWeakPawn{-4, -22};
inline constexpr Pair threatMinorByPawn{-63, -24};
inline constexpr Pair threatMinorByMinor{-19, -22};
inline constexpr Pair threatMinorByMajor{-20, -28};
inline constexpr Pair threatRookByLess{-56, -8};
inline constexpr Pair threatQueenByAny{-55, 10};
inline constexpr Pair threatOverloaded{-3, -15};
inline constexpr Pair threatPawnPush{16, 10};

// Middle game only: row 0 is the owner's eighth rank, columns a to h for both colours.
inline constexpr std::array<int, 64> shield{
    0, 0, 0, 0, 0, 0, 0, 0,
    138, 94, 191, 171, 32, 134, 144, 101,
    132, 118, 102, 48, 52, 74, 87, 45,
    46, 47, 57, -5, -3, 18, 15, 19,
    30, 14, 4, -8, -11, -7, 7, 15,
    19, 38, 8, -2, 5, 10, 11, 18,
    18, 43, 32, 8, 3, 35, 27, 9,
    0, 0, 0, 0, 0, 0, 0, 0
};

// Points of danger to a king; the two divisors turn their sum into a penalty.
inline constexpr int dangerAdjacentAttack = 27;
inline constexpr int dangerWeakSquare = 71;
inline constexpr int dangerUnsafeCheck = 98;
inline constexpr int dangerFlankAttack = 23;
inline constexpr int dangerNoQueen = -638;
inline constexpr int dangerAlways = -295;
inline constexpr int dangerPinned = -47;
inline constexpr int dangerSafeQueenCheck = 355;
inline constexpr int dangerSafeRookCheck = 475;
inline constexpr int dangerSafeBishopCheck = 176;
inline constexpr int dangerSafeKnightCheck = 413;
inline constexpr int dangerDivisorMiddleGame = 4095;
inline constexpr int dangerDivisorEndGame = 35;

// No own pawn on the flank of the king.
inline constexpr Pair noPawnOnFlank{11, -16};

// First and last file of the flank, by the file of the king.
inline constexpr std::array<Files, 8> flankFiles{{
    {0, 2}, {0, 3}, {0, 3}, {2, 5}, {2, 5}, {4, 7}, {4, 7}, {5, 7}
}};

// clang-format on

} // namespace oracle_eval

#endif
