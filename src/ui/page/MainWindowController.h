#pragma once

#include "core/FileStatus.h"
#include "foundation/archive/UserDefaults.h"
#include "foundation/notices/Notice.h"
#include "ui/page/FileNotices.h"

#include <QTimer>
#include <QWidget>

class QLabel;

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class AlertPresenter;
class ConnectionStrip;
class Document;
class FooterViewController;
class NoticeStrip;
class LogViewController;
class ProgressStrip;

/// One document's part of a window: the log view, the progress of its load and the footer. Deleted with its
/// window or tab. Main thread.
class MainWindowController : public QWidget {
    Q_OBJECT

public:
    MainWindowController(std::shared_ptr<Document> document, AlertPresenter& alerts,
                         QWidget* parent = nullptr);
    ~MainWindowController() override;

    const std::shared_ptr<Document>& document() const { return document_; }
    LogViewController& logView() { return *logView_; }
    /// The first scan is under way.
    bool isLoading() const;
    bool isTailing() const;
    /// Also brings the end into view; during the first scan, following begins behind it.
    void startTailing();
    void stopTailing();

    /// What the standing text of the footer says while it has nothing worse to say.
    void setSourceStatus(const QString& text);
    /// What is known of the file, over the footer.
    void showFileInfo();
    /// Opens an e-mail with the file, or one that names it.
    void shareByEmail();
    /// Opens a terminal in the file's directory, with the command that goes there on the clipboard.
    void openTerminal();
    /// The file lies on a server that there is no connection with, and none is being made.
    bool canConnect() const;
    void connectToServer();
    /// Reads a local file anew from its path.
    void reload();
    bool canReload() const;
    /// Tells the user something in the footer, for some seconds.
    void showUserUpdate(const QString& text);
    /// Reading what comes by a pipe pauses, and why; empty when it goes on.
    void setInputPause(const QString& reason);
    /// Whether what came by a pipe can be read from its start another time.
    void setInputReloadable(bool value);
    /// Tells of what the program keeps and could not write, until the user puts it aside.
    void showStoreFault(const QString& text);

Q_SIGNALS:
    /// The user gave up the first scan: the document is to be closed.
    void loadCancelled();
    /// The first scan has ended; all lines are known.
    void loadEnded();
    /// Following has begun or ended.
    void tailingChanged();
    void rulesEditorRequested();
    /// The user has decided about a pause.
    void inputGoOnRequested();
    void inputEndRequested();
    /// The input is to be read again, before the document is reloaded.
    void inputReloadRequested();
    /// `canConnect` may answer differently.
    void connectionChanged();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateFooter();
    void loadStateChanged();
    void updateProgress();
    void showNotices();
    void remedy(PageNotice::Remedy remedy);
    void chooseEncoding();
    void takeSlowRules();
    void showConnection();
    void placeEmptyReason();
    void checkFile();
    void tailingHasChanged();
    void fileStatusChanged(FileStatus status);

    const std::shared_ptr<Document> document_;
    AlertPresenter& alerts_;
    LogViewController* logView_;
    ConnectionStrip* connectionStrip_;
    NoticeStrip* noticeStrip_;
    QLabel* emptyReason_;
    ProgressStrip* loadStrip_;
    ProgressStrip* copyStrip_;
    FooterViewController* footer_;
    /// Moves the bar while the file is loading.
    QTimer progressTimer_;
    QTimer fileTimer_;
    QString sourceStatus_;
    FileNotices notices_;
    bool hasLoaded_ = false;
    bool isInputReloadable_ = false;
    Subscriptions subscriptions_;
    UserDefaults::Token preferencesToken_;
};

} // namespace korvane
