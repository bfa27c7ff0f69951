#pragma once

#include "foundation/Mutex.h"

#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

namespace korvane {

/// How a login is authenticated. Held by shared pointer; main thread.
class AuthnType {
public:
    AuthnType() = default;
    virtual ~AuthnType() = default;
    AuthnType(const AuthnType&) = delete;
    AuthnType& operator=(const AuthnType&) = delete;

    /// A new object with the same archived fields.
    virtual std::shared_ptr<AuthnType> copy() const { return std::make_shared<AuthnType>(); }
    /// The text in menus and labels; empty for the base class, which is never shown.
    virtual QString description() const { return {}; }
};

/// The password is archived as plain text.
class PasswordAuthnType : public AuthnType {
public:
    inline static const QString KEY_PWD = QStringLiteral("pwd");

    explicit PasswordAuthnType(std::optional<QString> givenPassword = {})
        : password(std::move(givenPassword)) {}
    std::shared_ptr<AuthnType> copy() const override;
    QString description() const override;

    std::optional<QString> password;
};

/// The pass phrase is archived as plain text; the key files stay where they are.
class PublicKeyAuthnType : public AuthnType {
public:
    inline static const QString KEY_PUB_FILE_PATH = QStringLiteral("publicKeyFilePath");
    inline static const QString KEY_PVT_FILE_PATH = QStringLiteral("privateKeyFilePath");
    inline static const QString KEY_PVT_PWD = QStringLiteral("privateKeyPwd");

    std::shared_ptr<AuthnType> copy() const override;
    QString description() const override;

    std::optional<QString> publicKeyFilePath;
    std::optional<QString> privateKeyFilePath;
    /// The pass phrase of the private key.
    std::optional<QString> privateKeyPwd;
    /// The key files of a login under way; neither archived nor copied.
    std::optional<QUrl> publicKeyFileUrl;
    std::optional<QUrl> privateKeyFileUrl;
};

class KeyboardAuthnType : public AuthnType {
public:
    std::shared_ptr<AuthnType> copy() const override;
    QString description() const override;

    /// The user's answer to the prompt, kept until the object is destroyed; neither archived nor copied. Any
    /// thread.
    std::optional<QString> cachedPwd() const {
        const MutexLock guard(mutex_);
        return cachedPwd_;
    }
    void setCachedPwd(std::optional<QString> answer) {
        const MutexLock guard(mutex_);
        cachedPwd_ = std::move(answer);
    }

private:
    mutable Mutex mutex_;
    std::optional<QString> cachedPwd_ GUARDED_BY(mutex_);
};

} // namespace korvane
