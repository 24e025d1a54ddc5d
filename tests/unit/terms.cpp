// SPDX-License-Identifier: MIT

#include "terms.h"

#include <cctype>

std::string fenOf(const std::string& men, int sideToMove)
{
    std::string ranks[8];
    for (std::string& rank : ranks) rank = "11111111";
    for (size_t i = 0; i + 2 < men.size(); i += 4)
    {
        const u8 square = sq(men.substr(i + 1, 2));
        char& place = ranks[square / 8][square % 8];
        EXPECT_EQ(place, '1') << "two men on one square: " << men;
        place = men[i];
    }
    std::string fen;
    for (int rank = 7; rank >= 0; --rank)
    {
        fen += ranks[rank];
        if (rank) fen += '/';
    }
    return fen + (sideToMove == WHITE ? " w - - 0 1" : " b - - 0 1");
}

std::string exchanged(std::string men)
{
    for (size_t i = 0; i + 2 < men.size(); i += 4)
    {
        const bool isWhite = std::isupper(static_cast<unsigned char>(men[i]));
        men[i] = static_cast<char>(isWhite ? std::tolower(men[i]) : std::toupper(men[i]));
        men[i + 2] = static_cast<char>('1' + '8' - men[i + 2]);
    }
    return men;
}

combEval whites(const std::string& men, int term, int sideToMove)
{
    Board board(fenOf(men, sideToMove));
    Board mirror(fenOf(exchanged(men), sideToMove ^ 1));
    const combEval value = evaluateTraced(board.get()).terms[term][WHITE];
    EXPECT_EQ(value, evaluateTraced(mirror.get()).terms[term][BLACK])
        << evalTermName(term) << " differs between the colours: " << men;
    return value;
}

combEval blacks(const std::string& men, int term, int sideToMove)
{
    Board board(fenOf(men, sideToMove));
    Board mirror(fenOf(exchanged(men), sideToMove ^ 1));
    const combEval value = evaluateTraced(board.get()).terms[term][BLACK];
    EXPECT_EQ(value, evaluateTraced(mirror.get()).terms[term][WHITE])
        << evalTermName(term) << " differs between the colours: " << men;
    return value;
}

std::string man(char letter, int file, int rank)
{
    return {letter, static_cast<char>('a' + file), static_cast<char>('1' + rank), ' '};
}
