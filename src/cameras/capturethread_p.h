#pragma once

#include "cameras/loopcontrol_p.h"

#include <opencv2/videoio.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

/**
 * A `cv::VideoCapture` on a thread of its own, so that a grab loop can walk away from a call that hangs.
 *
 * OpenCV's calls on a network source block for seconds and cannot be interrupted, and a capture must never be
 * touched by two threads. So each loop generation has one capture thread, which alone touches the capture.
 * The loop asks for one call at a time and waits for its result; when the loop is not wanted any more, it
 * leaves the call behind, and the thread frees the capture as soon as the call comes back.
 */
class VTCV_TEST_EXPORT CaptureThread
{
public:
    CaptureThread(std::shared_ptr<LoopControl> control, LoopControl::Generation generation);

    /**
     * Frees the capture and ends the thread. Waits for it for patienceMs at most; a thread that is still in a
     * call then frees the capture by itself when the call comes back.
     *
     * The wait is for the source's sake: a device, or a camera that serves one client, is free again when the
     * next loop opens it.
     */
    ~CaptureThread();

    static constexpr int patienceMs = 1000;

    CaptureThread(const CaptureThread &) = delete;
    CaptureThread &operator=(const CaptureThread &) = delete;

    /**
     * Runs \a call on the capture's thread and waits for it.
     *
     * \a call may outlive this object and the loop: it must own all that it uses.
     *
     * \return what \a call returned; nothing if it threw, or if the loop is not wanted any more.
     */
    template <typename Call>
    auto ask(Call call) -> std::optional<std::invoke_result_t<Call, cv::VideoCapture &>>;

private:
    struct Shared;

    bool runToEnd(std::function<void(cv::VideoCapture &)> call);
    static void work(LoopControl &control, Shared &shared);

    std::shared_ptr<LoopControl> control;
    LoopControl::Generation generation;
    std::shared_ptr<Shared> shared;
};

template <typename Call>
auto CaptureThread::ask(Call call) -> std::optional<std::invoke_result_t<Call, cv::VideoCapture &>>
{
    using Result = std::invoke_result_t<Call, cv::VideoCapture &>;
    const auto result = std::make_shared<std::optional<Result>>();
    if (!runToEnd(
            [result, call = std::move(call)](cv::VideoCapture &capture) mutable { *result = call(capture); }))
        return std::nullopt;
    return std::move(*result);
}
