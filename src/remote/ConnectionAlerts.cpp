#include "remote/ConnectionAlerts.h"

#include <QCoreApplication>

namespace korvane {
namespace {

struct AlertTexts {
    Q_DECLARE_TR_FUNCTIONS(ConnectionAlerts)
};

} // namespace

Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason) {
    return {Alert::Kind::Error,
            AlertTexts::tr("Could not connect to host: %1 on port %2").arg(host, QString::number(port)),
            AlertTexts::tr("Please check the configuration and ensure the SSH server is running!") +
                (reason.isEmpty() ? QString() : u'\n' + reason),
            {AlertTexts::tr("OK")}};
}

} // namespace korvane
