// SPDX-License-Identifier: MIT
//
// The numbers themselves: every table of the evaluation against the transcription that the model
// reads, which dev/adopt-tables writes.

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "support.h"

TEST(EvalTables, AreThoseOfTheTranscriptionWithItsChecksum)
{
    std::map<std::string, std::vector<combEval>> expected;
    std::string name;
    u32 checksum = 0;
    std::ifstream file(QUILLON_SOURCE_DIR "/tests/data/evaluation.txt");
    for (std::string line; std::getline(file, line);)
    {
        if (line.empty() || line[0] == '#') continue;
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
    EXPECT_TRUE(expected.empty()) << expected.begin()->first << " is not a table";
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
