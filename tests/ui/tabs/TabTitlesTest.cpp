#include "ui/tabs/TabTitles.h"

#include "support/WindowDriver.h"
#include "ui/tabs/TabStrip.h"

#include <set>

namespace korvane::test {
namespace {

TEST(TabTitles, FilesOfOneNameAreToldApartByTheirFolders) {
    for (const auto& [paths, titles] : Rows<QStringList, QStringList>{
             {{u"/var/log/a.log"_s, u"/var/log/b.log"_s}, {u"a.log"_s, u"b.log"_s}},
             {{u"/srv/web1/a.log"_s, u"/srv/web2/a.log"_s, u"/b.log"_s},
              {u"a.log — web1"_s, u"a.log — web2"_s, u"b.log"_s}},
             {{u"/x/1/log/a.log"_s, u"/x/2/log/a.log"_s}, {u"a.log — 1/log"_s, u"a.log — 2/log"_s}},
             {{u"/a.log"_s, u"/x/a.log"_s}, {u"a.log — /"_s, u"a.log — x"_s}},
             {{u"/same/a.log"_s, u"/same/a.log"_s}, {u"a.log — same"_s, u"a.log — same"_s}}}) {
        QStringList names;
        for (const QString& path : paths)
            names.append(path.mid(path.lastIndexOf(u'/') + 1));
        EXPECT_EQ(tabTitles(names, paths), titles) << qPrintable(paths.join(u' '));
    }
}

/// A tab strip whose painted titles can be read.
class ReadableStrip : public TabStrip {
public:
    explicit ReadableStrip(const QStringList& titles) {
        for (int i = 0; i < titles.size(); ++i)
            addTab(QString());
        setTitles(titles);
    }
    QString painted(int index) const {
        QStyleOptionTab option;
        initStyleOption(&option, index);
        return option.text;
    }
};

TEST(TabStrip, ManyTabsStayReadableAndToldApart) {
    for (const QString& title :
         {u"host-%1.log"_s, u"gateway-eu-west-%1-production-access-2026.log"_s,
          u"application-server.log — node%1/var/log/service"_s, u"𝔞𝔟𝔠𝔡𝔢𝔣𝔤𝔥𝔦𝔧%1𝔞𝔟𝔠𝔡𝔢𝔣𝔤𝔥𝔦𝔧𝔨𝔩𝔪𝔫𝔬𝔭𝔮𝔯𝔰𝔱"_s}) {
        SCOPED_TRACE(title.toStdString());
        QStringList titles;
        for (int i = 10; i < 30; ++i)
            titles.append(title.arg(i));
        ReadableStrip strip(titles);
        strip.resize(20'000, strip.sizeHint().height());
        strip.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&strip));
        const int letter = strip.fontMetrics().averageCharWidth();
        for (const int width : {20'000, 900}) {
            strip.resize(width, strip.height());
            std::set<QString> shown;
            for (int i = 0; i < strip.count(); ++i) {
                strip.setCurrentIndex(i); // scrolls it into view
                shown.insert(strip.painted(i));
                EXPECT_TRUE(strip.painted(i).isValidUtf16()) << "cut inside a character";
                EXPECT_GE(strip.tabRect(i).width(), 12 * letter);
                EXPECT_LE(strip.tabRect(i).width(), 25 * letter + 60);
            }
            EXPECT_EQ(shown.size(), 20U) << shown.begin()->toStdString();
        }
    }
}

} // namespace
} // namespace korvane::test
