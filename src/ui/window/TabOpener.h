#pragma once

#include "ui/window/FileExistence.h"

#include <QList>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <vector>

namespace korvane {

class DocumentTab;

/// Opens the files of tabs that are not in front: those of the last session one after the other, so that the
/// windows stay responsive, and missing ones as soon as they exist. Polls for files in the background. Main
/// thread.
class TabOpener {
public:
    /// `open` opens the file of a tab, or makes it a waiting tab.
    explicit TabOpener(std::function<void(DocumentTab&)> open);

    /// Opens the unread tabs whose files exist; the others become waiting tabs.
    void openInBackground(const std::vector<DocumentTab*>& tabs);
    /// Opens a waiting tab as soon as its file exists, until the tab is closed.
    void watch(DocumentTab& tab);

private:
    using Tabs = QList<QPointer<DocumentTab>>;

    void openNext();
    void lookForWaiting();

    const std::function<void(DocumentTab&)> open_;
    FileExistence restored_;
    FileExistence awaited_;
    Tabs toOpen_;
    Tabs waiting_;
    QTimer turn_;
    QTimer poll_;
};

} // namespace korvane
