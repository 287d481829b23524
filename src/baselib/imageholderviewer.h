#pragma once

#include "baselib/imageholder.h"
#include "varnhold_export.h"

#include <QPixmap>
#include <QPointer>
#include <QWidget>

/**
 * Shows the picture of an ImageHolder, as large as fits, with its aspect ratio kept, in the middle.
 *
 *     auto *viewer = new ImageHolderViewer;
 *     viewer->setImageHolder(camera);
 *     layout->addWidget(viewer);
 *
 * It is scaled to the pixels of the screen, so it is sharp at any scale factor. Where the picture is
 * transparent, and beside it, the background of the widget shows. Without a holder, or while the holder has
 * no picture, that is all there is to see.
 *
 * The picture is fetched once for all changes that have piled up, and only while the widget can be seen; it
 * is kept as it was fetched. With a new picture only its place is painted again.
 *
 * \thread GUI thread. imageChanged() may come from any thread, and ImageHolder::getImage() is then called on
 * the GUI thread.
 */
class VARNHOLD_EXPORT ImageHolderViewer : public QWidget
{
    Q_OBJECT

public:
    explicit ImageHolderViewer(QWidget *parent = nullptr);

    /**
     * Shows \a holder's picture from now on; null shows none.
     *
     * \ownership The caller keeps \a holder and may delete it on the GUI thread at any time. Before it is
     * deleted on another thread, it has to be taken out here.
     */
    void setImageHolder(ImageHolder *holder);
    ImageHolder *imageHolder() const;

    /** Where the picture was painted last; empty without one. Maps positions of the mouse to the picture. */
    QRect pictureRect() const;

    /** The picture's size, at most 640x480; 320x240 without one. */
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void pictureChanged();
    void showChangedPicture();
    bool canBeSeen() const;
    QRegion fetchPicture(qreal ratio);

    QPointer<ImageHolder> holder;
    QPixmap picture; // scaled to the pixels of the device; no pixels are shared with the holder
    QPoint devicePosition; // of the picture, in pixels of the device
    QRect place; // of the picture, in the widget's coordinates
    QSize pictureSize; // of the picture itself, in the widget's coordinates
    QSize fetchedForSize; // what the scaled picture was made for
    qreal fetchedForRatio = 0;
    bool stale = false; // the holder has announced another picture
    bool showIsDue = false; // showChangedPicture() is in the event queue
};
