#pragma once

#include "documents/ConnectionState.h"

#include <QWidget>

class QPushButton;

namespace korvane {

class ElidedLabel;

/// Says over the rows of a remote file that it is not connected, and offers to connect. Hidden while there is
/// nothing to say. Main thread.
class ConnectionStrip : public QWidget {
    Q_OBJECT

public:
    explicit ConnectionStrip(QWidget* parent = nullptr);

    /// `server`: as the user knows it. `fault`: why there is no connection; may be empty.
    void showState(ConnectionState state, const QString& server, const QString& fault);

Q_SIGNALS:
    void connectRequested();

private:
    ElidedLabel* label_;
    QPushButton* connect_;
};

} // namespace korvane
