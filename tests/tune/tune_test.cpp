// SPDX-License-Identifier: MIT
//
// The tuning build: its list of parameters covers every table of the evaluation, the tables are
// read at run time, no cache returns a score of earlier values, a whole descent ends where it must,
// also after interruptions, and processes that share the positions compute the same error.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "../unit/tuner.h"

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

/// Also restores the values of all tables after the test.
class Tune : public Tuner
{
  protected:
    void SetUp() override
    {
        Tuner::SetUp();
        select({});
    }

    void TearDown() override
    {
        theTexelGroup = ownGroup;     // cppcheck-suppress selfAssignment ; a test may change them
        texelSaveInterval = interval; // cppcheck-suppress selfAssignment
        restore(kept);
        texelTexts.clear();
        texelSelection.clear();
        Tuner::TearDown();
    }

    static void select(const std::vector<std::string>& names)
    {
        texelSelection = names;
        setTexelParameters();
    }

    /// Empties texelPositions and fills it.
    static void train(const std::vector<texelPosStruct>& records)
    {
        texelPositions.clear();
        texelTexts.clear();
        for (const texelPosStruct& record : records) addTexelPosition(record);
    }

    const tableValues kept = valuesNow();
    const i64 interval = texelSaveInterval;
    texelGroup* const ownGroup = theTexelGroup;
};

using TexelTables = Tune;
using TexelTuning = Tune;
using TexelShares = Tune;
using TexelState = Tune;

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
    const std::string missing = written(fitTexelK);
    const double unchanged = K;
    std::ofstream(trainingFile) << startWords << "c9 \"1-0\";\n"
                                << startWords << "c9 \"1/2-1/2\";\n";
    const std::string text = written(fitTexelK);

    EXPECT_EQ(missing, "There seems to be a problem with the tuning file. tuning not executed\n");
    EXPECT_EQ(unchanged, scale);
    EXPECT_NEAR(K, 400.0 * std::log10(3.0) / 25.0, 1e-5);
    EXPECT_NEAR(theTexelWorkForce.calcTexelError(), 0.0625, 1e-9);
    EXPECT_TRUE(text.ends_with("\n Optimal K calculated : 7.63394\n")) << text;
}


// Packed positions

TEST_F(TexelTuning, APackedPositionHasTheErrorOfItsText)
{
    // The third has two pieces on a2, so its text is kept, like that of a letter which names no
    // piece. The fourth has no black king: 0.
    const char* fens[] = {"4k3/8/8/3p4/4N3/8/PPP2PPP/4K3 w - - ",
                          "4k3/8/8/3p4/4N3/8/PPP2PPP/4K3 b - - ",
                          "4k3/8/8/8/8/8/PPPP4/QQQ1K3N w - - ", "8/8/8/8/8/8/8/7K w - - "};
    for (const char* fen : fens)
    {
        Board board(fen);
        const bool isLoner = !board->pieceBB[KING + BLACK];
        const int score = isLoner ? 0 : evaluateN(0, board.get());
        const double share = sigma(static_cast<i16>(board->sideToMove == WHITE ? score : -score));
        for (const double result : {0.0, 0.25, 1.0})
        {
            train({{"k7/8/8/x7/8/8/8/7K w - - ", 0.5, 0}, {fen, result, 0}});
            hire(2);
            theTexelWorkForce.calcTexelError();
            const double difference = result - share;
            EXPECT_EQ(theTexelWorkForce.workers[1]->error(), difference * difference) << fen;
            EXPECT_EQ(texelTexts.size(), fen == fens[2] ? 2U : 1U) << fen;
        }
    }
}


// Shares of several processes

namespace
{

/// Plays all processes, one after the other. Until a process has received the others' numbers, it
/// uses its own in their place, so it takes some rounds until all have received all.
class rehearsal : public texelGroup
{
  public:
    explicit rehearsal(size_t ranks) : said(ranks) { theTexelGroup = this; }

    /// Lets each rank do its work.
    void play(const auto& work)
    {
        for (me = 0; me < said.size(); ++me)
        {
            call = 0;
            work();
        }
    }

    size_t rank() const override { return me; }
    size_t size() const override { return said.size(); }

    std::vector<double> gather(const std::vector<double>& mine) override
    {
        said[me].resize(std::max(said[me].size(), call + 1));
        said[me][call] = mine;
        std::vector<double> all;
        for (const auto& words : said)
        {
            const std::vector<double>& word = call < words.size() ? words[call] : mine;
            all.insert(all.end(), word.begin(), word.end());
        }
        ++call;
        return all;
    }

  private:
    std::vector<std::vector<std::vector<double>>> said; // by rank and call
    size_t me = 0;
    size_t call = 0;
};

const std::pair<const char*, double> results[] = {{"1-0", 1.0}, {"1/2-1/2", 0.5}, {"0-1", 0.0}};

/// The first positions of manyPositions with results, as records or as lines of a training file.
std::vector<texelPosStruct> someRecords(size_t count)
{
    std::vector<texelPosStruct> records;
    for (size_t i = 0; i < count; ++i)
        records.push_back({manyPositions()[i] + ' ', results[i * i % 3].second, 0});
    return records;
}

std::string someLines(size_t count, const std::string& end)
{
    std::string lines;
    for (size_t i = 0; i < count; ++i)
        lines += manyPositions()[i] + " c9 \"" + results[i * i % 3].first + "\";" + end;
    return lines;
}

} // namespace

TEST_F(TexelShares, TheErrorHasTheSameBitsHoweverTheWorkersAreSpreadOverProcesses)
{
    const std::string bad = "\n\n8/8/8 w - - no result\nc99 \"1-0\"; 1-0 xc9 c9x c 9\n \t\n";
    const std::string lines = someLines(30, "\n");
    std::string equallyLong; // two ranks meet where a line begins
    for (std::string line : linesOf(lines))
    {
        line.resize(127, ' ');
        equallyLong += line + '\n';
    }
    std::string otherSpaces = lines;
    for (size_t i = 0; i < otherSpaces.size(); ++i)
        if (otherSpaces[i] == ' ') otherSpaces[i] = " \t\r\v\f"[i % 5];
    const std::string contents[] = {lines,
                                    otherSpaces,
                                    equallyLong,
                                    someLines(30, "\r\n"),
                                    lines.substr(0, lines.size() - 1),
                                    bad + someLines(15, bad) +
                                        lines.substr(someLines(15, "\n").size()),
                                    lines + std::string(100000, 'x'),
                                    std::string(100000, ' ') + lines};
    const std::pair<size_t, int> spreads[] = {{1, 1}, {1, 4}, {2, 2}, {4, 1},
                                              {3, 5}, {7, 3}, {32, 1}};
    for (const std::string& file : contents)
        for (const auto& spread : spreads)
        {
            const size_t ranks = spread.first;
            const int workers = spread.second;
            theTexelGroup = ownGroup;
            train(someRecords(30));
            hire(static_cast<int>(ranks) * workers);
            const double expected = theTexelWorkForce.calcTexelError();

            std::ofstream(trainingFile, std::ios::binary) << file;
            nofTexelThreads = workers;
            rehearsal group(ranks);
            std::vector<double> errors;
            std::vector<size_t> shares;
            for (int i = 0; i < 2; ++i) group.play(readTexelPos);
            for (int i = 0; i < 3; ++i)
            {
                errors.clear();
                shares.clear();
                group.play(
                    [&]
                    {
                        ASSERT_EQ(readTexelPos(), 0);
                        hire(workers);
                        errors.push_back(theTexelWorkForce.calcTexelError());
                        shares.push_back(texelPositions.size());
                    });
            }
            ASSERT_EQ(errors.size(), ranks);
            const size_t share = 30 / (ranks * narrow<size_t>(workers)) * narrow<size_t>(workers);
            for (size_t r = 0; r < ranks; ++r)
            {
                EXPECT_EQ(errors[r], expected) << ranks << 'x' << workers << " rank " << r;
                EXPECT_EQ(shares[r], r + 1 < ranks ? share : 30 - r * share)
                    << ranks << " rank " << r;
            }
        }
}

TEST_F(TexelShares, ARankWithoutTheFileOrWithAnotherOneIsNamed)
{
    std::ofstream(trainingFile) << someLines(3, "\n");
    const std::string problem =
        "There seems to be a problem with the tuning file. tuning not executed\n";
    for (const bool isMissing : {true, false})
    {
        const fs::path other = fs::path(folder) / "other";
        fs::create_directory(other);
        if (!isMissing) std::ofstream(other / trainingFile) << "another";
        rehearsal group(3);
        std::string text;
        for (int i = 0; i < 2; ++i)
            group.play(
                [&]
                {
                    if (group.rank() == 2) fs::current_path(other);
                    text = written(readTexelPos);
                    fs::current_path(folder);
                });
        EXPECT_EQ(text,
                  "Every rank needs the same quiet-labeled.epd in its working directory. Rank 2 " +
                      std::string(isMissing ? "can't read it.\n" : "has another one.\n") + problem);
    }
}


// Runs that are saved

namespace
{

/// Runs the command `texel` and returns its output.
std::string tune(const std::string& words, bool succeeds = true)
{
    std::istringstream stream(words);
    return written([&] { EXPECT_EQ(tuneTexel(stream, 2), succeeds) << words; });
}

std::string content(const std::string& filename)
{
    std::ostringstream text;
    text << std::ifstream(filename).rdbuf();
    return text.str();
}

/// A process that dies when it has computed some errors.
class mortal : public texelGroup
{
  public:
    explicit mortal(int errors) : life(errors) {}

    std::vector<double> gather(const std::vector<double>& mine) override
    {
        if (mine.size() == 2 && life-- == 0) throw std::runtime_error("killed");
        return mine;
    }

  private:
    int life;
};

} // namespace

TEST_F(TexelState, AnInterruptedRunThatIsResumedEndsAsAnUnbrokenOne)
{
    std::ofstream(trainingFile) << someLines(100, "\n");
    const std::string words = "--passes 3 EVALTEMPO EVALPINNED EVALTHREADROOKABLESS";
    const u64 before = theTexelWorkForce.nofErrors;
    tune(words + " --fitk --state whole");
    const std::string whole = content("whole");
    const tableValues wanted = valuesNow();
    ASSERT_FALSE(wanted == kept);
    // A pass of 12 parameters needs 12 errors or more, so 36 are after the first save.
    const int total = static_cast<int>(theTexelWorkForce.nofErrors - before);
    for (int errors = total - 36; errors < total; ++errors)
    {
        texelSaveInterval = errors % 2 ? 0 : interval; // each parameter, or only whole passes
        mortal shortLived(errors);
        theTexelGroup = &shortLived;
        restore(kept);
        K = scale;
        std::istringstream stream(words + " --fitk");
        bool hasDied = false;
        written(
            [&]
            {
                try
                {
                    tuneTexel(stream, 2);
                }
                catch (const std::runtime_error&)
                {
                    hasDied = true;
                }
            });
        EXPECT_TRUE(hasDied) << errors;

        theTexelGroup = ownGroup;
        restore(kept);
        K = scale;
        const std::string text = tune(words + " --resume");
        EXPECT_EQ(text.find("The error isn't"), std::string::npos) << text;
        EXPECT_TRUE(valuesNow() == wanted) << errors;
        EXPECT_EQ(content("quillon-tune.state"), whole) << errors;
    }
}

TEST_F(TexelState, OnTheWayToTheTempoThatTheResultsAskForEachPassTellsErrorStepsSpeedAndEnd)
{
    // A share of 3/4 is a score of 400 x log10(3) / 1.72 = 110.96. With all pieces on the board
    // only the mid-game counts, so the tempo rises by one in each of 86 passes, and no other step
    // helps. In the end each position's error is (1/4)^2 = 0.0625.
    std::ofstream(trainingFile) << startWords << "c9 \"1-0\";\n" << startWords << "c9 \"1/2\";\n";
    EVALTEMPO = X(25, 17);
    const auto passes = [](const std::string& text)
    {
        std::vector<std::string> found;
        for (const std::string& line : linesOf(text))
            if (line.starts_with("Pass ")) found.push_back(line);
        return found;
    };
    const std::string work =
        R"(, 2 of 2 parameters in ([\d.]+) s: error 0\.\d+, 1 changed, (\d+) positions/s)";
    const std::string end = R"( ends about \d{4}-\d\d-\d\d \d\d:\d\d:\d\d)";

    const std::vector<std::string> three = passes(tune("--passes 3 EVALTEMPO"));
    EXPECT_EQ(EVALTEMPO, X(28, 17));
    ASSERT_EQ(three.size(), 3U);
    for (size_t i = 0; i < 3; ++i)
    {
        const std::string pattern =
            "Pass " + std::to_string(i + 1) + work + (i < 2 ? "; pass 3" + end : "");
        std::smatch words;
        ASSERT_TRUE(std::regex_match(three[i], words, std::regex(pattern))) << three[i];
        // Errors of two positions: the starting one, one step of the first half, two of the second.
        const int evaluations = i == 0 ? 8 : 6;
        EXPECT_EQ(std::stod(words[2]), std::floor(evaluations / std::stod(words[1]))) << three[i];
    }
    const std::vector<std::string> all = passes(tune("--resume EVALTEMPO"));
    EXPECT_EQ(EVALTEMPO, X(111, 17));
    ASSERT_EQ(all.size(), 84U);
    EXPECT_TRUE(std::regex_match(all[0], std::regex("Pass 4" + work + "; pass 5" + end))) << all[0];
    EXPECT_TRUE(all[83].starts_with("Pass 87, 2 of 2 parameters in ")) << all[83];
    EXPECT_NE(all[83].find(": error 0.0625"), std::string::npos) << all[83];
    EXPECT_NE(all[83].find(", 0 changed, "), std::string::npos) << all[83];
    EXPECT_EQ(all[83].find("ends about"), std::string::npos) << all[83];
    // A finished run stays finished, however often it is resumed.
    EXPECT_TRUE(passes(tune("--resume EVALTEMPO")).empty());
    EXPECT_EQ(EVALTEMPO, X(111, 17));
}

TEST_F(TexelState, ARunWithoutPassesPrintsTheTablesAndANewRunKeepsTheOldState)
{
    std::ofstream(trainingFile) << someLines(3, "\n");
    std::ofstream("quillon-tune.state") << "of yesterday";
    EVALTEMPO = X(25, 17);
    const std::vector<std::string> lines = linesOf(tune("--workers 3 --passes 0 EVALTEMPO"));
    EXPECT_EQ(theTexelWorkForce.workers.size(), 3U);
    EXPECT_EQ(content("quillon-tune.state.old"), "of yesterday");
    EXPECT_EQ(lines.back(), "TCONST combEval EVALTEMPO = X(  25,  17);");

    // If the state was edited, a message says that the error differs.
    std::string state = content("quillon-tune.state");
    state.replace(state.find("25 EVALTEMPO"), 2, "-3");
    std::ofstream("quillon-tune.state") << state;
    const std::string text = tune("--resume --passes 0 EVALTEMPO");
    EXPECT_EQ(EVALTEMPO, X(-3, 17));
    EXPECT_NE(text.find("The error isn't the saved one, so this run has other positions or another "
                        "number of workers. It goes on with them.\n"),
              std::string::npos)
        << text;
}

TEST_F(TexelState, AnOrderThatCannotBeFollowedGetsAMessageAndChangesNothing)
{
    const auto fails = [&](const std::string& words, const std::string& message)
    {
        const std::vector<std::string> lines = linesOf(tune(words, false));
        ASSERT_FALSE(lines.empty()) << words;
        EXPECT_EQ(lines.back(), message) << words;
        EXPECT_TRUE(valuesNow() == kept) << words;
    };
    const std::pair<const char*, const char*> orders[] = {{"EVALTEMPO --workers", "--workers"},
                                                          {"--workers 0", "--workers"},
                                                          {"--workers -1", "--workers"},
                                                          {"--workers x", "--workers"},
                                                          {"EVALTEMPO --passes", "--passes"},
                                                          {"--passes -1", "--passes"},
                                                          {"--passes x", "--passes"},
                                                          {"EVALTEMPO --state", "--state"},
                                                          {"--help", "--help"},
                                                          {"EVALTEMPO -x --resume", "-x"}};
    for (const auto& [words, option] : orders)
    {
        std::string message = "Can't understand ";
        message += option;
        message += ". The command is: texel [--workers N] [--passes N] [--fitk] [--state FILE] "
                   "[--resume] [TABLE ...]";
        fails(words, message);
    }
    fails("--resume --fitk", "--resume takes K from the state, so leave out --fitk");
    fails("EVALTEMPO EVALNOSUCH", "No table is named EVALNOSUCH");
    fails("", "There seems to be a problem with the tuning file. tuning not executed");
    std::ofstream(trainingFile) << "nothing\n";
    fails("", "There is no position in the training file");

    std::ofstream(trainingFile) << someLines(3, "\n");
    fails("--state no/such/folder",
          "Can't write no/such/folder, so the run would be lost if it stopped");
    tune("--passes 0 EVALTEMPO");
    const std::string state = content("quillon-tune.state");
    const auto refuses = [&](const std::string& words)
    {
        fails("--resume " + words,
              "Can't go on from quillon-tune.state: it can't be read, or other tables were "
              "tuned there. Name the same tables, or start anew without --resume.");
    };
    for (const std::string words : {"", "EVALPINNED", "EVALTEMPO EVALPINNED"}) refuses(words);
    fs::remove("quillon-tune.state");
    refuses("EVALTEMPO");
    for (size_t size = 0; size + 1 < state.size(); ++size)
    {
        std::ofstream("quillon-tune.state") << state.substr(0, size);
        refuses("EVALTEMPO");
    }
    for (const std::string wrong : {"40000", "-40000", "nan", "x"})
    {
        std::ofstream("quillon-tune.state")
            << std::regex_replace(state, std::regex("25 EVAL"), wrong + " EVAL");
        refuses("EVALTEMPO");
    }
    std::ofstream("quillon-tune.state") << state << "1 more\n";
    refuses("EVALTEMPO");
    EXPECT_EQ(K, scale);
}
