#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace korvane {

/// Asks for the name of a new or existing server group, and refuses a name in use. Main
/// thread; needs the shared groups.
class GroupNameDialog : public QDialog {
    Q_OBJECT

public:
    /// `nameNow`: the name of the group to rename; empty for a new one.
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
