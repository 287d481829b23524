#include "baselib/uihelper.h"
#include "baselib/vellipse.h"
#include "baselib/vrectangle.h"

#include <QtTest>

namespace {

constexpr QRgb ground = 0xffefefef;

QPalette paletteOf(const QColor &button, const QColor &text)
{
    QPalette colors(button);
    colors.setColor(QPalette::ButtonText, text);
    colors.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::gray);
    return colors;
}

QImage rendered(QWidget &widget, qreal ratio)
{
    QImage image((QSizeF(widget.size()) * ratio).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(ground);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

} // namespace

class ShapesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void colorFollowsThePalette_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isDark");
        QTest::addColumn<bool>("isEnabled");
        QTest::addColumn<QColor>("expected");
        const QColor ink(1, 2, 3);
        const QColor chalk(230, 231, 232);
        QTest::newRow("black") << "black" << false << true << QColor(Qt::black);
        QTest::newRow("black in the dark") << "black" << true << true << chalk;
        QTest::newRow("white") << "#ffffff" << false << true << ink;
        QTest::newRow("white in the dark") << "#ffffff" << true << true << QColor(Qt::white);
        QTest::newRow("red") << "red" << false << true << QColor(Qt::red);
        QTest::newRow("red in the dark") << "red" << true << true << QColor(Qt::red);
        QTest::newRow("red, disabled") << "red" << false << false << QColor(Qt::gray);
        QTest::newRow("none") << "" << true << true << chalk;
        QTest::newRow("no color") << "no color" << false << true << ink;
    }
    void colorFollowsThePalette()
    {
        QFETCH(QString, name);
        QFETCH(bool, isDark);
        QFETCH(bool, isEnabled);
        QFETCH(QColor, expected);
        QPushButton button; // its roles count, not those of a window
        auto *const rectangle = new VRectangle(name);
        auto *const ellipse = new VEllipse(name);
        UIHelper::InsertToWidget(&button, rectangle);
        UIHelper::InsertToWidget(&button, ellipse);
        button.setEnabled(isEnabled);
        button.setPalette(isDark ? paletteOf(QColor(0x35, 0x35, 0x3a), QColor(230, 231, 232))
                                 : paletteOf(QColor(ground), QColor(1, 2, 3)));
        QCOMPARE(rectangle->color(), expected);
        QCOMPARE(ellipse->color(), expected);
        button.resize(100, 100);
        button.ensurePolished();
        rectangle->setFixedSize(10, 10);
        QCOMPARE(rendered(*rectangle, 1).pixelColor(5, 5), expected);
    }

    void edgesAreSharpAtEveryScale_data()
    {
        QTest::addColumn<qreal>("ratio");
        for (qreal ratio : {1.0, 1.25, 1.5, 2.0, 3.0})
            QTest::addRow("%.2f", ratio) << ratio;
    }
    void edgesAreSharpAtEveryScale()
    {
        QFETCH(qreal, ratio);
        VRectangle rectangle(QStringLiteral("black"));
        rectangle.resize(14, 14);
        const QImage square = rendered(rectangle, ratio);
        int others = 0;
        for (int y = 0; y < square.height(); ++y) {
            for (int x = 0; x < square.width(); ++x)
                others += square.pixel(x, y) != qRgb(0, 0, 0);
        }
        QCOMPARE(others, 0);

        VEllipse circle(QStringLiteral("black"));
        circle.setAsCircle(true);
        circle.resize(32, 16);
        const QImage disc = rendered(circle, ratio);
        // Through the middle, only the two pixels on the edge may be in between.
        const int middle = disc.height() / 2;
        int smooth = 0;
        int dark = 0;
        for (int x = 0; x < disc.width(); ++x) {
            const int grey = qGray(disc.pixel(x, middle));
            dark += grey == 0;
            smooth += grey != 0 && grey != qGray(ground);
        }
        QVERIFY(smooth <= 2);
        QVERIFY(qAbs(dark - 16 * ratio) <= 2);
        QCOMPARE(disc.pixel(int(3 * ratio), middle), ground);
        circle.setAsCircle(false);
        QCOMPARE(rendered(circle, ratio).pixel(int(3 * ratio), middle), qRgb(0, 0, 0));
    }

    void buttonUnderAShapeIsClicked()
    {
        QPushButton button;
        auto *const shape = new VEllipse;
        UIHelper::InsertToWidget(&button, shape);
        button.resize(24, 24);
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        QSignalSpy clicks(&button, &QPushButton::clicked);
        QTest::mouseClick(shape, Qt::LeftButton);
        QCOMPARE(clicks.count(), 1);
    }
};

QTEST_MAIN(ShapesTest)

#include "tst_shapes.moc"
