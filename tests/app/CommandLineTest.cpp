#include "app/CommandLine.h"

#include "foundation/FilePath.h"
#include "support/TemporaryFile.h"

#include <gtest/gtest.h>
#include <set>

namespace korvane {

void PrintTo(const CommandLine::File& file, std::ostream* stream) {
    *stream << (file.standardInput ? "<stdin>" : file.path.constData()) << " line " << file.line.value_or(-1)
            << (file.isUrl ? " url" : "");
}

namespace {

using Arguments = std::vector<QByteArray>;
using File = CommandLine::File;

Result<CommandLine> parse(const Arguments& arguments, const std::set<QByteArray>& existing = {}) {
    return CommandLine::parse(arguments, [&](const QByteArray& path) { return existing.contains(path); });
}

const File standardInput{{}, std::nullopt, true, false};

TEST(CommandLine, FilesAndLinesAreTakenApartAsTyped) {
    struct Case {
        Arguments arguments;
        std::vector<File> files;
        std::set<QByteArray> existing = {};
    };
    const Case cases[] = {
        {{}, {}},
        {{"a.log", "b.log"}, {{"a.log"}, {"b.log"}}},
        {{"a.log:12"}, {{"a.log", 12}}},
        {{"a.log:12:5"}, {{"a.log", 12}}},
        {{"a.log:12:"}, {{"a.log", 12}}},
        {{"a.log:12:5:"}, {{"a.log", 12}}},
        {{"a.log:12:0"}, {{"a.log", 12}}},
        {{"a.log:007"}, {{"a.log", 7}}},
        {{"a.log:9223372036854775807"}, {{"a.log", 9223372036854775807}}},
        // Not a line number.
        {{"a.log:"}, {{"a.log:"}}},
        {{"a.log:12x"}, {{"a.log:12x"}}},
        {{"a.log:-3"}, {{"a.log:-3"}}},
        {{"a.log::"}, {{"a.log::"}}},
        {{":12"}, {{":12"}}},
        // The name of an existing file takes precedence over a line number, and a longer name over a shorter
        // one.
        {{"a.log:12"}, {{"a.log:12"}}, {"a.log", "a.log:12"}},
        {{"a.log:0"}, {{"a.log:0"}}, {"a.log:0"}},
        {{"a.log:12:5"}, {{"a.log:12", 5}}, {"a.log", "a.log:12"}},
        {{"a.log:12:5"}, {{"a.log:12:5"}}, {"a.log", "a.log:12", "a.log:12:5"}},
        {{"a.log:12:5"}, {{"a.log", 12}}, {"a.log"}},
        // After a separate line number, the name is not split.
        {{"+12", "a.log", "b.log"}, {{"a.log", 12}, {"b.log"}}},
        {{"+12", "a.log:7"}, {{"a.log:7", 12}}},
        {{"+x", "+", "+1x"}, {{"+x"}, {"+"}, {"+1x"}}},
        // Standard input.
        {{"-"}, {standardInput}},
        {{"+3", "-", "a.log"}, {{{}, 3, true}, {"a.log"}}},
        // After "--" there are only files.
        {{"--", "--help", "-", "+5", "-style"}, {{"--help"}, {"-"}, {"+5"}, {"-style"}}},
        {{"--", "--", "-x:4"}, {{"--"}, {"-x", 4}}},
        // Addresses are not split.
        {{"ssh://me@host:22/var/log/a.log:12"},
         {{"ssh://me@host:22/var/log/a.log:12", std::nullopt, false, true}}},
        {{"+9", "SSH://me@host/a"}, {{"SSH://me@host/a", 9, false, true}}},
        {{"ssh:/a:3"}, {{"ssh:/a", 3}}},
        // Names are bytes.
        {{"\xFF\xFE \n%41:3"}, {{"\xFF\xFE \n%41", 3}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(QByteArrayList(c.arguments.begin(), c.arguments.end()).join(' ').constData());
        const auto parsed = parse(c.arguments, c.existing);
        if (!parsed) {
            ADD_FAILURE() << parsed.error().userText.toStdString();
            continue;
        }
        EXPECT_EQ(parsed.value().files, c.files);
    }
}

TEST(CommandLine, WrongArgumentsAreNamed) {
    for (const auto& [arguments, named] : std::vector<std::pair<Arguments, const char*>>{
             {{"a.log:0"}, "a.log:0"},
             {{"a.log:9223372036854775808"}, "a.log:9223372036854775808"},
             {{"+0", "a.log"}, "+0"},
             {{"+99999999999999999999", "a.log"}, "+99999999999999999999"},
             {{"a.log", "+5"}, "+5"},
             {{"+5", "+6", "a.log"}, "+5"},
             {{"+5", "--"}, "+5"},
             {{"--frobnicate"}, "--frobnicate"},
             {{"-x", "a.log"}, "-x"},
             {{"-:12"}, "-:12"},
             {{"--snapshot"}, "--snapshot"},
             {{"--snapshot="}, "--snapshot"},
             {{"-platform"}, "-platform"},
             {{"--help=all"}, "--help"},
             {{"-snapshot", "a.png"}, "-snapshot"},
             {{"-", "-"}, "-"},
             {{""}, "empty"},
         }) {
        const auto parsed = parse(arguments);
        if (parsed) {
            ADD_FAILURE() << "accepted: " << named;
            continue;
        }
        const QByteArray text = CommandLine::errorText(parsed.error());
        EXPECT_TRUE(text.startsWith("korvane: ")) << text.constData();
        EXPECT_TRUE(text.contains(named)) << text.constData();
        EXPECT_TRUE(text.contains("korvane --help")) << text.constData();
    }
}

TEST(CommandLine, TheToolkitGetsItsOptionsInItsOwnForm) {
    const auto parsed =
        parse({"-platform", "offscreen", "--style=fusion", "a.log", "-reverse", "--display", ":7"});
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed.value().toolkitArguments,
              (Arguments{"-platform", "offscreen", "-style", "fusion", "-reverse", "-display", ":7"}));
    EXPECT_EQ(parsed.value().files, (std::vector<File>{{"a.log"}}));
}

TEST(CommandLine, ASnapshotTakesTheNextArgumentWhateverItLooksLike) {
    for (const Arguments& arguments :
         {Arguments{"--snapshot", "-o:3", "a.log"}, Arguments{"a.log", "--snapshot=-o:3"}}) {
        const auto parsed = parse(arguments);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed.value().snapshotPath, "-o:3");
        EXPECT_EQ(parsed.value().files, (std::vector<File>{{"a.log"}}));
    }
}

TEST(CommandLine, HelpAndVersionCountBeforeALaterMistake) {
    const auto help = parse({"a.log", "--help", "--nonsense"});
    ASSERT_TRUE(help);
    EXPECT_TRUE(help.value().help);
    const auto version = parse({"--version", "+0"});
    ASSERT_TRUE(version);
    EXPECT_TRUE(version.value().version);
    EXPECT_FALSE(parse({"--nonsense", "--help"}));
}

TEST(CommandLine, ABrokenLinkIsThere) {
    const test::TemporaryFile file("");
    const QByteArray link = file.path() + ":12";
    ASSERT_EQ(::symlink("nowhere", link.constData()), 0);
    EXPECT_TRUE(CommandLine::fileExists(link));
    EXPECT_TRUE(CommandLine::fileExists(file.path()));
    EXPECT_FALSE(CommandLine::fileExists(file.path() + ":13"));
}

} // namespace
} // namespace korvane
