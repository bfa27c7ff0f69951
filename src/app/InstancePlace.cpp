#include "app/InstancePlace.h"

#include "app/Application.h"
#include "app/CommandLine.h"
#include "foundation/archive/StoreDirectory.h"

#include <QCryptographicHash>
#include <QFile>

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace korvane {
namespace {

/// Whether it is a directory, not a link, that only the user can write to.
bool isPrivate(const QByteArray& directory) {
    struct stat status {};
    return directory.startsWith('/') && ::lstat(directory.constData(), &status) == 0 &&
           S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 0077) == 0;
}

/// As the toolkit reads it: the last option of that name, or else the variable.
QByteArray toolkitSetting(const CommandLine& commandLine, const QByteArray& option, const char* variable) {
    QByteArray value = qgetenv(variable);
    const std::vector<QByteArray>& arguments = commandLine.toolkitArguments;
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == option)
            value = arguments[i + 1];
    }
    return value;
}

} // namespace

std::optional<InstancePlace> InstancePlace::find(const CommandLine& commandLine) {
    return in(qgetenv("XDG_RUNTIME_DIR"), "/tmp/korvane-" + QByteArray::number(::geteuid()),
              key(commandLine));
}

std::optional<InstancePlace> InstancePlace::in(const QByteArray& runtimeDirectory, const QByteArray& fallback,
                                               const QByteArray& key) {
    constexpr qsizetype longestPath = sizeof(sockaddr_un::sun_path) - 1;
    for (const QByteArray& directory : {runtimeDirectory, fallback}) {
        const QByteArray base = directory + "/korvane-" + key;
        InstancePlace place{base + ".socket", base + ".lock"};
        if (place.socketPath.size() > longestPath)
            continue;
        if (directory == fallback)
            ::mkdir(directory.constData(), 0700);
        if (isPrivate(directory))
            return place;
    }
    return std::nullopt;
}

QByteArray InstancePlace::key(const CommandLine& commandLine) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QByteArray& part :
         {QFile::encodeName(settingsFilePath()), QFile::encodeName(storeDirectory()),
          toolkitSetting(commandLine, "-platform", "QT_QPA_PLATFORM"), qgetenv("WAYLAND_DISPLAY"),
          toolkitSetting(commandLine, "-display", "DISPLAY")}) {
        hash.addData(part);
        hash.addData(QByteArrayView("\0", 1));
    }
    return hash.result().toHex().left(32);
}

} // namespace korvane
