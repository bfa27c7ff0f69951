#pragma once

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace korvane::test {

/// Output of a script in tests/support, which must succeed; `input` is its standard input.
inline QByteArray runPython(const QString& script, const QByteArray& input = {}) {
    QProcess python;
    python.start(QStringLiteral("python3"), {QStringLiteral(KORVANE_TEST_SUPPORT "/") + script});
    python.write(input);
    python.closeWriteChannel();
    EXPECT_TRUE(python.waitForFinished(60'000)) << "python3: " << python.errorString().toStdString();
    EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
    return python.readAllStandardOutput();
}

/// Compares a keyed archive, as another language's standard library reads it, with
/// tests/support/golden/NAME.json. `dump_archive.py` creates such a file from an archive.
inline void expectGolden(const QString& name, const QByteArray& archive) {
    QFile golden(QStringLiteral(KORVANE_TEST_SUPPORT "/golden/%1.json").arg(name));
    EXPECT_TRUE(golden.open(QIODevice::ReadOnly)) << golden.fileName().toStdString();
    EXPECT_EQ(runPython(QStringLiteral("dump_archive.py"), archive).toStdString(),
              golden.readAll().toStdString());
}

} // namespace korvane::test
