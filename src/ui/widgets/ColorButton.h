#pragma once

#include <QColor>
#include <QColorDialog>
#include <QPointer>
#include <QToolButton>

#include <functional>

namespace korvane {

/// Shows a colour and lets the user choose another, in a dialog that closes with the button's window.
class ColorButton : public QToolButton {
    Q_OBJECT

public:
    /// `title`: what the colour is for; also the accessible name.
    explicit ColorButton(const QString& title, QWidget* parent = nullptr);

    const QColor& color() const { return color_; }
    void setColor(const QColor& color);
    /// Receives the colours of dialogs opened from now on, in place of `colorChosen`, also when the button
    /// stands for another subject by then. `subject` names it in the dialog's title; may be empty.
    void setTarget(const QString& subject, std::function<void(const QColor&)> chosen);

Q_SIGNALS:
    /// The user chose another colour, which the button shows.
    void colorChosen(const QColor& color);

protected:
    void hideEvent(QHideEvent* event) override;

private:
    void choose();

    QColor color_;
    QString subject_;
    std::function<void(const QColor&)> chosen_;
    QPointer<QColorDialog> dialog_;
};

} // namespace korvane
