#include "ui/hosts/NewGroupDialog.h"

#include "remote/hosts/ServerGroupsManager.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace korvane {
namespace {

constexpr int fieldWidth = 260;

} // namespace

NewGroupDialog::NewGroupDialog(QWidget* parent)
    : QDialog(parent), name_(new QLineEdit(this)), refusal_(new QLabel(this)) {
    setWindowTitle(tr("New Group"));
    setWindowModality(Qt::WindowModal);
    name_->setMinimumWidth(fieldWidth);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    ok_ = buttons->button(QDialogButtonBox::Ok);
    auto* form = new QFormLayout(this);
    form->addRow(tr("&Name:"), name_);
    form->addRow(QString(), refusal_);
    form->addRow(buttons);
    connect(name_, &QLineEdit::textChanged, this, [this] { nameChanged(); });
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    nameChanged();
}

QString NewGroupDialog::name() const {
    return name_->text().trimmed();
}

void NewGroupDialog::nameChanged() {
    const auto refusal = ServerGroupsManager::shared().refusalToAdd(name());
    refusal_->setText(refusal.value_or(QString()));
    name_->setAccessibleDescription(refusal_->text());
    ok_->setEnabled(!name().isEmpty() && !refusal);
}

} // namespace korvane
