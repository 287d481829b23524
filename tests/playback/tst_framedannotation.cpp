#include "playback/annotationfiles.h"
#include "playback/annotationline_p.h"
#include "playback/framedannotation_p.h"
#include "support/metaface.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString name = QStringLiteral("n");

// Reaches what is settled about the records and lines themselves.
class Annotation : public FramedAnnotation
{
public:
    using FramedAnnotation::FramedAnnotation;
    using FramedAnnotation::frames;
    using FramedAnnotation::lines;

    void frameInfoChanged(int frame)
    {
        QMetaObject::invokeMethod(this, "frameInfoChanged", Q_ARG(int, frame));
    }
    void signFrame(FrameInfo *f) { QMetaObject::invokeMethod(this, "signFrame", Q_ARG(FrameInfo *, f)); }
};

} // namespace

class FramedAnnotationTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString path;

private Q_SLOTS:
    void init()
    {
        path = dir.filePath(QStringLiteral("take1.avi.annotations.jsonl"));
        QFile::remove(path);
    }

    void metaObjectIsTheSettledOne()
    {
        QCOMPARE(metaface::ofClass(FramedAnnotation::staticMetaObject),
            QStringList({
                "signal percentChanged(int,QString,int)",
                "signal valueChanged(int,QString,double)",
                "signal rectChanged(int,QString,QRect)",
                "signal commentChanged(int,QString,QString)",
                "signal somethingChanged(int)",
                "slot save(bool)",
                "slot save() [cloned]",
                "private slot frameInfoChanged(int)",
                "private slot signFrame(FrameInfo*)",
            }));
    }

    // What a file becomes when it is read and written without a change; once more, it stays as it is.
    void nothingOfAFileIsLost_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<int>("skipped");
        const auto row = [](const char *title, const QByteArray &before, const QByteArray &after,
                             int skipped) { QTest::newRow(title) << before << after << skipped; };
        const auto same = [](const char *title, const QByteArray &text, int skipped) {
            QTest::newRow(title) << text << text << skipped;
        };
        same("empty", "", 0);
        same("gaps", json("{'frame':-2}\n{'frame':5}\n{'bools':[{'n':true}],'frame':1000000}\n"), 0);
        row("order", json("{'frame':7}\n{'frame':3}\n"), json("{'frame':3}\n{'frame':7}\n"), 0);
        row("other spelling", json("{ 'frame' : 7, 'values': [{'n': 1.50}], 'bools': [] }"),
            json("{'frame':7,'values':[{'n':1.5}]}\n"), 0);
        row("windows",
            "\xef\xbb\xbf" + json("{'frame':1}\r\n\r\n") + "\xef\xbb\xbf\xef\xbb\xbf"
                + json("{'frame':2}\r\n"),
            json("{'frame':1}\n{'frame':2}\n"), 0);
        row("blank lines", json("\n{'frame':1}\n \t\n\n"), json("{'frame':1}\n"), 0);
        same("garbage", json("# mine\n{'frame':1}\n{'frame':\n\xff\xfe\n{'frame':4}\n[1]\n"), 4);
        row("cut", json("{'frame':1}\n{'fra"), json("{'frame':1}\n{'fra\n"), 1);
        same("zeros", QByteArray("\0\0\n", 3) + json("{'frame':1}\n"), 1);
        same("a frame twice", json("{'bools':[{'n':true}],'frame':1}\n{'frame':1}\n"), 1);
        row("a frame twice alike", json("{'frame':1}\n{'frame':1}\n"), json("{'frame':1}\n"), 0);
        row("a frame twice, apart", json("{'bools':[{'n':true}],'frame':1}\n{'frame':2}\n{'frame':1}\n"),
            json("{'bools':[{'n':true}],'frame':1}\n{'frame':1}\n{'frame':2}\n"), 1);
        row("more than a record", json("{'frame':1,'time':7}\n"), json("{'frame':1,'time':7}\n{'frame':1}\n"),
            1);
        row("two keys", json("{'frame':1,'bools':[{'a':true,'b':true}]}\n"),
            json("{'frame':1,'bools':[{'a':true,'b':true}]}\n{'bools':[{'a':true}],'frame':1}\n"), 1);
        row("no rectangle", json("{'frame':1,'rects':[{'a':'1 2'}]}\n"),
            json("{'frame':1,'rects':[{'a':'1 2'}]}\n{'frame':1,'rects':[{'a':'0,0,0,0'}]}\n"), 1);
        same("a header", json("{'version':1}\n{'frame':0}\n"), 1);
        row("no number", json("{'bools':[{'n':true}]}\n"), json("{'bools':[{'n':true}],'frame':0}\n"), 0);
        row("no number, but a frame 0", json("{'bools':[{'a':true}],'frame':0}\n{'bools':[{'b':true}]}\n"),
            json("{'bools':[{'a':true}],'frame':0}\n{'bools':[{'b':true}]}\n"), 1);
    }

    void nothingOfAFileIsLost()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        QFETCH(int, skipped);
        QVERIFY(writeContent(path, before));
        for (int pass = 0; pass < 3; ++pass) {
            FramedAnnotation annotation(path);
            QVERIFY2(annotation.load(), qPrintable(annotation.getError()));
            QCOMPARE(annotation.getSkippedLines(), skipped);
            annotation.save();
            QCOMPARE(contentOf(path), after);
            QVERIFY(annotation.saveAtomically());
            QCOMPARE(contentOf(path), after);
        }
    }

    // The quick way must take what we write, and nothing that the general way would read in another manner.
    void plainLinesAreThoseThatWeWrite_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("plain");
        const auto row = [](const QByteArray &line, bool plain) {
            QTest::newRow(line.constData()) << line << plain;
        };
        row(json("{'frame':-7}"), true);
        row(json("{'bools':[{'a':true},{'b':false}],'comments':[{'':''},{'жук':'da/\x7f'}],'frame':12,"
                 "'percents':[{'a':-5}],'points':[{'a':''},{'b':'1,2;-3,4'}],'rects':[{'a':'1,2,-3,4'}],"
                 "'values':[{'a':-2.5},{'b':40},{'c':1e-07},{'d':0}]}"),
            true);
        for (const char *line : {"{'frame':07}", "{'frame':-0}", "{'frame':+1}", "{'frame':1.0}",
                 "{'frame':2147483648}", "{'frame':1} ", "{'frame':1}}", "{'frame':}", "{'frame':1",
                 "{'bools':[],'frame':1}", "{'frame':1,'percents':[{'b':1},{'a':2}]}",
                 "{'frame':1,'percents':[{'a':1},{'a':2}]}", "{'frame':1,'values':[{'a':2.50}]}",
                 "{'frame':1,'values':[{'a':-0}]}", "{'frame':1,'values':[{'a':1e300}]}",
                 "{'frame':1,'values':[{'a':1e999}]}", "{'frame':1,'values':[{'a':0.1000000000000000055}]}",
                 "{'frame':1,'rects':[{'a':'1, 2,3,4'}]}", "{'comments':[{'a':'\\n'}],'frame':1}",
                 "{'comments':[{'a':'\xc0\x80'}],'frame':1}", "{'frame':1,'points':[{'a':'b'}]}",
                 "{'bools':[{'a':true}], 'frame':1}"})
            row(json(line), false);
    }

    void plainLinesAreThoseThatWeWrite()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, plain);
        const auto record = AnnotationLine::readPlain(line);
        QCOMPARE(record != nullptr, plain);
        if (plain) {
            FrameInfo general(QJsonDocument::fromJson(line).object());
            QVERIFY(record->equals(general));
            QCOMPARE(general.toJsonString().toUtf8(), line);
            QCOMPARE(record->toJsonString().toUtf8(), line);
        }
    }

    // Faults: a line found by its place instead of its number, a line that is renewed by signal alone.
    void aChangeReachesItsLine_data()
    {
        QTest::addColumn<int>("frame");
        QTest::addColumn<bool>("autoSave");
        QTest::addColumn<bool>("blocked");
        for (const int frame : {0, -5, 100000}) {
            QTest::addRow("%d", frame) << frame << false << false;
            QTest::addRow("%d, saved at once", frame) << frame << true << false;
            QTest::addRow("%d, signals blocked", frame) << frame << false << true;
        }
    }

    void aChangeReachesItsLine()
    {
        QFETCH(int, frame);
        QFETCH(bool, autoSave);
        QFETCH(bool, blocked);
        QVERIFY(writeContent(path, json("{'frame':-5}\n{'frame':0}\n{'frame':100000}\n")));
        FramedAnnotation annotation(path);
        QVERIFY(annotation.load());
        annotation.setAutoSave(autoSave);
        annotation.frame(frame)->blockSignals(blocked);
        annotation.frame(frame)->setBool(name, true);
        if (!autoSave) {
            QVERIFY(!contentOf(path).contains("bools"));
            annotation.save();
        }
        QCOMPARE(contentOf(path).count("bools"), 1);
        QVERIFY(contentOf(path).contains(
            "{\"bools\":[{\"n\":true}],\"frame\":" + QByteArray::number(frame) + "}\n"));
    }

    // Faults: a part of the file that is not made anew after a change in it, or that loses what stands at its
    // border.
    void manyRecordsComeAndGo()
    {
        QMap<int, QByteArray>
            expected; // records by 2 * frame, other lines by one less than what they stand before
        QByteArray content;
        for (int n = 0; n < 40000; n += 2) {
            const QByteArray text = "{\"frame\":" + QByteArray::number(n) + "}\n";
            if (n % 512 == 0) {
                expected[2 * (n - 1) - 1] = "# " + QByteArray::number(n) + "\n"; // it follows on frame n - 2
                content += expected[2 * (n - 1) - 1];
            }
            expected[2 * n] = text;
            content += text;
        }
        QVERIFY(writeContent(path, content));
        FramedAnnotation annotation(path);
        QVERIFY(annotation.load());
        const auto isSaved = [&] {
            const QList<QByteArray> lines = expected.values();
            const bool written = annotation.saveInPlace();
            return written && contentOf(path) == QByteArrayList(lines).join();
        };
        QVERIFY(isSaved());
        for (int n = 6001; n < 18000; n += 2)
            expected[2 * n] = annotation.frame(n)->toJsonString().toUtf8() + '\n';
        QVERIFY(isSaved());
        for (const int n : {0, 2, 6001, 10240, 10241, 39998}) {
            annotation.take(n);
            expected.remove(2 * n);
        }
        QVERIFY(isSaved());
        for (int n = 1; n < 50000; n += 911) {
            FrameInfo *const record = annotation.frame(n);
            record->setPercent(name, n);
            expected[2 * n] = record->toJsonString().toUtf8() + '\n';
            QVERIFY(n % 7 || isSaved());
        }
        QVERIFY(isSaved());
    }

    void recordsThatNobodySignedGetTheirLine()
    {
        Annotation annotation(path);
        annotation.frame(0);
        auto *const record = new FrameInfo(7);
        annotation.frames.insert(7, record);
        annotation.frameInfoChanged(0);
        QCOMPARE(annotation.lines.keys(), QList<int>({0, 7}));
        QVERIFY(!QFile::exists(path)); // without autoSave no change touches the file
        annotation.signFrame(record);
        QSignalSpy changes(&annotation, &FramedAnnotation::somethingChanged);
        record->setBool(name, true);
        QCOMPARE(changes.size(), 1);
        QVERIFY(annotation.lines.value(7).contains(name));
        QCOMPARE(annotation.lines.size(), 2);

        FrameInfo foreign(9);
        annotation.signFrame(&foreign);
        QCOMPARE(annotation.frames.size(), 2);
        annotation.setAutoSave(true);
        annotation.frameInfoChanged(-1);
        QCOMPARE(contentOf(path), json("{'frame':0}\n{'bools':[{'n':true}],'frame':7}\n"));
        QVERIFY(QFile::remove(path));
        annotation.frameInfoChanged(9999);
        QVERIFY(QFile::exists(path));
        annotation.lines[7].clear();
        annotation.save(true);
        QVERIFY(contentOf(path).contains("bools"));
    }

    void changesArePassedOn()
    {
        FramedAnnotation annotation(path);
        QStringList heard;
        connect(&annotation, &FramedAnnotation::percentChanged, [&](int frame, const QString &, int value) {
            heard << QStringLiteral("%1 p%2").arg(frame).arg(value);
        });
        connect(&annotation, &FramedAnnotation::valueChanged, [&](int frame, const QString &, double value) {
            heard << QStringLiteral("%1 v%2").arg(frame).arg(value);
        });
        connect(&annotation, &FramedAnnotation::rectChanged, [&](int frame, const QString &, QRect r) {
            heard << QStringLiteral("%1 r%2").arg(frame).arg(r.width());
        });
        connect(&annotation, &FramedAnnotation::commentChanged,
            [&](int frame, const QString &, const QString &value) {
                heard << QStringLiteral("%1 c%2").arg(frame).arg(value);
            });
        connect(&annotation, &FramedAnnotation::somethingChanged,
            [&](int frame) { heard << QStringLiteral("%1").arg(frame); });
        FrameInfo *const record = annotation.frame(3);
        record->setPercent(name, 40);
        record->setValue(name, 2.5);
        record->setRect(name, QRect(0, 0, 8, 9));
        record->setComment(name, QStringLiteral("ok"));
        record->setBool(name, true);
        QCOMPARE(heard, QStringList({"3 p40", "3", "3 v2.5", "3", "3 r8", "3", "3 cok", "3", "3"}));
    }

    void filesThatAreNotReadWholeStayAsTheyAre_data()
    {
        QTest::addColumn<QByteArray>("content"); // none: a folder
        const QByteArray record = json("{'frame':1}\n");
        QTest::newRow("long line") << record + QByteArray(16 * 1024 * 1024 + 1, 'x');
        QTest::newRow("folder") << QByteArray();
    }

    void filesThatAreNotReadWholeStayAsTheyAre()
    {
        QFETCH(QByteArray, content);
        QVERIFY(content.isEmpty() ? QDir().mkdir(path) : writeContent(path, content));
        FramedAnnotation annotation(path);
        QVERIFY(!annotation.load());
        QVERIFY(!annotation.getError().isEmpty());
        annotation.setAutoSave(true);
        annotation.frame(2)->setBool(name, true);
        annotation.save(true);
        QVERIFY(!annotation.saveInPlace());
        QVERIFY(!annotation.saveAtomically());
        if (content.isEmpty()) {
            QVERIFY(QDir().rmdir(path));
            return;
        }
        QVERIFY(contentOf(path) == content);
        annotation.setCanSave(true);
        QVERIFY(annotation.saveAtomically());
        QVERIFY(contentOf(path).size() < 100);
        QVERIFY(annotation.load()); // what is refused once may be read later
    }

    void aLineOfTheLargestSizeIsRead()
    {
        const QByteArray before = json("{'comments':[{'n':'");
        const QByteArray after = json("'}],'frame':1}");
        const int length = 16 * 1024 * 1024 - before.size() - after.size();
        QBuffer device;
        device.setData(before + QByteArray(length, 'x') + after + "\n{}");
        QVERIFY(device.open(QIODevice::ReadOnly));
        FramedAnnotation annotation(path);
        QVERIFY2(annotation.read(&device), qPrintable(annotation.getError()));
        QCOMPARE(annotation.find(1)->getComment(name).size(), length);
    }

    // Small contents wait in a buffer until the end, large ones fail on the way.
    void aFullDiskIsNoticed_data()
    {
        QTest::addColumn<int>("frames");
        QTest::addColumn<bool>("atomic");
        QTest::newRow("small, in place") << 500 << false;
        QTest::newRow("small, atomic") << 500 << true;
        QTest::newRow("large, in place") << 50000 << false;
        QTest::newRow("large, atomic") << 50000 << true;
    }

    void aFullDiskIsNoticed()
    {
        QFETCH(int, frames);
        QFETCH(bool, atomic);
        const QByteArray old = json("{'frame':77}\n");
        QVERIFY(writeContent(path, old));
        FramedAnnotation annotation(path);
        for (int i = 0; i < frames; ++i)
            annotation.frame(i);
        {
            const FullDisk full(4096);
            if (!full.works)
                QSKIP("file sizes cannot be limited here");
            QVERIFY(!(atomic ? annotation.saveAtomically() : annotation.saveInPlace()));
        }
        QVERIFY(!annotation.getError().isEmpty());
        if (atomic)
            QCOMPARE(contentOf(path), old);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 1);
        QVERIFY(annotation.saveInPlace());
        QVERIFY(annotation.getError().isEmpty());
        QCOMPARE(contentOf(path).count('\n'), frames);
    }

    void aFileThatCannotBeOpenedIsTriedAgain()
    {
        FramedAnnotation annotation(dir.filePath(QStringLiteral("later/file")));
        annotation.setAutoSave(true);
        annotation.frame(1)->setBool(name, true);
        QVERIFY(!annotation.saveInPlace());
        QVERIFY(!annotation.getError().isEmpty());
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("later")));
        annotation.save();
        QVERIFY(contentOf(annotation.getPath()).contains("bools"));
        QVERIFY(QDir(dir.filePath(QStringLiteral("later"))).removeRecursively());
    }
};

QTEST_GUILESS_MAIN(FramedAnnotationTest)
#include "tst_framedannotation.moc"
