#include "core/Preferences.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class Fonts : public FontCatalog {
public:
    explicit Fonts(bool preferredIsInstalled) : preferredIsInstalled_(preferredIsInstalled) {}
    bool isInstalled(const QString&) const override { return preferredIsInstalled_; }
    QFont userFont() const override { return QFont(u"User Mono"_s, 31); }
    QFont systemFont() const override { return QFont(u"System"_s, 31); }

private:
    bool preferredIsInstalled_;
};

class PreferencesTest : public ::testing::Test {
protected:
    PreferencesTest() { preferences_.registerDefaults(Fonts(false)); }

    std::unique_ptr<UserDefaults> store() const {
        return std::make_unique<UserDefaults>(directory_.filePath(u"korvane.conf"_s));
    }

    QTemporaryDir directory_;
    Preferences preferences_{store()};
};

TEST_F(PreferencesTest, AFreshUserGetsEveryDefault) {
    using Getter = bool (Preferences::*)() const;
    const Getter on[] = {
        &Preferences::showLineNumbers,
        &Preferences::quickHighlightSelection,
        &Preferences::startTailingOnFileOpen,
        &Preferences::autoTailOnScroll,
        &Preferences::showSidebarOnFileOpen,
        &Preferences::confirmDeleteBookmark,
        &Preferences::confirmDeleteRemoteHost,
        &Preferences::confirmDeleteFilterHighlightRule,
        &Preferences::showRemoteTerminalAlert,
        &Preferences::openLocalTerminalAlert,
        &Preferences::lazyLoadFile,
        &Preferences::showWelcomeWinOnStart,
        &Preferences::useTabs,
        &Preferences::reopenDocuments,
    };
    for (std::size_t i = 0; i < std::size(on); ++i)
        EXPECT_TRUE((preferences_.*on[i])()) << i;
    EXPECT_FALSE(preferences_.wrapLines());
    EXPECT_FALSE(preferences_.nmsshDebug());
    EXPECT_EQ(preferences_.pollingInterval(), 0.5);
    EXPECT_EQ(preferences_.logViewBackground(), QColor(255, 255, 255));
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 1, 1));
    EXPECT_EQ(preferences_.logViewLineNumViewForeground(), QColor(Qt::gray));
}

TEST_F(PreferencesTest, EachSettingHasAKeyOfItsOwnAndIsKept) {
    struct Setting {
        const char* key;
        bool (Preferences::*value)() const;
        void (Preferences::*setValue)(bool);
    };
    const Setting settings[] = {
        {"showLineNumbers", &Preferences::showLineNumbers, &Preferences::setShowLineNumbers},
        {"keyQuickHighlightSelection", &Preferences::quickHighlightSelection,
         &Preferences::setQuickHighlightSelection},
        {"startTailingOnFileOpen", &Preferences::startTailingOnFileOpen,
         &Preferences::setStartTailingOnFileOpen},
        {"autoTailOnScroll", &Preferences::autoTailOnScroll, &Preferences::setAutoTailOnScroll},
        {"showSidebarOnFileOpen", &Preferences::showSidebarOnFileOpen,
         &Preferences::setShowSidebarOnFileOpen},
        {"confirmDeleteBookmark", &Preferences::confirmDeleteBookmark,
         &Preferences::setConfirmDeleteBookmark},
        {"confirmDeleteFilterHighlightRule", &Preferences::confirmDeleteFilterHighlightRule,
         &Preferences::setConfirmDeleteFilterHighlightRule},
        {"confirmDeleteRemoteHost", &Preferences::confirmDeleteRemoteHost,
         &Preferences::setConfirmDeleteRemoteHost},
        {"SSHShowRemoteTerminalAlertKey", &Preferences::showRemoteTerminalAlert,
         &Preferences::setShowRemoteTerminalAlert},
        {"OpenLocalTerminalAlertKey", &Preferences::openLocalTerminalAlert,
         &Preferences::setOpenLocalTerminalAlert},
        {"keyWrapLines", &Preferences::wrapLines, &Preferences::setWrapLines},
        {"lazyLoadFile", &Preferences::lazyLoadFile, &Preferences::setLazyLoadFile},
        {"showWelcomeWinOnStart", &Preferences::showWelcomeWinOnStart,
         &Preferences::setShowWelcomeWinOnStart},
        {"nmssh.debug", &Preferences::nmsshDebug, &Preferences::setNmsshDebug},
        {"useTabs", &Preferences::useTabs, &Preferences::setUseTabs},
        {"reopenDocuments", &Preferences::reopenDocuments, &Preferences::setReopenDocuments},
    };
    for (const Setting& setting : settings) {
        const bool before = (preferences_.*setting.value)();
        QStringList changed;
        const auto token = preferences_.observe([&](const QString& key) { changed += key; });
        (preferences_.*setting.setValue)(!before);
        EXPECT_EQ(changed, QStringList(QString::fromLatin1(setting.key)));
        const Preferences reopened(store());
        EXPECT_EQ((reopened.*setting.value)(), !before) << setting.key;
    }
    preferences_.setPollingInterval(0.125);
    EXPECT_EQ(Preferences(store()).pollingInterval(), 0.125);
}

TEST_F(PreferencesTest, AStoredIntervalIsBroughtIntoItsLimitsAtLaunch) {
    const struct {
        double stored;
        double usable;
    } cases[] = {{1e10, 3600}, {0.001, 0.1}, {2.25, 2.25}, {0, 0}};
    for (const auto& [stored, usable] : cases) {
        preferences_.setPollingInterval(stored);
        preferences_.registerDefaults(Fonts(false));
        EXPECT_EQ(preferences_.pollingInterval(), usable) << stored;
    }
}

TEST_F(PreferencesTest, TheFontFallsBackFromThePreferredToTheUsersToTheSystems) {
    EXPECT_EQ(preferences_.logViewFont().family(), u"User Mono"_s);
    EXPECT_EQ(preferences_.logViewFont().pointSizeF(), 12.0);

    Preferences withPreferred(store());
    withPreferred.registerDefaults(Fonts(true));
    EXPECT_EQ(withPreferred.logViewFont().family(), u"Courier New"_s);
    EXPECT_EQ(withPreferred.logViewFont().pointSizeF(), 12.0);
}

TEST_F(PreferencesTest, AFontIsUsedAtOnceAndKept) {
    EXPECT_EQ(preferences_.logViewFont().family(), u"User Mono"_s); // fills the cache
    QFont font(u"Some, \"odd\" Mono"_s, 9);
    font.setPointSizeF(9.5);
    font.setItalic(true);
    preferences_.setLogViewFont(font);
    const Preferences reopened(store());
    for (const Preferences* preferences : {&std::as_const(preferences_), &reopened}) {
        EXPECT_EQ(preferences->logViewFont().pointSizeF(), 9.5);
        EXPECT_TRUE(preferences->logViewFont().italic());
    }
}

TEST_F(PreferencesTest, ColoursFollowTheStoreWithoutACallHere) {
    preferences_.userDefaults().set(u"keyLogViewFGColor"_s, Preferences::archivedColor(QColor(1, 2, 3, 4)));
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 2, 3, 4));
    preferences_.setLogViewBackground(QColor(5, 6, 7));
    preferences_.setLogViewLineNumViewForeground(QColor(8, 9, 10));
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 2, 3, 4));
    const Preferences reopened(store());
    for (const Preferences* preferences : {&std::as_const(preferences_), &reopened}) {
        EXPECT_EQ(preferences->logViewBackground(), QColor(5, 6, 7));
        EXPECT_EQ(preferences->logViewLineNumViewForeground(), QColor(8, 9, 10));
    }
    preferences_.userDefaults().set(u"keyLogViewFGColor"_s, QByteArray("no colour"));
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 2, 3, 4)) << "the last good one stays";
    preferences_.userDefaults().remove(u"keyLogViewFGColor"_s);
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 1, 1));
}

TEST_F(PreferencesTest, WrappingIsKeptForEachFileApartFromTheRest) {
    const QString file = u"file:///var/log/a%20b.log"_s;
    const QString sibling = u"file:///var//log/a%20b.log"_s;
    EXPECT_FALSE(preferences_.hasWrapLines(file));
    preferences_.setWrapLines(true, file);
    EXPECT_TRUE(preferences_.isWrapLines(file));
    EXPECT_FALSE(preferences_.isWrapLines(sibling));
    EXPECT_FALSE(preferences_.hasWrapLines(sibling));
    EXPECT_FALSE(preferences_.wrapLines());
    preferences_.setWrapLines(false, file);
    EXPECT_TRUE(preferences_.hasWrapLines(file));
    EXPECT_FALSE(Preferences(store()).isWrapLines(file));
}

TEST_F(PreferencesTest, TheSshLogIsSwitchedInTheSameCall) {
    std::vector<bool> switched;
    preferences_.setNmsshDebug(true); // nobody listens yet
    preferences_.setSshLogSwitch([&](bool on) {
        switched.push_back(on);
        EXPECT_EQ(preferences_.nmsshDebug(), on) << "stored first";
    });
    preferences_.setNmsshDebug(true);
    preferences_.setNmsshDebug(false);
    EXPECT_EQ(switched, (std::vector<bool>{true, false}));
}

} // namespace
} // namespace korvane
