// SPDX-License-Identifier: MIT
//
// The numbers themselves: every table of the evaluation against the transcription that the model
// reads, which dev/adopt-tables writes.

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
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

TEST(EvalTables, EveryTermHasAGroupAndANameAMeaningAndASentenceOfItsOwn)
{
    std::set<std::string> names;
    std::set<std::string> meanings;
    std::set<std::string> sentences;
    std::set<int> groups;
    for (const evalTermText& text : evalTermTexts)
    {
        groups.insert(text.group);
        names.insert(text.name);
        meanings.insert(text.meaning);
        sentences.insert(text.sentence);
        EXPECT_TRUE(std::string(text.meaning).ends_with('.')) << text.name;
        const std::string sentence = text.sentence;
        EXPECT_FALSE(sentence.ends_with('.')) << text.name;
        EXPECT_TRUE(sentence.find("%square") < sentence.size() || text.group == groupTempo);
    }
    EXPECT_EQ(names.size(), NOFEVALTERMS);
    EXPECT_EQ(meanings.size(), NOFEVALTERMS);
    EXPECT_EQ(sentences.size(), NOFEVALTERMS);
    EXPECT_EQ(groups.size(), NOFEVALGROUPS) << "a group without terms";
    EXPECT_FALSE(names.count("") || meanings.count("") || sentences.count(""));
}
