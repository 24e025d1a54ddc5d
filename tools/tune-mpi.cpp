// SPDX-License-Identifier: MIT
//
// quillon-tune-mpi: the command `texel` of quillon-tune on many processors and machines; see
// docs/tuning.md. Each rank has its own share of the positions. MPI only exchanges the sums.
//
// Usage: mpirun -n RANKS quillon-tune-mpi texel [WORD ...]

#include <mpi.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

#include <unistd.h>

#include "general.h"
#include "hash.h"
#include "moveTable.h"
#include "texel.h"

namespace
{

/// All ranks of MPI's world. A call of MPI that fails ends all of them, with a message.
class mpiGroup : public texelGroup
{
  public:
    size_t rank() const override
    {
        int number = 0;
        MPI_Comm_rank(MPI_COMM_WORLD, &number);
        return narrow<size_t>(number);
    }

    size_t size() const override
    {
        int number = 0;
        MPI_Comm_size(MPI_COMM_WORLD, &number);
        return narrow<size_t>(number);
    }

    std::vector<double> gather(const std::vector<double>& mine) override
    {
        std::vector<double> all(mine.size() * size());
        const int count = narrow<int>(mine.size());
        MPI_Allgather(mine.data(), count, MPI_DOUBLE, all.data(), count, MPI_DOUBLE,
                      MPI_COMM_WORLD);
        return all;
    }
};

/// mpirun and Slurm ask all ranks to end if one of them has died or the time is over.
void onTermination(int signal)
{
    constexpr std::string_view message = "quillon-tune-mpi has been stopped. With --resume it goes "
                                         "on from the state it saved last.\n";
    std::ignore = write(STDERR_FILENO, message.data(), message.size());
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// Runs the command. Returns the exit status.
int run(int argc, char** argv, mpiGroup& group)
{
    theTexelGroup = &group;
    if (group.rank() == 0)
        std::signal(SIGTERM, onTermination);
    else if (!std::freopen("/dev/null", "w", stdout))
        throw std::runtime_error("can't open /dev/null");
    if (argc < 2 || std::string(argv[1]) != "texel")
    {
        writeLine("usage: mpirun -n RANKS quillon-tune-mpi texel [WORD ...]; docs/tuning.md lists "
                  "the words");
        return 2;
    }
    std::string words;
    for (int i = 2; i < argc; ++i) words += std::string(argv[i]) + ' ';
    std::istringstream stream(words);
    engine.hashSizeMB = 1; // nothing searches
    return tuneTexel(stream, 1) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    int level = 0;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &level); // only this thread calls MPI
    mpiGroup group;
    int status = 1;
    try
    {
        status = run(argc, argv, group);
        theTexelWorkForce.setNofWorkers(0);
        destroyHashTable();
    }
    catch (const std::exception& problem)
    {
        std::fprintf(stderr, "quillon-tune-mpi, rank %zu: %s\n", group.rank(), problem.what());
        MPI_Abort(MPI_COMM_WORLD, 1);
    }
    MPI_Finalize();
    return status;
}
