#pragma once

#include "ui/logtable/RowPlaces.h"

#include <QObject>

#include <functional>

class QPushButton;

namespace korvane {

class LogTableView;

/// Keeps the view of a growing file at its end until the user scrolls up. A mark over the view then counts
/// new lines and leads back to the end. Main thread.
class EndFollower : public QObject {
    Q_OBJECT

public:
    /// `table` must outlive the follower.
    explicit EndFollower(LogTableView& table, QObject* parent = nullptr);

    /// Runs `change`, in which rows are added or get their text. If `follows`, a view that was at its end is
    /// scrolled there again afterwards.
    void whileRowsChange(bool follows, const std::function<void()>& change);
    /// Counts no line known so far as new.
    void forgetNewLines();
    /// The whole file has been read. A view that shows all of it counts as being at the end.
    void everythingRead();
    /// The file has a new generation: all its lines are new, except the first `seenRows`.
    void otherContent(qint64 seenRows);
    void goToEnd();

    bool isAtEnd() const { return isAtEnd_; }
    /// Lines appended after the end that was last shown.
    qint64 newLines() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void noteUserScroll();
    void showMark();

    LogTableView& table_;
    QPushButton* mark_;
    bool isAtEnd_ = false;
    /// Top of the view at the last check.
    RowPlace place_;
    bool isChangingRows_ = false;
    qint64 seenRows_ = 0;
};

} // namespace korvane
