#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace korvane {

/// Progress inside a window, with a button to stop. Hidden by default.
class ProgressStrip : public QWidget {
    Q_OBJECT

public:
    explicit ProgressStrip(QWidget* parent = nullptr);

    /// `percent` below 0: unknown.
    void showProgress(const QString& text, int percent);
    /// Shows a final text without bar and button for a moment, then hides. Does nothing while hidden.
    void finish(const QString& text);

Q_SIGNALS:
    void cancelled();

private:
    QLabel* label_;
    QProgressBar* bar_;
    QPushButton* cancel_;
    int serial_ = 0;
};

} // namespace korvane
