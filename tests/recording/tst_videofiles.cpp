#include "recording/videorecorder.h"
#include "support/frames.h"
#include "support/table.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

Q_DECLARE_METATYPE(std::vector<VideoInterval>)

// The static functions that make, cut and join files without a running recorder.
class VideoFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        input = folder->filePath("in.avi");
        output = folder->filePath("out.avi");
    }

    void prepareFrameFitsTypeAndSize_data()
    {
        const Table<int, QSize, bool> row;
        row("colour of the right size", CV_8UC3, QSize(64, 48), true);
        row("grey", CV_8UC1, QSize(64, 48), true);
        row("with alpha, scaled", CV_8UC4, QSize(32, 100), true);
        row("width 0", CV_8UC3, QSize(0, 48), false);
        row("invalid size", CV_8UC3, QSize(), false);
    }

    void prepareFrameFitsTypeAndSize()
    {
        const auto &[type, size, accepted] = Table<int, QSize, bool>::fetch();
        cv::Mat frame(48, 64, type, cv::Scalar(10, 20, 30, 40));
        const cv::Mat before = frame;
        QCOMPARE(VideoRecorder::prepareFrame(frame, {size.width(), size.height()}), accepted);
        if (!accepted || (type == CV_8UC3 && size == QSize(64, 48))) {
            QCOMPARE(frame.data, before.data); // untouched
            return;
        }
        QCOMPARE(frame.type(), CV_8UC3);
        QCOMPARE(QSize(frame.cols, frame.rows), size);
        const cv::Vec3b expected = type == CV_8UC1 ? cv::Vec3b(10, 10, 10) : cv::Vec3b(10, 20, 30);
        QCOMPARE(frame.at<cv::Vec3b>(0, 0), expected);
        cv::Mat empty;
        QVERIFY(!VideoRecorder::prepareFrame(empty, {64, 48}));
        cv::Mat step = (cv::Mat_<uchar>(1, 2) << 0, 200);
        QVERIFY(VideoRecorder::prepareFrame(step, {8, 1}));
        const uchar between = step.at<cv::Vec3b>(0, 4)[0]; // scaled smoothly
        QVERIFY(between > 20 && between < 180);
    }

    void cutKeepsTheNamedFramesInTheirOrder_data()
    {
        const Table<std::vector<VideoInterval>, int, QVector<int>> row;
        using Intervals = std::vector<VideoInterval>;
        row("none", Intervals{}, 0, QVector<int>{});
        row("one frame", Intervals{{3, 3}}, 1, QVector<int>{3});
        row("backwards", Intervals{{10, 5}}, 0, QVector<int>{});
        row("reaches the end", Intervals{{18, 19}}, 1, QVector<int>{18, 19});
        row("reaches beyond", Intervals{{18, 20}}, 0, QVector<int>{});
        row("overlapping, out of order, one bad", Intervals{{7, 8}, {0xFFFFFFFF, 0xFFFFFFFF}, {2, 4}, {3, 3}},
            3, QVector<int>{7, 8, 2, 3, 4, 3});
    }

    void cutKeepsTheNamedFramesInTheirOrder()
    {
        const auto &[intervals, counted, kept] =
            Table<std::vector<VideoInterval>, int, QVector<int>>::fetch();
        QVERIFY(frames::writeVideo(input, 20, 15.0));
        QCOMPARE(int(VideoRecorder::cutVideo(input, output, intervals)), counted);
        QCOMPARE(frames::numbersIn(output), kept);
        QCOMPARE(frames::numbersIn(input).size(), 20);
    }

    void cutRefusesWhatItCannotReadOrWrite()
    {
        QCOMPARE(int(VideoRecorder::cutVideo(folder->filePath("none.avi"), output, {{0, 0}})), 0);
        QVERIFY(frames::writeVideo(input, 5));
        QCOMPARE(int(VideoRecorder::cutVideo(input, folder->filePath("no/out.avi"), {{0, 0}})), 0);
        QCOMPARE(int(VideoRecorder::cutVideo(input, input, {{0, 0}})), 0);
        QCOMPARE(frames::numbersIn(input).size(), 5); // not overwritten by itself
    }

    void joinNeedsEqualSizeAndRate()
    {
        const QString second = folder->filePath("second.avi");
        QVERIFY(frames::writeVideo(input, 3, 15.0));
        QVERIFY(frames::writeVideo(second, 4, 15.0, {320, 240}, 100));
        QVERIFY(VideoRecorder::joinVideo(input, second, output));
        QCOMPARE(frames::numbersIn(output), (QVector<int>{0, 1, 2, 100, 101, 102, 103}));
        QFile::remove(output);

        QVERIFY(frames::writeVideo(second, 4, 30.0));
        QVERIFY(!VideoRecorder::joinVideo(input, second, output));
        QVERIFY(frames::writeVideo(second, 4, 15.0, {320, 200}));
        QVERIFY(!VideoRecorder::joinVideo(input, second, output));
        QVERIFY(!QFile::exists(output));
        QVERIFY(!VideoRecorder::joinVideo(input, second, input));
    }

    void imageListsBecomeVideos()
    {
        QList<cv::Mat> list{frames::numbered(4), cv::Mat(), frames::numbered(6, {640, 480})};
        const cv::Mat grey(240, 320, CV_8UC1, cv::Scalar(0));
        list << grey;
        QVERIFY(!VideoRecorder::createVideoFromImages(output, list, 0.0, QSize(320, 240)));
        QVERIFY(VideoRecorder::createVideoFromImages(output, list, 10.0, QSize(0, 0)));
        QCOMPARE(frames::numbersIn(output), (QVector<int>{4, 6, -1}));
        QCOMPARE(list[2].cols, 640); // the caller's frames stay
        QCOMPARE(list[3].channels(), 1);

        QStringList files;
        for (int i = 0; i < 3; ++i)
            files << folder->filePath(QString("%1.png").arg(i));
        QFile bad(files[0]);
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write("no picture");
        bad.close();
        QVERIFY(!VideoRecorder::createVideoFromImages(output, files, 10.0, QSize()));
        cv::Mat rgb;
        cv::cvtColor(frames::numbered(9), rgb, cv::COLOR_BGR2RGB);
        QVERIFY(QImage(rgb.data, rgb.cols, rgb.rows, int(rgb.step), QImage::Format_RGB888).save(files[2]));
        QVERIFY(VideoRecorder::createVideoFromImages(output, files, 10.0, QSize()));
        QCOMPARE(frames::numbersIn(output), (QVector<int>{9}));
    }

private:
    std::unique_ptr<QTemporaryDir> folder;
    QString input;
    QString output;
};

QTEST_GUILESS_MAIN(VideoFilesTest)
#include "tst_videofiles.moc"
