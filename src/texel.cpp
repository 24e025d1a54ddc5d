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
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <limits>
#include <numeric>
#include <span>
#include <sstream>
#include <utility>

#include "eval.h"
#include "general.h"
#include "moveTable.h"
#include "search.h"

std::vector<texelRecordStruct> texelPositions;
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

constexpr const char* trainingFile = "quiet-labeled.epd";

bool openTrainingFile(std::ifstream& file)
{
    file.open(trainingFile, std::ios::binary);
    // A folder can be opened too, on some systems.
    std::error_code failed;
    return file.is_open() && !std::filesystem::is_directory(trainingFile, failed);
}

constexpr const char* noTrainingFile =
    "There seems to be a problem with the tuning file. tuning not executed\n";

} // namespace

#ifndef QUILLON_TUNE

int readTexelPos()
{
    std::ifstream file;
    if (!openTrainingFile(file))
    {
        writeText(noTrainingFile);
        return 9;
    }

    texelPositions.clear();
    for (std::string line; std::getline(file, line);)
        if (texelPosStruct record; readRecord(line, record))
            texelPositions.push_back(std::move(record));
    texelPositions.shrink_to_fit();
    return 0;
}

#else

std::vector<std::string> texelTexts;

namespace
{

texelGroup lonelyProcess;

/// Whether readRecord finds a record in a line.
bool holdsRecord(const std::string& line)
{
    const auto isEdge = [&](size_t i) {
        return i >= line.size() || std::string_view(" \t\v\f\r").find(line[i]) != std::string::npos;
    };
    size_t at = line.find("c9");
    while (at != std::string::npos && !(isEdge(at - 1) && isEdge(at + 2)))
        at = line.find("c9", at + 1);
    return at != std::string::npos;
}

/// Calls a function for each line that starts in the bytes from `begin` to `end` - 1 of a file, as
/// long as it returns true.
void readLines(std::ifstream& file, u64 begin, u64 end, const auto& readLine)
{
    // Whether a line starts at `begin` depends on the byte before it.
    std::string line;
    u64 next = begin ? begin - 1 : 0;
    file.clear();
    file.seekg(narrow<std::streamoff>(next));
    if (begin && std::getline(file, line)) next += line.size() + 1;
    while (next < end && std::getline(file, line))
    {
        next += line.size() + 1;
        if (!readLine(line)) return;
    }
}

} // namespace

texelGroup* theTexelGroup = &lonelyProcess;
i64 texelSaveInterval = 300'000;

void addTexelPosition(const texelPosStruct& record)
{
    static const auto position = std::make_unique<positionStruct>();
    texelBoardStruct board = boardOf(record, position.get());
    if (board.kind == boardText)
    {
        board.planes[0] = texelTexts.size();
        texelTexts.push_back(record.fen);
    }
    texelPositions.push_back(board);
}

namespace
{

/// Whether no process has a negative number, and all have the number of rank 0. If not, a message
/// names one that differs.
bool haveTheSame(double mine)
{
    const std::vector<double> all = theTexelGroup->gather({mine});
    for (size_t r = 0; r < all.size(); ++r)
    {
        if (all[r] >= 0.0 && all[r] == all[0]) continue;
        if (all.size() > 1)
            writeLine("Every rank needs the same " + std::string(trainingFile) +
                      " in its working directory. Rank " + std::to_string(r) +
                      (all[r] < 0.0 ? " can't read it." : " has another one."));
        writeText(noTrainingFile);
        return false;
    }
    return true;
}

} // namespace

// Each process counts the records in one part of the file. From all counts it knows in which part
// the share of its workers starts, and keeps that share only.
int readTexelPos()
{
    const size_t ranks = theTexelGroup->size();
    const size_t rank = theTexelGroup->rank();
    std::ifstream file;
    std::error_code failed;
    u64 bytes = 0;
    if (openTrainingFile(file)) bytes = std::filesystem::file_size(trainingFile, failed);
    const bool isReadable = file.is_open() && !failed;
    if (!haveTheSame(isReadable ? static_cast<double>(bytes) : -1.0)) return 9;

    const auto partStart = [=](size_t part)
    { return bytes / ranks * part + bytes % ranks * part / ranks; };
    u64 count = 0;
    readLines(file, partStart(rank), partStart(rank + 1),
              [&](const std::string& line)
              {
                  if (holdsRecord(line)) ++count;
                  return true;
              });
    const std::vector<double> counts = theTexelGroup->gather({static_cast<double>(count)});
    const u64 total = static_cast<u64>(std::accumulate(counts.begin(), counts.end(), 0.0));

    const u64 share =
        total / (ranks * narrow<size_t>(nofTexelThreads)) * narrow<u64>(nofTexelThreads);
    u64 skip = rank * share;
    const u64 wanted = rank + 1 < ranks ? share : total - skip;
    texelPositions.clear();
    texelTexts.clear();
    texelPositions.shrink_to_fit();
    texelPositions.reserve(wanted);
    size_t part = 0;
    while (wanted && skip >= static_cast<u64>(counts[part]))
        skip -= static_cast<u64>(counts[part++]);
    readLines(file, partStart(part), wanted ? bytes : 0,
              [&](const std::string& line)
              {
                  if (!holdsRecord(line)) return true;
                  if (skip)
                      --skip;
                  else if (texelPosStruct record; readRecord(line, record))
                      addTexelPosition(record);
                  return texelPositions.size() < wanted;
              });
    // If a record is missing, someone has written to the file.
    return haveTheSame(texelPositions.size() == wanted ? 0.0 : -1.0) ? 0 : 9;
}

#endif


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

/// Whether a name is that of a table: "EVALPINNED" of "EVALPINNED[8]".
bool isTableName(const std::string& table, const std::string& name)
{
    return table.substr(0, table.find_first_of("[ ")) == name;
}

/// Whether texelSelection is empty or names a table.
bool isSelected(const std::string& table)
{
    return texelSelection.empty() ||
           std::any_of(texelSelection.begin(), texelSelection.end(),
                       [&](const std::string& name) { return isTableName(table, name); });
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

#ifndef QUILLON_TUNE

void texelWorker::takeShare(std::span<const texelPosStruct> share)
{
    positions.assign(share.begin(), share.end());
    boards.clear();
    boards.reserve(positions.size());
    for (const texelPosStruct& record : positions) boards.push_back(boardOf(record, position));
}

const std::string& texelWorker::textOf(size_t index) const
{
    assert(boards.size() == positions.size());
    return positions[index].fen;
}

#else

void texelWorker::takeShare(std::span<const texelBoardStruct> share)
{
    boards = share;
}

const std::string& texelWorker::textOf(size_t index) const
{
    return texelTexts[boards[index].planes[0]];
}

#endif

i16 texelWorker::scoreOf(size_t index)
{
    assert(index < boards.size());
    const texelBoardStruct& board = boards[index];
    if (board.kind == boardEven) return 0;
    if (board.kind == boardText)
        setPosition(textOf(index), position);
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

#ifdef QUILLON_TUNE
    // As if one process had all workers and all positions; see readTexelPos.
    const std::vector<double> counts =
        theTexelGroup->gather({static_cast<double>(texelPositions.size())});
    nofPositions = std::accumulate(counts.begin(), counts.end(), 0.0);
    const size_t chunk = static_cast<size_t>(nofPositions) / (counts.size() * workers.size());
#else
    const size_t chunk = texelPositions.size() / workers.size();
#endif
    for (size_t w = 0; w < workers.size(); ++w)
    {
        const bool isLast = w + 1 == workers.size();
        const std::span<const texelRecordStruct> rest =
            std::span(texelPositions).subspan(w * chunk);
        workers[w]->takeShare(isLast ? rest : rest.first(chunk));
    }
}

double texelWorkForce::calcTexelError()
{
    // All workers are started before the first one is waited for.
    // The sums are added in the order of the workers, so that the result is the same in every run.
    for (texelWorker* w : workers) w->startWorking();
    for (texelWorker* w : workers) w->waitToTakeABreak();
#ifdef QUILLON_TUNE
    std::vector<double> sums;
    for (const texelWorker* w : workers) sums.push_back(w->error());
    sums = theTexelGroup->gather(sums);
    ++nofErrors;
    return std::accumulate(sums.begin(), sums.end(), 0.0) / nofPositions;
#else
    double sum = 0.0;
    for (const texelWorker* w : workers) sum += w->error();
    return sum / static_cast<double>(texelPositions.size());
#endif
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

/// Where a descent is.
struct texelPointStruct
{
    i32 pass = 1;
    i32 parameter = 0; // the next one that the pass tries
    i32 kept = 0;      // steps that it has kept
    double error = 0;  // the least so far
};

/// Builds the tables, reads the positions and starts `n` workers. Returns false if there is no
/// file. Workers are started last, because they take their shares of the positions.
bool startTexel(i32 n)
{
    theWorkForce.endSearch();
    initBitboardConstants();
    initHashCodeTables();
#ifdef QUILLON_TUNE
    nofTexelThreads = n; // decides which positions are read
#endif
    if (readTexelPos() != 0) return false;
    nofTexelThreads = n;
    theTexelWorkForce.setNofWorkers(n);
    return true;
}

constexpr i32 NOFTEXELTHREADS = 24;
constexpr i32 NOLIMIT = std::numeric_limits<i32>::max(); // of the number of passes

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

/// Goes on from a point, to the end of pass `lastPass` at most. Calls `note` with the point after
/// each parameter.
void descend(texelPointStruct at, i32 lastPass, const auto& note)
{
    at.error = theTexelWorkForce.calcTexelError();
    std::ostringstream start;
    start << "Starting error " << at.error;
    writeLine(start.str());

    for (; at.pass <= lastPass; at = {at.pass + 1, 0, 0, at.error})
    {
        while (at.parameter < nofTexelPars)
        {
            if (tryParameter(at.parameter++, at.error)) ++at.kept;
            note(at);
        }
        // A run can take hours, so the tables are printed on the way in case it is stopped.
        writeText("\n Improving: " + std::to_string(at.pass) + '\n');
        if (at.pass % 10 == 0) printTexelParameters();
        if (!at.kept) break;
    }

    std::ostringstream end;
    end << "Ending error " << theTexelWorkForce.calcTexelError() << " Minimum error " << at.error;
    writeLine(end.str());
}

} // namespace

void doTheTexel()
{
    if (!startTexel(NOFTEXELTHREADS)) return;
    writeLine("Starting texel tuning....");
    setTexelParameters();
    printTexelParameters();
    doTexelTuning();
    printTexelParameters();
}

void doTexelTuning()
{
    descend({}, NOLIMIT, [](const texelPointStruct&) {});
}

#ifdef QUILLON_TUNE

namespace
{

// The state: what a run needs to go on from where another one was. All processes know it, and the
// one with rank 0 saves it.

constexpr const char* stateHead = "quillon-tune 1";

/// What the words after `texel` ask for.
struct texelOrderStruct
{
    i32 workers = 1;
    i32 passes = NOLIMIT;
    bool fitsK = false;
    bool resumes = false;
    std::string stateFile = "quillon-tune.state";
};

/// The half of an element that a parameter steps.
int parameterValue(const texelParStruct& par)
{
    const combEval element(*par.value);
    if (!par.packed) return *par.value;
    return par.midGameHalf ? mgHalf(element) : egHalf(element);
}

/// Writes a state to a file, and replaces the file only when all is written.
bool saveState(const std::string& filename, const texelPointStruct& at)
{
    const std::string unfinished = filename + ".new";
    std::ofstream file(unfinished);
    file << stateHead << '\n'
         << std::setprecision(17) << K << " K\n"
         << at.pass << " pass\n"
         << at.parameter << " parameter\n"
         << at.kept << " kept\n"
         << at.error << " error\n";
    for (const texelParStruct& par : texelPars)
        file << parameterValue(par) << ' ' << par.name << '\n';
    file.close();
    std::error_code failed;
    if (file) std::filesystem::rename(unfinished, filename, failed);
    return file && !failed;
}

/// Reads the numbers of a state: K, the point, the parameters. Returns none if the file isn't one
/// of these parameters.
std::vector<double> readState(const std::string& filename)
{
    std::ifstream file(filename);
    std::string text;
    if (!std::getline(file, text) || text != stateHead) return {};
    std::vector<std::string> names = {"K", "pass", "parameter", "kept", "error"};
    for (const texelParStruct& par : texelPars) names.push_back(par.name);
    std::vector<double> numbers;
    for (const std::string& name : names)
    {
        double number = 0.0;
        file >> number >> std::ws;
        // Some libraries read "nan", which is in no range.
        const bool isInRange = std::abs(number) <= 32768.0;
        if (!std::getline(file, text) || text != name || !isInRange) return {};
        numbers.push_back(number);
    }
    return file >> text ? std::vector<double>() : numbers;
}

/// Sets K, the tables and the point to those of a state. Only rank 0 reads the file. Returns false
/// if it can't be used.
bool resumeState(const std::string& filename, texelPointStruct& at)
{
    std::vector<double> numbers(5 + texelPars.size());
    if (theTexelGroup->rank() == 0)
        if (const std::vector<double> read = readState(filename); !read.empty()) numbers = read;
    numbers = theTexelGroup->gather(numbers);
    if (numbers[1] == 0.0) return false; // a state begins with pass 1
    K = numbers[0];
    at = {static_cast<i32>(numbers[1]), static_cast<i32>(numbers[2]), static_cast<i32>(numbers[3]),
          numbers[4]};
    for (int i = 0; i < nofTexelPars; ++i)
    {
        const int value = static_cast<int>(numbers[5 + narrow<size_t>(i)]);
        stepTexelParameter(i, value - parameterValue(texelPars[narrow<size_t>(i)]));
    }
    if (at.parameter == nofTexelPars && at.kept) at = {at.pass + 1, 0, 0, at.error};
    return true;
}

/// Saves a run as it goes on, and says how far it is.
class texelDiary
{
  public:
    texelDiary(const texelOrderStruct& runOrder, const texelPointStruct& at)
        : order(runOrder), beginning(at)
    {
    }

    /// Called after each parameter. A whole pass or some minutes are worth a note.
    void note(const texelPointStruct& at)
    {
        const bool isWholePass = at.parameter == nofTexelPars;
        if (theTexelGroup->rank() != 0 || (!isWholePass && now() < lastNote + texelSaveInterval))
            return;
        lastNote = now();
        if (!saveState(order.stateFile, at)) writeLine("Can't write " + order.stateFile);
        writeLine(progressText(at));
        if (isWholePass)
        {
            beginning = {at.pass + 1};
            beginTime = lastNote;
            beginErrors = theTexelWorkForce.nofErrors;
        }
    }

  private:
    /// A line about the pass, which began at `beginning`. Its end is that of the run if the run has
    /// a last pass, else that of this pass or the next one.
    std::string progressText(const texelPointStruct& at) const
    {
        const double seconds = static_cast<double>(std::max<i64>(now() - beginTime, 1)) / 1000.0;
        const double positions = theTexelWorkForce.nofPositions *
                                 static_cast<double>(theTexelWorkForce.nofErrors - beginErrors);
        std::ostringstream line;
        line << "Pass " << at.pass << ", " << at.parameter << " of " << nofTexelPars
             << " parameters in " << seconds << " s: error " << std::setprecision(9) << at.error
             << ", " << at.kept << " changed, " << static_cast<u64>(positions / seconds)
             << " positions/s";
        const bool isWholePass = at.parameter == nofTexelPars;
        if (isWholePass && (!at.kept || at.pass == order.passes)) return line.str();

        const i32 lastPass =
            order.passes < NOLIMIT ? order.passes : at.pass + (isWholePass ? 1 : 0);
        const double parametersLeft = (lastPass - at.pass + 1.0) * nofTexelPars - at.parameter;
        const double secondsLeft = seconds * parametersLeft / (at.parameter - beginning.parameter);
        const std::time_t end = std::time(nullptr) + static_cast<std::time_t>(secondsLeft);
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the workers do not ask for the time
        const std::tm* const clock = std::localtime(&end);
        line << "; pass " << lastPass << " ends about "
             << std::put_time(clock, "%Y-%m-%d %H:%M:%S");
        return line.str();
    }

    const texelOrderStruct& order;
    texelPointStruct beginning;
    i64 beginTime = now();
    u64 beginErrors = theTexelWorkForce.nofErrors;
    i64 lastNote = beginTime;
};

constexpr const char* optionList =
    "texel [--workers N] [--passes N] [--fitk] [--state FILE] [--resume] [TABLE ...]";

/// Reads the words after `texel`. Returns false, with a message, if they can't be understood.
bool readOrder(std::istream& words, texelOrderStruct& order)
{
    texelSelection.clear();
    for (std::string word; words >> word;)
    {
        bool isGood = true;
        if (word == "--workers")
            isGood = words >> order.workers && order.workers > 0;
        else if (word == "--passes")
            isGood = words >> order.passes && order.passes >= 0;
        else if (word == "--state")
            isGood = static_cast<bool>(words >> order.stateFile);
        else if (word == "--fitk")
            order.fitsK = true;
        else if (word == "--resume")
            order.resumes = true;
        else if (word[0] == '-')
            isGood = false;
        else
            texelSelection.push_back(word);
        if (isGood) continue;
        writeLine("Can't understand " + word + ". The command is: " + optionList);
        return false;
    }
    if (order.fitsK && order.resumes)
    {
        writeLine("--resume takes K from the state, so leave out --fitk");
        return false;
    }
    for (const std::string& name : texelSelection)
        if (std::none_of(std::begin(evalTables), std::end(evalTables),
                         [&](const evalTable& table) { return isTableName(table.name, name); }))
        {
            writeLine("No table is named " + name);
            return false;
        }
    return true;
}

/// Begins the state of a run: reads an old one, or keeps it under another name and saves a first
/// one, because a run of days should find out at once whether it can write. Returns false, with a
/// message, if it can't.
bool openState(const texelOrderStruct& order, texelPointStruct& at)
{
    if (order.resumes && !resumeState(order.stateFile, at))
    {
        writeLine("Can't go on from " + order.stateFile +
                  ": it can't be read, or other tables were "
                  "tuned there. Name the same tables, or start anew without --resume.");
        return false;
    }
    const double error = theTexelWorkForce.calcTexelError();
    if (order.resumes)
    {
        if (at.error != error)
            writeLine("The error isn't the saved one, so this run has other positions or another "
                      "number of workers. It goes on with them.");
        return true;
    }
    at.error = error;
    double isSaved = 1.0;
    if (theTexelGroup->rank() == 0)
    {
        std::error_code ignored; // there may be none
        std::filesystem::rename(order.stateFile, order.stateFile + ".old", ignored);
        isSaved = saveState(order.stateFile, at) ? 1.0 : 0.0;
    }
    if (theTexelGroup->gather({isSaved})[0] != 0.0) return true;
    writeLine("Can't write " + order.stateFile + ", so the run would be lost if it stopped");
    return false;
}

} // namespace

bool tuneTexel(std::istream& words, i32 workers)
{
    texelOrderStruct order;
    order.workers = workers;
    if (!readOrder(words, order) || !startTexel(order.workers)) return false;
    if (theTexelWorkForce.nofPositions == 0.0)
    {
        writeLine("There is no position in the training file");
        return false;
    }
    if (order.fitsK) K = calcOptimalK();
    writeLine("Starting texel tuning....");
    setTexelParameters();
    texelPointStruct at;
    if (!openState(order, at)) return false;
    printTexelParameters();
    texelDiary diary(order, at);
    descend(at, order.passes, [&](const texelPointStruct& point) { diary.note(point); });
    printTexelParameters();
    return true;
}

void fitTexelK()
{
    if (startTexel(NOFTEXELTHREADS)) K = calcOptimalK();
}

#endif
