#include "ui/logtable/TableGrounds.h"

#include "ui/widgets/Contrast.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(TableGrounds, WhatNobodyChoseCanBeReadWhereverItIsPainted) {
    const std::vector<QColor> unchosen{Qt::gray, QColor(0, 140, 0), QColor(255, 160, 0), QColor(0, 93, 188),
                                       QColor(255, 0, 0)};
    for (const QColor& background :
         {QColor(Qt::white), QColor(Qt::black), QColor(0x1e, 0x1e, 0x1e), QColor(0xfd, 0xf6, 0xe3),
          QColor(0x80, 0x80, 0x80), QColor(0x00, 0x2b, 0x36), QColor(0x30, 0x8c, 0xc6)}) {
        for (const QColor& highlight :
             {QColor(0x30, 0x8c, 0xc6), QColor(Qt::yellow), QColor(0x26, 0x4f, 0x78)}) {
            QPalette palette;
            palette.setColor(QPalette::Highlight, highlight);
            palette.setColor(QPalette::HighlightedText,
                             highlight == QColor(Qt::yellow) ? Qt::black : Qt::white);
            const QColor text = background.lightness() > 128 ? Qt::black : Qt::white;
            for (const bool hasFocus : {true, false}) {
                SCOPED_TRACE(testing::Message() << background.name().toStdString() << " "
                                                << highlight.name().toStdString() << hasFocus);
                const TableGrounds grounds({background, text, Qt::gray, unchosen}, palette, hasFocus);
                for (const QColor& ground : {background, grounds.currentRow(), grounds.selection()}) {
                    EXPECT_GE(contrast(grounds.mark(ground), ground), readableContrast);
                    EXPECT_GE(contrast(grounds.notice(ground), ground), readableContrast);
                    for (const QColor& color : unchosen)
                        EXPECT_GE(contrast(grounds.shown(color, ground), ground), readableContrast);
                }
                EXPECT_GE(contrast(grounds.selectedText(), grounds.selection()), readableContrast);
                for (const QColor& color : unchosen) {
                    AttributedString line(QStringLiteral("text on a ground of its own"));
                    line.add({.foreground = color});
                    line.add({.background = QColor(Qt::yellow)}, {{8, 2}});
                    const AttributedString shown = grounds.shownLine(line);
                    const auto colorAt = [&](int position) {
                        return *shown.attributesAt(position)->foreground;
                    };
                    EXPECT_GE(contrast(colorAt(0), background), readableContrast);
                    EXPECT_GE(contrast(colorAt(0), grounds.currentRow()), readableContrast);
                    EXPECT_GE(contrast(colorAt(8), Qt::yellow), readableContrast);
                }
            }
        }
    }
}

TEST(TableGrounds, AChosenColourIsPaintedAsItIs) {
    const TableGrounds grounds({Qt::white, Qt::black, Qt::yellow, {Qt::gray}}, {}, true);
    EXPECT_EQ(grounds.shown(Qt::yellow, Qt::white), QColor(Qt::yellow));
    AttributedString line(QStringLiteral("x"));
    line.add({.foreground = QColor(Qt::yellow)});
    EXPECT_EQ(grounds.shownLine(line).attributesAt(0)->foreground, QColor(Qt::yellow));
}

TEST(Contrast, IsThatOfTheGuidelines) {
    EXPECT_NEAR(contrast(Qt::white, Qt::black), 21, 0.01);
    EXPECT_NEAR(contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
    EXPECT_NEAR(contrast(QColor(0xff, 0, 0), Qt::white), 4.0, 0.01);
}

} // namespace
} // namespace korvane
