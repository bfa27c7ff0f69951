#pragma once

#include "bookmarks/LineMarksModel.h"
#include "foundation/notices/Notice.h"

#include <QUrl>
#include <QWidget>

class QLabel;
class QLineEdit;
class QSortFilterProxyModel;
class QToolButton;
class QTreeView;

namespace korvane {

/// The sidebar's list of the marked lines of one file: search, go there, delete. Main thread.
class LineMarksViewController : public QWidget {
    Q_OBJECT

public:
    explicit LineMarksViewController(QWidget* parent = nullptr);

    /// An empty URL empties the list.
    void setFile(const QUrl& url);

    bool isSelected() const;

Q_SIGNALS:
    /// The user requested a line of the file, by its one-based number.
    void lineMarksJumpToLine(qint64 lineNumber);

private:
    void layOut();
    void connectParts();
    void reload();
    void showWhatThereIs();
    QString selectedTexts() const;
    void handleDoubleAction();
    void deleteSelected();

    LineMarksModel lineMarks_;
    QSortFilterProxyModel* arrayController_;
    QLineEdit* search_;
    QTreeView* tableView_;
    QLabel* emptyViewMsg_;
    QToolButton* delete_;
    Subscription marksSubscription_;
};

} // namespace korvane
