// SPDX-License-Identifier: MIT
//
// The tuning build: its list of parameters covers every table of the evaluation, the tables are
// read at run time, no cache returns a score of earlier values, and a whole descent ends where it
// must.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "../unit/support.h"
#include "texel.h"

namespace
{

using tableValues = std::vector<std::vector<combEval>>;

/// The values of all tables.
tableValues valuesNow()
{
    tableValues values;
    for (const evalTable& table : evalTables)
        values.emplace_back(table.start, table.start + table.size);
    return values;
}

void restore(const tableValues& values)
{
    for (size_t t = 0; t < values.size(); ++t)
        std::copy(values[t].begin(), values[t].end(), evalTables[t].start);
}

/// Restores the values of all tables, and the tuner's globals, after the test.
class Tune : public testing::Test
{
  protected:
    void SetUp() override { select({}); }

    void TearDown() override
    {
        restore(kept);
        theTexelWorkForce.setNofWorkers(0);
        texelPositions.clear();
        texelSelection.clear();
        texelPars.clear();
        nofTexelPars = 0;
        nofTexelThreads = 1;
        K = scale; // cppcheck-suppress selfAssignment ; scale is what K was
    }

    static void hire(int n)
    {
        written([=] { theTexelWorkForce.setNofWorkers(n); });
    }

    static void select(const std::vector<std::string>& names)
    {
        texelSelection = names;
        setTexelParameters();
    }

    const tableValues kept = valuesNow();
    const double scale = K;
};

using TexelTables = Tune;
using TexelTuning = Tune;

/// The identifier that a text starts with.
std::string identifier(const std::string& text)
{
    return text.substr(0, text.find_first_of("[ "));
}

/// Positions of random games, and what these hardly reach: pinned pieces, also attacked by a pawn;
/// pieces that can give discovered check; a strong attack on a king.
const std::vector<std::string>& positions()
{
    static const std::vector<std::string> fens = []
    {
        std::vector<std::string> all = manyPositions();
        for (const char* fen : {"4k3/8/4r3/3p4/4N3/8/PPP2PPP/4K3 w - - 0 1",
                                "4k3/4r3/8/8/4B3/8/PPP2PPP/4K3 w - - 0 1",
                                "4k3/8/3p4/4r3/4R3/8/PPP2PPP/4K2Q b - - 0 1",
                                "4k3/8/8/4N3/8/8/PPP2PPP/4RK2 w - - 0 1",
                                "r4rk1/pp3ppp/2p2Q2/3bN3/3P4/3B2R1/PPP3PP/5RK1 b - - 0 20"})
            all.emplace_back(fen);
        return all;
    }();
    return fens;
}

/// The scores of many positions for the side to move, each from caches that hold nothing.
std::vector<int> freshScores()
{
    static Board board{std::string(fenStartPos)};
    std::vector<int> scores;
    for (const std::string& fen : positions())
    {
        setPosition(fen, board.get());
        board->pawnHashTable->entries[pawnSlot(board->pawnHashKey)] = {};
        board->evalHashTable->entries[evalSlot(board->hashKey)] = {};
        scores.push_back(evaluateN(0, board.get()));
    }
    return scores;
}

/// Changes all tuned entries of a table, neighbours by different amounts. Equal amounts for pieces
/// that both sides have would cancel out.
void disturb(const evalTable& table)
{
    for (u32 i = table.firstTuned; i < table.firstTuned + table.nofTuned; ++i)
    {
        const int amount = 20 + 7 * static_cast<int>(i * 5 % 8);
        table.start[i] += table.hasPairs() ? X(amount, amount) : combEval(amount);
    }
}

// The start position; of two games from here, white wins one and draws one: a share of 3/4.
constexpr const char* startWords = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ";

} // namespace


// List of parameters

TEST_F(TexelTables, EveryTableOfTheSourceIsInTheList)
{
    std::set<std::string> registered;
    for (const texelParStruct& par : texelPars) registered.insert(identifier(par.name));
    std::ifstream source(QUILLON_SOURCE_DIR "/src/eval.cpp");
    const std::string head = "TCONST combEval ";
    std::set<std::string> expected;
    for (std::string line; std::getline(source, line);)
        if (line.starts_with(head)) expected.insert(identifier(line.substr(head.size())));
    EXPECT_GT(expected.size(), 40U);
    EXPECT_EQ(registered, expected);
}

TEST_F(TexelTables, TheParametersAreTheTunedEntriesInOrderOfPairsBothHalves)
{
    size_t i = 0;
    for (const evalTable& table : evalTables)
    {
        const size_t first = i;
        for (u32 entry = table.firstTuned; entry < table.firstTuned + table.nofTuned; ++entry)
            for (const bool midGame : {true, false})
            {
                if (!midGame && !table.hasPairs()) continue;
                ASSERT_LT(i, texelPars.size());
                const texelParStruct& par = texelPars[i++];
                EXPECT_EQ(par.name, table.name) << i;
                EXPECT_EQ(par.value, &table.start[entry].packed) << par.name << entry;
                EXPECT_EQ(par.tableSize, table.nofTuned) << par.name;
                EXPECT_EQ(par.firstIndex, first) << par.name;
                EXPECT_EQ(par.packed, table.hasPairs()) << par.name;
                EXPECT_EQ(par.oneHalf != 0, !table.hasPairs()) << par.name;
                EXPECT_EQ(par.midGameHalf, midGame) << par.name << entry;
                EXPECT_FALSE(par.mirrored) << par.name;
            }
    }
    EXPECT_EQ(i, texelPars.size());
    EXPECT_EQ(nofTexelPars, static_cast<i32>(texelPars.size()));
}

TEST_F(TexelTables, WhatIsNotTunedIsZeroButForThePawnAndTheKing)
{
    for (const evalTable& table : evalTables)
        for (u32 i = 0; i < table.size; ++i)
        {
            const bool tuned = i >= table.firstTuned && i < table.firstTuned + table.nofTuned;
            EXPECT_TRUE(tuned || table.start == pieceValue || table.start[i] == X(0, 0))
                << table.name << ' ' << i;
        }
}


// Selection

TEST_F(TexelTables, ASelectionRegistersAndPrintsTheNamedTablesOnly)
{
    select({"EVALTEMPO", "EVALPAWNSHIELD", "EVALNOSUCHTABLE"});
    ASSERT_EQ(nofTexelPars, 2 + 48);
    EXPECT_EQ(texelPars[1].value, &EVALTEMPO.packed);
    EXPECT_EQ(texelPars[2].value, &EVALPAWNSHIELD[8].packed);
    EXPECT_EQ(texelPars[2].firstIndex, 2U);
    const std::pair<std::string, int> sizes[] = {
        {"pieceSquareScore", 2 * (48 + 5 * 64)}, {"EVALPINNED", 2 * 4}, {"EVAL", 0}};
    for (const auto& [name, size] : sizes)
    {
        select({name}); // not EVALPINNEDFREE
        EXPECT_EQ(nofTexelPars, size) << name;
    }
    select({"EVALTEMPO"});
    EVALTEMPO = X(-5, 7);
    EXPECT_EQ(written(printTexelParameters), "TCONST combEval EVALTEMPO = X(  -5,   7);\n");
}

TEST_F(TexelTables, ATableIsSetToZerosByItsNameAndNothingElseIs)
{
    for (const std::string name : {"", "EVALNOSUCHTABLE", "EVALPAWNSHIELD[NOFSQUARES]", "EVAL"})
        EXPECT_FALSE(zeroTexelTable(name)) << name;
    EXPECT_EQ(valuesNow(), kept);

    texelSelection = {"EVALTEMPO"};
    const std::set<std::string> zeroed = {"EVALPAWNSHIELD", "pieceValue", "EVALPINNED", "EVALTEST"};
    for (const std::string& name : zeroed) EXPECT_TRUE(zeroTexelTable(name)) << name;
    EXPECT_EQ(texelSelection, std::vector<std::string>{"EVALTEMPO"});
    tableValues expected = kept;
    for (size_t t = 0; t < expected.size(); ++t)
        if (zeroed.contains(identifier(evalTables[t].name)))
            std::fill_n(expected[t].begin() + evalTables[t].firstTuned, evalTables[t].nofTuned,
                        X(0, 0));
    EXPECT_EQ(valuesNow(), expected);
}


// Error of the current values

TEST_F(TexelTuning, EveryTableIsReadWhenAPositionIsEvaluatedAndNoCacheKnowsOtherValues)
{
    const std::vector<int> before = freshScores();
    for (const std::string& fen : positions())
        addTexelPosition({fen + ' ', texelPositions.size() % 2 ? 1.0 : 0.0, 0});
    hire(2);
    const double first = theTexelWorkForce.calcTexelError();
    for (const evalTable& table : evalTables)
    {
        disturb(table);
        EXPECT_NE(freshScores(), before) << table.name;
        const double changed = theTexelWorkForce.calcTexelError();
        EXPECT_NE(changed, first) << table.name;
        hire(2); // new workers, which have never seen the old values
        EXPECT_EQ(theTexelWorkForce.calcTexelError(), changed) << table.name;
        restore(kept);
        EXPECT_EQ(theTexelWorkForce.calcTexelError(), first) << table.name;
    }
    EXPECT_EQ(freshScores(), before);
}

TEST_F(TexelTuning, ADivisorOfTheDangerMayBecomeZeroOrLess)
{
    for (combEval* divisor : {&EVALKINGDANGERTRANSMG, &EVALKINGDANGERTRANSEG})
        for (const int value : {1, 0, -1, -4095})
        {
            *divisor = value;
            EXPECT_EQ(freshScores().size(), positions().size());
        }
}


// Fit of K

TEST_F(TexelTuning, TheFitLeavesKAtTheValueThatSuitsThePositions)
{
    // A share of 3/4 needs a K of 400 x log10(3) / 25 if the tempo is worth 25.
    EVALTEMPO = X(25, 17);
    namespace fs = std::filesystem;
    std::string folder = (fs::temp_directory_path() / "quillon-tune-XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const fs::path home = fs::current_path();
    fs::current_path(folder);

    const std::string missing = written(fitTexelK);
    const double unchanged = K;
    std::ofstream("quiet-labeled.epd") << startWords << "c9 \"1-0\";\n"
                                       << startWords << "c9 \"1/2-1/2\";\n";
    const std::string text = written(fitTexelK);
    fs::current_path(home);
    fs::remove_all(folder);

    EXPECT_EQ(missing, "There seems to be a problem with the tuning file. tuning not executed\n");
    EXPECT_EQ(unchanged, scale);
    EXPECT_NEAR(K, 400.0 * std::log10(3.0) / 25.0, 1e-5);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), 0.0625, 1e-9);
    EXPECT_TRUE(text.ends_with("\n Optimal K calculated : 7.63394\n")) << text;
}


// Descent

TEST_F(TexelTuning, ItFindsTheTempoThatTheResultsAskFor)
{
    // A share of 3/4 is a score of 400 x log10(3) / 1.72 = 110.96. With all pieces on the board
    // only the mid-game counts, so no value of the end-game half changes the error.
    EVALTEMPO = X(25, 17);
    addTexelPosition({startWords, 1.0, 0});
    addTexelPosition({startWords, 0.5, 0});
    hire(2);
    select({"EVALTEMPO"});
    const std::string text = written(doTexelTuning);
    EXPECT_EQ(EVALTEMPO, X(111, 17));

    // From 25 to 111 by one each pass, and a last pass without a step. Each position's error is
    // (1/4)^2 = 0.0625.
    EXPECT_NE(text.find("\n Improving: 87\nEnding error 0.0625 Minimum error 0.0625\n"),
              std::string::npos)
        << text;
}

TEST_F(TexelTuning, ATableSetToZeroIsBroughtBackTowardsItsValues)
{
    // The results are what the current tables predict, so no other values fit better.
    const combEval wanted = EVALTHREADROOKABLESS = X(-56, -8);
    const std::vector<int> scores = freshScores();
    for (size_t i = 0; i < positions().size(); ++i)
    {
        const bool white = positions()[i].find(" w ") != std::string::npos;
        const int score = white ? scores[i] : -scores[i];
        addTexelPosition({positions()[i] + ' ', sigma(static_cast<i16>(score)), 0});
    }
    hire(2);
    ASSERT_LT(theTexelWorkForce.calcTexelError(), 1e-30);

    ASSERT_TRUE(zeroTexelTable("EVALTHREADROOKABLESS"));
    const double disturbed = theTexelWorkForce.calcTexelError();
    ASSERT_GT(disturbed, 1e-6);
    select({"EVALTHREADROOKABLESS"});
    written(doTexelTuning);
    EXPECT_LT(theTexelWorkForce.calcTexelError(), disturbed / 1000);
    EXPECT_NEAR(mgHalf(EVALTHREADROOKABLESS), mgHalf(wanted), 2);
    EXPECT_NEAR(egHalf(EVALTHREADROOKABLESS), egHalf(wanted), 2);
}
