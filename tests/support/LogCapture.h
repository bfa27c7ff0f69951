#pragma once

#include <QStringList>
#include <QtGlobal>

#include <mutex>

namespace korvane::test {

/// Collects the system log while it lives.
class LogCapture {
public:
    LogCapture() {
        texts_.clear();
        previous_ = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            const std::lock_guard guard(mutex_);
            texts_.append(text);
        });
    }
    ~LogCapture() { qInstallMessageHandler(previous_); }
    QStringList lines() const {
        const std::lock_guard guard(mutex_);
        return texts_;
    }

private:
    inline static std::mutex mutex_;
    inline static QStringList texts_; // guarded by mutex_
    QtMessageHandler previous_;
};

} // namespace korvane::test
