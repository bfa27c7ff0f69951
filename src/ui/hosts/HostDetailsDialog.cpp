#include "ui/hosts/HostDetailsDialog.h"

#include "foundation/notices/Alerts.h"
#include "remote/Client.h"
#include "remote/UserSessionSettings.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "remote/ssh/SessionSettings.h"
#include "ui/hosts/AuthnForm.h"
#include "ui/widgets/BusyIndicator.h"
#include "ui/widgets/WidgetIds.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QUuid>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>
#include <utility>

namespace korvane {
namespace {

constexpr int firstWidth = 560;
constexpr int sshPort = 22;

QString addressFault(const QString& address) {
    const auto cannotStand = [](QChar character) {
        return character.isSpace() || character == u'/' || character == u'@';
    };
    if (address.isEmpty())
        return HostDetailsDialog::tr("Enter the name or address of the host.");
    if (std::any_of(address.begin(), address.end(), cannotStand))
        return HostDetailsDialog::tr("“%1” is not a valid host name or address.").arg(address);
    // IPv6 addresses contain at least two colons.
    if (address.count(u':') == 1)
        return HostDetailsDialog::tr("The port has a field of its own.");
    return {};
}

} // namespace

HostDetailsDialog::HostDetailsDialog(std::shared_ptr<RemoteHost> edited, AlertPresenter& alerts,
                                     QWidget* parent)
    : QDialog(parent), edited_(std::move(edited)), alerts_(alerts) {
    setWindowTitle(edited_ ? tr("Edit Host") : tr("Add Host"));
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeFields(), 1);
    layout->addWidget(makeFooter());
    resize(firstWidth, sizeHint().height());
    if (edited_) {
        showHost(*edited_);
    } else {
        authn_->setType(std::make_shared<PasswordAuthnType>(std::nullopt).get());
        address_->setFocus();
    }
    fieldsChanged();
}

HostDetailsDialog::~HostDetailsDialog() {
    cancelTest();
}

QWidget* HostDetailsDialog::makeFields() {
    auto* fields = new QWidget(this);
    name_ = new QLineEdit(fields);
    address_ = new QLineEdit(fields);
    address_->setPlaceholderText(tr("Name or address"));
    port_ = new QSpinBox(fields);
    port_->setRange(1, std::numeric_limits<std::uint16_t>::max());
    port_->setValue(sshPort);
    user_ = new QLineEdit(fields);
    group_ = new QComboBox(fields);
    for (const auto& group : ServerGroupsManager::shared().groups())
        group_->addItem(group->name());
    homePath_ = new QLineEdit(QStringLiteral("/"), fields);
    homePath_->setToolTip(tr("The directory on the host that is shown first"));
    authn_ = new AuthnForm(fields);
    usesSshConfig_ = new QCheckBox(tr("Use SSH agent and ~/.ssh/con&fig"), fields);
    usesSshConfig_->setToolTip(tr("The keys of the agent are tried first, and the host may be one that the "
                                  "configuration names"));
    if (QStandardPaths::findExecutable(QStringLiteral("ssh")).isEmpty())
        usesSshConfig_->setToolTip(tr("There is no program “ssh” on this computer: the keys of the agent are "
                                      "tried first, and ~/.ssh/config is not read"));

    auto* place = new QHBoxLayout;
    auto* portLabel = new QLabel(tr("&Port:"), fields);
    portLabel->setBuddy(port_);
    place->addWidget(address_, 1);
    place->addWidget(portLabel);
    place->addWidget(port_);
    auto* form = new QFormLayout(fields);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(tr("&Name:"), name_);
    auto* addressLabel = new QLabel(tr("&Host:"), fields);
    addressLabel->setBuddy(address_);
    form->addRow(addressLabel, place);
    form->addRow(tr("&User:"), user_);
    form->addRow(tr("&Group:"), group_);
    form->addRow(tr("Ho&me path:"), homePath_);
    form->addRow(tr("&Authentication:"), authn_);
    form->addRow(QString(), usesSshConfig_);
    for (QLineEdit* field : {name_, address_, user_, homePath_})
        connect(field, &QLineEdit::textChanged, this, [this] { fieldsChanged(); });
    connect(port_, &QSpinBox::valueChanged, this, [this] { fieldsChanged(); });
    connect(authn_, &AuthnForm::changed, this, [this] { fieldsChanged(); });
    connect(usesSshConfig_, &QCheckBox::toggled, this, [this](bool isOn) {
        authn_->setOptional(isOn);
        user_->setPlaceholderText(isOn ? tr("from ~/.ssh/config") : QString());
        fieldsChanged();
    });
    return fields;
}

QWidget* HostDetailsDialog::makeFooter() {
    auto* footer = new QWidget(this);
    hint_ = new QLabel(footer);
    hint_->setWordWrap(true);
    hint_->setTextFormat(Qt::PlainText);
    hint_->setForegroundRole(QPalette::PlaceholderText);
    // Room for two lines, so that the layout does not shift when the hint changes.
    hint_->setMinimumHeight(2 * hint_->fontMetrics().lineSpacing());
    test_ = new QPushButton(footer);
    test_->setAutoDefault(false);
    // Reserve the width of the longer caption, so that the layout does not shift.
    for (const QString& text : {tr("Cancel &Test"), tr("&Test Connection")}) {
        test_->setText(text);
        test_->setMinimumWidth(std::max(test_->minimumWidth(), test_->sizeHint().width()));
    }
    busy_ = new BusyIndicator(footer);
    busy_->setAccessibleName(tr("Connecting. Press to cancel."));
    busy_->setToolTip(tr("Connecting"));
    busy_->setFocusPolicy(Qt::NoFocus);
    QSizePolicy keepsPlace = busy_->sizePolicy();
    keepsPlace.setRetainSizeWhenHidden(true);
    busy_->setSizePolicy(keepsPlace);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, footer);
    ok_ = buttons->button(QDialogButtonBox::Ok);
    auto* row = new QHBoxLayout;
    row->addWidget(test_);
    row->addWidget(busy_);
    row->addWidget(buttons, 1);
    auto* layout = new QVBoxLayout(footer);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(hint_);
    layout->addLayout(row);
    connect(test_, &QPushButton::clicked, this, [this] { client_ ? cancelTest() : startTest(); });
    connect(busy_, &BusyIndicator::clicked, this, [this] { cancelTest(); });
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    showTestState();
    return footer;
}

// ---- Fields

void HostDetailsDialog::showHost(const RemoteHost& host) {
    name_->setText(host.name());
    address_->setText(host.host());
    port_->setValue(host.port());
    user_->setText(host.username());
    setGroup(host.group());
    shownHomePath_ = host.homePath();
    homePath_->setText(shownHomePath_);
    authn_->setType(host.authnType().get());
    usesSshConfig_->setChecked(RemoteHostsManager::shared().usesSshConfig(host));
}

void HostDetailsDialog::setGroup(const QString& name) {
    const int known = group_->findText(name);
    group_->setCurrentIndex(known < 0 ? group_->findText(ServerGroup::defaultName) : known);
}

QString HostDetailsDialog::enteredAddress() const {
    QString address = address_->text().trimmed();
    if (address.startsWith(u'[') && address.endsWith(u']'))
        address = address.mid(1, address.size() - 2);
    return address;
}

QString HostDetailsDialog::missing() const {
    if (QString fault = addressFault(enteredAddress()); !fault.isEmpty())
        return fault;
    if (user_->text().trimmed().isEmpty() && !usesSshConfig_->isChecked())
        return tr("Enter the user name.");
    if (!homePath_->text().trimmed().startsWith(u'/'))
        return tr("The home path begins with “/”.");
    return authn_->missing();
}

void HostDetailsDialog::fieldsChanged() {
    const QString missingText = missing();
    hint_->setText(missingText);
    ok_->setEnabled(missingText.isEmpty());
    ok_->setToolTip(missingText);
    showTestState();
    const bool hasUser = usesSshConfig_->isChecked() || !user_->text().trimmed().isEmpty();
    const bool hasLabel = !enteredAddress().isEmpty() && hasUser;
    const auto unnamed = enteredHost();
    unnamed->setName({});
    name_->setPlaceholderText(hasLabel ? unnamed->labelForHost() : tr("As you like to call it"));
}

std::shared_ptr<RemoteHost> HostDetailsDialog::enteredHost() const {
    auto host = std::make_shared<RemoteHost>(enteredAddress(), static_cast<std::uint16_t>(port_->value()),
                                             user_->text().trimmed());
    host->setName(name_->text().trimmed());
    host->setGroup(group_->currentText());
    host->setHomePath(homePath_->text().trimmed());
    host->setAuthnType(authn_->type());
    return host;
}

// ---- Saving

void HostDetailsDialog::accept() {
    if (!missing().isEmpty())
        return;
    const auto host = enteredHost();
    auto& store = RemoteHostsManager::shared();
    const auto place =
        std::find(store.hosts().begin(), store.hosts().end(), edited_ ? store.current(*edited_) : nullptr);
    const bool isKnown = place != store.hosts().end();
    if (isKnown) {
        host->setUuid(edited_->uuid());
        if (host->homePath() == shownHomePath_)
            host->setHomePath((*place)->homePath());
    }
    const Status saved = isKnown ? store.update(place - store.hosts().begin(), host) : store.add(host);
    if (!saved) {
        alerts_.present({Alert::Kind::Error, tr("The host cannot be saved."), saved.error().userText, {}},
                        idOf(this), {});
        return;
    }
    store.setUsesSshConfig(*host, usesSshConfig_->isChecked());
    QDialog::accept();
    Q_EMIT hostSaved(host);
}

void HostDetailsDialog::done(int result) {
    cancelTest();
    QDialog::done(result);
}

// ---- Connection test

void HostDetailsDialog::startTest() {
    // A new identity, so that the test does not use the key files which the store has for this host.
    const auto host = enteredHost();
    SessionSettings settings = userSessionSettings(*host);
    settings.usesSshConfig = usesSshConfig_->isChecked();
    client_ = Client::create(host, alerts_, settings);
    client_->setWindow(idOf(this));
    showTestState();
    client_->testConnection([self = QPointer(this), number = ++testNumber_] {
        if (!self || self->testNumber_ != number)
            return;
        self->client_.reset();
        self->showTestState();
    });
}

void HostDetailsDialog::cancelTest() {
    if (!client_)
        return;
    ++testNumber_;
    const auto cancelled = std::exchange(client_, nullptr);
    cancelled->cancelConnectionTest();
    showTestState();
}

void HostDetailsDialog::showTestState() {
    test_->setText(client_ ? tr("Cancel &Test") : tr("&Test Connection"));
    test_->setEnabled(client_ || missing().isEmpty());
    busy_->setVisible(client_ != nullptr);
}

} // namespace korvane
