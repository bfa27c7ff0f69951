#pragma once

#include <QBasicTimer>
#include <QPointer>
#include <QToolBar>

class QLineEdit;

namespace korvane {

class LogSearch;
class NavigateToolbarItem;

/// The tool bar of a window: the given actions, followed by the search of the page in front. Main thread.
class MainToolBar : public QToolBar {
    Q_OBJECT

public:
    explicit MainToolBar(QWidget* parent = nullptr);

    /// Appends the search.
    void addSearch();
    /// The search of the page in front; null when there is none.
    void setSearch(LogSearch* search);
    /// Puts the cursor into the field; a non-empty `text` replaces the field's text.
    void editSearch(const QString& text);

Q_SIGNALS:
    /// The user is done with the field.
    void searchLeft();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void showSearch();
    void searchingChanged(bool isSearching);

    QLineEdit* searchField_ = nullptr;
    NavigateToolbarItem* navigate_ = nullptr;
    /// Visible only during a search.
    QAction* searchProgress_ = nullptr;
    /// Delays the progress, so that a quick search shows none.
    QBasicTimer progressTimer_;
    QPointer<LogSearch> search_;
};

} // namespace korvane
