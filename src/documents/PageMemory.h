#pragma once

#include "core/Preferences.h"
#include "foundation/Mutex.h"
#include "foundation/work/OperationQueue.h"

#include <cstddef>
#include <vector>

namespace korvane {

class PageStore;

/// Keeps the memory of the rows of all open files under the limit that the user has set: drops pages of files
/// that are not shown first, then those farthest from the rows on the screen, which are never dropped. A
/// lowered limit is applied at once. Any thread.
class PageMemory {
public:
    static PageMemory& shared();
    /// Makes all threads allocate from one heap: rows are allocated on some workers and freed on others, and
    /// with one heap per worker the process would hold a multiple of the limit. Call first in `main`: it has
    /// no effect once there is a second thread.
    static void useOneHeap();

    /// A store registers itself for as long as it lives.
    void add(PageStore& store);
    void remove(PageStore& store);

    /// Drops pages until the rest is within the limit, or only pages in view are left.
    void keepBound();
    /// Memory of all rows, in bytes.
    std::size_t bytes();

private:
    PageMemory();
    std::size_t bytesHeld() const REQUIRES(mutex_);
    /// False when no page has to be dropped, or none may be.
    bool dropOne(std::size_t bound);

    OperationQueue queue_;
    /// Locked before the stores' own locks.
    Mutex mutex_;
    std::vector<PageStore*> stores_ GUARDED_BY(mutex_);
    UserDefaults::Token preferencesToken_ GUARDED_BY(mutex_); // set while there are stores
};

} // namespace korvane
