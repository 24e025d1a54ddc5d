#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs missing packages, builds what the tests need, and runs the tests.
#   ./test.sh          one optimised build with assertions and its quick tests: up to five minutes
#   ./test.sh --full   all builds and all tests except the longest: sanitizers, clang, libc++,
#                      fuzzers, WebAssembly, packages, the board in a browser, games: 30 minutes
#   ./test.sh --long   also long games, all archives and the commands of the documents: hours
#   ./test.sh --lint   formatting and static checks
#   ctest --test-dir build/check -L eval    afterwards: the tests of one area; see CONTRIBUTING.md
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. dev/packages.sh

level=quick
case ${1:-} in
    '') ;;
    --full) level=full ;;
    --long) level=long ;;
    --lint)
        need_packages clang-format=clang-format clang-tidy=clang-tidy cppcheck=cppcheck \
            shellcheck=shellcheck g++=g++ node=nodejs mpicxx=libopenmpi-dev \
            /usr/include/gtest/gtest.h=libgtest-dev
        exec dev/lint.sh
        ;;
    --help | -h)
        sed -n '/^#   /s/^#   //p' "$0"
        exit 0
        ;;
    *)
        sed -n '/^#   /s/^#   //p' "$0" >&2
        exit 2
        ;;
esac

need_packages g++=g++ cmake=cmake make=make node=nodejs npm=npm \
    /usr/include/gtest/gtest.h=libgtest-dev
[[ $level == quick ]] ||
    need_packages clang++=clang /usr/games/stockfish=stockfish /usr/games/polyglot=polyglot \
        chromium=chromium python3=python3 \
        /usr/lib/python3/dist-packages/yaml/__init__.py=python3-yaml \
        /usr/lib/llvm-14/lib/LLVMgold.so=llvm-14-dev man=man-db mandoc=mandoc \
        dpkg-shlibdeps=dpkg-dev lintian=lintian readelf=binutils em++=emscripten \
        parallel=parallel \
        /usr/lib/llvm-14/include/c++/v1/version=libc++-14-dev \
        /usr/lib/llvm-14/lib/libc++abi.so=libc++abi-14-dev \
        /usr/src/googletest/CMakeLists.txt=googletest \
        mpicxx=libopenmpi-dev mpirun=openmpi-bin
[[ $level != long ]] ||
    need_packages /usr/bin/Xvfb=xvfb /usr/games/xboard=xboard valgrind=valgrind \
        /usr/games/ethereal-chess=ethereal-chess /usr/games/glaurung=glaurung \
        /usr/games/toga2=toga2 /usr/games/gnuchess=gnuchess

mkdir -p build
status=0

# The tests of the console and the tools run on Node with packages from the npm registry.
choice=(--no-tests=error)
if ! npm ci --no-audit --no-fund > build/npm.log 2>&1; then
    echo "npm ci has failed (see build/npm.log), so the tests that run on Node are skipped." >&2
    echo "Run ./test.sh again with access to the npm registry." >&2
    choice=(-LE node)
    [[ $level == quick ]] || status=1
fi

# build PRESET OPTION... configures and builds a preset.
build()
{
    local preset=$1 log=build/$1.log
    shift
    echo "== build $preset"
    if ! cmake --preset "$preset" "$@" > "$log" 2>&1 ||
        ! cmake --build --preset "$preset" -j "$(nproc)" 2>&1 | tee -a "$log" |
        grep --line-buffered -E '^\[.*(Linking|Built target|Precompiled)|error' >&2; then
        # grep also fails if there is nothing to build.
        if ! cmake --build --preset "$preset" >> "$log" 2>&1; then
            tail -n 40 "$log" >&2
            echo "The build $preset has failed; its whole output is in $log." >&2
            exit 1
        fi
    fi
}

logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT

# run PRESET ARGUMENT... runs CTest in a build and goes on when tests fail.
run()
{
    local preset=$1 failed=0
    shift
    echo "== test $preset"
    ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" "$@" "${choice[@]}" |
        grep --line-buffered -vE '^ *Start +[0-9]+:|^$|^Internal ctest|^Test project' ||
        failed=${PIPESTATUS[0]}
    [[ $failed -eq 0 ]] || status=1
    local log=$logs/$SECONDS-$preset
    cp "build/$preset/Testing/Temporary/LastTest.log" "$log"
    [[ ${choice[0]} == --no-tests=error ]] ||
        printf '1/1 Test: node\n# skipped %d\nTest Passed.\n' "$(ctest --test-dir "build/$preset" \
            -N "$@" -L node | sed -n 's/^Total Tests: //p')" >> "$log"
}

if [[ $level == quick ]]; then
    build check -DQUILLON_TESTS=ON -DQUILLON_SIGNATURE=ON -DQUILLON_WERROR=ON
    run check -L quick
else
    # Link-time optimisation of the tests takes minutes, so only release does it.
    tests=(-DQUILLON_TESTS=ON -DQUILLON_SIGNATURE=ON -DQUILLON_WERROR=ON)
    build debug "${tests[@]}"
    build portable -DQUILLON_SIGNATURE=ON -DQUILLON_WERROR=ON
    build clang "${tests[@]}" -DQUILLON_LTO=OFF
    build libcxx "${tests[@]}"
    build asan "${tests[@]}"
    build tsan "${tests[@]}"
    build release "${tests[@]}"
    build fuzz -DQUILLON_WERROR=ON
    build wasm
    build tune-mpi -DQUILLON_TESTS=ON -DQUILLON_WERROR=ON
    run debug -L unit
    run clang -L unit
    run libcxx -L unit
    run asan -L san
    run tsan -L threads
    run release -LE 'long|node' -j 2
    run release -L node -LE long
    run wasm -L web -j 1
    run tune-mpi -L mpi
    run fuzz -L fuzz
fi
if [[ $level == long ]]; then
    run release -L long -j 1
    run wasm -L long -j 1
    # Games under the sanitizers; the other long tests would take hours there.
    for preset in asan tsan; do run "$preset" -R '^console\.clock-games\.long$'; done
fi

echo
dev/count-tests "$logs"/*
exit $status
