#pragma once

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace korvane::test {

/// Makes reads at positions fail as on a broken disk. Replaces the system call in the program that includes
/// this header, which must be done in one file only.
class FaultyReads {
public:
    /// From now on reads at or after `offset` fail with `error`; 0 for none.
    static void failFrom(off_t offset, int error) {
        error_ = 0;
        offset_ = offset;
        error_ = error;
    }
    /// The error of a read at `offset`.
    static int errorAt(off_t offset) { return offset >= offset_ ? error_.load() : 0; }

private:
    inline static std::atomic<off_t> offset_{0};
    inline static std::atomic<int> error_{0};
};

} // namespace korvane::test

extern "C" ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
    if (const int error = korvane::test::FaultyReads::errorAt(offset)) {
        errno = error;
        return -1;
    }
    return ::syscall(SYS_pread64, descriptor, buffer, size, offset);
}
