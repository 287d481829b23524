#include "interrupts.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t received = 0;
volatile std::sig_atomic_t urgent = 0;
volatile std::sig_atomic_t first = 0;

extern "C" void note(int signal)
{
#ifdef _WIN32
    std::signal(signal, note); // elsewhere a handler serves once
#endif
    received = received + 1;
    if (first == 0)
        first = signal;
#ifdef SIGHUP
    if (signal == SIGHUP)
        return;
#endif
    urgent = urgent + 1;
}

} // namespace

void Interrupts::watch()
{
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
#ifdef SIGHUP
    if (std::signal(SIGHUP, note) == SIG_IGN)
        std::signal(SIGHUP, SIG_IGN);
#endif
#ifdef SIGPIPE
    // Ctrl-C also ends the program that reads our output; the recording is not lost for that.
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

int Interrupts::count()
{
    return received;
}

int Interrupts::urgentCount()
{
    return urgent;
}

int Interrupts::exitCode()
{
    return 128 + first;
}
