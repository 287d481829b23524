#include "playback/annotationfiles.h"
#include "playback/frameinfo.h"
#include "support/metaface.h"

#include <QJsonDocument>
#include <QPolygon>
#include <QSignalSpy>
#include <QtTest>

#include <limits>
#include <memory>

namespace {

const QString name = QStringLiteral("n");

QVariant points(const QList<QPoint> &list)
{
    return QVariant::fromValue(list);
}

std::unique_ptr<FrameInfo> read(const QByteArray &json)
{
    return std::make_unique<FrameInfo>(QJsonDocument::fromJson(json).object(), nullptr);
}

QString signalOf(FrameInfo::InfoDataType type)
{
    const QString key = QLatin1String(QMetaEnum::fromType<FrameInfo::InfoDataType>().valueToKey(type));
    return key.toLower() + QLatin1String("Changed");
}

} // namespace

class FrameInfoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsTheSettledOne()
    {
        QCOMPARE(metaface::ofClass(FrameInfo::staticMetaObject),
            QStringList({
                "signal percentChanged(int,QString,int)",
                "signal valueChanged(int,QString,double)",
                "signal rectChanged(int,QString,QRect)",
                "signal commentChanged(int,QString,QString)",
                "signal pointsChanged(int,QString,QList<QPoint>)",
                "signal boolChanged(int,QString,bool)",
                "signal somethingChanged(int)",
            }));
        const auto kinds = QMetaEnum::fromType<FrameInfo::InfoDataType>();
        QStringList keys;
        for (int value = 0; value < kinds.keyCount(); ++value)
            keys << QLatin1String(kinds.valueToKey(value));
        QCOMPARE(keys, QStringList({"Percent", "Value", "Rect", "Comment", "Bool", "Points"}));
    }

    void entriesOfEachKind_data()
    {
        QTest::addColumn<FrameInfo::InfoDataType>("type");
        QTest::addColumn<QVariant>("first");
        QTest::addColumn<QVariant>("second");
        QTest::addColumn<QByteArray>("json"); // of the second value under "n", in frame -3

        QTest::newRow("percent") << FrameInfo::Percent << QVariant(40) << QVariant(-2147483647)
                                 << json("{'frame':-3,'percents':[{'n':-2147483647}]}");
        QTest::newRow("value") << FrameInfo::Value << QVariant(2.0) << QVariant(0.1)
                               << json("{'frame':-3,'values':[{'n':0.1}]}");
        QTest::newRow("rect") << FrameInfo::Rect << QVariant(QRect(1, 2, 3, 4))
                              << QVariant(QRect(-5, 6, 0, -7))
                              << json("{'frame':-3,'rects':[{'n':'-5,6,0,-7'}]}");
        QTest::newRow("comment") << FrameInfo::Comment << QVariant(QStringLiteral("ok"))
                                 << QVariant(QString::fromUtf8("a \"b\"\nжук"))
                                 << json("{'comments':[{'n':'a \\'b\\'\\nжук'}],'frame':-3}");
        QTest::newRow("bool") << FrameInfo::Bool << QVariant(true) << QVariant(false)
                              << json("{'bools':[{'n':false}],'frame':-3}");
        QTest::newRow("points") << FrameInfo::Points << points({{1, 2}}) << points({{1, 2}, {-3, 4}})
                                << json("{'frame':-3,'points':[{'n':'1,2;-3,4'}]}");
        QTest::newRow("no points") << FrameInfo::Points << points({{1, 2}}) << points({})
                                   << json("{'frame':-3,'points':[{'n':''}]}");
    }

    // Faults: a kind that takes another one's container, a typed signal behind the general one, an equal
    // value that goes without a signal.
    void entriesOfEachKind()
    {
        QFETCH(FrameInfo::InfoDataType, type);
        QFETCH(QVariant, first);
        QFETCH(QVariant, second);
        QFETCH(QByteArray, json);

        FrameInfo record(-3);
        QStringList order;
        connect(&record, &FrameInfo::somethingChanged, [&order] { order << QStringLiteral("something"); });
        const QByteArray signature = "2" + signalOf(type).toLatin1() + "(int,QString,"
            + (type == FrameInfo::Points ? "QList<QPoint>" : first.typeName()) + ")";
        QSignalSpy typed(&record, signature.constData());
        QVERIFY(typed.isValid());

        QVERIFY(!record.contains(type, name));
        QVERIFY(!record.get(type, name).isValid());
        QCOMPARE(record.count(), 0);
        for (const QVariant &value : {first, second, second}) {
            record.set(type, name, value);
            QCOMPARE(typed.size(), order.size());
            QCOMPARE(typed.last().at(0).toInt(), -3);
            QCOMPARE(typed.last().at(1).toString(), name);
            QCOMPARE(record.get(type, name), value);
        }
        QCOMPARE(order.size(), 3);
        QCOMPARE(record.count(), 1);
        for (int other = FrameInfo::Percent; other <= FrameInfo::Points; ++other) {
            const auto otherType = FrameInfo::InfoDataType(other);
            QCOMPARE(record.getNames(otherType), other == type ? QStringList(name) : QStringList());
            QCOMPARE(record.contains(otherType, name), other == type);
            QVERIFY(!record.contains(otherType, name.toUpper()));
        }
        QCOMPARE(record.toJsonString(), QString::fromUtf8(json));
        QVERIFY(read(json)->equals(record));
        record.set(type, name, first);
        QVERIFY(!read(json)->equals(record));
    }

    void typedSignalComesFirstAndSeesTheValue()
    {
        FrameInfo record(7);
        QStringList order;
        connect(&record, &FrameInfo::boolChanged, [&](int, const QString &entry, bool) {
            order << (record.getBool(entry) ? QStringLiteral("new") : QStringLiteral("old"));
        });
        connect(&record, &FrameInfo::somethingChanged, [&order] { order << QStringLiteral("something"); });
        record.setBool(name, true);
        QCOMPARE(order, QStringList({"new", "something"}));
    }

    void unknownNamesGiveDefaultsAndAddNothing()
    {
        FrameInfo record(7);
        QCOMPARE(record.getPercent(name), 0);
        QCOMPARE(record.getValue(name), 0.0);
        QVERIFY(record.getRect(name).isNull());
        QCOMPARE(record.getComment(name), QString());
        QCOMPARE(record.getBool(name), false);
        QVERIFY(record.getPoints(name).isEmpty());
        QCOMPARE(record.toJsonString(), QStringLiteral("{\"frame\":7}"));
    }

    void pointsComeInSeveralForms_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("taken");
        QTest::newRow("list") << points({{1, 2}, {3, 4}}) << true;
        QTest::newRow("polygon") << QVariant(QPolygon(QVector<QPoint>{{1, 2}, {3, 4}})) << true;
        QTest::newRow("variants") << QVariant(QVariantList({QPoint(1, 2), QPointF(3, 4)})) << true;
        QTest::newRow("mixed") << QVariant(QVariantList({QPoint(1, 2), 3})) << false;
        QTest::newRow("text") << QVariant(QStringLiteral("1,2;3,4")) << false;
        QTest::newRow("nothing") << QVariant() << false;
    }

    void pointsComeInSeveralForms()
    {
        QFETCH(QVariant, value);
        QFETCH(bool, taken);
        FrameInfo record(0);
        record.setPoints(name, {{9, 9}});
        QSignalSpy changes(&record, &FrameInfo::somethingChanged);
        record.set(FrameInfo::Points, name, value);
        QCOMPARE(changes.size(), taken ? 1 : 0);
        QCOMPARE(record.getPoints(name), taken ? QList<QPoint>({{1, 2}, {3, 4}}) : QList<QPoint>({{9, 9}}));
    }

    void strangeJsonIsReadWithoutComplaint_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QByteArray>("taken");
        const auto row = [](const char *title, const char *read, const char *taken) {
            QTest::newRow(title) << json(read) << json(taken);
        };
        row("nothing", "{}", "{'frame':0}");
        row("fraction", "{'frame':1.5}", "{'frame':0}");
        row("too large", "{'frame':3000000000}", "{'frame':0}");
        row("no array", "{'frame':1,'bools':{'a':true},'values':3}", "{'frame':1}");
        row("no objects", "{'frame':1,'bools':[1,{},null,[],{'a':true}]}",
            "{'bools':[{'a':true}],'frame':1}");
        row("two keys", "{'frame':1,'percents':[{'b':2,'a':1}]}", "{'frame':1,'percents':[{'a':1}]}");
        row("twice", "{'frame':1,'percents':[{'a':1},{'a':2}]}", "{'frame':1,'percents':[{'a':2}]}");
        row("other types",
            "{'frame':1,'percents':[{'a':1.5}],'values':[{'a':'2'}],'bools':[{'a':1}],"
            "'comments':[{'a':4}],'rects':[{'a':5}],'points':[{'a':[1,2]}]}",
            "{'bools':[{'a':false}],'comments':[{'a':''}],'frame':1,'percents':[{'a':0}],"
            "'points':[{'a':''}],'rects':[{'a':'0,0,0,0'}],'values':[{'a':0}]}");
        row("order", "{'frame':1,'bools':[{'b':true},{'':true},{'B':true}]}",
            "{'bools':[{'':true},{'B':true},{'b':true}],'frame':1}");
    }

    void strangeJsonIsReadWithoutComplaint()
    {
        QFETCH(QByteArray, json);
        QFETCH(QByteArray, taken);
        QCOMPARE(read(json)->toJsonString().toUtf8(), taken);
    }

    void numbersComeBackToTheLastBit()
    {
        FrameInfo record(std::numeric_limits<int>::min());
        const QList<double> numbers{0.1, 1.0 / 3.0, 1e300, -5e-324, 123456789012345680.0, 3.0};
        for (int i = 0; i < numbers.size(); ++i)
            record.setValue(QString::number(i), numbers[i]);
        QVERIFY(read(record.toJsonString().toUtf8())->equals(record));
    }
};

QTEST_GUILESS_MAIN(FrameInfoTest)
#include "tst_frameinfo.moc"
