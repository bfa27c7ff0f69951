#pragma once

#include "documents/ConnectionState.h"

#include <QWidget>

class QPushButton;

namespace korvane {

class ElidedLabel;

/// Strip over the rows of a remote file that is not connected; offers to connect. Hidden when there is
/// nothing to say. Main thread.
class ConnectionStrip : public QWidget {
    Q_OBJECT

public:
    explicit ConnectionStrip(QWidget* parent = nullptr);

    /// `server`: as the user knows it. `fault`: reason for the missing connection; may be empty.
    void showState(ConnectionState state, const QString& server, const QString& fault);

Q_SIGNALS:
    void connectRequested();

private:
    ElidedLabel* label_;
    QPushButton* connect_;
};

} // namespace korvane
