#include "ui/GotoLineViewController.h"

#include "ui/LogViewController.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>

namespace korvane {

GotoLineViewController::GotoLineViewController(LogViewController& logViewController, QWidget* parent)
    : QDialog(parent), txtLineNum_(new QLineEdit(this)), logViewController_(logViewController) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(Qt::WindowModal);
    setWindowTitle(tr("Go to Line"));

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    btnOk_ = buttons->button(QDialogButtonBox::Ok);
    auto* layout = new QFormLayout(this);
    const QString range = tr("&Line (1 – %1):").arg(QLocale().toString(logViewController.lineCount()));
    layout->addRow(range, txtLineNum_);
    layout->addRow(buttons);
    txtLineNum_->setMinimumWidth(180);
    txtLineNum_->setInputMethodHints(Qt::ImhDigitsOnly);

    connect(txtLineNum_, &QLineEdit::textChanged, this, [this] { controlTextDidChange(); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { handleOk(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    controlTextDidChange();
}

void GotoLineViewController::controlTextDidChange() {
    btnOk_->setEnabled(logViewController_.validLineNumber(txtLineNum_->text()).has_value());
}

void GotoLineViewController::handleOk() {
    if (const auto line = logViewController_.validLineNumber(txtLineNum_->text()))
        logViewController_.goToLine(*line);
    accept();
}

} // namespace korvane
