#pragma once

#include "ui/window/FileExistence.h"

#include <QList>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <vector>

namespace korvane {

class DocumentTab;

/// Opens the files of tabs that are not in front: those of the last time one after the other, so that the
/// windows stay responsive, and those that do not exist as soon as they do. Files are looked for in the
/// background. Main thread.
class TabOpener {
public:
    /// `open` opens the file of a tab, or makes the tab a waiting one.
    explicit TabOpener(std::function<void(DocumentTab&)> open);

    /// Opens unread tabs, those whose file exists; the others wait.
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
