#include "foundation/FilePath.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

TEST(FilePath, EveryByteOfAPathSurvivesTheAddress) {
    QByteArray allBytes("/all ");
    for (int byte = 1; byte < 256; ++byte)
        allBytes += static_cast<char>(byte);
    allBytes.replace("/./", "/");
    const QByteArray paths[] = {
        "/var/log/a.log",
        "/a b/c\nd\te",
        "/100%/%41%2F%",
        "/what?/#fragment;x=1&y",
        "/\xFF\xC3(/\xED\xA0\x80",
        "/日本/ü",
        "/[x]/{y}|\\^`\"<>",
        "/host:80@user",
        "/.../..a/.b",
        allBytes,
    };
    for (const QByteArray& path : paths) {
        const QUrl url = fileUrlFromPath(path);
        ASSERT_TRUE(url.isValid()) << path.toPercentEncoding().constData();
        EXPECT_EQ(localPath(url), path);
        EXPECT_EQ(url.host(), QString());
        // Converted to text and back, as stored addresses are.
        EXPECT_EQ(localPath(QUrl(absoluteString(url), QUrl::StrictMode)), path);
    }
}

TEST(FilePath, RelativePathsAndDotsAreResolvedByName) {
    const std::tuple<QByteArray, QByteArray, QByteArray> cases[] = {
        {"a.log", "/var/log", "/var/log/a.log"},
        {"./a.log", "/var/log/", "/var/log/a.log"},
        {"../a.log", "/var/log", "/var/a.log"},
        {"../../../a", "/var", "/a"},
        {"/x//y/./z/../w", "/ignored", "/x/y/w"},
        {"/a/b/", "", "/a/b"},
        {"//host/share", "", "/host/share"},
        {"..", "/a", "/"},
        {"a:1", "/d", "/d/a:1"},
        {"file:x", "/d\xFF", "/d\xFF/file:x"},
    };
    for (const auto& [path, workingDirectory, expected] : cases)
        EXPECT_EQ(localPath(fileUrlFromPath(path, workingDirectory)), expected) << path.constData();
    char current[4096];
    ASSERT_NE(::getcwd(current, sizeof current), nullptr);
    EXPECT_EQ(localPath(fileUrlFromPath("here")), QByteArray(current) + "/here");
}

TEST(FilePath, NothingInANameCanHideOrPretend) {
    EXPECT_EQ(displayName(fileUrlFromPath("/d/line\nbreak\x1b[1m\x7f")), u"line␊break␛[1m␡"_s);
    EXPECT_EQ(displayName(fileUrlFromPath("/d/bad\xFFname")), u"bad\uFFFDname"_s);
    EXPECT_EQ(displayName(fileUrlFromPath(u"/d/a\u202Egol.exe\u0085\u2028"_s.toUtf8())),
              u"a\uFFFDgol.exe\uFFFD\uFFFD"_s);
    EXPECT_EQ(displayName(fileUrlFromPath(u"/d/100% ü 日本 👩\u200D🚒.log"_s.toUtf8())),
              u"100% ü 日本 👩\u200D🚒.log"_s);
    EXPECT_EQ(displayPath(fileUrlFromPath("/a b/\tc")), u"/a b/␉c"_s);
}

} // namespace
} // namespace korvane
