#pragma once

#include "core/LineSet.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <QWidget>

#include <vector>

namespace korvane {

/// Shows beside the scroll bar where among all lines the matches of the search and the marked lines are. A
/// click goes there. Main thread.
class OverviewStrip : public QWidget {
    Q_OBJECT

public:
    struct Content {
        /// Those that have rows.
        LineRange lines;
        LineSet matches;
        /// Ascending.
        std::vector<qint64> marked;
    };

    explicit OverviewStrip(QWidget* parent);

    void setContent(Content content);

Q_SIGNALS:
    /// Zero-based.
    void lineChosen(qint64 line);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    /// The lines that stand at these heights, both included.
    LineRange linesAt(int top, int bottom) const;
    qint64 matchesIn(LineRange lines) const;
    qint64 marksIn(LineRange lines) const;
    /// The line that a click there means: one that is shown there, if any.
    qint64 lineAt(int y) const;
    QString toolTipAt(int y) const;

    Content content_;
};

} // namespace korvane
