#pragma once

#include "core/search/SearchSwitches.h"

#include <QBasicTimer>
#include <QList>
#include <QPointer>
#include <QToolBar>

class QLabel;
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
    /// The switches of the search, for a menu: match case, whole words, pattern.
    const QList<QAction*>& switches() const { return switches_; }

Q_SIGNALS:
    /// The user is done with the field.
    void searchLeft();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void addSwitch(const QString& text, const QString& toolTip, bool SearchSwitches::*value);
    void showSwitches();
    void showCount();
    void remember(const QString& text);
    void showHistory();
    void showSearch();
    void searchingChanged(bool isSearching);

    QLineEdit* searchField_ = nullptr;
    NavigateToolbarItem* navigate_ = nullptr;
    QList<QAction*> switches_;
    QLabel* count_ = nullptr;
    /// The label in the tool bar.
    QAction* countItem_ = nullptr;
    /// Texts searched for in this window, the last one first.
    QStringList history_;
    /// Visible only during a search.
    QAction* searchProgress_ = nullptr;
    /// Delays the progress, so that a quick search shows none.
    QBasicTimer progressTimer_;
    QPointer<LogSearch> search_;
};

} // namespace korvane
