#include "playback/annotationfiles.h"
#include "playback/videoannotations.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <QUndoStack>

namespace {

const QString name = QStringLiteral("n");
constexpr auto Rect = FrameInfo::Rect;
constexpr auto Comment = FrameInfo::Comment;

} // namespace

class VideoAnnotationsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString video;
    QString path;

private Q_SLOTS:
    void init()
    {
        video = dir.filePath(QStringLiteral("take1.avi"));
        path = VideoAnnotations::pathOf(video);
        QFile::remove(path);
    }

    void annotationsOfAVideoAreMadeAndReadAgain()
    {
        VideoAnnotations annotations;
        annotations.setValue(1, Comment, name, QStringLiteral("nothing is open"));
        QVERIFY(!annotations.save());
        QVERIFY(annotations.open(video));
        QVERIFY(annotations.getFrames().isEmpty());
        annotations.setValue(40, Comment, name, QStringLiteral("b"));
        annotations.setValue(3, Comment, QStringLiteral("a"), 17); // becomes a text
        annotations.setValue(3, FrameInfo::Points, name, QVariant::fromValue(QList<QPoint>{{1, 2}}));
        QVERIFY(!QFile::exists(path));
        QVERIFY(annotations.save());
        const QByteArray content = json("{'comments':[{'a':'17'}],'frame':3,'points':[{'n':'1,2'}]}\n{'"
                                        "comments':[{'n':'b'}],'frame':40}\n");
        QCOMPARE(contentOf(path), content);

        VideoAnnotations again;
        QSignalSpy resets(&again, &VideoAnnotations::framesReset);
        QVERIFY(again.open(video));
        QCOMPARE(resets.size(), 1);
        QCOMPARE(again.getFrames(), QList<int>({3, 40}));
        QCOMPARE(again.getNames(Comment), QStringList({"a", "n"}));
        QCOMPARE(again.getValue(3, Comment, QStringLiteral("a")), QVariant(QStringLiteral("17")));
        QVERIFY(!again.getValue(3, Comment, name).isValid());
        QVERIFY(!again.getFrame(4));
        QVERIFY(again.saveInPlace());
        QCOMPARE(contentOf(path), content);
        again.close();
        QCOMPARE(resets.size(), 2);
        QVERIFY(!again.isOpen() && again.getFrames().isEmpty() && again.getPath().isEmpty());
    }

    // Each step goes there and back, and the file of each state is what tells whether all is as before.
    void everyChangeCanBeUndone()
    {
        QVERIFY(writeContent(path,
            json("# "
                 "first\n{'frame':1,'time':5}\n{'frame':2,'percents':[{'n':4}]}\n{'frame':3,'rects':[{'n':'1,"
                 "2,3,4'}]}\n")));
        VideoAnnotations annotations;
        QVERIFY(annotations.open(video));
        QCOMPARE(annotations.getSkippedLines(), 2);
        QSignalSpy changes(&annotations, &VideoAnnotations::frameChanged);
        const auto state = [&] {
            return annotations.saveInPlace() ? contentOf(path) : QByteArray("not saved");
        };
        QList<QByteArray> states{state()};
        const auto step = [&](int frame, auto change) {
            changes.clear();
            change();
            QCOMPARE(changes.size(), 1);
            QCOMPARE(changes.last().at(0).toInt(), frame);
            states << state();
            QVERIFY(states.at(states.size() - 2) != states.last());
        };
        step(9, [&] { annotations.setValue(9, Comment, name, QStringLiteral("new")); });
        step(2, [&] { annotations.setValue(2, Rect, name, QRect(1, 2, 3, 4)); });
        step(2, [&] { annotations.setValue(2, Rect, name, QRect(5, 6, 7, 8)); });
        step(2, [&] { annotations.remove(2, FrameInfo::Percent, name); });
        step(3, [&] { annotations.remove(3, Rect, name); });
        QCOMPARE(annotations.getFrames(), QList<int>({1, 2, 9}));
        step(1, [&] { annotations.setValue(1, FrameInfo::Value, name, 0.1); });
        step(1, [&] { annotations.remove(1, FrameInfo::Value, name); });
        QVERIFY(annotations.getFrame(1)); // or the kept line of the frame would be read as its record
        step(1, [&] { annotations.removeFrame(1); });
        QVERIFY(!states.last().contains("time"));
        QVERIFY(states.last().startsWith("# first\n{\"frame\":2,"));

        QUndoStack *const stack = annotations.getUndoStack();
        QCOMPARE(stack->count(), states.size() - 1);
        for (int pass = 0; pass < 2; ++pass) {
            for (int i = states.size() - 2; i >= 0; --i) {
                stack->undo();
                QCOMPARE(state(), states[i]);
            }
            for (int i = 1; i < states.size(); ++i) {
                stack->redo();
                QCOMPARE(state(), states[i]);
            }
        }
    }

    void whatChangesNothingIsNoStep()
    {
        VideoAnnotations annotations;
        QVERIFY(annotations.open(video));
        annotations.remove(1, Comment, name);
        annotations.removeFrame(1);
        annotations.setValue(1, FrameInfo::Points, name, QStringLiteral("no points"));
        QVERIFY(annotations.getFrames().isEmpty());
        annotations.setValue(1, FrameInfo::Value, name, 0.1);
        annotations.setValue(1, FrameInfo::Value, name, 0.1);
        QCOMPARE(annotations.getUndoStack()->count(), 1);
        annotations.setValue(1, FrameInfo::Value, name, 0.1 + 1e-16); // close, but another number
        QCOMPARE(annotations.getUndoStack()->count(), 2);
    }

    void theMovesOfADragAreOneStep()
    {
        using Merge = VideoAnnotations::Merge;
        VideoAnnotations annotations;
        QVERIFY(annotations.open(video));
        annotations.setValue(1, Rect, name, QRect(0, 0, 5, 5));
        for (int drag = 0; drag < 2; ++drag) {
            for (int x = 1; x < 10; ++x)
                annotations.setValue(
                    1, Rect, name, QRect(drag * 50 + x, 0, 5, 5), x == 1 ? Merge::Never : Merge::WithLast);
        }
        annotations.setValue(2, Rect, name, QRect(0, 0, 5, 5), Merge::WithLast); // another entry
        QUndoStack *const stack = annotations.getUndoStack();
        QCOMPARE(stack->count(), 4);
        QList<int> positions;
        for (int i = 0; i < 3; ++i) {
            stack->undo();
            positions << annotations.getValue(1, Rect, name).toRect().x();
        }
        QCOMPARE(positions, QList<int>({59, 9, 0}));
        stack->undo();
        QVERIFY(annotations.getFrames().isEmpty());
    }

    void unsavedChangesAreTold()
    {
        VideoAnnotations annotations;
        QSignalSpy told(&annotations, &VideoAnnotations::unsavedChangesChanged);
        QVERIFY(annotations.open(video));
        annotations.setValue(1, Comment, name, QStringLiteral("a"));
        annotations.setValue(1, Comment, name, QStringLiteral("b"));
        QVERIFY(annotations.save());
        annotations.getUndoStack()->undo();
        annotations.getUndoStack()->redo();
        QSignalSpy changes(&annotations, &VideoAnnotations::frameChanged);
        annotations.getFrame(1)->setComment(name, QStringLiteral("past the stack"));
        QCOMPARE(changes.size(), 1);
        QVERIFY(annotations.saveInPlace());
        QVERIFY(contentOf(path).contains("past the stack"));
        annotations.setValue(1, Comment, name, QStringLiteral("c"));
        annotations.close();
        QList<bool> values;
        for (const auto &arguments : told)
            values << arguments.at(0).toBool();
        QCOMPARE(values, QList<bool>({true, false, true, false, true, false, true, false}));
    }

    void whatFailsIsToldAndLosesNothing()
    {
        VideoAnnotations annotations;
        QSignalSpy errors(&annotations, &VideoAnnotations::errorOccurred);
        QVERIFY(writeContent(path, json("{'frame':1}\n")));
        QVERIFY(annotations.open(video));
        annotations.setValue(2, Comment, name, QString(6000, QLatin1Char('x')));
        {
            const FullDisk full(4096);
            if (!full.works)
                QSKIP("file sizes cannot be limited here");
            QVERIFY(!annotations.save());
        }
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors.last().at(0).toString(), annotations.getError());
        QVERIFY(annotations.hasUnsavedChanges());
        QCOMPARE(contentOf(path), json("{'frame':1}\n"));
        QVERIFY(annotations.save());
        QVERIFY(annotations.getError().isEmpty() && !annotations.hasUnsavedChanges());

        const QByteArray huge(17 * 1024 * 1024, 'x');
        QVERIFY(writeContent(path, huge));
        QVERIFY(!annotations.open(video));
        QCOMPARE(errors.size(), 2);
        QVERIFY(!annotations.isOpen() && !annotations.save() && !annotations.saveInPlace());
        QVERIFY(contentOf(path) == huge);
    }

    void aRecordMayBeReplacedWhileItTellsOfAChange()
    {
        VideoAnnotations annotations;
        QVERIFY(annotations.open(video));
        annotations.setValue(1, Comment, name, QStringLiteral("a"));
        FrameInfo *const record = annotations.getFrame(1);
        connect(record, &FrameInfo::boolChanged, &annotations, [&] { annotations.remove(1, Comment, name); });
        record->setBool(name, true);
        QCOMPARE(annotations.getFrame(1)->toJsonString().toUtf8(), json("{'bools':[{'n':true}],'frame':1}"));
    }
};

QTEST_GUILESS_MAIN(VideoAnnotationsTest)
#include "tst_videoannotations.moc"
