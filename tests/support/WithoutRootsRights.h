#pragma once

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace korvane::test {

/// While it lives, file permissions apply to this thread, and to threads that it starts, even for root.
class WithoutRootsRights {
public:
    WithoutRootsRights() {
        EXPECT_EQ(::syscall(SYS_capget, &header_, before_), 0);
        __user_cap_data_struct fewer[2] = {before_[0], before_[1]};
        fewer[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        EXPECT_EQ(::syscall(SYS_capset, &header_, fewer), 0);
    }
    ~WithoutRootsRights() { ::syscall(SYS_capset, &header_, before_); }
    WithoutRootsRights(const WithoutRootsRights&) = delete;
    WithoutRootsRights& operator=(const WithoutRootsRights&) = delete;

private:
    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before_[2]{};
};

} // namespace korvane::test
