#pragma once

#include "core/TailDataSourceProtocol.h"

namespace korvane::test {

/// A data source without rows. Base of fakes.
class NoRows : public TailDataSourceProtocol {
public:
    DefaultFilterLineAction defaultLineAction() const override { return DefaultFilterLineAction::show; }
    void setDefaultLineAction(DefaultFilterLineAction) override {}
    std::shared_ptr<DocumentProtocol> getDocument() const override { return nullptr; }
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const override { return nullptr; }
    qint64 rowStart() const override { return 0; }
    QString quickHighlightSelectionString() const override { return {}; }
    void setQuickHighlightSelectionString(const QString&) override {}
    bool quickHighlightEnabled() const override { return false; }
    void setQuickHighlightEnabled(bool) override {}
    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return results_; }
    void setLastSearchResults(std::map<qint64, SearchMatch>) override {}
    void addSearchResult(const SearchMatch&) override {}
    void reset() override {}
    void clearView() override {}
    void clearCache() override {}
    void invalidateRows() override {}
    void linesChanged(qint64) override {}
    qint64 rowCount() const override { return 0; }
    qint64 numberOfRows() const override { return 0; }
    RowLine rowLine(qint64) override { return {}; }
    std::optional<RowLine> cachedRowLine(qint64) const override { return std::nullopt; }
    bool hasLineMark(qint64) const override { return false; }
    void loadPage(qint64, bool) override {}
    void dropRequestsOutside(qint64, qint64) override {}
    bool hasInvalidLines() const override { return false; }

private:
    const std::map<qint64, SearchMatch> results_;
};

} // namespace korvane::test
