#pragma once

#include "bookmarks/BookmarkOutlineViewDataSource.h"
#include "foundation/notices/NotificationCenter.h"

#include <QUrl>
#include <QWidget>

#include <vector>

class QToolButton;
class QTreeView;

namespace korvane {

class AppDocumentController;

/// The sidebar's outline of the bookmarks. Main thread.
class BookmarksOutlineViewController : public QWidget {
    Q_OBJECT

public:
    /// Both must outlive the controller.
    BookmarksOutlineViewController(AppDocumentController& documents, AlertPresenter& alerts,
                                   QWidget* parent = nullptr);

    /// The file that can be bookmarked; empty for none.
    void setFile(const QUrl& url);
    void addBookmark(const QUrl& url);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::shared_ptr<BookmarkEntry> selectedBookmark() const;
    void openBookmark();
    void removeBookmark();
    void remove(const std::shared_ptr<BookmarkEntry>& entry);
    void handleBookmarksUpdated();
    void postBookmarksUpdated();
    void updateButtons();

    AppDocumentController& documents_;
    AlertPresenter& alerts_;
    BookmarkOutlineViewDataSource dataSource_;
    QAbstractItemModel* shown_;
    QTreeView* outline_;
    QToolButton* add_;
    QToolButton* remove_;
    QUrl file_;
    std::vector<NotificationToken> tokens_;
};

} // namespace korvane
