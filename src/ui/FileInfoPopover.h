#pragma once

#include "foundation/OperationQueue.h"

#include <QFrame>
#include <QPointer>

#include <memory>

class QFormLayout;
class QLabel;

namespace korvane {

class Document;

/// What is known of a file, over the footer of its window. Goes away when the user clicks elsewhere; deletes
/// itself then. Main thread.
class FileInfoPopover : public QFrame {
    Q_OBJECT

public:
    /// `document` must be open.
    FileInfoPopover(const Document& document, qint64 lineCount, QWidget* parent);
    ~FileInfoPopover() override;

    /// Above the widget, at its right edge.
    void showAbove(QWidget& anchor);

private:
    void place();
    QLabel* addRow(QFormLayout& form, const QString& name, const QString& value);
    /// The file system is asked in the background.
    void askFileSystem(const QByteArray& path);

    QLabel* size_ = nullptr;
    QLabel* modified_ = nullptr;
    QLabel* accessed_ = nullptr;
    QPointer<QWidget> anchor_;
    OperationQueue queue_;
};

} // namespace korvane
