#include "support/frames.h"
#include "video/videofilewriter.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <cmath>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

Q_DECLARE_METATYPE(cv::Size)
Q_DECLARE_METATYPE(VideoFileWriter::Codec)

namespace {

const cv::Size size(160, 120);

using Codec = VideoFileWriter::Codec;
using Timing = VideoFileWriter::Timing;

// Edges, gradients and grain.
cv::Mat picture(cv::Size size, int number)
{
    cv::Mat picture(size, CV_8UC3);
    for (int y = 0; y < size.height; ++y)
        picture.row(y).setTo(cv::Scalar(y * 255 / size.height, 128, 255 - y * 255 / size.height));
    for (int i = 0; i < 20; ++i)
        cv::circle(picture, {(i * 211 + number * 16) % size.width, (i * 97) % size.height}, 10 + i,
            cv::Scalar(i * 12, 255 - i * 9, i * 5), -1);
    cv::Mat grain(size, CV_8UC3);
    cv::RNG(number + 1).fill(grain, cv::RNG::NORMAL, 8, 5);
    return picture + grain;
}

cv::Mat grey(const cv::Mat &frame)
{
    cv::Mat grey;
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    return grey;
}

QVector<int> numbersInCopyOf(const QString &path)
{
    const QString copy = path + QStringLiteral(".copy.") + QFileInfo(path).suffix();
    QFile::remove(copy);
    return QFile::copy(path, copy) ? frames::numbersIn(copy) : QVector<int>();
}

#ifdef Q_OS_UNIX
// As on a full disk, a file cannot grow beyond this.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_former);
        rlimit limit = m_former;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_former);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    void (*m_handler)(int);
    rlimit m_former = {};
};
#endif

void containers()
{
    QTest::addColumn<QString>("suffix");
    for (const char *suffix : {"avi", "mkv", "mov", "mp4", "wmv"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix);
}

} // namespace

class VideoFileWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(folder.isValid()); }

    void framesAndRateAreReadBack_data();
    void framesAndRateAreReadBack();
    void looksAsFromCreateWriter_data();
    void looksAsFromCreateWriter();
    void timesAreReadBack_data() { containers(); }
    void timesAreReadBack();
    void framesSurviveACrash_data() { containers(); }
    void framesSurviveACrash();
    void fullDiskIsTold_data() { containers(); }
    void fullDiskIsTold();
    void whatCannotBeWrittenIsRefused();
    void typesOfFrames();
    void fragmentsBecomeAnOrdinaryFile_data();
    void fragmentsBecomeAnOrdinaryFile();

private:
    QString path(const QString &suffix) const { return folder.filePath(QStringLiteral("take.") + suffix); }

    QTemporaryDir folder;
};

void VideoFileWriterTest::framesAndRateAreReadBack_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<Codec>("codec");
    QTest::addColumn<double>("rate");
    for (const char *suffix : {"avi", "mkv", "mov", "mp4", "wmv"}) {
        // .wmv counts whole milliseconds.
        const QVector<double> rates = qstrcmp(suffix, "wmv") == 0
            ? QVector<double>{25.0, 0.5}
            : QVector<double>{25.0, 30000 / 1001.0, 14.985, 0.5, 120.0};
        for (double rate : rates) {
            QTest::addRow("%s, Motion-JPEG at %g Hz", suffix, rate)
                << QString::fromLatin1(suffix) << Codec::Mjpeg << rate;
        }
        QTest::addRow("%s, H.264", suffix) << QString::fromLatin1(suffix) << Codec::H264 << 25.0;
    }
}

void VideoFileWriterTest::framesAndRateAreReadBack()
{
    QFETCH(const QString, suffix);
    QFETCH(const Codec, codec);
    QFETCH(const double, rate);
    VideoFileWriter::Options options;
    options.codec = codec;
    options.threads = 3; // which finish in any order
    VideoFileWriter writer;
    const bool isOpen = writer.open(path(suffix), size, rate, options);
    if (!isOpen && codec == Codec::H264 && writer.reason().contains(QLatin1String("no encoder")))
        QSKIP(qPrintable(writer.reason()));
    QVERIFY2(isOpen, qPrintable(writer.reason()));
    QVector<int> expected;
    cv::Mat frame;
    for (int i = 0; i < 100; ++i) {
        frames::numbered(i, size).copyTo(frame); // into the same pixels each time
        QVERIFY(writer.write(frame));
        expected << i;
        if (i % 9 == 5) {
            QVERIFY(writer.repeatLast());
            expected << i;
        }
    }
    const VideoFileWriter::Result result = writer.close();
    QVERIFY2(result.ok, qPrintable(result.reason));
    QCOMPARE(result.frames, qint64(expected.size()));
    QCOMPARE(frames::numbersIn(path(suffix)), expected);
    const cv::VideoCapture capture(path(suffix).toStdString(), cv::CAP_FFMPEG);
    QCOMPARE(capture.get(cv::CAP_PROP_FRAME_COUNT), double(expected.size()));
    QCOMPARE(capture.get(cv::CAP_PROP_FPS), rate);
}

void VideoFileWriterTest::looksAsFromCreateWriter_data()
{
    QTest::addColumn<cv::Size>("size");
    QTest::newRow("even") << cv::Size(640, 360);
    QTest::newRow("odd") << cv::Size(333, 241);
}

void VideoFileWriterTest::looksAsFromCreateWriter()
{
    QFETCH(const cv::Size, size);
    const QString theirs = folder.filePath(QStringLiteral("theirs.avi"));
    cv::VideoWriter plain(
        theirs.toStdString(), cv::CAP_FFMPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25.0, size);
    VideoFileWriter writer;
    QVERIFY(writer.open(path(QStringLiteral("avi")), size, 25.0));
    constexpr int count = 100; // since OpenCV's encoder begins with other sizes
    for (int i = 0; i < count; ++i) {
        plain.write(picture(size, i));
        QVERIFY(writer.write(picture(size, i)));
    }
    plain.release();
    QVERIFY(writer.close().ok);
    const double bytes = QFileInfo(path(QStringLiteral("avi"))).size();
    const double theirBytes = QFileInfo(theirs).size();
    QVERIFY2(qAbs(bytes / theirBytes - 1.0) < 0.02, qPrintable(QString::number(bytes / theirBytes)));

    cv::VideoCapture ours(path(QStringLiteral("avi")).toStdString(), cv::CAP_FFMPEG);
    cv::VideoCapture other(theirs.toStdString(), cv::CAP_FFMPEG);
    QCOMPARE(ours.get(cv::CAP_PROP_CODEC_PIXEL_FORMAT), other.get(cv::CAP_PROP_CODEC_PIXEL_FORMAT));
    QCOMPARE(ours.get(cv::CAP_PROP_FOURCC), other.get(cv::CAP_PROP_FOURCC));
    cv::Mat frame;
    cv::Mat otherFrame;
    for (int i = 0; i < count; ++i) {
        QVERIFY(ours.read(frame) && other.read(otherFrame));
        QCOMPARE(frame.size(), otherFrame.size());
        if (i < count / 2)
            continue;
        const cv::Mat given = picture(size, i)(cv::Rect(cv::Point(), frame.size()));
        const double luma = cv::PSNR(grey(given), grey(frame)) - cv::PSNR(grey(given), grey(otherFrame));
        QVERIFY2(qAbs(luma) < 0.3, qPrintable(QString::number(luma)));
        const double colour = cv::PSNR(given, frame) - cv::PSNR(given, otherFrame);
        QVERIFY2(colour > -0.5, qPrintable(QString::number(colour)));
    }
}

void VideoFileWriterTest::timesAreReadBack()
{
    QFETCH(const QString, suffix);
    VideoFileWriter::Options options;
    options.timing = Timing::OwnTimes;
    VideoFileWriter writer;
    if (suffix == QLatin1String("avi")) {
        QVERIFY(!writer.open(path(suffix), size, 25.0, options));
        return;
    }
    QVERIFY2(writer.open(path(suffix), size, 25.0, options), qPrintable(writer.reason()));
    QVERIFY(!writer.write(frames::numbered(0, size))); // without a time
    const QVector<int> timesMs = {0, 33, 47, 1200, 1240, 9000};
    for (int i = 0; i < timesMs.size(); ++i) {
        QVERIFY(writer.write(frames::numbered(i, size), timesMs[i] * qint64(1000)));
        QVERIFY(!writer.write(frames::numbered(i, size), timesMs[i] * qint64(1000)));
    }
    QVERIFY(writer.close().ok);
    cv::VideoCapture capture(path(suffix).toStdString(), cv::CAP_FFMPEG);
    for (int i = 0; i < timesMs.size(); ++i) {
        QVERIFY(capture.grab());
        QCOMPARE(qRound(capture.get(cv::CAP_PROP_POS_MSEC)), timesMs[i]);
    }
    QVERIFY(!capture.grab());
}

// What a killed program leaves is what the file holds at that moment.
void VideoFileWriterTest::framesSurviveACrash()
{
    QFETCH(const QString, suffix);
    if (suffix == QLatin1String("wmv"))
        return; // is the exception
    VideoFileWriter writer;
    QVERIFY(writer.open(path(suffix), size, 10.0));
    const QVector<int> three = {0, 1, 2};
    for (int number : three)
        QVERIFY(writer.write(frames::numbered(number, size)));
    QTRY_COMPARE_WITH_TIMEOUT(numbersInCopyOf(path(suffix)), three, 20000);
    QVERIFY(writer.write(frames::numbered(3, size)));
    QTRY_COMPARE_WITH_TIMEOUT(numbersInCopyOf(path(suffix)), QVector<int>({0, 1, 2, 3}), 20000);
    QVERIFY(writer.close().ok);
    QCOMPARE(frames::numbersIn(path(suffix)), QVector<int>({0, 1, 2, 3}));
}

void VideoFileWriterTest::fullDiskIsTold()
{
#ifdef Q_OS_UNIX
    QFETCH(const QString, suffix);
    const cv::Size large(640, 480);
    const cv::Mat frame = picture(large, 1);
    VideoFileWriter writer;
    VideoFileWriter::Result result;
    int accepted = 0;
    {
        const FileSizeLimit limit(400000); // some ten frames
        QVERIFY(writer.open(path(suffix), large, 25.0));
        while (accepted < 200 && writer.write(frame))
            ++accepted;
        QVERIFY(writer.hasFailed());
        QVERIFY(!writer.reason().isEmpty());
        QVERIFY(!writer.repeatLast());
        result = writer.close();
    }
    QVERIFY(!result.ok);
    QVERIFY(!result.reason.isEmpty());
    // The queue, and what the container holds back.
    QVERIFY2(accepted - result.frames <= 8 + 8, qPrintable(QString::number(accepted)));
    QVERIFY(accepted < 40);
    if (suffix == QLatin1String("avi") || suffix == QLatin1String("mkv")) // the others may miss their index
        QVERIFY(qAbs(frames::numbersIn(path(suffix)).size() - result.frames) <= 8);
#endif
}

void VideoFileWriterTest::whatCannotBeWrittenIsRefused()
{
    VideoFileWriter writer;
    QVERIFY(!writer.write(frames::numbered(1, size)));
    QVERIFY(!writer.close().ok);
    const struct
    {
        const char *name;
        cv::Size size;
        double rate;
    } refused[] = {
        {"take", size, 25.0},
        {"take.txt", size, 25.0},
        {"missing/take.avi", size, 25.0},
        {"take.avi", {1, 100}, 25.0},
        {"take.avi", {100, 16385}, 25.0},
        {"take.avi", size, 0.0},
        {"take.avi", size, std::nan("")},
        {"take.avi", size, 1e9},
    };
    for (const auto &each : refused) {
        const QString target = folder.filePath(QStringLiteral("refused/") + QString::fromLatin1(each.name));
        QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("refused")));
        QVERIFY2(!writer.open(target, each.size, each.rate), each.name);
        QVERIFY(!writer.reason().isEmpty());
        QVERIFY(!QFile::exists(target));
    }
#ifdef Q_OS_LINUX
    const QString full = folder.filePath(QStringLiteral("full.avi"));
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), full));
    QVERIFY(!writer.open(full, size, 25.0));
    QVERIFY(QFile::exists(QStringLiteral("/dev/full")));
#endif
    // A refused frame does no harm.
    QVERIFY(writer.open(path(QStringLiteral("avi")), size, 25.0));
    QVERIFY(!writer.repeatLast());
    QVERIFY(!writer.write(cv::Mat()));
    QVERIFY(!writer.write(cv::Mat(size, CV_16UC3)));
    QVERIFY(!writer.write(frames::numbered(1, size * 2)));
    QVERIFY(!writer.write(frames::numbered(1, size), 0));
    QVERIFY(writer.write(frames::numbered(5, size)) && !writer.hasFailed());
    VideoFileWriter other = std::move(writer);
    QVERIFY(other.write(frames::numbered(6, size)));
    QVERIFY(other.close().ok);
    QCOMPARE(frames::numbersIn(path(QStringLiteral("avi"))), QVector<int>({5, 6}));
}

void VideoFileWriterTest::typesOfFrames()
{
    const cv::Mat given(size, CV_8UC3, cv::Scalar(200, 60, 20));
    cv::Mat withAlpha;
    cv::cvtColor(given, withAlpha, cv::COLOR_BGR2BGRA);
    const cv::Mat part = cv::Mat(size.height + 9, size.width + 5, CV_8UC3, cv::Scalar(200, 60, 20))(
        cv::Rect({3, 2}, size)); // rows that do not follow each other
    for (Codec codec : {Codec::Mjpeg, Codec::H264}) {
        VideoFileWriter::Options options;
        options.codec = codec;
        VideoFileWriter writer;
        if (!writer.open(path(QStringLiteral("mkv")), size, 25.0, options))
            QSKIP(qPrintable(writer.reason()));
        QVERIFY(writer.write(given) && writer.write(withAlpha) && writer.write(part)
            && writer.write(cv::Mat(size, CV_8UC1, cv::Scalar(90))));
        QVERIFY(writer.close().ok);
        cv::VideoCapture capture(path(QStringLiteral("mkv")).toStdString(), cv::CAP_FFMPEG);
        cv::Mat frame;
        for (const cv::Scalar &expected : {cv::Scalar(200, 60, 20), cv::Scalar(200, 60, 20),
                 cv::Scalar(200, 60, 20), cv::Scalar(90, 90, 90)}) {
            QVERIFY(capture.read(frame));
            const cv::Scalar mean = cv::mean(frame) - expected;
            QVERIFY2(cv::norm(mean) < 6.0, qPrintable(QString::number(cv::norm(mean))));
        }
    }
}

void VideoFileWriterTest::fragmentsBecomeAnOrdinaryFile_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("keepsFragments");
    for (const char *suffix : {"mov", "mp4"}) {
        QTest::addRow("%s", suffix) << QString::fromLatin1(suffix) << false;
        QTest::addRow("%s, kept", suffix) << QString::fromLatin1(suffix) << true;
    }
}

void VideoFileWriterTest::fragmentsBecomeAnOrdinaryFile()
{
    QFETCH(const QString, suffix);
    QFETCH(const bool, keepsFragments);
    const QString target = folder.filePath(QStringLiteral("target.") + suffix);
    QFile(target).open(QFile::WriteOnly);
    QFile::remove(path(suffix));
    QVERIFY(QFile::link(target, path(suffix)));
    VideoFileWriter::Options options;
    options.keepsFragments = keepsFragments;
    VideoFileWriter writer;
    QVERIFY(writer.open(path(suffix), size, 25.0, options));
    for (int i = 0; i < 30; ++i)
        QVERIFY(writer.write(frames::numbered(i, size)));
    QVERIFY(writer.close().ok);
    QVERIFY(QFileInfo(path(suffix)).isSymLink());
    QFile file(target);
    QVERIFY(file.open(QFile::ReadOnly));
    const QByteArray bytes = file.readAll();
    QCOMPARE(bytes.contains("moof"), keepsFragments);
    QVERIFY(bytes.indexOf("moov") < bytes.indexOf("mdat"));
    QCOMPARE(frames::numbersIn(target).size(), 30);
    // Nothing of the copy is left.
    QCOMPARE(QDir(folder.path()).entryList({QStringLiteral("target.*")}, QDir::Files).size(), 1);
    QFile::remove(target);
    QFile::remove(path(suffix));
}

QTEST_GUILESS_MAIN(VideoFileWriterTest)
#include "tst_videofilewriter.moc"
