#pragma once

#include <QLabel>

namespace korvane {

/// A label of one line that may shrink: a text that does not fit is elided.
class ElidedLabel : public QLabel {
    Q_OBJECT

public:
    using QLabel::QLabel;
    /// The side on which text is elided; the right one by default.
    void setElideMode(Qt::TextElideMode mode) { elideMode_ = mode; }

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Qt::TextElideMode elideMode_ = Qt::ElideRight;
};

} // namespace korvane
