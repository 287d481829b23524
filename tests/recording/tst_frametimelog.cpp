#include "baselib/globalconsole.h"
#include "recording/framelistwriter_p.h"
#include "recording/frametimelog_p.h"
#include "recording/frametimelogreader.h"

#include <QtTest>

#include <cmath>
#include <random>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

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
        console.clear();
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) { console << text; });
    }

    void cleanup() { GlobalConsole::setSink({}); }

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

        const QString result = log.dir().filePath(QStringLiteral("take.json"));
        const auto secondFrame = [&](const QByteArray &json) {
            store(result, json);
            return FrameTimeLogReader::timesBeside(video)(1);
        };
        QCOMPARE(secondFrame("{\"logShift\": 2}"), qint64(200));
        QCOMPARE(FrameTimeLogReader::timesBeside(video, 0)(1), qint64(66)); // the host knows better
        for (const char *json : {"notes", "[2]", "{\"logShift\": -2}", "{\"logShift\": 1e300}"})
            QCOMPARE(secondFrame(json), qint64(66));
    }

    void logInAFolderThatIsMissingStoresNothing()
    {
        FrameTimeLog log(folder->filePath(QStringLiteral("no/such.log")));
        for (int times = 0; times < 2; ++times) { // as a recorder tries it
            QVERIFY(!log.load());
            QVERIFY(!log.write(0, 0, true));
            log.close(true);
        }
        log.open();
        QVERIFY(log.hasFailed());
        QCOMPARE(log.getRecordCount(), 0u);
        QVERIFY(!FrameListWriter(folder->filePath(QStringLiteral("no/such.csv"))).open());
        QCOMPARE(console.size(), 2);
    }

    void damagedLogDoesNotSpoilTheNext_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good = header(2) + record(0, 32, 0) + record(1, 48, 66);
        QTest::newRow("garbage") << QByteArray(64, 'x');
        QTest::newRow("count") << header(1) + good.mid(16);
        QTest::newRow("tail") << good + "abc";
        QTest::newRow("title") << header(1, 32) + record(0, 32, 0) + record(9, 50, 0).left(8)
                + " take 7 \r\n";
    }

    void damagedLogDoesNotSpoilTheNext()
    {
        QFETCH(QByteArray, bytes);
        store(path, bytes);
        FrameTimeLog log(path);
        QVERIFY(!log.load());
        QCOMPARE(log.getTitle(), bytes.contains("take") ? QStringLiteral(" take 7 ") : QString());
        log.close(true);
        log.open();
        QVERIFY(log.getTitle().isEmpty());
        for (quint32 frame : {0u, 1u})
            QVERIFY(log.write(frame, frame * 66, true));
        QCOMPARE(contents(path), header(2) + record(0, 32, 0) + record(1, 48, 66));
    }

#ifdef Q_OS_UNIX
    // The limit of a process stands in for a full disk: it, too, takes a part of what crosses it.
    void fullDiskEndsBothSidecarsWhole_data()
    {
        QTest::addColumn<int>("room"); // bytes behind the third record or line
        for (int room : {0, 1, 8, 15})
            QTest::addRow("%d", room) << room;
    }

    void fullDiskEndsBothSidecarsWhole()
    {
        QFETCH(int, room);
        const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit former{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &former), 0);
        const auto limitTo = [&](qint64 bytes) {
            rlimit limit = former;
            limit.rlim_cur = rlim_t(bytes);
            setrlimit(RLIMIT_FSIZE, &limit);
        };
        FrameTimeLog log(path);
        FrameListWriter list(listPath());
        QVERIFY(log.load() && list.open());
        for (quint32 frame : {0u, 1u, 2u}) {
            QVERIFY(log.write(frame, frame * 40, true));
            list.add(frame, frame * 40.0, FrameListWriter::New, {});
        }
        const QByteArray logBefore = contents(path);
        const QByteArray listBefore = contents(listPath());
        limitTo(logBefore.size() + room);
        QVERIFY(!log.write(3, 120, true));
        limitTo(listBefore.size() + room);
        list.add(3, 120.0, FrameListWriter::New, {});
        setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);

        QVERIFY(log.hasFailed() && list.hasFailed());
        QVERIFY(!log.write(3, 120, true) && !log.write(1, 5, true)); // for good
        list.add(4, 160.0, FrameListWriter::New, {});
        QCOMPARE(contents(path), logBefore);
        QCOMPARE(contents(listPath()), listBefore);
        QCOMPARE(console.size(), 2);
        QVERIFY(console.first().contains("after 3 frames") && console.first().contains("large"));
        FrameTimeLog again(path);
        QVERIFY(again.load());
    }

    void killedProgramLeavesWholeRecordsAndLines()
    {
        const pid_t child = fork();
        if (child == 0) {
            FrameTimeLog log(path);
            FrameListWriter list(listPath());
            log.load();
            list.open();
            for (quint32 frame = 0;; ++frame) {
                log.write(frame, frame, true);
                list.add(frame, frame, FrameListWriter::Repeated, FrameStamp::now(QStringLiteral("left")));
            }
        }
        QTRY_VERIFY(QFileInfo(listPath()).size() > 20'000);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);

        const QByteArray bytes = contents(path);
        const quint32 counted = qFromLittleEndian<quint32>(bytes.constData() + 4);
        QCOMPARE(bytes.size() % 16, 0);
        QVERIFY(qint64(counted) == bytes.size() / 16 - 1 || qint64(counted) == bytes.size() / 16 - 2);
        FrameTimeLogReader reader;
        QVERIFY(reader.open(path, FrameTimeLogReader::Damage::Salvage));
        QCOMPARE(reader.count(), bytes.size() / 16 - 1);
        QVERIFY(contents(listPath()).endsWith(",left\n"));
        FrameList list;
        QVERIFY2(list.open(listPath()), qPrintable(list.errorString()));
        QVERIFY(qAbs(list.entries().size() - reader.count()) <= 1);
    }
#endif

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
        QTest::newRow("runs backwards") << header(2) + record(0, 32, 0) + record(1, 16, 0) << false << 1;
        QTest::newRow("beyond the end") << header(1) + record(0, 33, 0) << false << -1;
        QTest::newRow("tail of 3 bytes") << good + "abc" << false << 2;
        QTest::newRow("last record cut") << good.left(44) << false << 1;
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

    // Keys differ in two bytes at least, so that no single wrong byte makes one of another.
    void oneWrongByteCostsNothingInFrontOfIt()
    {
        constexpr int records = 20;
        QByteArray good = header(records);
        for (quint32 i = 0; i < records; ++i)
            good += record(i * 257, 32 + i * 16, 1000 + i);
        std::mt19937 random(7);
        int taken = 0;
        for (int round = 0; round < 600; ++round) {
            QByteArray bytes = good;
            const int place = 4 + int(random() % uint(good.size() - 4));
            bytes[place] = char(bytes[place] ^ int(1 + random() % 255));
            store(path, bytes);
            FrameTimeLogReader reader;
            const bool isTaken = reader.open(path);
            FrameTimeLog log(path);
            QCOMPARE(log.load(), isTaken);
            taken += isTaken ? 1 : 0;
            const int whole = place < 16 ? records : place / 16 - 1;
            QVERIFY(reader.open(path, FrameTimeLogReader::Damage::Salvage) || whole == 0);
            for (int i = 0; i < whole; ++i)
                QCOMPARE(reader.timeOf(quint32(i) * 257), qint64(1000 + i));
        }
        QVERIFY(taken > 100 && taken < 500); // a wrong time can be told from none
    }

    void listOfFramesComesBackAsItWasWritten()
    {
        const FrameStamp left{5'000'123, 7, QStringLiteral("Cam \"A\", left")};
        FrameListWriter writer(listPath());
        QVERIFY(writer.open());
        writer.add(0, 0.0, FrameListWriter::Inserted, {});
        writer.add(1, 41.6666, FrameListWriter::New, left);
        writer.add(2, 4'000'083.0004, FrameListWriter::Source::Repeated, left);
        writer.add(3, -0.0006, FrameListWriter::New, {-1, 0, QStringLiteral("a\nb")});
        writer.add(4, std::nan(""), FrameListWriter::New, {});
        QCOMPARE(contents(listPath()), // before it is closed
            QByteArray("frame,time_ms,source,capture_us,sequence,camera\n"
                       "0,0.000,inserted,,,\n"
                       "1,41.667,new,5000123,7,\"Cam \"\"A\"\", left\"\n"
                       "2,4000083.000,repeated,5000123,7,\"Cam \"\"A\"\", left\"\n"
                       "3,-0.001,new,,0,a b\n"
                       "4,,new,,,\n"));
        writer.close(false);
        FrameList list;
        QVERIFY(list.open(listPath()));
        QCOMPARE(list.entries().size(), 5);
        const FrameList::Entry second = list.entries().at(1);
        QCOMPARE(second.frame, 1u);
        QCOMPARE(second.timeMs, 41.667);
        QCOMPARE(second.stamp.timeUs, left.timeUs);
        QCOMPARE(second.stamp.sequence, left.sequence);
        QCOMPARE(second.stamp.camera, left.camera);
        QCOMPARE(list.entries().at(2).source, FrameList::Repeated);
        QCOMPARE(list.entries().at(4).timeMs, -1.0);

        const QByteArray whole = contents(listPath());
        store(listPath(), whole + "5,80.000,n"); // the power failed
        QVERIFY(list.open(listPath()));
        QCOMPARE(list.entries().size(), 5);
        for (const char *line : {"5,80.000,old,,,\n", "5,80.000,new\n", "x,80.000,new,,,\n"}) {
            store(listPath(), whole + line + "6,1.000,new,,,\n");
            QVERIFY(!list.open(listPath()) && list.errorString().contains("7"));
            QCOMPARE(list.entries().size(), 5);
        }
        for (const char *text : {"", "frame,time_ms\n0,0\n"}) {
            store(listPath(), text);
            QVERIFY(!list.open(listPath()) && !list.errorString().isEmpty());
        }
        writer.close(true);
        QVERIFY(!QFile::exists(listPath()));
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
        QVERIFY(reader.isInserted(3));
        QVERIFY(!reader.isInserted(0) && !reader.isInserted(1) && !reader.isInserted(8));
        bool known = true;
        QCOMPARE(reader.timeOf(8, &known), -1);
        QVERIFY(!known);

        const QVector<std::pair<qint64, qint64>> frameAt{
            {-1, -1}, {0, 0}, {39, 0}, {40, 1}, {499, 2}, {500, 4}, {540, 6}, {1999, 6}, {1'000'000, 7}};
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
    QString listPath() const
    {
        return folder->filePath(QStringLiteral("take.frames.csv"));
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString path;
    QStringList console;
};

QTEST_GUILESS_MAIN(FrameTimeLogTest)
#include "tst_frametimelog.moc"
