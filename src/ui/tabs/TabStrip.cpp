#include "ui/tabs/TabStrip.h"

#include "ui/tabs/TabTitles.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionTab>

#include <algorithm>
#include <utility>
#include <vector>

namespace korvane {
namespace {

/// Room for a title, in average characters.
constexpr int shortestTitle = 12;
constexpr int longestTitle = 25;
/// Maximum number of titles set one by one while the strip is visible.
constexpr std::size_t mostTitlesInSight = 8;

} // namespace

TabStrip::TabStrip(QWidget* parent) : QTabBar(parent) {
    setElideMode(Qt::ElideMiddle);
    setUsesScrollButtons(true);
    setExpanding(false);
}

QString TabStrip::title(int index) const {
    return tabText(index).replace(QStringLiteral("&&"), QStringLiteral("&"));
}

void TabStrip::setTitles(const QStringList& titles) {
    tellingCharacters_ = tellingCharacters(titles);
    std::vector<std::pair<int, QString>> changed;
    for (int i = 0; i < count() && i < titles.size(); ++i) {
        // An ampersand in a tab's text would become a mnemonic.
        QString text = QString(titles[i]).replace(u'&', QStringLiteral("&&"));
        if (text != tabText(i))
            changed.emplace_back(i, std::move(text));
    }
    // While visible, all tabs would be laid out again for each title.
    const bool isHidden = changed.size() > mostTitlesInSight && isVisible();
    if (isHidden)
        hide();
    for (const auto& [index, text] : changed)
        setTabText(index, text);
    if (isHidden)
        show();
}

void TabStrip::setMeasuresTitles(bool measures) {
    measuresTitles_ = measures;
    // Makes the toolkit lay out all tabs again.
    if (measures && std::exchange(hasGuessedSizes_, false))
        setElideMode(elideMode());
}

QSize TabStrip::sizeWithText(int index, int characters) const {
    if (!measuresTitles_) {
        hasGuessedSizes_ = true;
        return {characters, fontMetrics().height()};
    }
    QSize size = QTabBar::tabSizeHint(index);
    const QFontMetrics metrics = fontMetrics();
    const int text = metrics.size(Qt::TextShowMnemonic, tabText(index)).width();
    const int shortest = shortestTitle * metrics.averageCharWidth();
    const int longest = std::max(shortest, characters * metrics.averageCharWidth());
    size.rwidth() += std::clamp(text, shortest, longest) - text;
    return size;
}

QSize TabStrip::tabSizeHint(int index) const {
    return sizeWithText(index, longestTitle);
}

QSize TabStrip::minimumTabSizeHint(int index) const {
    return sizeWithText(index, shortestTitle);
}

void TabStrip::initStyleOption(QStyleOptionTab* option, int index) const {
    QTabBar::initStyleOption(option, index);
    // Those scrolled out of sight are not painted.
    if (!measuresTitles_ || !option->rect.intersects(rect()))
        return;
    const QString full = title(index);
    const int room = style()->subElementRect(QStyle::SE_TabBarTabText, option, this).width();
    option->text = shortTitle(full, tellingCharacters_.value(full, -1), fontMetrics(), room)
                       .replace(u'&', QStringLiteral("&&"));
}

void TabStrip::mousePressEvent(QMouseEvent* event) {
    middlePressed_ = event->button() == Qt::MiddleButton ? tabAt(event->position().toPoint()) : -1;
    if (event->button() != Qt::MiddleButton)
        QTabBar::mousePressEvent(event);
}

void TabStrip::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::MiddleButton) {
        QTabBar::mouseReleaseEvent(event);
        return;
    }
    const int pressed = std::exchange(middlePressed_, -1);
    if (pressed >= 0 && tabAt(event->position().toPoint()) == pressed)
        Q_EMIT closeClicked(pressed);
}

void TabStrip::contextMenuEvent(QContextMenuEvent* event) {
    const bool isByKey = event->reason() == QContextMenuEvent::Keyboard;
    const int index = isByKey ? currentIndex() : tabAt(event->pos());
    if (index >= 0)
        Q_EMIT menuRequested(index, isByKey ? mapToGlobal(tabRect(index).bottomLeft()) : event->globalPos());
}

} // namespace korvane
