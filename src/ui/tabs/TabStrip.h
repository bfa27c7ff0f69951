#pragma once

#include <QHash>
#include <QTabBar>

namespace korvane {

/// The tabs of a window's documents: wide enough to be read, with shortened titles when there are many.
/// Belongs to its window. Main thread.
class TabStrip : public QTabBar {
    Q_OBJECT

public:
    explicit TabStrip(QWidget* parent = nullptr);

    /// One for each tab; tabs with the same title as before are not touched.
    void setTitles(const QStringList& titles);
    QString title(int index) const;
    /// While off, titles are not measured when tabs are added and removed.
    void setMeasuresTitles(bool measures);

Q_SIGNALS:
    void closeClicked(int index);
    void menuRequested(int index, QPoint globalPosition);

protected:
    QSize tabSizeHint(int index) const override;
    QSize minimumTabSizeHint(int index) const override;
    void initStyleOption(QStyleOptionTab* option, int index) const override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// The tab's size if its text took at most `characters`, and at least the shortest text's room.
    QSize sizeWithText(int index, int characters) const;

    QHash<QString, qsizetype> tellingCharacters_;
    bool measuresTitles_ = true;
    /// Tabs were laid out without their titles.
    mutable bool hasGuessedSizes_ = false;
    int middlePressed_ = -1;
};

} // namespace korvane
