#pragma once

#include "bookmarks/LineMarkEntry.h"
#include "foundation/work/OperationQueue.h"

#include <QObject>

#include <memory>
#include <vector>

namespace korvane {

class Document;
class TailDataSourceProtocol;

/// Sets and takes away the marks of one file's lines, and tells where they are. Main thread.
class LineMarker : public QObject {
    Q_OBJECT

public:
    LineMarker(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
               QObject* parent = nullptr);
    ~LineMarker() override;

    /// The line numbers of marks, one-based and ascending: those in the view, which has so many rows.
    std::vector<qint64> markedLines(qint64 rowCount) const;
    /// `rows`: ascending. All of them at once; texts that are not known yet are read in the background first.
    void setMarks(const std::vector<qint64>& rows, bool marked);

Q_SIGNALS:
    void marksChanged();

private:
    /// Leaves out what is marked already.
    void add(LineMarkEntries marks);

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    OperationQueue readQueue_{"Line mark queue", 1};
};

} // namespace korvane
