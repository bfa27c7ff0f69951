#pragma once

#include "ui/logtable/RowPlaces.h"

#include <QObject>

#include <functional>

class QPushButton;

namespace korvane {

class LogTableView;

/// Keeps the view of a growing file at its end while the user stands there. Scrolling up pauses that, and a
/// mark over the view then counts what arrives and leads back to the end. Main thread.
class EndFollower : public QObject {
    Q_OBJECT

public:
    /// `table` must outlive the follower.
    explicit EndFollower(LogTableView& table, QObject* parent = nullptr);

    /// Rows are added or get their text in `change`. While `follows`, a view at its end is there again
    /// afterwards.
    void whileRowsChange(bool follows, const std::function<void()>& change);
    /// What has been read so far is nothing new.
    void forgetNewLines();
    /// Everything that is there has been read. Who sees all of it stands at the end.
    void everythingRead();
    /// The file holds another content: all its lines are new, but for the first `seenRows`.
    void otherContent(qint64 seenRows);
    void goToEnd();

    bool isAtEnd() const { return isAtEnd_; }
    /// Lines that have arrived behind the end that was last seen.
    qint64 newLines() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void noteUserScroll();
    void showMark();

    LogTableView& table_;
    QPushButton* mark_;
    bool isAtEnd_ = false;
    /// Of the top, when it was last looked at.
    RowPlace place_;
    bool isChangingRows_ = false;
    qint64 seenRows_ = 0;
};

} // namespace korvane
