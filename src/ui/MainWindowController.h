#pragma once

#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>

namespace korvane {

class AlertPresenter;
class Document;
class FooterViewController;
class LogViewController;
class ProgressStrip;

/// One document's part of a window: the log view, the progress of its load and the footer. Deleted with its
/// window or tab. Main thread.
class MainWindowController : public QWidget {
    Q_OBJECT

public:
    MainWindowController(std::shared_ptr<Document> document, AlertPresenter& alerts,
                         QWidget* parent = nullptr);

    const std::shared_ptr<Document>& document() const { return document_; }
    LogViewController& logView() { return *logView_; }
    /// The first scan is under way.
    bool isLoading() const;

    /// What the standing text of the footer says while it has nothing worse to say.
    void setSourceStatus(const QString& text);
    /// Tells the user something in the footer, for some seconds.
    void showUserUpdate(const QString& text);

Q_SIGNALS:
    /// The user gave up the first scan: the document is to be closed.
    void loadCancelled();
    /// The first scan has ended; all lines are known.
    void loadEnded();

private:
    void updateFooter();
    void updateProgress();
    void checkFile();

    const std::shared_ptr<Document> document_;
    LogViewController* logView_;
    ProgressStrip* loadStrip_;
    ProgressStrip* copyStrip_;
    FooterViewController* footer_;
    QTimer progressTimer_;
    QTimer fileTimer_;
    QString fileFault_;
    QString sourceStatus_;
};

} // namespace korvane
