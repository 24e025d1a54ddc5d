// SPDX-License-Identifier: MIT
//
// The tunable tables as they lie in memory, written out from their declarations: where each one
// starts, how many elements it has, and which of them are tuned. The others stay what they are: the
// pawn and the king of pieceValue, the outer ranks of pawns and shield, and what nothing reads.
#pragma once

#include <vector>

#include "eval.h"

struct tunableTable
{
    const char* name;
    combEval* start;
    u32 size;       // elements
    u32 firstTuned; // index of the first one that is tuned
    u32 nofTuned;   // tuned ones, in one piece
    bool packed;    // pairs, not plain numbers
};

// clang-format off
inline const std::vector<tunableTable> tunableTables = {
    {"pieceValue",                pieceValue,                    6,  1,  4, true},  // knight to queen
    {"pieceSquareScore",          pieceSquareScore[0],          64,  8, 48, true},  // pawn
    {"pieceSquareScore",          pieceSquareScore[1],          64,  0, 64, true},
    {"pieceSquareScore",          pieceSquareScore[2],          64,  0, 64, true},
    {"pieceSquareScore",          pieceSquareScore[3],          64,  0, 64, true},
    {"pieceSquareScore",          pieceSquareScore[4],          64,  0, 64, true},
    {"pieceSquareScore",          pieceSquareScore[5],          64,  0, 64, true},
    {"EVALBISHOPPAIR",            &EVALBISHOPPAIR,               1,  0,  1, true},
    {"EVALTEMPO",                 &EVALTEMPO,                    1,  0,  1, true},
    {"EVALPAWNISOLATED",          EVALPAWNISOLATED,              8,  0,  8, true},
    {"EVALPAWNDOUBLED",           EVALPAWNDOUBLED,               8,  0,  8, true},
    {"EVALPAWNBACKHALF",          EVALPAWNBACKHALF,              8,  0,  8, true},
    {"EVALPAWNCONNECTED",         EVALPAWNCONNECTED,             8,  2,  5, true},  // ranks 3 to 7
    {"EVALPAWNNEIGHBOUR",         EVALPAWNNEIGHBOUR,             8,  1,  6, true},  // ranks 2 to 7
    {"EVALPAWNPASSEDCANDIDATE",   EVALPAWNPASSEDCANDIDATE[0],   16,  0, 16, true},
    {"EVALPAWNKSISOLATED",        &EVALPAWNKSISOLATED,           1,  0,  1, true},
    {"EVALPAWNKSDOUBLED",         &EVALPAWNKSDOUBLED,            1,  0,  1, true},
    {"EVALPAWNKSBACKWARD",        &EVALPAWNKSBACKWARD,           1,  0,  1, true},
    {"EVALPAWNPASSED",            EVALPAWNPASSED[0][0],         32,  0, 32, true},
    {"EVALPAWNPASSEDDISTOWN",     EVALPAWNPASSEDDISTOWN,         8,  1,  7, true},  // distances 1 to 7
    {"EVALPAWNPASSEDDISTOTHER",   EVALPAWNPASSEDDISTOTHER,       8,  1,  7, true},
    {"EVALPAWNPASSEDPROMO",       EVALPAWNPASSEDPROMO,           4,  0,  1, true},
    {"EVALPINNED",                EVALPINNED,                    8,  1,  4, true},  // knight to queen
    {"EVALPINNEDFREE",            EVALPINNEDFREE,                8,  1,  4, true},
    {"EVALDISCOVERED",            EVALDISCOVERED,                8,  1,  4, true},
    {"EVALMOBILITYKNIGHT",        EVALMOBILITYKNIGHT,           12,  0,  9, true},  // 0 to 8 squares
    {"EVALMOBILITYBISHOP",        EVALMOBILITYBISHOP,           16,  0, 14, true},
    {"EVALMOBILITYROOK",          EVALMOBILITYROOK,             16,  0, 15, true},
    {"EVALMOBILITYQUEEN",         EVALMOBILITYQUEEN,            28,  0, 28, true},
    {"EVALOUTPOSTKNIGHT",         EVALOUTPOSTKNIGHT,             2,  0,  2, true},
    {"EVALOUTPOSTBISHOP",         EVALOUTPOSTBISHOP,             2,  0,  2, true},
    {"EVALROOKONOPEN",            EVALROOKONOPEN,                2,  0,  2, true},
    {"EVALKINGDIST",              EVALKINGDIST,                  4,  0,  1, true},
    {"EVALTEST",                  &EVALTEST,                     1,  0,  1, true},
    {"EVALKINGATTWEIGHT",         EVALKINGATTWEIGHT,             5,  1,  4, false}, // knight to queen
    {"EVALTHREADWEAKPAWN",        &EVALTHREADWEAKPAWN,           1,  0,  1, true},
    {"EVALTHREADMINORABPAWN",     &EVALTHREADMINORABPAWN,        1,  0,  1, true},
    {"EVALTHREADMINORABMINOR",    &EVALTHREADMINORABMINOR,       1,  0,  1, true},
    {"EVALTHREADMINORABMAJOR",    &EVALTHREADMINORABMAJOR,       1,  0,  1, true},
    {"EVALTHREADROOKABLESS",      &EVALTHREADROOKABLESS,         1,  0,  1, true},
    {"EVALTHREADQUEENABALL",      &EVALTHREADQUEENABALL,         1,  0,  1, true},
    {"EVALTHREADOVERLOADED",      &EVALTHREADOVERLOADED,         1,  0,  1, true},
    {"EVALTHREADPAWNPUSH",        &EVALTHREADPAWNPUSH,           1,  0,  1, true},
    {"EVALPAWNSHIELD",            EVALPAWNSHIELD,               64,  8, 48, false},
    {"EVALKINGDANGER",            EVALKINGDANGER,                7,  0,  7, false},
    {"EVALCHECKSAFEQUEEN",        &EVALCHECKSAFEQUEEN,           1,  0,  1, false},
    {"EVALCHECKSAFEROOK",         &EVALCHECKSAFEROOK,            1,  0,  1, false},
    {"EVALCHECKSAFEBISHOP",       &EVALCHECKSAFEBISHOP,          1,  0,  1, false},
    {"EVALCHECKSAFEKNIGHT",       &EVALCHECKSAFEKNIGHT,          1,  0,  1, false},
    {"EVALKINGDANGERTRANSMG",     &EVALKINGDANGERTRANSMG,        1,  0,  1, false},
    {"EVALKINGDANGERTRANSEG",     &EVALKINGDANGERTRANSEG,        1,  0,  1, false},
    {"EVALKINGNOPAWNONFILES",     EVALKINGNOPAWNONFILES,         3,  0,  1, true},
};
// clang-format on

// Halves of the packed elements above, added up by section: material 4 + 48 + 5 x 64, driver 2,
// pawns 24 + 5 + 6 + 16 + 3, passed pawns 32 + 7 + 7 + 1, activity 12 + 9 + 14 + 15 + 28 + 6 + 2,
// threats 8, king 1. Plain numbers: 4, and 48 + 7 + 4 + 2.
constexpr u32 NOFPACKEDTUNED = 372 + 2 + 54 + 47 + 86 + 8 + 1;
constexpr u32 NOFPLAINTUNED = 4 + 61;
constexpr u32 NOFTUNABLE = 2 * NOFPACKEDTUNED + NOFPLAINTUNED;
