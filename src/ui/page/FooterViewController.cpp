#include "ui/page/FooterViewController.h"

#include "foundation/text/Translations.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/SizeText.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QTimer>
#include <QToolButton>

#include <utility>

namespace korvane {
namespace {

constexpr int userUpdateMilliseconds = 8000;
constexpr int imageSize = 14;

} // namespace

FooterViewController::FooterViewController(QWidget* parent)
    : QWidget(parent), imgStatus_(new QLabel(this)), lblStatus_(new QLabel(this)),
      lblFileName_(new ElidedLabel(this)), lblUserUpdate_(new ElidedLabel(this)),
      lblEncoding_(new QLabel(this)), lblLineCount_(new QLabel(this)), showAll_(new QToolButton(this)),
      lblFileSize_(new QLabel(this)), info_(new QToolButton(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 3, 10, 3);
    layout->setSpacing(18);
    auto* status = new QHBoxLayout;
    status->setSpacing(3);
    status->addWidget(imgStatus_);
    status->addWidget(lblStatus_);
    layout->addLayout(status);
    lblFileName_->setElideMode(Qt::ElideMiddle);
    layout->addWidget(lblFileName_);
    layout->addWidget(lblUserUpdate_, 1);
    layout->addWidget(lblEncoding_);
    auto* lines = new QHBoxLayout;
    lines->setSpacing(3);
    lines->addWidget(lblLineCount_);
    lines->addWidget(showAll_);
    layout->addLayout(lines);
    showAll_->setText(tr("Show All"));
    showAll_->setToolTip(tr("Show the lines that are left out"));
    showAll_->setAutoRaise(true);
    showAll_->hide();
    connect(showAll_, &QToolButton::clicked, this, &FooterViewController::showAllRequested);
    layout->addWidget(lblFileSize_);
    layout->addWidget(info_);
    info_->setIcon(icon(QStringLiteral("info")));
    info_->setIconSize({imageSize, imageSize});
    info_->setAutoRaise(true);
    info_->setToolTip(tr("About this file (Ctrl+I)"));
    info_->setAccessibleName(tr("About this file"));
    connect(info_, &QToolButton::clicked, this, &FooterViewController::fileInfoRequested);
    for (QLabel* label : std::initializer_list<QLabel*>{lblStatus_, lblFileName_, lblUserUpdate_,
                                                        lblEncoding_, lblLineCount_, lblFileSize_})
        label->setTextFormat(Qt::PlainText);
    lblStatus_->setForegroundRole(QPalette::PlaceholderText);
    lblEncoding_->setForegroundRole(QPalette::PlaceholderText);
    // An accessible name would replace the label's text.
    lblLineCount_->setAccessibleDescription(tr("Number of lines"));
    lblFileSize_->setAccessibleDescription(tr("File size"));
}

void FooterViewController::setFileName(const QString& name, const QString& path) {
    lblFileName_->setText(name);
    lblFileName_->setToolTip(path);
}

void FooterViewController::setStatus(const QString& imageName, const QString& text) {
    lblStatus_->setText(text);
    if (std::exchange(imageName_, imageName) != imageName)
        imgStatus_->setPixmap(icon(imageName).pixmap({imageSize, imageSize}, devicePixelRatioF()));
}

void FooterViewController::setFileSize(std::optional<std::uint64_t> bytes) {
    lblFileSize_->setText(bytes ? sizeText(*bytes) : QString());
    lblFileSize_->setToolTip(
        bytes ? tr("%1 byte(s)", nullptr, translations::pluralOf(static_cast<qint64>(*bytes)))
                    .arg(QLocale().toString(static_cast<qulonglong>(*bytes)))
              : QString());
}

void FooterViewController::setLineCount(qint64 lines, std::optional<Shown> shown) {
    const QString count = QLocale().toString(lines);
    const int plural = translations::pluralOf(lines);
    QString text = shown
                       ? tr("%1 of %2 line(s)", nullptr, plural).arg(QLocale().toString(shown->lines), count)
                       : tr("%1 line(s)", nullptr, plural).arg(count);
    if (shown && shown->percentExamined < 100)
        text = tr("%1, %2 % examined").arg(text, QLocale().toString(shown->percentExamined));
    lblLineCount_->setText(text);
    showAll_->setVisible(shown.has_value());
}

void FooterViewController::setEncodingName(const QString& name) {
    lblEncoding_->setText(name);
}

void FooterViewController::setStanding(const QString& text, bool isWarning) {
    standing_ = text;
    standingIsWarning_ = isWarning;
    showText();
}

void FooterViewController::showUserUpdate(const QString& text) {
    update_ = text;
    showText();
    QTimer::singleShot(userUpdateMilliseconds, this, [this, serial = ++updateSerial_] {
        if (serial != updateSerial_)
            return;
        update_.clear();
        showText();
    });
}

void FooterViewController::endUserUpdate(const QString& text) {
    if (update_ != text)
        return;
    update_.clear();
    showText();
}

void FooterViewController::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        Q_EMIT fileInfoRequested();
}

void FooterViewController::showText() {
    const QString text = update_.isEmpty() ? standing_ : update_;
    lblUserUpdate_->setText(text);
    lblUserUpdate_->setToolTip(text);
    QFont font = this->font();
    font.setBold(update_.isEmpty() && standingIsWarning_);
    lblUserUpdate_->setFont(font);
}

} // namespace korvane
