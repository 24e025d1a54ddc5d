// SPDX-License-Identifier: MIT
//
// Text and time; see general.h. Nothing here has a state of its own.

#include "general.h"

#include <chrono>
#include <cstdio>


// Output

void writeText(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void writeLine(std::string_view line)
{
    std::string text(line);
    text += '\n';
    writeText(text);
}


// Clock

i64 now()
{
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count() / 1000000;
}


// Notation

std::string squareToLA(u8 square)
{
    return {static_cast<char>('a' + (square & 7)), static_cast<char>('1' + (square >> 3))};
}

u8 LAToSquare(std::string_view text)
{
    if (text.size() < 2) return 255;
    return static_cast<u8>(text[1] * 8 + text[0] + 23);
}

std::string moveToLA(const moveStruct* move, u8 side)
{
    u8 to = move->to;
    if (move->kind == KINDENPASSANT) to = static_cast<u8>(side == WHITE ? to + 8 : to - 8);

    std::string text = squareToLA(move->from) + squareToLA(to);
    if (move->kind > KINDPLAIN && move->kind < KINDENPASSANT) text += promotionLabels[move->kind];
    return text;
}

std::string PVToString(const positionStruct* position)
{
    std::string text;
    u8 side = position->sideToMove;
    for (int ply = 0; ply <= position->pvLength; ++ply, side ^= 1)
        text += moveToLA(&position->plies[ply].bestMove, side) + ' ';
    return text;
}

std::string currentMovesToString(u8 n, const positionStruct* position)
{
    std::string text;
    u8 side = WHITE;
    for (int ply = 0; ply <= n; ++ply, side ^= 1)
        text += moveToLA(&position->plies[ply].currentMove, side) + ' ';
    return text;
}

std::string moveToString(const moveStruct* move, int indent)
{
    std::string text(indent >= 0 ? static_cast<size_t>(indent) + 1 : 0, '\t');
    return text + squareToLA(move->from) + squareToLA(move->to) + ' ' + std::to_string(move->kind);
}


// Pictures

namespace
{

constexpr std::string_view gridBorder = "+---+---+---+---+---+---+---+---+\n";

/// A grid of 8 by 8 cells with rank 8 at the top, `cell` giving the character of a square.
template <typename Cell> std::string gridToString(Cell cell)
{
    std::string text(gridBorder);
    for (int rank = 7; rank >= 0; --rank)
    {
        for (int file = 0; file < 8; ++file)
        {
            text += "| ";
            text += cell(rank * 8 + file);
            text += ' ';
        }
        text += "|\n";
        text += gridBorder;
    }
    return text;
}

} // namespace

std::string boardToString(const positionStruct* position)
{
    return gridToString(
        [position](int square)
        {
            const u8 code = position->board[square];
            return code < fenLabelPieces.size() ? fenLabelPieces[code] : '?';
        });
}
