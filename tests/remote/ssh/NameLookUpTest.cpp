#include "remote/SshTest.h"
#include "support/Gate.h"
#include "support/StandIns.h"

#include <cstring>
#include <dlfcn.h>
#include <netdb.h>

namespace korvane {
namespace {

/// Blocks look-ups of names under "hangs.example", as a name server that does not answer would.
test::Gate silentNameServer;
std::atomic<int> namesAsked{0};

} // namespace
} // namespace korvane

/// Replaces the system's function in the whole test program.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* wanted, addrinfo** found) {
    using LookUp = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto system = reinterpret_cast<LookUp>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    const bool isNumeric = wanted && (wanted->ai_flags & AI_NUMERICHOST);
    if (name && !isNumeric && std::strstr(name, "hangs.example")) {
        ++korvane::namesAsked;
        korvane::silentNameServer.pass();
        return EAI_AGAIN;
    }
    return system(name, service, wanted, found);
}

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class NameLookUpTest : public test::SshTest {
protected:
    NameLookUpTest() { silentNameServer.shut(); }
    ~NameLookUpTest() override { silentNameServer.open(); }

    const test::ScopedVariable agent_{"SSH_AUTH_SOCK", {}};
};

TEST_F(NameLookUpTest, NamesWithoutAnAnswerHoldUpNothing) {
    settings_.connectingLimit = 1h;
    std::vector<std::shared_ptr<Client>> clients;
    int ended = 0;
    for (int number = 0; number < 12; ++number) {
        clients.push_back(
            clientFor(std::make_shared<RemoteHost>(u"%1.hangs.example"_s.arg(number), 22, u"me"_s)));
        clients.back()->testConnection([&ended] { ++ended; });
    }
    EXPECT_TRUE(test::waitFor([&] { return silentNameServer.waiting() == 8; }));
    for (const auto& client : clients)
        client->cancelConnectionTest();
    EXPECT_TRUE(test::waitFor([&] { return ended == 12; }));
    EXPECT_EQ(silentNameServer.waiting(), 8) << "look-ups that nobody waits for any more";

    // They delay neither numeric addresses nor the time limit, whose error names the cause.
    const test::SshServer server;
    EXPECT_EQ(connected(keyHost(server)), u"authorised, home"_s);
    settings_.connectingLimit = 1s;
    settings_.configPath = server.path(u"config"_s);
    test::writeFile(settings_.configPath, "BindAddress here.hangs.example\n");
    for (const bool isBound : {false, true}) {
        settings_.usesSshConfig = isBound;
        const QString name = isBound ? u"127.0.0.1"_s : u"there.hangs.example"_s;
        const auto late = clientFor(std::make_shared<RemoteHost>(name, server.port(), u"me"_s));
        EXPECT_EQ(connected(late), u"not authorised, no home"_s);
        EXPECT_EQ(late->fault(), u"The look-up of the name \"%1\" is not answered."_s.arg(
                                     isBound ? u"here.hangs.example"_s : name));
    }
    silentNameServer.open();
    EXPECT_TRUE(test::waitFor([&] { return silentNameServer.waiting() == 0; }));
    EXPECT_EQ(namesAsked, 8) << "a look-up that was called off before its turn";
    EXPECT_EQ(alerts_.texts(), QStringList());
}

} // namespace
} // namespace korvane
