#include "app/EndSignals.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

constexpr std::array endSignals{SIGINT, SIGTERM, SIGHUP};
std::atomic<int> signalEvent{-1};

void noteSignal(int /*number*/) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(signalEvent.load(), &one, sizeof one);
}

void setHandler(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = handler == SIG_DFL ? 0 : SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int number : endSignals) {
        struct sigaction present {};
        // A signal ignored at the start (nohup) stays ignored.
        if (::sigaction(number, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
}

} // namespace

EndSignals::EndSignals(std::function<void()> onSignal)
    : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), notifier_(event_.number(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_,
                     [this, onSignal = std::move(onSignal)] {
                         std::uint64_t count = 0;
                         [[maybe_unused]] const auto taken = ::read(event_.number(), &count, sizeof count);
                         onSignal();
                     });
    signalEvent = event_.number();
    setHandler(&noteSignal);
}

EndSignals::~EndSignals() {
    setHandler(SIG_DFL);
    signalEvent = -1;
}

} // namespace korvane
