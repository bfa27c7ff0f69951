#include "ui/FileInfoPopover.h"

#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/MainThread.h"
#include "ui/Icons.h"
#include "ui/SizeText.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScreen>

#include <algorithm>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

constexpr int widestValue = 460;

struct FileFacts {
    quint64 size;
    qint64 modified; ///< seconds since 1970
    qint64 accessed;
};

class AskFileSystem : public Operation {
public:
    explicit AskFileSystem(QByteArray path) : path_(std::move(path)) {}
    /// Nothing when there is no answer. From the completion on.
    const std::optional<FileFacts>& facts() const { return facts_; }

protected:
    void main() override {
        struct stat status {};
        if (::stat(path_.constData(), &status) == 0)
            facts_ = FileFacts{static_cast<quint64>(status.st_size), status.st_mtime, status.st_atime};
    }

private:
    const QByteArray path_;
    std::optional<FileFacts> facts_;
};

QString timeText(qint64 seconds) {
    return QLocale().toString(QDateTime::fromSecsSinceEpoch(seconds), QLocale::ShortFormat);
}

} // namespace

FileInfoPopover::FileInfoPopover(const Document& document, qint64 lineCount, QWidget* parent)
    : QFrame(parent, Qt::Popup), queue_("File information", 1) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    setAccessibleName(tr("About this file"));
    const QString path = displayPath(document.fileUrl());
    auto* form = new QFormLayout(this);
    form->setContentsMargins(14, 12, 14, 12);
    form->setLabelAlignment(Qt::AlignRight);
    addRow(*form, tr("Name:"), document.displayName());
    addRow(*form, tr("Path:"), path);
    const QString unknown = QStringLiteral("–");
    size_ = addRow(*form, tr("Size:"), unknown);
    modified_ = addRow(*form, tr("Modified:"), unknown);
    accessed_ = addRow(*form, tr("Last access:"), unknown);
    addRow(*form, tr("Encoding:"), encodingName(document.logReader()->fileEncoding()));
    addRow(*form, tr("Lines:"), QLocale().toString(lineCount));
    auto* copy = new QPushButton(icon(QStringLiteral("copy")), tr("&Copy Path"), this);
    connect(copy, &QPushButton::clicked, this, [this, path] {
        QApplication::clipboard()->setText(path);
        close();
    });
    form->addRow(QString(), copy);
    copy->setFocus();
    if (document.fileUrl().isLocalFile())
        askFileSystem(localPath(document.fileUrl()));
}

FileInfoPopover::~FileInfoPopover() {
    queue_.cancelAllOperations();
}

QLabel* FileInfoPopover::addRow(QFormLayout& form, const QString& name, const QString& value) {
    auto* label = new QLabel(value, this);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (label->sizeHint().width() > widestValue) {
        label->setWordWrap(true);
        label->setFixedWidth(widestValue);
    }
    auto* heading = new QLabel(name, this);
    heading->setForegroundRole(QPalette::PlaceholderText);
    form.addRow(heading, label);
    return label;
}

void FileInfoPopover::askFileSystem(const QByteArray& path) {
    const auto ask = std::make_shared<AskFileSystem>(path);
    // The operation outlives its completion, which it owns.
    ask->setCompletion([ask = ask.get(), self = QPointer(this)] {
        MainThread::shared().post([facts = ask->facts(), self] {
            if (!self || !facts)
                return;
            self->size_->setText(
                tr("%1 (%2 bytes)").arg(sizeText(facts->size), QLocale().toString(facts->size)));
            self->modified_->setText(timeText(facts->modified));
            self->accessed_->setText(timeText(facts->accessed));
            self->place();
        });
    });
    queue_.addOperation(ask);
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
