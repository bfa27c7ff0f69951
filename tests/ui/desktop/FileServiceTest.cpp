#include "ui/desktop/FileService.h"

#include "ui/AppFixture.h"

#include "foundation/archive/PropertyList.h"
#include "support/StandIns.h"
#include "ui/desktop/EmailComposer.h"

#include <QAction>
#include <QLabel>

#include <sys/stat.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::AppFixture;
using test::ScopedVariable;
using test::StandIns;
using test::TemporaryFile;

struct AddressedDocument : DocumentProtocol {
    explicit AddressedDocument(QUrl address) : url(std::move(address)) {}
    QUrl fileUrl() const override { return url; }
    QString displayName() const override { return {}; }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return nullptr; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override { return nullptr; }
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override { return nullptr; }
    const QUrl url;
};

struct RecordingComposer : EmailComposer {
    void setRecipients(const QStringList& addresses) override { recipients = addresses; }
    void setSubject(const QString& text) override { subject = text; }
    void perform(const QString& text, const QList<QUrl>& files) override {
        ++performed;
        body = text;
        attachments = files;
    }
    QStringList recipients;
    QString subject, body;
    QList<QUrl> attachments;
    int performed = 0;
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
    /// Writes the texts of the user, or of the system.
    static void writeTemplate(const QTemporaryDir& directory, const QByteArray& bytes) {
        ASSERT_TRUE(QDir(directory.path()).mkpath(u"korvane"_s));
        QFile file(directory.filePath(u"korvane/Share.plist"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    static RecordingComposer shared(const QUrl& url) {
        RecordingComposer composer;
        FileService(std::make_shared<AddressedDocument>(url)).share(composer);
        EXPECT_EQ(composer.performed, 1);
        return composer;
    }

    const QTemporaryDir user_, system_;
    const ScopedVariable dataHome_{"XDG_DATA_HOME", user_.path().toLocal8Bit()};
    const ScopedVariable dataDirectories_{"XDG_DATA_DIRS", system_.path().toLocal8Bit()};
};

TEST_F(FileServiceTest, WithoutATemplateTheMessageHasItsDefaults) {
    const RecordingComposer local = shared(localFile);
    EXPECT_EQ(local.subject, u"Log file attached"_s);
    EXPECT_EQ(local.body, u"See attachment"_s);
    EXPECT_EQ(local.recipients, QStringList{QString()});
    EXPECT_EQ(local.attachments, QList<QUrl>{localFile});

    const RecordingComposer remote = shared(remoteFile);
    EXPECT_EQ(remote.subject, u"See remote file"_s);
    EXPECT_EQ(remote.body, QString());
    EXPECT_EQ(remote.attachments, QList<QUrl>());
}

TEST_F(FileServiceTest, TheTemplateReplacesWhatItHolds) {
    struct Case {
        const char* fault;
        QByteArray bytes;
        QUrl url;
        QString subject, body;
        QStringList recipients;
    };
    const QStringList nobody{QString()};
    const PropertyList binary(PropertyListDictionary(
        {{u"subject"_s, PropertyList(u"from binary: $filename"_s)}, {u"content"_s, PropertyList(true)}}));
    for (const Case& c : {
             Case{"both placeholders", xml(entry("subject", "<string>$filename, again $filename</string>")),
                  localFile, u"app.log, again app.log"_s, u"See attachment"_s, nobody},
             Case{"recipients are split and not trimmed",
                  xml(entry("recipients", "<string>a@example.org, b@example.org</string>")),
                  localFile,
                  u"Log file attached"_s,
                  u"See attachment"_s,
                  {u"a@example.org"_s, u" b@example.org"_s}},
             Case{"texts keep markup, lines and letters",
                  xml(entry("content", "<string>a &lt;b&gt; &amp;\nf\u00FCr $filename</string>")), localFile,
                  u"Log file attached"_s, u"a <b> &\nf\u00FCr $filename"_s, nobody},
             Case{"remote texts, and no placeholder in the body",
                  xml(entry("remoteFileSubject", "<string>On the server: $filename</string>") +
                      entry("remoteFileBody", "<string>$filename</string>") +
                      entry("content", "<string>local</string>")),
                  remoteFile, u"On the server: my app.log"_s, u"$filename"_s, nobody},
             Case{"an empty text is a text", xml(entry("content", "<string/>")), localFile,
                  u"Log file attached"_s, QString(), nobody},
             Case{"what is no string is passed over, with all that it holds",
                  xml(entry("subject", "<integer>7</integer>") +
                      entry("recipients", "<array><string>x@example.org</string></array>") +
                      entry("other", "<dict>" + entry("content", "<string>inner</string>") + "</dict>") +
                      entry("content", "<string>kept</string>")),
                  localFile, u"Log file attached"_s, u"kept"_s, nobody},
             Case{"binary", binary.toBinary(), localFile, u"from binary: app.log"_s, u"See attachment"_s,
                  nobody},
         }) {
        writeTemplate(user_, c.bytes);
        const RecordingComposer composer = shared(c.url);
        EXPECT_EQ(composer.subject, c.subject) << c.fault;
        EXPECT_EQ(composer.body, c.body) << c.fault;
        EXPECT_EQ(composer.recipients, c.recipients) << c.fault;
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
        const RecordingComposer composer = shared(localFile);
        EXPECT_EQ(composer.subject, u"Log file attached"_s) << bytes.constData();
        EXPECT_EQ(composer.body, u"See attachment"_s) << bytes.constData();
    }
}

TEST_F(FileServiceTest, TheUsersTemplateGoesBeforeThatOfTheSystem) {
    QFile shipped(QStringLiteral(KORVANE_SAMPLES "/../packaging/Share.plist"));
    ASSERT_TRUE(shipped.open(QIODevice::ReadOnly));
    writeTemplate(system_, shipped.readAll());
    EXPECT_EQ(shared(localFile).subject, u"Log file app.log"_s);
    EXPECT_EQ(shared(remoteFile).subject, u"See remote file my app.log"_s);
    writeTemplate(user_, xml(entry("content", "<string>mine</string>")));
    EXPECT_EQ(shared(localFile).subject, u"Log file attached"_s);
    EXPECT_EQ(shared(localFile).body, u"mine"_s);
}

TEST_F(FileServiceTest, WithoutAnAddressThereIsNoMessage) {
    writeTemplate(user_, xml(entry("recipients", "<string>a@example.org</string>")));
    for (const auto& document :
         {std::shared_ptr<AddressedDocument>(), std::make_shared<AddressedDocument>(QUrl())}) {
        RecordingComposer composer;
        FileService(document).share(composer);
        EXPECT_EQ(composer.performed, 0);
        EXPECT_EQ(composer.recipients, QStringList{u"a@example.org"_s});
    }
}

// ---- The hand-over to the mail program

/// Refuses what xdg-email refuses, in its ways; leaves a file behind when it has accepted all.
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

    /// Waits until xdg-email has accepted its call, and returns its arguments.
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
         {QByteArray("plain.log"), QByteArray("with blank.log"), QByteArray("\"quote's\" $(x)`.log"),
          QByteArray("--body"), QByteArray("\xFF\xFE.log"), QByteArray("two\nlines\\n.log")}) {
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
    const QList<QByteArray> expected{"--utf8", "a@example.org", " b@example.org"};
    EXPECT_EQ(acceptedArguments(), expected);
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
    // A good one last: were any of the others started, it would not be alone.
    XdgEmailComposer composer(alerts_, {});
    compose(composer, {u"last@example.org"_s}, {}, {}, {});
    EXPECT_EQ(acceptedArguments().last(), "last@example.org");
    EXPECT_EQ(QFile(standIns_.path("xdg-email.count")).size(), 1);
}

TEST_F(SharingTest, AFailureNamesTheProgramAndARemedy) {
    struct Case {
        QByteArray shellLines;
        QString remedy;
    };
    const TemporaryFile file("1\n");
    MainWindowController* page = open(file);
    for (const Case& c :
         {Case{{}, u"Install the package “xdg-utils”"_s}, Case{"exit 2", u"still has its name"_s},
          Case{"exit 3", u"mail program"_s}, Case{"exit 4", u"status 4"_s},
          Case{"exit 5", u"right to read"_s}, Case{"kill -KILL $$", u"status 137"_s}}) {
        alerts_.alerts.clear();
        if (!c.shellLines.isEmpty())
            standIns_.add("xdg-email", c.shellLines);
        action(page, u"Share by E-mail…"_s)->trigger();
        ASSERT_TRUE(until([&] { return !alerts_.alerts.empty(); })) << c.shellLines.constData();
        QCoreApplication::processEvents();
        EXPECT_EQ(alerts_.alerts.size(), 1U) << c.shellLines.constData();
        const QString text = alerts_.alerts[0].informativeText;
        EXPECT_TRUE(text.contains(u"“xdg-email”"_s) && text.contains(c.remedy)) << qPrintable(text);
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

TEST_F(SharingTest, WhatCameByAPipeIsNotShared) {
    standIns_.add("xdg-email", refusals);
    const TemporaryFile file("1\n");
    const auto document = documents_.openDocument(file.url(), std::nullopt, u"standard input"_s);
    MainWindowController* page = windows_.pageOf(*document);
    action(page, u"Share by E-mail…"_s)->trigger();
    EXPECT_TRUE(labelsOf(page).contains(u"came by a pipe"_s));
    EXPECT_FALSE(standIns_.callOf("xdg-email"));
}

} // namespace
} // namespace korvane
