#pragma once

#include "core/TailDataSourceProtocol.h"

#include <functional>
#include <set>

namespace korvane::test {

/// Rows made on the spot: as many as wanted, any text, loaded or not.
class FakeDataSource : public TailDataSourceProtocol {
public:
    explicit FakeDataSource(qint64 rows, std::function<QString(qint64)> text = {})
        : rows_(rows), text_(std::move(text)) {}

    std::set<qint64> unloaded;
    std::set<qint64> hidden;
    std::set<qint64> marked;
    std::vector<qint64> asked;

    void setRows(qint64 rows) { rows_ = rows; }

    DefaultFilterLineAction defaultLineAction() const override { return DefaultFilterLineAction::show; }
    void setDefaultLineAction(DefaultFilterLineAction) override {}
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const override { return nullptr; }
    qint64 rowStart() const override { return 0; }
    QString quickHighlightSelectionString() const override { return quickHighlight_; }
    void setQuickHighlightSelectionString(const QString& text) override { quickHighlight_ = text; }
    bool quickHighlightEnabled() const override { return true; }
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
    qint64 rowCount() const override { return rows_; }
    qint64 numberOfRows() const override { return rows_; }
    RowLine rowLine(qint64 row) override {
        asked.push_back(row);
        return cachedRowLine(row).value_or(RowLine{row + 1, {}, false, 0});
    }
    std::optional<RowLine> cachedRowLine(qint64 row) const override {
        if (unloaded.contains(row))
            return std::nullopt;
        const QString text = text_ ? text_(row) : QStringLiteral("line %1").arg(row + 1);
        return RowLine{row + 1, AttributedString(text), true, 0, {.hideLine = hidden.contains(row)}};
    }
    bool hasLineMark(qint64 row) const override { return marked.contains(row); }
    void loadPage(qint64, bool) override {}
    void dropRequestsOutside(qint64, qint64) override {}
    bool hasInvalidLines() const override { return false; }

private:
    qint64 rows_;
    std::function<QString(qint64)> text_;
    QString quickHighlight_;
    std::map<qint64, SearchMatch> results_;
};

} // namespace korvane::test
