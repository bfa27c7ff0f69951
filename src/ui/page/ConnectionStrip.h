#pragma once

#include "documents/ConnectionState.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace korvane {

/// Says over the rows of a remote file that it is not connected, and offers to connect. Hidden while there is
/// nothing to say. Main thread.
class ConnectionStrip : public QWidget {
    Q_OBJECT

public:
    explicit ConnectionStrip(QWidget* parent = nullptr);

    /// `server`: as the user knows it.
    void showState(ConnectionState state, const QString& server);

Q_SIGNALS:
    void connectRequested();

private:
    QLabel* label_;
    QPushButton* connect_;
};

} // namespace korvane
