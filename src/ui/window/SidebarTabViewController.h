#pragma once

#include <QTabWidget>
#include <QUrl>

namespace korvane {

class AlertPresenter;
class AppDocumentController;
class BookmarksOutlineViewController;
class LineMarksViewController;

/// The sidebar of a window: bookmarks, and the marked lines of the file in front. Main thread.
class SidebarTabViewController : public QTabWidget {
    Q_OBJECT

public:
    SidebarTabViewController(AppDocumentController& documents, AlertPresenter& alerts,
                             QWidget* parent = nullptr);

    /// Sets the file in front; an empty URL for none.
    void setFile(const QUrl& url, bool canBeBookmarked);
    void addBookmark(const QUrl& url);

    QSize sizeHint() const override { return {260, 400}; }

Q_SIGNALS:
    /// The user requested a marked line of the file in front, by its one-based number.
    void lineRequested(qint64 lineNumber);

private:
    BookmarksOutlineViewController* bookmarks_;
    LineMarksViewController* lineMarks_;
};

} // namespace korvane
