#include "app/CommandLine.h"

#include "foundation/FilePath.h"

#include <QCoreApplication>
#include <QUrl>

#include <algorithm>
#include <array>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

struct CommandLineTexts {
    Q_DECLARE_TR_FUNCTIONS(CommandLine)
};

Error usageError(const QString& text) {
    return {CommandLine::usageStatus, QStringLiteral("CommandLine"), text};
}

Error usageError(const QString& text, const QByteArray& argument) {
    return usageError(text.arg(QString::fromUtf8(argument)));
}

// The toolkit's own options, which it takes with one dash or two.
constexpr std::array<std::string_view, 16> toolkitOptionsWithValue{
    "display", "fontengine", "geometry",        "icon",          "name",        "platform",
    "plugin",  "session",    "qwindowgeometry", "platformtheme", "qwindowicon", "platformpluginpath",
    "style",   "stylesheet", "title",           "qwindowtitle",
};
constexpr std::array<std::string_view, 6> toolkitSwitches{
    "dograb", "nograb", "reverse", "sync", "testability", "widgetcount",
};

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& names, const QByteArray& name) {
    return std::find(names.begin(), names.end(), std::string_view(name.constData(), name.size())) !=
           names.end();
}

bool isDigits(QByteArrayView text) {
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isRemoteUrl(const QByteArray& text) {
    return text.left(6).toLower() == "ssh://";
}

bool isFileUrl(const QByteArray& text) {
    return text.left(7).toLower() == "file://";
}

/// The line number; absent when 0 or too large.
std::optional<qint64> lineNumber(QByteArrayView digits) {
    bool fits = false;
    const qint64 number = digits.toByteArray().toLongLong(&fits);
    return fits && number > 0 ? std::optional(number) : std::nullopt;
}

struct NameAndNumber {
    QByteArray name;
    QByteArray digits;
};

/// Cuts ":digits" off the end; absent without digits, or without a name before them.
std::optional<NameAndNumber> cutNumber(const QByteArray& text) {
    const qsizetype colon = text.lastIndexOf(':');
    if (colon < 1 || !isDigits(QByteArrayView(text).sliced(colon + 1)))
        return std::nullopt;
    return NameAndNumber{text.left(colon), text.mid(colon + 1)};
}

/// Splits a name as compilers and search tools print places: NAME:LINE, NAME:LINE:COLUMN, either with
/// one more colon. A name under which there is a file is never cut.
NameAndNumber splitPlace(const QByteArray& argument, const CommandLine::FileExists& fileExists) {
    if (fileExists(argument))
        return {argument, {}};
    const auto last = cutNumber(argument.endsWith(':') ? argument.chopped(1) : argument);
    if (!last)
        return {argument, {}};
    const auto lastButOne = fileExists(last->name) ? std::nullopt : cutNumber(last->name);
    return lastButOne ? *lastButOne : *last;
}

class Parser {
public:
    Parser(const std::vector<QByteArray>& arguments, const CommandLine::FileExists& fileExists)
        : arguments_(arguments), fileExists_(fileExists) {}

    Result<CommandLine> parse() {
        bool optionsEnded = false;
        while (next_ < arguments_.size()) {
            const QByteArray& argument = arguments_[next_++];
            Status status = success();
            if (!optionsEnded && argument == "--")
                optionsEnded = true;
            else if (!optionsEnded && argument.startsWith('-') && argument != "-")
                status = takeOption(argument);
            else if (!optionsEnded && argument.startsWith('+') &&
                     isDigits(QByteArrayView(argument).sliced(1)))
                status = takeLine(argument);
            else
                status = takeFile(argument, optionsEnded);
            if (!status)
                return status.error();
            if (result_.help || result_.version)
                return result_;
        }
        if (line_)
            return usageError(CommandLineTexts::tr("“+%1” must stand before a file"),
                              QByteArray::number(*line_));
        return result_;
    }

private:
    Status takeFile(const QByteArray& argument, bool optionsEnded) {
        if (argument.isEmpty())
            return usageError(CommandLineTexts::tr("a file name is empty"));
        CommandLine::File file;
        file.line = std::exchange(line_, std::nullopt);
        if (argument == "-" && !optionsEnded) {
            if (std::any_of(result_.files.begin(), result_.files.end(),
                            [](const auto& f) { return f.standardInput; }))
                return usageError(CommandLineTexts::tr("standard input (“-”) can be given only once"));
            file.standardInput = true;
        } else if (isRemoteUrl(argument)) {
            file.path = argument;
            file.isUrl = true;
        } else if (isFileUrl(argument)) {
            const QUrl url = QUrl::fromEncoded(argument);
            if (!url.isValid() || !url.isLocalFile() || !(url.host().isEmpty() || url.host() == u"localhost"))
                return usageError(CommandLineTexts::tr("“%1” is not the address of a file on this computer"),
                                  argument);
            file.path = localPath(url);
        } else if (file.line) {
            file.path = argument; // the line is known: a colon belongs to the name
        } else {
            NameAndNumber place = splitPlace(argument, fileExists_);
            file.path = std::move(place.name);
            if (!place.digits.isEmpty())
                file.line = lineNumber(place.digits);
            if (!place.digits.isEmpty() && !file.line)
                return usageError(CommandLineTexts::tr("“%1”: lines count from 1 and cannot be that large"),
                                  argument);
        }
        result_.files.push_back(std::move(file));
        return success();
    }

    Status takeLine(const QByteArray& argument) {
        if (line_)
            return usageError(CommandLineTexts::tr("“+%1” must stand before a file"),
                              QByteArray::number(*line_));
        line_ = lineNumber(QByteArrayView(argument).sliced(1));
        if (!line_)
            return usageError(CommandLineTexts::tr("“%1”: lines count from 1 and cannot be that large"),
                              argument);
        return success();
    }

    Status takeOption(const QByteArray& argument) {
        const qsizetype equals = argument.indexOf('=');
        const QByteArray option = argument.left(equals < 0 ? argument.size() : equals);
        std::optional<QByteArray> value;
        if (equals >= 0)
            value = argument.mid(equals + 1);

        const QByteArray name = option.mid(option.startsWith("--") ? 2 : 1);
        const bool isHelp = option == "--help" || option == "-h";
        const bool isVersion = option == "--version" || option == "-V";
        const bool isSwitch = isHelp || isVersion || isOneOf(toolkitSwitches, name);
        const bool takesValue = option == "--snapshot" || isOneOf(toolkitOptionsWithValue, name);
        if (!isSwitch && !takesValue)
            return usageError(CommandLineTexts::tr("unknown option “%1”"), argument);
        if (isSwitch && value)
            return usageError(CommandLineTexts::tr("“%1” takes no value"), option);
        if (takesValue && !value && next_ < arguments_.size())
            value = arguments_[next_++];
        if (takesValue && (!value || value->isEmpty()))
            return usageError(CommandLineTexts::tr("“%1” needs a value"), option);

        if (isHelp)
            result_.help = true;
        else if (isVersion)
            result_.version = true;
        else if (option == "--snapshot")
            result_.snapshotPath = std::move(value);
        else {
            result_.toolkitArguments.push_back('-' + name);
            if (value)
                result_.toolkitArguments.push_back(*value);
        }
        return success();
    }

    const std::vector<QByteArray>& arguments_;
    const CommandLine::FileExists& fileExists_;
    std::size_t next_ = 0;
    /// Of a "+LINE" that waits for its file.
    std::optional<qint64> line_;
    CommandLine result_;
};

} // namespace

Result<CommandLine> CommandLine::parse(const std::vector<QByteArray>& arguments,
                                       const FileExists& fileExists) {
    return Parser(arguments, fileExists).parse();
}

bool CommandLine::fileExists(const QByteArray& path) {
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0;
}

QByteArray CommandLine::helpText() {
    return CommandLineTexts::tr(
               "Usage: korvane [OPTION]… [FILE[:LINE] | +LINE FILE]…\n"
               "Show log files and follow them while they grow.\n"
               "\n"
               "  FILE             a file, a named pipe, - for standard input, or a file of a configured\n"
               "                   host: ssh://USER@HOST:PORT//PATH\n"
               "  FILE:LINE        go to that line; FILE:LINE:COLUMN is understood, too\n"
               "  +LINE FILE       the same, for names that end in a number\n"
               "  --               what follows are files\n"
               "\n"
               "  --snapshot PNG   draw the window into a picture, without a display, and end\n"
               "  -h, --help       show this text and end\n"
               "  -V, --version    show the version and end\n"
               "\n"
               "Options of the Qt toolkit (-platform, -style, -display and so on) are passed on to it.\n")
        .toUtf8();
}

QByteArray CommandLine::versionText() {
    return "korvane " KORVANE_VERSION "\n";
}

QByteArray CommandLine::errorText(const Error& error) {
    return "korvane: " + error.userText.toUtf8() + '\n' +
           CommandLineTexts::tr("Try “korvane --help” for more information.").toUtf8() + '\n';
}

} // namespace korvane
