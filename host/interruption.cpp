#include "interruption.hpp"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>

#include "report_formatter.hpp"

namespace {

const int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
int wakePipe[2] = {-1, -1};
std::atomic<int> signalsSeen{0};

void OnSignal(int) {
    if (signalsSeen.fetch_add(1) > 0) _exit(kRunInterrupted);
    char byte = 's';
    ssize_t ignored = write(wakePipe[1], &byte, 1);
    (void)ignored;
}

}  // namespace

Interruption::Interruption(std::function<void()> onInterrupt)
    : onInterrupt_(std::move(onInterrupt)) {
    signalsSeen = 0;
    if (pipe2(wakePipe, O_CLOEXEC) != 0) return;
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    for (int signal : kSignals) sigaction(signal, &action, nullptr);
    watcher_ = std::thread(&Interruption::Watch, this);
}

Interruption::~Interruption() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int signal : kSignals) sigaction(signal, &action, nullptr);
    if (watcher_.joinable()) {
        char byte = 'q';
        ssize_t ignored = write(wakePipe[1], &byte, 1);
        (void)ignored;
        watcher_.join();
    }
    for (int& fd : wakePipe) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
}

bool Interruption::Interrupted() const {
    return signalsSeen > 0;
}

void Interruption::Watch() {
    char byte = 0;
    while (read(wakePipe[0], &byte, 1) == 1) {
        if (byte == 's') onInterrupt_();
        if (byte == 'q') return;
    }
}
