#include "baselib/fpswidget.h"
#include "baselib/frameratecounter.h"

#include <QtTest>

#include <thread>

class FPSWidgetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void showsTheRate_data()
    {
        QTest::addColumn<double>("rate");
        QTest::addColumn<QString>("text");
        const QString none = QString::fromUtf8("– fps");
        QTest::newRow("camera") << 24.97 << "25.0 fps";
        QTest::newRow("slow") << 0.2 << "0.2 fps";
        QTest::newRow("zero") << 0.0 << "0.0 fps";
        QTest::newRow("fast") << 1234.5 << "1234.5 fps";
        QTest::newRow("negative") << -1.0 << none;
        QTest::newRow("no number") << qQNaN() << none;
        QTest::newRow("infinite") << qInf() << none;
    }
    void showsTheRate()
    {
        QFETCH(double, rate);
        QFETCH(QString, text);
        FPSWidget widget(nullptr, nullptr);
        QVERIFY(widget.isStale());
        QVERIFY(!widget.accessibleName().isEmpty());
        widget.frameRateChanged(12);
        QVERIFY(!widget.isStale());
        std::thread([&] {
            QMetaObject::invokeMethod(&widget, "frameRateChanged", Q_ARG(double, rate));
        }).join();
        QTRY_COMPARE(widget.text(), text);
        QCOMPARE(widget.isStale(), widget.text().startsWith(QChar(0x2013)));
    }

    void followsACounterUntilNoFramesCome()
    {
        using namespace std::chrono_literals;
        FrameRateCounter counter;
        FPSWidget widget(&counter);
        for (int i = 0; i <= 10; ++i)
            counter.nextFrameAt(100ms * i);
        QCOMPARE(widget.text(), QStringLiteral("10.0 fps"));
        QVERIFY(!widget.isStale());
        const QPixmap live = widget.grab();
        QTRY_VERIFY_WITH_TIMEOUT(widget.isStale(), 30000);
        QCOMPARE(widget.text(), QStringLiteral("10.0 fps"));
        QVERIFY(widget.grab().toImage() != live.toImage());
        for (int i = 11; i <= 20; ++i)
            counter.nextFrameAt(100ms * i);
        QVERIFY(!widget.isStale());
    }

    void widthDoesNotFollowTheNumber()
    {
        FPSWidget widget;
        const int width = widget.sizeHint().width();
        for (double rate : {0.1, 11.1, 25.0, 444.4, 888.8, 999.9}) {
            widget.frameRateChanged(rate);
            QCOMPARE(widget.sizeHint().width(), width);
            QVERIFY(widget.fontMetrics().horizontalAdvance(widget.text()) <= width);
        }
        QFont large = widget.font();
        large.setPointSize(large.pointSize() * 3);
        widget.setFont(large);
        QVERIFY(widget.sizeHint().width() > 2 * width);
    }
};

QTEST_MAIN(FPSWidgetTest)
#include "tst_fpswidget.moc"
