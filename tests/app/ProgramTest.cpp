#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteUrl.h"
#include "remote/ssh/Askpass.h"
#include "support/KeyboardServer.h"
#include "support/TemporaryFile.h"
#include "support/WindowDriver.h"

namespace korvane::test {
namespace {

/// Runs the shipped program as a shell would.
class ProgramTest : public ::testing::Test {
protected:
    struct Outcome {
        int status = -1;
        QByteArray output;
        QByteArray errors;
    };

    void prepare(QProcess& process, bool withPlatform = true) const {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, directory_.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, directory_.path());
        environment.insert(u"XDG_DATA_HOME"_s, directory_.path());
        environment.insert(u"QT_LOGGING_RULES"_s, u"*=false"_s);
        for (const QString& variable : {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s})
            environment.remove(variable);
        if (withPlatform)
            environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        process.setProcessEnvironment(environment);
    }

    Outcome run(const QStringList& arguments, const QByteArray& input = {}, bool withPlatform = true) {
        QProcess process;
        prepare(process, withPlatform);
        process.start(QStringLiteral(KORVANE_BINARY), arguments);
        process.write(input);
        process.closeWriteChannel();
        const bool isOver = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
        return {isOver ? process.exitCode() : -1, process.readAllStandardOutput(),
                process.readAllStandardError()};
    }
    /// Takes a picture; returns the number of its pixels that are as dark as letters.
    int inkIn(const QString& shown, const QByteArray& input = {}, bool withPlatform = true) {
        const QString picture = directory_.filePath(u"picture.png"_s);
        const Outcome outcome = run({u"--snapshot"_s, picture, shown}, input, withPlatform);
        EXPECT_EQ(outcome.status, 0) << outcome.errors.constData();
        return inkOf(picture);
    }

    /// The number of the picture's pixels that are as dark as letters.
    static int inkOf(const QString& path) {
        const QImage image(path);
        int dark = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                dark += qGray(image.pixel(x, y)) < 90;
        }
        return dark;
    }

    QTemporaryDir directory_;
};

TEST_F(ProgramTest, AsAskpassItHandsOnTheQuestionAndNothingElse) {
    auto made = Askpass::create();
    ASSERT_TRUE(made);
    std::unique_ptr<Askpass> askpass = std::move(made).value();
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const QByteArray& variable : askpass->environment())
        environment.insert(QString::fromUtf8(variable.left(variable.indexOf('='))),
                           QString::fromUtf8(variable.mid(variable.indexOf('=') + 1)));
    const auto asking = [&environment](const QString& kind) {
        environment.insert(u"SSH_ASKPASS_PROMPT"_s, kind);
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(KORVANE_BINARY), {u"\033[1mWhat\u202e\nfor?\033[0m "_s});
        return process;
    };
    const auto status = [](QProcess& process) {
        EXPECT_TRUE(process.waitForFinished(60000));
        return process.exitCode();
    };
    const QString text = u"What\nfor?"_s;
    for (const auto& [kind, expected, answer] :
         Rows<QString, QString, std::optional<QString>>{{u""_s, text, u" sécret "_s},
                                                        {u""_s, text, std::nullopt},
                                                        {u"confirm"_s, text + u" (yes/no)"_s, u""_s}}) {
        const auto process = asking(kind);
        const Deadline deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        ASSERT_TRUE(awaitDescriptor(askpass->event(), POLLIN, -1, deadline));
        const auto question = askpass->takeQuestion(-1, deadline);
        ASSERT_TRUE(question && question.value());
        EXPECT_EQ(question.value()->text, expected);
        EXPECT_EQ(question.value()->isEchoed, !kind.isEmpty());
        askpass->answer(answer);
        EXPECT_EQ(status(*process), answer ? 0 : 1);
        EXPECT_EQ(QString::fromUtf8(process->readAllStandardOutput()), answer ? *answer + u'\n' : QString());
    }
    EXPECT_EQ(status(*asking(u"none"_s)), 0) << "a notice";
    askpass.reset();
    EXPECT_EQ(status(*asking({})), 1) << "nobody is there";
}

TEST_F(ProgramTest, ASnapshotShowsTheLinesOfAFileOrAPipe) {
    const TemporaryFile empty("");
    const QByteArray line = "2026-11-21 12:00:00 a line of a log that is long enough to be seen\n";
    const TemporaryFile full(line.repeated(200));
    const int blank = inkIn(QString::fromLocal8Bit(empty.path()));
    EXPECT_GT(inkIn(QString::fromLocal8Bit(full.path()), {}, false), blank + 5000);
    EXPECT_GT(inkIn(u"-"_s, line.repeated(200)), blank + 5000);
}

TEST_F(ProgramTest, ASnapshotEndsWithSeveralFilesAndWithoutAnEndAndChangesNoSetting) {
    const QByteArray settings = "[General]\npollingInterval=7777\nreopenDocuments=true\n";
    ASSERT_TRUE(QDir(directory_.path()).mkpath(u"korvane"_s));
    QFile file(directory_.filePath(u"korvane/korvane.ini"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.write(settings) > 0 && file.flush());
    const TemporaryFile one("one\n");
    const TemporaryFile two("two\n");
    const Outcome several = run({u"--snapshot"_s, directory_.filePath(u"x.png"_s),
                                 QString::fromLocal8Bit(one.path()), QString::fromLocal8Bit(two.path())});
    EXPECT_EQ(several.status, 0) << several.errors.constData();
    QProcess endless;
    prepare(endless);
    endless.start(u"sh"_s, {u"-c"_s, u"yes | \"$0\" --snapshot \"$1\" -"_s, QStringLiteral(KORVANE_BINARY),
                            directory_.filePath(u"y.png"_s)});
    ASSERT_TRUE(endless.waitForFinished(60000));
    EXPECT_EQ(endless.exitCode(), 0) << endless.readAllStandardError().constData();
    EXPECT_GT(inkOf(directory_.filePath(u"y.png"_s)), 0);
    ASSERT_TRUE(file.seek(0));
    EXPECT_EQ(file.readAll(), settings);
}

TEST_F(ProgramTest, ASignalEndsTheProgramInOrder) {
    const TemporaryFile log("a line\n");
    QProcess process;
    prepare(process);
    process.start(QStringLiteral(KORVANE_BINARY), {QString::fromLocal8Bit(log.path())});
    const auto settings = [this] {
        QFile file(directory_.filePath(u"korvane/korvane.ini"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    ASSERT_TRUE(WindowDriver::until([&] { return settings().contains(log.path()); }));
    process.terminate();
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_F(ProgramTest, HelpAndVersionNeedNoDisplayAndWhatCannotBeDoneIsSaidOnStandardError) {
    for (const QString& option : {u"--help"_s, u"--version"_s}) {
        const Outcome outcome = run({option}, {}, false);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(outcome.output.toLower().contains("korvane"));
        EXPECT_EQ(outcome.errors, "");
    }
    const QString missing = directory_.filePath(u"missing.log"_s);
    const QString snapshot = u"--snapshot"_s;
    const TemporaryFile file("x\n");
    const QString log = QString::fromLocal8Bit(file.path());
    for (const auto& [arguments, withPlatform, status, named] : Rows<QStringList, bool, int, QByteArrayList>{
             {{}, false, 1, {"--snapshot"}}, // names the option that works without a display
             {{snapshot, directory_.filePath(u"x.png"_s), missing},
              true,
              1,
              {"missing.log", "does not exist"}},
             {{u"--bogus"_s}, true, 2, {"--bogus"}},
             {{snapshot, u"/nonexistent/x.png"_s, log}, true, 1, {"/nonexistent/x.png"}}}) {
        const Outcome outcome = run(arguments, {}, withPlatform);
        EXPECT_EQ(outcome.status, status);
        for (const QByteArray& text : named)
            EXPECT_TRUE(outcome.errors.contains(text)) << outcome.errors.constData();
    }
}

TEST_F(ProgramTest, APictureOfARemoteFileEndsWhereNobodyCanAnswer) {
    const KeyboardServer server({{"", {{"Password: ", false, "secret"}}}});
    UserDefaults defaults(directory_.filePath(u"defaults.ini"_s));
    auto hosts = std::move(RemoteHostsManager::load(directory_.filePath(u"korvane"_s), defaults)).value();
    const auto host = std::make_shared<RemoteHost>(u"127.0.0.1"_s, server.port(), u"tester"_s);
    host->setAuthnType(std::make_shared<KeyboardAuthnType>());
    ASSERT_TRUE(hosts->add(host));
    ASSERT_EQ(hosts->fault(), QString());
    const QString picture = directory_.filePath(u"remote.png"_s);
    const Outcome outcome = run({u"--snapshot"_s, picture, RemoteUrl(*host, u"/x.log"_s).text()});
    EXPECT_EQ(outcome.status, 1) << outcome.errors.toStdString();
    EXPECT_TRUE(outcome.errors.contains("Enter password for user 'tester'"));
    EXPECT_TRUE(outcome.errors.contains("There is no connection to 127.0.0.1"));
    EXPECT_TRUE(QFile::exists(picture));
}

} // namespace
} // namespace korvane::test
