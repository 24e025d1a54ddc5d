// SPDX-License-Identifier: MIT
//
// The numbers of the evaluation: entries and sums of each table, so that a slip of a digit or two
// exchanged entries show. The tables are read from the source, since nothing outside of it can see
// them.

#include <fstream>
#include <sstream>

#include "support.h"

namespace
{

struct table
{
    const char* name;
    int entries;
    int mg;       // sum of the mid-game halves, or of plain numbers
    int eg;       // sum of the end-game halves, or 0
    int weighted; // sum of (mg + 3 * eg) times the entry's place, the first being 1
};

void PrintTo(const table& table, std::ostream* out)
{
    *out << table.name << ' ' << table.entries << ", " << table.mg << ", " << table.eg << ", "
         << table.weighted;
}

bool operator==(const table& a, const table& b)
{
    return a.entries == b.entries && a.mg == b.mg && a.eg == b.eg && a.weighted == b.weighted;
}

constexpr table expected[] = {
    {"pieceValue", 6, 14342, 14135, 322211},
    {"pieceValuePhase", 6, 14342, 0, 81080},
    {"pieceSquareScore", 384, -925, 1257, 414968},
    {"EVALPAWNISOLATED", 8, -54, -86, -1422},
    {"EVALPAWNDOUBLED", 8, -56, -133, -1888},
    {"EVALPAWNBACKHALF", 8, -99, -84, -1468},
    {"EVALPAWNCONNECTED", 8, 180, 76, 2546},
    {"EVALPAWNNEIGHBOUR", 8, 85, 227, 4977},
    {"EVALPAWNKSISOLATED", 1, -8, 4, 4},
    {"EVALPAWNKSDOUBLED", 1, 10, -1, 7},
    {"EVALPAWNKSBACKWARD", 1, -1, 4, 11},
    {"EVALOUTPOSTKNIGHT", 2, 27, -10, 35},
    {"EVALOUTPOSTBISHOP", 2, 38, -7, 49},
    {"EVALROOKONOPEN", 2, 57, -3, 70},
    {"EVALTEST", 1, -2, -11, -35},
    {"EVALTHREADWEAKPAWN", 1, -4, -22, -70},
    {"EVALTHREADMINORABPAWN", 1, -63, -24, -135},
    {"EVALTHREADMINORABMINOR", 1, -19, -22, -85},
    {"EVALTHREADMINORABMAJOR", 1, -20, -28, -104},
    {"EVALTHREADROOKABLESS", 1, -56, -8, -80},
    {"EVALTHREADQUEENABALL", 1, -55, 10, -25},
    {"EVALTHREADOVERLOADED", 1, -3, -15, -48},
    {"EVALTHREADPAWNPUSH", 1, 16, 10, 46},
    {"EVALKINGDIST", 4, -3, 0, -3},
    {"EVALPAWNPASSEDCANDIDATE", 16, 8, 104, 3910},
    {"EVALPAWNPASSED", 32, 670, 909, 68331},
    {"EVALPAWNPASSEDDISTOWN", 8, -50, -90, -2002},
    {"EVALPAWNPASSEDDISTOTHER", 8, 35, -77, 84},
    {"EVALPAWNPASSEDPROMO", 4, -25, 28, 59},
    {"EVALPINNED", 8, -238, -772, -10285},
    {"EVALPINNEDFREE", 8, 55, 89, 1148},
    {"EVALDISCOVERED", 8, 878, 641, 11764},
    {"EVALMOBILITYKNIGHT", 12, 85, 186, 5073},
    {"EVALMOBILITYBISHOP", 16, 30, 313, 11396},
    {"EVALMOBILITYROOK", 16, 23, 192, 12545},
    {"EVALMOBILITYQUEEN", 28, 8, 740, 50672},
    {"EVALPAWNSHIELD", 64, 2183, 0, 46100},
    {"EVALKINGATTWEIGHT", 5, 101, 0, 350},
    {"EVALKINGDANGER", 7, -761, 0, -4734},
    {"EVALCHECKSAFEQUEEN", 1, 355, 0, 355},
    {"EVALCHECKSAFEROOK", 1, 475, 0, 475},
    {"EVALCHECKSAFEBISHOP", 1, 176, 0, 176},
    {"EVALCHECKSAFEKNIGHT", 1, 413, 0, 413},
    {"EVALKINGDANGERTRANSMG", 1, 4095, 0, 4095},
    {"EVALKINGDANGERTRANSEG", 1, 35, 0, 35},
    {"EVALKINGNOPAWNONFILES", 3, 11, -16, -37},
    {"GAMEPHASEMAXMG", 1, 6183, 0, 6183},
    {"GAMEPHASEMINEG", 1, 497, 0, 497},
    {"EVALBISHOPPAIR", 1, 33, 44, 165},
    {"EVALTEMPO", 1, 25, 17, 76},
};

/// The file without its comments.
std::string readSource()
{
    std::ifstream file(QUILLON_SOURCE_DIR "/src/eval.cpp");
    std::string source;
    for (std::string line; std::getline(file, line);)
        source += line.substr(0, line.find("//")) + '\n';
    return source;
}

/// What stands between `name[..] =` and the semicolon; empty when the name is not declared so.
std::string initialiser(const std::string& source, const std::string& name)
{
    for (size_t at = source.find(name); at != std::string::npos; at = source.find(name, at + 1))
    {
        size_t end = at + name.size();
        while (source[end] == '[') end = source.find(']', end) + 1;
        if (source.compare(end, 3, " = ") != 0) continue;
        return source.substr(end + 3, source.find(';', end) - end - 3);
    }
    return "";
}

/// Entries and sums of an initialiser, of pairs X(mg, eg) or of plain numbers.
table sumsOf(const char* name, std::string text)
{
    const bool pairs = text.find('X') != std::string::npos;
    for (char& letter : text)
        if (letter != '-' && (letter < '0' || letter > '9')) letter = ' ';
    std::istringstream numbers(text);
    table sums{name, 0, 0, 0, 0};
    for (int mg = 0, eg = 0; numbers >> mg && (!pairs || numbers >> eg);)
    {
        ++sums.entries;
        sums.mg += mg;
        sums.eg += eg;
        sums.weighted += sums.entries * (mg + 3 * eg);
    }
    return sums;
}

} // namespace

TEST(EvalTables, HaveTheirEntriesAndSums)
{
    const std::string source = readSource();
    ASSERT_FALSE(source.empty());
    for (const table& table : expected)
    {
        const std::string text = initialiser(source, table.name);
        EXPECT_FALSE(text.empty()) << table.name << " is not in the source";
        EXPECT_EQ(sumsOf(table.name, text), table);
    }
}
