// SPDX-License-Identifier: MIT
//
// The transposition table. Of each 64-byte line only the 16 bytes in use are kept here. The block
// comes zeroed from the system page by page, so that clearing costs what the search has touched.
#include "table.h"

#include <new>

namespace oracle
{

namespace
{

constexpr std::uint64_t withoutAge = 0x03ffffffffffffffu;
constexpr std::size_t probes = 4;
constexpr int mateBound = 31872;

bool holds(std::uint64_t check, std::uint64_t data, std::uint64_t key)
{
    return check == ((data & withoutAge) ^ key);
}

int depthOf(std::uint64_t data)
{
    return static_cast<std::int8_t>(data >> 48);
}

unsigned boundOf(std::uint64_t data)
{
    return static_cast<unsigned>(data >> 56) & 3u;
}

unsigned ageOf(std::uint64_t data)
{
    return static_cast<unsigned>(data >> 58);
}

} // namespace

void Table::resize(int megabytes)
{
    homeLines = 16384;
    for (std::size_t size = 1; size < static_cast<std::size_t>(megabytes); size *= 2)
        homeLines *= 2;
    clear();
}

void Table::clear()
{
    lines.reset();
    lines.reset(static_cast<Line*>(std::calloc(homeLines + probes - 1, sizeof(Line))));
    if (!lines) throw std::bad_alloc();
    searches = 0;
    replacements = 0;
}

void Table::startSearch()
{
    age = searches & 63u;
    ++searches;
}

Table::Line& Table::line(std::uint64_t key, std::size_t probe)
{
    return lines.get()[(key & (homeLines - 1)) + probe];
}

int Table::keepValue(const Line& entry) const
{
    const int searchesAgo = static_cast<int>((age - ageOf(entry.data)) & 63u);
    return depthOf(entry.data) + (boundOf(entry.data) == exactBound ? 1 : 0) - 4 * searchesAgo;
}

Entry Table::get(std::uint64_t key)
{
    for (std::size_t probe = 0; probe < probes; ++probe)
    {
        Line& entry = line(key, probe);
        if (!holds(entry.check, entry.data, key)) continue;
        entry.data = (entry.data & withoutAge) | static_cast<std::uint64_t>(age) << 58;
        return {moveOf(static_cast<std::uint32_t>(entry.data)),
                static_cast<std::int16_t>(entry.data >> 32), depthOf(entry.data),
                static_cast<Bound>(boundOf(entry.data))};
    }
    return {};
}

void Table::put(std::uint64_t key, const Move& move, int score, int depth, Bound bound, int ply)
{
    if (score >= mateBound)
        score += ply;
    else if (score <= -mateBound)
        score -= ply;

    Line* target = nullptr;
    for (std::size_t probe = 0; probe < probes && target == nullptr; ++probe)
    {
        Line& entry = line(key, probe);
        if (entry.check == 0 || holds(entry.check, entry.data, key)) target = &entry;
    }
    if (target == nullptr)
    {
        ++replacements;
        target = &line(key, 0);
        for (std::size_t probe = 1; probe < probes; ++probe)
            if (keepValue(line(key, probe)) < keepValue(*target)) target = &line(key, probe);
    }

    const std::uint64_t data =
        wordOf(move) | static_cast<std::uint64_t>(static_cast<std::uint16_t>(score)) << 32 |
        static_cast<std::uint64_t>(static_cast<std::uint8_t>(depth)) << 48 |
        static_cast<std::uint64_t>(bound) << 56 | static_cast<std::uint64_t>(age) << 58;
    target->check = (data & withoutAge) ^ key;
    target->data = data;
}

} // namespace oracle
