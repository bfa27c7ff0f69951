#include "ui/desktop/TerminalHandOff.h"

#include "ui/AppFixture.h"

#include "support/StandIns.h"

#include <QAction>
#include <QClipboard>
#include <QLabel>
#include <QProcess>

#include <sys/stat.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::AppFixture;
using test::ScopedVariable;
using test::StandIns;
using test::TemporaryFile;

TEST(TerminalCommandTest, TheLocalPathStandsBetweenQuotesAsItIs) {
    struct Case {
        QByteArray path;
        QString command;
    };
    for (const Case& c :
         {Case{"/var/log/app.log", u"cd \"/var/log\""_s}, Case{"/app.log", u"cd \"/\""_s},
          Case{"/my logs/100% #1/x.log", u"cd \"/my logs/100% #1\""_s},
          Case{"/a\"b'$c\\/x.log", u"cd \"/a\"b'$c\\\""_s},
          Case{"/gr\xC3\xBC\xC3\x9F/x.log", u"cd \"/grüß\""_s},
          Case{"/old gr\xFC\xDF/\xFF.log", u"cd \"/old gr$(printf '\\374')$(printf '\\337')\""_s}})
        EXPECT_EQ(localTerminalCommand(fileUrlFromPath(c.path)), c.command) << c.path.constData();
}

TEST(TerminalCommandTest, AShellGoesWhereTheCommandSays) {
    const QTemporaryDir directory;
    for (const QByteArray& name :
         {QByteArray("two words"), QByteArray("gr\xFC\xDF \xC3\xA4 \xEF\xBB\xBF \xE2\x82")}) {
        const QByteArray path = QDir(directory.path()).canonicalPath().toLocal8Bit() + '/' + name;
        ASSERT_EQ(::mkdir(path.constData(), 0700), 0);
        QProcess shell;
        shell.start(u"/bin/sh"_s,
                    {u"-c"_s, localTerminalCommand(fileUrlFromPath(path + "/x.log")) + u" && pwd -P"_s});
        ASSERT_TRUE(shell.waitForFinished());
        EXPECT_EQ(shell.readAllStandardOutput(), path + '\n');
        ::rmdir(path.constData());
    }
}

TEST(TerminalCommandTest, TheRemoteCommandLogsInAndGoesToTheDirectory) {
    struct Case {
        QString url, command;
    };
    for (const Case& c :
         {Case{u"ssh://admin@h:22//var/log/app/x.log"_s,
               u"ssh -t admin@h -p 22 \"cd '/var/log/app' ; exec $SHELL -l\""_s},
          Case{u"ssh://a%40b@10.0.0.1:2222//srv/my%20logs/x%20y.log"_s,
               u"ssh -t a@b@10.0.0.1 -p 2222 \"cd '/srv/my logs' ; exec $SHELL -l\""_s},
          Case{u"ssh://u@h:22/x.log"_s, u"ssh -t u@h -p 22 \"cd '/' ; exec $SHELL -l\""_s},
          Case{u"ssh://u@h:22/logs/x.log"_s, u"ssh -t u@h -p 22 \"cd '/logs' ; exec $SHELL -l\""_s},
          Case{u"ssh://@h:22//logs/x.log"_s, u"ssh -t h -p 22 \"cd '/logs' ; exec $SHELL -l\""_s}})
        EXPECT_EQ(remoteTerminalCommand(QUrl(c.url)), c.command);
    for (const QString& incomplete : {u"ssh://h:22//x"_s, u"ssh://u@h//x"_s, u"ssh://u@:22//x"_s})
        EXPECT_DEATH(remoteTerminalCommand(QUrl(incomplete)), "user, host or port") << qPrintable(incomplete);
}

class TerminalHandOffTest : public AppFixture {
protected:
    static QString clipboard() { return QGuiApplication::clipboard()->text(); }
    bool started(const QByteArray& name) {
        return until([&] { return standIns_.callOf(name).has_value(); });
    }

    const StandIns standIns_;
    ScopedVariable terminal_{"TERMINAL", {}};
};

TEST_F(TerminalHandOffTest, TheNoticeIsShownUntilSwitchedOffAndTheRestHappensAlways) {
    standIns_.add("x-terminal-emulator");
    struct Case {
        QUrl url;
        QString command, message, informativeText;
        bool (Preferences::*isOn)() const;
    };
    const QUrl remote(u"ssh://u@h:22//tmp/x.log"_s);
    for (const Case& c :
         {Case{fileUrlFromPath("/tmp/x.log"), u"cd \"/tmp\""_s, u"'cd' command copied to clipboard"_s,
               u"Paste in Terminal to switch to directory containing log file"_s,
               &Preferences::openLocalTerminalAlert},
          Case{remote, remoteTerminalCommand(remote), u"SSH command copied to clipboard"_s,
               u"Paste in Terminal to login to SSH server directory containing log file"_s,
               &Preferences::showRemoteTerminalAlert}}) {
        for (const bool isShown : {true, false}) {
            alerts_.alerts.clear();
            QGuiApplication::clipboard()->clear();
            standIns_.forget("x-terminal-emulator");
            handOffToTerminal(c.url, alerts_, {});
            EXPECT_EQ(clipboard(), c.command);
            EXPECT_TRUE(started("x-terminal-emulator"));
            ASSERT_EQ(alerts_.alerts.size(), isShown ? 1U : 0U) << qPrintable(c.message);
            if (!isShown)
                continue;
            EXPECT_EQ(alerts_.alerts[0].message, c.message);
            EXPECT_EQ(alerts_.alerts[0].informativeText, c.informativeText);
            EXPECT_TRUE((Preferences::shared().*c.isOn)());
            alerts_.alerts[0].suppress();
            EXPECT_FALSE((Preferences::shared().*c.isOn)());
        }
    }
}

TEST_F(TerminalHandOffTest, TheTerminalStartsInTheDirectoryOfTheFile) {
    standIns_.add("xterm");
    const QTemporaryDir directory;
    for (const QByteArray& name :
         {QByteArray("two words"), QByteArray("$(x) \"'"), QByteArray("gr\xFC\xDF")}) {
        const QByteArray path = QDir(directory.path()).canonicalPath().toLocal8Bit() + '/' + name;
        ASSERT_EQ(::mkdir(path.constData(), 0700), 0);
        standIns_.forget("xterm");
        handOffToTerminal(fileUrlFromPath(path + "/x.log"), alerts_, {});
        ASSERT_TRUE(started("xterm"));
        EXPECT_EQ(standIns_.callOf("xterm")->workingDirectory, path);
        ::rmdir(path.constData());
    }
    standIns_.forget("xterm");
    handOffToTerminal(fileUrlFromPath("/gone with its file/x.log"), alerts_, {});
    EXPECT_TRUE(started("xterm"));
}

TEST_F(TerminalHandOffTest, TheFirstTerminalThatOpensIsTaken) {
    // From the last in the order to the first: each new one goes before those already there.
    const QList<QByteArray> order{"xterm", "konsole", "gnome-terminal", "x-terminal-emulator",
                                  "xdg-terminal-exec"};
    const QUrl url = fileUrlFromPath("/tmp/x.log");
    for (const QByteArray& name : order) {
        standIns_.add(name);
        handOffToTerminal(url, alerts_, {});
        ASSERT_TRUE(started(name)) << name.constData();
        EXPECT_EQ(standIns_.callOf(name)->arguments, QList<QByteArray>());
        standIns_.forget(name);
    }
    standIns_.add("own");
    terminal_.set("own --title \"two words\" -e");
    handOffToTerminal(url, alerts_, {});
    ASSERT_TRUE(started("own"));
    const QList<QByteArray> arguments{"--title", "two words", "-e"};
    EXPECT_EQ(standIns_.callOf("own")->arguments, arguments);

    // One that fails at once has not opened, whether it is missing or says so.
    for (const QByteArray& own : {QByteArray("missing"), QByteArray("failing"), QByteArray("  ")}) {
        standIns_.add("failing", "exit 1");
        standIns_.forget("xdg-terminal-exec");
        terminal_.set(own);
        handOffToTerminal(url, alerts_, {});
        EXPECT_TRUE(started("xdg-terminal-exec")) << own.constData();
    }
}

TEST_F(TerminalHandOffTest, ATerminalThatWasUsedIsNotReplacedWhenItsShellFails) {
    standIns_.add("own", "/bin/sleep 2.2\n: >\"$0.ended\"\nexit 1");
    standIns_.add("later", "/bin/sleep 0.5\n: >\"$0.ended\"");
    standIns_.add("xdg-terminal-exec");
    for (const QByteArray& name : {QByteArray("own"), QByteArray("later")}) {
        terminal_.set(name);
        handOffToTerminal(fileUrlFromPath("/tmp/x.log"), alerts_, {});
        ASSERT_TRUE(until([&] { return QFile::exists(standIns_.path(name + ".ended")); }));
    }
    EXPECT_FALSE(standIns_.callOf("xdg-terminal-exec")) << "the next terminal was started";
}

TEST_F(TerminalHandOffTest, WithoutATerminalTheUserIsToldWhatToDo) {
    Preferences::shared().setOpenLocalTerminalAlert(false);
    standIns_.add("xterm", "exit 1");
    handOffToTerminal(fileUrlFromPath("/tmp/x.log"), alerts_, {});
    ASSERT_TRUE(until([&] { return !alerts_.alerts.empty(); }));
    EXPECT_TRUE(alerts_.alerts[0].informativeText.contains(u"clipboard"_s));
    EXPECT_TRUE(alerts_.alerts[0].informativeText.contains(u"TERMINAL"_s));
    EXPECT_EQ(clipboard(), u"cd \"/tmp\""_s);
}

TEST_F(TerminalHandOffTest, TheEntryTakesTheFileInFrontAndNothingThatCameByAPipe) {
    standIns_.add("foot");
    const TemporaryFile file("1\n");
    action(open(file), u"Open Terminal Here"_s)->trigger();
    ASSERT_TRUE(started("foot"));
    EXPECT_EQ(clipboard(), localTerminalCommand(file.url()));

    standIns_.forget("foot");
    QGuiApplication::clipboard()->setText(u"kept"_s);
    const TemporaryFile copy("1\n");
    const auto document = documents_.openDocument(copy.url(), std::nullopt, u"standard input"_s);
    MainWindowController* page = windows_.pageOf(*document);
    action(page, u"Open Terminal Here"_s)->trigger();
    EXPECT_TRUE(labelsOf(page).contains(u"came by a pipe"_s));
    EXPECT_EQ(clipboard(), u"kept"_s);
    EXPECT_FALSE(standIns_.callOf("foot"));

    QGuiApplication::clipboard()->setText(u"kept"_s);
    handOffToTerminal(QUrl(), alerts_, {});
    EXPECT_EQ(clipboard(), u"kept"_s);
}

} // namespace
} // namespace korvane
