#pragma once

#include "documents/FileCheck.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

namespace korvane {

class Document;

/// Watches the file of a document while it is not followed (a monitor does that otherwise), and
/// re-establishes its lost connection. It belongs to who shows the document, since a document nobody shows
/// needs neither. Main thread.
class FileWatch : public QObject {
    Q_OBJECT

public:
    /// `isShown`: whether the user sees the document, which is worth a connection.
    FileWatch(std::shared_ptr<Document> document, std::function<bool()> isShown, QObject* parent = nullptr);

Q_SIGNALS:
    /// The file was checked; also when nothing has changed.
    void checked(FileFault fault);

private:
    void check();

    const std::shared_ptr<Document> document_;
    const std::function<bool()> isShown_;
    QTimer timer_;
};

} // namespace korvane
