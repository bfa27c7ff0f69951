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

FileService::FileService(std::shared_ptr<const DocumentProtocol> shared) : document(std::move(shared)) {
    readTemplate();
}

void FileService::readTemplate() {
    const QString path =
        QStandardPaths::locate(QStandardPaths::GenericDataLocation, QStringLiteral("korvane/") + SHARE_PLIST);
    const QHash<QString, QString> texts = shareTemplate(path.isEmpty() ? QByteArray() : contentOf(path));
    subject = texts.value(KEY_SUBJ, subject);
    content = texts.value(KEY_CONTENTS, content);
    remoteSubj = texts.value(KEY_REMOTE_SUBJ, remoteSubj);
    remoteContent = texts.value(KEY_REMOTE_BODY, remoteContent);
    if (texts.contains(KEY_TO))
        toAddr = texts.value(KEY_TO).split(u',');
}

void FileService::share(EmailComposer& service) {
    service.setRecipients(toAddr);
    const QUrl url = document ? document->fileUrl() : QUrl();
    if (url.isEmpty())
        return;
    QList<QUrl> attachments;
    if (url.isLocalFile()) {
        attachments.append(url);
    } else {
        subject = remoteSubj;
        content = remoteContent;
    }
    subject.replace(VAR_FILENAME, displayName(url));
    service.setSubject(subject);
    service.perform(content, attachments);
}

} // namespace korvane
