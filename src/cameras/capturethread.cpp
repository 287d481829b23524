#include "cameras/capturethread_p.h"

// Guarded by the control's lock. The capture itself lives on the thread's stack, out of everybody's reach.
struct CaptureThread::Shared
{
    std::function<void(cv::VideoCapture &)> call; // waits to be taken
    bool isBusy = false; // from the asking to the call's end
    bool hasThrown = false;
    bool isClosed = false;
    bool hasEnded = false;
};

CaptureThread::CaptureThread(std::shared_ptr<LoopControl> control, LoopControl::Generation generation)
    : control(std::move(control)), generation(generation), shared(std::make_shared<Shared>())
{
    std::thread([control = this->control, shared = shared] { work(*control, *shared); }).detach();
}

CaptureThread::~CaptureThread()
{
    control->change([&] { shared->isClosed = true; });
    control->waitFor(patienceMs, [&] { return shared->hasEnded; });
}

bool CaptureThread::runToEnd(std::function<void(cv::VideoCapture &)> call)
{
    control->change([&] {
        shared->call = std::move(call);
        shared->isBusy = true;
        shared->hasThrown = false;
    });
    return control->waitUntil(generation, [&] { return !shared->isBusy; }) && !shared->hasThrown;
}

void CaptureThread::work(LoopControl &control, Shared &shared)
{
    {
        cv::VideoCapture capture;
        while (true) {
            std::function<void(cv::VideoCapture &)> call;
            bool isClosed = false;
            control.waitFor(-1, [&] {
                isClosed = shared.isClosed;
                call.swap(shared.call);
                return isClosed || call;
            });
            if (isClosed)
                break;
            bool hasThrown = false;
            try {
                call(capture);
            } catch (...) {
                hasThrown = true;
            }
            // What the call owns is let go of before the loop goes on, so that it finds its frames unshared.
            call = nullptr;
            control.change([&] {
                shared.isBusy = false;
                shared.hasThrown = hasThrown;
            });
        }
    }
    control.change([&] { shared.hasEnded = true; });
}
