#pragma once

#include "foundation/notices/Notice.h"
#include "ui/page/ViewPlace.h"

#include <QUrl>
#include <QWidget>

#include <memory>
#include <optional>

class QLabel;
class QVBoxLayout;

namespace korvane {

class AlertPresenter;
class Document;
class MainWindowController;
struct RowsUpdatedNotificationObject;

/// One tab of a window: a file that is opened when the tab is first shown, or once it exists, and then its
/// document, whose page is made when the tab is first shown. Belongs to its window. Main thread.
class DocumentTab : public QWidget {
    Q_OBJECT

public:
    enum class State : unsigned char {
        Unread,  ///< the file is opened when the tab is first shown
        Waiting, ///< the file cannot be opened now
        Open,
    };

    /// For a file that is not read yet. `alerts` must outlive the tab.
    DocumentTab(QUrl url, AlertPresenter& alerts, QWidget* parent = nullptr);
    ~DocumentTab() override;

    State state() const { return state_; }
    const QUrl& url() const { return url_; }
    /// The absolute address, which identifies the file.
    const QString& address() const { return address_; }
    QString displayName() const;

    /// The file has been opened. At most once.
    void setDocument(std::shared_ptr<Document> document);
    /// The file cannot be opened; the tab shows `reason`.
    void setWaiting(const QString& reason);
    /// Null unless the tab is open.
    const std::shared_ptr<Document>& document() const { return document_; }
    /// Null until the tab has been in front.
    MainWindowController* page() const { return page_; }
    /// Makes the page if absent; null while the file is not open.
    MainWindowController* makePage();

    /// Whether the window shows this tab.
    void setInFront(bool isInFront);
    bool isInFront() const { return isInFront_; }

    ViewPlace::Place place() const;
    /// The scroll position for the page when it is made.
    void setPlace(const ViewPlace::Place& place) { place_ = place; }
    /// Shows and selects a one-based line, as soon as there is a page and the line is known.
    void goToLine(qint64 lineNumber);
    /// As for MainWindowController::setSourceStatus.
    void setSourceStatus(const QString& text);
    /// As for MainWindowController::setInputPause.
    void setInputPause(const QString& reason);
    /// As for MainWindowController::setInputReloadable.
    void setInputReloadable(bool value);

    /// Lines added while the tab was not in front.
    qint64 unseenLines() const { return unseenLines_; }
    /// The file is on a server that is not connected.
    bool isCutOff() const;

Q_SIGNALS:
    void pageMade(MainWindowController* page);
    /// `state`, `unseenLines` or `isCutOff` has changed.
    void changed();
    void placeChanged();
    /// The user has answered a pause.
    void inputGoOnRequested();
    void inputEndRequested();
    void inputReloadRequested();

private:
    /// Counts new lines while there is no page to do so.
    void rowsUpdated(const RowsUpdatedNotificationObject& update);
    void loadStateChanged();
    qint64 lineCount() const;
    void noteNewLines(qint64 count);

    const QUrl url_;
    const QString address_;
    AlertPresenter& alerts_;
    State state_ = State::Unread;
    std::shared_ptr<Document> document_;
    MainWindowController* page_ = nullptr;
    QVBoxLayout* layout_;
    /// Why there is no document.
    QLabel* reason_ = nullptr;
    bool isInFront_ = false;
    std::optional<ViewPlace::Place> place_;
    std::optional<qint64> line_;
    QString sourceStatus_;
    QString inputPause_;
    bool isInputReloadable_ = false;
    qint64 unseenLines_ = 0;
    /// Lines of the loaded file that have been reported to the tab.
    qint64 knownLines_ = 0;
    Subscriptions subscriptions_;
};

} // namespace korvane
