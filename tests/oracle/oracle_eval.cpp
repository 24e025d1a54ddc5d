// SPDX-License-Identifier: MIT
//
// The reference evaluation: every term summed afresh from 64 squares, with file and rank
// arithmetic, lines walked one square at a time and attacks counted per square. It shares no code
// with the engine, so that the two can be compared. Its numbers come from a file.
#include "oracle_eval.h"

#include "geometry.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using Pair = OracleValue;
using oracle::fileOf;
using oracle::forward;
using oracle::rankOf;

struct Files
{
    int first;
    int last;
};

using Table = std::vector<Pair>;

// The tables of tests/data/evaluation.txt: a line with the name, then the entries in one row, pairs
// as mg/eg. A plain number is the mid-game half of its entry.
std::map<std::string, Table> readTables()
{
    std::ifstream file(QUILLON_EVALUATION_FILE);
    std::map<std::string, Table> tables;
    Table* table = nullptr;
    for (std::string line; std::getline(file, line);)
    {
        if (line.empty() || line[0] == '#') continue;
        if (std::isalpha(static_cast<unsigned char>(line[0])))
        {
            table = &tables[line.substr(0, line.find('['))];
            continue;
        }
        std::istringstream words(line);
        for (std::string word; words >> word;)
        {
            const auto slash = word.find('/');
            table->push_back({std::stoi(word),
                              slash == std::string::npos ? 0 : std::stoi(word.substr(slash + 1))});
        }
    }
    return tables;
}

const Table& tableOf(const std::string& name)
{
    static const std::map<std::string, Table> tables = readTables();
    return tables.at(name);
}

const Table& pieceValue = tableOf("pieceValue"); // pawn to king
const Table& phaseWeight = tableOf("pieceValuePhase");
const int phaseFullMiddleGame = tableOf("GAMEPHASEMAXMG")[0].mg;
const int phaseFullEndGame = tableOf("GAMEPHASEMINEG")[0].mg;

// By type; row 0 is the owner's eighth rank, columns a to h for both colours.
const std::array<Table, 6> pieceOnSquare{
    tableOf("pieceSquareScore pawn"),   tableOf("pieceSquareScore knight"),
    tableOf("pieceSquareScore bishop"), tableOf("pieceSquareScore rook"),
    tableOf("pieceSquareScore queen"),  tableOf("pieceSquareScore king")};

const Pair bishopPair = tableOf("EVALBISHOPPAIR")[0];
const Pair tempo = tableOf("EVALTEMPO")[0];

// By file.
const Table& pawnIsolated = tableOf("EVALPAWNISOLATED");
const Table& pawnDoubled = tableOf("EVALPAWNDOUBLED");
const Table& pawnBackward = tableOf("EVALPAWNBACKHALF"); // without an enemy pawn on the file

// By the owner's rank.
const Table& pawnConnected = tableOf("EVALPAWNCONNECTED");
const Table& pawnNeighbour = tableOf("EVALPAWNNEIGHBOUR");
const Table& pawnCandidate = tableOf("EVALPAWNPASSEDCANDIDATE"); // and 8 on: enough defenders
const Table& passed = tableOf("EVALPAWNPASSED"); // 16 on: stop square empty; 8 more: attacked

const Pair pawnIsolatedNearKing = tableOf("EVALPAWNKSISOLATED")[0];
const Pair pawnDoubledNearKing = tableOf("EVALPAWNKSDOUBLED")[0];
const Pair pawnBackwardNearKing = tableOf("EVALPAWNKSBACKWARD")[0];

// By the distance from the king.
const Table& passedOwnKing = tableOf("EVALPAWNPASSEDDISTOWN");
const Table& passedEnemyKing = tableOf("EVALPAWNPASSEDDISTOTHER");
const Pair passedFreePath = tableOf("EVALPAWNPASSEDPROMO")[0];

// By type.
const Table& pinnedByPawn = tableOf("EVALPINNED"); // pinned and attacked by an enemy pawn
const Table& pinnedFree = tableOf("EVALPINNEDFREE");
const Table& discovery = tableOf("EVALDISCOVERED"); // alone between enemy king and own slider
const Table& kingAttackWeight = tableOf("EVALKINGATTWEIGHT");

// By the number of counted squares.
const std::array<Table, 4> mobility{tableOf("EVALMOBILITYKNIGHT"), tableOf("EVALMOBILITYBISHOP"),
                                    tableOf("EVALMOBILITYROOK"), tableOf("EVALMOBILITYQUEEN")};

// By whether an own pawn defends it.
const Table& outpostKnight = tableOf("EVALOUTPOSTKNIGHT");
const Table& outpostBishop = tableOf("EVALOUTPOSTBISHOP");

const Table& rookFile = tableOf("EVALROOKONOPEN");    // no own pawn on the file: half open, open
const Pair badBishop = tableOf("EVALTEST")[0];        // per blocked own pawn of its colour
const Pair kingDistance = tableOf("EVALKINGDIST")[0]; // per step from knight or bishop to king

const Pair threatWeakPawn = tableOf("EVALTHREADWEAKPAWN")[0];
const Pair threatMinorByPawn = tableOf("EVALTHREADMINORABPAWN")[0];
const Pair threatMinorByMinor = tableOf("EVALTHREADMINORABMINOR")[0];
const Pair threatMinorByMajor = tableOf("EVALTHREADMINORABMAJOR")[0];
const Pair threatRookByLess = tableOf("EVALTHREADROOKABLESS")[0];
const Pair threatQueenByAny = tableOf("EVALTHREADQUEENABALL")[0];
const Pair threatOverloaded = tableOf("EVALTHREADOVERLOADED")[0];
const Pair threatPawnPush = tableOf("EVALTHREADPAWNPUSH")[0];

const Table& shield = tableOf("EVALPAWNSHIELD"); // by square, as pieceOnSquare

// Points of danger to a king; the two divisors turn their sum into a penalty.
const Table& dangerPoints = tableOf("EVALKINGDANGER");
const int dangerAdjacentAttack = dangerPoints[0].mg;
const int dangerWeakSquare = dangerPoints[1].mg;
const int dangerUnsafeCheck = dangerPoints[2].mg;
const int dangerFlankAttack = dangerPoints[3].mg;
const int dangerNoQueen = dangerPoints[4].mg;
const int dangerAlways = dangerPoints[5].mg;
const int dangerPinned = dangerPoints[6].mg;
const int dangerSafeQueenCheck = tableOf("EVALCHECKSAFEQUEEN")[0].mg;
const int dangerSafeRookCheck = tableOf("EVALCHECKSAFEROOK")[0].mg;
const int dangerSafeBishopCheck = tableOf("EVALCHECKSAFEBISHOP")[0].mg;
const int dangerSafeKnightCheck = tableOf("EVALCHECKSAFEKNIGHT")[0].mg;
const int dangerDivisorMiddleGame = tableOf("EVALKINGDANGERTRANSMG")[0].mg;
const int dangerDivisorEndGame = tableOf("EVALKINGDANGERTRANSEG")[0].mg;

const Pair noPawnOnFlank = tableOf("EVALKINGNOPAWNONFILES")[0];

// First and last file of the flank, by the file of the king.
constexpr std::array<Files, 8> flankFiles{
    {{0, 2}, {0, 3}, {0, 3}, {2, 5}, {2, 5}, {4, 7}, {4, 7}, {5, 7}}};

using Squares = std::bitset<64>;

enum Type
{
    pawn,
    knight,
    bishop,
    rook,
    queen,
    king
};

constexpr std::array typeName{"knight", "bishop", "rook", "queen"};

// Positive numbers become indices of the standard containers.
constexpr std::size_t at(int number)
{
    return static_cast<std::size_t>(number);
}

// The rank as its owner counts it: 0 is where his king starts, 7 where his pawns promote.
constexpr int ownRank(int colour, int square)
{
    return colour == 0 ? rankOf(square) : 7 - rankOf(square);
}

// The index of a square in a table whose first row is the owner's eighth rank.
constexpr int tableIndex(int colour, int square)
{
    return (7 - ownRank(colour, square)) * 8 + fileOf(square);
}

int kingSteps(int a, int b)
{
    return std::max(std::abs(fileOf(a) - fileOf(b)), std::abs(rankOf(a) - rankOf(b)));
}

// The squares that a condition picks out.
template <typename Condition> Squares squaresWhere(Condition condition)
{
    Squares result;
    for (int square = 0; square < 64; ++square)
        if (condition(square)) result.set(at(square));
    return result;
}

std::vector<int> listOf(const Squares& set)
{
    std::vector<int> result;
    for (int square = 0; square < 64; ++square)
        if (set.test(at(square))) result.push_back(square);
    return result;
}

int count(const Squares& set)
{
    return static_cast<int>(set.count());
}

int lowest(const Squares& set)
{
    int square = 0;
    while (!set.test(at(square))) ++square;
    return square;
}

Squares wholeFile(int file)
{
    return squaresWhere([=](int s) { return fileOf(s) == file; });
}

// The three files around a king; one on the edge looks as far inwards as its neighbour does.
bool nearFile(int kingSquare, int square)
{
    const int centre = std::clamp(fileOf(kingSquare), 1, 6);
    return std::abs(fileOf(square) - centre) <= 1;
}

// Three files by four ranks: one rank behind the king, his own, and two in front of him.
Squares kingZone(int colour, int kingSquare)
{
    return squaresWhere(
        [=](int s)
        {
            const int ahead = ownRank(colour, s) - ownRank(colour, kingSquare);
            return nearFile(kingSquare, s) && ahead >= -1 && ahead <= 2;
        });
}

// Own and neighbour files, all ranks ahead; nothing on the first and last rank of the board.
Squares aheadOnThreeFiles(int colour, int square)
{
    if (rankOf(square) == 0 || rankOf(square) == 7) return {};
    return squaresWhere(
        [=](int s)
        {
            return std::abs(fileOf(s) - fileOf(square)) <= 1 &&
                   ownRank(colour, s) > ownRank(colour, square);
        });
}

// The squares from which a pawn of that colour attacks a square.
Squares pawnSources(int colour, int square)
{
    return oracle::pawnSources(colour, square);
}

Squares kingReach(int square)
{
    return oracle::kingReach(square);
}

// The squares on four rays up to the first piece, that piece's square included.
Squares straightReach(int square, const Squares& occupied)
{
    return oracle::straightReach(square, occupied.to_ullong());
}

Squares diagonalReach(int square, const Squares& occupied)
{
    return oracle::diagonalReach(square, occupied.to_ullong());
}

// Whether a slider on one square would see the other on an empty board.
bool onStraightLine(int a, int b)
{
    return straightReach(a, {}).test(at(b));
}

bool onDiagonalLine(int a, int b)
{
    return diagonalReach(a, {}).test(at(b));
}

// The squares strictly between two squares on a line.
Squares between(int a, int b)
{
    return oracle::between(a, b);
}

// The whole line through two squares, from edge to edge; just the two if there is none.
Squares lineThrough(int a, int b)
{
    Squares line = onStraightLine(a, b) ? straightReach(a, {}) & straightReach(b, {})
                                        : diagonalReach(a, {}) & diagonalReach(b, {});
    line.set(at(a));
    line.set(at(b));
    return line;
}

// One evaluation. The stages run in the order of evaluate(); later ones read
// the attack counts and the counters of king attackers that earlier ones have filled.
class Model
{
  public:
    Model(const unsigned char board[64], int side, OracleTerms* terms)
        : sideToMove(side), recorded(terms)
    {
        for (int square = 0; square < 64; ++square)
        {
            const int code = board[square];
            if (code == 0) continue;
            byType[at(code % 2)][at(code / 2 - 1)].set(at(square));
            allPieces[at(code % 2)].set(at(square));
        }
        occupied = allPieces[0] | allPieces[1];
        for (int us = 0; us < 2; ++us) kingSquare[at(us)] = lowest(of(us, king));
    }

    void evaluate()
    {
        for (int us = 0; us < 2; ++us) sumPieces(us);
        for (int us = 0; us < 2; ++us) pawnStructure(us);
        for (int us = 0; us < 2; ++us) pawnMaps(us);
        for (int us = 0; us < 2; ++us) linesToKing(us);
        for (int us = 0; us < 2; ++us) pieces(us);
        for (int us = 0; us < 2; ++us)
        {
            passedPawns(us);
            threats(us);
            flank(us);
            danger(us);
        }
        for (int us = 0; us < 2; ++us)
            if (of(us, bishop).count() == 2) credit("bishop pair", us, bishopPair);
        credit("tempo", sideToMove, tempo);
    }

    // The score from the view of the side to move.
    int score() const
    {
        if (isDrawnMaterial()) return 0;
        // The engine holds both halves in one 32-bit number. Within 16 bits each that is the same
        // as two numbers; a board crowded with queens spills from one half into the other.
        const auto packed =
            static_cast<std::uint32_t>(total.mg) + static_cast<std::uint32_t>(total.eg) * 65536u;
        const int middleGame = static_cast<std::int16_t>(packed & 0xffffu);
        const int endGame = static_cast<std::int32_t>(packed + 32768u) >> 16;

        const int clamped = std::clamp<int>(static_cast<std::int16_t>(phase), phaseFullEndGame,
                                            phaseFullMiddleGame);
        const int blended = (middleGame * (clamped - phaseFullEndGame) +
                             endGame * (phaseFullMiddleGame - clamped)) /
                            (phaseFullMiddleGame - phaseFullEndGame);
        const int whiteView = static_cast<std::int16_t>(blended);
        return sideToMove == 0 ? whiteView : -whiteView;
    }

  private:
    const Squares& of(int colour, Type type) const { return byType[at(colour)][at(type)]; }
    const Squares& attackedBy(int colour, Type type) const { return reach[at(colour)][at(type)]; }

    // Squares that a colour attacks at least so many times.
    Squares attackedTimes(int colour, int times) const
    {
        return squaresWhere([&](int s) { return attackCount[at(colour)][at(s)] >= times; });
    }
    Squares attacked(int colour) const { return attackedTimes(colour, 1); }
    Squares attackedTwice(int colour) const { return attackedTimes(colour, 2); }

    void credit(const char* term, int colour, const Pair& value, int times = 1)
    {
        const auto addTo = [&](Pair& sum, int factor)
        {
            sum.mg += value.mg * factor;
            sum.eg += value.eg * factor;
        };
        addTo(total, colour == 0 ? times : -times);
        if (recorded) addTo((*recorded)[current + term][at(colour)], times);
    }

    // A lone minor piece, or nothing, on both sides; or a lone rook on both.
    bool isDrawnMaterial() const
    {
        if (of(0, pawn).any() || of(1, pawn).any()) return false;
        const int white = static_cast<std::int16_t>(material[0]);
        const int black = static_cast<std::int16_t>(material[1]);
        const int minor = std::max(pieceValue[knight].mg, pieceValue[bishop].mg);
        const int oneRook = pieceValue[rook].mg;
        return (white <= minor && black <= minor) || (white == oneRook && black == oneRook);
    }

    void sumPieces(int us)
    {
        for (int type = pawn; type <= king; ++type)
            for (const int s : listOf(byType[at(us)][at(type)]))
            {
                credit("piece squares", us, pieceOnSquare[at(type)].at(at(tableIndex(us, s))));
                if (type == king) continue;
                credit("material", us, pieceValue[at(type)]);
                material[at(us)] += pieceValue[at(type)].mg;
                if (type != pawn) phase += phaseWeight[at(type)].mg;
            }
    }

    void pawnStructure(int us)
    {
        const int them = 1 - us;
        const Squares mine = of(us, pawn);
        const Squares theirs = of(them, pawn);
        const int home = kingSquare[at(us)];
        Squares remaining = mine;
        for (const int s : listOf(mine))
        {
            const std::size_t file = at(fileOf(s));
            const std::size_t rank = at(ownRank(us, s));
            const int stop = s + forward(us);
            const bool nearKing = nearFile(home, s);
            const Squares stopGuards = pawnSources(them, stop) & theirs;
            const Squares defenders = pawnSources(us, s) & mine;
            const Squares neighbours = pawnSources(us, stop) & mine;
            const Squares front = aheadOnThreeFiles(us, s) & theirs;
            const Squares levers = pawnSources(them, s) & theirs;

            if (front.none())
                passers[at(us)].set(at(s));
            else if ((front & ~levers) == stopGuards && stopGuards.count() <= neighbours.count())
                credit("pawn candidate", us,
                       pawnCandidate[rank + (defenders.count() >= levers.count() ? 8 : 0)]);

            remaining.reset(at(s));
            const Squares beside = squaresWhere(
                [=](int q) { return std::abs(fileOf(q) - static_cast<int>(file)) == 1; });
            if ((beside & mine).none())
            {
                credit("pawn isolated", us, pawnIsolated[file]);
                if (nearKing) credit("pawn isolated near king", us, pawnIsolatedNearKing);
            }
            // Only the pawns that are still to come: n pawns on a file pay n - 1 times.
            if ((wholeFile(fileOf(s)) & remaining).any())
            {
                credit("pawn doubled", us, pawnDoubled[file]);
                if (nearKing) credit("pawn doubled near king", us, pawnDoubledNearKing);
            }
            if (stopGuards.any() && (aheadOnThreeFiles(them, s) & mine).none())
            {
                if (nearKing) credit("pawn backward near king", us, pawnBackwardNearKing);
                if ((wholeFile(fileOf(s)) & theirs).none())
                    credit("pawn backward, half-open file", us, pawnBackward[file]);
            }
            if (defenders.any()) credit("pawn connected", us, pawnConnected[rank]);
            if (neighbours.any()) credit("pawn neighbour", us, pawnNeighbour[rank]);
        }
    }

    // Puts the squares that a piece attacks on the maps of its colour.
    void enterAttacks(int us, Type type, const Squares& attacks)
    {
        reach[at(us)][at(type)] |= attacks;
        for (const int s : listOf(attacks)) ++attackCount[at(us)][at(s)];
    }

    static Squares pawnAttacks(int us, int square) { return pawnSources(1 - us, square); }

    void pawnMaps(int us)
    {
        for (const int s : listOf(of(us, pawn)))
        {
            enterAttacks(us, pawn, pawnAttacks(us, s));
            if (occupied.test(at(s + forward(us)))) blockedPawns[at(us)].set(at(s));
        }
    }

    // Empty squares that pawns can be pushed to; a double push not across an enemy pawn's fire.
    Squares pawnPushes(int us) const
    {
        Squares result;
        for (const int s : listOf(of(us, pawn)))
        {
            const int one = s + forward(us);
            if (occupied.test(at(one))) continue;
            result.set(at(one));
            if (ownRank(us, s) != 1 || attackedBy(1 - us, pawn).test(at(one))) continue;
            const int two = one + forward(us);
            if (!occupied.test(at(two))) result.set(at(two));
        }
        return result;
    }

    // Pieces that stand alone between a king and an enemy slider of the right sort: his own ones
    // are pinned, those of the other colour can discover an attack.
    void linesToKing(int us)
    {
        const int them = 1 - us;
        const int home = kingSquare[at(us)];
        for (int s = 0; s < 64; ++s)
        {
            const bool sees =
                (onDiagonalLine(home, s) && (of(them, bishop) | of(them, queen)).test(at(s))) ||
                (onStraightLine(home, s) && (of(them, rook) | of(them, queen)).test(at(s)));
            const Squares screen = between(home, s) & occupied;
            if (!sees || screen.count() != 1) continue;
            pinnedPieces[at(us)] |= screen & allPieces[at(us)];
            discoverers[at(them)] |= screen & allPieces[at(them)];
        }
    }

    int shieldOf(int us) const
    {
        const Squares guards = of(us, pawn) & kingZone(us, kingSquare[at(us)]);
        int sum = 0;
        for (int file = 0; file < 8; ++file)
            for (int rank = 0; rank < 8; ++rank)
            {
                const int s = (us == 0 ? rank : 7 - rank) * 8 + file;
                if (!guards.test(at(s))) continue;
                sum += shield.at(at(tableIndex(us, s))).mg;
                break; // the rearmost pawn of a file is the one that counts
            }
        return of(1 - us, queen).none() ? sum / 2 : sum;
    }

    // Own heavy pieces don't stand in the way of a piece that could support them on the line.
    Squares pieceAttacks(int us, Type type, int s) const
    {
        const Squares withoutQueens = occupied & ~of(us, queen);
        const Squares withoutHeavy = withoutQueens & ~of(us, rook);
        if (type == knight) return oracle::knightReach(s);
        if (type == bishop) return diagonalReach(s, withoutQueens);
        if (type == rook) return straightReach(s, withoutHeavy);
        return straightReach(s, withoutHeavy) | diagonalReach(s, withoutQueens);
    }

    void pieces(int us)
    {
        const int them = 1 - us;
        credit("king shield", us, {shieldOf(us), 0});

        mobilityArea[at(us)] = ~(attackedBy(them, pawn) | blockedPawns[at(us)]);
        mobilityArea[at(us)].reset(at(kingSquare[at(us)]));
        kingAttackers[at(us)] = count(attackedBy(us, pawn) & kingZone(them, kingSquare[at(them)]));
        enterAttacks(us, king, kingReach(kingSquare[at(us)]));

        for (const Type type : {knight, bishop, rook, queen})
            for (const int s : listOf(of(us, type))) piece(us, type, s);
        current.clear();
    }

    void piece(int us, Type type, int s)
    {
        const int them = 1 - us;
        const int home = kingSquare[at(us)];
        const int target = kingSquare[at(them)];
        const auto which = at(type - knight);
        current = std::string(typeName[which]) + ' ';

        Squares attacks = pieceAttacks(us, type, s);
        if (pinnedPieces[at(us)].test(at(s)))
        {
            attacks &= lineThrough(home, s);
            credit("pinned", us,
                   attackedBy(them, pawn).test(at(s)) ? pinnedByPawn[at(type)]
                                                      : pinnedFree[at(type)]);
        }
        if (discoverers[at(us)].test(at(s))) credit("discovers", us, discovery[at(type)]);
        credit("mobility", us, mobility[which].at(at(count(attacks & mobilityArea[at(us)]))));
        enterAttacks(us, type, attacks);

        if ((attacks & kingZone(them, target)).any())
        {
            ++kingAttackers[at(us)];
            kingWeight[at(us)] += kingAttackWeight[at(type)].mg;
            adjacentAttacks[at(us)] += count(attacks & kingReach(target));
        }

        if (type == knight || type == bishop)
        {
            if (isOutpost(us, s))
            {
                const std::size_t defended = attackedBy(us, pawn).test(at(s)) ? 1 : 0;
                credit("outpost", us,
                       type == knight ? outpostKnight[defended] : outpostBishop[defended]);
            }
            credit("king distance", us, kingDistance, kingSteps(s, home));
        }
        if (type == bishop)
        {
            const Squares sameColour = squaresWhere(
                [=](int q) { return (fileOf(q) + rankOf(q)) % 2 == (fileOf(s) + rankOf(s)) % 2; });
            credit("bad", us, badBishop, count(sameColour & blockedPawns[at(us)]));
        }
        if (type == rook && (wholeFile(fileOf(s)) & of(us, pawn)).none())
            credit("on open file", us,
                   rookFile[(wholeFile(fileOf(s)) & of(them, pawn)).none() ? 1 : 0]);
    }

    // On the fourth to sixth rank, where no enemy pawn on a neighbour file can still chase it.
    bool isOutpost(int us, int s) const
    {
        const int rank = ownRank(us, s);
        const Squares chasers = aheadOnThreeFiles(us, s) & ~wholeFile(fileOf(s)) & of(1 - us, pawn);
        return rank >= 3 && rank <= 5 && chasers.none();
    }

    void passedPawns(int us)
    {
        const int them = 1 - us;
        for (const int s : listOf(passers[at(us)]))
        {
            const int stop = s + forward(us);
            const Squares ahead = aheadOnThreeFiles(us, s) & wholeFile(fileOf(s));
            const Squares fire = attacked(them);
            const int row = (occupied.test(at(stop)) ? 0 : 16) + (fire.test(at(stop)) ? 8 : 0);

            Pair value = passed.at(at(row + ownRank(us, s)));
            const Pair& own = passedOwnKing.at(at(kingSteps(s, kingSquare[at(us)])));
            const Pair& enemy = passedEnemyKing.at(at(kingSteps(s, kingSquare[at(them)])));
            value.mg += own.mg + enemy.mg;
            value.eg += own.eg + enemy.eg;

            Squares path = ahead;
            path.set(at(s));
            if ((path & fire).none())
            {
                value.mg += passedFreePath.mg;
                value.eg += passedFreePath.eg;
            }
            // An own heavy piece that blocks the way takes value off, toward zero.
            if ((ahead & (of(us, rook) | of(us, queen))).any())
            {
                const int divisor = fire.test(at(s)) ? 4 : 2;
                value.mg /= divisor;
                value.eg /= divisor;
            }
            credit("passed pawns", us, value);
        }
    }

    void threats(int us)
    {
        const int them = 1 - us;
        const Squares theirs = attacked(them);
        const Squares ours = attacked(us);
        const Squares byPawn = attackedBy(them, pawn);
        const Squares byMinor = attackedBy(them, knight) | attackedBy(them, bishop);
        const Squares byMajor = attackedBy(them, rook) | attackedBy(them, queen);
        const Squares weak =
            (attackedTwice(them) & ~attackedTwice(us) & ~attackedBy(us, pawn)) | (theirs & ~ours);
        const Squares minors = of(us, knight) | of(us, bishop);
        const Squares pieces = minors | of(us, rook) | of(us, queen);

        credit("threat: weak pawn", us, threatWeakPawn, count(of(us, pawn) & weak & ~byPawn));
        credit("threat: minor by pawn", us, threatMinorByPawn, count(minors & byPawn));
        credit("threat: minor by minor", us, threatMinorByMinor, count(minors & byMinor));
        credit("threat: minor by major", us, threatMinorByMajor, count(minors & weak & byMajor));
        credit("threat: rook by less", us, threatRookByLess,
               count(of(us, rook) & (byMinor | byPawn)));
        credit("threat: queen by any", us, threatQueenByAny, count(of(us, queen) & theirs));
        credit("threat: overloaded", us, threatOverloaded,
               count(pieces & ours & ~attackedTwice(us) & theirs));

        Squares struck;
        for (const int s : listOf(pawnPushes(us) & (~theirs | ours) & ~byPawn))
            struck |= pawnAttacks(us, s);
        credit("threat: pawn push", us, threatPawnPush,
               count(struck & allPieces[at(them)] & ~attackedBy(us, pawn)));
    }

    Squares flankOf(int us) const
    {
        const Files files = flankFiles[at(fileOf(kingSquare[at(us)]))];
        return squaresWhere([=](int s)
                            { return fileOf(s) >= files.first && fileOf(s) <= files.last; });
    }

    void flank(int us)
    {
        if ((of(us, pawn) & flankOf(us)).none()) credit("king flank", us, noPawnOnFlank);
    }

    // The attack on the king of `us`, as points: a penalty if they come out positive.
    void danger(int us)
    {
        const int them = 1 - us;
        const int home = kingSquare[at(us)];
        if (kingAttackers[at(them)] + count(of(them, queen)) < 2) return;

        const Squares theirs = attacked(them);
        const Squares theirsTwice = attackedTwice(them);
        const Squares ours = attacked(us);
        const Squares firstFiveRanks = squaresWhere([=](int s) { return ownRank(us, s) <= 4; });
        const Squares flankAttacks = flankOf(us) & theirs & firstFiveRanks;
        const Squares flankTwice = flankAttacks & theirsTwice & ~attackedBy(us, pawn);

        // Attacked, and guarded by the king or a queen alone at best.
        const Squares weak =
            (attackedBy(us, king) | attackedBy(us, queen) | ~ours) & theirs & ~attackedTwice(us);
        const Squares safe = ((theirsTwice & weak) | ~ours) & ~allPieces[at(them)];

        const Squares blockers = occupied & ~of(us, queen);
        const Squares straightRays = straightReach(home, blockers);
        const Squares diagonalRays = diagonalReach(home, blockers);
        const Squares rookChecks = attackedBy(them, rook) & straightRays;
        const Squares bishopChecks = attackedBy(them, bishop) & diagonalRays;
        const Squares knightChecks = attackedBy(them, knight) & Squares(oracle::knightReach(home));
        const Squares queenChecks =
            attackedBy(them, queen) & ~attackedBy(us, queen) & (straightRays | diagonalRays);

        int points = kingAttackers[at(them)] * kingWeight[at(them)];
        points += dangerAdjacentAttack * adjacentAttacks[at(them)];
        points += dangerFlankAttack * (count(flankAttacks) + count(flankTwice));
        points += dangerWeakSquare * count(weak & kingZone(us, home));
        points += dangerPinned * count(pinnedPieces[at(us)] & kingZone(us, home));
        if (of(them, queen).none()) points += dangerNoQueen;
        points += dangerAlways;

        if ((queenChecks & safe).any()) points += dangerSafeQueenCheck;
        Squares unsafeChecks;
        const auto addChecks = [&](const Squares& checks, int safeBonus)
        {
            if ((checks & safe).any())
                points += safeBonus;
            else
                unsafeChecks |= checks;
        };
        addChecks(rookChecks, dangerSafeRookCheck);
        addChecks(bishopChecks, dangerSafeBishopCheck);
        addChecks(knightChecks, dangerSafeKnightCheck);
        points += dangerUnsafeCheck * count(unsafeChecks & mobilityArea[at(them)]);

        if (points < 1) return;
        const auto number = static_cast<std::uint32_t>(points);
        const auto divisor = [](int n) { return static_cast<std::uint32_t>(std::max(n, 1)); };
        credit("king danger", us,
               {-static_cast<int>(number * number / divisor(dangerDivisorMiddleGame)),
                -static_cast<int>(number / divisor(dangerDivisorEndGame))});
    }

    template <typename Element> using PerColour = std::array<Element, 2>;

    int sideToMove;
    PerColour<std::array<Squares, 6>> byType{};
    PerColour<Squares> allPieces{};
    Squares occupied;
    PerColour<int> kingSquare{};
    int phase = 0;

    PerColour<std::array<Squares, 6>> reach{};    // squares attacked by the pieces of one type
    PerColour<std::array<int, 64>> attackCount{}; // by how many pieces a square is attacked
    PerColour<Squares> passers{};
    PerColour<Squares> blockedPawns{};
    PerColour<Squares> pinnedPieces{};
    PerColour<Squares> discoverers{};
    PerColour<Squares> mobilityArea{};
    PerColour<int> kingAttackers{};   // of the other king's zone, by the attacking colour
    PerColour<int> kingWeight{};      // sum of the weights of those that are pieces
    PerColour<int> adjacentAttacks{}; // their attacks on squares next to that king

    PerColour<int> material{}; // the mid-game halves
    Pair total{};
    OracleTerms* recorded; // where the terms are noted, if they are
    std::string current;   // the type of piece that a term's name begins with
};

} // namespace

int oracleEvaluate(const unsigned char board[64], int sideToMove)
{
    Model model(board, sideToMove, nullptr);
    model.evaluate();
    return model.score();
}

OracleTerms oracleTerms(const unsigned char board[64], int sideToMove)
{
    OracleTerms terms;
    Model(board, sideToMove, &terms).evaluate();
    return terms;
}
