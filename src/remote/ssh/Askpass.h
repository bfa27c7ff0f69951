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

/// Takes the questions of a program that has no terminal, as ssh on the way to a server: it runs our own
/// executable for each, which passes the question on by a socket in a directory that only the user may enter.
///
/// Of the connection's thread.
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

    /// For the program that may ask, as NAME=value.
    QList<QByteArray> environment() const;
    /// Readable when somebody asks.
    int event() const { return listener_.number(); }
    /// After `event`. Nothing where the program has changed its mind. `interruptEvent` and the deadline end
    /// the wait for it.
    Result<std::optional<Question>> takeQuestion(int interruptEvent, Deadline deadline);
    /// The question last taken; without an answer the program takes it to be cancelled.
    void answer(const std::optional<QString>& text);

    /// For main(), before anything else: where the process was started to ask, it waits for the answer,
    /// prints it, and the result is the status to end with.
    static std::optional<int> askWhereWanted(int argc, char** argv);

private:
    explicit Askpass(const QString& pattern) : directory_(pattern) {}
    Status listen();
    QByteArray socketPath() const;

    const QTemporaryDir directory_;
    Descriptor listener_;
    /// Where the answer is waited for.
    Descriptor asker_;
};

} // namespace korvane
