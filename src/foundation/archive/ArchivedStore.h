#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace korvane {

/// Takes over the content of a store's file; returns the number of records left out.
using RestoreStore = std::function<Result<int>(const QByteArray& archive)>;

/// Returned by `readStore` when there is no file.
inline constexpr int noStoreFile = -1;

/// Reads a store's file; returns the result of `restore`, or `noStoreFile`. A file that does not decode is an
/// error that names file and fault.
Result<int> readStore(const QString& path, const RestoreStore& restore);

/// A store in one file, read at start and saved as a whole at every change. Main thread.
class ArchivedStore {
public:
    virtual ~ArchivedStore() = default;
    ArchivedStore(const ArchivedStore&) = delete;
    ArchivedStore& operator=(const ArchivedStore&) = delete;

    /// Replaces the file; a failed write keeps the old file and is reported by `fault`. If parts of the file
    /// were left out at reading, it is copied first.
    void save();
    /// For the user: what could not be saved, or how much of the file was left out. Empty without a fault.
    const QString& fault() const { return fault_; }

protected:
    ArchivedStore(const QString& directory, const QString& fileName) : path_(directory + u'/' + fileName) {}

    /// The new store with the content of its file; unchanged when there is no file. Fails as `readStore`,
    /// without touching the file.
    template <typename Store>
    static Result<std::unique_ptr<Store>> loaded(std::unique_ptr<Store> store) {
        if (const Status read = store->read(); !read)
            return read.error();
        return store;
    }

    const QString& path() const { return path_; }
    /// Whether the file exists, as far as this object has read or written it.
    bool hasFile() const { return hasFile_; }
    void setFault(const QString& text) { fault_ = text; }

private:
    virtual QByteArray archived() const = 0;
    /// See RestoreStore.
    virtual Result<int> restore(const QByteArray& archive) = 0;
    Status read();

    const QString path_;
    QString fault_;
    bool hasFile_ = false;
    /// Parts of the file were left out at reading.
    bool keepsOldFile_ = false;
};

} // namespace korvane
