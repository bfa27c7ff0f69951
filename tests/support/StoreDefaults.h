#pragma once

#include "foundation/archive/UserDefaults.h"
#include "support/StoreTest.h"

namespace korvane::test {

/// A store that also keeps something in the settings, whose file is elsewhere.
class StoreDefaultsTest : public StoreTest {
protected:
    UserDefaults& defaults() { return defaults_; }
    /// The settings that the next start of the program will read. Settings of one file share their state
    /// within a process, so a copy of the file is read.
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
