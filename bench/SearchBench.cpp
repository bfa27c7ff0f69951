#include "SearchBench.h"

#include "core/TailDataSourceProtocol.h"
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
class SearchedRows : public TailDataSourceProtocol {
public:
    explicit SearchedRows(std::shared_ptr<LogFileReaderProtocol> reader) : reader_(std::move(reader)) {}

    qint64 rowCount() const override { return reader_->lineCount(); }
    qint64 numberOfRows() const override { return reader_->lineCount(); }
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override {
        return reader_->findNextMatch(firstRow, lastRow, item, isCancelled);
    }

    DefaultFilterLineAction defaultLineAction() const override { return DefaultFilterLineAction::show; }
    void setDefaultLineAction(DefaultFilterLineAction) override {}
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const override { return nullptr; }
    qint64 rowStart() const override { return 0; }
    QString quickHighlightSelectionString() const override { return {}; }
    void setQuickHighlightSelectionString(const QString&) override {}
    bool quickHighlightEnabled() const override { return false; }
    void setQuickHighlightEnabled(bool) override {}
    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return results_; }
    void setLastSearchResults(std::map<qint64, SearchMatch>) override {}
    void addSearchResult(const SearchMatch&) override {}
    std::shared_ptr<DocumentProtocol> getDocument() const override { return nullptr; }
    void reset() override {}
    void clearView() override {}
    void clearCache() override {}
    void invalidateRows() override {}
    void linesChanged(qint64) override {}
    RowLine rowLine(qint64) override { return {}; }
    std::optional<RowLine> cachedRowLine(qint64) const override { return std::nullopt; }
    bool hasLineMark(qint64) const override { return false; }
    void loadPage(qint64, bool) override {}
    void dropRequestsOutside(qint64, qint64) override {}
    bool hasInvalidLines() const override { return false; }

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
    const auto rows = std::make_shared<SearchedRows>(reader);
    SearchController::SearchOperation operation(rows, QString::fromUtf8(text), 0, rows->numberOfRows() - 1);
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
