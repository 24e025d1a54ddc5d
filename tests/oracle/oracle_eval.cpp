// SPDX-License-Identifier: MIT
//
// The reference evaluation: every term summed afresh from 64 squares, by file and rank arithmetic
// and lines walked one square at a time. Its numbers come from a file.
#include "model.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace oracle
{

namespace
{

Pair operator*(const Pair& value, int factor)
{
    return {value.mg * factor, value.eg * factor};
}

void operator+=(Pair& sum, const Pair& value)
{
    sum = {sum.mg + value.mg, sum.eg + value.eg};
}

using Values = std::vector<Pair>;

std::map<std::string, Values> readTables()
{
    std::ifstream file(QUILLON_EVALUATION_FILE);
    std::map<std::string, Values> read;
    std::string name;
    for (std::string line; std::getline(file, line);)
    {
        if (line.empty() || line[0] == '#') continue;
        if (line[0] != ' ')
        {
            name = line;
            read[name] = {};
            continue;
        }
        std::istringstream words(line);
        for (std::string word; words >> word;)
        {
            const auto slash = word.find('/');
            const bool isPair = slash != std::string::npos;
            read[name].push_back({std::stoi(word), isPair ? std::stoi(word.substr(slash + 1)) : 0});
        }
    }
    return read;
}

// A table by its name in the file, without the sizes.
class Table
{
  public:
    explicit Table(const std::string& name)
    {
        for (const auto& [title, entries] : tables())
            if (title.substr(0, title.find('[')) == name) values = entries;
    }
    const Pair& operator[](int i) const { return values.at(static_cast<std::size_t>(i)); }

  private:
    Values values;
};

const Table pieceValue("pieceValue"); // pawn to king
const Table phaseWeight("pieceValuePhase");
const int phaseFullMiddleGame = Table("GAMEPHASEMAXMG")[0].mg;
const int phaseFullEndGame = Table("GAMEPHASEMINEG")[0].mg;

// By type; from the owner's eighth rank to the first, files a to h for both colours.
const Table pieceOnSquare[] = {Table("pieceSquareScore pawn"),   Table("pieceSquareScore knight"),
                               Table("pieceSquareScore bishop"), Table("pieceSquareScore rook"),
                               Table("pieceSquareScore queen"),  Table("pieceSquareScore king")};

const Pair bishopPair = Table("EVALBISHOPPAIR")[0];
const Pair tempo = Table("EVALTEMPO")[0];

// By file.
const Table pawnIsolated("EVALPAWNISOLATED");
const Table pawnDoubled("EVALPAWNDOUBLED");
const Table pawnBackward("EVALPAWNBACKHALF"); // without an enemy pawn on the file

// By the owner's rank.
const Table pawnConnected("EVALPAWNCONNECTED");
const Table pawnNeighbour("EVALPAWNNEIGHBOUR");
const Table pawnCandidate("EVALPAWNPASSEDCANDIDATE"); // from 8 on with enough defenders
const Table passed("EVALPAWNPASSED"); // from 16 on: stop square empty; 8 more: attacked

const Pair pawnIsolatedNearKing = Table("EVALPAWNKSISOLATED")[0];
const Pair pawnDoubledNearKing = Table("EVALPAWNKSDOUBLED")[0];
const Pair pawnBackwardNearKing = Table("EVALPAWNKSBACKWARD")[0];

// By the distance from the king.
const Table passedOwnKing("EVALPAWNPASSEDDISTOWN");
const Table passedEnemyKing("EVALPAWNPASSEDDISTOTHER");
const Pair passedFreePath = Table("EVALPAWNPASSEDPROMO")[0];

// By type, from the pawn.
const Table pinnedByPawn("EVALPINNED"); // pinned and attacked by an enemy pawn
const Table pinnedFree("EVALPINNEDFREE");
const Table discovery("EVALDISCOVERED"); // alone between the enemy king and its own slider
const Table kingAttackWeight("EVALKINGATTWEIGHT");

// By type, then by the number of counted squares.
const Table mobility[] = {Table("EVALMOBILITYKNIGHT"), Table("EVALMOBILITYBISHOP"),
                          Table("EVALMOBILITYROOK"), Table("EVALMOBILITYQUEEN")};

// Knight and bishop, by whether a friendly pawn defends the piece.
const Table outpost[] = {Table("EVALOUTPOSTKNIGHT"), Table("EVALOUTPOSTBISHOP")};

const Table rookFile("EVALROOKONOPEN");             // half-open, open
const Pair badBishop = Table("EVALTEST")[0];        // per blocked own pawn of its colour
const Pair kingDistance = Table("EVALKINGDIST")[0]; // per step from knight or bishop to king

const Pair threatWeakPawn = Table("EVALTHREADWEAKPAWN")[0];
const Pair threatMinorByPawn = Table("EVALTHREADMINORABPAWN")[0];
const Pair threatMinorByMinor = Table("EVALTHREADMINORABMINOR")[0];
const Pair threatMinorByMajor = Table("EVALTHREADMINORABMAJOR")[0];
const Pair threatRookByLess = Table("EVALTHREADROOKABLESS")[0];
const Pair threatQueenByAny = Table("EVALTHREADQUEENABALL")[0];
const Pair threatOverloaded = Table("EVALTHREADOVERLOADED")[0];
const Pair threatPawnPush = Table("EVALTHREADPAWNPUSH")[0];

const Table shield("EVALPAWNSHIELD"); // by square, in the order of pieceOnSquare

// Points of danger to a king; the two divisors turn their sum into a penalty.
const Table dangerPoints("EVALKINGDANGER");
const int dangerAdjacentAttack = dangerPoints[0].mg;
const int dangerWeakSquare = dangerPoints[1].mg;
const int dangerUnsafeCheck = dangerPoints[2].mg;
const int dangerFlankAttack = dangerPoints[3].mg;
const int dangerNoQueen = dangerPoints[4].mg;
const int dangerAlways = dangerPoints[5].mg;
const int dangerPinned = dangerPoints[6].mg;
const int dangerSafeCheck[] = {Table("EVALCHECKSAFEKNIGHT")[0].mg,
                               Table("EVALCHECKSAFEBISHOP")[0].mg, Table("EVALCHECKSAFEROOK")[0].mg,
                               Table("EVALCHECKSAFEQUEEN")[0].mg};
const int dangerDivisorMiddleGame = Table("EVALKINGDANGERTRANSMG")[0].mg;
const int dangerDivisorEndGame = Table("EVALKINGDANGERTRANSEG")[0].mg;

const Pair noPawnOnFlank = Table("EVALKINGNOPAWNONFILES")[0];

// The rank as its owner counts it: pieces start on 0, pawns promote on 7.
constexpr int ownRank(int colour, int square)
{
    return colour == 0 ? rankOf(square) : 7 - rankOf(square);
}

// The index of a square in a table whose first row is the owner's eighth rank.
constexpr int tableIndex(int colour, int square)
{
    return (7 - ownRank(colour, square)) * 8 + fileOf(square);
}

// The index of a type, or of a piece, in a table that begins with the pawn.
constexpr int typeIndex(int piece)
{
    return piece / 2 - 1;
}

int kingSteps(int a, int b)
{
    return std::max(std::abs(fileOf(a) - fileOf(b)), std::abs(rankOf(a) - rankOf(b)));
}

// The squares that meet a condition.
template <typename Condition> Set squaresWhere(Condition condition)
{
    Set result = 0;
    for (int s = 0; s < 64; ++s) result |= Set{condition(s)} << s;
    return result;
}

Set files(int first, int last)
{
    return squaresWhere([=](int s) { return fileOf(s) >= first && fileOf(s) <= last; });
}

Set wholeFile(int square)
{
    return files(fileOf(square), fileOf(square));
}

// The three files around a king; for a king on an edge file, the three files at that edge.
Set nearFiles(int kingSquare)
{
    const int centre = std::clamp(fileOf(kingSquare), 1, 6);
    return files(centre - 1, centre + 1);
}

// Three to four files on the king's side of the board.
Set flank(int kingSquare)
{
    constexpr int first[] = {0, 0, 0, 2, 2, 4, 4, 5};
    constexpr int last[] = {2, 3, 3, 5, 5, 7, 7, 7};
    return files(first[fileOf(kingSquare)], last[fileOf(kingSquare)]);
}

// Three files by four ranks: one rank behind the king, its own, and two in front of it.
Set kingZone(int colour, int kingSquare)
{
    return nearFiles(kingSquare) & squaresWhere(
                                       [=](int s)
                                       {
                                           const int ahead =
                                               ownRank(colour, s) - ownRank(colour, kingSquare);
                                           return ahead >= -1 && ahead <= 2;
                                       });
}

// All ranks ahead, on the square's file and the neighbouring ones.
Set aheadOnThreeFiles(int colour, int square)
{
    return files(fileOf(square) - 1, fileOf(square) + 1) &
           squaresWhere([=](int s) { return ownRank(colour, s) > ownRank(colour, square); });
}

Set pawnAttacks(int colour, int square)
{
    return reach(pawn + colour, square, 0);
}

// The squares from which a pawn of the colour attacks a square.
Set pawnSources(int colour, int square)
{
    return pawnAttacks(1 - colour, square);
}

// One evaluation. The stages run in the order of evaluate(); later ones read the attack maps and
// the counters of king attackers that earlier ones have filled.
class Model
{
  public:
    Model(const Board& position, int side, Terms* terms)
        : board(position), sideToMove(side), occupied(position.occupied()), recorded(terms)
    {
        for (int code = pawn; code <= king + 1; ++code) byPiece[code] = board.pieces(code);
    }

    void evaluate()
    {
        for (int us = 0; us < 2; ++us)
        {
            kingSquare[us] = board.kingSquare(us);
            all[us] = board.of(us);
            sumPieces(us);
            pawnMaps(us);
        }
        for (int us = 0; us < 2; ++us) pawnStructure(us);
        for (int us = 0; us < 2; ++us) linesToKing(us);
        for (int us = 0; us < 2; ++us) pieces(us);
        for (int us = 0; us < 2; ++us)
        {
            passedPawns(us);
            threats(us);
            if (!(of(us, pawn) & flank(kingSquare[us]))) credit("king flank", us, noPawnOnFlank);
            danger(us);
            if (std::popcount(of(us, bishop)) == 2) credit("bishop pair", us, bishopPair);
        }
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
    Set of(int colour, int type) const { return byPiece[type + colour]; }
    Set attackedBy(int colour, int type) const { return attacks[type + colour]; }

    void credit(const char* term, int colour, const Pair& value, int times = 1)
    {
        total += value * (colour == 0 ? times : -times);
        if (recorded) (*recorded)[prefix + term][colour == 0 ? 0 : 1] += value * times;
    }

    // At most a minor piece on each side; or a rook on each.
    bool isDrawnMaterial() const
    {
        if (of(0, pawn) | of(1, pawn)) return false;
        const int white = static_cast<std::int16_t>(material[0]);
        const int black = static_cast<std::int16_t>(material[1]);
        const int minor = std::max(pieceValue[1].mg, pieceValue[2].mg);
        const int oneRook = pieceValue[3].mg;
        return (white <= minor && black <= minor) || (white == oneRook && black == oneRook);
    }

    void sumPieces(int us)
    {
        for (const int s : Squares(all[us]))
        {
            const int type = typeIndex(board[s]);
            credit("piece squares", us, pieceOnSquare[type][tableIndex(us, s)]);
            if (typeOf(board[s]) == king) continue;
            credit("material", us, pieceValue[type]);
            material[us] += pieceValue[type].mg;
            if (typeOf(board[s]) != pawn) phase += phaseWeight[type].mg;
        }
    }

    // Puts the squares that a piece attacks on the maps of its colour.
    void enterAttacks(int us, int type, Set squares)
    {
        attacks[type + us] |= squares;
        attackedTwice[us] |= attacked[us] & squares;
        attacked[us] |= squares;
    }

    void pawnMaps(int us)
    {
        for (const int s : Squares(of(us, pawn)))
        {
            enterAttacks(us, pawn, pawnAttacks(us, s));
            if (has(occupied, s + forward(us))) blockedPawns[us] |= setOf(s);
        }
    }

    void pawnStructure(int us)
    {
        const int them = 1 - us;
        const Set mine = of(us, pawn);
        const Set theirs = of(them, pawn);
        Set remaining = mine;
        for (const int s : Squares(mine))
        {
            const int file = fileOf(s);
            const int rank = ownRank(us, s);
            const int stop = s + forward(us);
            const bool nearKing = has(nearFiles(kingSquare[us]), s);
            const Set stopGuards = pawnSources(them, stop) & theirs;
            const Set defenders = pawnSources(us, s) & mine;
            const Set neighbours = pawnSources(us, stop) & mine;
            const Set front = aheadOnThreeFiles(us, s) & theirs;
            const Set levers = pawnSources(them, s) & theirs;

            if (!front)
                passers[us] |= setOf(s);
            else if ((front & ~levers) == stopGuards &&
                     std::popcount(stopGuards) <= std::popcount(neighbours))
            {
                const bool enough = std::popcount(defenders) >= std::popcount(levers);
                credit("pawn candidate", us, pawnCandidate[rank + (enough ? 8 : 0)]);
            }
            if (!(files(file - 1, file + 1) & ~wholeFile(s) & mine))
            {
                credit("pawn isolated", us, pawnIsolated[file]);
                if (nearKing) credit("pawn isolated near king", us, pawnIsolatedNearKing);
            }
            // Only pawns not visited yet count, so n pawns on a file pay n - 1 times.
            remaining &= ~setOf(s);
            if (wholeFile(s) & remaining)
            {
                credit("pawn doubled", us, pawnDoubled[file]);
                if (nearKing) credit("pawn doubled near king", us, pawnDoubledNearKing);
            }
            if (stopGuards && !(aheadOnThreeFiles(them, s) & mine))
            {
                if (nearKing) credit("pawn backward near king", us, pawnBackwardNearKing);
                if (!(wholeFile(s) & theirs))
                    credit("pawn backward, half-open file", us, pawnBackward[file]);
            }
            if (defenders) credit("pawn connected", us, pawnConnected[rank]);
            if (neighbours) credit("pawn neighbour", us, pawnNeighbour[rank]);
        }
    }

    // Empty squares that pawns can be pushed to; no double push past a square that an enemy pawn
    // attacks.
    Set pawnPushes(int us) const
    {
        Set result = 0;
        for (const int s : Squares(of(us, pawn)))
        {
            const int one = s + forward(us);
            if (has(occupied, one)) continue;
            result |= setOf(one);
            if (ownRank(us, s) == 1 && !has(attackedBy(1 - us, pawn), one))
                result |= setOf(one + forward(us)) & ~occupied;
        }
        return result;
    }

    // Pieces that stand alone between a king and an enemy slider: those of the king's colour are
    // pinned, those of the other colour can discover an attack.
    void linesToKing(int us)
    {
        const Set screens = board.screens(kingSquare[us], 1 - us);
        pinned[us] = screens & all[us];
        discoverers[1 - us] = screens & all[1 - us];
    }

    int shieldOf(int us) const
    {
        const Set guards = of(us, pawn) & kingZone(us, kingSquare[us]);
        int sum = 0;
        for (const int s : Squares(guards)) // the rearmost pawn of a file is the one that counts
            if (!(aheadOnThreeFiles(1 - us, s) & wholeFile(s) & guards))
                sum += shield[tableIndex(us, s)].mg;
        return of(1 - us, queen) ? sum : sum / 2;
    }

    // Rays pass through own queens and rooks that could support the piece on the line.
    Set attacksOf(int us, int type, int s) const
    {
        if (type == knight) return reach(knight, s, 0);
        const Set withoutQueens = occupied & ~of(us, queen);
        Set squares = 0;
        if (type != rook) squares |= reach(bishop, s, withoutQueens);
        if (type != bishop) squares |= reach(rook, s, withoutQueens & ~of(us, rook));
        return squares;
    }

    void pieces(int us)
    {
        const int them = 1 - us;
        credit("king shield", us, {shieldOf(us), 0});

        mobilityArea[us] = ~(attackedBy(them, pawn) | blockedPawns[us] | setOf(kingSquare[us]));
        kingAttackers[us] = std::popcount(attackedBy(us, pawn) & kingZone(them, kingSquare[them]));
        enterAttacks(us, king, reach(king, kingSquare[us], 0));

        for (const int type : {knight, bishop, rook, queen})
        {
            constexpr const char* names[] = {"knight ", "bishop ", "rook ", "queen "};
            prefix = names[typeIndex(type) - 1];
            for (const int s : Squares(of(us, type))) piece(us, type, s);
        }
        prefix.clear();
    }

    void piece(int us, int type, int s)
    {
        const int them = 1 - us;
        const int home = kingSquare[us];
        const int target = kingSquare[them];
        const int index = typeIndex(type);

        Set reached = attacksOf(us, type, s);
        if (has(pinned[us], s))
        {
            reached &= lineFrom(home, s);
            credit("pinned", us,
                   has(attackedBy(them, pawn), s) ? pinnedByPawn[index] : pinnedFree[index]);
        }
        if (has(discoverers[us], s)) credit("discovers", us, discovery[index]);
        credit("mobility", us, mobility[index - 1][std::popcount(reached & mobilityArea[us])]);
        enterAttacks(us, type, reached);

        if (reached & kingZone(them, target))
        {
            ++kingAttackers[us];
            kingWeight[us] += kingAttackWeight[index].mg;
            adjacentAttacks[us] += std::popcount(reached & reach(king, target, 0));
        }

        const Set theirPawns = of(them, pawn);
        if (type == knight || type == bishop)
        {
            // On the fourth to sixth rank, where no pawn on a neighbouring file can still drive it
            // away.
            const int rank = ownRank(us, s);
            if (rank >= 3 && rank <= 5 && !(aheadOnThreeFiles(us, s) & ~wholeFile(s) & theirPawns))
                credit("outpost", us, outpost[index - 1][has(attackedBy(us, pawn), s)]);
            credit("king distance", us, kingDistance * kingSteps(s, home));
        }
        if (type == bishop)
        {
            const auto shade = [](int square) { return (fileOf(square) + rankOf(square)) % 2; };
            const Set sameShade = squaresWhere([=](int q) { return shade(q) == shade(s); });
            credit("bad", us, badBishop, std::popcount(sameShade & blockedPawns[us]));
        }
        if (type == rook && !(wholeFile(s) & of(us, pawn)))
            credit("on open file", us, rookFile[wholeFile(s) & theirPawns ? 0 : 1]);
    }

    void passedPawns(int us)
    {
        const int them = 1 - us;
        for (const int s : Squares(passers[us]))
        {
            const int stop = s + forward(us);
            const Set ahead = aheadOnThreeFiles(us, s) & wholeFile(s);
            const Set theirs = attacked[them];
            const int row = (has(occupied, stop) ? 0 : 16) + (has(theirs, stop) ? 8 : 0);

            Pair value = passed[row + ownRank(us, s)];
            value += passedOwnKing[kingSteps(s, kingSquare[us])];
            value += passedEnemyKing[kingSteps(s, kingSquare[them])];
            if (!((ahead | setOf(s)) & theirs)) value += passedFreePath;
            // A heavy piece of its own in the way lowers the value, rounded toward zero.
            if (ahead & (of(us, rook) | of(us, queen)))
            {
                const int divisor = has(theirs, s) ? 4 : 2;
                value = {value.mg / divisor, value.eg / divisor};
            }
            credit("passed pawns", us, value);
        }
    }

    void threats(int us)
    {
        const int them = 1 - us;
        const Set theirs = attacked[them];
        const Set ours = attacked[us];
        const Set byPawn = attackedBy(them, pawn);
        const Set byMinor = attackedBy(them, knight) | attackedBy(them, bishop);
        const Set byMajor = attackedBy(them, rook) | attackedBy(them, queen);
        const Set weak =
            (attackedTwice[them] & ~attackedTwice[us] & ~attackedBy(us, pawn)) | (theirs & ~ours);
        const Set minors = of(us, knight) | of(us, bishop);
        const Set officers = minors | of(us, rook) | of(us, queen);
        const auto creditEach = [&](const char* term, const Pair& value, Set victims)
        { credit(term, us, value, std::popcount(victims)); };

        creditEach("threat: weak pawn", threatWeakPawn, of(us, pawn) & weak & ~byPawn);
        creditEach("threat: minor by pawn", threatMinorByPawn, minors & byPawn);
        creditEach("threat: minor by minor", threatMinorByMinor, minors & byMinor);
        creditEach("threat: minor by major", threatMinorByMajor, minors & weak & byMajor);
        creditEach("threat: rook by less", threatRookByLess, of(us, rook) & (byMinor | byPawn));
        creditEach("threat: queen by any", threatQueenByAny, of(us, queen) & theirs);
        creditEach("threat: one defender", threatOverloaded,
                   officers & ours & ~attackedTwice[us] & theirs);

        Set struck = 0;
        for (const int s : Squares(pawnPushes(us) & (~theirs | ours) & ~byPawn))
            struck |= pawnAttacks(us, s);
        creditEach("threat: pawn push", threatPawnPush, struck & all[them] & ~attackedBy(us, pawn));
    }

    // The attack on the king of `us`, as points: a penalty if they come out positive.
    void danger(int us)
    {
        const int them = 1 - us;
        const int home = kingSquare[us];
        if (kingAttackers[them] + std::popcount(of(them, queen)) < 2) return;

        const Set theirs = attacked[them];
        const Set firstFiveRanks = squaresWhere([=](int s) { return ownRank(us, s) <= 4; });
        const Set flankAttacks = flank(home) & theirs & firstFiveRanks;
        const Set flankTwice = flankAttacks & attackedTwice[them] & ~attackedBy(us, pawn);

        // Attacked, and either undefended or defended once, by the king or a queen.
        const Set weak = (attackedBy(us, king) | attackedBy(us, queen) | ~attacked[us]) & theirs &
                         ~attackedTwice[us];
        const Set safe = ((attackedTwice[them] & weak) | ~attacked[us]) & ~all[them];

        int points = kingAttackers[them] * kingWeight[them];
        points += dangerAdjacentAttack * adjacentAttacks[them];
        points += dangerFlankAttack * (std::popcount(flankAttacks) + std::popcount(flankTwice));
        points += dangerWeakSquare * std::popcount(weak & kingZone(us, home));
        points += dangerPinned * std::popcount(pinned[us] & kingZone(us, home));
        if (!of(them, queen)) points += dangerNoQueen;
        points += dangerAlways;

        const Set blockers = occupied & ~of(us, queen);
        Set unsafeChecks = 0;
        for (const int type : {knight, bishop, rook, queen})
        {
            Set checks = attackedBy(them, type) & reach(type, home, blockers);
            if (type == queen) checks &= ~attackedBy(us, queen);
            if (checks & safe)
                points += dangerSafeCheck[typeIndex(type) - 1];
            else if (type != queen)
                unsafeChecks |= checks;
        }
        points += dangerUnsafeCheck * std::popcount(unsafeChecks & mobilityArea[them]);

        if (points < 1) return;
        const auto number = static_cast<std::uint32_t>(points);
        const auto divisor = [](int n) { return static_cast<std::uint32_t>(std::max(n, 1)); };
        credit("king danger", us,
               {-static_cast<int>(number * number / divisor(dangerDivisorMiddleGame)),
                -static_cast<int>(number / divisor(dangerDivisorEndGame))});
    }

    const Board& board;
    int sideToMove;
    Set occupied;
    Set all[2] = {};
    Set byPiece[14] = {};
    int kingSquare[2] = {};
    int phase = 0;
    int material[2] = {}; // the mid-game halves

    Set attacks[14] = {}; // squares that the pieces of one code attack
    Set attacked[2] = {}; // by any piece of the colour, and by two or more
    Set attackedTwice[2] = {};
    Set passers[2] = {};
    Set blockedPawns[2] = {};
    Set pinned[2] = {};
    Set discoverers[2] = {};
    Set mobilityArea[2] = {};
    int kingAttackers[2] = {};   // of the other king's zone, by the attacking colour
    int kingWeight[2] = {};      // sum of the weights of those that are pieces
    int adjacentAttacks[2] = {}; // their attacks on squares next to that king

    Pair total;
    Terms* recorded;    // where the terms are added, if anywhere
    std::string prefix; // of the names of terms: the type of the piece
};

} // namespace

const std::map<std::string, Values>& tables()
{
    static const std::map<std::string, Values> read = readTables();
    return read;
}

int evaluate(const Board& board, int sideToMove, Terms* terms)
{
    Model model(board, sideToMove, terms);
    model.evaluate();
    return model.score();
}

} // namespace oracle
