#include "ui/hosts/RemoteHostsWindow.h"
#include "remote/hosts/RemoteHostDnDItem.h"
#include "ui/hosts/GroupNameDialog.h"
#include "ui/hosts/HostDetailsDialog.h"
#include "ui/hosts/RemoteHostsFixture.h"
#include "ui/window/WelcomeWindow.h"

namespace korvane::test {
namespace {

class RemoteHostsWindowTest : public RemoteHostsFixture {
protected:
    void show(RemoteHostsHooks hooks = {}) {
        windows_.setRemoteHostsHooks(std::move(hooks));
        windows_.showRemoteHosts();
        window_ = topLevel<RemoteHostsWindow>();
        tree_ = window_->findChild<QTreeView*>();
        const auto mode = QAbstractItemModelTester::FailureReportingMode::Fatal;
        new QAbstractItemModelTester(tree_->model(), mode, window_);
        EXPECT_TRUE(isInFront(window_));
    }
    /// The dialog that was just opened.
    template <typename Dialog>
    static Dialog* opened() {
        auto* dialog = topLevel<Dialog>();
        if (!dialog || !isInFront(dialog))
            throw std::runtime_error("no dialog was opened");
        return dialog;
    }
    /// The tree's groups and the hosts in them; collapsed groups have a "+".
    QString shown() const {
        QStringList texts;
        const QAbstractItemModel& model = *tree_->model();
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex group = model.index(row, 0);
            const QStringList hosts = textsOf(model, group);
            const QString mark = hosts.isEmpty() || tree_->isExpanded(group) ? u""_s : u"+"_s;
            texts.append(mark + group.data().toString() + u": "_s + hosts.join(u", "_s));
        }
        return texts.join(u"; "_s);
    }
    QModelIndex indexOf(const QString& text) const { return WindowDriver::indexOf(*tree_->model(), text); }
    void select(const QString& text) const {
        const QRect place = tree_->visualRect(indexOf(text));
        ASSERT_TRUE(place.isValid()) << text.toStdString();
        QTest::mouseClick(tree_->viewport(), Qt::LeftButton, {}, place.center());
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(tree_, key, modifiers); }
    /// Closes a dialog with a key.
    void leave(QWidget* dialog, Qt::Key key) {
        QTest::keyClick(dialog, key);
        ASSERT_TRUE(isInFront(window_));
    }
    QString selected() const { return tree_->currentIndex().siblingAtColumn(0).data().toString(); }

    RemoteHostsWindow* window_ = nullptr;
    QTreeView* tree_ = nullptr;
};

TEST_F(RemoteHostsWindowTest, AHostIsAddedWithKeysAlone) {
    show();
    EXPECT_TRUE(says(window_, u"No remote hosts yet.\nAdd one to open the log files that lie there."_s));
    EXPECT_EQ(QApplication::focusWidget(), button(window_, u"Add Host…"_s));
    QTest::keyClick(window_, Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    auto* groupDialog = opened<GroupNameDialog>();
    QTest::keyClicks(QApplication::focusWidget(), u"Production"_s);
    leave(groupDialog, Qt::Key_Return);
    EXPECT_EQ(selected(), u"Production"_s);
    QTest::keyClick(window_, Qt::Key_N, Qt::ControlModifier);
    auto* details = opened<HostDetailsDialog>();
    QTest::keyClicks(QApplication::focusWidget(), u"web"_s);
    type(details, u"User:"_s, u"me"_s);
    type(details, u"Password:"_s, u"secret"_s);
    QTest::keyClick(details, Qt::Key_Return);
    EXPECT_FALSE(topLevel<HostDetailsDialog>());
    EXPECT_EQ(shown(), u"Default: ; Production: me@web:22 (Password)"_s) << "in the group that was selected";
    EXPECT_EQ(selected(), u"me@web:22 (Password)"_s);
    EXPECT_EQ(savedHosts()->count(), 1);
    EXPECT_EQ(notices_, 2);
    ASSERT_TRUE(isInFront(window_));
    EXPECT_EQ(QApplication::focusWidget(), tree_) << "the next key is for the new host";
}

TEST_F(RemoteHostsWindowTest, EditingReplacesTheHostAndCancellingDoesNot) {
    const auto host = addHost(u"web"_s);
    host->setHomePath(u"/srv"_s);
    addHost(u"db"_s);
    show();
    const auto edit = [&](const QString& name, Qt::Key end) {
        press(Qt::Key_E, Qt::ControlModifier);
        auto* details = opened<HostDetailsDialog>();
        type(details, u"Name:"_s, name);
        leave(details, end);
    };
    select(u"web"_s);
    edit(u"other"_s, Qt::Key_Escape);
    EXPECT_EQ(shown(), u"Default: web, db"_s);
    EXPECT_EQ(hosts()[0], host);
    EXPECT_EQ(notices_, 0);
    edit(u"front"_s, Qt::Key_Return);
    EXPECT_EQ(shown(), u"Default: front, db"_s);
    EXPECT_EQ(selected(), u"front"_s);
    EXPECT_EQ(host->name(), u"web"_s) << "documents that are open go on with the host as it was";
    EXPECT_EQ(savedHosts()->host(0)->uuid(), host->uuid());
    EXPECT_EQ(savedHosts()->host(0)->homePath(), u"/srv"_s);
    EXPECT_EQ(notices_, 1);

    select(u"Default"_s);
    EXPECT_FALSE(button(window_, u"Edit…"_s)->isEnabled());
}

TEST_F(RemoteHostsWindowTest, DeletingAsksUntilItIsToldNotTo) {
    for (const QString& name : {u"a"_s, u"b"_s, u"c"_s})
        addHost(name);
    show();
    select(u"b"_s);
    alerts_.nextAnswer = 1;
    press(Qt::Key_Delete);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts[0].message, u"Delete the remote host “b”?"_s);
    EXPECT_EQ(hosts().size(), 3U);
    alerts_.nextAnswer = 0;
    click(window_, u"Delete…"_s);
    EXPECT_EQ(shown(), u"Default: a, c"_s);
    EXPECT_EQ(selected(), u"c"_s) << "the neighbour";
    EXPECT_EQ(savedHosts()->count(), 2);
    alerts_.alerts.back().suppress();
    EXPECT_FALSE(Preferences::shared().confirmDeleteRemoteHost());
    click(window_, u"Delete…"_s);
    click(window_, u"Delete…"_s);
    EXPECT_EQ(alerts_.alerts.size(), 2U);
    EXPECT_TRUE(hosts().empty());
    EXPECT_EQ(notices_, 3);
    EXPECT_FALSE(tree_->isVisible());
}

TEST_F(RemoteHostsWindowTest, GroupsAreRefusedInTheWordsTheyShouldBe) {
    addGroup(u"Used"_s);
    addGroup(u"Empty"_s);
    addHost(u"web"_s, u"Used"_s);
    addHost(u"stray"_s, u"a group that is lost"_s);
    show();
    click(window_, u"New Group…"_s);
    auto* dialog = opened<GroupNameDialog>();
    EXPECT_FALSE(button(dialog, u"OK"_s)->isEnabled()) << "a group without a name";
    for (const QString& name : {u" Used "_s, u"used"_s, u"  "_s}) {
        type(dialog, u"Name:"_s, name);
        EXPECT_EQ(button(dialog, u"OK"_s)->isEnabled(), name == u"used");
        EXPECT_EQ(says(dialog, u"Group already present!"_s), name == u" Used ");
    }
    leave(dialog, Qt::Key_Escape);
    const auto remove = [&](const QString& name) {
        alerts_.alerts.clear();
        select(name);
        press(Qt::Key_Delete);
        return alerts_.texts().value(0);
    };
    EXPECT_EQ(remove(u"Default"_s),
              u"Cannot delete 'Default' group!|The 'Default' group cannot be removed"_s);
    EXPECT_EQ(
        remove(u"Used"_s),
        u"Cannot delete non-empty group!|Please remove the servers from the group before deleting it"_s);
    EXPECT_EQ(notices_, 0);
    EXPECT_EQ(remove(u"Empty"_s), QString());
    EXPECT_EQ(shown(), u"Default: stray; Used: web"_s);
    EXPECT_EQ(notices_, 1);
}

TEST_F(RemoteHostsWindowTest, AGroupThatIsRenamedTakesItsHostsAlong) {
    addGroup(u"Shop"_s);
    addGroup(u"Taken"_s);
    const auto host = addHost(u"web"_s, u"Shop"_s);
    addHost(u"stray"_s);
    show();
    tree_->collapse(indexOf(u"Shop"_s));
    select(u"Default"_s);
    press(Qt::Key_F2);
    EXPECT_FALSE(topLevel<GroupNameDialog>());
    select(u"Shop"_s);
    press(Qt::Key_F2);
    auto* dialog = opened<GroupNameDialog>();
    EXPECT_EQ(dialog->name(), u"Shop"_s);
    type(dialog, u"Name:"_s, u"Taken"_s);
    EXPECT_FALSE(button(dialog, u"OK"_s)->isEnabled());
    type(dialog, u"Name:"_s, u" Store "_s);
    QTest::keyClick(dialog, Qt::Key_Return);
    EXPECT_EQ(shown(), u"Default: stray; +Store: web; Taken: "_s);
    EXPECT_EQ(selected(), u"Store"_s);
    EXPECT_EQ(host->group(), u"Store"_s);
    EXPECT_EQ(savedHosts()->host(0)->group(), u"Store"_s);
    EXPECT_TRUE(std::move(ServerGroupsManager::load(settings_.path())).value()->groupNamed(u"Store"_s));
    EXPECT_EQ(notices_, 1);
}

TEST_F(RemoteHostsWindowTest, ADroppedHostMovesToTheGroupAndNothingElseDoes) {
    addGroup(u"B"_s);
    addGroup(u"C"_s);
    addHost(u"a1"_s);
    const auto moved = addHost(u"a2"_s);
    addHost(u"b1"_s, u"B"_s);
    show();
    QAbstractItemModel& model = *tree_->model();
    const auto drop = [&](QMimeData* data, const QString& target) {
        const std::unique_ptr<QMimeData> owned(data);
        const QModelIndex place = indexOf(target);
        const bool can = model.canDropMimeData(data, Qt::MoveAction, -1, -1, place);
        EXPECT_EQ(model.dropMimeData(data, Qt::MoveAction, -1, -1, place), can) << target.toStdString();
        return can;
    };
    const auto drag = [&](const QString& host) { return model.mimeData({indexOf(host)}); };
    EXPECT_EQ(model.mimeData({indexOf(u"B"_s)}), nullptr) << "a group stays where it is";
    for (const QString& target : {u"Default"_s, u"a1"_s, u"nowhere"_s})
        EXPECT_FALSE(drop(drag(u"a2"_s), target)) << target.toStdString();
    for (const QByteArray& archive : {QByteArray("no archive"), RemoteHostDnDItem{u"Default"_s, 2}.archived(),
                                      RemoteHostDnDItem{u"X"_s, 0}.archived()}) {
        auto* data = new QMimeData;
        data->setData(RemoteHostDnDItem::dataType, archive);
        EXPECT_FALSE(drop(data, u"C"_s)) << archive.constData();
    }
    EXPECT_EQ(notices_, 0);
    select(u"a2"_s);
    EXPECT_TRUE(drop(drag(u"a2"_s), u"b1"_s));
    EXPECT_EQ(shown(), u"Default: a1; B: a2, b1; C: "_s);
    EXPECT_EQ(selected(), u"a2"_s);
    EXPECT_TRUE(drop(drag(u"a2"_s), u"C"_s));
    EXPECT_EQ(shown(), u"Default: a1; B: b1; C: a2"_s);
    EXPECT_EQ(savedHosts()->host(1)->group(), u"C"_s);
    EXPECT_EQ(savedHosts()->host(1)->uuid(), moved->uuid());
    EXPECT_EQ(notices_, 2);
}

TEST_F(RemoteHostsWindowTest, TheFilterFindsHostsAndGroupsAndLeavesTheTreeAsItWas) {
    addGroup(u"Berlin"_s);
    addHost(u"web"_s);
    addHost(u"db"_s);
    addHost(u"mail"_s, u"Berlin"_s);
    show();
    tree_->collapse(indexOf(u"Berlin"_s));
    auto* filter = window_->findChild<QLineEdit*>();
    press(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(QApplication::focusWidget(), filter);
    const auto filtered = [&](const QString& text) {
        filter->clear();
        QTest::keyClicks(filter, text);
        return shown();
    };
    EXPECT_EQ(filtered(u"WEB"_s), u"Default: web"_s);
    EXPECT_EQ(filtered(u"berl"_s), u"Berlin: mail"_s) << "the hosts of a group found by name, and it is open";
    EXPECT_EQ(filtered(u"mail.example"_s), u"Berlin: mail"_s) << "by its address";
    EXPECT_EQ(filtered(u".*"_s), QString()) << "no pattern";
    EXPECT_TRUE(says(window_, u"Nothing here holds “.*”."_s));
    QTest::keyClick(filter, Qt::Key_Escape);
    EXPECT_TRUE(window_->isVisible());
    EXPECT_EQ(shown(), u"Default: web, db; +Berlin: mail"_s);

    EXPECT_EQ(filtered(u"db"_s), u"Default: db"_s);
    QTest::keyClick(filter, Qt::Key_Down);
    EXPECT_EQ(QApplication::focusWidget(), tree_);
    select(u"db"_s);
    press(Qt::Key_D, Qt::ControlModifier);
    EXPECT_EQ(shown(), u"Default: db, Copy of [db]"_s);
    EXPECT_EQ(selected(), u"Copy of [db]"_s);
    EXPECT_EQ(savedHosts()->count(), 4);
    EXPECT_EQ(notices_, 1);
    click(window_, u"Edit…"_s);
    auto* details = opened<HostDetailsDialog>();
    type(details, u"Name:"_s, u"zz"_s);
    type(details, u"Host:"_s, u"zz"_s);
    click(details, u"OK"_s);
    EXPECT_EQ(selected(), u"zz"_s) << "what was just entered is not hidden by the filter";
}

TEST_F(RemoteHostsWindowTest, BrowsingAndStatesAreThereWhenSomethingStandsBehindThem) {
    const auto web = addHost(u"web"_s);
    addHost(u"db"_s);
    bool isConnected = true;
    std::vector<std::shared_ptr<RemoteHost>> browsed;
    show({[&](const std::shared_ptr<RemoteHost>& host) { browsed.push_back(host); },
          [&](const RemoteHost& host) { return isConnected && &host == web.get(); }});
    const auto state = [&](const QString& host) {
        return indexOf(host).siblingAtColumn(2).data().toString();
    };
    EXPECT_EQ(state(u"web"_s), u"Connected"_s);
    EXPECT_EQ(state(u"db"_s), u"Not connected"_s);
    isConnected = false;
    QSignalSpy changes(tree_->model(), &QAbstractItemModel::dataChanged);
    const TemporaryFile file("x\n");
    open(file);
    EXPECT_FALSE(changes.isEmpty()) << "a document has opened";
    EXPECT_EQ(state(u"web"_s), u"Not connected"_s);
    ASSERT_TRUE(isInFront(window_));
    select(u"Default"_s);
    EXPECT_FALSE(button(window_, u"Browse…"_s)->isEnabled());
    select(u"web"_s);
    click(window_, u"Browse…"_s);
    select(u"web"_s);
    press(Qt::Key_Return);
    QTest::mouseDClick(tree_->viewport(), Qt::LeftButton, {}, tree_->visualRect(indexOf(u"web"_s)).center());
    EXPECT_EQ(browsed, (std::vector{web, web, web}));
    EXPECT_FALSE(topLevel<HostDetailsDialog>());

    RemoteHostsWindow bare({}, alerts_);
    EXPECT_EQ(bare.findChild<QTreeView*>()->model()->columnCount(), 2);
    for (const auto* candidate : bare.findChildren<QAbstractButton*>())
        EXPECT_FALSE(candidate->text().contains(u"Browse"_s));
}

TEST_F(RemoteHostsWindowTest, TheWindowIsOneAndTakesItsDialogsWithIt) {
    addHost(u"web"_s);
    const TemporaryFile file("x\n");
    QWidget* mainWindow = open(file)->window();
    EXPECT_TRUE(isInFront(mainWindow));
    QTest::keyClick(mainWindow, Qt::Key_O, Qt::ControlModifier | Qt::ShiftModifier);
    window_ = opened<RemoteHostsWindow>();
    click(window_, u"Add Host…"_s);
    EXPECT_TRUE(topLevel<HostDetailsDialog>());
    windows_.showRemoteHosts();
    EXPECT_EQ(topLevel<RemoteHostsWindow>(), window_);
    window_->close();
    EXPECT_FALSE(topLevel<HostDetailsDialog>());
}

TEST_F(RemoteHostsWindowTest, TheWelcomeLeadsToTheHosts) {
    addHost(u"web"_s);
    windows_.showFirstWindow();
    auto* list = named<QListWidget>(topLevel<WelcomeWindow>(), u"Remote hosts"_s);
    addHost(u"db"_s);
    RemoteHostsManager::shared().groupsChanged().post();
    ASSERT_EQ(list->count(), 2);
    list->setCurrentRow(1);
    QTest::keyClick(list, Qt::Key_Return);
    tree_ = topLevel<RemoteHostsWindow>()->findChild<QTreeView*>();
    EXPECT_EQ(selected(), u"db"_s);

    std::shared_ptr<RemoteHost> browsed;
    windows_.setRemoteHostsHooks({[&](const std::shared_ptr<RemoteHost>& host) { browsed = host; }, {}});
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_EQ(browsed, hosts()[1]);
}

} // namespace
} // namespace korvane::test
