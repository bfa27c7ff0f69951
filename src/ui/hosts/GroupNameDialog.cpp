#include "ui/hosts/GroupNameDialog.h"

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

GroupNameDialog::GroupNameDialog(const QString& nameNow, QWidget* parent)
    : QDialog(parent), nameNow_(nameNow), name_(new QLineEdit(nameNow, this)), refusal_(new QLabel(this)) {
    setWindowTitle(nameNow_.isEmpty() ? tr("New Group") : tr("Rename Group"));
    name_->selectAll();
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

QString GroupNameDialog::name() const {
    return name_->text().trimmed();
}

void GroupNameDialog::nameChanged() {
    const bool isUnchanged = !nameNow_.isEmpty() && name() == nameNow_;
    const auto refusal = isUnchanged ? std::nullopt : ServerGroupsManager::shared().refusalToAdd(name());
    refusal_->setText(refusal.value_or(QString()));
    name_->setAccessibleDescription(refusal_->text());
    ok_->setEnabled(!name().isEmpty() && !refusal && !isUnchanged);
}

} // namespace korvane
