#include "recording/frametimelog_p.h"
#include "recording/frametimelogreader.h"

#include <QtTest>

#include <random>

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void store(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

QByteArray header(quint32 count, quint32 title = 0xFFFFFFFF)
{
    QByteArray bytes(16, 0);
    qToLittleEndian(quint32(0x01010000), bytes.data());
    qToLittleEndian(count, bytes.data() + 4);
    qToLittleEndian(title, bytes.data() + 8);
    return bytes;
}

QByteArray record(quint32 key, quint32 next, qint64 value)
{
    QByteArray bytes(16, 0);
    qToLittleEndian(key, bytes.data());
    qToLittleEndian(next, bytes.data() + 4);
    qToBigEndian(value, bytes.data() + 8);
    return bytes;
}

} // namespace

class FrameTimeLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        path = folder->filePath(QStringLiteral("take.log"));
    }

    void bytesOnDiskAreTheSettledOnes()
    {
        FrameTimeLog log(path);
        QVERIFY(log.load());
        QCOMPARE(contents(path), header(0));
        QVERIFY(log.write(0, 0, true));
        QVERIFY(log.write(1, 66, true));
        const QByteArray expected = QByteArray::fromHex("00000101 02000000 FFFFFFFF 00000000"
                                                        "00000000 20000000 0000000000000000"
                                                        "01000000 30000000 0000000000000042");
        // Also before the log is closed: a killed program must leave it so.
        QCOMPARE(contents(path), expected);

        QVERIFY(!log.write(1, 70, false));
        QCOMPARE(contents(path), expected);
        QVERIFY(log.write(1, -5, true));
        QCOMPARE(contents(path).size(), expected.size());
        QCOMPARE(log.getRecordCount(), 2u);
        log.close(false);
        QVERIFY(!log.write(2, 99, true));
        QCOMPARE(contents(path).right(8), QByteArray::fromHex("FFFFFFFFFFFFFFFB"));
        log.close(true);
        QVERIFY(!QFile::exists(path));
    }

    void recordThatOutgrowsItsSlotMovesAndLeavesItFree()
    {
        // Frame 5 in a slot without room for a value, as another program may write it.
        store(path, header(1) + record(5, 24, 0).left(8));
        FrameTimeLog log(path);
        QVERIFY(log.load());
        QVERIFY(log.write(5, 66, true));
        log.close(false);
        QCOMPARE(contents(path), header(1) + record(0xFFFFFFFF, 24, 0).left(8) + record(5, 40, 66));
        FrameTimeLog again(path);
        QVERIFY(again.load());
        QCOMPARE(again.getRecordCount(), 1u);
        again.close(false);
        FrameTimeLogReader reader;
        QVERIFY(reader.open(path));
        QCOMPARE(reader.timeOf(5), 66);
    }

    void timesComeFromTheLogBesideTheVideo()
    {
        store(path, header(4) + record(0, 32, 0) + record(1, 48, 66) + record(2, 64, 0) + record(3, 80, 200));
        const QFileInfo log(path);
        const QString video = log.dir().filePath(log.completeBaseName() + QStringLiteral(".avi"));
        const auto timeOf = FrameTimeLogReader::timesBeside(video);
        QVERIFY(timeOf);
        QVector<qint64> times;
        for (int frame = -1; frame < 5; ++frame)
            times << timeOf(frame);
        QCOMPARE(times, (QVector<qint64>{-1, 0, 66, -1, 200, -1})); // the third was inserted
        QCOMPARE(FrameTimeLogReader::timesBeside(video, 1)(2), qint64(200)); // cut at the front
        QVERIFY(!FrameTimeLogReader::timesBeside(folder->filePath(QStringLiteral("other.avi"))));
    }

    void logInAFolderThatIsMissingStoresNothing()
    {
        FrameTimeLog log(folder->filePath(QStringLiteral("no/such.log")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot open")));
        QVERIFY(!log.load());
        QVERIFY(!log.write(0, 0, true));
        QCOMPARE(log.getRecordCount(), 0u);
    }

    void damagedFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("storeTakesIt");
        QTest::addColumn<int>("salvaged");
        const QByteArray good = header(2) + record(0, 32, 0) + record(1, 48, 66);
        QTest::newRow("whole") << good << true << 2;
        QTest::newRow("title record")
            << header(2, 32) + record(0, 32, 0) + record(9, 40, 0).left(8) + record(1, 56, 66) << false << 2;
        QTest::newRow("count too low") << header(1) + good.mid(16) << false << 2;
        QTest::newRow("count too high") << header(3) + good.mid(16) << false << 2;
        QTest::newRow("count forged") << header(0xFFFFFFFF) + good.mid(16) << false << 2;
        QTest::newRow("foreign tag") << QByteArray(1, 'x') + good.mid(1) << false << -1;
        QTest::newRow("next 0") << header(1) + record(0, 0, 0) << false << -1;
        QTest::newRow("points at itself") << header(1) + record(0, 16, 0) << false << -1;
        QTest::newRow("runs backwards") << header(2) + record(0, 32, 0) + record(1, 16, 0) << false << 1;
        QTest::newRow("beyond the end") << header(1) + record(0, 33, 0) << false << -1;
        QTest::newRow("near 4 GiB") << header(1) + record(0, 0xFFFFFFF8, 0) << false << -1;
        QTest::newRow("tail of 3 bytes") << good + "abc" << false << 2;
        QTest::newRow("last record cut") << good.left(44) << false << 1;
        QTest::newRow("short header") << good.left(9) << true << -1; // the store makes a fresh one of it
        QTest::newRow("empty") << QByteArray() << true << -1;
    }

    void damagedFilesAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, storeTakesIt);
        QFETCH(int, salvaged);
        store(path, bytes);

        FrameTimeLogReader reader;
        const bool whole = storeTakesIt && bytes.size() >= 16;
        // A title is a record that is no time; the reader passes it over, so both sides agree on the count.
        QCOMPARE(reader.open(path), whole || qstrcmp(QTest::currentDataTag(), "title record") == 0);
        QCOMPARE(reader.errorString().isEmpty(), reader.count() > 0);
        QCOMPARE(reader.open(path, FrameTimeLogReader::Damage::Salvage), salvaged >= 0);
        QCOMPARE(reader.count(), qMax(0, salvaged));
        QCOMPARE(contents(path), bytes); // never changed

        FrameTimeLog log(path);
        QCOMPARE(log.load(), storeTakesIt);
    }

    void randomBytesDoNoHarm()
    {
        std::mt19937 random(7);
        for (int round = 0; round < 300; ++round) {
            QByteArray bytes = header(random() % 8);
            const int words = int(random() % 64);
            for (int i = 0; i < words; ++i) {
                const quint32 word = random() % 4 ? random() % 300 : random();
                bytes.append(reinterpret_cast<const char *>(&word), 4);
            }
            bytes.chop(int(random() % 4));
            store(path, bytes);
            FrameTimeLogReader reader;
            const bool read = reader.open(path);
            FrameTimeLog log(path);
            const bool loaded = log.load();
            QVERIFY2(!read || loaded, "the reader took what the store refuses");
            reader.open(path, FrameTimeLogReader::Damage::Salvage);
        }
    }

    void readerFindsTimesFramesAndGaps()
    {
        FrameTimeLog log(path);
        QVERIFY(log.load());
        const QVector<qint64> times{0, 40, 80, 0, 500, 540, 540, 2000}; // frame 3 was inserted
        for (int frame = times.size() - 1; frame >= 0; --frame) // records lie in order of writing
            QVERIFY(log.write(quint32(frame), times[frame], true));
        log.close(false);

        FrameTimeLogReader reader;
        QVERIFY(reader.open(path));
        QCOMPARE(reader.count(), times.size());
        for (int frame = 0; frame < times.size(); ++frame)
            QCOMPARE(reader.timeOf(quint32(frame)), times[frame]);
        bool known = true;
        QCOMPARE(reader.timeOf(8, &known), -1);
        QVERIFY(!known);

        const QVector<std::pair<qint64, qint64>> frameAt{
            {-1, -1}, {0, 3}, {39, 3}, {40, 1}, {499, 2}, {500, 4}, {540, 6}, {1999, 6}, {1'000'000, 7}};
        for (const auto &[time, frame] : frameAt)
            QCOMPARE(reader.frameAt(time), frame);

        const auto gaps = reader.gaps(100);
        QCOMPARE(gaps.size(), 2);
        QCOMPARE(gaps[0].lastFrame, 2u);
        QCOMPARE(gaps[0].nextFrame, 4u);
        QCOMPARE(gaps[0].lengthMs, 420);
        QCOMPARE(gaps[1].startMs, 540);
        QCOMPARE(reader.gaps(1460).size(), 0);

        QVERIFY(reader.toCsv().startsWith(QStringLiteral("frame,time_ms\n0,0\n1,40\n")));
        const QString csv = folder->filePath(QStringLiteral("times.csv"));
        QVERIFY(reader.writeCsv(csv));
        QCOMPARE(QString::fromUtf8(contents(csv)), reader.toCsv());
        QVERIFY(!reader.writeCsv(folder->filePath(QStringLiteral("no/times.csv"))));
        QVERIFY(!reader.open(folder->filePath(QStringLiteral("missing.log"))));
        QCOMPARE(reader.count(), 0);
    }

private:
    std::unique_ptr<QTemporaryDir> folder;
    QString path;
};

QTEST_GUILESS_MAIN(FrameTimeLogTest)
#include "tst_frametimelog.moc"
