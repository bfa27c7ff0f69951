#pragma once

#include <QStringList>
#include <QtGlobal>

#include <mutex>

namespace korvane::test {

/// Collects the system log while it lives.
class LogCapture {
public:
    LogCapture() {
        texts().clear();
        previous_ = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            const std::lock_guard guard(mutex());
            texts().append(text);
        });
    }
    ~LogCapture() { qInstallMessageHandler(previous_); }
    QStringList lines() const {
        const std::lock_guard guard(mutex());
        return texts();
    }

private:
    static QStringList& texts() {
        static QStringList list;
        return list;
    }
    static std::mutex& mutex() {
        static std::mutex one;
        return one;
    }
    QtMessageHandler previous_;
};

} // namespace korvane::test
