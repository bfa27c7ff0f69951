#pragma once

#include <QProcess>
#include <QString>

#include <gtest/gtest.h>

namespace korvane::test {

/// Output of a script in tests/support, which must succeed; `input` is its standard input.
inline QByteArray runPython(const QString& script, const QStringList& arguments,
                            const QByteArray& input = {}) {
    QProcess python;
    python.start(QStringLiteral("python3"),
                 QStringList{QStringLiteral(KORVANE_TEST_SUPPORT "/") + script} + arguments);
    python.write(input);
    python.closeWriteChannel();
    EXPECT_TRUE(python.waitForFinished(60'000)) << "python3: " << python.errorString().toStdString();
    EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
    return python.readAllStandardOutput();
}

} // namespace korvane::test
