// SPDX-License-Identifier: MIT
//
// The tuning build: its list of parameters covers every table of the evaluation, the tables are
// read at run time, no cache answers with the score of other values, and a whole descent ends where
// it must.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "../unit/support.h"
#include "tables.h"
#include "texel.h"

namespace
{

std::string outputOf(const std::function<void()>& call)
{
    testing::internal::CaptureStdout();
    call();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

/// Keeps the values of all tables, and the tuner's globals, for after the test.
class Tune : public testing::Test
{
  protected:
    void SetUp() override
    {
        for (const tunableTable& table : tunableTables)
            kept.emplace_back(table.start, table.start + table.size);
        scale = K;
        texelSelection.clear();
        setTexelParameters();
    }

    void TearDown() override
    {
        for (size_t t = 0; t < tunableTables.size(); ++t)
            std::copy(kept[t].begin(), kept[t].end(), tunableTables[t].start);
        theTexelWorkForce.setNofWorkers(0);
        texelPositions.clear();
        texelSelection.clear();
        texelPars.clear();
        nofTexelPars = 0;
        nofTexelThreads = 1;
        K = scale;
    }

    static void hire(int n)
    {
        outputOf([=] { theTexelWorkForce.setNofWorkers(n); });
    }

    static void select(const std::vector<std::string>& names)
    {
        texelSelection = names;
        setTexelParameters();
    }

    std::vector<std::vector<combEval>> kept;
    double scale = 0.0;
};

using TuneTables = Tune;
using TuneError = Tune;
using TuneDescent = Tune;

/// The identifier that a text starts with.
std::string identifier(const std::string& text)
{
    return text.substr(0, text.find_first_of("[ "));
}

/// Names of the tables that the source defines as tunable.
std::set<std::string> tablesOfTheSource()
{
    std::ifstream source(QUILLON_SOURCE_DIR "/src/eval.cpp");
    const std::string head = "TCONST combEval ";
    std::set<std::string> names;
    for (std::string line; std::getline(source, line);)
        if (line.starts_with(head)) names.insert(identifier(line.substr(head.size())));
    return names;
}

/// Random games, and what they hardly reach: men that are pinned, and pinned and attacked by a
/// pawn; queens and bishops that give discovered check; a rich attack on a king.
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
        board->pawnHashTable->entries[board->pawnHashKey & 0xffff] = {};
        board->evalHashTable->entries[board->hashKey & 0x3fff] = {};
        scores.push_back(evaluateN(0, board.get()));
    }
    return scores;
}

/// Changes all tuned elements of a table, neighbours by different amounts: with the same one, men
/// that both sides have would cancel.
void disturb(const tunableTable& table)
{
    for (u32 i = table.firstTuned; i < table.firstTuned + table.nofTuned; ++i)
    {
        const int amount = 20 + 7 * static_cast<int>(i * 5 % 8);
        table.start[i] += table.packed ? X(amount, amount) : combEval(amount);
    }
}

} // namespace


// List of parameters

TEST_F(TuneTables, EveryTableOfTheSourceIsRegistered)
{
    std::set<std::string> registered;
    for (const texelParStruct& par : texelPars) registered.insert(identifier(par.name));
    const std::set<std::string> expected = tablesOfTheSource();
    ASSERT_GT(expected.size(), 40U);
    EXPECT_EQ(registered, expected);

    std::set<std::string> known;
    for (const tunableTable& table : tunableTables) known.insert(table.name);
    EXPECT_EQ(known, expected) << "the list of this test";
}

TEST_F(TuneTables, TheNumberOfParametersIsThatOfTheTunedHalvesAndNumbers)
{
    EXPECT_EQ(NOFTUNABLE, 1205U);
    EXPECT_EQ(nofTexelPars, 1205);
    EXPECT_EQ(texelPars.size(), 1205U);
    u32 sum = 0;
    for (const tunableTable& table : tunableTables) sum += table.nofTuned * (table.packed ? 2 : 1);
    EXPECT_EQ(sum, NOFTUNABLE);
}

TEST_F(TuneTables, EachTunedElementIsListedOnceAndNoOther)
{
    // Per element the halves that are listed: 1 mid-game or number, 2 end-game.
    std::map<const i32*, int> listed;
    for (const texelParStruct& par : texelPars)
    {
        const int half = par.midGameHalf ? 1 : 2;
        EXPECT_FALSE(listed[par.value] & half) << par.name << " lists an element twice";
        listed[par.value] |= half;
    }
    for (const tunableTable& table : tunableTables)
        for (u32 i = table.firstTuned; i < table.firstTuned + table.nofTuned; ++i)
        {
            const auto found = listed.find(&table.start[i].packed);
            ASSERT_NE(found, listed.end()) << table.name << ' ' << i;
            EXPECT_EQ(found->second, table.packed ? 3 : 1) << table.name << ' ' << i;
            listed.erase(found);
        }
    EXPECT_TRUE(listed.empty()) << listed.size() << " elements outside the tuned ones";
}

TEST_F(TuneTables, TheParametersOfATableStandTogetherAndInOrder)
{
    size_t first = 0;
    for (const tunableTable& table : tunableTables)
    {
        const size_t perElement = table.packed ? 2 : 1;
        for (size_t i = 0; i < table.nofTuned * perElement; ++i)
        {
            ASSERT_LT(first + i, texelPars.size());
            const texelParStruct& par = texelPars[first + i];
            const std::string where = table.name + (' ' + std::to_string(i));
            EXPECT_EQ(identifier(par.name), table.name) << where;
            EXPECT_EQ(par.value, &table.start[table.firstTuned + i / perElement].packed) << where;
            EXPECT_EQ(par.tableSize, table.nofTuned) << where;
            EXPECT_EQ(par.firstIndex, first) << where;
            EXPECT_EQ(par.packed, table.packed) << where;
            EXPECT_EQ(par.oneHalf != 0, !table.packed) << where;
            EXPECT_FALSE(par.mirrored) << where;
            EXPECT_EQ(par.midGameHalf, !table.packed || i % 2 == 0) << where;
        }
        first += table.nofTuned * perElement;
    }
    EXPECT_EQ(first, texelPars.size());
}

TEST_F(TuneTables, WhatIsNotTunedIsZeroButForThePawnAndTheKing)
{
    EXPECT_EQ(pieceValue[0], X(82, 94));
    EXPECT_EQ(pieceValue[5], X(12000, 12000));
    for (const tunableTable& table : tunableTables)
        for (u32 i = 0; i < table.size; ++i)
        {
            const bool tuned = i >= table.firstTuned && i < table.firstTuned + table.nofTuned;
            if (!tuned && table.start != pieceValue)
            {
                EXPECT_EQ(table.start[i], X(0, 0)) << table.name << ' ' << i;
            }
        }
}

TEST_F(TuneTables, SteppingUpDownAndBackLeavesEveryTableAsItWas)
{
    for (int i = 0; i < nofTexelPars; ++i)
    {
        const texelParStruct& par = texelPars[static_cast<size_t>(i)];
        const combEval start(*par.value);
        const combEval unit = !par.packed ? combEval(1) : par.midGameHalf ? X(1, 0) : X(0, 1);
        stepTexelParameter(i, +1);
        EXPECT_EQ(combEval(*par.value), start + unit) << par.name;
        stepTexelParameter(i, -2);
        EXPECT_EQ(combEval(*par.value), start - unit) << par.name;
        stepTexelParameter(i, +1);
    }
    for (size_t t = 0; t < tunableTables.size(); ++t)
        for (size_t i = 0; i < kept[t].size(); ++i)
            EXPECT_EQ(tunableTables[t].start[i], kept[t][i]) << tunableTables[t].name << ' ' << i;
}

TEST_F(TuneTables, TheyPrintInTheFormOfTheirShape)
{
    const std::map<std::string, std::string> expected = {
        {"EVALTEMPO", "TCONST combEval EVALTEMPO = X(  25,  17);\n"},
        {"EVALCHECKSAFEROOK", "TCONST combEval EVALCHECKSAFEROOK = 475;\n"},
        {"pieceValue", "TCONST combEval pieceValue[6] = \n"
                       "{\n"
                       " X(  82,  94), X( 352, 274), X( 381, 293), X( 484, 514), X(1043, 960), "
                       "X(12000, 12000) \n"
                       "};\n"},
        {"EVALPAWNCONNECTED", "TCONST combEval EVALPAWNCONNECTED[8] = \n"
                              "{\n"
                              " X(   0,   0),  X(   0,   0), X(  11,   5), X(  11,  -1), "
                              "X(  17,   4), X(  37,  29), X( 104,  39), X( 0, 0) \n"
                              "};\n"},
        {"EVALPAWNNEIGHBOUR", "TCONST combEval EVALPAWNNEIGHBOUR[8] = \n"
                              "{\n"
                              " X(   0,   0), X(   4,  -4), X(   4,  -2), X(  10,   2), "
                              "X(  17,  17), X(  48,  67), X(   2, 147), X( 0, 0) \n"
                              "};\n"},
        {"EVALKINGATTWEIGHT", "TCONST combEval EVALKINGATTWEIGHT[5] = \n"
                              "{\n"
                              " 0, 25, 25, 30, 21\n"
                              "};\n"},
        {"EVALKINGDANGER", "TCONST combEval EVALKINGDANGER[7] = \n"
                           "{\n"
                           "27, 71, 98, 23, -638, -295, -47\n"
                           "};\n"}};
    for (const auto& [name, text] : expected)
    {
        select({name});
        EXPECT_EQ(outputOf(printTexelParameters), text);
    }
}


// Selection

TEST_F(TuneTables, ASelectionRegistersTheNamedTablesOnly)
{
    select({"EVALTEMPO", "EVALPAWNSHIELD", "EVALNOSUCHTABLE"});
    ASSERT_EQ(nofTexelPars, 2 + 48);
    EXPECT_EQ(texelPars[0].value, &EVALTEMPO.packed);
    EXPECT_EQ(texelPars[1].value, &EVALTEMPO.packed);
    EXPECT_EQ(texelPars[2].value, &EVALPAWNSHIELD[8].packed);
    EXPECT_EQ(texelPars[2].firstIndex, 2U);

    select({"pieceSquareScore"});
    EXPECT_EQ(nofTexelPars, 2 * (48 + 5 * 64));
    select({"EVALPINNED"}); // not EVALPINNEDFREE
    EXPECT_EQ(nofTexelPars, 2 * 4);
    select({"EVAL"});
    EXPECT_EQ(nofTexelPars, 0);
    select({});
    EXPECT_EQ(nofTexelPars, 1205);
}

TEST_F(TuneTables, ATableIsSetToZerosByItsNameAndNothingElseIs)
{
    texelSelection = {"EVALTEMPO"};
    for (const std::string name : {"EVALPAWNSHIELD", "pieceValue", "EVALPINNED", "EVALTEST"})
        EXPECT_TRUE(zeroTexelTable(name)) << name;
    EXPECT_EQ(texelSelection, std::vector<std::string>{"EVALTEMPO"});
    const std::set<std::string> zeroed = {"EVALPAWNSHIELD", "pieceValue", "EVALPINNED", "EVALTEST"};
    for (size_t t = 0; t < tunableTables.size(); ++t)
    {
        const tunableTable& table = tunableTables[t];
        for (u32 i = 0; i < table.size; ++i)
        {
            const bool tuned = i >= table.firstTuned && i < table.firstTuned + table.nofTuned;
            const bool isZero = tuned && zeroed.contains(table.name);
            EXPECT_EQ(table.start[i], isZero ? X(0, 0) : kept[t][i]) << table.name << ' ' << i;
        }
    }
}

TEST_F(TuneTables, AnUnknownNameZeroesNothing)
{
    for (const std::string name : {"", "EVALNOSUCHTABLE", "EVALPAWNSHIELD[NOFSQUARES]", "EVAL"})
        EXPECT_FALSE(zeroTexelTable(name)) << name;
    for (size_t t = 0; t < tunableTables.size(); ++t)
        for (size_t i = 0; i < kept[t].size(); ++i)
            EXPECT_EQ(tunableTables[t].start[i], kept[t][i]) << tunableTables[t].name << ' ' << i;
}


// Error of the present values

TEST_F(TuneError, EveryTableIsReadWhenAPositionIsEvaluated)
{
    const std::vector<int> before = freshScores();
    for (size_t t = 0; t < tunableTables.size(); ++t)
    {
        disturb(tunableTables[t]);
        EXPECT_NE(freshScores(), before) << tunableTables[t].name << " at " << t;
        std::copy(kept[t].begin(), kept[t].end(), tunableTables[t].start);
    }
    EXPECT_EQ(freshScores(), before);
}

TEST_F(TuneError, NoCacheAnswersWithTheScoreOfOtherValues)
{
    for (const std::string& fen : positions())
        texelPositions.push_back({fen + ' ', texelPositions.size() % 2 ? 1.0 : 0.0, 0});
    hire(2);
    const double first = theTexelWorkForce.calcTexelError();
    for (size_t t = 0; t < tunableTables.size(); ++t)
    {
        disturb(tunableTables[t]);
        const double changed = theTexelWorkForce.calcTexelError();
        EXPECT_NE(changed, first) << tunableTables[t].name << " at " << t;
        // The same as of workers that have never seen the old values.
        hire(2);
        EXPECT_EQ(theTexelWorkForce.calcTexelError(), changed) << tunableTables[t].name;
        std::copy(kept[t].begin(), kept[t].end(), tunableTables[t].start);
        EXPECT_EQ(theTexelWorkForce.calcTexelError(), first) << tunableTables[t].name;
    }
}

TEST_F(TuneError, AStepOfOneUnitShowsAtOnce)
{
    // Mirror images of each other, so that only the move counts.
    const std::string fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ";
    texelPositions = {{fen, 0.5, 0}};
    hire(1);
    select({"EVALTEMPO"});
    const auto errorAt = [](int score)
    {
        const double share = 1.0 / (1.0 + std::pow(10.0, -score * 1.72 / 400.0));
        return (0.5 - share) * (0.5 - share);
    };
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), errorAt(25), 1e-15);
    stepTexelParameter(0, +1);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), errorAt(26), 1e-15);
    stepTexelParameter(0, -2);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), errorAt(24), 1e-15);
    stepTexelParameter(0, +1);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), errorAt(25), 1e-15);
}

TEST_F(TuneError, ADivisorOfTheDangerMayBecomeZeroOrLess)
{
    for (combEval* divisor : {&EVALKINGDANGERTRANSMG, &EVALKINGDANGERTRANSEG})
        for (const int value : {1, 0, -1, -4095})
        {
            *divisor = value;
            EXPECT_EQ(freshScores().size(), positions().size());
        }
}


// Fit of K

TEST_F(TuneError, TheFitLeavesKAtTheValueThatSuitsThePositions)
{
    // White has won one game and drawn one, with 25 for the first move: a share of 3/4, which asks
    // for a K of 400 x log10(3) / 25.
    namespace fs = std::filesystem;
    std::string folder = (fs::temp_directory_path() / "quillon-tune-XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const fs::path home = fs::current_path();
    fs::current_path(folder);

    const std::string missing = outputOf(fitTexelK);
    const double unchanged = K;
    const std::string fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - c9 ";
    std::ofstream("quiet-labeled.epd") << fen << "\"1-0\";\n" << fen << "\"1/2-1/2\";\n";
    const std::string text = outputOf(fitTexelK);
    fs::current_path(home);
    fs::remove_all(folder);

    EXPECT_EQ(missing, "There seems to be a problem with the tuning file. tuning not executed\n");
    EXPECT_EQ(unchanged, scale);
    EXPECT_NEAR(K, 400.0 * std::log10(3.0) / 25.0, 1e-5);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), 0.0625, 1e-9);
    EXPECT_TRUE(text.ends_with("\n Optimal K calculated : 7.63394\n"))
        << text.substr(text.size() / 2);
}


// Descent

TEST_F(TuneDescent, ItFindsTheTempoThatTheResultsAskFor)
{
    // Of two games from the start, white has won one and drawn one: a share of 3/4, which is a
    // score of 400 x log10(3) / 1.72 = 110.96. With all men on the board only the mid-game counts,
    // so the end-game half sees nothing but ties.
    const std::string fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ";
    texelPositions = {{fen, 1.0, 0}, {fen, 0.5, 0}};
    hire(2);
    select({"EVALTEMPO"});
    const std::string text = outputOf(doTexelTuning);
    EXPECT_EQ(EVALTEMPO, X(111, 17));

    std::istringstream stream(text);
    int steps = 0;
    int passes = 0;
    int prints = 0;
    double last = 1.0;
    double start = 0.0;
    double end = 0.0;
    double least = 0.0;
    for (std::string line; std::getline(stream, line);)
    {
        double error = 0.0;
        if (std::sscanf(line.c_str(), "Starting error %lf", &start) == 1) last = start;
        if (line.starts_with("TCONST")) ++prints;
        if (line.starts_with(" Improving: ")) ++passes;
        if (std::sscanf(line.c_str(), "Min error %lf", &error) == 1)
        {
            ++steps;
            EXPECT_TRUE(line.ends_with(" parameter 0 EVALTEMPO")) << line;
            EXPECT_LE(error, last) << line; // as printed, to six digits
            last = error;
        }
        std::sscanf(line.c_str(), "Ending error %lf Minimum error %lf", &end, &least);
    }
    // From 25 to 111 by one a pass, and a last pass without a step.
    EXPECT_EQ(steps, 86);
    EXPECT_EQ(passes, 87);
    EXPECT_EQ(prints, 8);
    EXPECT_LT(end, start);
    EXPECT_EQ(end, least);
    EXPECT_EQ(end, 0.0625); // (1 - 3/4)^2 and (1/2 - 3/4)^2
}

TEST_F(TuneDescent, ATableSetToZeroIsBroughtBackTowardsItsValues)
{
    // Results that the present tables themselves predict; so they are the best there is.
    const std::vector<int> scores = freshScores();
    for (size_t i = 0; i < positions().size(); ++i)
    {
        const bool white = positions()[i].find(" w ") != std::string::npos;
        const int score = white ? scores[i] : -scores[i];
        texelPositions.push_back({positions()[i] + ' ', sigma(static_cast<i16>(score)), 0});
    }
    hire(2);
    ASSERT_LT(theTexelWorkForce.calcTexelError(), 1e-30);

    ASSERT_TRUE(zeroTexelTable("EVALTHREADROOKABLESS"));
    const double disturbed = theTexelWorkForce.calcTexelError();
    ASSERT_GT(disturbed, 1e-6);
    select({"EVALTHREADROOKABLESS"});
    outputOf(doTexelTuning);
    EXPECT_LT(theTexelWorkForce.calcTexelError(), disturbed / 1000);
    EXPECT_NEAR(mgHalf(EVALTHREADROOKABLESS), -56, 2);
    EXPECT_NEAR(egHalf(EVALTHREADROOKABLESS), -8, 2);
}
