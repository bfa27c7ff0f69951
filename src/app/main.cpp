#include "app/Application.h"
#include "app/CommandLine.h"
#include "app/InstancePlace.h"
#include "app/OpenRequest.h"
#include "app/SingleInstance.h"
#include "app/TerminalRelay.h"
#include "documents/PageMemory.h"
#include "foundation/text/Translations.h"
#include "remote/ssh/Askpass.h"

#include <QApplication>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using korvane::Askpass;
using korvane::CommandLine;
using korvane::InstancePlace;
using korvane::OpenRequest;
using korvane::PageMemory;
using korvane::SingleInstance;
using korvane::TerminalRelay;

/// The first file or socket opened would otherwise get the number of a closed standard stream.
/// Reading such an input, and writing to such an output, fails as before.
void occupyClosedStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

bool hasDisplay(const CommandLine& commandLine) {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        if (const char* value = std::getenv(variable); value && *value)
            return true;
    }
    return !commandLine.toolkitArguments.empty() && commandLine.toolkitArguments.front() == "-platform";
}

/// True when a copy that runs already has taken over. Otherwise `request` may hold what was opened for it.
bool handOver(const CommandLine& commandLine, OpenRequest& request, std::optional<SingleInstance>& instance) {
    const auto place = InstancePlace::find(commandLine);
    if (!place)
        return false;
    TerminalRelay relay;
    instance.emplace(*place, [&] {
        request = OpenRequest::forAnotherProcess(commandLine.files);
        auto message = request.message();
        relay.replaceTerminals(message.descriptors);
        return message;
    });
    if (!instance->fault().isEmpty())
        std::fprintf(stderr, "korvane: %s; this copy runs beside it\n",
                     instance->fault().toLocal8Bit().constData());
    if (instance->role() != SingleInstance::Role::HandedOver)
        return false;
    relay.run();
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (const auto status = Askpass::askWhereWanted(argc, argv))
        return *status;
    PageMemory::useOneHeap();
    // An agent or a reader of our output that ends must not end this program.
    std::signal(SIGPIPE, SIG_IGN);
    occupyClosedStreams();
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

    OpenRequest request;
    std::optional<SingleInstance> instance;
    if (!commandLine.snapshotPath && handOver(commandLine, request, instance))
        return 0;
    // Inputs opened for the other copy are used, so that the writer of a pipe never finds it closed.
    if (request.files.empty())
        request = OpenRequest::forThisProcess(commandLine.files);

    // The toolkit gets its own arguments and the program's name, never a file's.
    std::vector<QByteArray> toolkit{argc > 0 ? QByteArray(argv[0]) : QByteArray("korvane")};
    toolkit.insert(toolkit.end(), commandLine.toolkitArguments.begin(), commandLine.toolkitArguments.end());
    std::vector<char*> toolkitArguments;
    toolkitArguments.reserve(toolkit.size() + 1);
    for (QByteArray& argument : toolkit)
        toolkitArguments.push_back(argument.data());
    toolkitArguments.push_back(nullptr);
    int count = static_cast<int>(toolkit.size());
    const QApplication toolkitApplication(count, toolkitArguments.data());
    korvane::translations::install();
    QApplication::setApplicationName(QStringLiteral("korvane"));
    QApplication::setApplicationDisplayName(QStringLiteral("Korvane"));
    QApplication::setApplicationVersion(QStringLiteral(KORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("korvane"));

    const bool isFirst = instance && instance->role() == SingleInstance::Role::First;
    return korvane::Application(commandLine, std::move(request), isFirst ? &*instance : nullptr).run();
}
