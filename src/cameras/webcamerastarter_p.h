#pragma once

#include <QThread>

class QCamera;

/**
 * Starts a device on a thread of its own, since a device may take seconds to start, and ends.
 *
 * While it runs the QCamera is its own: nobody else may call the camera, or delete it. It is never
 * terminated, as that could leave the multimedia layer's locks locked for ever.
 */
class WebCameraStarter : public QThread
{
    Q_OBJECT

public:
    /** \ownership The caller keeps \a camera alive while the thread runs. */
    explicit WebCameraStarter(QCamera *camera);
    ~WebCameraStarter() override;

protected:
    void run() override;

private:
    QCamera *camera;
};
