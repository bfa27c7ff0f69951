#include "FilterBench.h"

#include "core/DerivedLineSet.h"
#include "core/reader/LogReader.h"
#include "filtering/LineSetScan.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <poll.h>
#include <random>
#include <string_view>
#include <vector>

namespace korvane::bench {

int filter(const char* path, const char* kind, int count, char** searches) {
    const std::shared_ptr<LogFileReaderProtocol> reader = LogReader::create(fileUrlFromPath(path));
    reader->refresh();
    reader->readRows(1, 1, RowLength::Shown);
    std::vector<SearchItem> items;
    items.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        items.emplace_back(QString::fromUtf8(searches[i]));
        items.back().setRegex(std::string_view(kind) == "pattern");
    }
    LineSetScan::Sets sets;
    bool isComplete = false;
    const auto start = std::chrono::steady_clock::now();
    LineSetScan scan(reader, items, [&](const LineSetScan::Sets& published) {
        sets = published;
        isComplete = sets.isComplete();
    });
    scan.linesChanged(0, reader->lineCount());
    while (!isComplete) {
        pollfd wake{MainThread::shared().wakeDescriptor(), POLLIN, 0};
        ::poll(&wake, 1, -1);
        MainThread::shared().runPending();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    DerivedLineSet any([](std::span<const DerivedLineSet::Window> inputs) {
        std::uint64_t lines = 0;
        for (const DerivedLineSet::Window& input : inputs)
            lines |= input.lines;
        return lines;
    });
    std::vector<LineSet> inputs;
    inputs.reserve(sets.items.size());
    for (const LineSetScan::Item& item : sets.items)
        inputs.push_back(item.lines);
    std::printf("%.6f %lld\n", took.count(),
                static_cast<long long>(any.update(inputs, reader->lineCount()).size()));
    return EXIT_SUCCESS;
}

int lineSet(double density) {
    constexpr qint64 lineCount = 100'000'000;
    constexpr qint64 linesAtOnce = 10'000;
    std::mt19937_64 random(1);
    std::geometric_distribution<qint64> distance(density);
    const auto heap = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    std::vector<qint64> lines;
    lines.reserve(linesAtOnce);
    const std::size_t before = heap();
    LineSetWriter writer;
    LineSet set;
    qint64 next = distance(random);
    for (qint64 first = 0; first < lineCount; first += linesAtOnce) {
        lines.clear();
        for (; next < first + linesAtOnce; next += 1 + distance(random))
            lines.push_back(next);
        writer.assign({first, linesAtOnce}, lines);
        if (first / linesAtOnce % 20 == 19)
            set = writer.set();
    }
    std::printf("%.6f %lld\n", static_cast<double>(heap() - before) / static_cast<double>(set.size()),
                static_cast<long long>(set.size()));
    return EXIT_SUCCESS;
}

} // namespace korvane::bench
