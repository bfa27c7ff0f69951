#pragma once

#include <atomic>

namespace korvane::test {

/// Blocks every thread that passes while it is shut.
class Gate {
public:
    void shut() { isOpen_ = false; }
    void open() {
        isOpen_ = true;
        isOpen_.notify_all();
    }
    void pass() {
        ++waiting_;
        isOpen_.wait(false);
        --waiting_;
    }
    int waiting() const { return waiting_; }

private:
    std::atomic<bool> isOpen_{true};
    std::atomic<int> waiting_{0};
};

} // namespace korvane::test
