#include "baselib/uihelper.h"
#include "baselib/vellipse.h"
#include "baselib/vrectangle.h"

#include <QtTest>

namespace {

constexpr QRgb light = 0xffefefef;
constexpr QRgb dark = 0xff35353a;
constexpr QRgb black = 0xff000000;

QImage rendered(QWidget &widget, qreal ratio)
{
    QImage image((QSizeF(widget.size()) * ratio).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(light);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

int pixelsOf(const QImage &image, QRgb color, int row)
{
    int count = 0;
    for (int x = 0; x < image.width(); ++x)
        count += image.pixel(x, row) == color;
    return count;
}

} // namespace

class ShapesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void colorFollowsThePalette_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QRgb>("ground");
        QTest::addColumn<QColor>("expected");
        const QColor text(0x80, 0x90, 0xa0);
        QTest::newRow("black") << "black" << light << QColor(Qt::black);
        QTest::newRow("black in the dark") << "black" << dark << text;
        QTest::newRow("white") << "#ffffff" << light << text;
        QTest::newRow("red") << "red" << light << QColor(Qt::red);
        QTest::newRow("red in the dark") << "red" << dark << QColor(Qt::red);
        QTest::newRow("red, not so dark") << "red" << 0xff44475aU << QColor(0xff, 0x5c, 0x5c);
        QTest::newRow("none") << "" << dark << text;
        QTest::newRow("no color") << "no color" << light << text;
    }
    void colorFollowsThePalette()
    {
        QFETCH(QString, name);
        QFETCH(QRgb, ground);
        QFETCH(QColor, expected);
        QPushButton button; // its roles count, not those of a window
        auto *const rectangle = new VRectangle(name);
        auto *const ellipse = new VEllipse(name);
        UIHelper::InsertToWidget(&button, rectangle);
        UIHelper::InsertToWidget(&button, ellipse);
        QPalette colors{QColor(ground)};
        colors.setColor(QPalette::ButtonText, QColor(0x80, 0x90, 0xa0));
        colors.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::gray);
        button.setPalette(colors);
        QCOMPARE(rectangle->color(), expected);
        QCOMPARE(ellipse->color(), expected);
        button.setEnabled(false);
        QCOMPARE(rectangle->color(), QColor(Qt::gray));
    }

    void edgesAreSharpAtEveryScale()
    {
        for (qreal ratio : {1.0, 1.25, 1.5, 2.0, 3.0}) {
            VRectangle rectangle(QStringLiteral("black"));
            rectangle.resize(14, 14);
            const QImage square = rendered(rectangle, ratio);
            for (int row : {0, square.height() - 1})
                QCOMPARE(pixelsOf(square, black, row), square.width());

            VEllipse ellipse(QStringLiteral("black"));
            ellipse.resize(32, 16);
            const int middle = int(8 * ratio);
            QVERIFY(pixelsOf(rendered(ellipse, ratio), black, middle) >= int(32 * ratio) - 2);
            ellipse.setAsCircle(true);
            const QImage disc = rendered(ellipse, ratio);
            QVERIFY(qAbs(pixelsOf(disc, black, middle) - int(16 * ratio)) <= 2);
            // Only the two pixels on the edge are in between.
            QVERIFY(pixelsOf(disc, black, middle) + pixelsOf(disc, light, middle) >= disc.width() - 2);
            QCOMPARE(disc.pixel(int(3 * ratio), middle), light);
        }
    }
};

QTEST_MAIN(ShapesTest)

#include "tst_shapes.moc"
