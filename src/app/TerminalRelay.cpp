#include "app/TerminalRelay.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>

namespace korvane {

void TerminalRelay::replaceTerminals(std::vector<int>& descriptors) {
    for (int& descriptor : descriptors) {
        std::array<int, 2> ends{};
        if (!::isatty(descriptor) || ::pipe2(ends.data(), O_CLOEXEC) != 0)
            continue;
        lines_.push_back({descriptor, Descriptor(ends[0]), Descriptor(ends[1])});
        descriptor = ends[0];
    }
}

void TerminalRelay::run() {
    for (Line& line : lines_)
        line.readingEnd.close();
    while (!lines_.empty()) {
        std::vector<pollfd> polled;
        for (const Line& line : lines_) {
            polled.push_back({line.terminal, POLLIN, 0});
            polled.push_back({line.writingEnd.number(), 0, 0}); // reports an error when the reader has closed
        }
        if (::poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
            return;
        for (std::size_t i = lines_.size(); i-- > 0;) {
            if (polled[2 * i + 1].revents != 0 || (polled[2 * i].revents != 0 && !passOn(lines_[i])))
                lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

bool TerminalRelay::passOn(const Line& line) {
    std::array<char, 4096> buffer;
    const ssize_t got = ::read(line.terminal, buffer.data(), buffer.size());
    if (got < 0)
        return errno == EINTR || errno == EAGAIN;
    for (ssize_t done = 0; done < got;) {
        const ssize_t written =
            ::write(line.writingEnd.number(), buffer.data() + done, static_cast<std::size_t>(got - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += std::max<ssize_t>(written, 0);
    }
    return got > 0;
}

} // namespace korvane
