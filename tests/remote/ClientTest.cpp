#include "remote/Client.h"

#include "foundation/OperationQueue.h"
#include "remote/AuthnType.h"
#include "remote/RemoteHost.h"
#include "remote/SFTPClient.h"
#include "support/RecordingAlerts.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(Smoke, First) {
    test::SshServer server;
    test::RecordingAlerts alerts;
    auto host = std::make_shared<RemoteHost>(u"127.0.0.1"_s, server.port(), server.user());
    auto type = std::make_shared<PublicKeyAuthnType>();
    type->privateKeyFilePath = server.makeKey(u"id"_s);
    type->publicKeyFilePath = server.path(u"id.pub"_s);
    host->setAuthnType(type);
    auto client = Client::create(host, alerts);
    auto connection = client->connect();
    ASSERT_TRUE(connection) << connection.error().userText.toStdString();
    EXPECT_TRUE(connection.value().isAuthorised);
    EXPECT_TRUE(connection.value().homePathExists);
    EXPECT_EQ(client->execute(u"echo hello; exit 3"_s), u"hello\n"_s);
    EXPECT_EQ(client->execute(u"head -c 3000000 /dev/zero | tr '\\0' x"_s).size(), 3000000);
    auto list = SFTPClient(client).contentsOfDirectoryAtPath(u"/etc"_s);
    ASSERT_TRUE(list) << list.error().userText.toStdString();
    EXPECT_GT(list.value().size(), 20u);
    client->disconnect();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
}

} // namespace
} // namespace korvane
