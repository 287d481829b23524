#include "baselib/uihelper.h"
#include "baselib/vellipse.h"
#include "baselib/vrectangle.h"
#include "ffmpeg/ffmpegqueue.h"
#include "recording/recordingwatch.h"
#include "recording/videorecorderoptimizationprogresswidget.h"
#include "recording/videorecorderwidget.h"
#include "support/fakeffmpeg.h"
#include "support/metaface.h"
#include "support/programs.h"
#include "support/recorderfixture.h"

#include <QtWidgets>

namespace {

constexpr int limitMs = 60'000;

// The controls of the strip, by their places in it, and a protocol of its signals.
class Strip : public VideoRecorderWidget
{
public:
    Strip()
    {
        connect(this, &Strip::onSetVideoName, this, [this](QString &name) { name = nextName; });
        connect(this, &Strip::started, this, [this](const QString &path) { told << "started " + path; });
        connect(this, &Strip::stopped, this, [this] { told << "stopped"; });
        connect(this, &Strip::changedFrameRate, this, [this](int rate) { told << QString::number(rate); });
        connect(this, &Strip::durationChanged, this, [this](float seconds) { duration = seconds; });
    }

    QPushButton *startButton() const { return at<QPushButton>(0); }
    QPushButton *stopButton() const { return at<QPushButton>(1); }
    QSpinBox *spin() const { return at<QSpinBox>(3); }
    QLabel *time() const { return at<QLabel>(4); }
    QLabel *warning() const { return at<QLabel>(5); }

    // What can be seen, and with a "-" what cannot be used.
    QString look() const
    {
        QStringList parts;
        const auto add = [&](const QWidget *widget, const char *name) {
            if (widget->isVisibleTo(this))
                parts << QLatin1String(widget->isEnabledTo(this) ? "" : "-") + QLatin1String(name);
        };
        add(startButton(), "start");
        add(stopButton(), "stop");
        add(at<QLabel>(2), "at");
        add(spin(), "rate");
        return parts.join(' ');
    }

    QString nextName;
    QStringList told;
    float duration = -1;

private:
    template <typename Widget> Widget *at(int place) const
    {
        return qobject_cast<Widget *>(QWidget::layout()->itemAt(place)->widget());
    }
};

const QString idle = QStringLiteral("start at rate");
const QString recording = QStringLiteral("stop at -rate");

} // namespace

class RecorderWidgetsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT("ffmpeg");
        QVERIFY(frames::writeVideo(store.filePath("clip.avi"), 5));
    }

    void init()
    {
        fixture = std::make_unique<RecorderFixture>();
        VideoRecorder::UseFFMPEGOptimization = true;
        libraryQueue = VideoRecorder::ffmpegQueue;
        queue = std::make_unique<FFMpegQueue>(); // one of our own that ends with the test
        VideoRecorder::ffmpegQueue = queue.get();
    }

    void cleanup()
    {
        queue.reset();
        VideoRecorder::ffmpegQueue = libraryQueue;
        fixture.reset();
    }

    void facesAreSettled()
    {
        QCOMPARE(metaface::ofClass(VideoRecorderWidget::staticMetaObject),
            QStringList({"signal onSetVideoName(QString&)", "signal durationChanged(float)",
                "signal changedFrameRate(int)", "signal started(QString)", "signal stopped()", "slot start()",
                "slot stop(bool)", "slot stop() [cloned]", "slot setRecorder(VideoRecorder*)",
                "slot setFramerate(int)", "slot QString getPath()", "slot int getFrameRate()",
                "private slot recordStarted()", "private slot recordFinished(QString,int)",
                "private slot frameCountChanged(qulonglong)", "private slot rebuildUi()",
                "private slot setTime()"}));
        QCOMPARE(metaface::ofClass(VideoRecorderOptimizationProgressWidget::staticMetaObject), QStringList());
    }

    void stripWithoutARecorderDoesNothing()
    {
        Strip strip;
        QCOMPARE(strip.look(), "-start at rate");
        strip.start();
        strip.stop();
        QCOMPARE(strip.getPath(), QString());
        QCOMPARE(strip.told, QStringList());

        QCOMPARE(strip.startButton()->size(), QSize(24, 24));
        strip.startButton()->layout()->activate();
        QCOMPARE(strip.startButton()->findChild<VEllipse *>()->size(), QSize(16, 16));
        const auto *const square = strip.stopButton()->findChild<VRectangle *>();
        QCOMPARE(square->size(), QSize(14, 14));
        QCOMPARE(square->colorName(), "black");
        for (const QWidget *const control : {static_cast<QWidget *>(strip.startButton()),
                 static_cast<QWidget *>(strip.stopButton()), static_cast<QWidget *>(strip.spin())}) {
            QVERIFY(!control->toolTip().isEmpty() && !control->accessibleName().isEmpty());
            QVERIFY(control->focusPolicy() & Qt::TabFocus);
        }
        strip.showFrameRateSelector(false);
        QCOMPARE(strip.look(), "-start");
    }

    void rateIsLimitedAndComesFromTheUserOnce()
    {
        Strip strip;
        QCOMPARE(strip.getFrameRate(), 15);
        QCOMPARE(strip.spin()->text(), "15 Hz");
        strip.setFramerate(0);
        strip.setFramerate(100);
        QTest::keyClick(strip.spin(), Qt::Key_Down);
        strip.spin()->selectAll();
        QTest::keyClicks(strip.spin(), "25"); // 2 is no wish
        QTest::keyClick(strip.spin(), Qt::Key_Return);
        QCOMPARE(strip.told, QStringList({"1", "30", "29", "25"}));

        strip.setMaximumFrameRate(1000);
        strip.setFramerate(300);
        strip.setMaximumFrameRate(25);
        QCOMPARE(strip.told.mid(4), QStringList({"240", "25"}));

        QTranslator russian;
        QVERIFY(russian.load(":/translations/VTCV_ru_RU.qm"));
        QCoreApplication::installTranslator(&russian);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(strip.spin()->text(), "25 Гц");
        QCOMPARE(strip.startButton()->toolTip(), "Начать запись");
    }

    // The whole life of a recording by keyboard, through the real ffmpeg.
    void signalsAndStatesOfARecording()
    {
        VideoRecorder recorder(fixture->out("former.avi"), 24.0);
        Strip strip;
        strip.show();
        QVERIFY(QTest::qWaitForWindowActive(&strip));
        strip.nextName = fixture->out();
        strip.setRecorder(&recorder);
        strip.setRecorder(&recorder); // twice, and still each signal comes once
        QCOMPARE(strip.look(), idle);
        QCOMPARE(strip.getPath(), fixture->out("former.avi"));
        QCOMPARE(strip.time()->text(), " 00:00.000");
        QVERIFY(strip.time()->x() > strip.spin()->geometry().right());
        strip.setFramerate(30);
        QCOMPARE(recorder.getFrameRate(), 24.0);
        strip.told.clear();

        strip.startButton()->setFocus();
        QTest::keyClick(strip.startButton(), Qt::Key_Space);
        QCOMPARE(recorder.getFrameRate(), 30.0);
        const QString started = "started " + fixture->out();
        QCOMPARE(strip.told, QStringList(started));
        QCOMPARE(strip.look(), recording);
        QVERIFY(strip.stopButton()->hasFocus());
        recorder.setFrame(frames::numbered(1));
        QTRY_COMPARE(strip.told, QStringList({started, started}));
        QTRY_VERIFY(strip.duration > 0.2F);
        QCOMPARE(strip.time()->text().size(), QString(" 00:00.000").size());
        strip.showMilliseconds(false);
        QTRY_COMPARE(strip.time()->text(), " 00:00");
        QHelpEvent hover(QEvent::ToolTip, {}, {});
        QCoreApplication::sendEvent(strip.time(), &hover);
        QVERIFY(strip.time()->toolTip().contains("offered: 1,"));

        QTest::mouseClick(strip.stopButton(), Qt::LeftButton);
        QCOMPARE(strip.told, QStringList({started, started, "stopped"}));
        QCOMPARE(strip.look(), recording); // until the recorder is done
        QCOMPARE(strip.stopButton()->toolTip(), "The video is being prepared");
        QCOMPARE(strip.stopButton()->accessibleName(), strip.stopButton()->toolTip());
        strip.stop();
        QTRY_COMPARE_WITH_TIMEOUT(strip.told, QStringList({started, started, "stopped", "stopped"}), limitMs);
        QCOMPARE(strip.look(), idle);
        QVERIFY(strip.startButton()->hasFocus());
        QCOMPARE(strip.duration, 0.0F);
        QCOMPARE(strip.time()->text(), " 00:00");
        QVERIFY(!frames::numbersIn(fixture->out()).isEmpty());
    }

    void stripNeverStaysInItsRecordingLook_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<int>("stops"); // how often the strip tells of it
        QTest::newRow("before the first frame") << "early" << 1;
        QTest::newRow("before the first frame, by the application") << "early application" << 0;
        QTest::newRow("discarded") << "remove" << 2;
        QTest::newRow("job that starts nothing") << "nofile" << 2;
        QTest::newRow("by the application") << "application" << 1;
    }

    void stripNeverStaysInItsRecordingLook()
    {
        QFETCH(QString, ending);
        QFETCH(int, stops);
        VideoRecorder recorder;
        Strip strip;
        VideoRecorderOptimizationProgressWidget bar;
        strip.setRecorder(&recorder);
        strip.nextName = fixture->out();
        strip.start();
        if (!ending.contains("early")) {
            recorder.setFrame(frames::numbered(1));
            QTRY_VERIFY(recorder.getFrameCount() > 2);
        }
        QCOMPARE(strip.look(), recording);
        if (ending == "nofile")
            recorder.removeTempFile();
        if (ending.contains("application"))
            recorder.stopRecord();
        else
            strip.stop(ending == "remove");
        if (ending == "early")
            QCOMPARE(strip.look(), idle); // at once
        QTRY_COMPARE_WITH_TIMEOUT(strip.look(), idle, limitMs);
        QTRY_COMPARE(strip.told.count("stopped"), stops);
        QVERIFY(!recorder.isFinishPending());
        QTRY_VERIFY(bar.isHidden());
    }

    void rateIsTheRecordersWhereAskedFor()
    {
        VideoRecorder former(fixture->out(), 24.0);
        VideoRecorder ntsc(fixture->out(), 59.94);
        Strip strip;
        strip.setRecorder(&former);
        QCOMPARE(strip.getFrameRate(), 15);
        strip.setTakesRecorderRate(true);
        strip.setRecorder(&ntsc);
        QCOMPARE(strip.told, QStringList({"24", "60"}));
        strip.start();
        QCOMPARE(ntsc.getFrameRate(), 59.94);
        strip.stop();
        strip.setFramerate(50);
        strip.start();
        QCOMPARE(ntsc.getFrameRate(), 50.0);
    }

    void stripIsFreeWhileTheFormerVideoIsPrepared()
    {
        FakeFFMpeg ffmpeg("echo half > \"$out\"; await $(basename \"$2\")");
        VideoRecorder recorder;
        Strip strip;
        strip.setFreeWhilePreparing(true);
        strip.setRecorder(&recorder);
        QSignalSpy closings(&recorder, &VideoRecorder::recordPrepareToFinish);
        for (const char *name : {"a.avi", "b.avi"}) {
            strip.nextName = fixture->out(name);
            strip.start();
            QVERIFY(closings.isEmpty() || !recorder.isSavingFile()); // the former file is closed
            QCOMPARE(closings.count(), strip.nextName.endsWith("b.avi") ? 1 : 0);
            recorder.setFrame(frames::numbered(1));
            QTRY_VERIFY(recorder.getFrameCount() > 2);
            QCOMPARE(strip.look(), recording);
            QVERIFY(strip.time()->text() != " Preparing video");
            strip.stop();
            QCOMPARE(strip.look(), idle);
            QCOMPARE(strip.time()->text(), " Preparing video");
        }
        ffmpeg.letGo("a.avi");
        ffmpeg.letGo("b.avi");
        QTRY_COMPARE_WITH_TIMEOUT(strip.time()->text(), " 00:00.000", limitMs);
        QVERIFY(!recorder.isFinishPending());
        QVERIFY(QFile::exists(fixture->out("a.avi")) && QFile::exists(fixture->out("b.avi")));
    }

    void warningsAreShownByTextAndColor()
    {
        Strip strip;
        auto watch = std::make_unique<RecordingWatch>(nullptr);
        strip.setWatch(watch.get());
        QVERIFY(strip.warning()->isHidden());
        RecordingHealth health;
        health.warnings = QStringList{"Disk nearly full", "Encoder too slow"};
        Q_EMIT watch->healthChanged(health);
        QVERIFY(!strip.warning()->isHidden());
        QCOMPARE(strip.warning()->text(), "Disk nearly full");
        QCOMPARE(strip.warning()->accessibleName(), "Disk nearly full\nEncoder too slow");
        const QColor ground = strip.warning()->palette().color(QPalette::Window);
        health.isWriterFailing = true;
        Q_EMIT watch->healthChanged(health);
        QVERIFY(strip.warning()->palette().color(QPalette::Window) != ground);
        watch.reset();
        QVERIFY(strip.warning()->isHidden());
    }

    void cancelledJobsEndTheWaitOfRecordings()
    {
        FakeFFMpeg ffmpeg("echo half > \"$out\"; trap 'exit 255' TERM; await never");
        VideoRecorderOptimizationProgressWidget bar;
        VideoRecorder recorders[2];
        Strip strips[2];
        for (int i : {0, 1}) {
            strips[i].setRecorder(&recorders[i]);
            strips[i].nextName = fixture->out(i == 0 ? "a.avi" : "b.avi");
            strips[i].start();
            recorders[i].setFrame(frames::numbered(i));
            QTRY_VERIFY(recorders[i].getFrameCount() > 2);
            strips[i].stop();
            QTRY_VERIFY(!recorders[i].isSavingFile() && queue->jobsCount() == i);
            QTRY_VERIFY(!bar.isHidden());
        }
        QTRY_VERIFY(QFile::exists(fixture->out("a.avi")));
        QCOMPARE(strips[0].look() + strips[1].look(), recording + recording);
        QCOMPARE(queue->cancelAll(), 2);
        for (const Strip &strip : strips)
            QTRY_COMPARE_WITH_TIMEOUT(strip.look(), idle, limitMs);
        QTRY_VERIFY(bar.isHidden());
        QCOMPARE(fixture->tempEntries(), QStringList({"a.avi", "b.avi"}));
        QVERIFY(QDir(fixture->folder.path()).isEmpty());
        for (const char *name : {"a.avi", "b.avi"}) {
            QTRY_VERIFY(fixture->consoleHas(
                "The job was cancelled, the recording stays in " + fixture->inTemp(name)));
        }
    }

    void recorderMayBeReplacedOrDeleted()
    {
        auto former = std::make_unique<VideoRecorder>(fixture->out("former.avi"), 24.0);
        auto present = std::make_unique<VideoRecorder>(fixture->out("present.avi"), 24.0);
        VideoRecorder::UseFFMPEGOptimization = false;
        Strip strip;
        strip.setRecorder(former.get());
        strip.start();
        former->setFrame(frames::numbered(1));
        QTRY_COMPARE(strip.told.count(), 2);
        Q_EMIT former->recordFinished({}, 0); // a call that is under way
        strip.setRecorder(present.get());
        QCOMPARE(strip.look(), idle);
        QSignalSpy formerFinished(former.get(), &VideoRecorder::recordFinished);
        former->stopRecord();
        QTRY_COMPARE(formerFinished.count(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(strip.told.count(), 2);

        strip.start();
        present->setFrame(frames::numbered(1));
        QTRY_COMPARE(strip.told.count("started " + fixture->out("present.avi")), 1);
        QTRY_VERIFY(strip.duration > 0.0F);
        former.reset();
        QCOMPARE(strip.look(), recording);
        present.reset();
        QCOMPARE(strip.look(), "-start at rate");
        QCOMPARE(strip.duration, 0.0F);
        QCoreApplication::processEvents(); // what the recorder had sent off
        strip.stop();
        strip.start();
        QCOMPARE(strip.duration, 0.0F);
    }

    void startWaitsForTheFormerFinishAndStaysAlive()
    {
        VideoRecorder::UseFFMPEGOptimization = false;
        QSemaphore goOn;
        GlobalConsole::setSink([&](const QString &line, const QDateTime &) {
            if (line.startsWith("Record finished"))
                goOn.tryAcquire(1, limitMs); // on the worker, in the middle of its finish
        });
        VideoRecorder recorder;
        auto strip = std::make_unique<Strip>();
        strip->setRecorder(&recorder);
        for (bool stripDies : {false, true}) {
            const int starts = strip->told.count("started " + fixture->out());
            strip->nextName = fixture->out();
            QVERIFY(fixture->record(recorder, fixture->out()));
            strip->stop();
            QTRY_VERIFY(recorder.isSavingFile());
            QTimer::singleShot(250, this, [&] {
                strip->start(); // does nothing but return
                QVERIFY(recorder.isSavingFile());
                if (stripDies)
                    strip.reset();
                goOn.release();
            });
            strip->start();
            QVERIFY(!recorder.isSavingFile() || stripDies);
            QCOMPARE(recorder.getIsRecording(), !stripDies);
            if (!stripDies)
                QVERIFY(strip->told.count("started " + fixture->out()) > starts);
        }
        GlobalConsole::setSink({});
    }

    void barIsHiddenByTheLastEndOnly()
    {
        VideoRecorderOptimizationProgressWidget bar;
        QVERIFY(bar.isHidden() && bar.isTextVisible());
        QCOMPARE(bar.alignment(), Qt::Alignment(Qt::AlignCenter));
        const auto progressIs = [&](int frame, int count, int expected) {
            Q_EMIT queue->jobProgress(1, frame, count);
            QCoreApplication::processEvents();
            return bar.value() == expected;
        };
        Q_EMIT queue->jobStarted(2);
        QVERIFY(bar.isHidden()); // queued
        QCoreApplication::processEvents();
        QCOMPARE(bar.text(), "Подготовка видео (1/2): 0%");
        bar.setTranslated(true);
        QCOMPARE(bar.text(), "Preparing video (1/2): 0%");
        QVERIFY(progressIs(199, 200, 99) && progressIs(300, 200, 100) && progressIs(7, 0, 100));
        Q_EMIT queue->jobFinished(1);
        QCoreApplication::processEvents();
        QVERIFY(!bar.isHidden());
        Q_EMIT queue->jobFinished(0);
        QCoreApplication::processEvents();
        QVERIFY(bar.isHidden());
        Q_EMIT queue->jobStarted(1);
        QCoreApplication::processEvents();
        queue.reset(); // with the bar alive
        QVERIFY(bar.isHidden());
    }

    void contextMenuCancelsTheJobThatItWasOpenedFor()
    {
        FakeFFMpeg ffmpeg("echo half > \"$out\"; trap 'exit 255' TERM; await $(basename \"$2\")");
        QWidget window;
        auto *const bar = new VideoRecorderOptimizationProgressWidget;
        UIHelper::InsertToWidget(&window, new QLineEdit);
        UIHelper::InsertToWidget(&window, bar);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        const auto openMenu = [bar] {
            QContextMenuEvent key(QContextMenuEvent::Keyboard, bar->rect().center());
            QCoreApplication::sendEvent(bar, &key);
            return bar->findChild<QMenu *>();
        };
        QStringList seen;
        connect(queue.get(), &FFMpegQueue::jobStarted, bar, [&] { seen << bar->text(); });
        for (const char *name : {"a.avi", "b.avi", "c.avi"}) {
            QVERIFY(QFile::copy(store.filePath("clip.avi"), fixture->inTemp(name)));
            queue->addJob(Convert, fixture->inTemp(name), fixture->out(name), {});
        }
        queue->initAndStart();
        QTRY_VERIFY(QFile::exists(fixture->out("a.avi")) && !bar->isHidden());
        QTest::keyClick(&window, Qt::Key_Tab);
        QVERIFY(bar->hasFocus() && window.findChild<QFocusFrame *>()->isVisible());

        QPointer<QMenu> menu = openMenu();
        QVERIFY(menu && menu->actions().size() == 2);
        ffmpeg.letGo("a.avi"); // the user is still reading
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(fixture->out("b.avi")), limitMs);
        menu->actions().first()->trigger();
        menu->close();
        QTRY_VERIFY(!menu);
        ffmpeg.letGo("b.avi");
        QTRY_COMPARE_WITH_TIMEOUT(queue->jobsCount(), 0, limitMs);
        QTRY_VERIFY(QFile::exists(fixture->out("c.avi")));
        QVERIFY(!QFile::exists(fixture->inTemp("b.avi"))); // has ended by itself
        menu = openMenu();
        QTest::keyClick(menu, Qt::Key_Down);
        QTest::keyClick(menu, Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(bar->isHidden(), limitMs);
        QVERIFY(!QFile::exists(fixture->out("c.avi")) && QFile::exists(fixture->inTemp("c.avi")));
        QCOMPARE(seen,
            QStringList(
                {"Подготовка видео (1/3): 0%", "Подготовка видео (1/2): 0%", "Подготовка видео (1/1): 0%"}));
    }

private:
    QTemporaryDir store;
    std::unique_ptr<RecorderFixture> fixture;
    std::unique_ptr<FFMpegQueue> queue;
    FFMpegQueue *libraryQueue = nullptr;
};

QTEST_MAIN(RecorderWidgetsTest)

#include "tst_recorderwidgets.moc"
