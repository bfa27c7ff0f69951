#pragma once

#include "foundation/work/Operation.h"
#include "foundation/work/Task.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace korvane {

/// Runs operations in the order in which they were added, on its own threads.
///
/// Threads start when there is work and end when there is none, so an idle queue costs nothing. Destroying a
/// queue cancels its operations and returns at once: running ones end in the background, waiting ones only
/// run their completion. Any thread.
class OperationQueue {
public:
    /// Lets the system choose the number of operations that run at once.
    static constexpr int defaultConcurrency = -1;

    /// Background work gives way to work that the user waits for.
    enum class Priority { Normal, Background };

    explicit OperationQueue(std::string name, int maximumConcurrent = defaultConcurrency,
                            Priority priority = Priority::Normal);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    const std::string& name() const;
    int maximumConcurrent() const;

    void addOperation(std::shared_ptr<Operation> operation);

    /// Runs `work` as an operation: queue.run(work).then(owner, handler). It is called with a stop token, or
    /// without arguments, and may be copied. An exception of a library ends it: a `Result` becomes an error
    /// with its text; any other result is not delivered, and the exception is logged.
    template <typename Work>
    auto run(Work work) {
        using Token = std::stop_token;
        if constexpr (!std::is_invocable_v<Work&, Token>)
            return run([work = std::move(work)](const Token&) mutable { return work(); });
        else if constexpr (std::is_void_v<std::invoke_result_t<Work&, Token>>)
            return Task<void>(addTask<std::monostate>([work = std::move(work)](const Token& stop) mutable {
                work(stop);
                return std::monostate();
            }));
        else
            return Task<std::invoke_result_t<Work&, Token>>(
                addTask<std::invoke_result_t<Work&, Token>>(std::move(work)));
    }

    /// The running and the waiting operations, oldest first.
    std::vector<std::shared_ptr<Operation>> operations() const;
    bool isEmpty() const { return operations().empty(); }

    void cancelAllOperations();

    /// Blocks until no operation waits or runs. Never on the main thread of the running program.
    void waitUntilAllFinished() const;

    /// Waits until no worker of any queue is left, at most for `limit`. Called once at the end of the
    /// program. Returns whether all have ended.
    static bool waitForAllWorkers(std::chrono::milliseconds limit);

private:
    struct State;

    template <typename T>
    std::shared_ptr<TaskOperation<T>> addTask(std::function<T(std::stop_token)> work) {
        auto operation = std::make_shared<TaskOperation<T>>(std::move(work));
        addOperation(operation);
        return operation;
    }
    static void work(const std::shared_ptr<State>& state);

    const std::shared_ptr<State> state_;
};

} // namespace korvane
