#pragma once

#include "core/TailDataSourceProtocol.h"
#include "support/FakeDocument.h"

#include <atomic>

namespace korvane::test {

/// No rows; a document with an address, and a default action.
class FakeTailDataSource : public TailDataSourceProtocol {
public:
    void closeDocument() { document_.reset(); }

    DefaultFilterLineAction defaultLineAction() const override { return action_; }
    void setDefaultLineAction(DefaultFilterLineAction action) override { action_ = action; }
    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }

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
    std::map<qint64, SearchMatch> results_;
    std::atomic<DefaultFilterLineAction> action_{DefaultFilterLineAction::show};
    std::shared_ptr<DocumentProtocol> document_ = std::make_shared<FakeDocument>(nullptr);
};

} // namespace korvane::test
