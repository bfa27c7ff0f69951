#include "ui/page/FileInfoPopover.h"

#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/text/Translations.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/SizeText.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScreen>

#include <algorithm>

namespace korvane {
namespace {

constexpr int widestValue = 460;

QString timeText(const QDateTime& time) {
    return QLocale::system().toString(time.toLocalTime(), QLocale::ShortFormat);
}

} // namespace

FileInfoPopover::FileInfoPopover(Document& document, qint64 lineCount, QWidget* parent)
    : QFrame(parent, Qt::Popup) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    setAccessibleName(tr("About this file"));
    auto* form = new QFormLayout(this);
    form->setContentsMargins(14, 12, 14, 12);
    form->setLabelAlignment(Qt::AlignRight);
    addRow(*form, tr("Name:"), document.displayName());
    if (!document.fileUrl().isLocalFile())
        addRow(*form, tr("Server:"), document.fileUrl().authority());
    if (document.isTransient())
        addRow(*form, tr("Path:"), tr("none, it came by a pipe"));
    else
        addRow(*form, tr("Path:"), displayPath(document.fileUrl()));
    const QString unknown = QStringLiteral("–");
    size_ = addRow(*form, tr("Size:"), unknown);
    modified_ = addRow(*form, tr("Modified:"), unknown);
    accessed_ = addRow(*form, tr("Last access:"), unknown);
    addRow(*form, tr("Encoding:"), encodingName(document.fileEncoding()));
    addRow(*form, tr("Lines:"), QLocale().toString(lineCount));
    auto* copy = new QPushButton(icon(QStringLiteral("copy")), tr("&Copy Path"), this);
    connect(copy, &QPushButton::clicked, this, [this, path = displayPath(document.fileUrl())] {
        QApplication::clipboard()->setText(path);
        close();
    });
    form->addRow(QString(), copy);
    copy->setEnabled(!document.isTransient());
    copy->setFocus();
    document.askFileInformation([self = QPointer(this)](const std::optional<FileInformation>& information) {
        if (self && information)
            self->showInformation(*information);
    });
}

QLabel* FileInfoPopover::addRow(QFormLayout& form, const QString& name, const QString& value) {
    auto* valueLabel = new QLabel(value, this);
    valueLabel->setTextFormat(Qt::PlainText);
    valueLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (valueLabel->sizeHint().width() > widestValue) {
        valueLabel->setWordWrap(true);
        valueLabel->setFixedWidth(widestValue);
    }
    auto* nameLabel = new QLabel(name, this);
    nameLabel->setForegroundRole(QPalette::PlaceholderText);
    form.addRow(nameLabel, valueLabel);
    return valueLabel;
}

void FileInfoPopover::showInformation(const FileInformation& information) {
    size_->setText(
        tr("%1 (%2 byte(s))", nullptr, translations::pluralOf(static_cast<qint64>(information.size)))
            .arg(sizeText(information.size), QLocale().toString(information.size)));
    modified_->setText(timeText(information.modificationDate));
    accessed_->setText(timeText(information.lastAccess));
    place();
}

void FileInfoPopover::showAbove(QWidget& anchor) {
    anchor_ = &anchor;
    place();
    show();
}

void FileInfoPopover::place() {
    adjustSize();
    if (!anchor_)
        return;
    QPoint corner = anchor_->mapToGlobal(QPoint(anchor_->width(), 0)) - QPoint(width() + 8, height() + 4);
    const QRect screen = anchor_->screen()->availableGeometry();
    corner.setX(std::clamp(corner.x(), screen.left(), std::max(screen.left(), screen.right() - width())));
    corner.setY(std::max(corner.y(), screen.top()));
    move(corner);
}

} // namespace korvane
