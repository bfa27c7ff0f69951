#include "foundation/archive/UserDefaults.h"

#include <QCoreApplication>
#include <QFile>
#include <QUrl>

namespace korvane {
namespace {

/// "/" and "\" in a key would mean groups in the settings file, so such characters are stored
/// percent-encoded.
QString storedKey(const QString& key) {
    return QString::fromLatin1(QUrl::toPercentEncoding(key, ".:_ "));
}

} // namespace

UserDefaults::UserDefaults(const QString& filePath) : store_(openStore(filePath)) {}

std::unique_ptr<QSettings> UserDefaults::openStore(const QString& filePath) {
    auto store = std::make_unique<QSettings>(filePath, QSettings::IniFormat);
    store->setAtomicSyncRequired(false); // save even if the directory does not allow a lock file
    return store;
}

void UserDefaults::registerDefaults(const std::map<QString, QVariant>& defaults) {
    const MutexLock guard(mutex_);
    for (const auto& [key, value] : defaults)
        registered_[key] = value;
}

QVariant UserDefaults::value(const QString& key) const {
    const MutexLock guard(mutex_);
    QVariant stored = store_->value(storedKey(key));
    if (stored.isValid())
        return stored;
    const auto known = registered_.find(key);
    return known == registered_.end() ? QVariant() : known->second;
}

bool UserDefaults::boolForKey(const QString& key) const {
    return value(key).toBool();
}

double UserDefaults::doubleForKey(const QString& key) const {
    return value(key).toDouble();
}

std::optional<QByteArray> UserDefaults::dataForKey(const QString& key) const {
    const QVariant stored = value(key);
    return stored.typeId() == QMetaType::QByteArray ? std::optional(stored.toByteArray()) : std::nullopt;
}

QStringList UserDefaults::textsForKey(const QString& key) const {
    const QVariant stored = value(key);
    if (stored.typeId() == QMetaType::QString) // a text and a list of one text are stored alike
        return {stored.toString()};
    QStringList texts;
    for (const QVariant& element : stored.toList()) {
        if (element.typeId() == QMetaType::QString)
            texts.append(element.toString());
    }
    return texts;
}

void UserDefaults::set(const QString& key, const QVariant& value) {
    write(key, value);
}

void UserDefaults::remove(const QString& key) {
    write(key, QVariant());
}

void UserDefaults::write(const QString& key, const QVariant& value) {
    {
        const MutexLock guard(mutex_);
        // QSettings keeps its error status; a new object on the same file has the same values and may
        // succeed.
        if (store_->status() != QSettings::NoError)
            store_ = openStore(store_->fileName());
        if (value.isValid())
            store_->setValue(storedKey(key), value);
        else
            store_->remove(storedKey(key));
        store_->sync();
        // Addresses of servers and files are private.
        QFile::setPermissions(store_->fileName(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        writeFault_ =
            store_->status() == QSettings::NoError
                ? QString()
                : QCoreApplication::translate("UserDefaults", "The settings cannot be saved to “%1”")
                      .arg(store_->fileName());
    }
    announce(key);
}

QString UserDefaults::filePath() const {
    const MutexLock guard(mutex_);
    return store_->fileName();
}

bool UserDefaults::isReadable() const {
    const MutexLock guard(mutex_);
    return store_->status() == QSettings::NoError;
}

void UserDefaults::reload() {
    const MutexLock guard(mutex_);
    store_ = openStore(store_->fileName());
}

QString UserDefaults::writeFault() const {
    const MutexLock guard(mutex_);
    return writeFault_;
}

UserDefaults::Token UserDefaults::observe(Handler handler) {
    auto token = std::make_shared<const Handler>(std::move(handler));
    const MutexLock guard(mutex_);
    std::erase_if(handlers_, [](const auto& known) { return known.expired(); });
    handlers_.push_back(token);
    return token;
}

void UserDefaults::announce(const QString& key) {
    std::vector<std::weak_ptr<const Handler>> handlers;
    {
        const MutexLock guard(mutex_);
        handlers = handlers_;
    }
    for (const auto& known : handlers) {
        if (const auto handler = known.lock())
            (*handler)(key);
    }
}

} // namespace korvane
