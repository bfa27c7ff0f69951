#pragma once

#include "bookmarks/BookmarkOutlineViewDataSource.h"
#include "foundation/notices/Notice.h"

#include <QStringList>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>
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

    /// The file that can be bookmarked; an empty URL for none. Selects its bookmark, if it has one.
    void setFile(const QUrl& url);
    void addBookmark(const QUrl& url);

private:
    /// Invalid when the outline does not show the bookmark below `parent`.
    QModelIndex indexOf(const std::shared_ptr<BookmarkEntry>& entry, const QModelIndex& parent) const;
    void select(const std::shared_ptr<BookmarkEntry>& entry);
    void forEachNode(const QModelIndex& parent, const std::function<void(const QModelIndex&)>& action) const;
    /// Saves selection and collapsed nodes, to be restored when the tree has been rebuilt.
    void keepView();
    void restoreView();
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
    std::shared_ptr<BookmarkEntry> keptEntry_;
    int keptRow_ = -1;
    QStringList keptParent_;
    QList<QStringList> collapsed_;
    Subscriptions subscriptions_;
};

} // namespace korvane
