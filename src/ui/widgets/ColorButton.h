#pragma once

#include <QColor>
#include <QToolButton>

namespace korvane {

/// Shows a colour and lets the user choose another.
class ColorButton : public QToolButton {
    Q_OBJECT

public:
    /// `title`: what the colour is for; also the accessible name.
    explicit ColorButton(const QString& title, QWidget* parent = nullptr);

    const QColor& color() const { return color_; }
    void setColor(const QColor& color);

Q_SIGNALS:
    /// The user chose another one.
    void colorChosen(const QColor& color);

private:
    void choose();

    QColor color_;
};

} // namespace korvane
