#pragma once

#include <QAbstractButton>
#include <QBasicTimer>

namespace korvane {

/// Turns during an operation; a click requests to stop it.
class BusyIndicator : public QAbstractButton {
    Q_OBJECT

public:
    explicit BusyIndicator(QWidget* parent = nullptr);

    QSize sizeHint() const override { return {24, 24}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QBasicTimer timer_;
    int step_ = 0;
};

} // namespace korvane
