#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korvane {

/// Asks for the name of a new server group and refuses one that is taken. Main thread; needs the shared
/// groups.
class NewGroupDialog : public QDialog {
    Q_OBJECT

public:
    explicit NewGroupDialog(QWidget* parent = nullptr);

    QString name() const;

private:
    void nameChanged();

    QLineEdit* name_;
    QLabel* refusal_;
    QPushButton* ok_;
};

} // namespace korvane
