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
    const fuzzTarget* const target = argc > 2 ? findTarget(argv[1]) : nullptr;
    if (!target)
    {
        std::fprintf(stderr, "use: quillon_replay TARGET FILE-OR-FOLDER...\n");
        return 2;
    }

    // Read before the working directory changes.
    std::vector<fs::path> files;
    for (int i = 2; i < argc; ++i)
    {
        const fs::path path = fs::absolute(argv[i]);
        if (fs::is_directory(path))
            for (const fs::directory_entry& entry : fs::directory_iterator(path))
                files.push_back(entry.path());
        else
            files.push_back(path);
    }
    std::sort(files.begin(), files.end());

    startFuzzing();
    for (const fs::path& path : files)
    {
        std::ifstream file(path, std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        std::fprintf(stderr, "%s %s\n", target->name, path.filename().c_str());
        if (!file)
        {
            std::fprintf(stderr, "can't be read\n");
            return 1;
        }
        runTarget(*target, input);
    }
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty();
}
