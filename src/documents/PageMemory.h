#pragma once

#include "core/Preferences.h"
#include "foundation/work/OperationQueue.h"

#include <cstddef>
#include <mutex>
#include <vector>

namespace korvane {

class PageStore;

/// Keeps the rows of all open files together under the bound that the user has set: gives up pages of files
/// that nobody looks at first, then those farthest from the rows on the screen, which always stay. A bound
/// that is lowered holds at once. Any thread.
class PageMemory {
public:
    static PageMemory& shared();
    /// Has all threads allocate from one heap: rows are allocated on many workers and freed on others, and
    /// with a heap of its own for each worker the process would hold a multiple of the bound. To be called
    /// first in `main`: it has no effect once there is a second thread.
    static void useOneHeap();

    /// A store registers itself for as long as it lives.
    void add(PageStore& store);
    void remove(PageStore& store);

    /// Gives up pages until the rest is within the bound, or only what is looked at is left.
    void keepBound();
    /// What all rows take, in bytes.
    std::size_t bytes();

private:
    PageMemory();
    std::size_t bytesHeld() const;
    /// False when nothing has to go, or nothing may.
    bool dropOne(std::size_t bound);

    OperationQueue queue_;
    std::mutex mutex_;
    // Guarded by mutex_, which comes before the stores' own locks.
    std::vector<PageStore*> stores_;
    UserDefaults::Token preferencesToken_; // while there are stores
};

} // namespace korvane
