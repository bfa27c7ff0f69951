#pragma once

#include "foundation/archive/UserDefaults.h"
#include "ui/logtable/LogTableView.h"

#include <QObject>

#include <memory>
#include <optional>

namespace korvane {

class Document;
class TailDataSourceProtocol;

/// How the log table of one document looks: font, colours, the width of its columns, wrapped lines and line
/// numbers. Follows the preferences and the zoom. Main thread.
class LogAppearance : public QObject {
    Q_OBJECT

public:
    /// `table` must outlive it.
    LogAppearance(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
                  LogTableView& table, QObject* parent = nullptr);

    bool wrappingLines() const { return wrappingLines_; }
    /// Also stored for the file, and used for it when it is opened again.
    void setWrappingLines(bool wrapping);
    bool showsLineNumbers() const { return !lineNumTableCol_; }
    void setShowsLineNumbers(bool shows);
    /// Fits the column of the numbers to the number of lines.
    void updateLineNumberColumn();
    /// While lines are wrapped, their column fills the rest of the table.
    void updateLineColumnWidth();

Q_SIGNALS:
    void wrappingChanged();
    void lineNumbersChanged();

private:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void preferenceChanged(const QString& key);
    void applyFont();
    void applyColors();

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    LogTableView& table_;
    bool wrappingLines_ = false;
    /// Kept while the column is not shown.
    std::optional<LogTableColumn> lineNumTableCol_;
    UserDefaults::Token preferencesToken_;
};

} // namespace korvane
