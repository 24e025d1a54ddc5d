// SPDX-License-Identifier: MIT
//
// Console of the model: quillon_oracle < input
//
//   position startpos|fen ... [moves ...]    ucinewgame    quit
//   go depth N     the lines of the engine's search, with the time 0
//
// Positions and moves must be legal.
#include "model.h"

#include <iostream>
#include <memory>
#include <sstream>

namespace
{

void play(oracle::Position& game, const std::string& text)
{
    game.generateLegal(0);
    const oracle::Move* move = game.stack;
    while (oracle::moveText(*move, game.side) != text) ++move;
    game.make(*move, false);
    // A game stays at the first ply.
    game.plies[0] = game.plies[1];
    game.ply = 0;
    game.here().inCheck = game.isInCheck();
}

void setUp(oracle::Position& game, std::istream& words)
{
    std::string word;
    std::string fen;
    words >> word;
    if (word == "startpos") fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
    while (words >> word && word != "moves") fen += word + " ";
    game.set(fen);
    while (words >> word) play(game, word);
}

} // namespace

int main()
{
    const auto game = std::make_unique<oracle::Position>();
    oracle::Table table;
    for (std::string line; std::getline(std::cin, line) && line != "quit";)
    {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "position") setUp(*game, words);
        if (command == "go")
        {
            int depth = 0;
            words >> command >> depth;
            oracle::search(*game, depth, table);
        }
        if (command == "ucinewgame")
        {
            table.clear();
            *game = {};
        }
    }
}
