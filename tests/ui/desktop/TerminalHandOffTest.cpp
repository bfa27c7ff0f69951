#include "ui/desktop/TerminalHandOff.h"

#include "ui/AppFixture.h"

#include "support/StandIns.h"

#include <sys/stat.h>
#include <unistd.h>

namespace korvane::test {
namespace {

TEST(TerminalCommandTest, TheLocalPathStandsBetweenQuotesAsItIs) {
    for (const auto& [path, command] : Rows<QByteArray, QString>{
             {"/var/log/app.log", u"cd \"/var/log\""_s},
             {"/app.log", u"cd \"/\""_s},
             {"/my logs/100% #1/x.log", u"cd \"/my logs/100% #1\""_s},
             {"/a\"b'$c\\/x.log", u"cd \"/a\"b'$c\\\""_s},
             {"/gr\xC3\xBC\xC3\x9F/x.log", u"cd \"/grüß\""_s},
             {"/old gr\xFC\xDF/\xFF.log", u"cd \"/old gr$(printf '\\374')$(printf '\\337')\""_s}})
        EXPECT_EQ(localTerminalCommand(fileUrlFromPath(path)), command) << path.constData();
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
    for (const auto& [url, command] : Rows<QString, QString>{
             {u"ssh://admin@h:22//var/log/app/x.log"_s,
              u"ssh -t admin@h -p 22 \"cd '/var/log/app' ; exec $SHELL -l\""_s},
             {u"ssh://a%40b@10.0.0.1:2222//srv/my%20logs/x%20y.log"_s,
              u"ssh -t a@b@10.0.0.1 -p 2222 \"cd '/srv/my logs' ; exec $SHELL -l\""_s},
             {u"ssh://u@h:22/x.log"_s, u"ssh -t u@h -p 22 \"cd '/' ; exec $SHELL -l\""_s},
             {u"ssh://u@h:22/logs/x.log"_s, u"ssh -t u@h -p 22 \"cd '/logs' ; exec $SHELL -l\""_s},
             {u"ssh://@h:22//logs/x.log"_s, u"ssh -t h -p 22 \"cd '/logs' ; exec $SHELL -l\""_s}})
        EXPECT_EQ(remoteTerminalCommand(QUrl(url)), command);
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
    const QUrl remote(u"ssh://u@h:22//tmp/x.log"_s);
    for (const auto& [url, command, text, isOn] : Rows<QUrl, QString, QString, bool (Preferences::*)() const>{
             {fileUrlFromPath("/tmp/x.log"), u"cd \"/tmp\""_s,
              u"'cd' command copied to clipboard|"
              "Paste in Terminal to switch to directory containing log file"_s,
              &Preferences::openLocalTerminalAlert},
             {remote, remoteTerminalCommand(remote),
              u"SSH command copied to clipboard|"
              "Paste in Terminal to login to SSH server directory containing log file"_s,
              &Preferences::showRemoteTerminalAlert}}) {
        for (const bool isShown : {true, false}) {
            alerts_.alerts.clear();
            QGuiApplication::clipboard()->clear();
            standIns_.forget("x-terminal-emulator");
            handOffToTerminal(url, alerts_, {});
            EXPECT_EQ(clipboard(), command);
            EXPECT_TRUE(started("x-terminal-emulator"));
            EXPECT_EQ((Preferences::shared().*isOn)(), isShown);
            ASSERT_EQ(alerts_.texts(), isShown ? QStringList{text} : QStringList());
            if (isShown)
                alerts_.alerts[0].suppress();
        }
    }
}

TEST_F(TerminalHandOffTest, TheTerminalStartsInTheDirectoryOfTheFile) {
    standIns_.add("xterm");
    const QTemporaryDir directory;
    for (const QByteArray& name : QByteArrayList{"two words", "$(x) \"'", "gr\xFC\xDF"}) {
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
    // In reverse order of preference: each added terminal comes before the existing ones.
    const QUrl url = fileUrlFromPath("/tmp/x.log");
    for (const QByteArray& name :
         QByteArrayList{"xterm", "konsole", "gnome-terminal", "x-terminal-emulator", "xdg-terminal-exec"}) {
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
    EXPECT_EQ(standIns_.callOf("own")->arguments, (QByteArrayList{"--title", "two words", "-e"}));

    // A terminal that is missing or fails at once does not count as opened.
    for (const QByteArray& own : QByteArrayList{"missing", "failing", "  "}) {
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
    for (const QByteArray& name : QByteArrayList{"own", "later"}) {
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
    const QString text = alerts_.alerts[0].informativeText;
    EXPECT_TRUE(text.contains(u"clipboard"_s) && text.contains(u"TERMINAL"_s)) << qPrintable(text);
    EXPECT_EQ(clipboard(), u"cd \"/tmp\""_s);
}

TEST_F(TerminalHandOffTest, TheEntryTakesTheFileInFront) {
    standIns_.add("foot");
    const TemporaryFile file("1\n");
    action(open(file), u"Open Terminal Here"_s)->trigger();
    ASSERT_TRUE(started("foot"));
    EXPECT_EQ(clipboard(), localTerminalCommand(file.url()));
}

TEST_F(TerminalHandOffTest, WhatCameByAPipeHasNoTerminalAndIsNotShared) {
    standIns_.add("foot");
    standIns_.add("xdg-email");
    QGuiApplication::clipboard()->setText(u"kept"_s);
    const TemporaryFile file("1\n");
    const auto document = documents_.openDocument(file.url(), std::nullopt, u"standard input"_s);
    MainWindowController* page = windows_.pageOf(*document);
    for (const QString& entry : {u"Open Terminal Here"_s, u"Share by E-mail…"_s}) {
        page->showUserUpdate(u"nothing"_s);
        action(page, entry)->trigger();
        EXPECT_TRUE(labelsOf(page).contains(u"came by a pipe"_s)) << qPrintable(entry);
    }
    handOffToTerminal(QUrl(), alerts_, {});
    EXPECT_EQ(clipboard(), u"kept"_s);
    EXPECT_FALSE(standIns_.callOf("foot") || standIns_.callOf("xdg-email"));
}

} // namespace
} // namespace korvane::test
