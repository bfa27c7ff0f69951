#include "remote/hosts/AuthnType.h"

#include <QCoreApplication>

namespace korvane {

std::shared_ptr<AuthnType> PasswordAuthnType::copy() const {
    return std::make_shared<PasswordAuthnType>(password);
}

QString PasswordAuthnType::description() const {
    return QCoreApplication::translate("AuthnType", "Password");
}

std::shared_ptr<AuthnType> PublicKeyAuthnType::copy() const {
    auto copied = std::make_shared<PublicKeyAuthnType>();
    copied->publicKeyFilePath = publicKeyFilePath;
    copied->privateKeyFilePath = privateKeyFilePath;
    copied->privateKeyPwd = privateKeyPwd;
    return copied;
}

QString PublicKeyAuthnType::description() const {
    return QCoreApplication::translate("AuthnType", "Public Key");
}

std::shared_ptr<AuthnType> KeyboardAuthnType::copy() const {
    return std::make_shared<KeyboardAuthnType>();
}

QString KeyboardAuthnType::description() const {
    return QCoreApplication::translate("AuthnType", "Keyboard-interactive");
}

} // namespace korvane
