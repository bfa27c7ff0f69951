#include "ui/desktop/FileService.h"

#include "ui/AppFixture.h"

#include "foundation/archive/PropertyList.h"
#include "support/FakeDocument.h"
#include "support/StandIns.h"
#include "ui/desktop/EmailComposer.h"

#include <sys/stat.h>

namespace korvane::test {
namespace {

struct RecordingComposer : EmailComposer {
    void setRecipients(const QStringList& addresses) override { recipients = addresses.join(u'|'); }
    void setSubject(const QString& text) override { subject = text; }
    void perform(const QString& text, const QList<QUrl>& files) override {
        performed.append(subject + u'|' + text + u'|' + recipients);
        attachments = files;
    }
    QString recipients, subject;
    /// "subject|body|recipients" of each message.
    QStringList performed;
    QList<QUrl> attachments;
};

const QUrl localFile = fileUrlFromPath("/var/log/app.log");
const QUrl remoteFile(u"ssh://admin@h:22//var/log/my%20app.log"_s);

QByteArray xml(const QByteArray& dictionary) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Nobody//DTD\" \"http://nowhere.invalid/PropertyList.dtd\">\n"
           "<plist version=\"1.0\"><dict>" +
           dictionary + "</dict></plist>";
}

QByteArray entry(const QByteArray& key, const QByteArray& value) {
    return "<key>" + key + "</key>" + value;
}

class FileServiceTest : public ::testing::Test {
protected:
    /// Writes the message template of the user, or of the system.
    static void writeTemplate(const QTemporaryDir& directory, const QByteArray& bytes) {
        ASSERT_TRUE(QDir(directory.path()).mkpath(u"korvane"_s));
        QFile file(directory.filePath(u"korvane/Share.plist"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    /// "subject|body|recipients" of the message that shares the file.
    static QString shared(const QUrl& url) {
        RecordingComposer composer;
        FileService(std::make_shared<FakeDocument>(nullptr, url)).share(composer);
        EXPECT_EQ(composer.attachments, url == localFile ? QList<QUrl>{localFile} : QList<QUrl>());
        return composer.performed.join(u"; "_s);
    }

    const QTemporaryDir user_, system_;
    const ScopedVariable dataHome_{"XDG_DATA_HOME", user_.path().toLocal8Bit()};
    const ScopedVariable dataDirectories_{"XDG_DATA_DIRS", system_.path().toLocal8Bit()};
};

TEST_F(FileServiceTest, TheTemplateReplacesWhatItHolds) {
    EXPECT_EQ(shared(localFile), u"Log file attached|See attachment|"_s);
    EXPECT_EQ(shared(remoteFile), u"See remote file||"_s);
    const PropertyList binary(PropertyListDictionary(
        {{u"subject"_s, PropertyList(u"from binary: $filename"_s)}, {u"content"_s, PropertyList(true)}}));
    for (const auto& [fault, bytes, url, message] : Rows<const char*, QByteArray, QUrl, QString>{
             {"both placeholders", xml(entry("subject", "<string>$filename, again $filename</string>")),
              localFile, u"app.log, again app.log|See attachment|"_s},
             {"recipients are split and not trimmed",
              xml(entry("recipients", "<string>a@example.org, b@example.org</string>")), localFile,
              u"Log file attached|See attachment|a@example.org| b@example.org"_s},
             {"texts keep markup, lines and letters",
              xml(entry("content", "<string>a &lt;b&gt; &amp;\nf\u00FCr $filename</string>")), localFile,
              u"Log file attached|a <b> &\nf\u00FCr $filename|"_s},
             {"remote texts, and no placeholder in the body",
              xml(entry("remoteFileSubject", "<string>On the server: $filename</string>") +
                  entry("remoteFileBody", "<string>$filename</string>") +
                  entry("content", "<string>local</string>")),
              remoteFile, u"On the server: my app.log|$filename|"_s},
             {"an empty text is a text", xml(entry("content", "<string/>")), localFile,
              u"Log file attached||"_s},
             {"what is no string is passed over, with all that it holds",
              xml(entry("subject", "<integer>7</integer>") +
                  entry("recipients", "<array><string>x@example.org</string></array>") +
                  entry("other", "<dict>" + entry("content", "<string>inner</string>") + "</dict>") +
                  entry("content", "<string>kept</string>")),
              localFile, u"Log file attached|kept|"_s},
             {"binary", binary.toBinary(), localFile, u"from binary: app.log|See attachment|"_s},
         }) {
        writeTemplate(user_, bytes);
        EXPECT_EQ(shared(url), message) << fault;
    }
}

TEST_F(FileServiceTest, ADamagedTemplateChangesNothing) {
    const QByteArray good = xml(entry("subject", "<string>new</string>"));
    const QByteArray inner = "<key>subject</key><string>new</string>";
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("bplist00"), good.chopped(3), good + "<more/>",
          "<plist><array>" + inner + "</array></plist>", "<dict>" + inner + "</dict>",
          xml(inner + "<key>last</key>"), xml(inner + "<string>no key</string>"),
          xml(inner + entry("content", "<string>&undeclared;</string>")),
          "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><plist><dict>" + inner +
              entry("content", "<string>&e;</string>") + "</dict></plist>"}) {
        writeTemplate(user_, bytes);
        EXPECT_EQ(shared(localFile), u"Log file attached|See attachment|"_s) << bytes.constData();
    }
}

TEST_F(FileServiceTest, TheUsersTemplateGoesBeforeThatOfTheSystem) {
    QFile shipped(QStringLiteral(KORVANE_SAMPLES "/../packaging/Share.plist"));
    ASSERT_TRUE(shipped.open(QIODevice::ReadOnly));
    writeTemplate(system_, shipped.readAll());
    const QString local = shared(localFile);
    EXPECT_TRUE(local.startsWith(u"Log file app.log|"_s)) << qPrintable(local);
    EXPECT_TRUE(shared(remoteFile).startsWith(u"See remote file my app.log|"_s));
    writeTemplate(user_, xml(entry("content", "<string>mine</string>")));
    EXPECT_EQ(shared(localFile), u"Log file attached|mine|"_s);
}

TEST_F(FileServiceTest, WithoutAnAddressThereIsNoMessage) {
    writeTemplate(user_, xml(entry("recipients", "<string>a@example.org</string>")));
    for (const auto& document :
         {std::shared_ptr<FakeDocument>(), std::make_shared<FakeDocument>(nullptr, QUrl())}) {
        RecordingComposer composer;
        FileService(document).share(composer);
        EXPECT_EQ(composer.performed, QStringList());
        EXPECT_EQ(composer.recipients, u"a@example.org"_s);
    }
}

// ---- The hand-over to the mail program

/// Fails where xdg-email fails, with the same exit status; leaves a file behind when it accepts the call.
constexpr auto refusals = R"(echo >>"$0.count"
while [ $# -gt 0 ]; do
    case "$1" in
    --utf8) ;;
    --subject | --body) [ -n "$2" ] || exit 1; shift ;;
    --attach) [ -e "$2" ] || exit 2; [ -r "$2" ] || exit 5; shift ;;
    -*) exit 1 ;;
    *@*) ;;
    *) exit 1 ;;
    esac
    shift
done
: >"$0.accepted")";

class SharingTest : public AppFixture {
protected:
    static void compose(EmailComposer& composer, const QStringList& recipients, const QString& subject,
                        const QString& body, const QList<QUrl>& files) {
        composer.setRecipients(recipients);
        composer.setSubject(subject);
        composer.perform(body, files);
    }

    /// Waits until xdg-email has accepted a call, and returns its arguments.
    QList<QByteArray> acceptedArguments() {
        if (!until([&] { return QFile::remove(standIns_.path("xdg-email.accepted")); }))
            return {"not accepted"};
        return standIns_.callOf("xdg-email")->arguments;
    }

    const QTemporaryDir noTemplate_;
    const ScopedVariable dataHome_{"XDG_DATA_HOME", noTemplate_.path().toLocal8Bit()};
    const ScopedVariable dataDirectories_{"XDG_DATA_DIRS", noTemplate_.path().toLocal8Bit()};
    const StandIns standIns_;
};

TEST_F(SharingTest, EveryFileNameArrivesAsItIs) {
    standIns_.add("xdg-email", refusals);
    for (const QByteArray& name :
         QByteArrayList{"plain.log", "with blank.log", "\"quote's\" $(x)`.log", "--body", "\xFF\xFE.log",
                        "two\nlines\\n.log", "100%25 #1?.log"}) {
        const TemporaryFile file("1\n", name);
        action(open(file), u"Share by E-mail…"_s)->trigger();
        const QList<QByteArray> expected{"--utf8",         "--subject", "Log file attached", "--body",
                                         "See attachment", "--attach",  file.path()};
        EXPECT_EQ(acceptedArguments(), expected) << name.constData();
    }
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_F(SharingTest, WhatIsEmptyIsLeftOut) {
    standIns_.add("xdg-email", refusals);
    XdgEmailComposer composer(alerts_, {});
    compose(composer, {QString(), u"a@example.org"_s, QString(), u" b@example.org"_s}, {}, {}, {});
    EXPECT_EQ(acceptedArguments(), (QByteArrayList{"--utf8", "a@example.org", " b@example.org"}));
}

TEST_F(SharingTest, ARecipientThatIsNoAddressIsNamedBeforeAnythingIsStarted) {
    standIns_.add("xdg-email", refusals);
    for (const QString& wrong :
         {u"nobody"_s, u" "_s, u"--cc@example.org"_s, u"mailto:a@example.org?cc=x"_s}) {
        alerts_.alerts.clear();
        XdgEmailComposer composer(alerts_, {});
        compose(composer, {u"a@example.org"_s, wrong}, u"s"_s, u"b"_s, {});
        ASSERT_EQ(alerts_.alerts.size(), 1U) << qPrintable(wrong);
        EXPECT_TRUE(alerts_.alerts[0].message.contains(u'“' + wrong + u'”')) << qPrintable(wrong);
    }
    // A valid one last: if any of the others had been started, it would not be the only one.
    XdgEmailComposer composer(alerts_, {});
    compose(composer, {u"last@example.org"_s}, {}, {}, {});
    EXPECT_EQ(acceptedArguments().last(), "last@example.org");
    EXPECT_EQ(QFile(standIns_.path("xdg-email.count")).size(), 1);
}

TEST_F(SharingTest, AFailureNamesTheProgramAndARemedy) {
    MainWindowController* page = open("1\n");
    for (const auto& [shellLines, remedy] :
         Rows<QByteArray, QString>{{QByteArray(), u"Install the package “xdg-utils”"_s},
                                   {"exit 2", u"still has its name"_s},
                                   {"exit 3", u"mail program"_s},
                                   {"exit 4", u"status 4"_s},
                                   {"exit 5", u"right to read"_s},
                                   {"kill -KILL $$", u"status 137"_s}}) {
        alerts_.alerts.clear();
        if (!shellLines.isEmpty())
            standIns_.add("xdg-email", shellLines);
        action(page, u"Share by E-mail…"_s)->trigger();
        ASSERT_TRUE(until([&] { return !alerts_.alerts.empty(); })) << shellLines.constData();
        QCoreApplication::processEvents();
        EXPECT_EQ(alerts_.alerts.size(), 1U) << shellLines.constData();
        const QString text = alerts_.alerts[0].informativeText;
        EXPECT_TRUE(text.contains(u"“xdg-email”"_s) && text.contains(remedy)) << qPrintable(text);
    }
}

TEST_F(SharingTest, TheWindowDoesNotWaitForTheMailProgram) {
    standIns_.add("xdg-email", "read line <\"$0.gate\"\nexit 4");
    const QByteArray gate = standIns_.path("xdg-email.gate").toLocal8Bit();
    ASSERT_EQ(::mkfifo(gate.constData(), 0600), 0);
    const TemporaryFile file("1\n");
    action(open(file), u"Share by E-mail…"_s)->trigger();
    ASSERT_TRUE(until([&] { return standIns_.callOf("xdg-email").has_value(); }));
    EXPECT_TRUE(alerts_.alerts.empty());
    QFile opened(standIns_.path("xdg-email.gate"));
    ASSERT_TRUE(opened.open(QIODevice::WriteOnly));
    opened.write("\n");
    opened.close();
    EXPECT_TRUE(until([&] { return !alerts_.alerts.empty(); }));
}

} // namespace
} // namespace korvane::test
