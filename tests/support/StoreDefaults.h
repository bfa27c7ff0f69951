#pragma once

#include "foundation/UserDefaults.h"
#include "support/StoreTest.h"

namespace korvane::test {

/// A store that keeps something in the settings too, which lie elsewhere.
class StoreDefaultsTest : public StoreTest {
protected:
    UserDefaults& defaults() { return defaults_; }
    /// What another program would find in the settings.
    UserDefaults defaultsOnDisk() const { return UserDefaults(settings_.filePath(QStringLiteral("s.ini"))); }

private:
    QTemporaryDir settings_;
    UserDefaults defaults_{settings_.filePath(QStringLiteral("s.ini"))};
};

} // namespace korvane::test
