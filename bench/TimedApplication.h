#pragma once

#include <QApplication>
#include <QEvent>

#include <chrono>
#include <functional>

namespace korvane::bench {

using Clock = std::chrono::steady_clock;

inline double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

inline double millisecondsSince(Clock::time_point start) {
    return milliseconds(Clock::now() - start);
}

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
        const auto start = Clock::now();
        const bool handled = QApplication::notify(receiver, event);
        const double took = millisecondsSince(start);
        --depth_;
        ++events;
        if (took > longest) {
            longest = took;
            longestType = type;
        }
        return handled;
    }

    double longest = 0;
    int longestType = 0;
    long events = 0;
    /// Called after each painting of this widget, which happens inside another event.
    const QObject* painted = nullptr;
    std::function<void()> didPaint;

private:
    int depth_ = 0;
};

} // namespace korvane::bench
