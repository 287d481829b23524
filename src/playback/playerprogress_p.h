#pragma once

#include "vtcv_export.h"

#include <QObject>

/** Tells what a VideoPlayerWidget shows, whose own meta-object has no signals. Lives on the GUI thread. */
class VTCV_TEST_EXPORT PlayerProgress : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

Q_SIGNALS:
    /** Another picture stands on the screen; the player's getImage() and getPosition() are those of it. */
    void shown(int frame);

    /** Comes at once where the GUI thread is the cause, and later at the end of the file. */
    void playingChanged(bool playing);
};
