#include "ui/AlertBoxPresenter.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

namespace korvane {
namespace {

QMessageBox::Icon iconOf(Alert::Kind kind) {
    switch (kind) {
    case Alert::Kind::Information:
        return QMessageBox::Information;
    case Alert::Kind::Warning:
        return QMessageBox::Warning;
    case Alert::Kind::Error:
        return QMessageBox::Critical;
    case Alert::Kind::Question:
        return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

/// The top-level window that `window` names, or the active one.
QWidget* parentFor(const void* window) {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget == window)
            return widget->window();
    }
    return QApplication::activeWindow();
}

} // namespace

void AlertBoxPresenter::present(const Alert& alert, const void* window,
                                std::function<void(int button)> done) {
    auto* box = new QMessageBox(parentFor(window));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(iconOf(alert.kind));
    box->setWindowTitle(QApplication::applicationDisplayName());
    box->setTextFormat(Qt::PlainText);
    box->setText(alert.message);
    box->setInformativeText(alert.informativeText);
    const QStringList texts =
        alert.buttons.isEmpty() ? QStringList{QApplication::translate("Alert", "OK")} : alert.buttons;
    QList<QPushButton*> buttons;
    for (const QString& text : texts) {
        const bool isLast = buttons.size() + 1 == texts.size();
        buttons.append(box->addButton(text, isLast && texts.size() > 1 ? QMessageBox::RejectRole
                                                                       : QMessageBox::AcceptRole));
    }
    box->setDefaultButton(buttons.first());
    box->setEscapeButton(buttons.last());
    if (alert.suppress)
        box->setCheckBox(new QCheckBox(QApplication::translate("Alert", "Do not show this again"), box));
    QObject::connect(box, &QMessageBox::finished, box,
                     [box, buttons, suppress = alert.suppress, done = std::move(done)] {
                         const auto found = buttons.indexOf(qobject_cast<QPushButton*>(box->clickedButton()));
                         const auto last = buttons.size() - 1;
                         const auto pressed = found < 0 ? last : found;
                         if (suppress && box->checkBox()->isChecked() && (last == 0 || pressed != last))
                             suppress();
                         if (done)
                             done(static_cast<int>(pressed));
                     });
    box->open();
}

} // namespace korvane
