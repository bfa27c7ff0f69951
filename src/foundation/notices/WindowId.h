#pragma once

#include <cstdint>

namespace korvane {

/// Identifies a window, or a part of one, in code without widgets. Never reused for another window. Invalid
/// by default.
class WindowId {
public:
    WindowId() = default;
    /// 0 is invalid.
    explicit WindowId(std::uint64_t number) : number_(number) {}

    bool isValid() const { return number_ != 0; }
    bool operator==(const WindowId&) const = default;

private:
    std::uint64_t number_ = 0;
};

} // namespace korvane
