// SPDX-License-Identifier: MIT
//
// Prints what a position is worth and why, term by term, or what changes between two positions; see
// the usage. The engine's own code computes all of it.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "eval.h"
#include "general.h"
#include "hash.h"
#include "moveTable.h"
#include "search.h"

namespace
{

constexpr const char* usage =
    R"(usage: quillon_explain [--json] FEN        what a position is worth, term by term
       quillon_explain [--json] FEN FEN    what changes from the first to the second
       quillon_explain [--json]            the same for each line of the input: FEN, or FEN | FEN
       quillon_explain --terms             each term and what it measures
       quillon_explain --tables            each table and its entries, pairs as mg/eg

Put each FEN in quotes. Scores are hundredths of a pawn, by the static evaluation alone. With --json
each answer is one line: score, blend, groups, terms, and the squares that each term comes from.
)";


// Positions

constexpr int PHASERANGE = GAMEPHASEMAXMG - GAMEPHASEMINEG;

/// A FEN with its evaluation, or with what is wrong with it.
struct explained
{
    std::string fen;
    std::string fault; // empty if there is none
    positionStruct position;
    evalTrace trace;
    combEval groups[NOFEVALGROUPS][2];

    /// A pair blended by the phase, times PHASERANGE.
    int blended(combEval score) const
    {
        return mgHalf(score) * (trace.phase - GAMEPHASEMINEG) +
               egHalf(score) * (GAMEPHASEMAXMG - trace.phase);
    }

    /// The same for the pairs of both colours, white minus black.
    int blended(const combEval (&both)[2]) const
    {
        return blended(both[WHITE]) - blended(both[BLACK]);
    }

    int whiteScore() const { return position.sideToMove == WHITE ? trace.score : -trace.score; }
};

/// What is wrong with the first field of a FEN, or an empty text.
std::string placementFault(const std::string& placement)
{
    std::istringstream stream(placement);
    int nofRanks = 0;
    for (std::string rank; std::getline(stream, rank, '/'); ++nofRanks)
    {
        int nofSquares = 0;
        for (const char letter : rank)
            if (letter >= '1' && letter <= '8')
                nofSquares += letter - '0';
            else if (fenLabelPieces.find(letter) == std::string_view::npos)
                return std::string("'") + letter +
                       "' is not a piece: write KQRBNP, kqrbnp or a digit";
            else
                ++nofSquares;
        if (nofSquares != 8)
            return "\"" + rank + "\" has " + std::to_string(nofSquares) +
                   " squares: give each rank 8, with digits for empty ones";
    }
    return nofRanks == 8
               ? ""
               : "the board has " + std::to_string(nofRanks) + " ranks: write 8, separated by /";
}

/// What makePlayable refuses in a position whose FEN is well formed.
std::string positionFault(const positionStruct& position)
{
    for (const int king : {KING + WHITE, KING + BLACK})
        if (popcount(position.pieceBB[king]) != 1) return "give each side one king";
    const u8 us = position.sideToMove;
    if (isSquareAttacked(kingSquareOf(us ^ 1, &position), us, &position))
        return "the side that is not to move is in check: let that side move";
    return "take the pawns off the first and the last rank";
}

/// Evaluates a FEN. The fields after the side to move don't matter.
void explain(const std::string& fen, explained& result)
{
    positionStruct& position = result.position;
    std::istringstream stream(fen);
    std::string placement;
    std::string side;
    stream >> placement >> side;
    result.fen = fen;
    result.fault = placementFault(placement);
    if (result.fault.empty() && side != "w" && side != "b")
        result.fault = "the side to move is missing: write w or b after the board, and put the "
                       "whole FEN in quotes";
    if (!result.fault.empty()) return;
    setPosition(placement + ' ' + side, &position);
    if (!makePlayable(&position))
    {
        result.fault = positionFault(position);
        return;
    }

    static const auto pawns = std::make_unique<pawnHashTableStruct>();
    position.pawnHashTable = pawns.get();
    result.trace = evaluateTraced(&position);
    std::fill_n(&result.groups[0][0], 2 * NOFEVALGROUPS, X(0, 0));
    for (int term = 0; term < NOFEVALTERMS; ++term)
        for (const int colour : {WHITE, BLACK})
            result.groups[evalTermTexts[term].group][colour] += result.trace.terms[term][colour];
}

/// What changes from one position to the next in the numbers of a term or group, white minus black
/// and by colour, times PHASERANGE.
struct change
{
    int number; // of the term or group
    int before[3];
    int after[3];

    int size() const { return std::abs(after[2] - before[2]); }
};

/// The changes of terms or groups, the largest first.
template <size_t size>
std::vector<change> changesOf(const explained& before, const combEval (&old)[size][2],
                              const explained& after, const combEval (&young)[size][2])
{
    std::vector<change> changes;
    for (size_t i = 0; i < size; ++i)
        changes.push_back(
            {static_cast<int>(i),
             {before.blended(old[i][WHITE]), before.blended(old[i][BLACK]), before.blended(old[i])},
             {after.blended(young[i][WHITE]), after.blended(young[i][BLACK]),
              after.blended(young[i])}});
    std::stable_sort(changes.begin(), changes.end(),
                     [](const change& a, const change& b) { return a.size() > b.size(); });
    return changes;
}


// Text

void printTable(const explained& at)
{
    const evalTrace& trace = at.trace;
    const char* rule = "------------------------------+---------------+---------------+"
                       "---------------\n";
    std::printf("%s\n\n%-30s|  white mg   eg |  black mg   eg |  total mg   eg\n%s", at.fen.c_str(),
                "term", rule);
    for (int term = 0; term < NOFEVALTERMS; ++term)
    {
        const combEval white = trace.terms[term][WHITE];
        const combEval black = trace.terms[term][BLACK];
        if (white != X(0, 0) || black != X(0, 0))
            std::printf("%-30s|  %8d %4d |  %8d %4d |  %8d %4d\n", evalTermTexts[term].name,
                        mgHalf(white), egHalf(white), mgHalf(black), egHalf(black),
                        mgHalf(white - black), egHalf(white - black));
    }
    std::printf("%s%-30s|%15s|%15s|  %8d %4d\n", rule, "total, white minus black", "", "",
                mgHalf(trace.total), egHalf(trace.total));
    std::printf("phase %d (%d end-game to %d mid-game)%s\nscore %d for the side to move\n\n",
                trace.phase, GAMEPHASEMINEG, GAMEPHASEMAXMG,
                trace.isDraw ? ", a pawnless draw" : "", trace.score);
}

/// One line of the comparison: what is white minus black before and after, and the change.
void printChange(const char* name, double before, double after)
{
    std::printf("%-30s|  %10.2f  %10.2f  %+10.2f\n", name, before, after, after - before);
}

void printComparison(const explained& before, const explained& after)
{
    const char* rule = "------------------------------+------------------------------------\n";
    std::printf("%s\n%s\n\n%-30s|      before       after      change\n%s", before.fen.c_str(),
                after.fen.c_str(), "white minus black", rule);
    for (const auto& [number, old, young] :
         changesOf(before, before.trace.terms, after, after.trace.terms))
        if (old[2] != young[2])
            printChange(evalTermTexts[number].name, double(old[2]) / PHASERANGE,
                        double(young[2]) / PHASERANGE);
    std::printf("%s", rule);
    printChange("total", double(before.blended(before.trace.total)) / PHASERANGE,
                double(after.blended(after.trace.total)) / PHASERANGE);
    printChange("score", before.whiteScore(), after.whiteScore());
    std::printf("\n");
}

/// Prints a table of plain numbers or pairs, eight entries to a line.
void printEntries(const char* name, const combEval* entries, u32 size, bool hasPairs)
{
    std::printf("%s\n", name);
    for (u32 i = 0; i < size; ++i)
    {
        const char* end = i + 1 == size || i % 8 == 7 ? "\n" : "";
        if (hasPairs)
            std::printf(" %d/%d%s", mgHalf(entries[i]), egHalf(entries[i]), end);
        else
            std::printf(" %d%s", plain(entries[i]), end);
    }
    std::printf("\n");
}

void printTables()
{
    for (const evalTable& table : evalTables)
        printEntries(table.name, table.start, table.size, table.hasPairs());
    const std::vector<combEval> weights(std::begin(pieceValuePhase), std::end(pieceValuePhase));
    const combEval bounds[] = {GAMEPHASEMAXMG, GAMEPHASEMINEG};
    printEntries("pieceValuePhase[6]", weights.data(), 6, false);
    printEntries("GAMEPHASEMAXMG", &bounds[0], 1, false);
    printEntries("GAMEPHASEMINEG", &bounds[1], 1, false);
}


// JSON
//
// Scores are pairs "mg" and "eg", and "cp", the pair blended in centipawns. All are good for their
// colour when positive; without a colour they are white minus black.

/// A text as JSON. Bytes that are not printable ASCII are taken for Latin-1.
std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char letter : text)
    {
        char code[8];
        std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(letter));
        const bool isPlain = letter >= ' ' && letter <= '~' && letter != '"' && letter != '\\';
        result += isPlain ? std::string(1, letter) : code;
    }
    return result + '"';
}

/// A member of an object: its name, and JSON or a whole number.
std::string member(const char* name, const std::string& json)
{
    return '"' + std::string(name) + "\":" + json;
}

std::string member(const char* name, int number)
{
    return member(name, std::to_string(number));
}

/// A fraction of PHASERANGE, with that many decimals.
std::string fraction(int numerator, int decimals = 2)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, double(numerator) / PHASERANGE);
    return std::strpbrk(text, "123456789") ? text : "0";
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string result;
    for (const std::string& part : parts) result += (result.empty() ? "" : ",") + part;
    return result;
}

std::string object(const std::vector<std::string>& members)
{
    return '{' + joined(members) + '}';
}

std::string array(const std::vector<std::string>& elements)
{
    return '[' + joined(elements) + ']';
}

/// The members of a pair.
std::string score(combEval pair, const explained& at)
{
    return joined({member("mg", mgHalf(pair)), member("eg", egHalf(pair)),
                   member("cp", fraction(at.blended(pair)))});
}

/// The sentence of a term on a square, with its piece.
std::string sentence(int term, const std::string& square, int code)
{
    const std::string names[] = {"pawn", "knight", "bishop", "rook", "queen", "king"};
    std::string text = evalTermTexts[term].sentence;
    for (const auto& [word, value] :
         {std::pair<std::string, std::string>{"%square", square}, {"%piece", names[code / 2 - 1]}})
        if (const size_t place = text.find(word); place != std::string::npos)
            text.replace(place, word.size(), value);
    return text;
}

/// One colour's side of a term.
std::string sideJson(const explained& at, int term, int colour)
{
    std::vector<std::string> squares;
    for (u8 i = 0; i < NOFSQUARES; ++i)
    {
        const combEval part = at.trace.squares[term][colour][i];
        if (part == X(0, 0)) continue;
        const int code = at.position.board[i];
        const std::string square = squareToLA(i);
        squares.push_back(
            object({member("square", quoted(square)),
                    member("piece", quoted({fenLabelPieces[size_t(code)]})), score(part, at),
                    member("text", quoted(sentence(term, square, code)))}));
    }
    return object({score(at.trace.terms[term][colour], at), member("squares", array(squares)),
                   member("shared", object({score(at.trace.shared[term][colour], at)}))});
}

/// Name, group and meaning of a term.
std::string termMembers(int term)
{
    const evalTermText& text = evalTermTexts[term];
    return joined({member("name", quoted(text.name)),
                   member("group", quoted(evalGroupNames[text.group])),
                   member("meaning", quoted(text.meaning))});
}

std::string positionJson(const explained& at)
{
    const evalTrace& trace = at.trace;
    std::vector<std::string> groups;
    groups.reserve(NOFEVALGROUPS);
    for (int group = 0; group < NOFEVALGROUPS; ++group)
        groups.push_back(object({member("name", quoted(evalGroupNames[group])),
                                 member("white", object({score(at.groups[group][WHITE], at)})),
                                 member("black", object({score(at.groups[group][BLACK], at)})),
                                 member("cp", fraction(at.blended(at.groups[group])))}));
    std::vector<std::string> terms;
    for (int term = 0; term < NOFEVALTERMS; ++term)
    {
        const auto isAbsent = [&](int colour)
        {
            const auto& squares = trace.squares[term][colour];
            return trace.terms[term][colour] == X(0, 0) &&
                   std::all_of(std::begin(squares), std::end(squares),
                               [](combEval part) { return part == X(0, 0); });
        };
        if (isAbsent(WHITE) && isAbsent(BLACK)) continue;
        terms.push_back(
            object({termMembers(term), member("cp", fraction(at.blended(trace.terms[term]))),
                    member("white", sideJson(at, term, WHITE)),
                    member("black", sideJson(at, term, BLACK))}));
    }
    const int exact = at.blended(trace.total);
    const int rounded = exact / PHASERANGE * PHASERANGE;
    return object(
        {member("fen", quoted(at.fen)),
         member("sideToMove", at.position.sideToMove == WHITE ? "\"white\"" : "\"black\""),
         member("score", trace.score), member("whiteScore", at.whiteScore()),
         member("blend",
                object({member("phase", trace.phase),
                        member("midgame", fraction(trace.phase - GAMEPHASEMINEG, 4)),
                        member("endgame", fraction(GAMEPHASEMAXMG - trace.phase, 4)),
                        member("mg", mgHalf(trace.total)), member("eg", egHalf(trace.total)),
                        member("exact", fraction(exact)),
                        member("rounding", fraction(rounded - exact)),
                        member("draw", fraction(trace.isDraw ? -rounded : 0))})),
         member("isDraw", trace.isDraw ? "true" : "false"), member("groups", array(groups)),
         member("terms", array(terms))});
}

/// The numbers of a change: of both colours, or of one.
std::string changeMembers(const change& what, int colour)
{
    return joined({member("before", fraction(what.before[colour])),
                   member("after", fraction(what.after[colour])),
                   member("cp", fraction(what.after[colour] - what.before[colour]))});
}

std::string comparisonJson(const explained& before, const explained& after)
{
    const auto numbers = [](const change& what)
    {
        return joined({changeMembers(what, 2),
                       member("white", object({changeMembers(what, WHITE)})),
                       member("black", object({changeMembers(what, BLACK)}))});
    };
    std::vector<std::string> groups;
    for (const change& what : changesOf(before, before.groups, after, after.groups))
        groups.push_back(
            object({member("name", quoted(evalGroupNames[what.number])), numbers(what)}));
    std::vector<std::string> terms;
    for (const change& what : changesOf(before, before.trace.terms, after, after.trace.terms))
        if (!std::equal(what.before, std::end(what.before), what.after))
            terms.push_back(object({termMembers(what.number), numbers(what)}));
    return object({member("before", positionJson(before)), member("after", positionJson(after)),
                   member("cp", fraction(after.blended(after.trace.total) -
                                         before.blended(before.trace.total))),
                   member("score", after.whiteScore() - before.whiteScore()),
                   member("groups", array(groups)), member("terms", array(terms))});
}


// Questions

/// A FEN, or two to compare, with their evaluations.
struct question
{
    std::vector<std::unique_ptr<explained>> positions;
    std::string fault; // empty if there is none
    std::string fen;   // where the fault is

    explicit question(const std::vector<std::string>& fens)
    {
        if (fens.empty() || fens.size() > 2) fault = "give one FEN in quotes, or two to compare";
        for (const std::string& text : fens)
        {
            if (!fault.empty()) break;
            positions.push_back(std::make_unique<explained>());
            explain(text, *positions.back());
            fault = positions.back()->fault;
            fen = text;
        }
    }

    std::string json() const
    {
        if (!fault.empty())
            return object({member("error", quoted(fault)), member("fen", quoted(fen))});
        return positions.size() == 1 ? positionJson(*positions.front())
                                     : comparisonJson(*positions[0], *positions[1]);
    }

    void print() const
    {
        if (!fault.empty())
            std::fprintf(stderr, "quillon_explain: %s: %s\n", fault.c_str(), fen.c_str());
        else if (positions.size() == 1)
            printTable(*positions.front());
        else
            printComparison(*positions[0], *positions[1]);
    }
};

/// The FENs of a line of the input, separated by "|".
std::vector<std::string> fensOf(const std::string& line)
{
    std::vector<std::string> fens;
    std::istringstream stream(line);
    for (std::string fen; std::getline(stream, fen, '|');)
    {
        fen.erase(0, fen.find_first_not_of(" \t\r"));
        fen.erase(fen.find_last_not_of(" \t\r") + 1);
        fens.push_back(fen);
    }
    return fens;
}

/// Answers a question on the output, errors of text on the other one. Returns whether it could.
bool answer(const std::vector<std::string>& fens, bool isJson)
{
    const question asked(fens);
    if (isJson)
        std::printf("%s\n", asked.json().c_str());
    else
        asked.print();
    std::fflush(stdout); // who asks line by line waits for it
    return asked.fault.empty();
}

} // namespace

/// Answers a line of the input in JSON, for WebAssembly. The text is good until the next call.
extern "C" const char* quillonExplain(const char* line)
{
    static std::string text;
    if (text.empty()) initBitboardConstants();
    text = question(fensOf(line)).json();
    return text.c_str();
}

int main(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string first = arguments.empty() ? "" : arguments[0];
    const bool isJson = first == "--json";
    if (isJson) arguments.erase(arguments.begin());
    if (first == "--help")
        std::fputs(usage, stdout);
    else if (first == "--terms")
        for (const evalTermText& term : evalTermTexts)
            std::printf("%s\t%s\n", term.name, term.meaning);
    else if (first == "--tables")
        printTables();
    else if (!isJson && first.starts_with("-"))
    {
        std::fprintf(stderr, "quillon_explain: no option %s; try --help\n", first.c_str());
        return 2;
    }
    else
    {
        initBitboardConstants();
        if (!arguments.empty()) return answer(arguments, isJson) ? 0 : 1;
        bool ok = true;
        for (std::string line; std::getline(std::cin, line);)
            if (line.find_first_not_of(" \t\r") != std::string::npos)
                ok = answer(fensOf(line), isJson) && ok;
        return ok ? 0 : 1;
    }
    return 0;
}
