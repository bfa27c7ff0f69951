#include "ui/window/Session.h"

#include "core/Preferences.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace korvane {
namespace {

const QString key = QStringLiteral("session");
const QString documentsKey = QStringLiteral("documents");
const QString currentKey = QStringLiteral("current");
const QString urlKey = QStringLiteral("url");
const QString topLineKey = QStringLiteral("topLine");
const QString isAtEndKey = QStringLiteral("atEnd");

} // namespace

Session Session::load() {
    const QByteArray stored = Preferences::shared().userDefaults().value(key).toByteArray();
    const QJsonObject root = QJsonDocument::fromJson(stored).object();
    Session session;
    for (const auto value : root[documentsKey].toArray()) {
        const QString url = value[urlKey].toString();
        if (!url.isEmpty())
            session.entries.push_back(
                {url, std::max<qint64>(value[topLineKey].toInteger(1), 1), value[isAtEndKey].toBool()});
    }
    session.current = root[currentKey].toString();
    return session;
}

void Session::save() const {
    if (*this == load())
        return;
    QJsonArray documents;
    for (const Entry& entry : entries)
        documents.append(
            QJsonObject{{urlKey, entry.url}, {topLineKey, entry.topLine}, {isAtEndKey, entry.isAtEnd}});
    const QJsonObject root{{documentsKey, documents}, {currentKey, current}};
    Preferences::shared().userDefaults().set(key, QJsonDocument(root).toJson(QJsonDocument::Compact));
}

} // namespace korvane
