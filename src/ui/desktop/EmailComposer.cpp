#include "ui/desktop/EmailComposer.h"

#include "foundation/FilePath.h"
#include "foundation/notices/Alerts.h"
#include "ui/desktop/ExternalProgram.h"

#include <QCoreApplication>

#include <cerrno>

namespace korvane {
namespace {

struct Mail {
    Q_DECLARE_TR_FUNCTIONS(EmailComposer)
};

/// Whether `xdg-email` reads the text as an address, not as an option or a "mailto:" URL.
bool isAddress(const QString& text) {
    return text.contains(u'@') && !text.startsWith(u'-') &&
           !text.startsWith(QStringLiteral("mailto:"), Qt::CaseInsensitive);
}

/// The meaning of the exit status of `xdg-email`, and a remedy.
QString explanation(const ProgramEnd& end) {
    if (end.startError == ENOENT)
        return Mail::tr(
            "The program “xdg-email” was not found. Install the package “xdg-utils”, which holds it.");
    if (end.startError == E2BIG)
        return Mail::tr("The program “xdg-email” cannot take texts this long. Shorten those of Share.plist.");
    if (end.startError != 0)
        return Mail::
            tr("The program “xdg-email” could not be started: %1. Look whether the package “xdg-utils” is "
               "complete.")
                .arg(qt_error_string(end.startError));
    switch (end.status) {
    case 2:
        return Mail::tr("The program “xdg-email” did not find the file. Look whether it still has its name.");
    case 3:
        return Mail::tr(
            "The program “xdg-email” found no mail program. Install one, or choose one in the settings of "
            "the desktop.");
    case 5:
        return Mail::tr(
            "The program “xdg-email” may not read the file. Ask its owner for the right to read it.");
    default:
        return Mail::tr(
                   "The program “xdg-email” failed with status %1. Look whether a mail program is chosen in "
                   "the "
                   "settings of the desktop, and whether it starts.")
            .arg(end.status);
    }
}

} // namespace

void XdgEmailComposer::perform(const QString& body, const QList<QUrl>& attachments) {
    ProgramCall call{"xdg-email", {"--utf8"}};
    const auto addOption = [&call](const QByteArray& name, const QByteArray& value) {
        if (!value.isEmpty())
            call.arguments << name << value;
    };
    addOption("--subject", subject_.toUtf8());
    addOption("--body", body.toUtf8());
    for (const QUrl& file : attachments)
        addOption("--attach", localPath(file));
    for (const QString& address : recipients_) {
        if (address.isEmpty())
            continue;
        if (!isAddress(address)) {
            alerts_.present(
                {Alert::Kind::Warning,
                 Mail::tr("“%1” is no e-mail address").arg(address),
                 Mail::tr("It stands among the recipients in Share.plist. Correct it there, then share the "
                          "file again."),
                 {}},
                window_, {});
            return;
        }
        call.arguments << address.toUtf8();
    }
    startProgram(std::move(call), [&alerts = alerts_, window = window_](const ProgramEnd& end) {
        if (!end.isGood())
            alerts.present(
                {Alert::Kind::Warning, Mail::tr("No e-mail could be prepared"), explanation(end), {}}, window,
                {});
    });
}

} // namespace korvane
