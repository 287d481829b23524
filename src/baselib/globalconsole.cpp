#include "baselib/globalconsole.h"

#include <QLoggingCategory>

#include <memory>
#include <mutex>
#include <utility>

namespace {

struct Console
{
    QLoggingCategory category{"varnhold.console"};
    std::recursive_mutex mutex; // guards the two below, and is held while the sink runs
    std::shared_ptr<GlobalConsole::Sink> sink;
    bool sinkRuns = false;
};

// Never destroyed: threads may still write lines while the process's static objects go.
Console &console()
{
    static Console *const instance = new Console;
    return *instance;
}

} // namespace

bool GlobalConsole::FullOptimization = false;

void GlobalConsole::writeLine(const QString &text, const QDateTime &time)
{
    Console &console = ::console();
    {
        const std::lock_guard<std::recursive_mutex> lock(console.mutex);
        // Only this thread can have set the flag, since it has got past the lock.
        if (console.sink && !console.sinkRuns) {
            struct Running
            {
                bool &flag;
                explicit Running(bool &flag) : flag(flag) { flag = true; }
                ~Running() { flag = false; }
            } const running(console.sinkRuns);
            // The call keeps a share, because the sink may put another in its place.
            const std::shared_ptr<Sink> sink = console.sink;
            (*sink)(text, time);
            return;
        }
    }
    // Outside of the lock: a message handler of the host may take its time, or wait for another thread.
    qCInfo(console.category).noquote() << text;
}

void GlobalConsole::setSink(Sink sink)
{
    auto next = sink ? std::make_shared<Sink>(std::move(sink)) : nullptr;
    Console &console = ::console();
    {
        const std::lock_guard<std::recursive_mutex> lock(console.mutex);
        console.sink.swap(next);
    }
    // The former sink is destroyed here, without the lock: what it holds may write a line.
}
