#pragma once

#include "bookmarks/LineMarkEntry.h"
#include "foundation/work/OperationQueue.h"

#include <QObject>

#include <memory>
#include <vector>

namespace korvane {

class Document;
class LogTableView;
class TailDataSourceProtocol;

/// Sets and removes the marks of one file's lines, and lists them. Main thread.
class LineMarker : public QObject {
    Q_OBJECT

public:
    /// `table` must outlive it.
    LineMarker(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
               const LogTableView& table, QObject* parent = nullptr);
    ~LineMarker() override;

    /// Sets or removes all marks at once. `rows`: ascending. Texts that are not in memory are read in the
    /// background first.
    void setMarks(const std::vector<qint64>& rows, bool marked);
    /// Go to the nearest marked line after or before the current one, wrapping at the ends.
    void goToNext();
    void goToPrevious();

Q_SIGNALS:
    void marksChanged();
    /// One-based.
    void lineChosen(qint64 lineNumber);

private:
    /// One-based line numbers of the marks in the view, ascending.
    std::vector<qint64> markedLines() const;
    qint64 currentLine() const;
    /// Skips lines that are marked already.
    void add(LineMarkEntries marks);

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    const LogTableView& table_;
    OperationQueue readQueue_{"Line mark queue", 1};
};

} // namespace korvane
