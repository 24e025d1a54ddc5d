// SPDX-License-Identifier: MIT
//
// The numbers themselves: every table of the evaluation against the transcription that the model
// reads, and scores that the model has computed. dev/adopt-tables writes both files.

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "support.h"

namespace
{

std::vector<std::string> linesOf(const std::string& name)
{
    std::ifstream file(QUILLON_SOURCE_DIR "/tests/data/" + name);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    return lines;
}

} // namespace

TEST(EvalTables, AreThoseOfTheTranscriptionWithItsChecksum)
{
    std::map<std::string, std::vector<combEval>> expected;
    std::string name;
    u32 checksum = 0;
    for (const std::string& line : linesOf("evaluation.txt"))
    {
        if (line.starts_with("checksum "))
            checksum = static_cast<u32>(std::stoul(line.substr(9), nullptr, 16));
        else if (line[0] != ' ')
            name = line;
        else
        {
            std::istringstream words(line);
            for (std::string word; words >> word;)
            {
                const size_t slash = word.find('/');
                const int mg = std::stoi(word);
                expected[name].push_back(
                    slash == std::string::npos ? mg : X(mg, std::stoi(word.substr(slash + 1))));
            }
        }
    }

    u32 sum = 0;
    const auto compare = [&](const std::string& table, const std::vector<combEval>& entries)
    {
        EXPECT_EQ(entries, expected[table]) << table;
        expected.erase(table);
        for (const combEval entry : entries) sum = sum * 31 + entry.word();
    };
    for (const evalTable& table : evalTables)
        compare(table.name, {table.start, table.start + table.size});
    compare("pieceValuePhase[6]", {std::begin(pieceValuePhase), std::end(pieceValuePhase)});
    compare("GAMEPHASEMAXMG", {GAMEPHASEMAXMG});
    compare("GAMEPHASEMINEG", {GAMEPHASEMINEG});
    EXPECT_EQ(sum, checksum);
    EXPECT_TRUE(expected.empty()) << expected.begin()->first << " is no table";
}

TEST(EvalTables, ScoresAreThoseOfTheModel)
{
    const std::vector<std::string> lines = linesOf("scores.txt");
    EXPECT_GT(lines.size(), 70U);
    for (const std::string& line : lines)
    {
        Board board(line.substr(line.find('|') + 2));
        EXPECT_EQ(evaluateN(0, board.get()), std::stoi(line)) << line;
    }
}

TEST(EvalTables, EveryTermHasANameAndASentenceOfItsOwn)
{
    for (const auto textOf : {evalTermName, evalTermMeaning})
    {
        std::vector<std::string> texts;
        for (int term = 0; term < NOFEVALTERMS; ++term) texts.emplace_back(textOf(term));
        std::sort(texts.begin(), texts.end());
        EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
        EXPECT_FALSE(texts.front().empty());
    }
}
