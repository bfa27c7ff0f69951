#pragma once

#include <QBasicTimer>
#include <QPointer>
#include <QToolBar>

class QLineEdit;

namespace korvane {

class LogSearch;
class NavigateToolbarItem;

/// The tool bar of a window: the actions it is given, and behind them the search of the page in front. Main
/// thread.
class MainToolBar : public QToolBar {
    Q_OBJECT

public:
    explicit MainToolBar(QWidget* parent = nullptr);

    /// Adds the search behind what has been added so far.
    void addSearch();
    /// The search of the page in front; null when there is none.
    void setSearch(LogSearch* search);
    /// Puts the cursor into the field; a text that is not empty replaces its text.
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
    /// In the bar only while a search is under way.
    QAction* searchProgress_ = nullptr;
    /// A quick search shows no progress.
    QBasicTimer progressTimer_;
    QPointer<LogSearch> search_;
};

} // namespace korvane
