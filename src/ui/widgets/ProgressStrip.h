#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace korvane {

/// Progress inside a window, with a way to stop. Hidden unless told to show.
class ProgressStrip : public QWidget {
    Q_OBJECT

public:
    explicit ProgressStrip(QWidget* parent = nullptr);

    /// `percent` below 0: not known.
    void showProgress(const QString& text, int percent);
    /// Shows a last word without bar and button for a moment, then hides. Does nothing while hidden.
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
