#pragma once

#include <QHash>
#include <QPointer>
#include <QTabWidget>

#include <vector>

class QToolButton;

namespace korvane {

class Document;
class DocumentTab;
class OpenFilesList;
class TabStrip;

/// The documents of a window as tabs, with a list of them all beside the strip. Belongs to its window. Main
/// thread.
class DocumentTabs : public QTabWidget {
    Q_OBJECT

public:
    explicit DocumentTabs(QWidget* parent = nullptr);

    /// Appends a tab and owns it; the tab in front stays.
    void add(DocumentTab* tab);
    /// Removes the tab and deletes it later.
    void remove(DocumentTab* tab);

    std::vector<DocumentTab*> tabs() const;
    DocumentTab* tab(int index) const;
    /// Null when there is none.
    DocumentTab* current() const;
    DocumentTab* tabOf(const Document& document) const;
    DocumentTab* tabOf(const QUrl& url) const;
    void setCurrent(DocumentTab* tab);
    /// The title of the tab in front, made unique among tabs of the same name; empty without tabs.
    QString currentTitle() const;

    /// Until the matching `releaseChanges`, tabs are added and removed without making pages, setting titles
    /// or emitting signals.
    void holdChanges();
    void releaseChanges();

    /// Wraps around at the ends.
    void goToNext();
    void goToPrevious();
    /// Shows all tabs in a list with a filter, below the strip.
    void showList();

Q_SIGNALS:
    /// Another tab or none is in front, or its document was opened.
    void currentTabChanged();
    /// Tabs were added, removed or moved.
    void tabsChanged();
    void closeRequested(const std::vector<korvane::DocumentTab*>& tabs);
    void copyPathRequested(const QUrl& url);
    void openFolderRequested(const QUrl& url);

protected:
    void tabInserted(int index) override;
    void tabRemoved(int index) override;

private:
    void showTabs();
    void updateTitles();
    void showState(DocumentTab& tab);
    void showMenu(int index, QPoint globalPosition);

    TabStrip* strip_;
    QToolButton* listButton_;
    QHash<const Document*, DocumentTab*> byDocument_;
    int held_ = 0;
    bool isStale_ = false;
    QPointer<DocumentTab> front_;
    /// The tab and document in front at the last `currentChanged`.
    const Document* frontDocument_ = nullptr;
};

} // namespace korvane
