#include "ui/desktop/FileService.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "ui/desktop/EmailComposer.h"
#include "ui/desktop/ShareTemplate.h"

#include <QFile>
#include <QStandardPaths>

#include <utility>

namespace korvane {
namespace {

/// Maximum size of a file of texts; a larger one is ignored.
constexpr qint64 mostTemplateBytes = 1 << 20;

QByteArray contentOf(const QString& path) {
    QFile file(path);
    if (file.size() > mostTemplateBytes || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

} // namespace

FileService::FileService(std::shared_ptr<const DocumentProtocol> shared) : document_(std::move(shared)) {
    readTemplate();
}

void FileService::readTemplate() {
    const QString path =
        QStandardPaths::locate(QStandardPaths::GenericDataLocation, QStringLiteral("korvane/") + SHARE_PLIST);
    const QHash<QString, QString> texts = shareTemplate(path.isEmpty() ? QByteArray() : contentOf(path));
    subject_ = texts.value(KEY_SUBJ, subject_);
    content_ = texts.value(KEY_CONTENTS, content_);
    remoteSubj_ = texts.value(KEY_REMOTE_SUBJ, remoteSubj_);
    remoteContent_ = texts.value(KEY_REMOTE_BODY, remoteContent_);
    if (texts.contains(KEY_TO))
        toAddr_ = texts.value(KEY_TO).split(u',');
}

void FileService::share(EmailComposer& service) {
    service.setRecipients(toAddr_);
    const QUrl url = document_ ? document_->fileUrl() : QUrl();
    if (url.isEmpty())
        return;
    QList<QUrl> attachments;
    if (url.isLocalFile()) {
        attachments.append(url);
    } else {
        subject_ = remoteSubj_;
        content_ = remoteContent_;
    }
    subject_.replace(VAR_FILENAME, displayName(url));
    service.setSubject(subject_);
    service.perform(content_, attachments);
}

} // namespace korvane
