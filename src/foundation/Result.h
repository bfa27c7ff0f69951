#pragma once

#include <QString>

#include <utility>
#include <variant>

namespace korvane {

/// Reason for a failure.
struct Error {
    /// Identifies the error within its domain: errno for the system's own, or a code that the domain defines.
    int code = 0;
    /// Defines the meaning of `code`, for example "NSURLErrorDomain" or "POSIX".
    QString domain;
    /// For the user: names the object and the remedy.
    QString userText;
    /// Remedy for the user, if it is not part of `userText`.
    QString recoverySuggestion = {};
    /// The URL that the error is about, if its domain sets one.
    QString url = {};
};

/// A value, or the error in its place. Carries failures that the caller has to handle; nothing is thrown
/// across folders.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return state_.index() == 0; }

    /// Precondition: the result holds a value.
    T& value() & { return std::get<0>(state_); }
    const T& value() const& { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }

    /// Precondition: the result holds an error.
    const Error& error() const { return std::get<1>(state_); }

private:
    std::variant<T, Error> state_;
};

/// For operations without a result value.
using Status = Result<std::monostate>;
inline Status success() {
    return Status(std::monostate{});
}

} // namespace korvane
