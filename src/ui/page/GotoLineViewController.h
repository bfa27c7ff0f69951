#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korvane {

class LogViewController;

/// The panel that asks for a line number. Belongs to the window it is opened over and deletes itself when
/// dismissed.
class GotoLineViewController : public QDialog {
    Q_OBJECT

public:
    GotoLineViewController(LogViewController& logViewController, QWidget* parent);

private:
    /// The OK button is enabled only for a valid line number.
    void controlTextDidChange();
    void handleOk();

    QLineEdit* txtLineNum_;
    QPushButton* btnOk_;
    LogViewController& logViewController_;
};

} // namespace korvane
