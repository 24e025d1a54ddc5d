#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds everything, installing what it lacks, and runs the tests.
#   ./test.sh             the default run, about 20 minutes on two cores
#   ./test.sh --quick     the release and debug builds only
#   ./test.sh --long      the default run and the tests with the label "long"
#   ./test.sh --lint      formatting and static checks only
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. dev/packages.sh

presets=(debug portable clang asan tsan release)
long=
quick=
for argument in "$@"; do
    case $argument in
        --quick)
            presets=(debug release)
            quick=yes
            ;;
        --long) long=yes ;;
        --lint)
            need_packages clang-format=clang-format clang-tidy=clang-tidy cppcheck=cppcheck \
                shellcheck=shellcheck g++=g++ node=nodejs \
                /usr/include/gtest/gtest.h=libgtest-dev \
                /usr/include/benchmark/benchmark.h=libbenchmark-dev
            exec dev/lint.sh
            ;;
        *)
            sed -n '4,8s/^# *//p' "$0" >&2
            exit 2
            ;;
    esac
done

need_packages g++=g++ clang++=clang cmake=cmake make=make node=nodejs npm=npm \
    /usr/games/stockfish=stockfish /usr/games/polyglot=polyglot chromium=chromium \
    python3=python3 /usr/lib/python3/dist-packages/yaml/__init__.py=python3-yaml \
    /usr/include/gtest/gtest.h=libgtest-dev \
    /usr/include/benchmark/benchmark.h=libbenchmark-dev \
    /usr/lib/llvm-14/lib/LLVMgold.so=llvm-14-dev man=man-db mandoc=mandoc \
    dpkg-shlibdeps=dpkg-dev lintian=lintian readelf=binutils
[[ -z $long ]] || need_packages /usr/bin/Xvfb=xvfb /usr/games/xboard=xboard
npm ci --silent --no-audit --no-fund

for preset in "${presets[@]}"; do
    echo "== build $preset"
    # Linking whole programs optimises for minutes: once for the tests, in release, is enough.
    case $preset in
        portable) options=(-DQUILLON_TESTS=OFF) ;;
        clang) options=(-DQUILLON_TESTS=ON -DQUILLON_LTO=OFF) ;;
        *) options=(-DQUILLON_TESTS=ON) ;;
    esac
    cmake --preset "$preset" "${options[@]}" -DQUILLON_BENCH=ON -DQUILLON_WERROR=ON > /dev/null
    cmake --build --preset "$preset" -j "$(nproc)" -- --no-print-directory -s | grep -v '^\[' || true
    # The pipe hides the build's status; an up-to-date tree answers at once.
    cmake --build --preset "$preset" -j "$(nproc)" > "build/$preset.log" 2>&1 ||
        { cat "build/$preset.log" >&2; exit 1; }
done

# Only the fuzzers, beside the default run.
if [[ $quick != yes ]]; then
    echo "== build fuzz"
    cmake --preset fuzz -DQUILLON_WERROR=ON > /dev/null
    cmake --build --preset fuzz -j "$(nproc)" > build/fuzz.log 2>&1 ||
        { cat build/fuzz.log >&2; exit 1; }
fi

status=0
# run NAME ARGUMENTS... runs CTest in a build and goes on when tests fail.
run()
{
    local preset=$1
    shift
    echo "== test $preset"
    ctest --test-dir "build/$preset" --output-on-failure --no-tests=error "$@" || status=1
}
for preset in "${presets[@]}"; do
    case $preset in
        release) run release -LE long -j 2 ;;
        debug) run debug -L unit ;;
        asan) run asan -L san -j 2 ;;
        tsan) run tsan -L threads -j 2 ;;
    esac
done
# Three seconds each, from a fixed seed.
[[ $quick == yes ]] || run fuzz -L fuzz -j 2
if [[ -n $long ]]; then
    run release -L long
    # Whole games under the sanitizers; the other long tests would take them hours.
    for preset in "${presets[@]}"; do
        case $preset in asan | tsan) run "$preset" -R '^console\.clock-games\.long$' ;; esac
    done
fi
if [[ $status -eq 0 ]]; then echo "All tests have passed."; else echo "Some tests have failed."; fi
exit $status
