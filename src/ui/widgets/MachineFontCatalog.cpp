#include "ui/widgets/MachineFontCatalog.h"

#include <QFontDatabase>
#include <QFontInfo>

namespace korvane {

bool MachineFontCatalog::isInstalled(const QString& family) const {
    // A substitute is found under another name.
    const QFontInfo found((QFont(family)));
    return found.family().compare(family, Qt::CaseInsensitive) == 0;
}

QFont MachineFontCatalog::userFont() const {
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (QFontInfo(fixed).fixedPitch())
        return fixed;
    for (const auto* family : {"DejaVu Sans Mono", "Liberation Mono", "Noto Sans Mono"}) {
        if (isInstalled(QString::fromLatin1(family)))
            return {QString::fromLatin1(family)};
    }
    QFont font(QStringLiteral("monospace"));
    font.setStyleHint(QFont::TypeWriter);
    font.setFixedPitch(true);
    return font;
}

QFont MachineFontCatalog::systemFont() const {
    return QFontDatabase::systemFont(QFontDatabase::GeneralFont);
}

} // namespace korvane
