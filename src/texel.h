// SPDX-License-Identifier: MIT
//
// The tuner fits the evaluation to game results (Peter Österlund, "Texel's tuning method", 2014).
// Its input is positions with the results of their games. A logistic function of the evaluation
// predicts each result; the error is the mean squared difference. A descent changes one parameter
// at a time by one unit as long as that lowers the error. It needs no derivative, which the
// evaluation does not have: its terms are tables, counts and conditions.
//
//   Training positions    texelPosStruct, texelBoardStruct, readTexelPos
//   Tunable parameters    texelParStruct, setTexelParameters, printTexelParameters
//   Error function and K  texelWorker, texelWorkForce, calcOptimalK
//   Coordinate descent    doTheTexel, doTexelTuning
//
// In a playing build the tables are constant and the list of parameters is empty, so a run only
// prints the error of the current tables. A build with QUILLON_TUNE tunes all tables. It also packs
// the positions, saves its tables on the way, and can share the work with other processes.
#pragma once

#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "global.h"
#include "hash.h"
#include "search.h"


// Training positions

/// A position and the result of its game.
struct texelPosStruct
{
    std::string fen; // its words, each followed by a space
    double result;   // from white's view: 1.0, 0.5 or 0.0
    i16 spare;       // 0; nothing reads it
};

/// How the tuner evaluates a record.
enum texelBoardKind : u8
{
    boardEven,   // not at all, it scores 0: a king is missing or the half-move clock is unreadable
    boardPlanes, // from its planes
    boardText,   // from its text: planes can't hold two pieces on a square or a letter that names
                 // no piece, and a key of 0 needs care
};

/// A record in the form in which every error calculation reads it. It is made once, because reading
/// the text takes longer than an evaluation.
struct texelBoardStruct
{
    u64 planes[4]; // plane b: the squares whose piece code has bit b; colour, then type + 1
    double result;
    texelBoardKind kind;
    u8 sideToMove;
};

#ifdef QUILLON_TUNE
// All that a tuning build keeps of a position: a machine runs out of memory before it runs out of
// time. For boardText planes[0] is an index into texelTexts.
using texelRecordStruct = texelBoardStruct;
static_assert(sizeof(texelRecordStruct) == 48);
#else
using texelRecordStruct = texelPosStruct;
#endif

/// The training set, in the order of the file; with several processes, the share of this one.
extern std::vector<texelRecordStruct> texelPositions;

/// Fills texelPositions from the file "quiet-labeled.epd" in the working directory. A line holds
/// the words of a position, the word `c9`, and a word with the result in its characters 1 to 3:
/// `1-0`, `1/2`, or anything else for a black win. The rest of the line is ignored, and so is any
/// line without `c9`. Returns 0, or 9 with a message if the file can't be read.
int readTexelPos();


// Tunable parameters

/// One parameter: one half of a packed table element, or a plain element.
struct texelParStruct
{
    std::string name; // of its table, as it is printed
    i32* value;       // the element
    u32 tableSize;    // number of tuned elements of the table
    u32 firstIndex;   // index in texelPars of the table's first parameter
    bool packed;      // print the element as X(mg,eg)
    i32 oneHalf;      // not 0: one parameter per element; 0: two, mid-game first
    bool padRows;     // print the 8 elements before the first tuned one and the 8 after the last
    bool mirrored;    // files a to d are tuned, and each step also goes to the other wing
    bool midGameHalf; // a step changes the low half
    i32 printKind;    // an evalTableKind, see printTexelParameters
};

extern std::vector<texelParStruct> texelPars;
extern i32 nofTexelPars;

/// Fills texelPars: with nothing in a playing build, in a tuning build with the tables of
/// texelSelection or, if that is empty, with all of evalTables.
void setTexelParameters();

/// Prints the tables of texelPars as C++ source. `dev/adopt-tables` puts them into eval.cpp.
///
///   kind     | what is printed
///   ---------|------------------------------------------------------------
///   0, 2, 4  | a table: of pairs, of numbers, of numbers with two ranks that are not tuned
///   1, 3     | a lone pair, a lone number
///   5, 6, 7  | pairs after one zero; 6 also before one; 7 after two zeros and before one
///   8        | numbers after a zero
///   9        | pieceValue with its fixed pawn and king
///   10 to 12 | pieceSquareScore: pawns; knights to queens; kings
void printTexelParameters();

/// Adds `step` to one half of the element of parameter `index` of texelPars, and copies
/// the element to its mirror element if it has one. The other half stays as it is.
void stepTexelParameter(int index, int step);


// Error function and K

extern double K;            // scale of the logistic function; a larger one makes it steeper
extern i32 nofTexelThreads; // number of workers that `texel` starts

/// The result that a score from white's view predicts: from 0 to 1, 0.5 for a score of 0.
double sigma(i16 score);

/// One thread of the tuner, with its own position and caches. Workers share only the evaluation's
/// tables and K, which nobody writes while they work.
class texelWorker
{
  public:
    /// Starts the thread and returns once it waits for work.
    explicit texelWorker(int number);
    texelWorker(const texelWorker&) = delete;
    texelWorker& operator=(const texelWorker&) = delete;

    /// Ends and joins the thread.
    virtual ~texelWorker();

    /// Takes over a share of the training set. The thread must be waiting. In a playing build the
    /// worker copies its share and prepares the boards.
    void takeShare(std::span<const texelRecordStruct> share);

    /// Sets partialError to the sum of the squared errors of `positions`.
    virtual void calcTexelPosSubset();

    /// The thread's main loop: waits for a job and does it.
    void atTheOffice();

    /// Wakes the thread for one job.
    void startWorking();

    /// Returns once the thread waits for work again.
    void waitToTakeABreak();

    /// The result of the last job. The thread must be waiting.
    double error() const { return partialError; }

    int id;
#ifdef QUILLON_TUNE
    std::span<const texelBoardStruct> boards; // this worker's share
#else
    std::vector<texelPosStruct> positions; // this worker's share
    std::vector<texelBoardStruct> boards;  // one for each position
#endif

  protected:
    /// The score of position `index` of the share from white's view; 0 if it can't be evaluated.
    i16 scoreOf(size_t index);

    /// The text of position `index` of the share, whose kind is boardText.
    const std::string& textOf(size_t index) const;

    desk ownDesk;
    std::thread thread;
    double partialError = 0.0;
    positionStruct positionData;
    positionStruct* position = &positionData;
    moveStruct moveStack[8192];
    std::unique_ptr<pawnHashTableStruct> pawnHashTable;
    std::unique_ptr<evalHashTableStruct> evalHashTable;
};

class texelWorkForce
{
  public:
    /// Ends all workers, starts `n` new ones and gives them texelPositions in equal slices; the
    /// last worker also gets the remainder. With `n` below 1 no worker is left.
    void setNofWorkers(int n);

    /// The mean squared error of texelPositions; not a number (NaN) if there are none.
    double calcTexelError();

    std::vector<texelWorker*> workers;

#ifdef QUILLON_TUNE
    double nofPositions = 0; // of all processes
    u64 nofErrors = 0;       // calls of calcTexelError
#endif
};

extern texelWorkForce theTexelWorkForce;

/// Searches for the K with the least error, in five levels with steps from 0.1 down to 0.00001.
/// Prints every value it tries and returns the best one. Leaves K at the last value it tried.
double calcOptimalK();


// Coordinate descent

/// The command `texel`: rebuilds the attack and key tables, reads the positions, starts the workers
/// and tunes.
void doTheTexel();

/// Steps each parameter up or down by one unit if that lowers the error. Repeats this in passes
/// until a whole pass finds no improvement: a local minimum, in which no single step helps.
void doTexelTuning();


#ifdef QUILLON_TUNE

// Tuning build

/// Appends a position to texelPositions. A result may be any number from 0 to 1.
void addTexelPosition(const texelPosStruct& record);

/// The texts of the positions that planes can't hold.
extern std::vector<std::string> texelTexts;

/// The processes that tune together: this one alone. `quillon-tune-mpi` has more; see
/// tools/tune-mpi.cpp. Each has its own share of the positions. All go through the same descent, in
/// which they only need each other's sums of squared errors.
class texelGroup
{
  public:
    virtual ~texelGroup() = default;
    virtual size_t rank() const { return 0; } // the number of this process, from 0
    virtual size_t size() const { return 1; }

    /// The numbers of all processes, in the order of their ranks. Each process must call this, with
    /// equally many numbers.
    virtual std::vector<double> gather(const std::vector<double>& mine) { return mine; }
};

extern texelGroup* theTexelGroup; // never null

/// Names of the tables to tune, such as "EVALPAWNSHIELD"; empty for all.
extern std::vector<std::string> texelSelection;

/// Milliseconds after which a run is saved within a pass; it is also saved after each pass.
extern i64 texelSaveInterval;

/// The command `texel` with its words: names of tables, and options; a wrong option prints the list
/// of all. `workers` is the number of workers in each process if the words give none. Returns
/// false, with a message, if nothing could be tuned.
bool tuneTexel(std::istream& words, i32 workers);

/// Sets every tuned element of a table to 0, to see whether tuning restores it. Returns false if no
/// table has this name.
bool zeroTexelTable(const std::string& name);

/// Reads the positions and sets K to the value with the least error for the current tables. K fixes
/// the scale of the scores that tuning finds.
void fitTexelK();

#endif
