#pragma once

#include "bookmarks/LineMarkEntry.h"
#include "foundation/work/OperationQueue.h"

#include <QObject>

#include <memory>
#include <vector>

namespace korvane {

class Document;
class TailDataSourceProtocol;

/// Sets and removes the marks of one file's lines, and lists them. Main thread.
class LineMarker : public QObject {
    Q_OBJECT

public:
    LineMarker(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
               QObject* parent = nullptr);
    ~LineMarker() override;

    /// One-based line numbers of the marks in the view of `rowCount` rows, ascending.
    std::vector<qint64> markedLines(qint64 rowCount) const;
    /// Sets or removes all marks at once. `rows`: ascending. Texts that are not in memory are read in the
    /// background first.
    void setMarks(const std::vector<qint64>& rows, bool marked);

Q_SIGNALS:
    void marksChanged();

private:
    /// Skips lines that are marked already.
    void add(LineMarkEntries marks);

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    OperationQueue readQueue_{"Line mark queue", 1};
};

} // namespace korvane
