#include "SearchBench.h"

#include "core/DataSourceRoles.h"
#include "core/reader/LogReader.h"
#include "foundation/FilePath.h"
#include "rules/SearchController.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace korvane::bench {
namespace {

/// Presents the lines of a reader as rows, only for searching.
class BenchRows : public SearchedRows {
public:
    explicit BenchRows(std::shared_ptr<LogFileReaderProtocol> reader) : reader_(std::move(reader)) {}

    qint64 rowStart() const override { return 0; }
    qint64 rowCount() const override { return reader_->lineCount(); }
    qint64 numberOfRows() const override { return reader_->lineCount(); }
    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return results_; }
    void setLastSearchResults(std::map<qint64, SearchMatch>) override {}
    void setShownSearch(const std::optional<SearchItem>&) override {}
    void addSearchResult(const SearchMatch&) override {}
    std::optional<SearchMatch> searchRow(qint64, const SearchItem&) override { return std::nullopt; }
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override {
        return reader_->findNextMatch(firstRow, lastRow, item, isCancelled);
    }

private:
    const std::shared_ptr<LogFileReaderProtocol> reader_;
    std::map<qint64, SearchMatch> results_;
};

/// A field of /proc/self/status, in KiB.
long statusKib(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":"))
            return std::strtol(line.c_str() + name.size() + 1, nullptr, 10);
    return 0;
}

} // namespace

int search(const char* path, const char* text) {
    const std::shared_ptr<LogFileReaderProtocol> reader = LogReader::create(fileUrlFromPath(path));
    reader->refresh();
    reader->readRows(1, 1, RowLength::Shown);
    const auto rows = std::make_shared<BenchRows>(reader);
    SearchController::SearchOperation operation(rows, SearchItem(QString::fromUtf8(text)), 0,
                                                rows->numberOfRows() - 1);
    std::ofstream("/proc/self/clear_refs") << "5"; // resets the peak (VmHWM)
    const long idle = statusKib("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    operation.runBody();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const auto row = operation.outcome() ? operation.outcome()->row : -1;
    std::printf("%.6f %lld %lld %.3f\n", took.count(), static_cast<long long>(row),
                static_cast<long long>(rows->numberOfRows()),
                static_cast<double>(statusKib("VmHWM") - idle) / 1024);
    return row >= 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace korvane::bench
