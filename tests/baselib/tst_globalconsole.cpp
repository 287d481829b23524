#include "baselib/globalconsole.h"

#include <QtTest>

#include <thread>
#include <vector>

namespace {

// Written before main(), when neither the application nor this library's other static objects need exist.
const bool writtenBeforeMain = [] {
    GlobalConsole::writeLine(QStringLiteral("before main"), QDateTime::currentDateTime());
    return true;
}();

// Writes while the static objects of the process go; a crash there gives an exit code that ctest notices.
const struct LastWords
{
    ~LastWords() { GlobalConsole::writeLine(QStringLiteral("at exit"), QDateTime::currentDateTime()); }
} lastWords;

} // namespace

class GlobalConsoleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { GlobalConsole::setSink({}); }

    void linesGoToTheMessageLogAsTheyStand()
    {
        QVERIFY(writtenBeforeMain);
        static QString seen;
        const auto before = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                seen = QStringLiteral("%1 %2 %3").arg(type).arg(QLatin1String(context.category), text);
            });
        GlobalConsole::writeLine(QStringLiteral("100 %1 \"Кадр\" line"), QDateTime::fromMSecsSinceEpoch(0));
        qInstallMessageHandler(before);
        QCOMPARE(seen, QStringLiteral("%1 varnhold.console ").arg(QtInfoMsg) + "100 %1 \"Кадр\" line");
    }

    void sinkGetsTextAndTimeAndItsOwnLinesGoToTheLog()
    {
        const auto time = QDateTime::fromMSecsSinceEpoch(1234567);
        QVector<QPair<QString, QDateTime>> lines;
        GlobalConsole::setSink([&](const QString &text, const QDateTime &when) {
            lines.append({text, when});
            GlobalConsole::writeLine(QStringLiteral("from the sink"), when);
        });
        QTest::ignoreMessage(QtInfoMsg, "from the sink");
        GlobalConsole::writeLine(QStringLiteral("one"), time);
        QCOMPARE(lines, (QVector<QPair<QString, QDateTime>>{{QStringLiteral("one"), time}}));
    }

    void sinkMayReplaceItself()
    {
        auto alive = std::make_shared<int>(0);
        GlobalConsole::setSink([alive](const QString &, const QDateTime &) {
            GlobalConsole::setSink([alive](const QString &, const QDateTime &) { *alive += 10; });
            *alive += 1; // its own captures must still be there
        });
        GlobalConsole::writeLine({}, {});
        GlobalConsole::writeLine({}, {});
        QCOMPARE(*alive, 11);
    }

    void exceptionOfASinkLeavesTheConsoleUsable()
    {
        int lines = 0;
        GlobalConsole::setSink([&](const QString &, const QDateTime &) {
            if (++lines == 1)
                throw std::runtime_error("full");
        });
        QVERIFY_EXCEPTION_THROWN(GlobalConsole::writeLine({}, {}), std::runtime_error);
        GlobalConsole::writeLine({}, {});
        QCOMPARE(lines, 2);
    }

    void replacedSinkIsNeverCalledAgainWhileThreadsWrite()
    {
        const auto quiet =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        std::atomic<bool> stop{false};
        std::atomic<int> lateCalls{0};
        std::atomic<int> overlaps{0};
        std::atomic<int> calls{0};
        std::atomic<int> inside{0};
        std::vector<std::thread> writers;
        for (int i = 0; i < 4; ++i) {
            writers.emplace_back([&] {
                while (!stop)
                    GlobalConsole::writeLine(QStringLiteral("line"), {});
            });
        }
        for (int i = 0; i < 200 || calls < 100; ++i) {
            const auto current = std::make_shared<std::atomic<bool>>(true);
            GlobalConsole::setSink([&, current](const QString &, const QDateTime &) {
                overlaps += inside++ != 0;
                ++calls;
                std::this_thread::yield();
                lateCalls += !*current;
                --inside;
            });
            std::this_thread::yield();
            GlobalConsole::setSink({});
            *current = false;
        }
        stop = true;
        for (std::thread &writer : writers)
            writer.join();
        qInstallMessageHandler(quiet);
        QCOMPARE(lateCalls.load(), 0);
        QCOMPARE(overlaps.load(), 0);
    }
};

QTEST_APPLESS_MAIN(GlobalConsoleTest)
#include "tst_globalconsole.moc"
