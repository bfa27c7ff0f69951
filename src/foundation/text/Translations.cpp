#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <limits>
#include <memory>

namespace korvane::translations {
namespace {

bool load(const QLocale& locale, const QString& name, const QString& directory) {
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    return translator->load(locale, name, QStringLiteral("_"), directory) &&
           QCoreApplication::installTranslator(translator.release());
}

} // namespace

void install(const QLocale& user) {
    const QString ours = QStringLiteral("korvane");
    const QString directory = QStringLiteral(":/translations");
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    if (user.language() != QLocale::English && load(user, ours, directory)) {
        load(user, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
        return;
    }
    load(english, ours, directory);
    if (user.language() != QLocale::English)
        QLocale::setDefault(english);
}

int pluralOf(qint64 count) {
    // Languages look at the last six digits at most.
    constexpr qint64 period = 1'000'000;
    return static_cast<int>(count <= std::numeric_limits<int>::max() ? count : period + count % period);
}

} // namespace korvane::translations
