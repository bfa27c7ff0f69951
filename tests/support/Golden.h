#pragma once

#include "support/PythonScript.h"

#include <QFile>

namespace korvane::test {

/// Compares a keyed archive, as another language's standard library reads it, with
/// tests/support/golden/NAME.json. `dump_archive.py` creates such a file from an archive.
inline void expectGolden(const QString& name, const QByteArray& archive) {
    QFile golden(QStringLiteral(KORVANE_TEST_SUPPORT "/golden/%1.json").arg(name));
    EXPECT_TRUE(golden.open(QIODevice::ReadOnly)) << golden.fileName().toStdString();
    EXPECT_EQ(runPython(QStringLiteral("dump_archive.py"), {}, archive).toStdString(),
              golden.readAll().toStdString());
}

} // namespace korvane::test
