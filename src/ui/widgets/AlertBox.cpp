#include "ui/widgets/AlertBox.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

constexpr QSize fieldSize(250, 24);

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

} // namespace

AlertBox::AlertBox(const Alert& alert, QWidget* parent, std::function<void(int button)> done)
    : QMessageBox(parent), alert_(alert), done_(std::move(done)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(Qt::WindowModal);
    setIcon(iconOf(alert.kind));
    setWindowTitle(QApplication::applicationDisplayName());
    setTextFormat(Qt::PlainText);
    setText(alert.message);
    setInformativeText(alert.informativeText);
    addButtons(alert.buttons);
    if (alert.suppress)
        setCheckBox(new QCheckBox(tr("Do not show this again"), this));
    if (alert.field)
        addField(*alert.field);
    connect(this, &QMessageBox::finished, this, &AlertBox::answer);
    if (parent)
        parent->installEventFilter(this);
}

AlertBox::~AlertBox() {
    // The window, and with it perhaps the receiver of the answer, is half destroyed: answer later.
    if (done_ && !isAnswered_)
        QMetaObject::invokeMethod(
            qApp, [done = std::move(done_), last = static_cast<int>(buttons_.size()) - 1] { done(last); },
            Qt::QueuedConnection);
}

void AlertBox::addButtons(QStringList texts) {
    if (texts.isEmpty())
        texts.append(tr("OK"));
    for (const QString& text : std::as_const(texts)) {
        const bool isLast = buttons_.size() + 1 == texts.size();
        buttons_.append(addButton(text, isLast && texts.size() > 1 ? RejectRole : AcceptRole));
    }
    setDefaultButton(buttons_.value(alert_.defaultButton, buttons_.first()));
    setEscapeButton(buttons_.last());
}

void AlertBox::addField(const Alert::Field& field) {
    field_ = new QLineEdit(this);
    field_->setPlaceholderText(field.placeholder);
    field_->setAccessibleName(field.placeholder);
    field_->setAccessibleDescription(alert_.message);
    if (field.isMasked)
        field_->setEchoMode(QLineEdit::Password);
    // A large font needs more.
    field_->setFixedSize(fieldSize.width(), std::max(fieldSize.height(), field_->sizeHint().height()));
    if (!field.option.isEmpty())
        option_ = new QCheckBox(field.option, this);
    placeField();
    if (option_)
        setTabOrder(field_, option_);
    setTabOrder(option_ ? static_cast<QWidget*>(option_) : field_, buttons_.first());
    field_->setFocus();
}

void AlertBox::placeField() {
    auto* grid = qobject_cast<QGridLayout*>(layout());
    auto* buttonBox = findChild<QDialogButtonBox*>();
    if (!grid || !buttonBox)
        return;
    const int columns = grid->columnCount();
    grid->removeWidget(buttonBox);
    grid->addWidget(field_, grid->rowCount(), columns - 1, Qt::AlignLeft);
    if (option_)
        grid->addWidget(option_, grid->rowCount(), columns - 1, Qt::AlignLeft);
    grid->addWidget(buttonBox, grid->rowCount(), 0, 1, columns);
}

void AlertBox::changeEvent(QEvent* event) {
    QMessageBox::changeEvent(event);
    // A new style lays out its own widgets again, but not the field.
    if (event->type() == QEvent::StyleChange && field_)
        placeField();
}

bool AlertBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parent() && event->type() == QEvent::Hide && !event->spontaneous())
        reject();
    return QMessageBox::eventFilter(watched, event);
}

void AlertBox::answer() {
    if (std::exchange(isAnswered_, true))
        return;
    const auto found = buttons_.indexOf(qobject_cast<QPushButton*>(clickedButton()));
    const auto last = buttons_.size() - 1;
    const auto pressed = found < 0 ? last : found;
    if (alert_.suppress && checkBox()->isChecked() && (last == 0 || pressed != last))
        alert_.suppress();
    if (field_ && pressed == 0 && alert_.field->entered)
        alert_.field->entered(field_->text());
    if (option_ && pressed == 0 && alert_.field->optionChosen)
        alert_.field->optionChosen(option_->isChecked());
    if (done_)
        done_(static_cast<int>(pressed));
}

} // namespace korvane
