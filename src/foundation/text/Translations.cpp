#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <limits>
#include <memory>

namespace korvane::translations {
namespace {

/// Returns the language of the translation, which may be any of those that the user reads; empty without one.
QString load(const QLocale& locale, const QString& name, const QString& directory) {
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(locale, name, QStringLiteral("_"), directory))
        return {};
    QString language = translator->language();
    QCoreApplication::installTranslator(translator.release());
    return language;
}

} // namespace

void install(const QLocale& user) {
    const QString ours = QStringLiteral("korvane");
    const QString directory = QStringLiteral(":/translations");
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    QString language = load(user, ours, directory);
    if (language.isEmpty())
        language = load(english, ours, directory);
    const QLocale ofTexts(language);
    if (ofTexts.language() != QLocale::English)
        load(ofTexts, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    // Also where the user's own numbers are written otherwise, as with LC_NUMERIC.
    QLocale::setDefault(ofTexts);
}

int pluralOf(qint64 count) {
    // Languages look at the last six digits at most.
    constexpr qint64 period = 1'000'000;
    return static_cast<int>(count <= std::numeric_limits<int>::max() ? count : period + count % period);
}

} // namespace korvane::translations
