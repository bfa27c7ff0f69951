#include "ui/widgets/KeyFileField.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

namespace korvane {
namespace {

QString usualDirectory() {
    const QString ssh = QDir::homePath() + QStringLiteral("/.ssh");
    return QFileInfo(ssh).isDir() ? ssh : QDir::homePath();
}

} // namespace

KeyFileField::KeyFileField(const QString& name, QWidget* parent)
    : QWidget(parent), name_(name), path_(new QLineEdit(this)) {
    path_->setAccessibleName(name);
    auto* pick = new QPushButton(tr("Choose…"), this);
    pick->setAccessibleName(tr("Choose: %1").arg(name));
    pick->setAutoDefault(false);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(path_, 1);
    layout->addWidget(pick);
    setFocusProxy(path_);
    setFocusPolicy(path_->focusPolicy());
    connect(path_, &QLineEdit::textChanged, this, &KeyFileField::changed);
    connect(path_, &QLineEdit::editingFinished, this, &KeyFileField::entered);
    connect(pick, &QPushButton::clicked, this, [this] { pickFile(); });
}

QString KeyFileField::path() const {
    const QString typed = path_->text().trimmed();
    const bool isAtHome = typed == QLatin1String("~") || typed.startsWith(QLatin1String("~/"));
    return isAtHome ? QDir::homePath() + typed.mid(1) : typed;
}

void KeyFileField::setPath(const QString& path) {
    path_->setText(path);
}

void KeyFileField::pickFile() {
    const QString directory = path().isEmpty() ? usualDirectory() : QFileInfo(path()).path();
    auto* dialog = new QFileDialog(this, name_, directory);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    // Keys lie in a hidden directory.
    dialog->setFilter(QDir::AllEntries | QDir::AllDirs | QDir::Hidden | QDir::NoDotAndDotDot);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& picked) {
        setPath(picked);
        Q_EMIT entered();
    });
    dialog->open();
}

} // namespace korvane
