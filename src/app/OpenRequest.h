#pragma once

#include "app/CommandLine.h"
#include "foundation/Descriptor.h"

#include <QByteArray>
#include <QByteArrayView>

#include <optional>
#include <vector>

namespace korvane {

/// What a start of the program wants opened, in a form that another copy of it can serve. A value that owns
/// its descriptors; any thread.
struct OpenRequest {
    struct File {
        /// As given on the command line.
        CommandLine::File place;
        /// To read instead of the path; not open when the path suffices.
        Descriptor input = Descriptor();
    };

    std::vector<File> files;
    /// Lets the desktop raise the window that answers the user's click.
    QByteArray activationToken = {};
    QByteArray startupId = {};

    /// For this very process: nothing is opened, and paths stay as they were given.
    static OpenRequest forThisProcess(const std::vector<CommandLine::File>& files);

    /// For another process: paths are absolute, and inputs that only this process can reach (standard input,
    /// pipes, /dev/fd, /proc/self) are open. Takes the tokens from the environment.
    static OpenRequest forAnotherProcess(const std::vector<CommandLine::File>& files);

    /// Bytes with the descriptors to pass along. The descriptors belong to the request.
    struct Message {
        QByteArray bytes;
        std::vector<int> descriptors;
    };
    Message message() const;

    static constexpr qsizetype messageHeaderSize = 12;
    static constexpr qsizetype largestMessage = 16 << 20;
    static constexpr std::size_t mostDescriptors = 64;

    /// The size of a whole message including its header, from its first `messageHeaderSize` bytes. Absent for
    /// another version, or when too large.
    static std::optional<qsizetype> messageSize(QByteArrayView header);

    /// The request of a whole message, which is not trusted. Absent for a malformed one;
    /// descriptors without a file are closed.
    static std::optional<OpenRequest> fromMessage(const QByteArray& bytes,
                                                  std::vector<Descriptor> descriptors);
};

} // namespace korvane
