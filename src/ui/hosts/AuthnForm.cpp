#include "ui/hosts/AuthnForm.h"

#include "remote/hosts/AuthnType.h"
#include "ui/widgets/KeyFileField.h"

#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace korvane {
namespace {

/// In the order of the list and of the pages.
enum Kind { password, publicKey, keyboard };

int kindOf(const AuthnType* type) {
    if (dynamic_cast<const PasswordAuthnType*>(type))
        return Kind::password;
    if (dynamic_cast<const PublicKeyAuthnType*>(type))
        return Kind::publicKey;
    if (dynamic_cast<const KeyboardAuthnType*>(type))
        return Kind::keyboard;
    return -1;
}

QLabel* makeNote(const QString& text, QWidget* parent) {
    auto* note = new QLabel(text, parent);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    return note;
}

QLineEdit* makeSecretField(const QString& name, const QString& whenEmpty, const QString& note,
                           QWidget* parent) {
    auto* field = new QLineEdit(parent);
    field->setEchoMode(QLineEdit::Password);
    field->setPlaceholderText(whenEmpty);
    field->setAccessibleName(name);
    field->setAccessibleDescription(note);
    return field;
}

QFormLayout* makeForm(QWidget* page) {
    auto* form = new QFormLayout(page);
    form->setContentsMargins(0, 0, 0, 0);
    return form;
}

QString storageNote() {
    return AuthnForm::tr("Stored as plain text, in a file that only you can read.");
}

std::optional<QString> given(const QString& text) {
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

AuthnForm::AuthnForm(QWidget* parent)
    : QWidget(parent), kind_(new QComboBox(this)), pages_(new QStackedWidget(this)) {
    kind_->addItems({PasswordAuthnType(std::nullopt).description(), PublicKeyAuthnType().description(),
                     KeyboardAuthnType().description()});
    kind_->setPlaceholderText(tr("Choose how to log in"));
    kind_->setAccessibleName(tr("Authentication"));
    setFocusProxy(kind_);
    setFocusPolicy(kind_->focusPolicy());
    pages_->addWidget(makePasswordPage());
    pages_->addWidget(makeKeyPage());
    pages_->addWidget(makeKeyboardPage());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(kind_, 0, Qt::AlignLeft);
    layout->addWidget(pages_, 1);
    connect(kind_, &QComboBox::currentIndexChanged, this, [this](int kind) {
        pages_->setVisible(kind >= 0);
        pages_->setCurrentIndex(kind);
        Q_EMIT changed();
    });
}

QWidget* AuthnForm::makePasswordPage() {
    auto* page = new QWidget(this);
    const QString note = storageNote();
    password_ = makeSecretField(tr("Password"), tr("Leave empty to be asked"), note, page);
    connect(password_, &QLineEdit::textChanged, this, &AuthnForm::changed);
    QFormLayout& form = *makeForm(page);
    form.addRow(tr("Pass&word:"), password_);
    form.addRow(QString(), makeNote(note, page));
    return page;
}

QWidget* AuthnForm::makeKeyPage() {
    auto* page = new QWidget(this);
    const QString note = storageNote();
    privateKey_ = new KeyFileField(tr("Private key file"), page);
    publicKey_ = new KeyFileField(tr("Public key file"), page);
    passPhrase_ =
        makeSecretField(tr("Pass phrase"), tr("Leave empty to be asked, if the key has one"), note, page);
    connect(privateKey_, &KeyFileField::changed, this, &AuthnForm::changed);
    connect(privateKey_, &KeyFileField::entered, this, [this] { completePublicKey(); });
    connect(publicKey_, &KeyFileField::changed, this, &AuthnForm::changed);
    QFormLayout& form = *makeForm(page);
    form.addRow(tr("P&rivate key:"), privateKey_);
    form.addRow(tr("Public &key:"), publicKey_);
    form.addRow(QString(), makeNote(tr("Optional: without it, it is derived from the private key."), page));
    form.addRow(tr("Pass phra&se:"), passPhrase_);
    form.addRow(QString(), makeNote(note, page));
    return page;
}

QWidget* AuthnForm::makeKeyboardPage() {
    auto* page = new QWidget(this);
    QFormLayout& form = *makeForm(page);
    form.addRow(makeNote(tr("You are asked at each login. Nothing is stored."), page));
    return page;
}

void AuthnForm::completePublicKey() {
    const QString other = privateKey_->path() + QStringLiteral(".pub");
    if (publicKey_->path().isEmpty() && QFileInfo(other).isFile())
        publicKey_->setPath(other);
}

void AuthnForm::setType(const AuthnType* type) {
    if (const auto* byPassword = dynamic_cast<const PasswordAuthnType*>(type))
        password_->setText(byPassword->password.value_or(QString()));
    if (const auto* byKey = dynamic_cast<const PublicKeyAuthnType*>(type)) {
        privateKey_->setPath(byKey->privateKeyFilePath.value_or(QString()));
        publicKey_->setPath(byKey->publicKeyFilePath.value_or(QString()));
        passPhrase_->setText(byKey->privateKeyPwd.value_or(QString()));
    }
    kind_->setCurrentIndex(kindOf(type));
}

std::shared_ptr<AuthnType> AuthnForm::type() const {
    switch (kind_->currentIndex()) {
    case Kind::password:
        return std::make_shared<PasswordAuthnType>(given(password_->text()));
    case Kind::publicKey: {
        auto byKey = std::make_shared<PublicKeyAuthnType>();
        byKey->privateKeyFilePath = given(privateKey_->path());
        byKey->publicKeyFilePath = given(publicKey_->path());
        byKey->privateKeyPwd = given(passPhrase_->text());
        return byKey;
    }
    case Kind::keyboard:
        return std::make_shared<KeyboardAuthnType>();
    default:
        return nullptr;
    }
}

QString AuthnForm::missing() const {
    switch (kind_->currentIndex()) {
    case Kind::publicKey:
        if (privateKey_->path().isEmpty() && !isOptional_)
            return tr("Choose the private key file.");
        for (const KeyFileField* field : {privateKey_, publicKey_}) {
            if (!field->path().isEmpty() && !QFileInfo(field->path()).isAbsolute())
                return tr("“%1” is not the whole path of a file.").arg(field->path());
        }
        return {};
    case Kind::password:
    case Kind::keyboard:
        return {};
    default:
        return isOptional_ ? QString() : tr("Choose how to log in.");
    }
}

} // namespace korvane
