#include "baselib/globalconsole.h"
#include "baselib/uihelper.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

namespace {

constexpr QSize iconSize(16, 16);
constexpr QSize buttonSize(24, 24);
constexpr int tolerance = 40; // of 255; smooth edges are far beyond it

QImage rendered(QWidget &widget, int ratio)
{
    QImage image(widget.size() * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    widget.render(&image);
    return image;
}

QPalette paletteOf(const QColor &background, const QColor &text)
{
    QPalette colors(background);
    colors.setColor(QPalette::ButtonText, text);
    colors.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(128, 128, 128));
    return colors;
}

int pixelsLike(const QImage &image, const QColor &color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            count += qAbs(pixel.red() - color.red()) < tolerance
                && qAbs(pixel.green() - color.green()) < tolerance
                && qAbs(pixel.blue() - color.blue()) < tolerance;
        }
    }
    return count;
}

// True if pixels of one point differ, which enlarged ones never do.
bool hasDetailWithinPoints(const QImage &image, int ratio)
{
    for (int y = 0; y + ratio <= image.height(); y += ratio) {
        for (int x = 0; x + ratio <= image.width(); x += ratio) {
            const int first = qGray(image.pixel(x, y));
            if (qAbs(qGray(image.pixel(x + ratio - 1, y)) - first) > 150
                || qAbs(qGray(image.pixel(x, y + ratio - 1)) - first) > 150)
                return true;
        }
    }
    return false;
}

} // namespace

class UIHelperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void iconsCanBeReadOnLightAndDarkAndAreSharp_data()
    {
        QTest::addColumn<QString>("svg");
        const QString own =
            QFINDTESTDATA("../../src/baselib/icons/settings.svg"); // hidden by this host's one
        for (const QString &svg : {QStringLiteral(":/icons/photo_camera.svg"), own,
                 QStringLiteral(":/varnhold/icons/undo.svg"), QStringLiteral(":/varnhold/icons/redo.svg"),
                 QStringLiteral(":/varnhold/icons/reset.svg"), QStringLiteral(":/varnhold/icons/reveal.svg")})
            QTest::newRow(qPrintable(QFileInfo(svg).baseName())) << svg;
    }
    void iconsCanBeReadOnLightAndDarkAndAreSharp()
    {
        QFETCH(QString, svg);
        const std::unique_ptr<QPushButton> button(
            UIHelper::GenerateSvgButton(svg, iconSize, buttonSize, "", ""));
        QCOMPARE(button->size(), buttonSize);
        for (int ratio : {1, 2}) {
            button->setEnabled(true);
            button->setPalette(paletteOf(QColor(170, 170, 170), Qt::black));
            const QImage light = rendered(*button, ratio);
            button->setPalette(
                paletteOf(QColor(40, 40, 40), Qt::white)); // of the same button, while it is there
            const QImage dark = rendered(*button, ratio);
            const int wanted = 20 * ratio * ratio;
            QVERIFY(pixelsLike(light, Qt::black) > wanted);
            QVERIFY(pixelsLike(light, Qt::white) < wanted);
            QVERIFY(pixelsLike(dark, Qt::white) > wanted);
            QVERIFY(
                ratio == 1 || hasDetailWithinPoints(dark.copy(dark.rect().adjusted(8, 8, -8, -8)), ratio));
            button->setEnabled(false);
            QVERIFY(pixelsLike(rendered(*button, ratio), Qt::white) < pixelsLike(dark, Qt::white) / 2);
        }
    }

    void iconsOfTheApplicationTakeThePlaceOfOurs()
    {
        QFile file(QStringLiteral(":/icons/settings.svg"));
        QVERIFY(file.open(QFile::ReadOnly));
        QVERIFY(file.readAll().contains("#d01010"));
        const std::unique_ptr<QPushButton> button(
            UIHelper::GenerateSvgButton(file.fileName(), iconSize, buttonSize));
        for (const Qt::GlobalColor text : {Qt::black, Qt::white}) {
            button->setPalette(paletteOf(Qt::gray, text));
            QVERIFY(
                pixelsLike(rendered(*button, 1), QColor(0xd0, 0x10, 0x10)) >= 14 * 14); // keeps its colour
        }
    }

    void iconThatCannotBeShownCostsOneLine()
    {
        QStringList lines;
        GlobalConsole::setSink([&lines](const QString &text, const QDateTime &) { lines.append(text); });
        const std::unique_ptr<QPushButton> button(
            UIHelper::GenerateSvgButton(QStringLiteral(":/no.svg"), iconSize, buttonSize));
        GlobalConsole::setSink({});
        QVERIFY(button->icon().isNull());
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.first().contains(QStringLiteral(":/no.svg")));
    }

    void buttonsHaveANameAndRoomForTheirText()
    {
        const QString svg = QStringLiteral(":/icons/photo_camera.svg");
        const std::unique_ptr<QPushButton> icon(
            UIHelper::GenerateSvgButton(svg, iconSize, buttonSize, {}, QStringLiteral("Save image")));
        QCOMPARE(icon->accessibleName(), QStringLiteral("Save image"));
        QCOMPARE(icon->toolTip(), QStringLiteral("Save image"));
        const std::unique_ptr<QPushButton> worded(
            UIHelper::GenerateSvgButton(svg, iconSize, buttonSize, QStringLiteral("A text of some length")));
        const int textWidth = worded->fontMetrics().horizontalAdvance(worded->text());
        QVERIFY(worded->sizeHint().width() >= textWidth + iconSize.width());
        worded->resize(worded->sizeHint());
        worded->setPalette(paletteOf(QColor(170, 170, 170), Qt::black));
        const QImage withText = rendered(*worded, 1);
        worded->setText(QStringLiteral(" "));
        QVERIFY(withText != rendered(*worded, 1));

        // Enter in a field is not for it.
        QDialog dialog;
        auto *const field = new QLineEdit;
        auto *const button = UIHelper::GenerateSvgButton(svg, iconSize, buttonSize);
        UIHelper::InsertToWidget(&dialog, field);
        UIHelper::InsertToWidget(&dialog, button);
        QSignalSpy clicked(button, &QPushButton::clicked);
        dialog.show();
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(clicked.count(), 0);
        QTest::keyClick(button, Qt::Key_Space);
        QCOMPARE(clicked.count(), 1);
    }

    void insertedWidgetFillsItsHost()
    {
        QWidget host;
        host.resize(100, 60);
        auto *const first = new QWidget;
        UIHelper::InsertToWidget(&host, first, 0, 0);
        UIHelper::InsertToWidget(&host, nullptr, 5, 5);
        UIHelper::InsertToWidget(nullptr, first, 5, 5);
        host.layout()->activate();
        QCOMPARE(first->geometry(), QRect(0, 0, 100, 60));

        auto *const second = new QWidget;
        second->setFixedHeight(10);
        UIHelper::InsertToWidget(&host, second, 4, 6);
        host.layout()->activate();
        QCOMPARE(first->geometry(), QRect(4, 4, 92, 36));
        QCOMPARE(second->geometry(), QRect(4, 46, 92, 10));

        // In the middle of what is free, along the layout and across it.
        for (QBoxLayout::Direction direction : {QBoxLayout::LeftToRight, QBoxLayout::TopToBottom}) {
            QWidget narrow;
            narrow.resize(50, 20);
            new QBoxLayout(direction, &narrow);
            auto *const small = new QWidget;
            small->setMaximumSize(16, 16);
            UIHelper::InsertToWidget(&narrow, small, 0, 0);
            narrow.layout()->activate();
            QCOMPARE(small->geometry(), QRect(17, 2, 16, 16));
        }
    }
};

QTEST_MAIN(UIHelperTest)
#include "tst_uihelper.moc"
