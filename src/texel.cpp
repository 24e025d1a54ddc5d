// SPDX-License-Identifier: MIT
//
// The tuner; see texel.h. All threads read the tables and K. The main thread writes them only
// between two jobs, when every worker waits, so the reads need no lock.
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
#include <filesystem>
#include <fstream>
#include <iomanip>
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

/// Reads one line of the training file. Returns false if it has no word `c9`.
bool readRecord(const std::string& line, texelPosStruct& record)
{
    std::istringstream words(line);
    std::string word;
    std::string fen;
    while (words >> word && word != "c9") fen += word + ' ';
    if (!words) return false;
    record.fen = fen; // a copy, because a moved string would keep its spare capacity

    // The result is in quotes, which the cut leaves out. If the line ends here, `word` is still
    // "c9", which counts as a black win.
    words >> word;
    const std::string result = word.size() > 1 ? word.substr(1, 3) : "";
    record.result = result == "1-0" ? 1.0 : result == "1/2" ? 0.5 : 0.0;
    record.spare = 0;
    return true;
}

} // namespace

int readTexelPos()
{
    constexpr const char* filename = "quiet-labeled.epd";
    std::ifstream file(filename);
    // A folder can be opened too, on some systems.
    std::error_code failed;
    if (!file.is_open() || std::filesystem::is_directory(filename, failed))
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

/// Whether a table is a single element, which is printed without braces.
bool isLone(i32 kind)
{
    return kind == tableLonePair || kind == tableLoneNumber;
}

/// A pair as eval.cpp writes it, in columns.
std::string pairText(int mg, int eg)
{
    std::ostringstream text;
    text << "X(" << std::setw(4) << mg << ',' << std::setw(4) << eg << ')';
    return text.str();
}

/// The text before the elements of a table. What is printed for a table is C++ source, including
/// the entries that are not tuned, so that a result can be put into eval.cpp as it is.
std::string headerText(const texelParStruct& first)
{
    std::string text;
    if (first.printKind <= tablePieceValue) text = "TCONST combEval " + first.name + " = ";
    if (first.printKind == tablePawnSquares)
        text = "TCONST combEval pieceSquareScore[6][NOFSQUARES] = ";
    if (first.printKind > tablePawnSquares)
        text = "// " + first.name + '\n';
    else if (!isLone(first.printKind))
        text += "\n{\n";

    switch (first.printKind)
    {
    case tableFirstZero:
    case tableFirstAndLastZero: return text + ' ' + pairText(0, 0) + ", ";
    case tableTwoFirstAndLastZero:
        return text + ' ' + pairText(0, 0) + ",  " + pairText(0, 0) + ", ";
    case tableNumbersFirstZero: return text + " 0, ";
    case tablePieceValue: return text + ' ' + pairText(82, 94) + ", ";
    default: return text;
    }
}

/// The elements of a table, eight a line. With padRows the fixed ranks before and after the tuned
/// ones are printed too.
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

/// The text after the elements of a table, with the fixed elements at its end.
std::string footerText(i32 kind)
{
    if (kind == tablePawnSquares || kind == tablePieceSquares) return ",\n";
    if (isLone(kind)) return ";\n";
    std::string text;
    if (kind == tableFirstAndLastZero || kind == tableTwoFirstAndLastZero) text = ", X( 0, 0) ";
    if (kind == tablePieceValue) text = ", X(12000, 12000) ";
    return text + "\n};\n";
}

} // namespace

void printTexelParameters()
{
    assert(nofTexelPars <= std::ssize(texelPars));
    const u32 count = narrow<u32>(nofTexelPars);
    std::string text;
    for (u32 i = 0; i < count;)
    {
        const texelParStruct& first = texelPars[i];
        text += headerText(first) + elementsText(first) + footerText(first.printKind);
        i += std::max(first.oneHalf ? first.tableSize : 2 * first.tableSize, 1U);
    }
    writeText(text);
}

void stepTexelParameter(int index, int step)
{
    assert(index >= 0 && index < std::ssize(texelPars));
    const texelParStruct& par = texelPars[narrow<size_t>(index)];
    // A packed pair borrows between its halves, and the sum of two pairs takes care of that.
    const bool endGameHalf = par.packed && !par.midGameHalf;
    combEval element(*par.value);
    element += endGameHalf ? X(0, step) : X(step, 0);
    *par.value = element.packed;
    if (par.mirrored)
    {
        const u32 number = (narrow<u32>(index) - par.firstIndex) / 2;
        // From file a, b, c or d to file h, g, f or e of the same rank.
        par.value[7 - 2 * (number % 4)] = *par.value;
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

/// Whether texelSelection is empty or names a table; "EVALPINNED" names "EVALPINNED[8]".
bool isSelected(const std::string& table)
{
    const std::string name = table.substr(0, table.find_first_of("[ "));
    return texelSelection.empty() ||
           std::find(texelSelection.begin(), texelSelection.end(), name) != texelSelection.end();
}

/// Appends the parameters of a table: one for each tuned entry, and for pairs one for each half.
void registerTable(const evalTable& table)
{
    const bool packed = table.hasPairs();
    const u32 firstIndex = narrow<u32>(texelPars.size());
    for (u32 i = table.firstTuned; i < table.firstTuned + table.nofTuned; ++i)
        for (const bool midGame : {true, false})
            if (midGame || packed)
                texelPars.push_back({table.name, &table.start[i].packed, table.nofTuned, firstIndex,
                                     packed, !packed, table.hasOuterRanks(), false, midGame,
                                     table.kind});
}

} // namespace

void setTexelParameters()
{
    texelPars.clear();
    for (const evalTable& table : evalTables)
        if (isSelected(table.name)) registerTable(table);
    nofTexelPars = narrow<i32>(texelPars.size());
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

/// Whether the half-move clock of a FEN, its fifth word, is missing or a number that setPosition
/// can read. Anything else would end the process.
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

/// The evaluation reads the square of each king, so a position without one can't be evaluated.
bool hasBothKings(const positionStruct* position)
{
    return position->pieceBB[KING + WHITE] && position->pieceBB[KING + BLACK];
}

/// The score of a position with both kings, from white's view, as results of games are.
i16 whiteScore(positionStruct* position)
{
    const int score = evaluateN(0, position);
    return wrap16(position->sideToMove == WHITE ? score : -score);
}

/// Empties the two cache entries that the evaluation of a position has filled. At the next job the
/// tables may have other values, so the evaluation must not find these.
void emptyEntries(const positionStruct* position)
{
    position->pawnHashTable->entries[pawnSlot(position->pawnHashKey)] = {};
    position->evalHashTable->entries[evalSlot(position->hashKey)] = {};
}

/// Computes all bitboards of a position from the planes of a record.
void spreadPlanes(const u64* planes, u64* pieceBB)
{
    for (int code = PAWN; code < NOFPIECECODES; ++code)
    {
        u64 pieces = ~0ULL;
        for (int b = 0; b < 4; ++b) pieces &= code >> b & 1 ? planes[b] : ~planes[b];
        pieceBB[code] = pieces;
    }
    const u64 occupied = planes[1] | planes[2] | planes[3];
    pieceBB[WHITE] = occupied & ~planes[0];
    pieceBB[BLACK] = occupied & planes[0];
}

/// Prepares the board of a record. Uses `position` as scratch space.
texelBoardStruct boardOf(const texelPosStruct& record, positionStruct* position)
{
    texelBoardStruct board = {{}, record.result, boardEven, WHITE};
    if (!hasReadableClock(record.fen)) return board;
    setPosition(record.fen, position);
    if (!hasBothKings(position)) return board;

    // A position with the key 0 mistakes an empty cache entry for its own and gets that score. To
    // do the same here, it is set up from its text.
    board.kind = boardText;
    if (!position->hashKey || !position->pawnHashKey) return board;
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        for (int b = 0; b < 4; ++b)
            if (code >> b & 1) board.planes[b] |= position->pieceBB[code];
    u64 spread[NOFPIECECODES];
    spreadPlanes(board.planes, spread);
    // Whatever planes can't express shows in the comparison.
    if (!std::equal(spread, spread + NOFPIECECODES, position->pieceBB)) return board;
    board.kind = boardPlanes;
    board.sideToMove = position->sideToMove;
    return board;
}

} // namespace

double sigma(i16 score)
{
    // With K = 1 a score of 400 predicts ten wins for each loss.
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
    assert(index < boards.size() && boards.size() == positions.size());
    const texelBoardStruct& board = boards[index];
    if (board.kind == boardEven) return 0;
    if (board.kind == boardText)
        setPosition(positions[index].fen, position);
    else
    {
        // This is all that an evaluation reads. The caches are empty, so any key but 0 will do. One
        // key for all positions touches only one entry of each cache.
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

    // Slices in the order of the positions, so that every run adds the errors in the same order.
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
    // All workers are started before the first one is waited for.
    // The sums are added in the order of the workers, so that the result is the same in every run.
    for (texelWorker* w : workers) w->startWorking();
    for (texelWorker* w : workers) w->waitToTakeABreak();
    double sum = 0.0;
    for (const texelWorker* w : workers) sum += w->error();
    return sum / static_cast<double>(texelPositions.size());
}

double calcOptimalK()
{
    // Each level scans one old step to both sides of the best value, in steps of a tenth.
    double minError = 99999999999.0;
    double best = 1.0;
    double step = 1.0;
    for (int level = 0; level < 5; ++level)
    {
        const double next = step / 10.0;
        // A new best also extends the scan: it ends one step above the best.
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

/// Builds the tables, reads the positions and starts the workers. Returns false if there is no
/// file. Workers are started last, because they copy their shares of the positions.
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

/// Tries a step of one unit up, then one down, and keeps the first that lowers the error. Returns
/// whether it kept one.
bool tryParameter(int index, double& minError)
{
    // Up by one; then down by two, to one below the start; at the end back to the start. The table
    // itself is changed, because the workers read it.
    for (const int step : {+1, -2})
    {
        stepTexelParameter(index, step);
        const double error = theTexelWorkForce.calcTexelError();
        if (!(minError > error)) continue;
        minError = error;
        std::ostringstream line;
        line << "Min error " << minError << " parameter " << index << ' '
             << texelPars[narrow<size_t>(index)].name;
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
        // A run can take hours, so the tables are printed on the way in case it is stopped.
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
