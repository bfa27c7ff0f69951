#include "ui/logtable/TableFixture.h"

#include "foundation/text/VisibleText.h"
#include "ui/logtable/GridLineLayout.h"
#include "ui/logtable/LineMetrics.h"
#include "ui/logtable/ShapedLineLayout.h"

namespace korvane::test {
namespace {

class LineLayoutTest : public TableFixture {
protected:
    std::unique_ptr<LineLayout> make(const QString& text,
                                     std::optional<int> wrapColumns = std::nullopt) const {
        return LineLayout::make(AttributedString(text), metrics_,
                                wrapColumns ? std::optional(*wrapColumns * metrics_.cellWidth() + 0.5)
                                            : std::nullopt);
    }

    /// The visual lines, found by asking for the character at the start of each.
    QStringList visualLines(const QString& text, int wrapColumns) const {
        const auto layout = make(text, wrapColumns);
        QStringList lines;
        int start = 0;
        for (int i = 1; i <= layout->visualLineCount(); ++i) {
            const int end = i == layout->visualLineCount()
                                ? static_cast<int>(text.size())
                                : layout->positionAt({0, (i + 0.5) * metrics_.lineHeight()});
            lines.append(text.mid(start, end - start));
            start = end;
        }
        return lines;
    }

    /// The colours painted at these positions of the line on that background: at the left edge of the cell,
    /// above the letter.
    std::vector<QColor> painted(const AttributedString& line, const QColor& ground, TextRange selection,
                                bool isRowSelected, const LineLayout::Colors& colors,
                                const std::vector<int>& positions) const {
        const auto layout = LineLayout::make(line, metrics_, std::nullopt);
        const auto height = static_cast<int>(metrics_.lineHeight());
        QImage image(300, height, QImage::Format_RGB32);
        image.fill(ground);
        QPainter painter(&image);
        layout->paint(painter, {0, 0}, QRectF(image.rect()), selection, isRowSelected, colors);
        std::vector<QColor> found;
        for (const int position : positions) {
            const auto left = static_cast<int>(layout->characterRect(position).left());
            found.push_back(image.pixelColor(left + 2, height / 2 - 7));
        }
        return found;
    }

    const LineMetrics metrics_{font()};
};

TEST_F(LineLayoutTest, WrappingBreaksAtBlanksAndLosesNothing) {
    for (const auto& [text, lines] : Rows<QString, QStringList>{
             {u"short"_s, {u"short"_s}},
             {u"one two three four"_s, {u"one two "_s, u"three four"_s}},
             {u"abcdefghijklmnopqrstuvwxyz"_s, {u"abcdefghij"_s, u"klmnopqrst"_s, u"uvwxyz"_s}},
             {u"0123456789"_s, {u"0123456789"_s}},
             {u"a=1,bcd=22,efghij=3"_s, {u"a=1,bcd="_s, u"22,efghij="_s, u"3"_s}}}) {
        EXPECT_EQ(visualLines(text, 10), lines);
        EXPECT_EQ(lines.join(QString()), text);
    }
}

TEST_F(LineLayoutTest, TheCharacterUnderAPointIsTheOneDrawnThere) {
    for (const QString& text : {u"plain ascii text"_s, u"tabs\tin\t\tbetween"_s, u"größer 京都 ñ text"_s}) {
        for (const std::optional<int> wrap : {std::optional<int>(), std::optional(9)}) {
            const auto layout = make(text, wrap);
            for (int position = 0; position < text.size(); ++position) {
                if (text[position].isLowSurrogate() || text[position].isMark())
                    continue;
                const QRectF drawn = layout->characterRect(position);
                const QPointF leftPart(drawn.left() + drawn.width() * 0.2, drawn.center().y());
                EXPECT_EQ(layout->positionAt(leftPart), position) << qPrintable(text) << ' ' << position;
            }
        }
    }
}

TEST_F(LineLayoutTest, GridAndShapedTextStandInTheSamePlaces) {
    const AttributedString line(u"2026-11-20 [worker-3] INFO  took 35 ms"_s);
    const GridLineLayout grid(line.string(), line, metrics_, std::nullopt);
    const ShapedLineLayout shaped(line.string(), line, metrics_, std::nullopt);
    EXPECT_NEAR(grid.width(), shaped.width(), 1.0);
    for (const int position : {0, 7, 20, 37})
        EXPECT_NEAR(grid.characterRect(position).left(), shaped.characterRect(position).left(), 1.0);
}

TEST_F(LineLayoutTest, ControlsBecomeVisibleAndKeepTheirPlace) {
    const QString text = u"a"_s + QChar(0) + u"b\x1B[0m"_s + QChar(0x202E) + u"c\r"_s;
    const QString visible = visibleText(text);
    EXPECT_EQ(visible.size(), text.size() - 1); // only the carriage return at the end is removed
    EXPECT_EQ(visible[1], QChar(0x2400));
    EXPECT_EQ(visible[3], QChar(0x241B));
    EXPECT_EQ(visible[7], QChar(0x25AF));
    EXPECT_EQ(visibleText(u"in\rside\r"_s), u"in\u240Dside"_s);
}

TEST_F(LineLayoutTest, VeryLongLinesAreShapedOnlyWhereTheyAreVisible) {
    for (const QString& part : {u"0123456789abcdef"_s, u"日本語テキスト"_s}) {
        const QString text = part.repeated(1'000'000 / static_cast<int>(part.size()));
        const auto layout = make(text);
        EXPECT_GT(layout->width(), metrics_.cellWidth() * 900'000);
        QImage image(800, 30, QImage::Format_RGB32);
        QPainter painter(&image);
        layout->paint(painter, {0, 0}, QRectF(image.rect()), {}, false, {Qt::black, Qt::white, Qt::blue});
        EXPECT_EQ(layout->positionAt({0, 0}), 0);
        // Wrapping shaped text stops at a limit, and reports how much is hidden.
        const auto wrapped = make(text, 80);
        EXPECT_GT(wrapped->visualLineCount(), 150);
        const bool isShaped = part[0].unicode() > 0x7F;
        EXPECT_EQ(wrapped->hiddenUnits(), isShaped ? text.size() - LineLayout::longestShapedWrap : 0);
    }
}

TEST_F(LineLayoutTest, ColoursAndSelectionAreDrawnWhereTheyBelong) {
    using Colors = std::vector<QColor>;
    for (const QString& text : {u"aaaaaaaaaa"_s, u"ääääääääää"_s}) {
        AttributedString part(text);
        part.add({.background = QColor(Qt::yellow)}, {{2, 2}});
        EXPECT_EQ(painted(part, Qt::white, {5, 3}, false, {Qt::black, Qt::white, Qt::blue}, {1, 2, 4, 6, 8}),
                  (Colors{Qt::white, Qt::yellow, Qt::white, Qt::blue, Qt::white}))
            << qPrintable(text);
        // The background of a selected row is not covered by that of its line.
        AttributedString whole(text);
        whole.add({.background = QColor(Qt::yellow)});
        whole.add({.background = QColor(Qt::cyan)}, {{4, 2}});
        const LineLayout::Colors colors{Qt::black, Qt::white, Qt::blue, QColor(Qt::yellow)};
        EXPECT_EQ(painted(whole, Qt::blue, {}, true, colors, {1, 4, 8}),
                  (Colors{Qt::blue, Qt::cyan, Qt::blue}))
            << qPrintable(text);
    }
}

} // namespace
} // namespace korvane::test
