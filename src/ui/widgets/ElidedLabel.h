#pragma once

#include <QLabel>

namespace korvane {

/// A label of one line that gives way: what does not fit is cut with an ellipsis.
class ElidedLabel : public QLabel {
    Q_OBJECT

public:
    using QLabel::QLabel;
    /// At the right unless told otherwise.
    void setElideMode(Qt::TextElideMode mode) { elideMode_ = mode; }

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Qt::TextElideMode elideMode_ = Qt::ElideRight;
};

} // namespace korvane
