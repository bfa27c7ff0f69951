#include "app/SingleInstance.h"

#include "app/RequestServer.h"
#include "app/TerminalRelay.h"
#include "support/Listener.h"
#include "support/StandIns.h"
#include "support/WindowDriver.h"

#include <array>
#include <barrier>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>

namespace korvane::test {
namespace {

using namespace std::chrono_literals;
using Role = SingleInstance::Role;

constexpr SingleInstance::Patience patient{20s, 20s};

OpenRequest requestFor(const QByteArray& path) {
    return OpenRequest::forThisProcess({{path}});
}

/// Sends one byte with copies of a descriptor beside it.
void sendWithDescriptors(const Descriptor& socket, char byte, int count) {
    const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const std::vector<int> descriptors(static_cast<std::size_t>(count), null.number());
    const std::size_t size = descriptors.size() * sizeof(int);
    std::vector<char> control(CMSG_SPACE(size));
    iovec part{&byte, 1};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    cmsghdr* beside = CMSG_FIRSTHDR(&header);
    beside->cmsg_level = SOL_SOCKET;
    beside->cmsg_type = SCM_RIGHTS;
    beside->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(beside), descriptors.data(), size);
    EXPECT_EQ(::sendmsg(socket.number(), &header, MSG_NOSIGNAL), 1);
}

qsizetype openDescriptors() {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

class SingleInstanceTest : public ::testing::Test, public WindowDriver {
protected:
    /// One start of the program, as main does it.
    std::unique_ptr<SingleInstance> start(const OpenRequest& request,
                                          SingleInstance::Patience patience = patient) const {
        return std::make_unique<SingleInstance>(
            place_, [&] { return request.message(); }, patience);
    }
    /// The role of another start while the running copy serves its requests.
    Role roleBeside(const OpenRequest& request) {
        auto started = std::async(std::launch::async, [&] { return start(request)->role(); });
        EXPECT_TRUE(until([&] { return started.wait_for(0s) == std::future_status::ready; }));
        return started.get();
    }
    /// Expects that another start hands over this path, and that no other request has been served.
    void expectOnlyServed(const QByteArray& path) {
        EXPECT_EQ(roleBeside(requestFor(path)), Role::HandedOver);
        EXPECT_EQ(servedPaths(), QByteArrayList{path});
    }

    std::unique_ptr<RequestServer> serve(const SingleInstance& instance, RequestServer::Limits limits = {}) {
        return std::make_unique<RequestServer>(
            instance.listener(), [this](OpenRequest request) { served_.push_back(std::move(request)); },
            limits);
    }

    std::pair<std::unique_ptr<SingleInstance>, std::unique_ptr<RequestServer>>
    startFirst(RequestServer::Limits limits = {}) {
        auto first = start(requestFor("/a"));
        auto server = serve(*first, limits);
        return {std::move(first), std::move(server)};
    }

    /// A connection on which `message` has been sent.
    Descriptor connected(const QByteArray& message = {}) const {
        Descriptor socket(socketAt(place_.socketPath, &::connect));
        EXPECT_EQ(::send(socket.number(), message.constData(), static_cast<std::size_t>(message.size()),
                         MSG_NOSIGNAL | MSG_DONTWAIT),
                  message.size());
        return socket;
    }

    /// The server's answer before it closes the connection; empty if there is none.
    static QByteArray answerOn(const Descriptor& socket) {
        pollfd polled{socket.number(), POLLIN, 0};
        EXPECT_TRUE(until([&] { return ::poll(&polled, 1, 0) > 0; }));
        char answer = 0;
        return ::recv(socket.number(), &answer, 1, MSG_DONTWAIT) == 1 ? QByteArray(1, answer) : QByteArray();
    }

    QByteArrayList servedPaths() const {
        QByteArrayList paths;
        for (const OpenRequest& request : served_)
            paths.append(request.files.empty() ? QByteArray() : request.files.front().place.path);
        return paths;
    }

    QTemporaryDir directory_;
    const InstancePlace place_ =
        InstancePlace::in(directory_.path().toLocal8Bit(), {}, "key").value_or(InstancePlace());
    std::vector<OpenRequest> served_;
};

TEST_F(SingleInstanceTest, TheSecondStartHandsItsRequestToTheFirst) {
    const auto first = start(requestFor("/first"));
    ASSERT_EQ(first->role(), Role::First);
    struct stat status {};
    ASSERT_EQ(::lstat(place_.socketPath.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    const auto server = serve(*first);

    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor writer(ends[1]);
    {
        OpenRequest request = OpenRequest::forThisProcess({{{}, 5, true}});
        request.files[0].input = Descriptor(ends[0]);
        EXPECT_EQ(roleBeside(request), Role::HandedOver);
    }
    ASSERT_EQ(served_.size(), 1U);
    EXPECT_TRUE(served_[0].files[0].place.standardInput);
    ASSERT_EQ(::write(writer.number(), "later", 5), 5) << "the reader is the other copy now";
    std::array<char, 10> buffer;
    EXPECT_EQ(::read(served_[0].files[0].input.number(), buffer.data(), buffer.size()), 5);
    EXPECT_NE(::fcntl(served_[0].files[0].input.number(), F_GETFD) & FD_CLOEXEC, 0)
        << "what the program starts must not hold the pipe";

    // As large as a command line can be, and larger than the buffer of a socket.
    std::vector<CommandLine::File> many;
    for (int i = 0; i < 20'000; ++i)
        many.push_back({"/" + QByteArray(100, 'x') + QByteArray::number(i), i + 1});
    OpenRequest large = OpenRequest::forThisProcess(many);
    large.files[0].input = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(roleBeside(large), Role::HandedOver);
    ASSERT_EQ(served_.size(), 2U);
    ASSERT_EQ(served_[1].files.size(), many.size());
    EXPECT_EQ(served_[1].files.back().place, many.back());
}

TEST_F(SingleInstanceTest, WhatACrashLeavesBehindIsNoHindrance) {
    const pid_t child = ::fork();
    if (child == 0) { // becomes the first copy, and crashes
        const auto crashing = start(requestFor("/a"));
        ::_exit(crashing->role() == Role::First ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(::access(place_.socketPath.constData(), F_OK), 0) << "the socket is still there";
    const auto first = start(requestFor("/b"));
    ASSERT_EQ(first->role(), Role::First);
    const auto server = serve(*first);
    expectOnlyServed("/c");
}

TEST_F(SingleInstanceTest, OfManyStartsAtOnceOneRunsAndServesAllOthers) {
    constexpr int starts = 12;
    for (int round = 0; round < 10; ++round) {
        served_.clear();
        std::barrier ready(starts);
        std::vector<std::future<std::unique_ptr<SingleInstance>>> started;
        for (int i = 0; i < starts; ++i)
            started.push_back(std::async(std::launch::async, [&, i] {
                ready.arrive_and_wait();
                return start(requestFor("/" + QByteArray::number(i)));
            }));
        std::unique_ptr<SingleInstance> first;
        std::unique_ptr<RequestServer> server;
        QByteArrayList others;
        EXPECT_TRUE(until([&] {
            for (std::size_t i = 0; i < starts; ++i) {
                if (!started[i].valid() || started[i].wait_for(0s) != std::future_status::ready)
                    continue;
                auto instance = started[i].get();
                if (instance->role() == Role::HandedOver) {
                    others.append("/" + QByteArray::number(i));
                } else {
                    EXPECT_TRUE(instance->role() == Role::First && !first);
                    server = serve(*instance);
                    first = std::move(instance);
                }
            }
            return first && others.size() == starts - 1;
        }));
        EXPECT_TRUE(std::ranges::is_permutation(servedPaths(), others)) << "none lost, none twice";
    }
}

TEST_F(SingleInstanceTest, WithoutAnAnswerAStartRunsAlone) {
    const auto hanging = start(requestFor("/a")); // listens, but serves no request
    ASSERT_EQ(hanging->role(), Role::First);
    const auto alone = start(requestFor("/b"), {50ms, 50ms});
    EXPECT_EQ(alone->role(), Role::Alone);
    EXPECT_FALSE(alone->fault().isEmpty()) << "the user is told";
    // When the first copy continues, it must not open files that were opened elsewhere.
    const auto server = serve(*hanging);
    expectOnlyServed("/c");
}

TEST_F(SingleInstanceTest, AStartWhileTheProgramEndsBecomesTheNext) {
    const auto first = start(requestFor("/a"));
    auto server = serve(*first);
    server->pause(); // the program is about to end
    auto next = std::async(std::launch::async, [&] { return start(requestFor("/b")); });
    pollfd polled{first->listener(), POLLIN, 0};
    ASSERT_TRUE(until([&] { return ::poll(&polled, 1, 0) > 0; })) << "it has connected";
    server.reset();
    first->stopListening();
    EXPECT_EQ(next.wait_for(100ms), std::future_status::timeout) << "the old copy still saves";
    first->release();
    const auto second = next.get();
    EXPECT_EQ(second->role(), Role::First);
    EXPECT_TRUE(served_.empty());
    // The user does not wait for a copy that takes too long to end.
    second->stopListening();
    const auto alone = start(requestFor("/c"), {50ms, 50ms});
    EXPECT_EQ(alone->role(), Role::Alone);
    EXPECT_FALSE(alone->fault().isEmpty());
}

TEST_F(SingleInstanceTest, APausedServerServesWhatCameMeanwhile) {
    const auto [first, server] = startFirst();
    server->pause();
    expectOnlyServed("/b");
}

TEST_F(SingleInstanceTest, NonsenseIsRefusedAndHarmsNobody) {
    const auto [first, server] = startFirst();
    QByteArray tooLarge = requestFor("/x").message().bytes;
    tooLarge[8] = '\x7F';
    OpenRequest relative = requestFor("x");
    const qsizetype before = openDescriptors();
    for (const QByteArray& nonsense :
         QByteArrayList{"GET / HTTP/1.0\r\n\r\n", tooLarge, relative.message().bytes,
                        requestFor("/x").message().bytes + "and more", QByteArray(100'000, '\0')}) {
        EXPECT_EQ(answerOn(connected(nonsense)), QByteArray(1, SingleInstance::refusedAnswer));
    }
    // Other starts are refused, too: for a relative path, or for too many descriptors.
    EXPECT_EQ(roleBeside(relative), Role::Alone);
    OpenRequest manyPipes;
    for (std::size_t i = 0; i < OpenRequest::mostDescriptors + 1; ++i)
        manyPipes.files.push_back({{"/x"}, Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC))});
    EXPECT_EQ(roleBeside(manyPipes), Role::Alone);
    manyPipes.files.clear();
    {
        const Descriptor socket = connected(); // too many descriptors, in small portions
        const QByteArray bytes = requestFor("/x").message().bytes;
        for (int i = 0; i < 2; ++i)
            sendWithDescriptors(socket, bytes[i], static_cast<int>(OpenRequest::mostDescriptors) - 10);
        EXPECT_EQ(answerOn(socket), QByteArray(1, SingleInstance::refusedAnswer));
    }
    // A peer that sends only part of its message and disconnects.
    connected(requestFor("/x").message().bytes.chopped(3));
    expectOnlyServed("/good");
    EXPECT_TRUE(until([&] { return openDescriptors() == before; })) << "what came along is closed";
}

TEST_F(SingleInstanceTest, SilentConnectionsDoNotKeepOthersOut) {
    const auto [first, server] = startFirst({200ms, 2});
    const Descriptor silent[] = {connected(), connected(), connected()};
    expectOnlyServed("/b");
    for (const Descriptor& socket : silent)
        EXPECT_EQ(answerOn(socket), QByteArray()) << "dropped in time";
}

TEST_F(SingleInstanceTest, ConnectionsBeyondTheLimitWaitOutside) {
    const auto [first, server] = startFirst({20s, 2});
    const qsizetype before = openDescriptors();
    Descriptor open[] = {connected(), connected(), connected()};
    EXPECT_TRUE(until([&] { return openDescriptors() == before + 3 + 2; }));
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(); // the third connection is already waiting
    EXPECT_EQ(openDescriptors(), before + 3 + 2);
    for (Descriptor& socket : open)
        socket.close();
    EXPECT_TRUE(until([&] { return openDescriptors() == before; }));
}

TEST_F(SingleInstanceTest, OnlyAPrivateDirectoryServes) {
    const QByteArray own = directory_.path().toLocal8Bit();
    const auto directoryOf = [](const std::optional<InstancePlace>& place) {
        return place ? place->socketPath.left(place->socketPath.lastIndexOf('/')) : QByteArray("(none)");
    };
    const auto made = [&](const char* name, mode_t mode) {
        const QByteArray path = own + '/' + name;
        EXPECT_EQ(::mkdir(path.constData(), 0700), 0);
        EXPECT_EQ(::chmod(path.constData(), mode), 0);
        return path;
    };
    const QByteArray fine = made("fine", 0700);
    const QByteArray link = own + "/link";
    ASSERT_EQ(::symlink(fine.constData(), link.constData()), 0);
    QByteArray foreign = "/root";
    if (::geteuid() == 0) {
        foreign = made("foreign", 0700);
        ASSERT_EQ(::chown(foreign.constData(), 65534, 65534), 0);
    }
    for (const QByteArray& directory :
         QByteArrayList{made("group", 0770), made("readable", 0755), link, foreign, "/dev/null", "relative",
                        "", own + '/' + QByteArray(100, 'x')}) {
        EXPECT_EQ(directoryOf(InstancePlace::in(directory, fine, "key")), fine) << directory.constData();
        EXPECT_EQ(directoryOf(InstancePlace::in("", directory, "key")), "(none)") << directory.constData();
    }
    EXPECT_EQ(directoryOf(InstancePlace::in(fine, own, "key")), fine);
    const QByteArray missing = own + "/missing";
    EXPECT_EQ(directoryOf(InstancePlace::in("", missing, "key")), missing) << "made where it is missing";
}

TEST(InstancePlaceKey, ProgramsShareACopyOnlyWhereTheyShareEverything) {
    const auto keyOf = [](const std::vector<QByteArray>& toolkitArguments = {}) {
        CommandLine commandLine;
        commandLine.files = {{"/whatever"}};
        commandLine.toolkitArguments = toolkitArguments;
        return InstancePlace::key(commandLine);
    };
    const auto keyWith = [&](const char* name, const QByteArray& value) {
        const ScopedVariable variable(name, value);
        return keyOf();
    };
    const std::vector<QByteArray> keys = {
        keyOf(),
        keyWith("XDG_CONFIG_HOME", "/another"),
        keyWith("XDG_DATA_HOME", "/another"),
        keyWith("DISPLAY", ":77"),
        keyWith("WAYLAND_DISPLAY", ":77"),
        keyWith("QT_QPA_PLATFORM", "minimal"),
        keyOf({"-display", ":78"}),
        keyOf({"-platform", "xcb"}),
    };
    EXPECT_EQ(std::set(keys.begin(), keys.end()).size(), keys.size());
    EXPECT_EQ(keyWith("DISPLAY", ":77"), keyOf({"-display", ":77"}));
    EXPECT_EQ(keyOf(), keyOf({"-style", "fusion"})) << "looks are no reason";
}

TEST(TerminalRelay, WhatIsTypedArrivesUntilNobodyReads) {
    const Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(master.isOpen() && ::grantpt(master.number()) == 0 && ::unlockpt(master.number()) == 0);
    const Descriptor terminal(::open(::ptsname(master.number()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    TerminalRelay relay;
    std::vector<int> descriptors = {null.number(), terminal.number()};
    relay.replaceTerminals(descriptors);
    EXPECT_EQ(descriptors[0], null.number()) << "no terminal";
    ASSERT_NE(descriptors[1], terminal.number());
    Descriptor reader(::fcntl(descriptors[1], F_DUPFD_CLOEXEC, 0));
    auto running = std::async(std::launch::async, [&] { relay.run(); });
    ASSERT_EQ(::write(master.number(), "typed\n", 6), 6);
    std::array<char, 20> buffer;
    EXPECT_EQ(QByteArray(buffer.data(), ::read(reader.number(), buffer.data(), buffer.size())), "typed\n");
    reader.close(); // the tab was closed
    EXPECT_EQ(running.wait_for(20s), std::future_status::ready);
}

} // namespace
} // namespace korvane::test
