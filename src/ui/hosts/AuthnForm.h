#pragma once

#include <QWidget>

#include <memory>

class QComboBox;
class QLineEdit;
class QStackedWidget;

namespace korvane {

class AuthnType;
class KeyFileField;

/// How a login is proven: the kind, and the fields that belong to it. Main thread.
class AuthnForm : public QWidget {
    Q_OBJECT

public:
    explicit AuthnForm(QWidget* parent = nullptr);

    /// Shows the authentication of a host; null when none is chosen yet.
    void setType(const AuthnType* type);
    /// The values of the fields; null while no kind is chosen.
    std::shared_ptr<AuthnType> type() const;
    /// Allows empty fields, for logins that another source (the SSH agent) may authenticate.
    void setOptional(bool isOptional) { isOptional_ = isOptional; }
    /// Hint about the first missing or invalid field; empty when all are valid.
    QString missing() const;

Q_SIGNALS:
    void changed();

private:
    QWidget* makePasswordPage();
    QWidget* makeKeyPage();
    QWidget* makeKeyboardPage();
    /// Fills in the other file of a key pair, which has the same name.
    void completePublicKey();

    QComboBox* kind_;
    QStackedWidget* pages_;
    QLineEdit* password_ = nullptr;
    KeyFileField* privateKey_ = nullptr;
    KeyFileField* publicKey_ = nullptr;
    QLineEdit* passPhrase_ = nullptr;
    bool isOptional_ = false;
};

} // namespace korvane
