// SPDX-License-Identifier: MIT
//
// Runs a fuzz target on files, without a fuzzer: quillon_replay TARGET FILE-OR-FOLDER...

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "targets.h"

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    // Listed before the first run changes the working directory.
    std::vector<fs::path> files;
    for (int i = 2; i < argc; ++i)
    {
        const fs::path path = fs::absolute(argv[i]);
        if (fs::is_directory(path))
            std::copy(fs::directory_iterator(path), {}, std::back_inserter(files));
        else
            files.push_back(path);
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files)
    {
        std::fprintf(stderr, "%s %s\n", argv[1], path.filename().c_str());
        std::ifstream file(path, std::ios::binary);
        if (!file) return 1;
        runTarget(argv[1], {std::istreambuf_iterator<char>(file), {}});
    }
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty();
}
