#include "pipeline/imagefolderprovider.h"
#include "receivedframes.h"
#include "support/metaface.h"

#include <QSignalSpy>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>

using Entries = QVector<ReceivedFrames::Entry>;

namespace {

// Delivers a numbered frame for whatever it is asked.
class Source : public ImageProviderBase
{
public:
    using ImageProviderBase::callNextFrame;
    using ImageProviderBase::setFrameAmount;

    bool isSourceStreaming() override { return streaming; }
    void prepareFrame(int index = 0) override
    {
        deliverFrame(index, std::make_unique<cv::Mat>(frames::numbered(index)));
    }

    bool streaming = false;
};

void writePicture(const QString &path, int number)
{
    std::vector<uchar> bytes;
    QVERIFY(
        cv::imencode(QFileInfo(path).suffix().prepend('.').toStdString(), frames::numbered(number), bytes));
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<qint64>(bytes.size()));
}

// A whole PNG header of a picture that nobody can hold, without the picture.
QByteArray hugePng()
{
    return QByteArray::fromHex("89504e470d0a1a0a0000000d494844527fffffff7fffffff0802000000")
        + QByteArray::fromHex("aa5f9d6b");
}

} // namespace

class ImageProvidersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { dir = std::make_unique<QTemporaryDir>(); }

    void facesAreTheSettledOnes()
    {
        QCOMPARE(metaface::ofClass(ImageProviderBase::staticMetaObject),
            QStringList({
                "signal frameAmountChanged(int)",
                "signal currentFrameIndexChanged(int)",
                "signal nextFrameReady(cv::Mat*,int)",
                "slot prepareFrame(int)",
                "slot prepareFrame() [cloned]",
                "method int getFrameAmount()",
                "method setFrameAmount(int)",
                "method setCurrentFrameIndex(int)",
                "method int getCurrentFrameIndex()",
                "property int frameAmount",
                "property int currentFrameIndex",
            }));
        const QMetaObject &base = ImageProviderBase::staticMetaObject;
        QCOMPARE(base.method(base.indexOfMethod("setFrameAmount(int)")).access(), QMetaMethod::Protected);
        QCOMPARE(metaface::ofClass(ImageFolderProvider::staticMetaObject),
            QStringList({
                "signal recursiveChanged(bool)",
                "signal folderChanged(QString)",
                "slot prepareFrame(int)",
                "slot prepareFrame() [cloned]",
                "method setRecursive(bool)",
                "method bool getRecursive()",
                "method resetRecursive()",
                "method setFolder(QString)",
                "method QString getFolder()",
                "property bool recursive",
                "property QString folder",
                "classinfo recursiveEditable=true",
                "classinfo recursiveDefault=false",
                "classinfo folderSpecialType=folder",
                "classinfo folderEditable=true",
            }));
    }

    void settingTheIndexDeliversThatFrame()
    {
        Source source;
        ReceivedFrames received(source);
        QSignalSpy moved(&source, &Source::currentFrameIndexChanged);
        source.setCurrentFrameIndex(5);
        QCOMPARE(received.take(), Entries({{5, 5}}));
        QCOMPARE(moved.count(), 1);
        source.setCurrentFrameIndex(5);
        QVERIFY(received.entries.isEmpty());
        source.setCurrentFrameIndex(-3);
        QCOMPARE(received.take(), Entries({{0, 0}}));
        QCOMPARE(source.getCurrentFrameIndex(), 0);
    }

    void receiverThatMovesOnIsNotMovedBack()
    {
        Source source;
        ReceivedFrames received(source);
        connect(&source, &Source::currentFrameIndexChanged, &source, [&](int index) {
            if (index == 5)
                source.setCurrentFrameIndex(7);
        });
        source.setCurrentFrameIndex(5);
        QCOMPARE(received.take(), Entries({{7, 7}}));
        QCOMPARE(source.getCurrentFrameIndex(), 7);
    }

    void changeOfTheAmountGoesBackToTheStart()
    {
        Source source;
        ReceivedFrames received(source);
        QSignalSpy amounts(&source, &Source::frameAmountChanged);
        source.setFrameAmount(10);
        QVERIFY(received.entries.isEmpty());
        source.setCurrentFrameIndex(4);
        source.setFrameAmount(10);
        QCOMPARE(received.take(), Entries({{4, 4}}));
        source.setFrameAmount(9);
        QCOMPARE(received.take(), Entries({{0, 0}}));
        source.setFrameAmount(-1);
        QCOMPARE(source.getFrameAmount(), 0);
        QCOMPARE(amounts.count(), 3);
    }

    void onlyFramesWithAPlaceMoveTheIndex()
    {
        Source source;
        ReceivedFrames received(source);
        source.callNextFrame(-1, new cv::Mat);
        QCOMPARE(source.getCurrentFrameIndex(), 0);
        source.callNextFrame(3, new cv::Mat);
        QCOMPARE(source.getCurrentFrameIndex(), 3);
        source.streaming = true;
        source.callNextFrame(8, new cv::Mat);
        QCOMPARE(source.getCurrentFrameIndex(), 3);
        QCOMPARE(received.take(), Entries({{-1, -1}, {3, -1}, {8, -1}}));
    }

    void frameWithoutAReceiverIsFreed()
    {
        Source source; // the leak checker of a sanitized build sees it
        source.prepareFrame(2);
        QCOMPARE(source.getCurrentFrameIndex(), 2);
    }

    void folderGivesItsPicturesInOrder()
    {
        const QString folder = dir->filePath(QStringLiteral("Bühne №3 日本 'a b'%20#"));
        writePicture(folder + "/img2.png", 2);
        writePicture(folder + "/img10.JPG", 10);
        writePicture(folder + "/img1.bmp", 1);
        writePicture(folder + "/other.tiff", 99);
        writePicture(folder + "/below/img0.png", 77);

        ImageFolderProvider provider;
        ReceivedFrames received(provider);
        QSignalSpy amounts(&provider, &ImageFolderProvider::frameAmountChanged);
        QSignalSpy moved(&provider, &ImageFolderProvider::currentFrameIndexChanged);
        QSignalSpy folders(&provider, &ImageFolderProvider::folderChanged);
        provider.setFolder(QString());
        QCOMPARE(folders.count(), 0);
        provider.setFolder(folder);
        QCOMPARE(provider.getFrameAmount(), 3);
        QCOMPARE(amounts.count(), 1);
        QVERIFY(received.entries.isEmpty());

        provider.prepareFrame(2);
        QCOMPARE(moved.count(), 1);
        QCOMPARE(received.last->type(), CV_8UC3);
        provider.prepareFrame();
        provider.setCurrentFrameIndex(1);
        QCOMPARE(received.take(), Entries({{2, 10}, {0, 1}, {1, 2}}));
        for (const int outside : {-1, 3, INT_MAX, INT_MIN})
            provider.prepareFrame(outside);
        QVERIFY(received.entries.isEmpty());

        provider.setFolder(folder);
        provider.setRecursive(true);
        QCOMPARE(folders.count(), 1);
        QCOMPARE(provider.getFrameAmount(), 3);
        provider.setFolder(folder + "/.");
        QCOMPARE(provider.getFrameAmount(), 4);
        QCOMPARE(received.take(), Entries({{0, 77}})); // it stood at another index
        provider.setFolder(folder + "/nowhere");
        QCOMPARE(provider.getFrameAmount(), 0);
        provider.prepareFrame(0);
        QVERIFY(received.entries.isEmpty());
    }

    void recursiveSignalsEachCall()
    {
        ImageFolderProvider provider;
        QSignalSpy changed(&provider, &ImageFolderProvider::recursiveChanged);
        provider.setRecursive(true);
        provider.setRecursive(true);
        provider.resetRecursive();
        QCOMPARE(changed.count(), 3);
        QCOMPARE(changed.last().first().toBool(), false);
        QVERIFY(!provider.getRecursive());
    }

    void damagedFilesGiveEmptyFramesAndMissingOnesNone()
    {
        const auto write = [this](const char *name, const QByteArray &bytes) {
            QFile file(dir->filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
        };
        write("1empty.png", {});
        write("2garbage.jpg", QByteArray(5000, 'x'));
        write("3huge.png", hugePng());
        write("4gone.bmp", "BM");
        writePicture(dir->filePath("5good.png"), 5);

        ImageFolderProvider provider;
        ReceivedFrames received(provider);
        provider.setFolder(dir->path());
        QVERIFY(QFile::remove(dir->filePath("4gone.bmp")));
        for (int i = 0; i < provider.getFrameAmount(); ++i)
            provider.prepareFrame(i);
        QCOMPARE(received.take(), Entries({{0, -1}, {1, -1}, {2, -1}, {4, 5}}));
    }

private:
    std::unique_ptr<QTemporaryDir> dir;
};

QTEST_GUILESS_MAIN(ImageProvidersTest)
#include "tst_imageproviders.moc"
