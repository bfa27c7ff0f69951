#include "foundation/AvailableMemory.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <algorithm>
#include <limits>
#include <sys/resource.h>
#include <unistd.h>

namespace korvane {
namespace {

constexpr auto unlimited = std::numeric_limits<std::uint64_t>::max();

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::uint64_t lessThan(std::uint64_t limit, std::uint64_t used) {
    return limit - std::min(limit, used);
}

std::uint64_t freeOfMachine() {
    for (const QByteArray& line : contentOf(QStringLiteral("/proc/meminfo")).split('\n'))
        if (line.startsWith("MemAvailable:"))
            return line.mid(13).trimmed().chopped(3).toULongLong() * 1024; // "… kB"
    return unlimited;
}

/// Each ancestor of the control group may have its own limit.
std::uint64_t freeOfControlGroup() {
    std::uint64_t least = unlimited;
    QByteArray group;
    for (const QByteArray& line : contentOf(QStringLiteral("/proc/self/cgroup")).split('\n'))
        if (line.startsWith("0::"))
            group = line.mid(3);
    for (; group.size() > 1; group.truncate(std::max<qsizetype>(group.lastIndexOf('/'), 0))) {
        const QString directory = QStringLiteral("/sys/fs/cgroup") + QFile::decodeName(group);
        bool isLimited = false;
        const std::uint64_t limit =
            contentOf(directory + QStringLiteral("/memory.max")).trimmed().toULongLong(&isLimited);
        if (isLimited)
            least = std::min<std::uint64_t>(
                least,
                lessThan(limit,
                         contentOf(directory + QStringLiteral("/memory.current")).trimmed().toULongLong()));
    }
    return least;
}

std::uint64_t freeOfAddressSpace() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return unlimited;
    const std::uint64_t pages =
        contentOf(QStringLiteral("/proc/self/statm")).split(' ').first().toULongLong();
    return lessThan(limit.rlim_cur, pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));
}

} // namespace

std::uint64_t availableMemory() {
    return std::min({freeOfMachine(), freeOfControlGroup(), freeOfAddressSpace()});
}

} // namespace korvane
