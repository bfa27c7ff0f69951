#pragma once

#include "foundation/archive/UserDefaults.h"
#include "support/StoreTest.h"

namespace korvane::test {

/// A store that keeps something in the settings too, which lie elsewhere.
class StoreDefaultsTest : public StoreTest {
protected:
    UserDefaults& defaults() { return defaults_; }
    /// What the next start of the program will find. The settings of one file are the same objects throughout
    /// a process: only a copy is really read.
    UserDefaults defaultsOnDisk() const {
        const QString copy = settings_.filePath(QStringLiteral("copy-%1.ini").arg(++copies_));
        EXPECT_TRUE(QFile::copy(settings_.filePath(QStringLiteral("s.ini")), copy));
        return UserDefaults(copy);
    }

private:
    QTemporaryDir settings_;
    mutable int copies_ = 0;
    UserDefaults defaults_{settings_.filePath(QStringLiteral("s.ini"))};
};

} // namespace korvane::test
