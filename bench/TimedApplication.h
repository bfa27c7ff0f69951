#pragma once

#include "Timing.h"

#include <QApplication>
#include <QEvent>

#include <fstream>
#include <functional>

namespace korvane::bench {

/// Times of a thread in milliseconds: working, and waiting for a processor.
struct ThreadTimes {
    double working = 0;
    double waiting = 0;

    /// Of the calling thread.
    static ThreadTimes now() {
        constexpr double nanosecondsPerMillisecond = 1'000'000;
        std::ifstream file("/proc/thread-self/schedstat");
        ThreadTimes times;
        file >> times.working >> times.waiting;
        return {times.working / nanosecondsPerMillisecond, times.waiting / nanosecondsPerMillisecond};
    }
};

/// Times the handling of every event that the event loop delivers.
class TimedApplication : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override {
        const auto type = event->type();
        if (depth_ > 0) {
            const bool handled = QApplication::notify(receiver, event);
            if (type == QEvent::Paint && receiver == painted && didPaint)
                didPaint();
            return handled;
        }
        ++depth_;
        const ThreadTimes before = ThreadTimes::now();
        const auto start = Clock::now();
        const bool handled = QApplication::notify(receiver, event);
        const double took = millisecondsSince(start);
        --depth_;
        ++events;
        if (took > longest) {
            const ThreadTimes after = ThreadTimes::now();
            longest = took;
            longestType = type;
            longestTimes = {after.working - before.working, after.waiting - before.waiting};
        }
        return handled;
    }

    double longest = 0;
    int longestType = 0;
    /// Parts of `longest`; the remainder is waiting for anything else.
    ThreadTimes longestTimes;
    long events = 0;
    /// Called after each painting of this widget, which happens inside another event.
    const QObject* painted = nullptr;
    std::function<void()> didPaint;

private:
    int depth_ = 0;
};

} // namespace korvane::bench
