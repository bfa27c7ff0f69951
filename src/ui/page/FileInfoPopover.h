#pragma once

#include <QFrame>
#include <QPointer>

class QFormLayout;
class QLabel;

namespace korvane {

class Document;
struct FileInformation;

/// Details of a file, over the footer of its window. Closes and deletes itself when the user clicks
/// elsewhere. Main thread.
class FileInfoPopover : public QFrame {
    Q_OBJECT

public:
    /// `document` must be open.
    FileInfoPopover(Document& document, qint64 lineCount, QWidget* parent);

    /// Shows it above the widget, at its right edge.
    void showAbove(QWidget& anchor);

private:
    void place();
    QLabel* addRow(QFormLayout& form, const QString& name, const QString& value);
    void showInformation(const FileInformation& information);

    QLabel* size_ = nullptr;
    QLabel* modified_ = nullptr;
    QLabel* accessed_ = nullptr;
    QPointer<QWidget> anchor_;
};

} // namespace korvane
