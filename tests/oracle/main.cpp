// SPDX-License-Identifier: MIT
//
// Console of the reference search: quillon_oracle [--hash MB] < input
//
//   position startpos|fen ... [moves ...]    ucinewgame    isready    setoption name Hash value N
//   go depth N         the engine's lines with the time 0, and before the last one a line
//                      "info string nodes N seldepth L score S"
//   eval               "score N" for the side to move, a line "term colour mg eg" for each term
//   that
//                      isn't zero, and an empty line
//   moves              legal moves, in the order of generation
//   perft N            leaves of the legal move tree
//   see MOVE T         1 if the exchange begun by the move gains at least T, else 0
//   FEN | moves ... | depth N      the same as ucinewgame, position and go; "moves" may be missing
//
// Empty lines and lines that begin with # are passed over.
#include "exchange.h"
#include "generators.h"
#include "oracle_eval.h"
#include "search.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace
{

using oracle::Byte;
using oracle::Move;
using oracle::Position;

const std::string startFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

class Console
{
  public:
    explicit Console(int megabytes) : table(megabytes), search(table, oracleEvaluate)
    {
        oracle::setPosition(startFen, game);
    }

    // False when the session ends.
    bool execute(const std::string& line)
    {
        if (line.find('|') != std::string::npos)
        {
            analyse(line);
            return true;
        }
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command.empty() || command[0] == '#') return true;
        if (command == "quit") return false;
        if (command == "position")
            position(words);
        else if (command == "go")
            go(words);
        else if (command == "ucinewgame")
        {
            newGame();
            std::cout << "readyok" << std::endl;
        }
        else if (command == "isready")
            std::cout << "readyok" << std::endl;
        else if (command == "setoption")
            setOption(words);
        else if (command == "eval")
            explain();
        else if (command == "moves")
            listMoves();
        else if (command == "perft")
            perft(words);
        else if (command == "see")
            exchange(words);
        else
            std::cout << "Unknown command" << std::endl;
        return true;
    }

  private:
    void newGame()
    {
        table.clear();
        std::fill(game.keyHistory.begin(), game.keyHistory.end(), 0);
    }

    void analyse(const std::string& line)
    {
        if (line[0] == '#') return;
        std::istringstream parts(line);
        std::string fen;
        std::string part;
        std::string moves;
        int depth = 0;
        std::getline(parts, fen, '|');
        while (std::getline(parts, part, '|'))
        {
            std::istringstream words(part);
            std::string word;
            words >> word;
            if (word == "moves") moves = part;
            if (word == "depth") words >> depth;
        }
        newGame();
        std::istringstream set("fen " + fen + moves);
        position(set);
        search.go(game, depth);
    }

    void position(std::istringstream& words)
    {
        std::string word;
        std::string fen;
        words >> word;
        if (word == "startpos")
        {
            fen = startFen;
            words >> word;
        }
        else if (word == "fen")
        {
            while (words >> word && word != "moves") fen += word + " ";
        }
        else
            return;
        oracle::setPosition(fen, game);
        while (words >> word) play(word);
        game.key = oracle::computeKey(game, 0);
        oracle::plyAt(game, 0).inCheck =
            oracle::isAttacked(game, oracle::kingSquare(game, game.side), game.side ^ 1);
    }

    // The move that a text stands for; only the board decides its kind.
    bool parse(const std::string& text, Move& move) const
    {
        if (text.size() < 4) return false;
        const auto square = [&](std::size_t i)
        { return static_cast<Byte>(text[i + 1] * 8 + text[i] + 23); };
        move = Move{square(0), square(2), 0, 0};
        if (move.from > 63 || move.to > 63 || oracle::at(game, move.from) == oracle::none)
            return false;
        if (text.size() == 5)
        {
            const auto letter = std::string(" pnbrqk").find(text[4]);
            if (letter < 2 || letter > 5) return false;
            move.kind = static_cast<Byte>(2 * letter);
        }
        const Byte man = oracle::at(game, move.from);
        if (man == oracle::manOf(oracle::king, game.side))
        {
            if (text == "e1g1" || text == "e8g8")
                move.kind = oracle::castleKingSide;
            else if (text == "e1c1" || text == "e8c8")
                move.kind = oracle::castleQueenSide;
        }
        else if (man == oracle::manOf(oracle::pawn, game.side))
        {
            const int distance = move.to > move.from ? move.to - move.from : move.from - move.to;
            if (oracle::fileOf(move.from) != oracle::fileOf(move.to) &&
                oracle::at(game, move.to) == oracle::none)
            {
                const int victim = move.to - oracle::forward(game.side);
                if (victim < 0 || victim > 63) return false;
                move.kind = oracle::enPassant;
                move.to = static_cast<Byte>(victim);
            }
            else if (distance == 16)
                move.kind = oracle::doublePush;
        }
        return true;
    }

    // The game never climbs the plies: a move is made into ply 1 and its outcome taken down.
    void play(const std::string& text)
    {
        Move move;
        if (!parse(text, move))
        {
            game.broken = true;
            return;
        }
        oracle::makeMove(1, move, game, false);
        oracle::Ply& root = oracle::plyAt(game, 0);
        const oracle::Ply& played = oracle::plyAt(game, 1);
        root.enPassantPawn = played.enPassantPawn;
        root.rights = played.rights;
        root.savedKey = played.savedKey;
    }

    void go(std::istringstream& words)
    {
        std::string word;
        int depth = 0;
        while (words >> word)
            if (word == "depth") words >> depth;
        search.go(game, depth);
    }

    void setOption(std::istringstream& words)
    {
        std::string name;
        std::string word;
        int value = 0;
        words >> word >> name >> word >> value;
        if (name == "Hash") table.resize(std::clamp(value, 1, 32768));
    }

    void explain() const
    {
        const unsigned char* board = game.board.data();
        std::cout << "score " << oracleEvaluate(board, game.side) << '\n';
        for (const OracleTerm& term : oracleTerms(board, game.side))
            if (term.mg || term.eg)
                std::cout << term.name << ' ' << term.color << ' ' << term.mg << ' ' << term.eg
                          << '\n';
        std::cout << std::endl;
    }

    void listMoves()
    {
        auto copy = std::make_unique<Position>(game);
        std::cout << "moves";
        if (oracle::Search::prepare(*copy))
        {
            oracle::generateLegal(0, 0, *copy);
            for (int s = 0; s < oracle::plyAt(*copy, 0).listEnd; ++s)
                std::cout << " " << oracle::moveText(oracle::slot(*copy, s), copy->side);
        }
        std::cout << std::endl;
    }

    static std::uint64_t countLeaves(int ply, int depth, Position& p)
    {
        if (depth <= 0) return 1;
        const int first = oracle::plyAt(p, ply).listStart;
        oracle::generateLegal(ply, first, p);
        const int end = oracle::plyAt(p, ply).listEnd;
        if (depth == 1) return static_cast<std::uint64_t>(end - first);
        std::uint64_t leaves = 0;
        for (int s = first; s < end; ++s)
        {
            const Move move = oracle::slot(p, s);
            oracle::makeMove(ply + 1, move, p, false);
            leaves += countLeaves(ply + 1, depth - 1, p);
            oracle::unmakeMove(ply + 1, move, p);
        }
        return leaves;
    }

    void perft(std::istringstream& words)
    {
        int depth = 6;
        words >> depth;
        auto copy = std::make_unique<Position>(game);
        const bool playable = oracle::Search::prepare(*copy);
        std::cout << "Nodes searched: " << (playable ? countLeaves(0, depth, *copy) : 0)
                  << std::endl;
    }

    void exchange(std::istringstream& words)
    {
        std::string text;
        int threshold = 0;
        words >> text >> threshold;
        Move move;
        if (!parse(text, move))
            std::cout << "see: no such move" << std::endl;
        else
            std::cout << "see "
                      << (oracle::see(move, static_cast<oracle::Score>(threshold), game) ? 1 : 0)
                      << std::endl;
    }

    oracle::Table table;
    oracle::Search search;
    Position game;
};

} // namespace

int main(int argc, char** argv)
{
    int megabytes = 256;
    if (argc == 3 && std::string(argv[1]) == "--hash")
        megabytes = std::clamp(std::stoi(argv[2]), 1, 32768);
    else if (argc > 1)
    {
        std::cerr << "usage: quillon_oracle [--hash MB]\n";
        return 2;
    }
    auto console = std::make_unique<Console>(megabytes);
    std::string line;
    while (std::getline(std::cin, line))
        if (!console->execute(line)) break;
    return 0;
}
