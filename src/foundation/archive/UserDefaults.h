#pragma once

#include "foundation/Mutex.h"

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

/// The user's settings: a file of keys and values, and registered defaults that are never written to it.
///
/// Keys may hold any characters. Every change is on the disk when the setter returns. Any thread; change
/// notices are called on the thread that made the change, outside the lock.
class UserDefaults {
public:
    using Handler = std::function<void(const QString& key)>;
    /// Keeps a change handler registered while it lives.
    using Token = std::shared_ptr<const Handler>;

    /// `filePath`: the settings file, created by the first write.
    explicit UserDefaults(const QString& filePath);

    /// Adds defaults; a later value for the same key replaces the earlier one. No change notice.
    void registerDefaults(const std::map<QString, QVariant>& defaults);

    /// The stored value, else the registered one, else an invalid variant.
    QVariant value(const QString& key) const;
    bool boolForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;
    /// Nullopt if the value is of another kind.
    std::optional<QByteArray> dataForKey(const QString& key) const;
    /// The texts of a list; elements of another kind are skipped.
    QStringList textsForKey(const QString& key) const;

    void set(const QString& key, const QVariant& value);
    /// Removes the stored value, so that the registered default holds again.
    void remove(const QString& key);

    QString filePath() const;
    /// False if the file exists and is not a settings file. Writing replaces the file in any case.
    bool isReadable() const;
    /// Reads the file again. No change notices.
    void reload();
    /// The fault of the last write, with the file's name; empty if it succeeded.
    QString writeFault() const;

    /// Calls `handler` with the key after every change of any key.
    [[nodiscard]] Token observe(Handler handler);

private:
    static std::unique_ptr<QSettings> openStore(const QString& filePath);
    void write(const QString& key, const QVariant& value);
    void announce(const QString& key);

    mutable Mutex mutex_;
    std::unique_ptr<QSettings> store_ GUARDED_BY(mutex_);
    std::map<QString, QVariant> registered_ GUARDED_BY(mutex_);
    std::vector<std::weak_ptr<const Handler>> handlers_ GUARDED_BY(mutex_);
    QString writeFault_ GUARDED_BY(mutex_);
};

} // namespace korvane
