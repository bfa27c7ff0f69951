#include "ui/page/GotoLineViewController.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>

namespace korvane {

GotoLineViewController::GotoLineViewController(qint64 lineCount, Validation validLineNumber, QWidget* page)
    : QDialog(page), txtLineNum_(new QLineEdit(this)), validLineNumber_(std::move(validLineNumber)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("Go to Line"));

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    btnOk_ = buttons->button(QDialogButtonBox::Ok);
    auto* layout = new QFormLayout(this);
    const QString range = tr("&Line (1 – %1):").arg(QLocale().toString(lineCount));
    layout->addRow(range, txtLineNum_);
    layout->addRow(buttons);
    txtLineNum_->setMinimumWidth(180);
    txtLineNum_->setInputMethodHints(Qt::ImhDigitsOnly);

    connect(txtLineNum_, &QLineEdit::textChanged, this, [this] { controlTextDidChange(); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { handleOk(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    page->installEventFilter(this);
    controlTextDidChange();
}

bool GotoLineViewController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Hide && watched == parent())
        reject();
    return QDialog::eventFilter(watched, event);
}

void GotoLineViewController::controlTextDidChange() {
    btnOk_->setEnabled(validLineNumber_(txtLineNum_->text()).has_value());
}

void GotoLineViewController::handleOk() {
    if (const auto line = validLineNumber_(txtLineNum_->text()))
        Q_EMIT lineChosen(*line);
    accept();
}

} // namespace korvane
