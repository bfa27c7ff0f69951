#pragma once

#include "foundation/notices/Notice.h"
#include "ui/logtable/RowSelection.h"

#include <QObject>

#include <memory>
#include <optional>

namespace korvane {

class Document;
class EndFollower;
class LogTableView;
class TailDataSourceProtocol;

/// Where the view of a file is, and where it goes as soon as the lines are known: to a line that was asked
/// for while the file was being read, or back to its place after the file has been read again or a lost
/// server has returned. Main thread.
class ViewPlace : public QObject {
    Q_OBJECT

public:
    /// First line of the view, one-based, and whether the view is at the end of the file.
    struct Place {
        qint64 topLine = 1;
        bool isAtEnd = false;
    };

    /// `table` and `endFollower` must outlive it.
    ViewPlace(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
              LogTableView& table, EndFollower& endFollower, QObject* parent = nullptr);
    ~ViewPlace() override;

    Place place() const;
    /// Call before the document is reloaded: the view returns to its present place.
    void keepWhileReading();
    /// Scrolls there as soon as the place is known, without selecting anything.
    void restore(const Place& place);
    /// Goes to a one-based line as soon as it is known, at the latest when the first scan has ended.
    void goToLineWhenKnown(qint64 lineNumber);

    // For the view, which reports what happens to its rows.

    /// The data source has other rows, and the table still the old ones. `isOtherContent`: of a new file
    /// generation.
    void rowsWillChange(bool isOtherContent);
    /// The table has them now.
    void rowsHaveChanged();
    /// All lines are known now.
    void loadEnded();

Q_SIGNALS:
    /// A line that was asked for is known now.
    void lineKnown(qint64 lineNumber);
    /// The file has ended before the line that was asked for.
    void lineMissing(qint64 lineNumber);

private:
    void followPendingLine();
    void followPendingPlace();
    /// Saves place and selection, because a lost server empties the view while the file is followed; they are
    /// restored with the rows.
    void keepEmptiedView();
    void restoreEmptiedView();
    bool isCutOff() const;
    qint64 lineCount() const;

    const std::shared_ptr<Document> document_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    LogTableView& table_;
    EndFollower& endFollower_;
    std::optional<qint64> pendingLine_;
    std::optional<Place> pendingPlace_;
    /// The present rows are from before the reload under way: no place is looked up in them.
    bool hasOldRows_ = false;
    struct EmptiedView {
        Place place;
        RowSelection selection;
        qint64 currentRow = -1;
        qint64 rowCount = 0;
        /// The server was lost; otherwise the file itself was emptied.
        bool isCutOff = false;
    };
    std::optional<EmptiedView> emptiedView_;
    Subscription connectionSubscription_;
};

} // namespace korvane
