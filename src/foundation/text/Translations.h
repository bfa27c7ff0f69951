#pragma once

#include <QLocale>

namespace korvane::translations {

/// Loads the translation for the user's languages, and with it that of the toolkit. Without one the texts are
/// English; their translation holds only the plurals. The default locale becomes that of the texts, so that
/// numbers are written in the language of the words around them. Main thread, once, after the application
/// object exists and before any text is shown.
void install(const QLocale& user = QLocale::system());

/// The number by which `tr` chooses the plural form for a count that may be too large for an int.
int pluralOf(qint64 count);

} // namespace korvane::translations
