#include "ui/window/Session.h"

#include "core/Preferences.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace korvane {
namespace {

const QString key = QStringLiteral("session");
const QString windowsKey = QStringLiteral("windows");
const QString documentsKey = QStringLiteral("documents");
const QString currentKey = QStringLiteral("current");
const QString geometryKey = QStringLiteral("geometry");
const QString urlKey = QStringLiteral("url");
const QString topLineKey = QStringLiteral("topLine");
const QString isAtEndKey = QStringLiteral("atEnd");

Session::Window windowFrom(const QJsonObject& stored) {
    Session::Window window;
    for (const auto value : stored[documentsKey].toArray()) {
        const QString url = value[urlKey].toString();
        if (!url.isEmpty())
            window.entries.push_back(
                {url, std::max<qint64>(value[topLineKey].toInteger(1), 1), value[isAtEndKey].toBool()});
    }
    window.current = stored[currentKey].toString();
    window.geometry = QByteArray::fromBase64(stored[geometryKey].toString().toLatin1());
    return window;
}

QJsonObject objectFrom(const Session::Window& window) {
    QJsonArray documents;
    for (const Session::Entry& entry : window.entries)
        documents.append(
            QJsonObject{{urlKey, entry.url}, {topLineKey, entry.topLine}, {isAtEndKey, entry.isAtEnd}});
    return {{documentsKey, documents},
            {currentKey, window.current},
            {geometryKey, QString::fromLatin1(window.geometry.toBase64())}};
}

} // namespace

Session Session::load() {
    const QByteArray stored = Preferences::shared().userDefaults().value(key).toByteArray();
    const QJsonObject root = QJsonDocument::fromJson(stored).object();
    Session session;
    for (const auto value : root[windowsKey].toArray()) {
        Window window = windowFrom(value.toObject());
        if (!window.entries.empty())
            session.windows.push_back(std::move(window));
    }
    // Format of earlier versions, with a single window.
    if (Window window = windowFrom(root); !window.entries.empty())
        session.windows.push_back(std::move(window));
    return session;
}

void Session::save() const {
    if (*this == load())
        return;
    QJsonArray stored;
    for (const Window& window : windows)
        stored.append(objectFrom(window));
    Preferences::shared().userDefaults().set(
        key, QJsonDocument(QJsonObject{{windowsKey, stored}}).toJson(QJsonDocument::Compact));
}

} // namespace korvane
