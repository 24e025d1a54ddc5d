// SPDX-License-Identifier: MIT
//
// A file of positions and counts, read by the check of the move generator. Depths above 2 are
// brought down, since a deeper count of a rich position is only long.

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "perft.h"
#include "targets.h"

namespace
{

constexpr int mostLines = 4;

/// A line with a short depth in its second field; a depth that is not a number stays.
std::string limitDepth(const std::string& line)
{
    const size_t begin = line.find(';');
    if (begin == std::string::npos) return line;
    const size_t end = std::min(line.find(';', begin + 1), line.size());
    const std::string depth = line.substr(begin + 1, end - begin - 1);
    char* rest = nullptr;
    const long value = std::strtol(depth.c_str(), &rest, 10);
    if (rest == depth.c_str() || value <= 2 || value > 0x7fffffff) return line;
    return line.substr(0, begin + 1) + "2" + line.substr(end);
}

} // namespace

void fuzzPerftFile(const std::string& input)
{
    std::istringstream lines(input);
    std::string content;
    std::string line;
    for (int n = 0; n < mostLines && std::getline(lines, line); ++n)
        content += limitDepth(line) + (lines.eof() ? "" : "\n");
    writeFile("perft.txt", content);
    checkMoveGenWithPerft(static_cast<i32>(1 + input.size() % 3));
}
