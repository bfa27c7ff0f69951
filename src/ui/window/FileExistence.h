#pragma once

#include "foundation/work/OperationQueue.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace korvane {

/// Finds out in the background which of some files are there: a network drive may take its time to answer.
/// Main thread.
class FileExistence {
public:
    FileExistence() : queue_("Look for files", 1) {}
    ~FileExistence() { queue_.cancelAllOperations(); }

    /// Reports the missing ones among the addresses, unless another call or the end of this object comes
    /// before. What is no file of this computer is never missing.
    void findMissing(const QStringList& urls, std::function<void(const QStringList& missing)> report);
    /// The last call has not been answered yet.
    bool isSearching() const { return search_.isUnderWay(); }

private:
    OperationQueue queue_;
    /// Of the last call.
    Task<QStringList> search_;
    std::shared_ptr<const bool> owner_;
};

} // namespace korvane
