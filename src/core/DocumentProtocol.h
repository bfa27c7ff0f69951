#pragma once

#include "core/DocumentNotices.h"
#include "foundation/FilePath.h"

#include <QString>
#include <QUrl>

#include <memory>

namespace korvane {

class FileObserverProtocol;
class LogFileReaderProtocol;
class TailDataSourceProtocol;

/// What data sources and views use of an open file. Held by shared pointer; main thread unless said
/// otherwise.
class DocumentProtocol {
public:
    virtual ~DocumentProtocol() = default;

    /// Any thread. The file's address; its absolute string tells documents apart.
    virtual QUrl fileUrl() const = 0;
    /// What the user has set for this file alone is kept under this: the address, unless the document has
    /// none that lasts. Any thread.
    virtual QString settingsId() const { return absoluteString(fileUrl()); }
    /// The file's name as shown to the user.
    virtual QString displayName() const = 0;
    /// Null before loading, and for a remote file.
    virtual std::shared_ptr<LogFileReaderProtocol> logReader() const = 0;
    /// Null before loading.
    virtual std::shared_ptr<TailDataSourceProtocol> dataSource() const = 0;
    /// Null for a document that cannot be followed.
    virtual std::shared_ptr<FileObserverProtocol> logFileObserver() const = 0;

    /// Any thread; see there on which each is posted.
    DocumentNotices& notices() { return notices_; }

private:
    DocumentNotices notices_;
};

} // namespace korvane
