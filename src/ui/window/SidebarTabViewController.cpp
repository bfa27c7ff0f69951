#include "ui/window/SidebarTabViewController.h"

#include "ui/window/BookmarksOutlineViewController.h"
#include "ui/window/LineMarksViewController.h"

namespace korvane {

SidebarTabViewController::SidebarTabViewController(AppDocumentController& documents, AlertPresenter& alerts,
                                                   QWidget* parent)
    : QTabWidget(parent), bookmarks_(new BookmarksOutlineViewController(documents, alerts, this)),
      lineMarks_(new LineMarksViewController(this)) {
    setDocumentMode(true);
    addTab(bookmarks_, tr("Bookmarks"));
    addTab(lineMarks_, tr("Line Marks"));
    connect(lineMarks_, &LineMarksViewController::lineMarksJumpToLine, this,
            &SidebarTabViewController::lineRequested);
}

void SidebarTabViewController::setFile(const QUrl& url, bool canBeBookmarked) {
    bookmarks_->setFile(canBeBookmarked ? url : QUrl());
    lineMarks_->setFile(url);
}

void SidebarTabViewController::addBookmark(const QUrl& url) {
    setCurrentWidget(bookmarks_);
    bookmarks_->addBookmark(url);
}

} // namespace korvane
