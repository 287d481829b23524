#pragma once

#include "vtcv_export.h"

#include <QObject>
#include <QString>

#include <opencv2/core.hpp>

/**
 * Is the shape that an application gives to its image algorithms: a named object that works on one frame
 * after another.
 *
 * The library calls none of these operations; the application does, from a processing worker for instance.
 *
 * \thread One at a time.
 */
class VTCV_EXPORT ImageProcessingAlgorithm : public QObject
{
    Q_OBJECT

public:
    ImageProcessingAlgorithm(QString name, QObject *parent);
    ~ImageProcessingAlgorithm() override;

    /** Makes ready for a series of frames; false if the algorithm cannot work, for lack of a model file, say.
     */
    virtual bool initialize() = 0;

    /**
     * Works on one frame.
     *
     * \return the result as the algorithm defines it, a picture as a rule; empty if there is none.
     * \ownership \a frame is the caller's, and not to be written to.
     */
    virtual cv::Mat process(const cv::Mat &frame) = 0;

    /** Forgets what earlier frames have left, as before the first one. */
    virtual void reset() = 0;

protected:
    QString m_name; // as given to the constructor
};
