#pragma once

#include "core/Preferences.h"
#include "foundation/work/OperationQueue.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace korvane::test {

class FakeFontCatalog : public FontCatalog {
public:
    explicit FakeFontCatalog(bool isPreferredInstalled = true)
        : isPreferredInstalled_(isPreferredInstalled) {}
    bool isInstalled(const QString&) const override { return isPreferredInstalled_; }
    QFont userFont() const override { return QFont(QStringLiteral("User Mono"), 31); }
    QFont systemFont() const override { return QFont(QStringLiteral("System Sans"), 31); }

private:
    const bool isPreferredInstalled_;
};

/// Fresh preferences for each test, in their own settings file. No worker outlives the test.
class PreferencesTest : public ::testing::Test {
public:
    ~PreferencesTest() override { EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60))); }

protected:
    PreferencesTest() {
        Preferences::setShared(std::make_unique<Preferences>(
            std::make_unique<UserDefaults>(directory_.filePath(QStringLiteral("s.conf")))));
        Preferences::shared().registerDefaults(FakeFontCatalog());
    }

private:
    QTemporaryDir directory_;
};

} // namespace korvane::test
