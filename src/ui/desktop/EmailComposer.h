#pragma once

#include "foundation/notices/WindowId.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace korvane {

class AlertPresenter;

/// Shows the user a message to be sent, in the mail program of the desktop. Nothing is sent by this program.
/// Main thread.
class EmailComposer {
public:
    virtual ~EmailComposer() = default;

    virtual void setRecipients(const QStringList& addresses) = 0;
    virtual void setSubject(const QString& subject) = 0;
    /// Opens the message with this body and these local files attached.
    virtual void perform(const QString& body, const QList<QUrl>& attachments) = 0;
};

/// Hands the message to `xdg-email`. Returns at once; a failure is shown as an alert, perhaps after this
/// object was destroyed.
class XdgEmailComposer : public EmailComposer {
public:
    /// `alerts` must outlive the program that is started. `window`: as for AlertPresenter::present.
    XdgEmailComposer(AlertPresenter& alerts, WindowId window) : alerts_(alerts), window_(window) {}

    void setRecipients(const QStringList& addresses) override { recipients_ = addresses; }
    void setSubject(const QString& subject) override { subject_ = subject; }
    /// An empty recipient, subject or body is left out. An invalid recipient is named in an alert, and no
    /// message is opened.
    void perform(const QString& body, const QList<QUrl>& attachments) override;

private:
    AlertPresenter& alerts_;
    const WindowId window_;
    QStringList recipients_;
    QString subject_;
};

} // namespace korvane
