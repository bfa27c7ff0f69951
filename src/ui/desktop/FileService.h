#pragma once

#include <QString>
#include <QStringList>

#include <memory>

namespace korvane {

class DocumentProtocol;
class EmailComposer;

/// Makes the e-mail by which a log file is shared: a local file is attached, a remote one is named. The texts
/// come from the file "korvane/Share.plist" of the data directories, the user's before the system's; what it
/// lacks keeps its default. Good for one share: the placeholder is used up. Main thread.
class FileService {
public:
    /// Sets the defaults, then reads the file of texts.
    FileService();

    /// Gives the message to the service. Without a document, or one without an address, only the recipients.
    void share(EmailComposer& service);

    /// What to share.
    std::shared_ptr<const DocumentProtocol> document;

    // The names of the texts in the file, each of them optional.
    const QString KEY_SUBJ = QStringLiteral("subject");
    /// Addresses with a comma between them, nothing else.
    const QString KEY_TO = QStringLiteral("recipients");
    const QString KEY_CONTENTS = QStringLiteral("content");
    const QString KEY_REMOTE_SUBJ = QStringLiteral("remoteFileSubject");
    const QString KEY_REMOTE_BODY = QStringLiteral("remoteFileBody");
    /// Stands for the file's name in both subjects.
    const QString VAR_FILENAME = QStringLiteral("$filename");

    QString subject = QStringLiteral("Log file attached");
    QString remoteSubj = QStringLiteral("See remote file");
    QStringList toAddr = {QString()};
    QString content = QStringLiteral("See attachment");
    QString remoteContent;

    const QString SHARE_PLIST = QStringLiteral("Share.plist");

private:
    void readTemplate();
};

} // namespace korvane
