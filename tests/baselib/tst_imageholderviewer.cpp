#include "baselib/imageholderviewer.h"
#include "support/metaface.h"

#include <QPaintEvent>
#include <QtTest>

#include <thread>

namespace {

constexpr QRgb background = 0xff204060;

class Viewer : public ImageHolderViewer
{
public:
    Viewer()
    {
        QPalette colors = palette();
        colors.setColor(QPalette::Window, QColor(background));
        setPalette(colors);
        setAutoFillBackground(true);
    }

    QRegion painted;
    int paints = 0;
    QSet<QThread *> paintThreads;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        ++paints;
        painted += event->region();
        paintThreads.insert(QThread::currentThread());
        ImageHolderViewer::paintEvent(event);
    }
};

// Gives out pixels that it does not hand over, as a holder of camera frames does.
class WrappingHolder : public ImageHolder
{
public:
    QImage getImage() override
    {
        ++fetches;
        return QImage(pixels.data(), 4, 4, 16, format);
    }
    void fill(uchar value) { pixels.fill(value); }

    int fetches = 0;
    QImage::Format format = QImage::Format_RGB32;

private:
    std::array<uchar, 64> pixels{};
};

QImage filled(const QSize &size, const QColor &color)
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(color);
    return image;
}

QImage rendered(QWidget &widget, qreal ratio)
{
    QImage target((QSizeF(widget.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    target.setDevicePixelRatio(ratio);
    target.fill(Qt::transparent);
    widget.render(&target);
    return target;
}

// The smallest rectangle, in pixels of the device, that holds all pixels of the colour.
QRect areaOf(const QImage &image, QRgb color)
{
    QRegion area;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) == color)
                area += QRect(x, y, 1, 1);
        }
    }
    return area.boundingRect();
}

} // namespace

class ImageHolderViewerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pictureFillsItsPlaceAtEveryRatio_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QSize>("widget");
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<QRect>("place"); // in pixels of the device
        QTest::newRow("wide") << QSize(40, 20) << QSize(100, 100) << 1.0 << QRect(0, 25, 100, 50);
        QTest::newRow("tall") << QSize(20, 40) << QSize(100, 100) << 1.0 << QRect(25, 0, 50, 100);
        QTest::newRow("larger than the widget")
            << QSize(800, 400) << QSize(100, 80) << 1.0 << QRect(0, 15, 100, 50);
        QTest::newRow("two pixels a point")
            << QSize(40, 20) << QSize(100, 100) << 2.0 << QRect(0, 50, 200, 100);
        QTest::newRow("odd rest") << QSize(10, 10) << QSize(101, 50) << 2.0 << QRect(51, 0, 100, 100);
        QTest::newRow("one and a half") << QSize(30, 30) << QSize(50, 20) << 1.5 << QRect(22, 0, 30, 30);
        QTest::newRow("a line") << QSize(5000, 1) << QSize(100, 100) << 1.0 << QRect(0, 49, 100, 1);
    }
    void pictureFillsItsPlaceAtEveryRatio()
    {
        QFETCH(QSize, picture);
        QFETCH(QSize, widget);
        QFETCH(qreal, ratio);
        QFETCH(QRect, place);
        ImageHolder holder;
        holder.setImage(filled(picture, Qt::red));
        Viewer viewer;
        viewer.resize(widget);
        viewer.setImageHolder(&holder);
        const QImage shown = rendered(viewer, ratio);
        QCOMPARE(areaOf(shown, 0xffff0000), place);
        QCOMPARE(viewer.pictureRect(),
            QRectF(QPointF(place.topLeft()) / ratio, QSizeF(place.size()) / ratio).toAlignedRect());
        QCOMPARE(shown.pixel(shown.width() - 1, shown.height() - 1),
            place.contains(shown.rect().bottomRight()) ? 0xffff0000 : background);
    }

    void pixelsOfTheDeviceAreThoseOfThePicture()
    {
        // A pattern that any scaling, there and back, would smear.
        QImage picture(100, 80, QImage::Format_RGB32);
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                picture.setPixel(x, y, (x + y) % 2 ? 0xffffffff : 0xff000000);
        }
        ImageHolder holder;
        Viewer viewer;
        viewer.setImageHolder(&holder);
        viewer.resize(50, 40);
        for (qreal pictureRatio : {1.0, 2.0}) {
            picture.setDevicePixelRatio(pictureRatio);
            holder.setImage(picture);
            QImage shown = rendered(viewer, 2.0).convertToFormat(QImage::Format_RGB32);
            shown.setDevicePixelRatio(pictureRatio);
            QCOMPARE(shown, picture);
        }
        QCOMPARE(viewer.sizeHint(), QSize(50, 40));
    }

    void backgroundShowsThroughAndWithoutAPicture()
    {
        Viewer viewer;
        viewer.resize(20, 20);
        const auto centre = [&viewer] { return rendered(viewer, 1.0).pixel(10, 10); };
        QCOMPARE(centre(), background);
        auto holder = std::make_unique<ImageHolder>();
        viewer.setImageHolder(holder.get());
        QCOMPARE(centre(), background);
        holder->setImage(filled({4, 4}, QColor(255, 255, 255, 0)));
        QCOMPARE(centre(), background);
        holder->setImage(filled({4, 4}, QColor(255, 0, 0, 128)));
        const QRgb mixed = centre();
        QVERIFY(qAbs(qRed(mixed) - (255 + 0x20) / 2) <= 2 && qAbs(qBlue(mixed) - 0x60 / 2) <= 2);

        holder->setImage(filled({4, 4}, Qt::green));
        QCOMPARE(centre(), 0xff00ff00);
        holder->setImage(QImage());
        QCOMPARE(centre(), background);
        holder->setImage(filled({4, 4}, Qt::green));
        holder.reset();
        QCOMPARE(centre(), background);
        QVERIFY(!viewer.imageHolder());

        ImageHolder other;
        other.setImage(filled({4, 4}, Qt::blue));
        viewer.setImageHolder(&other);
        QCOMPARE(centre(), 0xff0000ff);
        viewer.setImageHolder(nullptr);
        QCOMPARE(centre(), background);
        QCOMPARE(metaface::ofClass(ImageHolderViewer::staticMetaObject), QStringList());
    }

    void onlyThePlaceOfThePictureIsPaintedAgain()
    {
        ImageHolder holder;
        holder.setImage(filled({40, 20}, Qt::red));
        Viewer viewer;
        viewer.setImageHolder(&holder);
        viewer.resize(100, 100);
        viewer.show();
        QVERIFY(QTest::qWaitForWindowExposed(&viewer));
        QTRY_VERIFY(viewer.paints > 0);
        QCoreApplication::processEvents();

        const auto paintedAfter = [&](const QImage &image) {
            viewer.painted = QRegion();
            holder.setImage(image);
            [&] { QTRY_VERIFY(!viewer.painted.isEmpty()); }();
            QCoreApplication::processEvents();
            return viewer.painted;
        };
        const QRegion wide(0, 25, 100, 50);
        const QRegion tall(25, 0, 50, 100);
        QCOMPARE(paintedAfter(filled({80, 40}, Qt::green)), wide);
        QCOMPARE(paintedAfter(filled({20, 40}, Qt::green)), wide + tall);
        QCOMPARE(paintedAfter(filled({20, 40}, Qt::blue)), tall);
        QCOMPARE(paintedAfter(QImage()), tall);
        QCOMPARE(areaOf(viewer.grab().toImage().convertToFormat(QImage::Format_ARGB32), 0xff0000ff), QRect());
    }

    void partOfTheWidgetPaintedWithANewPictureBringsTheRest()
    {
        ImageHolder holder;
        holder.setImage(filled({10, 10}, Qt::red));
        Viewer viewer;
        viewer.setImageHolder(&holder);
        viewer.resize(100, 100);
        viewer.show();
        QVERIFY(QTest::qWaitForWindowExposed(&viewer));
        QTRY_VERIFY(viewer.paints > 0);
        viewer.painted = QRegion();
        holder.setImage(filled({10, 10}, Qt::blue));
        viewer.repaint(0, 0, 10, 10); // before the event loop has seen the change
        QTRY_COMPARE(viewer.painted, QRegion(0, 0, 100, 100));
    }

    void pictureIsFetchedOnceAndKept()
    {
        WrappingHolder holder;
        Viewer viewer;
        viewer.setImageHolder(&holder);
        for (const QSize &size : {QSize(4, 4), QSize(40, 40)}) { // as it is, and scaled
            for (auto format : {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
                viewer.resize(size);
                holder.format = format;
                holder.fill(0xff);
                Q_EMIT holder.imageChanged();
                QCOMPARE(rendered(viewer, 1.0).pixel(1, 1), 0xffffffff);
                const int fetches = holder.fetches;
                holder.fill(0x77); // the camera reuses its buffer; nothing is announced yet
                QCOMPARE(rendered(viewer, 1.0).pixel(1, 1), 0xffffffff);
                QCOMPARE(holder.fetches, fetches);
            }
        }
        holder.format = QImage::Format_RGB32;
        Q_EMIT holder.imageChanged();
        QCOMPARE(rendered(viewer, 1.0).pixel(1, 1), 0xff777777); // the fourth byte is no alpha
    }

    void hiddenViewerFetchesNothingAndABusyOneOnlyTheLast()
    {
        WrappingHolder holder;
        Viewer viewer;
        viewer.setImageHolder(&holder);
        Q_EMIT holder.imageChanged();
        QCoreApplication::processEvents();
        QCOMPARE(holder.fetches, 0);

        viewer.show();
        QVERIFY(QTest::qWaitForWindowExposed(&viewer));
        QTRY_VERIFY(holder.fetches > 0);
        QCoreApplication::processEvents();
        const int before = holder.fetches;
        std::thread([&holder] {
            for (int i = 0; i < 100; ++i)
                Q_EMIT holder.imageChanged();
        }).join();
        QTRY_VERIFY(holder.fetches > before);
        QCoreApplication::processEvents();
        QCOMPARE(holder.fetches, before + 1);
    }

    void picturesOfAnotherThreadArePaintedOnTheGuiThread()
    {
        auto holder = std::make_unique<ImageHolder>();
        Viewer viewer;
        viewer.setImageHolder(holder.get());
        viewer.resize(64, 48);
        viewer.show();
        QVERIFY(QTest::qWaitForWindowExposed(&viewer));
        std::atomic<bool> stop{false};
        std::thread camera([&] {
            for (int i = 0; !stop; ++i) {
                holder->setImage(filled({64, 48 + i % 5}, QColor::fromHsv(i % 360, 255, 255)));
                std::this_thread::yield();
            }
        });
        const int before = viewer.paints;
        [&] { QTRY_VERIFY(viewer.paints > before + 20); }();
        stop = true;
        camera.join();
        holder->setImage(filled({64, 48}, Qt::red));
        const qreal ratio = viewer.devicePixelRatioF();
        QTRY_COMPARE(areaOf(viewer.grab().toImage().convertToFormat(QImage::Format_ARGB32), 0xffff0000),
            QRect(0, 0, qRound(64 * ratio), qRound(48 * ratio)));
        QCOMPARE(viewer.paintThreads, QSet<QThread *>{QThread::currentThread()});
        holder->setImage(filled({1, 1}, Qt::red));
        holder.reset(); // with a change on its way
        QTRY_COMPARE(viewer.pictureRect(), QRect());
    }

    void sizeHintFollowsThePictureWithinReason()
    {
        ImageHolder holder;
        Viewer viewer;
        viewer.setImageHolder(&holder);
        QCOMPARE(viewer.sizeHint(), QSize(320, 240));
        holder.setImage(filled({1920, 1080}, Qt::red));
        rendered(viewer, 1.0);
        QCOMPARE(viewer.sizeHint(), QSize(640, 360));
    }
};

QTEST_MAIN(ImageHolderViewerTest)
#include "tst_imageholderviewer.moc"
