#pragma once

#include "core/DataSourceRoles.h"

#include <functional>
#include <set>

namespace korvane::test {

/// Generated rows: any number, any text, loaded or not.
class FakeDataSource : public TableRows {
public:
    explicit FakeDataSource(qint64 rows, std::function<QString(qint64)> text = {})
        : rows_(rows), text_(std::move(text)) {}

    std::set<qint64> unloaded;
    std::set<qint64> hidden;
    std::set<qint64> marked;
    std::vector<qint64> asked;

    void setRows(qint64 rows) { rows_ = rows; }

    qint64 rowStart() const override { return 0; }
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

private:
    qint64 rows_;
    std::function<QString(qint64)> text_;
};

} // namespace korvane::test
