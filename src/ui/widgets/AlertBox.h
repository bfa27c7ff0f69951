#pragma once

#include "foundation/notices/Alerts.h"

#include <QMessageBox>
#include <QPointer>

#include <functional>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace korvane {

/// One alert, shown over a window. Answers exactly once, also when the box or the window is destroyed. Main
/// thread; deletes itself.
class AlertBox : public QMessageBox {
    Q_OBJECT

public:
    /// `done` gets the index of the button pressed, the last one's when the box or `parent` closes before.
    AlertBox(const Alert& alert, QWidget* parent, std::function<void(int button)> done);
    ~AlertBox() override;

protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addButtons(QStringList texts);
    void addField(const Alert::Field& field);
    /// Puts the field and its check box between the text and the buttons.
    void placeField();
    void answer();

    const Alert alert_;
    std::function<void(int button)> done_;
    QList<QPushButton*> buttons_;
    QLineEdit* field_ = nullptr;
    QCheckBox* option_ = nullptr;
    bool isAnswered_ = false;
};

} // namespace korvane
