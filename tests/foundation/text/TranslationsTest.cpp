#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

namespace korvane {
namespace {

QString lines(qint64 count) {
    return QCoreApplication::translate("SlowRules", "%1 line(s)", nullptr, translations::pluralOf(count))
        .arg(QLocale().toString(count));
}

TEST(Translations, CountsAndNumbersAreWrittenInTheLanguageOfTheTexts) {
    EXPECT_EQ(lines(1), u"1 line");
    EXPECT_EQ(lines(2004), u"2,004 lines");
    EXPECT_EQ(lines(5'000'000'001), u"5,000,000,001 lines");
    // There is no German translation: the texts stay English.
    translations::install(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(lines(2004), u"2,004 lines");
}

TEST(Translations, ThePluralOfALargeCountDependsOnItsLastDigits) {
    EXPECT_EQ(translations::pluralOf(2'147'483'647), 2'147'483'647);
    EXPECT_EQ(translations::pluralOf(3'000'000'021), 1'000'021);
}

} // namespace
} // namespace korvane
