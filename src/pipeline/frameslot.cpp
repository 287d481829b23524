#include "pipeline/frameslot.h"

namespace {

constexpr quint64 slotOwns = 1; // the slot frees the frame
constexpr quint64 claimed = 2; // the worker is at it
constexpr quint64 waiting = 4; // the worker has not seen it yet
constexpr quint64 marks = slotOwns | claimed | waiting;

// On machines of 64 bits the marks lie where an aligned pointer has zeros. On smaller ones there is room
// above.
constexpr int pointerShift = sizeof(void *) < sizeof(quint64) ? 3 : 0;
static_assert(pointerShift > 0 || alignof(cv::Mat) > marks, "no room for the marks beside the pointer");

} // namespace

FrameSlot::~FrameSlot()
{
    free(word);
}

FrameSlot::operator cv::Mat *() const
{
    return frameOf(word);
}

cv::Mat *FrameSlot::operator->() const
{
    return frameOf(word);
}

FrameSlot &FrameSlot::operator=(cv::Mat *frame)
{
    exchange(frame);
    return *this;
}

cv::Mat *FrameSlot::take()
{
    return frameOf(exchange(nullptr));
}

quint64 FrameSlot::wordOf(cv::Mat *frame)
{
    return static_cast<quint64>(reinterpret_cast<quintptr>(frame)) << pointerShift;
}

cv::Mat *FrameSlot::frameOf(quint64 word)
{
    const auto address = static_cast<quintptr>((word & ~marks) >> pointerShift);
    return reinterpret_cast<cv::Mat *>(address); // NOLINT(performance-no-int-to-ptr)
}

void FrameSlot::free(quint64 word)
{
    if (word & slotOwns)
        delete frameOf(word);
}

quint64 FrameSlot::exchange(cv::Mat *frame)
{
    quint64 former = word;
    while (!word.compare_exchange_weak(former, wordOf(frame) | (former & claimed))) { }
    return former;
}

bool FrameSlot::isClaimed() const
{
    return word & claimed;
}

FrameSlot::Offer FrameSlot::offer(cv::Mat *frame, Owner owner)
{
    const quint64 offered =
        wordOf(frame) | (frame ? waiting : 0) | (frame && owner == Owner::Slot ? slotOwns : 0);
    quint64 former = word;
    do {
        if (former & claimed)
            return Offer::Refused;
    } while (!word.compare_exchange_weak(former, offered));
    // Whoever takes a word out of the slot is the only one to have it, even where another frame has come to
    // lie at the same address meanwhile. Handing in the frame that lies here already replaces nothing.
    if (frameOf(former) != frame)
        free(former);
    return former & waiting ? Offer::ReplacedWaiting : Offer::Stored;
}

FrameSlot::Claim FrameSlot::claim()
{
    quint64 former = word;
    do {
        if (!frameOf(former))
            return Claim::Nothing;
    } while (!word.compare_exchange_weak(former, (former | claimed) & ~waiting));
    return former & waiting ? Claim::NewFrame : Claim::SameFrame;
}

void FrameSlot::release()
{
    word &= ~claimed;
}
