#include "foundation/archive/UserDefaults.h"

#include "support/StoreDefaults.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class UserDefaultsTest : public test::StoreTest {
protected:
    const QString file_ = path(u"settings/korvane.conf"_s);
};

TEST_F(UserDefaultsTest, KeysAreKeptApartAndExactlyWhateverTheyHold) {
    const QStringList keys =
        u"a|A|a/b|a//b|/a/b|a/b/|a\\b|a%2Fb|a%b|a%25b|a b| a|a=|[a]|General/a|%General/a|ключ/鍵|a\nb|"
        "keyWrapLines_file:///var/log/a.log|keyWrapLines_file:///var/log//a.log|"
        "keyWrapLines_file:///var/log/%FF.log|keyWrapLines_file:///var/log/%2525FF.log"_s.split(u'|');
    {
        UserDefaults defaults(file_);
        for (const QString& key : keys)
            defaults.set(key, u"value of "_s + key);
        defaults.set(u"bytes"_s, QByteArray("\0\xFF@,;\"", 6));
    }
    UserDefaults reopened(file_);
    for (const QString& key : keys)
        EXPECT_EQ(reopened.value(key).toString(), u"value of "_s + key) << key.toStdString();
    EXPECT_EQ(reopened.value(u"bytes"_s).toByteArray(), QByteArray("\0\xFF@,;\"", 6));
    reopened.remove(u"a/b"_s);
    EXPECT_FALSE(reopened.value(u"a/b"_s).isValid());
    EXPECT_TRUE(reopened.value(u"a/b/"_s).isValid());
    EXPECT_TRUE(reopened.value(u"a"_s).isValid());
}

TEST_F(UserDefaultsTest, RegisteredDefaultsShowThroughAndAreNeverWritten) {
    UserDefaults defaults(file_);
    defaults.registerDefaults({{u"a/x"_s, 1}, {u"b"_s, 2}});
    defaults.registerDefaults({{u"b"_s, 3}});
    EXPECT_EQ(defaults.value(u"a/x"_s).toInt(), 1);
    EXPECT_EQ(defaults.value(u"b"_s).toInt(), 3);
    defaults.set(u"a/x"_s, 5);
    EXPECT_EQ(defaults.value(u"a/x"_s).toInt(), 5);
    const UserDefaults reopened(file_);
    EXPECT_EQ(reopened.value(u"a/x"_s).toInt(), 5);
    EXPECT_FALSE(reopened.value(u"b"_s).isValid());
    defaults.remove(u"a/x"_s);
    EXPECT_EQ(defaults.value(u"a/x"_s).toInt(), 1);
}

TEST_F(UserDefaultsTest, EveryChangeIsToldWithItsKeyWhileTheTokenLives) {
    UserDefaults defaults(file_);
    QStringList told;
    auto token = defaults.observe([&](const QString& key) {
        told += key + u'=' + defaults.value(key).toString(); // may read a value: no lock is held
    });
    defaults.registerDefaults({{u"quiet"_s, 1}});
    defaults.set(u"a//b"_s, 1);
    defaults.set(u"a//b"_s, 2);
    defaults.remove(u"a//b"_s);
    token.reset();
    defaults.set(u"a//b"_s, 3);
    EXPECT_EQ(told, (QStringList{u"a//b=1"_s, u"a//b=2"_s, u"a//b="_s}));
}

TEST_F(UserDefaultsTest, AFileThatCannotBeWrittenIsReportedUntilItCan) {
    write(u"settings"_s, "no directory");
    UserDefaults defaults(file_);
    EXPECT_TRUE(defaults.writeFault().isEmpty());
    defaults.set(u"a"_s, 1);
    EXPECT_TRUE(defaults.writeFault().contains(file_)) << defaults.writeFault().toStdString();
    EXPECT_EQ(defaults.value(u"a"_s).toInt(), 1) << "it holds while the program runs";
    ASSERT_TRUE(QFile::remove(path(u"settings"_s)));
    defaults.set(u"b"_s, 2);
    EXPECT_TRUE(defaults.writeFault().isEmpty()) << defaults.writeFault().toStdString();
    const UserDefaults reopened(file_);
    EXPECT_EQ(reopened.value(u"a"_s).toInt(), 1);
    EXPECT_EQ(reopened.value(u"b"_s).toInt(), 2);
}

} // namespace
} // namespace korvane
