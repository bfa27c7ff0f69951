#include "core/Preferences.h"

#include "support/PreferencesTest.h"

#include <span>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

using Fonts = test::FakeFontCatalog;

template <typename T>
struct Accessors {
    const char* key;
    T defaultValue;
    T other;
    T (Preferences::*value)() const;
    void (Preferences::*setValue)(T);
    /// Values stored by hand, and the values used in their place.
    std::vector<std::pair<T, T>> limited = {};
};

using P = Preferences;
const Accessors<bool> switches[] = {
    {"showLineNumbers", true, false, &P::showLineNumbers, &P::setShowLineNumbers},
    {"keyQuickHighlightSelection", true, false, &P::quickHighlightSelection, &P::setQuickHighlightSelection},
    {"startTailingOnFileOpen", true, false, &P::startTailingOnFileOpen, &P::setStartTailingOnFileOpen},
    {"autoTailOnScroll", true, false, &P::autoTailOnScroll, &P::setAutoTailOnScroll},
    {"showSidebarOnFileOpen", true, false, &P::showSidebarOnFileOpen, &P::setShowSidebarOnFileOpen},
    {"confirmDeleteBookmark", true, false, &P::confirmDeleteBookmark, &P::setConfirmDeleteBookmark},
    {"confirmDeleteFilterHighlightRule", true, false, &P::confirmDeleteFilterHighlightRule,
     &P::setConfirmDeleteFilterHighlightRule},
    {"confirmDeleteRemoteHost", true, false, &P::confirmDeleteRemoteHost, &P::setConfirmDeleteRemoteHost},
    {"SSHShowRemoteTerminalAlertKey", true, false, &P::showRemoteTerminalAlert,
     &P::setShowRemoteTerminalAlert},
    {"OpenLocalTerminalAlertKey", true, false, &P::openLocalTerminalAlert, &P::setOpenLocalTerminalAlert},
    {"keyWrapLines", false, true, &P::wrapLines, &P::setWrapLines},
    {"lazyLoadFile", true, false, &P::lazyLoadFile, &P::setLazyLoadFile},
    {"showWelcomeWinOnStart", true, false, &P::showWelcomeWinOnStart, &P::setShowWelcomeWinOnStart},
    {"nmssh.debug", false, true, &P::nmsshDebug, &P::setNmsshDebug},
    {"useTabs", true, false, &P::useTabs, &P::setUseTabs},
    {"reopenDocuments", true, false, &P::reopenDocuments, &P::setReopenDocuments},
    {"openFollowedFilesAtEnd", false, true, &P::openAtEnd, &P::setOpenAtEnd},
    {"offersToLeaveHiddenLinesOut", true, false, &P::offersToLeaveOut, &P::setOffersToLeaveOut},
    {"showsOverview", true, false, &P::showsOverview, &P::setShowsOverview},
    {"showsHiddenRemoteFiles", false, true, &P::showsHiddenRemoteFiles, &P::setShowsHiddenRemoteFiles},
};
const Accessors<int> numbers[] = {
    {"rowMemory", 256, 17, &P::rowMemory, &P::setRowMemory, {{15, 16}, {65537, 65536}}},
    {"pipeReserve", 1024, 0, &P::pipeReserve, &P::setPipeReserve, {{-1, 0}, {(1 << 20) + 1, 1 << 20}}},
    {"remoteFileSorting", 0, -7, &P::remoteFileSorting, &P::setRemoteFileSorting},
};
const Accessors<double> times[] = {
    {"pollingInterval", 0.5, 0.125, &P::pollingInterval, &P::setPollingInterval}};

class PreferencesTest : public ::testing::Test {
protected:
    PreferencesTest() { preferences_.registerDefaults(Fonts(false)); }

    std::unique_ptr<UserDefaults> store() const {
        return std::make_unique<UserDefaults>(directory_.filePath(u"korvane.conf"_s));
    }
    template <typename T>
    void expectKept(std::span<const Accessors<T>> settings) {
        for (const auto& [key, defaultValue, other, value, setValue, limited] : settings) {
            SCOPED_TRACE(key);
            EXPECT_EQ((preferences_.*value)(), defaultValue);
            QStringList changed;
            const auto token =
                preferences_.observe([&](const QString& changedKey) { changed += changedKey; });
            (preferences_.*setValue)(other);
            EXPECT_EQ(changed, QStringList(QString::fromLatin1(key)));
            Preferences reopened(store());
            reopened.registerDefaults(Fonts(false));
            EXPECT_EQ((reopened.*value)(), other);
            for (const auto& [stored, used] : limited) {
                reopened.userDefaults().set(QString::fromLatin1(key), stored);
                EXPECT_EQ((reopened.*value)(), used);
            }
        }
    }

    QTemporaryDir directory_;
    Preferences preferences_{store()};
};

TEST_F(PreferencesTest, EachSettingHasItsKeyItsDefaultAndItsLimits) {
    expectKept<bool>(switches);
    expectKept<int>(numbers);
    expectKept<double>(times);
    EXPECT_EQ(std::size(switches) + std::size(numbers) + std::size(times) + 5,
              std::tuple_size_v<decltype(Preferences::settings())>)
        << "three are colours, and two are those below";
}

TEST_F(PreferencesTest, ChoicesAreStoredAsNumbersWithinLimits) {
    preferences_.setSearchSwitches({.matchesCase = true, .isPattern = true});
    EXPECT_EQ(Preferences(store()).searchSwitches(),
              (SearchSwitches{.matchesCase = true, .isPattern = true}));
    preferences_.userDefaults().set(u"searchSwitches"_s, 8);
    EXPECT_EQ(Preferences(store()).searchSwitches(), SearchSwitches::fromNumber(7));
    EXPECT_EQ(preferences_.hiddenLines(), HiddenLines::AsFiltered);
    for (const auto& [stored, used] : {std::pair(1, HiddenLines::LeftOut),
                                       {4, HiddenLines::LeftOutWith10Around},
                                       {-1, HiddenLines::AsFiltered}}) {
        preferences_.userDefaults().set(u"hiddenLines"_s, stored);
        EXPECT_EQ(Preferences(store()).hiddenLines(), used) << stored;
    }
}

TEST_F(PreferencesTest, AStoredIntervalIsBroughtIntoItsLimitsAtLaunch) {
    for (const auto& [stored, usable] : {std::pair(1e10, 3600.0), {0.001, 0.1}, {2.25, 2.25}, {0, 0}}) {
        preferences_.setPollingInterval(stored);
        preferences_.registerDefaults(Fonts(false));
        EXPECT_EQ(preferences_.pollingInterval(), usable) << stored;
    }
}

TEST_F(PreferencesTest, TheChoiceAboutHostKeysIsKeptAndTheEarlierFormIsRead) {
    EXPECT_EQ(preferences_.hostKeyChoice(), HostKeyChoice::AcceptNew);
    for (const auto& [checks, choice] :
         {std::pair(true, HostKeyChoice::AskForNew), std::pair(false, HostKeyChoice::AcceptAll)}) {
        preferences_.userDefaults().set(u"checksHostKeys"_s, checks);
        EXPECT_EQ(preferences_.hostKeyChoice(), choice);
    }
    for (const auto& [choice, stored] : {std::pair(HostKeyChoice::AcceptNew, u"acceptNew"_s),
                                         std::pair(HostKeyChoice::AskForNew, u"askForNew"_s),
                                         std::pair(HostKeyChoice::AcceptAll, u"acceptAll"_s)}) {
        preferences_.setHostKeyChoice(choice);
        EXPECT_EQ(preferences_.userDefaults().value(u"hostKeys"_s), stored);
        EXPECT_EQ(Preferences(store()).hostKeyChoice(), choice);
    }
}

TEST_F(PreferencesTest, TheFontFallsBackFromThePreferredToTheUsersUntilOneIsChosen) {
    EXPECT_EQ(preferences_.logViewFont().family(), u"User Mono"_s);
    EXPECT_EQ(preferences_.logViewFont().pointSizeF(), 12.0);

    Preferences withPreferred(store());
    withPreferred.registerDefaults(Fonts(true));
    EXPECT_EQ(withPreferred.logViewFont().family(), u"Courier New"_s);
    EXPECT_EQ(withPreferred.logViewFont().pointSizeF(), 12.0);

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
    EXPECT_EQ(preferences_.logViewBackground(), QColor(Qt::white));
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 1, 1));
    EXPECT_EQ(preferences_.logViewLineNumViewForeground(), QColor(Qt::gray));
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
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 2, 3, 4)) << "the last valid one stays";
    EXPECT_EQ(Preferences(store()).logViewForeground(), QColor(1, 1, 1)) << "the default at launch";
    preferences_.userDefaults().remove(u"keyLogViewFGColor"_s);
    EXPECT_EQ(preferences_.logViewForeground(), QColor(1, 1, 1));
}

TEST_F(PreferencesTest, WrappingIsKeptForEachFileApartFromTheRest) {
    const QString file = u"file:///var/log/a%20b.log"_s;
    const QString sibling = u"file:///var//log/a%20b.log"_s;
    EXPECT_FALSE(preferences_.hasWrapLines(file));
    preferences_.setWrapLines(true, file);
    EXPECT_TRUE(preferences_.isWrapLines(file));
    EXPECT_TRUE(preferences_.userDefaults().boolForKey(u"keyWrapLines_"_s + file));
    EXPECT_FALSE(preferences_.isWrapLines(sibling));
    EXPECT_FALSE(preferences_.hasWrapLines(sibling));
    EXPECT_FALSE(preferences_.wrapLines());
    preferences_.setWrapLines(false, file);
    EXPECT_TRUE(preferences_.hasWrapLines(file));
    EXPECT_FALSE(Preferences(store()).isWrapLines(file));
}

TEST_F(PreferencesTest, TheSshLogIsSwitchedInTheSameCall) {
    std::vector<bool> switched;
    preferences_.setNmsshDebug(true); // no switch is set yet
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
