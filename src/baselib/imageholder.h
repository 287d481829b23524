#pragma once

#include "varnhold_export.h"

#include <QColor>
#include <QImage>
#include <QMutex>
#include <QObject>

/**
 * Holds the current picture and tells viewers when there is another.
 *
 *     ImageHolder holder;
 *     viewer->setImageHolder(&holder);
 *     holder.setImage(QImage(path));
 *
 * A subclass may keep its picture in another form and give it out through getImage(); it then emits
 * imageChanged() itself.
 *
 * \thread Any, for the functions of this class. imageChanged() comes on the thread that set the picture.
 */
class VARNHOLD_EXPORT ImageHolder : public QObject
{
    Q_OBJECT

public:
    explicit ImageHolder(QObject *parent = nullptr);

    /**
     * Fills the held picture with \a color. It keeps its size; a null one becomes 640x480 pixels.
     *
     * The picture is of Format_RGB32 afterwards, or of Format_RGBA8888 if \a color is not opaque. An invalid
     * colour counts as black. imageChanged() is emitted if getImage() gives the held picture; where a
     * subclass gives out another one, nothing has changed for a viewer yet.
     */
    virtual void setEmptyImage(QColor color);

    /** Holds \a image, which may be null, and emits imageChanged(). */
    virtual void setImage(QImage image);

    /** The picture to show; null if there is none. */
    virtual QImage getImage();

Q_SIGNALS:
    /** Another picture can be fetched by getImage(). */
    void imageChanged();

protected:
    QImage m_image; // subclasses read it, on the thread that sets it

private:
    QMutex imageMutex; // guards m_image against a viewer that fetches it on another thread
};
