#pragma once

#include "foundation/work/Operation.h"
#include "foundation/work/ScanPool.h"

#include <memory>
#include <string>
#include <vector>

namespace korvane {

/// Runs operations in the order in which they were added, one at a time, in steps on the threads of a pool,
/// which many queues share by priority.
///
/// Destroying a queue cancels its operations and returns at once. Any thread.
class ScanQueue {
public:
    /// `pool` must outlive the operations.
    ScanQueue(std::string name, ScanPool& pool, ScanPool::Priority priority);
    ~ScanQueue();
    ScanQueue(const ScanQueue&) = delete;
    ScanQueue& operator=(const ScanQueue&) = delete;

    const std::string& name() const;

    void addOperation(std::shared_ptr<Operation> operation);
    /// Also applies to the running operation, from its next step on.
    void setPriority(ScanPool::Priority priority);

    /// The running operation and those waiting, oldest first.
    std::vector<std::shared_ptr<Operation>> operations() const;
    bool isEmpty() const { return operations().empty(); }

    void cancelAllOperations();

private:
    struct State;

    const std::shared_ptr<State> state_;
};

} // namespace korvane
