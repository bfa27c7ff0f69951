#include "Flood.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace korvane::bench {
namespace {

/// Bytes per write(), as of a buffered writer: a write may end in the middle of a line.
constexpr std::size_t writeSize = 1 << 16;

void addLine(std::string& text, std::uint64_t number) {
    std::array<char, 48> start;
    const int length = std::snprintf(start.data(), start.size(), "%012llu INFO worker-%02llu ",
                                     static_cast<unsigned long long>(number),
                                     static_cast<unsigned long long>(number * 7919 % 97));
    text.append(start.data(), static_cast<std::size_t>(length));
    text.append(floodLineBytes - 1 - static_cast<std::size_t>(length), static_cast<char>('a' + number % 26));
    text += '\n';
}

} // namespace

int flood(const char* path, std::uint64_t bytesPerSecond, std::uint64_t seconds) {
    const int file = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0)
        return EXIT_FAILURE;
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const std::uint64_t total = bytesPerSecond * seconds / floodLineBytes * floodLineBytes;
    std::string text;
    std::uint64_t written = 0;
    for (std::uint64_t number = 0; written < total;) {
        const std::chrono::duration<double> passed = Clock::now() - start;
        const auto due =
            std::min(total, static_cast<std::uint64_t>(passed.count() * static_cast<double>(bytesPerSecond)));
        while (written + writeSize <= due || (due == total && written < total)) {
            const std::size_t wanted = std::min<std::uint64_t>(writeSize, total - written);
            while (text.size() < wanted)
                addLine(text, number++);
            const ssize_t done = ::write(file, text.data(), wanted);
            if (done <= 0)
                return EXIT_FAILURE;
            text.erase(0, static_cast<std::size_t>(done));
            written += static_cast<std::uint64_t>(done);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    std::printf("%.3f\n", took.count());
    return ::close(file) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace korvane::bench
