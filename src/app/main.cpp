#include "app/Application.h"
#include "app/CommandLine.h"

#include <QApplication>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using korvane::CommandLine;

bool hasDisplay(const CommandLine& commandLine) {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        if (const char* value = std::getenv(variable); value && *value)
            return true;
    }
    return !commandLine.toolkitArguments.empty() && commandLine.toolkitArguments.front() == "-platform";
}

} // namespace

int main(int argc, char** argv) {
    const auto parsed =
        CommandLine::parse(std::vector<QByteArray>(argv + 1, argv + argc), CommandLine::fileExists);
    if (!parsed) {
        std::fputs(CommandLine::errorText(parsed.error()).constData(), stderr);
        return CommandLine::usageStatus;
    }
    const CommandLine& commandLine = parsed.value();
    if (commandLine.help || commandLine.version) {
        std::fputs((commandLine.help ? CommandLine::helpText() : CommandLine::versionText()).constData(),
                   stdout);
        return 0;
    }
    if (commandLine.snapshotPath && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!hasDisplay(commandLine)) {
        std::fputs("korvane: there is no display to show a window on; "
                   "use --snapshot PNG FILE to draw the window into a picture\n",
                   stderr);
        return 1;
    }

    // The toolkit gets its own arguments and the program's name, never a file's.
    std::vector<QByteArray> toolkit{argc > 0 ? QByteArray(argv[0]) : QByteArray("korvane")};
    toolkit.insert(toolkit.end(), commandLine.toolkitArguments.begin(), commandLine.toolkitArguments.end());
    std::vector<char*> toolkitArguments;
    for (QByteArray& argument : toolkit)
        toolkitArguments.push_back(argument.data());
    toolkitArguments.push_back(nullptr);
    int count = static_cast<int>(toolkit.size());
    QApplication toolkitApplication(count, toolkitArguments.data());
    QApplication::setApplicationName(QStringLiteral("korvane"));
    QApplication::setApplicationDisplayName(QStringLiteral("Korvane"));
    QApplication::setApplicationVersion(QStringLiteral(KORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("korvane"));

    return korvane::Application(commandLine).run();
}
