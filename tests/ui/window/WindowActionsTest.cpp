#include "ui/AppFixture.h"

#include "documents/ConnectionState.h"
#include "documents/RecentFiles.h"
#include "ui/page/ConnectionStrip.h"
#include "ui/page/FileInfoPopover.h"
#include "ui/widgets/ColorButton.h"
#include "ui/window/PreferencesWindow.h"
#include "ui/window/ShortcutsWindow.h"
#include "ui/window/WelcomeWindow.h"

#include <set>

namespace korvane::test {
namespace {

class WindowActionsTest : public AppFixture {
protected:
    /// The texts of the menu's entries, without separators.
    static QStringList textsOf(const QWidget& menu) {
        QStringList texts;
        for (const QAction* action : menu.actions()) {
            if (!action->isSeparator())
                texts.append(action->text());
        }
        return texts;
    }
};

TEST_F(WindowActionsTest, NoKeyAndNoMnemonicStandsForTwoThings) {
    MainWindow* window = windowOf(open("x\n"));
    std::map<QString, QString> keys;
    for (const QAction* action : window->findChildren<QAction*>()) {
        for (const QKeySequence& key : action->shortcuts()) {
            const auto [known, isNew] = keys.emplace(key.toString(), action->text());
            EXPECT_TRUE(isNew || known->second == action->text()) << qPrintable(key.toString());
        }
    }
    const auto checkMnemonics = [](const QStringList& texts, const QString& where) {
        std::set<QChar> letters;
        for (const QString& text : texts) {
            const qsizetype at = text.indexOf(u'&');
            if (at < 0 || at + 1 >= text.size() || text[at + 1] == u'&')
                continue;
            EXPECT_TRUE(letters.insert(text[at + 1].toLower()).second) << qPrintable(where + text);
        }
    };
    const auto textsIn = [](const QWidget& widget) {
        QStringList texts;
        for (const auto* button : widget.findChildren<QAbstractButton*>())
            texts.append(button->text());
        for (const auto* label : widget.findChildren<QLabel*>()) {
            if (label->buddy())
                texts.append(label->text());
        }
        return texts;
    };
    const QStringList menus = textsOf(*window->menuBar());
    for (const ConnectionState state : {ConnectionState::Lost, ConnectionState::Unconnected}) {
        ConnectionStrip strip;
        strip.showState(state, u"web"_s, {});
        checkMnemonics(menus + textsIn(strip), u"the menu bar and what stands in the window"_s);
    }
    for (const QAction* menu : window->menuBar()->actions())
        checkMnemonics(textsOf(*menu->menu()), menu->text());

    const PreferencesWindow preferences;
    const auto* tabs = preferences.findChild<QTabWidget*>();
    QStringList always{preferences.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Close)->text()};
    for (int i = 0; i < tabs->count(); ++i)
        always.append(tabs->tabText(i));
    for (int i = 0; i < tabs->count(); ++i)
        checkMnemonics(always + textsIn(*tabs->widget(i)), tabs->tabText(i));
    checkMnemonics(textsIn(WelcomeWindow(documents_)), u"the welcome window"_s);
}

TEST_F(WindowActionsTest, RecentFilesAreThoseOfTheDiskAndThenThoseOfServers) {
    MainWindow* window = windowOf(open("x\n"));
    RecentFiles::add(fileUrlFromPath("/logs/a&b.log"));
    RemoteRecentFilesManager::shared().add(QUrl(u"ssh://u@web:22//var/old.log"_s));
    RemoteRecentFilesManager::shared().add(QUrl(u"ssh://u@web:22//var/new%20one.log"_s));
    const auto menus = window->findChildren<QMenu*>();
    QMenu* recent = *std::ranges::find_if(
        menus, [](const QString& title) { return title.contains(u"Recent"_s); }, &QMenu::title);
    const auto shown = [recent] {
        Q_EMIT recent->aboutToShow();
        return textsOf(*recent);
    };
    EXPECT_EQ(shown(),
              (QStringList{u"/logs/a&&b.log"_s, u"ssh://u@web:22//var/new one.log"_s,
                           u"ssh://u@web:22//var/old.log"_s, u"Remove &Missing Files"_s, u"&Clear List"_s}));
    QAction* missing = recent->actions().front();
    ASSERT_TRUE(until([&] { return missing->text() == u"/logs/a&&b.log (missing)"_s; }));
    recent->actions().at(recent->actions().size() - 2)->trigger();
    EXPECT_EQ(shown().front(), u"ssh://u@web:22//var/new one.log"_s);
    recent->actions().back()->trigger();
    EXPECT_EQ(shown(), (QStringList{u"Remove &Missing Files"_s, u"&Clear List"_s}));
    EXPECT_FALSE(recent->actions().back()->isEnabled());
}

TEST_F(WindowActionsTest, EveryControlHasANameAndEveryToolATip) {
    MainWindow* window = windowOf(open("x\n"));
    for (const auto* button : window->findChildren<QAbstractButton*>()) {
        // Excludes Qt's internal buttons, also those of scroll bars, tabs and fields.
        const bool isOurs = !QString::fromLatin1(button->metaObject()->className()).contains(u"Private"_s) &&
                            !button->objectName().startsWith(u"qt_"_s) &&
                            !button->inherits("QLineEditIconButton") && !button->inherits("CloseButton") &&
                            !qobject_cast<QTabBar*>(button->parentWidget());
        if (!isOurs)
            continue;
        EXPECT_NE(button->text() + button->accessibleName(), u""_s) << button->toolTip().toStdString();
    }
    for (const QAction* action : window->findChild<QToolBar*>(u"toolBar"_s)->actions()) {
        if (action->icon().isNull() || action->shortcut().isEmpty())
            continue;
        const QString key = action->shortcut().toString(QKeySequence::NativeText);
        EXPECT_TRUE(action->toolTip().contains(key)) << action->text().toStdString();
    }
}

TEST_F(WindowActionsTest, TheListOfKeysIsThatOfTheMenus) {
    MainWindow* window = windowOf(open("x\n"));
    const ShortcutsWindow* shortcuts = new ShortcutsWindow(*window->menuBar(), window);
    const auto* list = shortcuts->findChild<QTreeWidget*>();
    const auto items = list->findItems(u"Find Next"_s, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(items.front()->text(1), u"F3"_s);
    EXPECT_EQ(items.front()->parent()->text(0), u"Edit"_s);
}

TEST_F(WindowActionsTest, TheFileInformationTellsWhatTheFileSystemSays) {
    const TemporaryFile file(numberedLines(12), "a & b.log");
    MainWindowController* page = open(file);
    page->showFileInfo();
    auto* popover = page->findChild<FileInfoPopover*>();
    for (const QString& text :
         {u"a & b.log"_s, QString::fromLocal8Bit(file.path()), u"12"_s, u"Unicode (UTF-8)"_s})
        EXPECT_TRUE(says(popover, text)) << qPrintable(text);
    EXPECT_TRUE(until(
        [&] { return says(popover, u"86 bytes (86 bytes)"_s) || says(popover, u"86 B (86 bytes)"_s); }));
    popover->findChild<QPushButton*>()->click();
    EXPECT_EQ(QApplication::clipboard()->text(), QString::fromLocal8Bit(file.path()));
    EXPECT_TRUE(until([&] { return !page->findChild<FileInfoPopover*>(); }));
}

TEST_F(WindowActionsTest, ThePreferencesShowAndChangeTheSettingsAtOnce) {
    auto& preferences = Preferences::shared();
    preferences.setPollingInterval(2.25);
    PreferencesWindow window;
    auto* interval = window.findChild<QDoubleSpinBox*>();
    EXPECT_EQ(interval->text(), u"2.25 s"_s);
    interval->setValue(0.001);
    EXPECT_EQ(preferences.pollingInterval(), 0.1);
    interval->selectAll();
    QTest::keyClicks(interval, u"0,5"_s);
    interval->interpretText();
    EXPECT_EQ(preferences.pollingInterval(), 0.5);
    for (auto* box : window.findChildren<QCheckBox*>()) {
        const bool before = box->isChecked();
        QStringList changed;
        const auto token = preferences.observe([&](const QString& key) { changed.append(key); });
        box->click();
        ASSERT_EQ(changed.size(), 1) << box->text().toStdString();
        EXPECT_EQ(preferences.userDefaults().boolForKey(changed.front()), !before);
        preferences.userDefaults().remove(changed.front());
        EXPECT_EQ(box->isChecked(), before) << "a change from elsewhere is shown";
    }
    click(&window, u"Dark"_s);
    EXPECT_LT(preferences.logViewBackground().lightness(), 64);
    EXPECT_GT(preferences.logViewForeground().lightness(), 192);
    click(&window, u"Restore Defaults"_s);
    EXPECT_EQ(preferences.logViewBackground(), QColor(Qt::white));
    EXPECT_EQ(preferences.logViewForeground(), QColor(1, 1, 1));
}

} // namespace
} // namespace korvane::test
