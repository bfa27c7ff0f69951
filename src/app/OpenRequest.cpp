#include "app/OpenRequest.h"

#include "documents/PipeCopier.h"
#include "foundation/FilePath.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace korvane {
namespace {

constexpr quint32 messageMark = 0x4B52564F;
/// Incremented with every change of the format.
constexpr quint32 messageVersion = 1;
constexpr qsizetype longestToken = 4096;

enum Flag : quint8 { standardInputFlag = 1, urlFlag = 2, inputFlag = 4 };

bool isOfThisProcess(const QByteArray& path) {
    return PipeCopier::descriptorNamed(path) >= 0 || path.startsWith("/proc/self/");
}

Descriptor duplicate(int number) {
    return Descriptor(::fcntl(number, F_DUPFD_CLOEXEC, 0));
}

/// The input to open on behalf of another process. Not open for an ordinary file, nor when opening fails,
/// which the other process then finds out itself.
Descriptor inputAt(const QByteArray& path) {
    const bool isPipe = PipeCopier::mustCopy(path);
    if (const int named = PipeCopier::descriptorNamed(path); isPipe && named >= 0)
        return duplicate(named);
    if (!isPipe && !isOfThisProcess(path))
        return Descriptor();
    // Not blocking: a named pipe's writer may come later.
    return Descriptor(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/// A path that means the same in the other process.
QByteArray pathForOthers(const QByteArray& path) {
    if (const int named = PipeCopier::descriptorNamed(path); named >= 0)
        return "/proc/" + QByteArray::number(::getpid()) + "/fd/" + QByteArray::number(named);
    return localPath(fileUrlFromPath(path));
}

QByteArray token(const char* variable) {
    const QByteArray value = qgetenv(variable);
    return value.size() <= longestToken ? value : QByteArray();
}

bool isSoundToken(const QByteArray& text) {
    return text.size() <= longestToken && !text.contains('\0');
}

/// Standard input has no path; an address and a path have no byte 0; a path is absolute.
bool isSoundPlace(const CommandLine::File& place, bool hasInput) {
    if (place.line && *place.line < 1)
        return false;
    if (place.standardInput)
        return hasInput && place.path.isEmpty() && !place.isUrl;
    if (place.path.isEmpty() || place.path.contains('\0'))
        return false;
    return place.isUrl ? !hasInput : place.path.startsWith('/');
}

} // namespace

OpenRequest OpenRequest::forThisProcess(const std::vector<CommandLine::File>& files) {
    OpenRequest request;
    for (const CommandLine::File& file : files)
        request.files.push_back({file});
    return request;
}

OpenRequest OpenRequest::forAnotherProcess(const std::vector<CommandLine::File>& files) {
    OpenRequest request = forThisProcess(files);
    for (File& file : request.files) {
        if (file.place.standardInput) {
            file.input = duplicate(STDIN_FILENO);
        } else if (!file.place.isUrl) {
            file.input = inputAt(file.place.path);
            // Where there is an input the path only gives it a name.
            file.place.path = file.input.isOpen() ? localPath(fileUrlFromPath(file.place.path))
                                                  : pathForOthers(file.place.path);
        }
    }
    request.activationToken = token("XDG_ACTIVATION_TOKEN");
    request.startupId = token("DESKTOP_STARTUP_ID");
    return request;
}

OpenRequest::Message OpenRequest::message() const {
    Message message;
    QByteArray body;
    QDataStream out(&body, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out << activationToken << startupId << static_cast<quint32>(files.size());
    for (const File& file : files) {
        const int flags = (file.place.standardInput ? standardInputFlag : 0) |
                          (file.place.isUrl ? urlFlag : 0) | (file.input.isOpen() ? inputFlag : 0);
        out << static_cast<quint8>(flags) << file.place.path << file.place.line.value_or(0);
        if (file.input.isOpen())
            message.descriptors.push_back(file.input.number());
    }
    QDataStream header(&message.bytes, QIODevice::WriteOnly);
    // A message that is too large is refused by its header.
    const qsizetype size = std::min<qsizetype>(body.size(), std::numeric_limits<qint32>::max());
    header << messageMark << messageVersion << static_cast<quint32>(size);
    message.bytes += body;
    return message;
}

std::optional<qsizetype> OpenRequest::messageSize(QByteArrayView header) {
    QDataStream in(header.toByteArray());
    quint32 mark = 0;
    quint32 version = 0;
    quint32 bodySize = 0;
    in >> mark >> version >> bodySize;
    const qsizetype size = messageHeaderSize + static_cast<qsizetype>(bodySize);
    if (in.status() != QDataStream::Ok || mark != messageMark || version != messageVersion ||
        size > largestMessage)
        return std::nullopt;
    return size;
}

std::optional<OpenRequest> OpenRequest::fromMessage(const QByteArray& bytes,
                                                    std::vector<Descriptor> descriptors) {
    if (messageSize(bytes) != bytes.size())
        return std::nullopt;
    const QByteArray body = bytes.mid(messageHeaderSize);
    QDataStream in(body);
    in.setVersion(QDataStream::Qt_6_4);
    OpenRequest request;
    quint32 count = 0;
    in >> request.activationToken >> request.startupId >> count;
    if (!isSoundToken(request.activationToken) || !isSoundToken(request.startupId))
        return std::nullopt;
    auto nextInput = descriptors.begin();
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        quint8 flags = 0;
        qint64 line = 0;
        File file;
        in >> flags >> file.place.path >> line;
        file.place.standardInput = flags & standardInputFlag;
        file.place.isUrl = flags & urlFlag;
        if (line != 0)
            file.place.line = line;
        if (flags & inputFlag) {
            if (nextInput == descriptors.end())
                return std::nullopt;
            file.input = std::move(*nextInput++);
        }
        if (!isSoundPlace(file.place, file.input.isOpen()))
            return std::nullopt;
        request.files.push_back(std::move(file));
    }
    if (in.status() != QDataStream::Ok || !in.atEnd() || nextInput != descriptors.end())
        return std::nullopt;
    return request;
}

} // namespace korvane
