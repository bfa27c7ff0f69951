#pragma once

#include <QString>

#include <utility>
#include <variant>

namespace korvane {

/// Why something failed.
struct Error {
    /// Tells errors of one domain apart: errno for the system's own, or a code that the domain fixes.
    int code = 0;
    /// Who gives `code` its meaning, for example "NSURLErrorDomain" or "POSIX".
    QString domain;
    /// For the user: names the thing and says what can be done about it.
    QString userText;
    /// What the user can do about it, where that stands apart from `userText`.
    QString recoverySuggestion = {};
    /// The address that the error is about, where its domain gives it one.
    QString url = {};
};

/// A value, or the error that stands in its place. Failures that a caller has to deal with travel in this;
/// nothing is thrown across folders.
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

/// For operations that only succeed or fail.
using Status = Result<std::monostate>;
inline Status success() {
    return Status(std::monostate{});
}

} // namespace korvane
