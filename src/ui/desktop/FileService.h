#pragma once

#include <QString>
#include <QStringList>

#include <memory>

namespace korvane {

class DocumentProtocol;
class EmailComposer;

/// Makes the e-mail by which a log file is shared: a local file is attached, a remote one is named. The texts
/// come from the file "korvane/Share.plist" of the data directories, the user's before the system's; a text
/// that is absent there keeps its default. Good for one share, which replaces the placeholder. Main thread.
class FileService {
public:
    /// Reads the file of texts. `shared`: what to share.
    explicit FileService(std::shared_ptr<const DocumentProtocol> shared);

    /// Gives the message to the service. Without a document, or one without an address, only the recipients.
    void share(EmailComposer& service);

private:
    void readTemplate();

    const std::shared_ptr<const DocumentProtocol> document_;

    // The keys of the texts in the file, each of them optional.
    inline static const QString KEY_SUBJ = QStringLiteral("subject");
    /// Addresses with a comma between them, nothing else.
    inline static const QString KEY_TO = QStringLiteral("recipients");
    inline static const QString KEY_CONTENTS = QStringLiteral("content");
    inline static const QString KEY_REMOTE_SUBJ = QStringLiteral("remoteFileSubject");
    inline static const QString KEY_REMOTE_BODY = QStringLiteral("remoteFileBody");
    /// Stands for the file's name in both subjects.
    inline static const QString VAR_FILENAME = QStringLiteral("$filename");

    QString subject_ = QStringLiteral("Log file attached");
    QString remoteSubj_ = QStringLiteral("See remote file");
    QStringList toAddr_ = {QString()};
    QString content_ = QStringLiteral("See attachment");
    QString remoteContent_;

    inline static const QString SHARE_PLIST = QStringLiteral("Share.plist");
};

} // namespace korvane
