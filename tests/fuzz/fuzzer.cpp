// SPDX-License-Identifier: MIT
//
// The entry points that libFuzzer calls; the build names the target.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "targets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerInitialize(int*, char***)
{
    startFuzzing();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzzTarget* const target = findTarget(QUILLON_FUZZ_TARGET);
    if (!target) std::abort();
    runTarget(*target, std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
