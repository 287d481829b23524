#include "playback/annotationnamelist.h"
#include "playback/annotationnames.h"

#include <QtTest>
#include <QtWidgets>

class AnnotationNamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesGetColorsThatCanBeToldApart()
    {
        AnnotationNames names;
        const QAbstractItemModelTester tester(&names, QAbstractItemModelTester::FailureReportingMode::QtTest);
        for (int i = 0; i < 12; ++i)
            QCOMPARE(names.add(QString::number(i)), i);
        QCOMPARE(names.add(QStringLiteral("3")), 3);
        QCOMPARE(names.rowCount(), 12);
        for (int i = 0; i < 12; ++i) {
            for (int k = 0; k < i; ++k) {
                const QColor a = names.getColor(QString::number(i));
                const QColor b = names.getColor(QString::number(k));
                const int apart =
                    qAbs(a.red() - b.red()) + qAbs(a.green() - b.green()) + qAbs(a.blue() - b.blue());
                QVERIFY2(apart > 60, qPrintable(QStringLiteral("%1 and %2").arg(i).arg(k)));
            }
        }
    }

    void currentNameOutlivesChangesOfTheList()
    {
        AnnotationNames names;
        const QAbstractItemModelTester tester(&names, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy changes(&names, &AnnotationNames::currentChanged);
        for (const char *name : {"a", "b", "c"})
            names.add(QLatin1String(name));
        names.setCurrent(QStringLiteral("c"));
        names.remove(QStringLiteral("a"));
        QCOMPARE(names.getCurrent(), QStringLiteral("c"));
        QCOMPARE(changes.count(), 2); // to "a", to "c"
        names.remove(QStringLiteral("c"));
        QCOMPARE(names.getCurrent(), QStringLiteral("b"));
        names.clear();
        QVERIFY(names.getCurrent().isNull());
        QCOMPARE(changes.count(), 4);
        QCOMPARE(changes.last().first().toString(), QString());
    }

    void stateComesBackAndDamagedStateChangesNothing()
    {
        AnnotationNames names;
        names.add(QStringLiteral("left \"hand\""), QColor(1, 2, 3));
        names.add(QString());
        names.setVisible(QString(), false);
        AnnotationNames restored;
        QVERIFY(restored.restoreState(names.saveState()));
        QCOMPARE(restored.getNames(), names.getNames());
        QCOMPARE(restored.getColor(QStringLiteral("left \"hand\"")), QColor(1, 2, 3));
        QVERIFY(!restored.isVisible(QString()));
        for (const char *state : {"", "{}", "[1]", "[{'name':'a','color':'none'}]",
                 "[{'name':'a','color':'#000000'},{'name':'a','color':'#000000'}]"}) {
            QVERIFY2(!restored.restoreState(QByteArray(state).replace('\'', '"')), state);
            QCOMPARE(restored.rowCount(), 2);
        }
    }

    void keyboardPicksHidesRecolorsAndAdds()
    {
        AnnotationNameList list;
        AnnotationNames *const names = list.getNames();
        names->add(QStringLiteral("a"));
        names->add(QStringLiteral("b"));
        list.show();
        auto *const view = list.findChild<QListView *>();
        QTest::keyClick(view, Qt::Key_Down);
        QCOMPARE(names->getCurrent(), QStringLiteral("b"));
        QTest::keyClick(view, Qt::Key_Space);
        QVERIFY(!names->isVisible(QStringLiteral("b")));
        QVERIFY(names->isVisible(QStringLiteral("a")));

        QTest::keyClick(view, Qt::Key_Return);
        auto *const dialog = list.findChild<QColorDialog *>();
        QVERIFY(dialog);
        names->setCurrent(QStringLiteral("a")); // the dialog stays with its name
        dialog->setCurrentColor(QColor(10, 20, 30));
        dialog->accept();
        QCOMPARE(names->getColor(QStringLiteral("b")), QColor(10, 20, 30));

        auto *const field = list.findChild<QLineEdit *>();
        QTest::keyClicks(field, QStringLiteral(" new one "));
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(names->getCurrent(), QStringLiteral("new one"));
        QCOMPARE(view->currentIndex().row(), 2);
        QVERIFY(field->text().isEmpty());
    }

    void viewFollowsRemovalsAndTheEndOfItsModel()
    {
        auto names = std::make_unique<AnnotationNames>();
        AnnotationNameList list(names.get());
        for (const char *name : {"a", "b", "c"})
            names->add(QLatin1String(name));
        names->setCurrent(QStringLiteral("c"));
        names->remove(QStringLiteral("c"));
        auto *const view = list.findChild<QListView *>();
        QCOMPARE(view->currentIndex().data().toString(), names->getCurrent());
        QCOMPARE(names->getCurrent(), QStringLiteral("b"));
        names.reset();
        list.chooseColor();
        QVERIFY(!list.findChild<QColorDialog *>());
        QVERIFY(!list.findChild<QToolButton *>()->isEnabled());
    }
};

QTEST_MAIN(AnnotationNamesTest)
#include "tst_annotationnames.moc"
