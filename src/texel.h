// SPDX-License-Identifier: MIT
//
// Fits the evaluation to game results (Peter Österlund, "Texel's tuning method", 2014): positions
// labelled with the result of their game, the mean squared error of a logistic function of their
// evaluation, and a descent that moves one parameter at a time by one unit.
//
//   Training positions    texelPosStruct, texelBoardStruct, readTexelPos
//   Tunable parameters    texelParStruct, setTexelParameters, printTexelParameters
//   Error function and K  texelWorker, texelWorkForce, calcOptimalK
//   Coordinate descent    doTheTexel, doTexelTuning
//
// In a playing build the tables are constant and the list of parameters is empty, so that a run
// gives the error of the present tables. The build with QUILLON_TUNE registers all tables.
#pragma once

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
    std::string fen; // its words, a blank behind each
    double result;   // from white's view: 1.0, 0.5 or 0.0
    i16 spare;       // 0, not read
};

/// What a record is to the tuner.
enum texelBoardKind : u8
{
    boardEven,   // not to be evaluated: a king is missing, or the clock is no number
    boardPlanes, // set up from its planes
    boardText,   // two men on a square, a letter that is no man's, the key 0: set up from its text
};

/// What every error reads of a record: its position, set up from the text once, when it is dealt
/// out, since reading the text takes longer than an evaluation.
struct texelBoardStruct
{
    u64 planes[4]; // plane b: the squares whose piece code has bit b; colour, then type + 1
    double result;
    texelBoardKind kind;
    u8 sideToMove;
};

/// The training set, in the order of the file. The workers hold copies of their shares.
extern std::vector<texelPosStruct> texelPositions;

/// Fills texelPositions from the file "quiet-labeled.epd" in the working directory: a line each,
/// the words of the position, the word `c9`, and a word whose characters 1 to 3 are the result
/// `1-0`, `1/2` or anything else for a black win. The rest of a line is ignored, and so is a line
/// without `c9`. Returns 0, or 9 with a message when the file can't be read.
int readTexelPos();


// Tunable parameters

/// One parameter: one half of a packed table element, or a plain element.
struct texelParStruct
{
    std::string name; // the table's, as it is printed
    i32* value;       // the element
    u32 tableSize;    // tuned elements of the table
    u32 firstIndex;   // in texelPars, of the first parameter of the table
    bool packed;      // the element is printed as X(mg,eg)
    i32 oneHalf;      // not 0: one parameter per element, else two, mid-game first
    bool padRows;     // the first parameter is 8 elements into the table, and 16 more are printed
    bool mirrored;    // files a to d are tuned and written to the other wing as well
    bool midGameHalf; // a step changes the low half
    i32 printKind;    // 0 to 12, see printTexelParameters
};

extern std::vector<texelParStruct> texelPars;
extern i32 nofTexelPars;

/// Lists what may be tuned: nothing in a playing build. In a tuning build every table, or only
/// those of texelSelection.
void setTexelParameters();

/// Prints the tables of texelPars in the form of the source, ready to paste over the old ones.
/// The kinds of table:
///
///   kind     | shape
///   ---------|------------------------------------------------------------
///   0, 2, 4  | a table
///   1, 3     | a lone value, packed or plain
///   5, 6, 7  | a first entry that stays zero; 6 also a last one, 7 two first and a last one
///   8        | plain numbers behind a zero
///   9        | pieceValue with its fixed pawn and king
///   10 to 12 | pieceSquareScore: pawns, knights to queens, kings
void printTexelParameters();

/// Moves a parameter by `step` units of its half, and its mirror element with it. Steps of the
/// end-game half leave the mid-game half as it is, whatever its sign.
/// `index` is the parameter's in texelPars, `step` +1 or -2.
void stepTexelParameter(int index, int step);


// Error function and K

extern double K;            // scale of the logistic function; a larger one makes it steeper
extern i32 nofTexelThreads; // size of the pool that `texel` asks for

/// The share of a game that a score of white's view stands for: 0 to 1, 0.5 for a score of 0.
double sigma(i16 score);

/// One thread of the tuner, with a position and caches of its own.
class texelWorker
{
  public:
    /// Returns when the thread waits for work.
    explicit texelWorker(int number);
    texelWorker(const texelWorker&) = delete;
    texelWorker& operator=(const texelWorker&) = delete;

    /// Ends and joins the thread.
    virtual ~texelWorker();

    /// Takes over a share of the training set and sets every position of it up. The thread must be
    /// waiting.
    void takeShare(std::span<const texelPosStruct> share);

    /// Sets partialError to the sum of squared errors of `positions`.
    virtual void calcTexelPosSubset();

    /// The thread's loop: waits for work and does it.
    void atTheOffice();

    /// Wakes the thread for one job.
    void startWorking();

    /// Waits until the thread waits.
    void waitToTakeABreak();

    /// The sum of the last job, once the thread waits.
    double error() const { return partialError; }

    int id;
    std::vector<texelPosStruct> positions; // this worker's share
    std::vector<texelBoardStruct> boards;  // one for each of them

  protected:
    /// The score of a position of the share from white's view; 0 when it can't be evaluated.
    i16 scoreOf(size_t index);

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
    /// Ends all workers, makes `n` new ones and deals out texelPositions in slices of equal size;
    /// the last worker gets the rest as well. Below 1 no worker is left.
    void setNofWorkers(int n);

    /// The mean squared error of texelPositions; not a number when there are none.
    double calcTexelError();

    std::vector<texelWorker*> workers;
};

extern texelWorkForce theTexelWorkForce;

/// Scans for the K with the least error, in five levels down to steps of 0.00001, prints its way
/// and returns the best. K is left at the last value tried.
double calcOptimalK();


// Coordinate descent

/// The command `texel`: builds all tables anew, reads the positions, starts the pool and tunes.
void doTheTexel();

/// Steps each parameter by one unit up or down where that lowers the error, pass after pass, until
/// a whole pass finds nothing.
void doTexelTuning();


#ifdef QUILLON_TUNE

// Tuning build

/// Names of the tables to register, such as "EVALPAWNSHIELD"; empty for all.
extern std::vector<std::string> texelSelection;

/// Sets every tuned element of a table to 0, to see whether tuning finds it again. False when no
/// table has this name.
bool zeroTexelTable(const std::string& name);

/// Reads the positions and sets K to the value that suits them and the present tables best. Scores
/// of another K come out on another scale.
void fitTexelK();

#endif
