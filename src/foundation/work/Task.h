#pragma once

#include "foundation/Result.h"
#include "foundation/work/Operation.h"

#include <QtGlobal>

#include <exception>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <variant>

namespace korvane {

/// The operation behind a task; see `OperationQueue::run`.
template <typename T>
class TaskOperation final : public Operation {
public:
    explicit TaskOperation(std::function<T(std::stop_token)> work) : work_(std::move(work)) {}

    void cancel() override {
        Operation::cancel();
        stop_.request_stop();
    }

    template <typename Owner, typename Handler>
    void deliverTo(Owner owner, Handler handler) {
        then(std::move(owner), [this, handler = std::move(handler)]() mutable {
            if (result_)
                handler(*std::exchange(result_, std::nullopt));
        });
    }

protected:
    void main() override {
        try {
            result_.emplace(work_(stop_.get_token()));
        } catch (const std::exception& fault) {
            if constexpr (std::is_constructible_v<T, Error>)
                result_.emplace(Error{0, QStringLiteral("std"), QString::fromLocal8Bit(fault.what())});
            else
                qWarning("Background work was given up: %s", fault.what());
        }
        // Objects captured by the work are released on the worker.
        work_ = nullptr;
    }

private:
    std::function<T(std::stop_token)> work_;
    std::stop_source stop_;
    std::optional<T> result_;
};

/// Handle of work on a queue that delivers its result to the main thread. Copies refer to the same work,
/// which continues when the last one is destroyed. Any thread.
template <typename T>
class Task {
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

public:
    /// Refers to no work.
    Task() = default;
    explicit Task(std::shared_ptr<TaskOperation<Value>> operation) : operation_(std::move(operation)) {}

    /// Calls `handler` with the result on the main thread, unless `owner` (a weak or a guarded pointer) no
    /// longer exists or the task was cancelled. Once per task. The handler is also destroyed there.
    template <typename Owner, typename Handler>
    Task then(Owner owner, Handler handler) const {
        if constexpr (std::is_void_v<T>)
            operation_->deliverTo(std::move(owner),
                                  [handler = std::move(handler)](Value) mutable { handler(); });
        else
            operation_->deliverTo(std::move(owner), std::move(handler));
        return *this;
    }

    /// Requests the work to stop. No handler is called after this has returned on the main thread.
    void cancel() const {
        if (operation_)
            operation_->cancel();
    }
    bool isUnderWay() const { return operation_ && !operation_->isFinished(); }

private:
    std::shared_ptr<TaskOperation<Value>> operation_;
};

} // namespace korvane
