// SPDX-License-Identifier: MIT
//
// The tuner; see texel.h. All threads read the tables and K; they are written between two jobs
// only, when every worker waits.
//
//   Training positions    readTexelPos
//   Tunable parameters    setTexelParameters, printTexelParameters, stepTexelParameter
//   Error function and K  texelWorker, texelWorkForce, calcOptimalK
//   Coordinate descent    doTheTexel, doTexelTuning

#include "texel.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <span>
#include <sstream>
#include <utility>

#include "eval.h"
#include "general.h"
#include "moveTable.h"
#include "search.h"

std::vector<texelPosStruct> texelPositions;
std::vector<texelParStruct> texelPars;
i32 nofTexelPars = 0;
double K = 1.72;
i32 nofTexelThreads = 1;
texelWorkForce theTexelWorkForce;


// Training positions

namespace
{

/// Reads one line. False when it ends before the word `c9`.
bool readRecord(const std::string& line, texelPosStruct& record)
{
    std::istringstream words(line);
    std::string word;
    std::string fen;
    while (words >> word && word != "c9") fen += word + ' ';
    if (!words) return false;
    record.fen = fen; // a copy has no spare room

    // A line that ends here leaves the word as it is, which counts as a black win.
    words >> word;
    const std::string result = word.size() > 1 ? word.substr(1, 3) : "";
    record.result = result == "1-0" ? 1.0 : result == "1/2" ? 0.5 : 0.0;
    record.spare = 0;
    return true;
}

} // namespace

int readTexelPos()
{
    std::ifstream file("quiet-labeled.epd");
    // A folder opens as well and fails at the first byte.
    if (file.is_open()) file.peek();
    if (!file.is_open() || file.bad())
    {
        writeText("There seems to be a problem with the tuning file. tuning not executed\n");
        return 9;
    }

    texelPositions.clear();
    for (std::string line; std::getline(file, line);)
        if (texelPosStruct record; readRecord(line, record))
            texelPositions.push_back(std::move(record));
    texelPositions.shrink_to_fit();
    return 0;
}


// Tunable parameters

namespace
{

// Kinds of table, see texel.h; those that are not named here are plain tables as well.
enum printKind : i32
{
    kindTable = 0,
    kindLone = 1,
    kindLonePlain = 3,
    kindFirstZero = 5,
    kindFirstAndLastZero = 6,
    kindTwoFirstAndLastZero = 7,
    kindPlainFirstZero = 8,
    kindPieceValue = 9,
    kindPawnSquares = 10,
    kindPieceSquares = 11,
    kindKingSquares = 12,
};

bool isLone(i32 kind)
{
    return kind == kindLone || kind == kindLonePlain;
}

std::string pairText(int mg, int eg)
{
    char text[32];
    // Two of the longest numbers fit.
    static_cast<void>(std::snprintf(text, sizeof text, "X(%4d,%4d)", mg, eg));
    return text;
}

/// What stands before the elements of a table.
std::string headerText(const texelParStruct& first)
{
    std::string text;
    if (first.printKind <= kindPieceValue) text = "TCONST combEval " + first.name + " = ";
    if (first.printKind == kindPawnSquares)
        text = "TCONST combEval pieceSquareScore[6][NOFSQUARES] = ";
    if (first.printKind > kindPawnSquares)
        text = "// " + first.name + '\n';
    else if (!isLone(first.printKind))
        text += "\n{\n";

    switch (first.printKind)
    {
    case kindFirstZero:
    case kindFirstAndLastZero: return text + ' ' + pairText(0, 0) + ", ";
    case kindTwoFirstAndLastZero:
        return text + ' ' + pairText(0, 0) + ",  " + pairText(0, 0) + ", ";
    case kindPlainFirstZero: return text + " 0, ";
    case kindPieceValue: return text + ' ' + pairText(82, 94) + ", ";
    default: return text;
    }
}

/// The elements of a table, eight a line.
std::string elementsText(const texelParStruct& first)
{
    const i32* element = first.value;
    u32 count = first.mirrored ? 2 * first.tableSize : first.tableSize;
    if (first.padRows)
    {
        element -= 8;
        count += 16;
    }
    std::string text;
    for (u32 i = 0; i < count; ++i)
    {
        const combEval score(element[i]);
        text += first.packed ? pairText(mgHalf(score), egHalf(score)) : std::to_string(element[i]);
        if (i + 1 < count) text += i % 8 == 7 ? ", \n" : ", ";
    }
    return text;
}

/// What stands behind the elements of a table.
std::string footerText(i32 kind)
{
    if (kind == kindPawnSquares || kind == kindPieceSquares) return ",\n";
    if (isLone(kind)) return ";\n";
    std::string text;
    if (kind == kindFirstAndLastZero || kind == kindTwoFirstAndLastZero) text = ", X( 0, 0) ";
    if (kind == kindPieceValue) text = ", X(12000, 12000) ";
    return text + "\n};\n";
}

} // namespace

void printTexelParameters()
{
    std::string text;
    for (u32 i = 0; static_cast<i32>(i) < nofTexelPars;)
    {
        const texelParStruct& first = texelPars[i];
        text += headerText(first) + elementsText(first) + footerText(first.printKind);
        i += std::max(first.oneHalf ? first.tableSize : 2 * first.tableSize, 1U);
    }
    writeText(text);
}

void stepTexelParameter(int index, int step)
{
    const texelParStruct& par = texelPars[static_cast<size_t>(index)];
    const u32 word = static_cast<u32>(*par.value);
    const u32 units = static_cast<u32>(step);
    if (par.midGameHalf || !par.packed)
        *par.value = static_cast<i32>(word + units);
    else
    {
        // A negative low half has borrowed from the high one: 0x8000 pays that back before the
        // low half is cut off, and the low half, added as a signed number, borrows again.
        const u32 high = (word + 0x8000 + units * 0x10000) & 0xffff0000;
        const i32 low = static_cast<i16>(word);
        *par.value = static_cast<i32>(high + static_cast<u32>(low));
    }
    if (par.mirrored)
    {
        const u32 element = (static_cast<u32>(index) - par.firstIndex) / 2;
        par.value[7 - 2 * (element % 4)] = *par.value;
    }
}

#ifndef QUILLON_TUNE

void setTexelParameters()
{
    texelPars.clear();
    nofTexelPars = 0;
}

#else

std::vector<std::string> texelSelection;

namespace
{

/// The part of a parameter's name that names its table: "EVALPINNED" of "EVALPINNED[8]".
std::string tableOf(const std::string& name)
{
    return name.substr(0, name.find_first_of("[ "));
}

/// Registers tables, or those of a selection.
class registry
{
  public:
    explicit registry(std::span<const std::string> selection) : selected(selection) {}

    /// `count` packed elements from `first` on.
    void pairs(const char* name, combEval* first, u32 count, i32 kind, bool padRows = false)
    {
        add(name, first, count, kind, padRows, true);
    }

    /// `count` plain elements from `first` on.
    void numbers(const char* name, combEval* first, u32 count, i32 kind, bool padRows = false)
    {
        add(name, first, count, kind, padRows, false);
    }

  private:
    void add(const char* name, combEval* first, u32 count, i32 kind, bool padRows, bool packed)
    {
        if (!selected.empty() &&
            std::find(selected.begin(), selected.end(), tableOf(name)) == selected.end())
            return;
        const u32 firstIndex = static_cast<u32>(texelPars.size());
        for (u32 i = 0; i < count; ++i)
            for (const bool midGame : {true, false})
                if (midGame || packed)
                    texelPars.push_back({name, &first[i].packed, count, firstIndex, packed, !packed,
                                         padRows, false, midGame, kind});
        nofTexelPars = static_cast<i32>(texelPars.size());
    }

    std::span<const std::string> selected;
};

/// Every tunable table. Entries at the ends of a table that nothing reads aren't listed: they print
/// as zeros, or are left out and thereby zero.
void registerTables(registry to)
{
    to.pairs("pieceValue[6]", &pieceValue[1], 4, kindPieceValue);
    to.pairs("pieceSquareScore pawn", &pieceSquareScore[0][8], 48, kindPawnSquares, true);
    to.pairs("pieceSquareScore knight", pieceSquareScore[1], 64, kindPieceSquares);
    to.pairs("pieceSquareScore bishop", pieceSquareScore[2], 64, kindPieceSquares);
    to.pairs("pieceSquareScore rook", pieceSquareScore[3], 64, kindPieceSquares);
    to.pairs("pieceSquareScore queen", pieceSquareScore[4], 64, kindPieceSquares);
    to.pairs("pieceSquareScore king", pieceSquareScore[5], 64, kindKingSquares);

    to.pairs("EVALBISHOPPAIR", &EVALBISHOPPAIR, 1, kindLone);
    to.pairs("EVALTEMPO", &EVALTEMPO, 1, kindLone);

    to.pairs("EVALPAWNISOLATED[8]", EVALPAWNISOLATED, 8, kindTable);
    to.pairs("EVALPAWNDOUBLED[8]", EVALPAWNDOUBLED, 8, kindTable);
    to.pairs("EVALPAWNBACKHALF[8]", EVALPAWNBACKHALF, 8, kindTable);
    to.pairs("EVALPAWNCONNECTED[8]", &EVALPAWNCONNECTED[2], 5, kindTwoFirstAndLastZero);
    to.pairs("EVALPAWNNEIGHBOUR[8]", &EVALPAWNNEIGHBOUR[1], 6, kindFirstAndLastZero);
    to.pairs("EVALPAWNPASSEDCANDIDATE[2][8]", EVALPAWNPASSEDCANDIDATE[0], 16, kindTable);
    to.pairs("EVALPAWNKSISOLATED", &EVALPAWNKSISOLATED, 1, kindLone);
    to.pairs("EVALPAWNKSDOUBLED", &EVALPAWNKSDOUBLED, 1, kindLone);
    to.pairs("EVALPAWNKSBACKWARD", &EVALPAWNKSBACKWARD, 1, kindLone);

    to.pairs("EVALPAWNPASSED[2][2][8]", EVALPAWNPASSED[0][0], 32, kindTable);
    to.pairs("EVALPAWNPASSEDDISTOWN[8]", &EVALPAWNPASSEDDISTOWN[1], 7, kindFirstZero);
    to.pairs("EVALPAWNPASSEDDISTOTHER[8]", &EVALPAWNPASSEDDISTOTHER[1], 7, kindFirstZero);
    to.pairs("EVALPAWNPASSEDPROMO[4]", EVALPAWNPASSEDPROMO, 1, kindTable);

    to.pairs("EVALPINNED[8]", &EVALPINNED[1], 4, kindFirstZero);
    to.pairs("EVALPINNEDFREE[8]", &EVALPINNEDFREE[1], 4, kindFirstZero);
    to.pairs("EVALDISCOVERED[8]", &EVALDISCOVERED[1], 4, kindFirstZero);
    to.pairs("EVALMOBILITYKNIGHT[12]", EVALMOBILITYKNIGHT, 9, kindTable);
    to.pairs("EVALMOBILITYBISHOP[16]", EVALMOBILITYBISHOP, 14, kindTable);
    to.pairs("EVALMOBILITYROOK[16]", EVALMOBILITYROOK, 15, kindTable);
    to.pairs("EVALMOBILITYQUEEN[28]", EVALMOBILITYQUEEN, 28, kindTable);
    to.pairs("EVALOUTPOSTKNIGHT[2]", EVALOUTPOSTKNIGHT, 2, kindTable);
    to.pairs("EVALOUTPOSTBISHOP[2]", EVALOUTPOSTBISHOP, 2, kindTable);
    to.pairs("EVALROOKONOPEN[2]", EVALROOKONOPEN, 2, kindTable);
    to.pairs("EVALKINGDIST[4]", EVALKINGDIST, 1, kindTable);
    to.pairs("EVALTEST", &EVALTEST, 1, kindLone);
    to.numbers("EVALKINGATTWEIGHT[5]", &EVALKINGATTWEIGHT[1], 4, kindPlainFirstZero);

    to.pairs("EVALTHREADWEAKPAWN", &EVALTHREADWEAKPAWN, 1, kindLone);
    to.pairs("EVALTHREADMINORABPAWN", &EVALTHREADMINORABPAWN, 1, kindLone);
    to.pairs("EVALTHREADMINORABMINOR", &EVALTHREADMINORABMINOR, 1, kindLone);
    to.pairs("EVALTHREADMINORABMAJOR", &EVALTHREADMINORABMAJOR, 1, kindLone);
    to.pairs("EVALTHREADROOKABLESS", &EVALTHREADROOKABLESS, 1, kindLone);
    to.pairs("EVALTHREADQUEENABALL", &EVALTHREADQUEENABALL, 1, kindLone);
    to.pairs("EVALTHREADOVERLOADED", &EVALTHREADOVERLOADED, 1, kindLone);
    to.pairs("EVALTHREADPAWNPUSH", &EVALTHREADPAWNPUSH, 1, kindLone);

    to.numbers("EVALPAWNSHIELD[NOFSQUARES]", &EVALPAWNSHIELD[8], 48, kindTable, true);
    to.numbers("EVALKINGDANGER[7]", EVALKINGDANGER, 7, kindTable);
    to.numbers("EVALCHECKSAFEQUEEN", &EVALCHECKSAFEQUEEN, 1, kindLonePlain);
    to.numbers("EVALCHECKSAFEROOK", &EVALCHECKSAFEROOK, 1, kindLonePlain);
    to.numbers("EVALCHECKSAFEBISHOP", &EVALCHECKSAFEBISHOP, 1, kindLonePlain);
    to.numbers("EVALCHECKSAFEKNIGHT", &EVALCHECKSAFEKNIGHT, 1, kindLonePlain);
    to.numbers("EVALKINGDANGERTRANSMG", &EVALKINGDANGERTRANSMG, 1, kindLonePlain);
    to.numbers("EVALKINGDANGERTRANSEG", &EVALKINGDANGERTRANSEG, 1, kindLonePlain);
    to.pairs("EVALKINGNOPAWNONFILES[3]", EVALKINGNOPAWNONFILES, 1, kindTable);
}

} // namespace

void setTexelParameters()
{
    texelPars.clear();
    nofTexelPars = 0;
    registerTables(registry(texelSelection));
}

bool zeroTexelTable(const std::string& name)
{
    const std::vector<std::string> selection = std::exchange(texelSelection, {name});
    setTexelParameters();
    for (const texelParStruct& par : texelPars) *par.value = 0;
    texelSelection = selection;
    return nofTexelPars > 0;
}

#endif


// Error function and K

namespace
{

/// Whether setPosition can read the clock of a FEN, its fifth word; it ends the process on one
/// that is no number.
bool hasReadableClock(const std::string& fen)
{
    size_t start = 0;
    for (int word = 0; word < 4; ++word)
    {
        start = fen.find(' ', start);
        if (start == std::string::npos || ++start == fen.size()) return true;
    }
    const std::string clock = fen.substr(start, fen.find(' ', start) - start);
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(clock.c_str(), &end, 10);
    return end != clock.c_str() && errno == 0 && value >= std::numeric_limits<int>::min() &&
           value <= std::numeric_limits<int>::max();
}

bool hasBothKings(const positionStruct* position)
{
    return position->pieceBB[KING + WHITE] && position->pieceBB[KING + BLACK];
}

/// The score of a position with both kings, from white's view.
i16 whiteScore(positionStruct* position)
{
    const i16 score = static_cast<i16>(evaluateN(0, position));
    return position->sideToMove == WHITE ? score : static_cast<i16>(-score);
}

/// Empties the entries that the evaluation of a position has filled: the tables may have other
/// values at the next job, so nothing of this one may be found.
void emptyEntries(const positionStruct* position)
{
    position->pawnHashTable->entries[pawnSlot(position->pawnHashKey)] = {};
    position->evalHashTable->entries[evalSlot(position->hashKey)] = {};
}

/// The squares of each man, and of all men of a colour, out of the planes of a record.
void spreadPlanes(const u64* planes, u64* pieceBB)
{
    for (int code = PAWN; code < NOFPIECECODES; ++code)
    {
        u64 men = ~0ULL;
        for (int b = 0; b < 4; ++b) men &= code >> b & 1 ? planes[b] : ~planes[b];
        pieceBB[code] = men;
    }
    const u64 occupied = planes[1] | planes[2] | planes[3];
    pieceBB[WHITE] = occupied & ~planes[0];
    pieceBB[BLACK] = occupied & planes[0];
}

/// What is kept of a record. `position` is for its set-up.
texelBoardStruct boardOf(const texelPosStruct& record, positionStruct* position)
{
    texelBoardStruct board = {{}, record.result, boardEven, WHITE};
    if (!hasReadableClock(record.fen)) return board;
    setPosition(record.fen, position);
    if (!hasBothKings(position)) return board;

    // A position whose key is 0 takes an empty entry of a cache for its own; its score is not what
    // the board is worth.
    board.kind = boardText;
    if (!position->hashKey || !position->pawnHashKey) return board;
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        for (int b = 0; b < 4; ++b)
            if (code >> b & 1) board.planes[b] |= position->pieceBB[code];
    u64 spread[NOFPIECECODES];
    spreadPlanes(board.planes, spread);
    if (!std::equal(spread, spread + NOFPIECECODES, position->pieceBB)) return board;
    board.kind = boardPlanes;
    board.sideToMove = position->sideToMove;
    return board;
}

} // namespace

double sigma(i16 score)
{
    return 1.0 / (1.0 + std::pow(10.0, score * K / -400.0));
}

texelWorker::texelWorker(int number)
    : id(number), pawnHashTable(std::make_unique<pawnHashTableStruct>()),
      evalHashTable(std::make_unique<evalHashTableStruct>())
{
    position->plies[0].moveListStart = moveStack;
    position->pawnHashTable = pawnHashTable.get();
    position->evalHashTable = evalHashTable.get();
    thread = std::thread(&texelWorker::atTheOffice, this);
    waitToTakeABreak();
}

texelWorker::~texelWorker()
{
    ownDesk.dismiss();
    thread.join();
}

void texelWorker::takeShare(std::span<const texelPosStruct> share)
{
    positions.assign(share.begin(), share.end());
    boards.clear();
    boards.reserve(positions.size());
    for (const texelPosStruct& record : positions) boards.push_back(boardOf(record, position));
}

i16 texelWorker::scoreOf(size_t index)
{
    const texelBoardStruct& board = boards[index];
    if (board.kind == boardEven) return 0;
    if (board.kind == boardText)
        setPosition(positions[index].fen, position);
    else
    {
        // All that an evaluation reads. Its caches are empty, so any key but 0 will do, and with
        // the same for all positions only one entry of each cache is ever touched.
        spreadPlanes(board.planes, position->pieceBB);
        position->sideToMove = board.sideToMove;
        position->hashKey = position->pawnHashKey = 1;
        initEvaluation(position);
    }
    const i16 score = whiteScore(position);
    emptyEntries(position);
    return score;
}

void texelWorker::calcTexelPosSubset()
{
    double sum = 0.0;
    for (size_t i = 0; i < boards.size(); ++i)
    {
        const double difference = boards[i].result - sigma(scoreOf(i));
        sum += difference * difference;
    }
    partialError = sum;
}

void texelWorker::atTheOffice()
{
    writeLine("Lets go");
    while (ownDesk.waitForWork()) calcTexelPosSubset();
}

void texelWorker::startWorking()
{
    ownDesk.startWorking();
}

void texelWorker::waitToTakeABreak()
{
    ownDesk.waitToTakeABreak();
}

void texelWorkForce::setNofWorkers(int n)
{
    for (texelWorker* w : workers) w->waitToTakeABreak();
    while (!workers.empty())
    {
        delete workers.back();
        workers.pop_back();
    }

    for (int id = 0; id < n; ++id) workers.push_back(new texelWorker(id));
    if (workers.empty()) return;

    const size_t chunk = texelPositions.size() / workers.size();
    for (size_t w = 0; w < workers.size(); ++w)
    {
        const bool isLast = w + 1 == workers.size();
        const std::span<const texelPosStruct> rest = std::span(texelPositions).subspan(w * chunk);
        workers[w]->takeShare(isLast ? rest : rest.first(chunk));
    }
}

double texelWorkForce::calcTexelError()
{
    for (texelWorker* w : workers) w->startWorking();
    for (texelWorker* w : workers) w->waitToTakeABreak();
    double sum = 0.0;
    for (const texelWorker* w : workers) sum += w->error();
    return sum / static_cast<double>(texelPositions.size());
}

double calcOptimalK()
{
    double minError = 99999999999.0;
    double best = 1.0;
    double step = 1.0;
    for (int level = 0; level < 5; ++level)
    {
        const double next = step / 10.0;
        // A new best moves the end of the scan on.
        double candidate = best - step;
        while (candidate <= best + step)
        {
            K = candidate;
            const double error = theTexelWorkForce.calcTexelError();
            std::ostringstream line;
            line << "Trying the following K value " << candidate << " error: " << error;
            writeLine(line.str());
            if (error < minError)
            {
                minError = error;
                best = candidate;
            }
            candidate += next;
        }
        step = next;
    }
    std::ostringstream line;
    line << " Optimal K calculated : " << best;
    writeLine(line.str());
    return best;
}


// Coordinate descent

namespace
{

/// Tables, positions and pool; false when there is no file.
bool startTexel()
{
    theWorkForce.endSearch();
    initBitboardConstants();
    initHashCodeTables();
    if (readTexelPos() != 0) return false;
    nofTexelThreads = 24;
    theTexelWorkForce.setNofWorkers(nofTexelThreads);
    return true;
}

} // namespace

void doTheTexel()
{
    if (!startTexel()) return;
    writeLine("Starting texel tuning....");
    setTexelParameters();
    printTexelParameters();
    doTexelTuning();
    printTexelParameters();
}

namespace
{

/// Steps a parameter by one unit up, else down, and keeps what lowers the error; true when it has.
bool tryParameter(int index, double& minError)
{
    // Up by one; from there down by two, which is one below the start; and back.
    for (const int step : {+1, -2})
    {
        stepTexelParameter(index, step);
        const double error = theTexelWorkForce.calcTexelError();
        if (!(minError > error)) continue;
        minError = error;
        std::ostringstream line;
        line << "Min error " << minError << " parameter " << index << ' '
             << texelPars[static_cast<size_t>(index)].name;
        writeLine(line.str());
        return true;
    }
    stepTexelParameter(index, +1);
    return false;
}

} // namespace

void doTexelTuning()
{
    double minError = theTexelWorkForce.calcTexelError();
    std::ostringstream start;
    start << "Starting error " << minError;
    writeLine(start.str());

    bool improved = true;
    for (int pass = 0; improved;)
    {
        improved = false;
        for (int i = 0; i < nofTexelPars; ++i)
            if (tryParameter(i, minError)) improved = true;
        ++pass;
        writeText("\n Improving: " + std::to_string(pass) + '\n');
        if (pass % 10 == 0) printTexelParameters();
    }

    std::ostringstream end;
    end << "Ending error " << theTexelWorkForce.calcTexelError() << " Minimum error " << minError;
    writeLine(end.str());
}

#ifdef QUILLON_TUNE
void fitTexelK()
{
    if (startTexel()) K = calcOptimalK();
}
#endif
