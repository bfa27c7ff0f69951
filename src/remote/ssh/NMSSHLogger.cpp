#include "remote/ssh/NMSSHLogger.h"

#include "remote/ssh/RemoteLog.h"

#include <libssh/callbacks.h>
#include <libssh/libssh.h>

namespace korvane {

NMSSHLogger& NMSSHLogger::sharedLogger() {
    static NMSSHLogger logger;
    return logger;
}

void NMSSHLogger::applyToThisThread() const {
    ssh_set_log_callback([](int, const char*, const char* text, void*) {
        qCInfo(logRemote).noquote() << QString::fromUtf8(text);
    });
    ssh_set_log_level(isEnabled() ? SSH_LOG_PROTOCOL : SSH_LOG_NOLOG);
}

} // namespace korvane
