#include "cameras/cameracalibration_p.h"
#include "cameras/frameundistorter.h"
#include "cameras/webcamera.h"
#include "cameras/webcamerasettings_p.h"
#include "support/virtualcameras.h"

#include <QtTest>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

#include <thread>

namespace {

constexpr float untouched = -77.0f;

QString document(const QString &distortion, const QString &matrix)
{
    return QStringLiteral("<?xml version=\"1.0\"?><IntrinsicCameraParameters><DistortionCoeffs>%1"
                          "</DistortionCoeffs><CameraMatrix a=\"b\">%2</CameraMatrix><More/>"
                          "</IntrinsicCameraParameters>")
        .arg(distortion, matrix);
}

QVector<float> values(const cv::Mat &mat)
{
    return QVector<float>(mat.begin<float>(), mat.end<float>());
}

const cv::Mat lens = (cv::Mat_<float>(3, 3) << 200, 0, 160, 0, 200, 120, 0, 0, 1);
const cv::Mat bend = (cv::Mat_<float>(4, 1) << -0.3, 0.1, 0, 0);

} // namespace

class CameraCalibrationTest : public QObject
{
    Q_OBJECT

private:
    QString write(const QByteArray &content)
    {
        QFile file(dir.filePath(QStringLiteral("calibration %1.xml").arg(++files)));
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName()
                                                                                        : QString();
    }

    static bool read(const QString &path, QVector<float> *distortion, QVector<float> *matrix)
    {
        cv::Mat four(4, 1, CV_32F, cv::Scalar(untouched));
        cv::Mat nine(3, 3, CV_32F, cv::Scalar(untouched));
        const bool ok = CameraCalibration::read(path, &four, &nine);
        *distortion = values(four);
        *matrix = values(nine);
        return ok;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        qputenv("HOME", QFile::encodeName(dir.path()));
    }

    void valuesOfAFile_data()
    {
        QTest::addColumn<QString>("content");
        QTest::addColumn<QVector<float>>("distortion");
        QTest::addColumn<QVector<float>>("matrix"); // row by row
        const float u = untouched;
        const QVector<float> four(4, u);
        const QVector<float> nine(9, u);
        const auto row = [&](const char *name, const QString &content, const QVector<float> &distortion,
                             const QVector<float> &matrix) {
            QTest::newRow(name) << content << distortion << matrix;
        };
        row("plain", document("0.1;-0.25;0;1e-3", "1;2;3;4;5;6;7;8;9"), {0.1f, -0.25f, 0, 1e-3f},
            {1, 4, 7, 2, 5, 8, 3, 6, 9});
        row("commas, blanks and empty parts", document(" 0,1 ; -0.25;;1e-3 ;", "1,5;\n 1.5\t;"),
            {0.1f, -0.25f, 1e-3f, u}, {1.5f, u, u, 1.5f, u, u, u, u, u});
        row("not numbers", document("a;1;2 3;0x4;1.5.2;1e99;;5", ";b;7"), {1, 5, u, u},
            {7, u, u, u, u, u, u, u, u});
        row("too many", document("1;2;3;4;5;6", "1;2;3;4;5;6;7;8;9;10;11"), {1, 2, 3, 4},
            {1, 4, 7, 2, 5, 8, 3, 6, 9});
        row("comments and CDATA", document("1<!-- ; 9 -->;<![CDATA[2;3]]>", "4"), {1, 2, 3, u},
            {4, u, u, u, u, u, u, u, u});
        row("one text only",
            "<IntrinsicCameraParameters><DistortionCoeffs>1</DistortionCoeffs>"
            "</IntrinsicCameraParameters>",
            {1, u, u, u}, nine);
        row("another first child",
            "<IntrinsicCameraParameters><Other>1</Other><DistortionCoeffs>1</DistortionCoeffs>"
            "</IntrinsicCameraParameters>",
            four, nine);
        row("another document", "<Parameters><DistortionCoeffs>1</DistortionCoeffs></Parameters>", four,
            nine);
        row("cut short", document("1;2", "3;4").left(115), {1, 2, u, u}, {3, u, u, 4, u, u, u, u, u});
        row("empty", {}, four, nine);
        row("no XML", QString(5000, 'x'), four, nine);
        row("document type", "<!DOCTYPE IntrinsicCameraParameters>" + document("1", "2").mid(21),
            {1, u, u, u}, {2, u, u, u, u, u, u, u, u});
    }

    void valuesOfAFile()
    {
        QFETCH(QString, content);
        QFETCH(QVector<float>, distortion);
        QFETCH(QVector<float>, matrix);
        QVector<float> readDistortion;
        QVector<float> readMatrix;
        QVERIFY(read(write(content.toUtf8()), &readDistortion, &readMatrix));
        QCOMPARE(readDistortion, distortion);
        QCOMPARE(readMatrix, matrix);
    }

    void whatCannotBeOpened()
    {
        QVector<float> distortion;
        QVector<float> matrix;
        QVERIFY(read(dir.filePath("missing"), &distortion, &matrix));
        QCOMPARE(distortion, QVector<float>(4, untouched));
        QVERIFY(!read(dir.path(), &distortion, &matrix));
#ifdef Q_OS_UNIX
        // Nobody will ever write to it.
        const QString pipe = dir.filePath("pipe");
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(!read(pipe, &distortion, &matrix));
        QVERIFY(!read("/dev/zero", &distortion, &matrix));
#endif
    }

    // Each would take a naive reader hours or gigabytes.
    void hostileFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<qint64>("size"); // the file is stretched to it
        const QByteArray start = "<IntrinsicCameraParameters><DistortionCoeffs>";
        QByteArray entities = "<!DOCTYPE a [<!ENTITY e0 \"1;1;1;1;1;1;1;1;1;1;\">";
        for (int i = 1; i < 12; ++i)
            entities += "<!ENTITY e" + QByteArray::number(i) + " \""
                + QByteArray("&e" + QByteArray::number(i - 1) + ";").repeated(10) + "\">";
        QByteArray attributes = "<IntrinsicCameraParameters ";
        for (int i = 0; i < 1'000'000; ++i)
            attributes += 'a' + QByteArray::number(i, 36) + "='' ";
        const qint64 gigabyte = 1 << 30;
        QTest::newRow("a gigabyte of nothing") << start << gigabyte;
        QTest::newRow("a gigabyte after the values") << document("1;2", "3").toUtf8() << gigabyte;
        QTest::newRow("a long list") << start + QByteArray("1x;").repeated(10'000'000) << qint64(0);
        QTest::newRow("nesting") << QByteArray("<a>").repeated(10'000'000) << qint64(0);
        QTest::newRow("entities") << entities + "]>" + start + "&e11;" << qint64(0);
        QTest::newRow("attributes") << attributes + "/>" << qint64(0);
    }

    void hostileFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(qint64, size);
        const QString path = write(content);
        if (size > 0)
            QVERIFY(QFile::resize(path, size)); // sparse
        QVector<float> distortion;
        QVector<float> matrix;
        QElapsedTimer timer;
        timer.start();
        QVERIFY(read(path, &distortion, &matrix));
        QVERIFY(timer.elapsed() < 20'000);
        const bool plain = content == document("1;2", "3").toUtf8();
        QCOMPARE(distortion.first(), plain ? 1.0f : untouched);
        QFile::remove(path);
    }

    void cameraReadsTheFileWhenTheSettingChanges()
    {
        virtualcameras::setDevices({{"Calibrated"}});
        const QCameraInfo info = QCameraInfo::availableCameras().first();
        WebCamera camera(info, nullptr);
        QVERIFY(camera.getCameraMatrix().empty() && camera.getDistortionCoeffs().empty());
        auto *const settings = qobject_cast<WebCameraSettings *>(camera.getSettings());

        const QString good = write(document("1;2;3;4", "1;2;3;4;5;6;7;8;9").toUtf8());
        settings->setCalibrationFile(good);
        cv::Mat matrix = camera.getCameraMatrix();
        QCOMPARE(values(matrix), QVector<float>({1, 4, 7, 2, 5, 8, 3, 6, 9}));
        QCOMPARE(values(camera.getDistortionCoeffs()), QVector<float>({1, 2, 3, 4}));
        QVERIFY(camera.getDistortionCoeffs().size() == cv::Size(1, 4));
        matrix.setTo(0.0f); // a host's own
        QCOMPARE(camera.getCameraMatrix().at<float>(0, 0), 1.0f);

        // What cannot be read leaves the former values, what holds none gives zeros.
        settings->setCalibrationFile(dir.filePath("missing"));
        settings->setCalibrationFile(dir.path());
        QCOMPARE(camera.getCameraMatrix().at<float>(0, 0), 1.0f);
        settings->setCalibrationFile(write("nothing"));
        QCOMPARE(values(camera.getCameraMatrix()), QVector<float>(9, 0.0f));

        settings->setCalibrationFile(good);
        QVERIFY(WebCamera(info, nullptr).getCameraMatrix().empty()); // not read at the start
    }

    void calibrationMayBeFetchedWhileItIsReplaced()
    {
        virtualcameras::setDevices({{"Recalibrated"}});
        WebCamera camera(QCameraInfo::availableCameras().first(), nullptr);
        auto *const settings = qobject_cast<WebCameraSettings *>(camera.getSettings());
        const QString paths[] = {write(document("1;1;1;1", "1;1;1;1;1;1;1;1;1").toUtf8()),
            write(document("2;2;2;2", "2;2;2;2;2;2;2;2;2").toUtf8())};
        settings->setCalibrationFile(paths[0]);
        std::atomic<bool> ended{false};
        bool whole = true;
        std::thread reader([&] {
            while (!ended) {
                const QVector<float> seen = values(camera.getCameraMatrix());
                whole = whole && (seen == QVector<float>(9, 1.0f) || seen == QVector<float>(9, 2.0f));
            }
        });
        for (int i = 1; i < 100; ++i)
            settings->setCalibrationFile(paths[i % 2]);
        ended = true;
        reader.join();
        QVERIFY(whole);
    }

    void undistortedLinesAreStraight()
    {
        // Where a lens of this kind shows the points of a straight line, 50 pixels above the middle.
        cv::Mat bent(240, 320, CV_8UC1, cv::Scalar(0));
        const double k1 = -0.3;
        const double k2 = 0.1;
        for (double x = -0.9; x < 0.9; x += 0.001) {
            const double y = -50.0 / 200.0;
            const double r2 = x * x + y * y;
            const double factor = 1 + k1 * r2 + k2 * r2 * r2;
            cv::circle(bent, cv::Point2d(160 + 200 * x * factor, 120 + 200 * y * factor), 2, 255, -1);
        }
        const FrameUndistorter undistorter(lens, bend);
        QVERIFY(undistorter.isValid());
        const cv::Mat straight = undistorter.undistort(bent);
        QVERIFY(bent.at<uchar>(70, 20) < 100); // the line is bent before
        for (int x = 20; x < 300; ++x)
            QVERIFY(straight.at<uchar>(70, x) > 200);
        QVERIFY(straight.at<uchar>(80, 20) < 100);

        // Sizes come and go, on several threads at once.
        std::vector<std::thread> threads;
        std::atomic<int> wrong{0};
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&, i] {
                for (int size = 0; size < 12; ++size) {
                    const cv::Mat frame(100 + (size + i) % 6, 90, CV_8UC3, cv::Scalar(1, 2, 3));
                    wrong += undistorter.undistort(frame).size() != frame.size();
                }
                wrong += cv::norm(undistorter.undistort(bent), straight, cv::NORM_INF) != 0.0;
            });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
    }

    void impossibleCalibrationLeavesTheFrame_data()
    {
        QTest::addColumn<cv::Mat>("matrix");
        QTest::addColumn<cv::Mat>("distortion");
        QTest::newRow("none") << cv::Mat() << cv::Mat();
        QTest::newRow("zeros") << cv::Mat(cv::Mat::zeros(3, 3, CV_32F)) << bend;
        QTest::newRow("not a number") << cv::Mat(lens * std::nan("")) << bend;
        QTest::newRow("three coefficients") << lens << cv::Mat(bend.rowRange(0, 3));
        QTest::newRow("no matrix") << bend << bend;
    }

    void impossibleCalibrationLeavesTheFrame()
    {
        QFETCH(cv::Mat, matrix);
        QFETCH(cv::Mat, distortion);
        const FrameUndistorter undistorter(matrix, distortion);
        QVERIFY(!undistorter.isValid());
        const cv::Mat frame(4, 4, CV_8UC3);
        QVERIFY(undistorter.undistort(frame).data == frame.data);
        QVERIFY(FrameUndistorter(lens, bend).undistort(cv::Mat()).empty());
    }

private:
    QTemporaryDir dir;
    int files = 0;
};

QTEST_MAIN(CameraCalibrationTest)

#include "tst_cameracalibration.moc"
