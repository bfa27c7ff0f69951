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

    /// Shows a host's way of logging in; null for none chosen yet.
    void setType(const AuthnType* type);
    /// What the fields say; null while no kind is chosen.
    std::shared_ptr<AuthnType> type() const;
    /// Something else may prove the login, so that the fields may be left empty.
    void setOptional(bool isOptional) { isOptional_ = isOptional; }
    /// What is still to be entered or to be corrected; empty when all is there.
    QString missing() const;

Q_SIGNALS:
    void changed();

private:
    QWidget* makePasswordPage();
    QWidget* makeKeyPage();
    QWidget* makeKeyboardPage();
    /// Keys come in pairs of files with one name.
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
