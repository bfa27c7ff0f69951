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

/// An open file as data sources and views use it. Held by shared pointer; main thread unless said otherwise.
class DocumentProtocol {
public:
    virtual ~DocumentProtocol() = default;

    /// Any thread. The file's address; its absolute string identifies the document.
    virtual QUrl fileUrl() const = 0;
    /// The key of the user's settings for this file: the address, unless the document has no lasting one. Any
    /// thread.
    virtual QString settingsId() const { return absoluteString(fileUrl()); }
    /// The file's name as shown to the user.
    virtual QString displayName() const = 0;
    /// Null before loading, and for a remote file.
    virtual std::shared_ptr<LogFileReaderProtocol> logReader() const = 0;
    /// Null before loading.
    virtual std::shared_ptr<TailDataSourceProtocol> dataSource() const = 0;
    /// Null for a document that cannot be followed.
    virtual std::shared_ptr<FileObserverProtocol> logFileObserver() const = 0;

    /// Any thread.
    DocumentNotices& notices() { return notices_; }

private:
    DocumentNotices notices_;
};

} // namespace korvane
