#pragma once

#include "foundation/Descriptor.h"
#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace korvane {

/// Receives the questions of a program without a terminal, such as ssh on the way to a server. For each
/// question the program runs our own executable, which passes it on through a socket in a directory that only
/// the user may enter.
///
/// Lives on the connection's thread.
class Askpass {
public:
    struct Question {
        /// Without control characters.
        QString text;
        bool isEchoed = false;
    };

    static Result<std::unique_ptr<Askpass>> create();
    ~Askpass();
    Askpass(const Askpass&) = delete;
    Askpass& operator=(const Askpass&) = delete;

    /// Environment variables for the program, as NAME=value.
    QList<QByteArray> environment() const;
    /// Becomes readable when there is a question.
    int event() const { return listener_.number(); }
    /// Call after `event`. Nullopt if the program has withdrawn the question. Readiness of `interruptEvent`
    /// and the deadline end the wait.
    Result<std::optional<Question>> takeQuestion(int interruptEvent, Deadline deadline);
    /// Answers the last question taken; nullopt cancels it.
    void answer(const std::optional<QString>& text);

    /// To be called first in main(): in a process started to ask, waits for the answer, prints it and returns
    /// the exit status.
    static std::optional<int> askWhereWanted(int argc, char** argv);

private:
    explicit Askpass(const QString& pattern) : directory_(pattern) {}
    Status listen();
    QByteArray socketPath() const;

    const QTemporaryDir directory_;
    Descriptor listener_;
    /// The process that waits for the answer.
    Descriptor asker_;
};

} // namespace korvane
