// How soon work that is handed to an idle worker begins.

#include "baselib/vtthread.h"

#include <QCoreApplication>

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

class Sleeper : public VTThread
{
public:
    ~Sleeper() override { stopAndWait(); }

    std::atomic<int> passes{0};
    std::atomic<Clock::time_point> passBegan{Clock::now()};

private:
    void process() override
    {
        passBegan = Clock::now();
        ++passes;
        delayNextPass(600'000);
    }
};

// Manual time: from wake() on this thread to the begin of the pass on the worker, which has been idle before.
void BM_WakeIdleWorker(benchmark::State &state)
{
    Sleeper worker;
    worker.initAndStart();
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        const int before = worker.passes;
        const auto woken = Clock::now();
        worker.wake();
        while (worker.passes == before)
            std::this_thread::yield();
        state.SetIterationTime(std::chrono::duration<double>(worker.passBegan.load() - woken).count());
    }
}
BENCHMARK(BM_WakeIdleWorker)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
