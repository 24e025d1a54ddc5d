// SPDX-License-Identifier: MIT
//
// Console of the model: quillon_oracle < input
//
//   position startpos|fen ... [moves ...]    ucinewgame    isready    quit
//   go depth N     the lines of the engine's search, with the time 0
//
// Positions and moves must be legal.
#include "generators.h"
#include "search.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace
{

using oracle::Position;

const std::string startFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

class Console
{
  public:
    Console() { oracle::setPosition(startFen, game); }

    void execute(const std::string& line)
    {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "position") position(words);
        if (command == "go")
        {
            int depth = 0;
            words >> command >> depth;
            search.go(game, depth);
        }
        if (command == "ucinewgame")
        {
            search.newGame();
            std::fill(game.keyHistory.begin(), game.keyHistory.end(), 0);
        }
        if (command == "ucinewgame" || command == "isready") std::cout << "readyok" << std::endl;
    }

  private:
    void position(std::istringstream& words)
    {
        std::string word;
        std::string fen;
        words >> word;
        if (word == "startpos") fen = startFen;
        while (words >> word && word != "moves") fen += word + " ";
        oracle::setPosition(fen, game);
        while (words >> word) play(word);
    }

    // The game never climbs the plies: a move is made into ply 1 and its outcome copied.
    void play(const std::string& text)
    {
        oracle::Ply& root = oracle::plyAt(game, 0);
        root.listStart = 0;
        oracle::generateLegal(0, 0, game);
        for (int s = 0; s < root.listEnd; ++s)
        {
            const oracle::Move move = oracle::slot(game, s);
            if (oracle::moveText(move, game.side) != text) continue;
            oracle::makeMove(1, move, game, false);
            break;
        }
        root.enPassantPawn = oracle::plyAt(game, 1).enPassantPawn;
        root.rights = oracle::plyAt(game, 1).rights;
        root.inCheck = oracle::isInCheck(game);
    }

    oracle::Search search;
    Position game;
};

} // namespace

int main()
{
    const auto console = std::make_unique<Console>();
    for (std::string line; std::getline(std::cin, line) && line != "quit";) console->execute(line);
}
