// SPDX-License-Identifier: MIT
//
// What the tests of the tuner share, in the playing build and in the tuning build.
#pragma once

#include <cstdlib>
#include <filesystem>

#include "support.h"
#include "texel.h"

namespace fs = std::filesystem;

inline constexpr const char* trainingFile = "quiet-labeled.epd";

/// Runs in a folder of its own, because the file's name is fixed. Leaves the tuner's globals as it
/// found them.
class Tuner : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        fs::current_path(folder);
    }

    void TearDown() override
    {
        fs::current_path(home);
        fs::remove_all(folder);
        theTexelWorkForce.setNofWorkers(0);
        texelPositions.clear();
        texelPars.clear();
        nofTexelPars = 0;
        nofTexelThreads = 1;
        K = scale; // cppcheck-suppress selfAssignment ; scale is what K was
    }

    /// Starts n workers and returns what they print.
    static std::string hire(int n)
    {
        return written([=] { theTexelWorkForce.setNofWorkers(n); });
    }

    const double scale = K;
    const fs::path home = fs::current_path();
    std::string folder = (fs::temp_directory_path() / "quillon-tuner-XXXXXX").string();
};
