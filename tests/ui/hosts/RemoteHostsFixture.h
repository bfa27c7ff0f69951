#pragma once

#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/ServerGroup.h"
#include "ui/AppFixture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>

namespace korvane::test {

/// Stores with no hosts, and the names of what a window shows.
class RemoteHostsFixture : public AppFixture {
protected:
    static std::shared_ptr<RemoteHost> addHost(const QString& name,
                                               const QString& group = ServerGroup::defaultName) {
        auto host = std::make_shared<RemoteHost>(name + QStringLiteral(".example.org"), std::uint16_t{22},
                                                 QStringLiteral("admin"));
        host->setName(name);
        host->setGroup(group);
        host->setAuthnType(std::make_shared<KeyboardAuthnType>());
        EXPECT_TRUE(RemoteHostsManager::shared().add(host));
        return host;
    }
    static std::shared_ptr<ServerGroup> addGroup(const QString& name) {
        auto group = std::make_shared<ServerGroup>(name);
        ServerGroupsManager::shared().add(group);
        return group;
    }
    static const RemoteHostsManager::Hosts& hosts() { return RemoteHostsManager::shared().hosts(); }
    /// What the next start would find.
    std::unique_ptr<RemoteHostsManager> savedHosts() const {
        return std::move(RemoteHostsManager::load(settings_.path(), Preferences::shared().userDefaults()))
            .value();
    }

    static QAbstractButton* button(const QWidget* window, const QString& text) {
        for (auto* candidate : window->findChildren<QAbstractButton*>()) {
            if (QString(candidate->text()).remove(u'&') == text)
                return candidate;
        }
        ADD_FAILURE() << "no button " << text.toStdString();
        return nullptr;
    }
    static void click(const QWidget* window, const QString& text) {
        QTest::mouseClick(button(window, text), Qt::LeftButton);
    }
    /// The field that a label stands for.
    template <typename Field = QLineEdit>
    static Field* field(const QWidget* window, const QString& labelText) {
        for (auto* label : window->findChildren<QLabel*>()) {
            if (!label->buddy() || QString(label->text()).remove(u'&') != labelText)
                continue;
            if (auto* buddy = qobject_cast<Field*>(label->buddy()))
                return buddy;
            return label->buddy()->findChild<Field*>();
        }
        ADD_FAILURE() << "no field " << labelText.toStdString();
        return nullptr;
    }
    static void type(const QWidget* window, const QString& labelText, const QString& text) {
        auto* typed = field(window, labelText);
        typed->setFocus();
        typed->selectAll();
        QTest::keyClick(typed, Qt::Key_Delete);
        QTest::keyClicks(typed, text);
    }

    int notices_ = 0;
    const Subscription subscription_ =
        RemoteHostsManager::shared().groupsChanged().subscribe([this] { ++notices_; });
};

} // namespace korvane::test
