#pragma once

#include "foundation/notices/Notice.h"

#include <QStringList>

#include <functional>

namespace korvane {

class AppDocumentController;

/// Reports faults of the stores (rules, bookmarks, hosts, preferences), each once. Main thread.
class StoreFaults {
public:
    /// Returns false when there is no window to show the faults in; they are reported later.
    using Tell = std::function<bool(const QString& faults)>;

    /// Loads the stores. They are looked at after each of their changes, and after a document has been
    /// loaded.
    StoreFaults(AppDocumentController& documents, Tell tell);
    StoreFaults(const StoreFaults&) = delete;
    StoreFaults& operator=(const StoreFaults&) = delete;

private:
    void look();

    const Tell tell_;
    /// Faults already reported.
    QStringList told_;
    Subscriptions subscriptions_;
};

} // namespace korvane
