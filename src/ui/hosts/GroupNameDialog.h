#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korvane {

/// Asks for the name of a server group, a new one or one that is there, and refuses one that is taken. Main
/// thread; needs the shared groups.
class GroupNameDialog : public QDialog {
    Q_OBJECT

public:
    /// `nameNow`: of the group that is to be renamed; empty for a new one.
    explicit GroupNameDialog(const QString& nameNow, QWidget* parent = nullptr);

    QString name() const;

private:
    void nameChanged();

    const QString nameNow_;
    QLineEdit* name_;
    QLabel* refusal_;
    QPushButton* ok_;
};

} // namespace korvane
