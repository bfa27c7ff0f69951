#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>

namespace korvane::test {

/// Sets an environment variable while the object lives; a null value removes it.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : name_(name), wasSet_(qEnvironmentVariableIsSet(name)), before_(qgetenv(name)) {
        set(value);
    }
    ~ScopedVariable() { wasSet_ ? qputenv(name_, before_) : qunsetenv(name_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

    void set(const QByteArray& value) { value.isNull() ? qunsetenv(name_) : qputenv(name_, value); }

private:
    const char* const name_;
    const bool wasSet_;
    const QByteArray before_;
};

/// Fake programs, the only ones on PATH while the object lives. Each first records its arguments, byte for
/// byte.
class StandIns {
public:
    struct Call {
        QList<QByteArray> arguments;
        QByteArray workingDirectory;
    };

    /// A program without shell lines succeeds.
    void add(const QByteArray& name, const QByteArray& shellLines = {}) const {
        QFile script(path(name));
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\n"
                     "{ pwd -P; printf '\\0'; [ $# -eq 0 ] || printf '%s\\0' \"$@\"; } >\"$0.new\"\n"
                     "/bin/mv \"$0.new\" \"$0.call\"\n" +
                     shellLines + '\n');
        ASSERT_TRUE(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    /// The last call; nullopt if there was none.
    std::optional<Call> callOf(const QByteArray& name) const {
        QFile record(path(name + ".call"));
        if (!record.open(QIODevice::ReadOnly))
            return std::nullopt;
        QList<QByteArray> parts = record.readAll().split('\0');
        parts.removeLast();
        Call call{{}, parts.takeFirst()};
        call.workingDirectory.chop(1);
        call.arguments = parts;
        return call;
    }
    void forget(const QByteArray& name) const { QFile::remove(path(name + ".call")); }

    QString path(const QByteArray& name) const { return directory_.filePath(QString::fromUtf8(name)); }

private:
    const QTemporaryDir directory_;
    const ScopedVariable path_{"PATH", directory_.path().toLocal8Bit()};
};

} // namespace korvane::test
