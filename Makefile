# SPDX-License-Identifier: MIT
#
# A front for those who expect `make`. CMake does the work, see CMakePresets.json, but not for EXE.
#
#   make                          build/release/quillon, optimised for this machine
#   make CXX=clang++              with another compiler, in a build folder of its own
#   make EXE=NAME CXX=g++         NAME, the engine for test frameworks: docs/testing-engines.md
#   make ARCH=x86-64-v3           for other processors than this one
#   make test                     all tests: ./test.sh
#   make install PREFIX=FOLDER    engine, perft.txt, manual page, documents; /usr/local if not given
#   make install DESTDIR=FOLDER   the same below FOLDER, for a packager
#   make clean                    removes the build folder
#   make help                     this list
#
# JOBS=N is the number of compilers at a time, BUILD=FOLDER another build folder.

PREFIX = /usr/local
ARCH = native
CMAKE = cmake
JOBS := $(shell nproc 2> /dev/null || echo 2)

# The compiler only if one was named; each has its own folder, since CMake can't change it later.
ifeq ($(origin CXX),default)
  BUILD = build/release
else
  BUILD = build/release-$(notdir $(CXX))
  COMPILER = -DCMAKE_CXX_COMPILER="$(CXX)"
endif

# The make below is CMake's, with jobs of its own.
unexport MAKEFLAGS MAKELEVEL MFLAGS

.PHONY: all engine tester test install clean help configure

all: $(if $(EXE),tester,engine)

engine: configure
	$(CMAKE) --build "$(BUILD)" --parallel $(JOBS) --target quillon -- --no-print-directory

# The workers of a test framework may have a compiler and make alone. These are the flags of the
# preset `tester`, less those for g++ alone; optimisation across files needs a plugin of the linker.
LTO = $(shell echo 'int main() {}' | $(CXX) -flto=auto -x c++ -o /dev/null - 2> /dev/null && \
    echo -flto=auto)
ifeq ($(OS),Windows_NT)
  SYSTEM = -static -Wl,--stack,8388608
else ifeq ($(shell uname),Linux)
  SYSTEM = -fno-pie -no-pie
endif

tester:
	$(CXX) -std=c++20 -O3 -DNDEBUG -march=$(ARCH) -ffp-contract=off -pthread $(LTO) $(SYSTEM) \
	    -DQUILLON_TESTER '-DQUILLON_PERFT_FILE="$(CURDIR)/data/perft.txt"' \
	    -Isrc -o "$(EXE)" src/*.cpp bench/bench.cpp

configure:
	$(CMAKE) --preset release -B "$(BUILD)" $(COMPILER) -DQUILLON_ARCH="$(ARCH)" \
	    -DCMAKE_INSTALL_PREFIX:PATH="$(PREFIX)"

install: engine
	umask 022 && DESTDIR="$(DESTDIR)" $(CMAKE) --install "$(BUILD)"

test:
	./test.sh

clean:
	$(CMAKE) -E rm -rf "$(BUILD)"

help:
	@sed -n '/^#   make/s/^#   //p; /^# JOBS/s/^# //p' Makefile
