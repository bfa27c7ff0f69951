#pragma once

#include "foundation/work/OperationQueue.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace korvane {

/// Checks in the background which of some files exist, since a network drive may answer slowly. Main thread.
class FileExistence {
public:
    FileExistence() : queue_("Look for files", 1) {}
    ~FileExistence() { queue_.cancelAllOperations(); }

    /// Reports the missing files among the addresses, unless another call or the end of this object comes
    /// first. Files on servers are never missing.
    void findMissing(const QStringList& urls, std::function<void(const QStringList& missing)> report);
    /// The last call has not reported yet.
    bool isSearching() const { return search_.isUnderWay(); }

private:
    OperationQueue queue_;
    /// The task of the last call.
    Task<QStringList> search_;
    std::shared_ptr<const bool> owner_;
};

} // namespace korvane
