#pragma once

#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace korvane::test {

/// A session bus for the test only. It starts no services.
class PrivateBus {
public:
    PrivateBus() {
        QFile configuration(directory_.filePath(QStringLiteral("bus.conf")));
        EXPECT_TRUE(configuration.open(QIODevice::WriteOnly));
        configuration.write("<busconfig><type>session</type><listen>unix:dir=" + directory_.path().toUtf8() +
                            "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
                            "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        configuration.close();
        process_.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=") + configuration.fileName(),
                        QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        while (!process_.canReadLine() && process_.waitForReadyRead(20000)) {
        }
        address_ = QString::fromLatin1(process_.readLine().trimmed());
        EXPECT_FALSE(address_.isEmpty()) << qPrintable(process_.errorString());
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const QString& address() const { return address_; }
    void stop() {
        process_.kill();
        process_.waitForFinished();
    }

private:
    QTemporaryDir directory_;
    QProcess process_;
    QString address_;
};

} // namespace korvane::test
