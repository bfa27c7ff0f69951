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
class ConditionStrip;
class NoticeStrip;
class OverviewStrip;
class LogViewController;
class ProgressStrip;

/// One document's part of a window: log view, load progress and footer. Deleted with its window or tab. Main
/// thread.
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
    /// Also scrolls to the end; during the first scan, following begins when it has ended.
    void startTailing();
    void stopTailing();

    /// The footer's standing text while there is no warning to show.
    void setSourceStatus(const QString& text);
    /// Shows details of the file over the footer.
    void showFileInfo();
    /// Opens an e-mail with the file, or one that names it.
    void shareByEmail();
    /// Opens a terminal in the file's directory; the command that goes there is on the clipboard.
    void openTerminal();
    /// The file is on a server without a connection, and none is being made.
    bool canConnect() const;
    void connectToServer();
    /// Reads a local file again from its path.
    void reload();
    bool canReload() const;
    /// Only for a file on this computer.
    bool canShowLinesByText() const;
    /// Beside other texts. Asks for the text if it is empty.
    void showOnlyLinesWith(const QString& text);
    void showLinesWithout(const QString& text);
    /// Shows a message in the footer for some seconds.
    void showUserUpdate(const QString& text);
    /// Reason why reading from a pipe pauses; empty when it goes on.
    void setInputPause(const QString& reason);
    /// Whether the input of a pipe can be read again from its start.
    void setInputReloadable(bool value);
    /// Reports a store that could not be written, until the user dismisses the notice.
    void showStoreFault(const QString& text);

Q_SIGNALS:
    /// The user cancelled the first scan: the document is to be closed.
    void loadCancelled();
    /// The first scan has ended; all lines are known.
    void loadEnded();
    /// Following has begun or ended.
    void tailingChanged();
    /// `newRuleText`: empty for no new rule.
    void rulesEditorRequested(const QString& newRuleText);
    /// The user has decided how to go on after a pause.
    void inputGoOnRequested();
    void inputEndRequested();
    /// The input must be read again before the document is reloaded.
    void inputReloadRequested();
    /// The result of `canConnect` may have changed.
    void connectionChanged();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();
    void connectParts();
    void connectOverview();
    void subscribe();
    void updateFooter();
    void loadStateChanged();
    void updateProgress();
    void showNotices();
    void remedy(PageNotice::Remedy remedy);
    void chooseEncoding();
    void takeSlowRules();
    void showConnection();
    void placeEmptyReason();
    void tailingHasChanged();
    void fileStatusChanged(FileStatus status);

    const std::shared_ptr<Document> document_;
    AlertPresenter& alerts_;
    LogViewController* logView_;
    ConnectionStrip* connectionStrip_;
    NoticeStrip* noticeStrip_;
    ConditionStrip* conditionStrip_;
    OverviewStrip* overviewStrip_;
    QLabel* emptyReason_;
    ProgressStrip* loadStrip_;
    ProgressStrip* copyStrip_;
    FooterViewController* footer_;
    /// Updates the progress bar while the file is loading.
    QTimer progressTimer_;
    QString sourceStatus_;
    FileNotices notices_;
    bool hasLoaded_ = false;
    bool isInputReloadable_ = false;
    Subscriptions subscriptions_;
    UserDefaults::Token preferencesToken_;
    UserDefaults::Token overviewToken_;
};

} // namespace korvane
