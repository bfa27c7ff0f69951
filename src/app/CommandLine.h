#pragma once

#include "foundation/Result.h"

#include <QByteArray>

#include <functional>
#include <optional>
#include <vector>

namespace korvane {

/// What the program was asked to do by its arguments. A plain value, made before there is any application
/// object, so that help and complaints work without a display. File names are the bytes that were given.
struct CommandLine {
    struct File {
        /// A path as given, or an address when `isUrl`. Empty for standard input.
        QByteArray path = {};
        /// The one-based line to go to.
        std::optional<qint64> line = {};
        bool standardInput = false;
        /// An address of the scheme "ssh".
        bool isUrl = false;

        friend bool operator==(const File&, const File&) = default;
    };

    std::vector<File> files;
    /// Draw the window into this picture instead of showing it.
    std::optional<QByteArray> snapshotPath;
    bool help = false;
    bool version = false;
    /// What is meant for the toolkit, in the form in which it reads it ("-platform", "offscreen"). The
    /// application object gets these and nothing else, so that it never takes a file's name for an option.
    std::vector<QByteArray> toolkitArguments;

    using FileExists = std::function<bool(const QByteArray& path)>;

    /// Reads the arguments, without the program's own name. An error's text says which argument is wrong and
    /// why.
    static Result<CommandLine> parse(const std::vector<QByteArray>& arguments, const FileExists& fileExists);

    /// Whether there is anything of that name, be it a broken link.
    static bool fileExists(const QByteArray& path);

    /// What goes to standard output for --help and --version, and to standard error for a wrong argument.
    static QByteArray helpText();
    static QByteArray versionText();
    static QByteArray errorText(const Error& error);
    /// The exit status for a wrong argument.
    static constexpr int usageStatus = 2;
};

} // namespace korvane
