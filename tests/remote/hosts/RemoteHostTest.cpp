#include "remote/hosts/RemoteHost.h"

#include "remote/hosts/AuthnType.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

TEST(RemoteHostTest, LabelIsTheNameOrTheConnectionWithItsKindOfLogin) {
    RemoteHost host(u"h"_s, 2222, u"u"_s);
    EXPECT_EQ(host.labelForHost(), u"u@h:2222"_s);
    host.setAuthnType(std::make_shared<AuthnType>());
    EXPECT_EQ(host.labelForHost(), u"u@h:2222"_s);
    host.setAuthnType(std::make_shared<PublicKeyAuthnType>());
    EXPECT_EQ(host.labelForHost(), u"u@h:2222 (Public Key)"_s);
    host.setLabelForHost(u"web"_s);
    EXPECT_EQ(host.name(), u"web"_s);
    EXPECT_EQ(host.labelForHost(), u"web"_s);
    EXPECT_EQ(host.connectionString(), u"u@h:2222"_s);
}

TEST(RemoteHostTest, CopyIsAHostOfItsOwn) {
    RemoteHost host(u"h"_s, 22, u"u"_s);
    auto key = std::make_shared<PublicKeyAuthnType>();
    key->publicKeyFilePath = u"/id.pub"_s;
    key->privateKeyFilePath = u"/id"_s;
    key->privateKeyPwd = u"phrase"_s;
    host.setAuthnType(key);
    host.setName(u"web"_s);
    host.setGroup(u"Shop"_s);
    host.setHomePath(u"/srv"_s);
    host.setClone(true);

    const auto copy = host.copy();
    EXPECT_EQ(copy->labelForHost(), u"Copy of [web]"_s);
    EXPECT_EQ(copy->connectionString(), u"u@h:22"_s);
    EXPECT_EQ(copy->group(), u"Shop"_s);
    EXPECT_EQ(copy->homePath(), u"/"_s);
    EXPECT_FALSE(copy->clone());
    ASSERT_TRUE(copy->uuid());
    EXPECT_NE(copy->uuid(), host.uuid());
    const auto copiedKey = std::dynamic_pointer_cast<PublicKeyAuthnType>(copy->authnType());
    ASSERT_TRUE(copiedKey && copiedKey != key);
    EXPECT_EQ(copiedKey->publicKeyFilePath, key->publicKeyFilePath);
    EXPECT_EQ(copiedKey->privateKeyFilePath, key->privateKeyFilePath);
    EXPECT_EQ(copiedKey->privateKeyPwd, key->privateKeyPwd);

    const auto keyboard = std::make_shared<KeyboardAuthnType>();
    keyboard->setCachedPwd(u"answer"_s);
    host.setAuthnType(keyboard);
    host.setName({});
    const auto second = host.copy();
    EXPECT_EQ(second->name(), u"Copy of [u@h:22 (Keyboard-interactive)]"_s);
    EXPECT_EQ(std::dynamic_pointer_cast<KeyboardAuthnType>(second->authnType())->cachedPwd(), std::nullopt);

    host.setAuthnType(std::make_shared<PasswordAuthnType>(u"secret"_s));
    const auto third = std::dynamic_pointer_cast<PasswordAuthnType>(host.copy()->authnType());
    EXPECT_EQ(third->password, u"secret"_s);
    host.setAuthnType(nullptr);
    EXPECT_EQ(host.copy()->authnType(), nullptr);
}

} // namespace
} // namespace korvane
