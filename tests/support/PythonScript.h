#pragma once

#include <QProcess>
#include <QString>

#include <gtest/gtest.h>

namespace korvane::test {

/// What the script of tests/support prints; it must succeed.
inline QByteArray runPython(const QString& script, const QStringList& arguments) {
    QProcess python;
    python.start(QStringLiteral("python3"),
                 QStringList{QStringLiteral(KORVANE_TEST_SUPPORT "/") + script} + arguments);
    EXPECT_TRUE(python.waitForFinished(60'000)) << "python3: " << python.errorString().toStdString();
    EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
    return python.readAllStandardOutput();
}

} // namespace korvane::test
