#pragma once

#include <QWidget>

class QToolButton;

namespace korvane {

/// Two arrow buttons in the tool bar: search backwards, search forwards. The button of the current direction
/// is pressed.
class NavigateToolbarItem : public QWidget {
    Q_OBJECT

public:
    explicit NavigateToolbarItem(QWidget* parent = nullptr);

    void setForward(bool forward);

Q_SIGNALS:
    void clicked(bool forward);

private:
    QToolButton* makeButton(const QString& iconName, const QString& name, const QString& toolTip,
                            bool forward);

    QToolButton* backward_;
    QToolButton* forward_;
};

} // namespace korvane
