#include "audio/audiorecorder.h"
#include "audio/audiorecorderwidget.h"
#include "support/metaface.h"
#include "support/virtualmicrophones.h"

#include <QAudioDeviceInfo>
#include <QtTest>
#include <QtWidgets>

using virtualmicrophones::setDevices;

// The row of boxes, on lists of devices that no machine has.
class AudioRecorderWidgetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsEmpty()
    {
        QCOMPARE(metaface::ofClass(AudioRecorderWidget::staticMetaObject), QStringList());
    }

    void rowWithoutDevicesHasNothingToOffer()
    {
        setDevices({});
        const AudioRecorderWidget row;
        QCOMPARE(row.getDevice() + row.getCodec(), QString());
        QCOMPARE(row.getSampleRate(), 0);
        for (const QComboBox *box : row.findChildren<QComboBox *>())
            QCOMPARE(box->count(), 0);
    }

    void eachNameIsListedOnceWithItsFirstDevice()
    {
        setDevices({{QStringLiteral("Desk"), {8000, 44100, 48000}},
            {QStringLiteral("Head"), {16000}, {QStringLiteral("audio/a"), QStringLiteral("audio/b")}},
            {QStringLiteral("Desk"), {11025}}});
        QCOMPARE(AudioRecorder::getMicrophones().join(QLatin1Char(' ')), QStringLiteral("Desk Head Desk"));

        AudioRecorderWidget row;
        const QList<QComboBox *> boxes = row.findChildren<QComboBox *>(); // device, codec, rate
        QCOMPARE(boxes.size(), 3);
        QCOMPARE(boxes[0]->count(), 2);
        QCOMPARE(boxes[0]->itemData(0).value<QAudioDeviceInfo>().supportedSampleRates().size(), 3);
        QCOMPARE(row.getDevice(), QStringLiteral("Desk"));
        QCOMPARE(row.getCodec(), QStringLiteral("audio/pcm"));
        QCOMPARE(row.getSampleRate(), 44100);

        // No rate is picked for a device without 44100, and what was picked before is forgotten.
        boxes[2]->setCurrentIndex(0);
        boxes[0]->setCurrentIndex(1);
        QCOMPARE(row.getCodec(), QStringLiteral("audio/a"));
        QCOMPARE(boxes[2]->count(), 1);
        QCOMPARE(row.getSampleRate(), 0);
        boxes[2]->setCurrentIndex(0);
        QCOMPARE(row.getSampleRate(), 16000);
        boxes[0]->setCurrentIndex(0);
        QCOMPARE(row.getSampleRate(), 44100);
    }

    void boxesFillTheRowAndTellWhatTheyAre()
    {
        setDevices({{QStringLiteral("Desk")}});
        AudioRecorderWidget row;
        row.show();
        const QList<QComboBox *> boxes = row.findChildren<QComboBox *>();
        QVERIFY(boxes[0]->isVisible() && !boxes[1]->isVisible() && boxes[2]->isVisible());
        QCOMPARE(row.layout()->contentsMargins(), QMargins());
        for (int i = 0; i < boxes.size(); ++i)
            QCOMPARE(row.layout()->itemAt(i)->widget(), boxes[i]);

        QTranslator russian;
        QVERIFY(russian.load(QStringLiteral(":/translations/VTCV_ru_RU.qm")));
        const QString english = boxes[0]->accessibleName() + boxes[2]->toolTip();
        QVERIFY(!boxes[0]->accessibleName().isEmpty() && !boxes[2]->toolTip().isEmpty());
        QCoreApplication::installTranslator(&russian);
        QTRY_VERIFY(boxes[0]->accessibleName() + boxes[2]->toolTip() != english);
        QCoreApplication::removeTranslator(&russian);
    }
};

QTEST_MAIN(AudioRecorderWidgetTest)
#include "tst_audiorecorderwidget.moc"
