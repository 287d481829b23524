#include "image/imagebridge.h"

#include <opencv2/imgcodecs.hpp>

#include <QtTest>

namespace {

// Every pixel another value, so that a wrong channel, row or step shows.
cv::Mat patterned(int rows, int cols, int type)
{
    cv::Mat mat(rows, cols, type);
    cv::RNG random(rows * 1000 + cols);
    random.fill(mat, cv::RNG::UNIFORM, 0, 256);
    return mat;
}

// An image whose rows are padded by more than Qt's own alignment.
QImage patterned(int width, int height, QImage::Format format)
{
    static QVector<uchar> buffer;
    const int bytesPerLine = width * 4 + 12;
    buffer.resize(bytesPerLine * height);
    for (int i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<uchar>(i * 31 + i / 97);
    return QImage(buffer.data(), width, height, bytesPerLine, format);
}

bool samePixels(const cv::Mat &a, const cv::Mat &b)
{
    return a.size() == b.size() && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0.0);
}

// The picture's bytes without the padding of its rows.
QByteArray bytesOf(const QImage &image)
{
    QByteArray bytes;
    for (int y = 0; y < image.height(); ++y)
        bytes.append(
            reinterpret_cast<const char *>(image.constScanLine(y)), image.width() * image.depth() / 8);
    return bytes;
}

QByteArray bytesOf(const cv::Mat &mat)
{
    QByteArray bytes;
    for (int y = 0; y < mat.rows; ++y)
        bytes.append(mat.ptr<char>(y), mat.cols * static_cast<int>(mat.elemSize()));
    return bytes;
}

QString inFolder(const QTemporaryDir &folder, const QString &name)
{
    return folder.filePath(name);
}

} // namespace

class ImageBridgeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageBecomesMat_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<int>("type"); // -1: refused
        QTest::addColumn<bool>("swapped");

        QTest::newRow("Indexed8") << QImage::Format_Indexed8 << CV_8UC1 << false;
        QTest::newRow("Grayscale8") << QImage::Format_Grayscale8 << CV_8UC1 << false;
        QTest::newRow("RGB32") << QImage::Format_RGB32 << CV_8UC4 << false;
        QTest::newRow("RGB888") << QImage::Format_RGB888 << CV_8UC3 << true;
        QTest::newRow("RGBA8888") << QImage::Format_RGBA8888 << CV_8UC4 << true;
        QTest::newRow("ARGB32") << QImage::Format_ARGB32 << -1 << false;
        QTest::newRow("ARGB32_Premultiplied") << QImage::Format_ARGB32_Premultiplied << -1 << false;
        QTest::newRow("RGBX8888") << QImage::Format_RGBX8888 << -1 << false;
        QTest::newRow("Invalid") << QImage::Format_Invalid << -1 << false;
    }

    void imageBecomesMat()
    {
        QFETCH(QImage::Format, format);
        QFETCH(int, type);
        QFETCH(bool, swapped);
        const QImage image = format == QImage::Format_Invalid ? QImage() : patterned(37, 5, format);

        for (const bool clone : {true, false}) {
            if (type < 0)
                QTest::ignoreMessage(QtWarningMsg,
                    QByteArray("CNV::QImageToCvMat() - QImage format not handled in switch: QImage::Format_")
                        + QTest::currentDataTag());
            else if (swapped && !clone)
                QTest::ignoreMessage(QtWarningMsg,
                    "CNV::QImageToCvMat() - Conversion requires cloning since we use a temporary QImage");

            const cv::Mat mat = QImageToCvMat(image, clone);
            if (type < 0) {
                QVERIFY(mat.empty());
                continue;
            }
            QCOMPARE(mat.type(), type);
            QCOMPARE(QSize(mat.cols, mat.rows), image.size());
            QCOMPARE(bytesOf(mat), bytesOf(swapped ? image.rgbSwapped() : image));
            if (clone || swapped) {
                QVERIFY(mat.isContinuous());
                QVERIFY(mat.data != image.constBits());
            } else {
                QVERIFY(mat.data == image.constBits());
                QCOMPARE(int(mat.step[0]), image.bytesPerLine());
            }
        }
    }

    void matBecomesImage_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("swapChannels");
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<bool>("wraps");

        QTest::newRow("grey") << CV_8UC1 << false << QImage::Format_Grayscale8 << true;
        QTest::newRow("grey, swapped") << CV_8UC1 << true << QImage::Format_Grayscale8 << true;
        QTest::newRow("colour") << CV_8UC3 << false << QImage::Format_RGB888 << false;
        QTest::newRow("colour, swapped") << CV_8UC3 << true << QImage::Format_RGB888 << false;
        QTest::newRow("four channels") << CV_8UC4 << false << QImage::Format_RGB32 << true;
        QTest::newRow("four channels, swapped") << CV_8UC4 << true << QImage::Format_RGBA8888 << false;
    }

    void matBecomesImage()
    {
        QFETCH(int, type);
        QFETCH(bool, swapChannels);
        QFETCH(QImage::Format, format);
        QFETCH(bool, wraps);

        cv::Mat whole = patterned(20, 50, type);
        const cv::Mat parts[] = {whole, whole(cv::Rect(3, 2, 37, 11)), whole(cv::Rect(1, 4, 1, 1))};
        for (const cv::Mat &mat : parts) {
            const QImage image = cvMatToQImage(mat, swapChannels);
            QCOMPARE(image.format(), format);
            QCOMPARE(image.size(), QSize(mat.cols, mat.rows));
            const QImage plain(mat.data, mat.cols, mat.rows, int(mat.step[0]), format);
            QCOMPARE(bytesOf(image), bytesOf(wraps ? plain : plain.rgbSwapped()));

            const QByteArray before = bytesOf(image);
            mat.data[0] ^= 0xff;
            QCOMPARE(bytesOf(image) != before, wraps);
        }
    }

    void colourFrameSurvivesTheRoundTrip()
    {
        for (const int cols : {1, 2, 3, 64, 641}) {
            const cv::Mat frame = patterned(7, cols, CV_8UC3);
            QVERIFY(samePixels(QImageToCvMat(cvMatToQImage(frame, false), true), frame));
        }
    }

    void emptyAndForeignMatsGiveNoPicture()
    {
        QVERIFY(cvMatToQImage(cv::Mat(), false).isNull());
        QVERIFY(cvMatToQPixmap(cv::Mat()).isNull());
        QTest::ignoreMessage(
            QtWarningMsg, "CNV::cvMatToQImage() - cv::Mat image type not handled in switch: 2");
        QVERIFY(cvMatToQImage(cv::Mat(3, 3, CV_16UC1), false).isNull());
        const int cube[] = {2, 2, 2};
        QVERIFY(cvMatToQImage(cv::Mat(3, cube, CV_8UC3), false).isNull());
    }

    void pixmapOutlivesItsFrame_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("grey") << CV_8UC1;
        QTest::newRow("colour") << CV_8UC3;
        QTest::newRow("four channels") << CV_8UC4;
    }

    void pixmapOutlivesItsFrame()
    {
        QFETCH(int, type);
        cv::Mat frame = patterned(8, 9, type);
        const QImage expected = cvMatToQImage(frame, false).copy();
        const QPixmap pixmap = cvMatToQPixmap(frame);
        frame.setTo(0);
        frame.release();
        QCOMPARE(pixmap.toImage().format(), expected.format());
        QCOMPARE(bytesOf(pixmap.toImage()), bytesOf(expected));
    }

    void pixmapBecomesMat()
    {
        const QImage image = patterned(37, 5, QImage::Format_RGB32).copy();
        QPixmap pixmap = QPixmap::fromImage(image, Qt::NoFormatConversion);
        QVERIFY(samePixels(QPixmapToCvMat(pixmap, true), QImageToCvMat(image, true)));

        const cv::Mat wrapped = QPixmapToCvMat(pixmap, false);
        QVERIFY(wrapped.data == static_cast<const QPixmap &>(pixmap).toImage().constBits());

        // Qt hands out a copy while somebody paints. A matrix that wrapped it would point at freed memory.
        const QPainter painter(&pixmap);
        const cv::Mat copied = QPixmapToCvMat(pixmap, false);
        QVERIFY(copied.u != nullptr);
        QVERIFY(samePixels(copied, QImageToCvMat(image, true)));
    }

    void coloursBecomeScalars()
    {
        QCOMPARE(QColorToCVScalar(QColor(1, 2, 3, 4)), cv::Scalar(3, 2, 1, 0));
        QCOMPARE(cvScalarFromHex(QStringLiteral("#102030")), cv::Scalar(48, 32, 16, 0));
        QCOMPARE(cvScalarFromHex(QStringLiteral("red")), cv::Scalar(0, 0, 255, 0));
        QCOMPARE(cvScalarFromHex(QStringLiteral("nonsense")), cv::Scalar(0, 0, 0, 0));
    }

    void imgreadGivesColourWhateverTheFileHolds_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("grey") << CV_8UC1;
        QTest::newRow("colour") << CV_8UC3;
        QTest::newRow("alpha") << CV_8UC4;
        QTest::newRow("16 bits") << CV_16UC3;
    }

    void imgreadGivesColourWhateverTheFileHolds()
    {
        QFETCH(int, type);
        QTemporaryDir folder;
        const QString path = inFolder(folder, QStringLiteral("Bühne \u7b2c\u4e09 \U0001F4F7.png"));
        const cv::Mat picture = patterned(6, 7, type);
        std::vector<uchar> encoded;
        QVERIFY(cv::imencode(".png", picture, encoded));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(reinterpret_cast<const char *>(encoded.data()), qint64(encoded.size()));
        file.close();

        const cv::Mat read = imgread(path);
        QCOMPARE(read.type(), CV_8UC3);
        QCOMPARE(read.size(), picture.size());
        if (type == CV_8UC3)
            QVERIFY(samePixels(read, picture));
    }

    void imgreadGivesNothingForWhatIsNoPicture()
    {
        QTemporaryDir folder;
        QVERIFY(imgread(inFolder(folder, QStringLiteral("missing.png"))).empty());
        QVERIFY(imgread(folder.path()).empty());
        for (const QByteArray &content :
            {QByteArray(), QByteArray(5000, 'x'), QByteArray("\x89PNG\r\n\x1a\n")}) {
            QFile file(inFolder(folder, QStringLiteral("broken.png")));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
            file.close();
            QVERIFY(imgread(file.fileName()).empty());
        }
    }

    void rot90TurnsClockwise_data()
    {
        QTest::addColumn<int>("rotation");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("corner"); // where the pixel goes that stood top left
        QTest::addColumn<QPoint>(
            "neighbour"); // and its right neighbour, which tells a turn from a mirror image
        QTest::newRow("-1") << -1 << QSize(5, 3) << QPoint(0, 0) << QPoint(1, 0);
        QTest::newRow("0") << 0 << QSize(5, 3) << QPoint(0, 0) << QPoint(1, 0);
        QTest::newRow("1") << 1 << QSize(3, 5) << QPoint(2, 0) << QPoint(2, 1);
        QTest::newRow("2") << 2 << QSize(5, 3) << QPoint(4, 2) << QPoint(3, 2);
        QTest::newRow("3") << 3 << QSize(3, 5) << QPoint(0, 4) << QPoint(0, 3);
        QTest::newRow("4") << 4 << QSize(5, 3) << QPoint(0, 0) << QPoint(1, 0);
    }

    void rot90TurnsClockwise()
    {
        QFETCH(int, rotation);
        QFETCH(QSize, size);
        QFETCH(QPoint, corner);
        QFETCH(QPoint, neighbour);
        cv::Mat mat(3, 5, CV_8UC3, cv::Scalar(0, 0, 0));
        mat.at<cv::Vec3b>(0, 0) = {1, 2, 3};
        mat.at<cv::Vec3b>(0, 1) = {4, 5, 6};
        rot90(mat, rotation);
        QCOMPARE(QSize(mat.cols, mat.rows), size);
        QCOMPARE(mat.at<cv::Vec3b>(corner.y(), corner.x()), cv::Vec3b(1, 2, 3));
        QCOMPARE(mat.at<cv::Vec3b>(neighbour.y(), neighbour.x()), cv::Vec3b(4, 5, 6));
    }

    void frameSizesAreJudgedByBothEnds()
    {
        const uchar pixel = 0;
        const auto sized = [&](int rows, int cols) {
            return cv::Mat(rows, cols, CV_8UC1, const_cast<uchar *>(&pixel)); // a header; never read
        };
        QVERIFY(!VTMath::matIsValid(cv::Mat()));
        QVERIFY(VTMath::matIsValid(sized(1, 1)));
        QVERIFY(VTMath::matIsValid(sized(9999, 9999)));
        QVERIFY(!VTMath::matIsValid(sized(10000, 1)));
        QVERIFY(!VTMath::matIsValid(sized(1, 10000)));
    }

    void textsBecomeUtf8()
    {
        QCOMPARE(toOpenCvString(QStringLiteral("ä\u4e09")), std::string("\xc3\xa4\xe4\xb8\x89"));
    }

    void cascadeIsTakenFromTheResourcesWhenMissing()
    {
        QTemporaryDir folder;
        const auto expect = [](const QString &line) { QTest::ignoreMessage(QtDebugMsg, qPrintable(line)); };
        const auto ask = [&](const QString &path, bool inResources, bool copied) {
            const QString resource = QStringLiteral(":/resources/") + QFileInfo(path).fileName();
            expect(QStringLiteral("Asking for cascade \"%1\"").arg(path));
            expect(QStringLiteral("Looking for ' \"%1\" ' in resources  \"%2\"").arg(path, resource));
            if (inResources)
                expect(QStringLiteral("Found ' \"%1\" ' in resources!").arg(path));
            expect(QStringLiteral("Cascade exists? %1").arg(copied ? "true" : "false"));
            return CheckLoadCascade(path);
        };

        QVERIFY(!ask(inFolder(folder, QStringLiteral("unknown.xml")), false, false));
        QVERIFY(!ask(inFolder(folder, QStringLiteral("no folder/cascade.xml")), true, false));
        const QString path = inFolder(folder, QStringLiteral("cascade.xml"));
        QVERIFY(ask(path, true, true));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("opencv_storage"));

        expect(QStringLiteral("Asking for cascade \"%1\"").arg(path));
        expect(QStringLiteral("Cascade already exists \"%1\"").arg(path));
        QVERIFY(CheckLoadCascade(path));
    }

    void typesArePrintedByDepthAndChannels()
    {
        static QStringList lines;
        lines.clear();
        const QtMessageHandler former = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &text) { lines << text; });
        printTypes();
        qInstallMessageHandler(former);
        QCOMPARE(lines.size(), 28);
        QCOMPARE(lines.first(), QStringLiteral("CV_8UC4  24"));
        QCOMPARE(lines.at(13), QStringLiteral("CV_16SC3  19"));
        QCOMPARE(lines.last(), QStringLiteral("CV_64FC1  6"));
    }
};

QTEST_MAIN(ImageBridgeTest)

#include "tst_imagebridge.moc"
