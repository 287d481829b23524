#pragma once

#include "vtcv_export.h"

#include <QtGlobal>

#include <opencv2/core.hpp>

#include <atomic>

/**
 * Holds the one frame that waits for a worker or is being worked on; reads like a `cv::Mat *`.
 *
 *     void processImage() override
 *     {
 *         detect(*m_frame);   // or m_frame->rows
 *         m_frame = nullptr;  // wrong: nobody frees the frame then
 *         delete m_frame.take();
 *     }
 *
 * Producers replace the pointer in one atomic step, which fails while the worker has claimed the slot. So a
 * frame is never freed or exchanged under the worker's hands, and nobody waits for anybody.
 *
 * A frame that was given to the slot together with its ownership is freed by the slot when a newer one
 * replaces it, or in the destructor. A frame that was handed in as a bare pointer is never freed here.
 *
 * \thread The worker's, inside its operation. Elsewhere the pointer only tells whether there is a frame: it
 * may be replaced and freed at any moment.
 */
class VTCV_EXPORT FrameSlot
{
public:
    FrameSlot() = default;
    ~FrameSlot();
    FrameSlot(const FrameSlot &) = delete;
    FrameSlot &operator=(const FrameSlot &) = delete;

    /** The frame, null if there is none. */
    operator cv::Mat *() const;
    cv::Mat *operator->() const;

    /**
     * Puts \a frame into the slot, null for none.
     *
     * \ownership The former frame passes to the caller, whatever it was before. The slot never frees
     * \a frame.
     */
    FrameSlot &operator=(cv::Mat *frame);

    /** Empties the slot. \ownership The frame that is returned is the caller's. */
    cv::Mat *take();

private:
    friend class ImageProcessingThread;

    enum class Owner
    {
        Slot,
        Other
    };
    enum class Offer
    {
        Refused,
        Stored,
        ReplacedWaiting
    };
    enum class Claim
    {
        Nothing,
        NewFrame,
        SameFrame
    };

    static quint64 wordOf(cv::Mat *frame);
    static cv::Mat *frameOf(quint64 word);
    static void free(quint64 word);
    quint64 exchange(cv::Mat *frame);

    bool isClaimed() const;
    Offer offer(cv::Mat *frame, Owner owner);
    Claim claim();
    void release();

    std::atomic<quint64> word{0}; // the pointer, and what is known of it in the lowest bits
};
