#pragma once

#include "bookmarks/LineMarksModel.h"
#include "foundation/notices/NotificationCenter.h"

#include <QUrl>
#include <QWidget>

#include <vector>

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

    /// `logView`: the log view that shows the file, in whose name jumps and deletions are made known. Without
    /// a file the list is empty.
    void setFile(const QUrl& url, const void* logView);

    bool isSelected() const;

private:
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
    const void* logView_ = nullptr;
    std::vector<NotificationToken> tokens_;
};

} // namespace korvane
