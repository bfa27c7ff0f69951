#include "ui/window/TabTitles.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

TEST(TabTitles, FilesOfOneNameAreToldApartByTheirFolders) {
    struct Case {
        QStringList paths;
        QStringList titles;
    };
    for (const Case& c :
         {Case{{u"/var/log/a.log"_s, u"/var/log/b.log"_s}, {u"a.log"_s, u"b.log"_s}},
          Case{{u"/srv/web1/a.log"_s, u"/srv/web2/a.log"_s, u"/b.log"_s},
               {u"a.log — web1"_s, u"a.log — web2"_s, u"b.log"_s}},
          Case{{u"/x/1/log/a.log"_s, u"/x/2/log/a.log"_s}, {u"a.log — 1/log"_s, u"a.log — 2/log"_s}},
          Case{{u"/a.log"_s, u"/x/a.log"_s}, {u"a.log — /"_s, u"a.log — x"_s}},
          Case{{u"/same/a.log"_s, u"/same/a.log"_s}, {u"a.log — same"_s, u"a.log — same"_s}}}) {
        QStringList names;
        for (const QString& path : c.paths)
            names.append(path.mid(path.lastIndexOf(u'/') + 1));
        EXPECT_EQ(tabTitles(names, c.paths), c.titles) << qPrintable(c.paths.join(u' '));
    }
}

} // namespace
} // namespace korvane
