#include "baselib/abstractmetadescriptor.h"
#include "baselib/globalconsole.h"
#include "baselib/settingsclasses.h"
#include "support/metaface.h"

#include <QDomDocument>
#include <QSignalSpy>
#include <QtTest>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QFile::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray document(const QByteArray &elements)
{
    return "<?xml version=\"1.0\"?><Settings>" + elements + "</Settings>";
}

} // namespace

class VTSettingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) { lines.append(text); });
    }
    void cleanupTestCase() { GlobalConsole::setSink({}); }
    void init()
    {
        lines.clear();
        dir = std::make_unique<QTemporaryDir>();
        path = dir->filePath(QStringLiteral("made/on the way/Front door №1Settings.xml"));
    }

    void onlyChangedPropertiesAreReplacedAndTheRestOfTheFileStays()
    {
        const QByteArray foreign =
            "<!-- kept -->\n"
            "    <Later:Version a=\"1&#10;&lt;\" xmlns:Later=\"urn:x\">text <Zoom>3</Zoom>&#13;\n"
            "      <![CDATA[<raw>]]><?target data?></Later:Version>\n"
            "    stray words\n"
            "    <Zoom>7</Zoom>\n"
            "    <Empty/>";
        write(path, document("\n    " + foreign + "\n    <Ip>old</Ip>\n"));
        PanelSettings settings(path); // not loaded: its Zoom is -6, the file's 7
        settings.setIp(QStringLiteral("new"));
        const QByteArray first = contentOf(path);
        QDomDocument was;
        QDomDocument is;
        QVERIFY(was.setContent(document("\n    " + foreign + "\n    <Ip>new</Ip>\n")));
        QVERIFY(is.setContent(first));
        QCOMPARE(is.documentElement().text().simplified(), was.documentElement().text().simplified());
        for (const char *part : {"<!-- kept -->", "a=\"1&#10;&lt;\" xmlns:Later=\"urn:x\"",
                 "text <Zoom>3</Zoom>&#13;\n      <", "<![CDATA[<raw>]]><?target data?></Later:Version>",
                 "stray words", "<Zoom>7</Zoom>", "<Empty"})
            QVERIFY2(first.contains(part), part + QByteArray(" in ") + first);
        QCOMPARE(first.count("<Ip>"), 1);

        // A file that is written again and again does not grow.
        settings.setIp(QStringLiteral("old"));
        settings.setIp(QStringLiteral("new"));
        QCOMPARE(contentOf(path), first);
    }

    void objectsOfOneFileKeepEachOthersChanges()
    {
        PanelSettings first(path);
        PanelSettings second(path);
        ValueSettings other(path);
        first.setZoom(1);
        second.setIp(QStringLiteral("b"));
        other.setProperty("Int", 3);
        other.changedProperty(QStringLiteral("Int"));
        first.setZoom(2);
        PanelSettings loaded(path);
        QVERIFY(loaded.reload());
        QCOMPARE(loaded.zoom(), 2);
        QCOMPARE(loaded.ip(), QStringLiteral("b"));
        QVERIFY(other.reload());
        QCOMPARE(other.property("Int").toInt(), 3);

        // What was loaded is no change of one's own.
        QVERIFY(first.reload());
        second.setIp(QStringLiteral("c"));
        first.setZoom(5);
        QVERIFY(loaded.reload());
        QCOMPARE(loaded.ip(), QStringLiteral("c"));
    }

    void objectsOfOneFileOnSeveralThreadsLoseNothing()
    {
        constexpr int changes = 40;
        const auto work = [this](int thread) {
            ValueSettings settings(path);
            const QString name = QStringList{"Int", "LongLong", "String", "Double"}.at(thread);
            for (int i = 1; i <= changes; ++i) {
                settings.setProperty(name.toLatin1(), i);
                settings.changedProperty(name);
            }
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back(work, i);
        for (std::thread &thread : threads)
            thread.join();
        ValueSettings loaded(path);
        QVERIFY(loaded.reload());
        for (const char *name : {"Int", "LongLong", "String", "Double"})
            QCOMPARE(loaded.property(name).toInt(), changes);
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void reloadGoesThroughTheSettersAndWritesNothing()
    {
        write(path, document("<Zoom>-99</Zoom><Ip>x</Ip>"));
        const QByteArray before = contentOf(path);
        PanelSettings settings(path);
        QSignalSpy zooms(&settings, &PanelSettings::changedZoom);
        // A host's reaction during the load is a change of its own, and is written with the next one.
        connect(&settings, &PanelSettings::changedIp, [&] { settings.setZoom(4); });
        QVERIFY(settings.reload());
        QCOMPARE(zooms.value(0).value(0).toInt(), -12);
        QCOMPARE(settings.ip(), QStringLiteral("x"));
        QCOMPARE(contentOf(path), before);
        QVERIFY(settings.save());
        QVERIFY(contentOf(path).contains("<Zoom>4</Zoom>"));
    }

    void withoutAutoSaveChangesWaitForSave()
    {
        PanelSettings settings(path, false, nullptr, VTSettingsFormat::Xml);
        settings.setZoom(3);
        QVERIFY(!QFile::exists(path));
        QVERIFY(settings.save());
        QVERIFY(contentOf(path).contains("<Zoom>3</Zoom>"));
    }

    void missingFileLeavesTheInitialValues()
    {
        PanelSettings settings(path);
        QVERIFY(!settings.reload());
        QCOMPARE(settings.zoom(), -6);
        QVERIFY(!QFileInfo::exists(QFileInfo(path).path()));
        QCOMPARE(lines, QStringList());
    }

    void brokenFileIsRefusedInBoundedTimeAndKept_data()
    {
        QTest::addColumn<QByteArray>("content");
        const auto full = document("<Zoom>7</Zoom><Ip>secret</Ip>");
        QByteArray bomb = "<!DOCTYPE Settings [<!ENTITY a0 'x'>";
        for (int i = 1; i < 40; ++i)
            bomb += QStringLiteral("<!ENTITY a%1 '&a%2;&a%2;'>").arg(i).arg(i - 1).toLatin1();
        QTest::newRow("cut") << full.left(full.size() - 4);
        QTest::newRow("garbage") << QByteArray("\x00\x01\xff\xfe garbage", 12);
        QTest::newRow("text") << QByteArray("Zoom=7\n");
        QTest::newRow("two roots") << full + "<Settings/>";
        QTest::newRow("other document") << QByteArray("<Calibration><Zoom>7</Zoom></Calibration>");
        QTest::newRow("not UTF-8") << document("<Zoom>7</Zoom><Ip>\xff\xfe</Ip>");
        QTest::newRow("entity bomb") << bomb + "]><Settings><Ip>&a39;</Ip></Settings>";
        QTest::newRow("hidden bomb") << "<!--> <x a=\" -->" + bomb + "]><Settings b=\"\"/>";
        QTest::newRow("deep") << document(QByteArray("<a>").repeated(1'000'000));
        QTest::newRow("deep and whole") << document(
            "<Zoom>7</Zoom>" + QByteArray("<a>").repeated(500) + QByteArray("</a>").repeated(500));
        QByteArray attributes;
        for (int i = 0; i < 1'000'000; ++i)
            attributes += " a" + QByteArray::number(i) + "=''";
        QTest::newRow("attributes") << document("<x" + attributes + "/>");
        QTest::newRow("too large") << document(
            "<Zoom>7</Zoom><x>" + QByteArray(17 * 1024 * 1024, 'x') + "</x>");
    }
    void brokenFileIsRefusedInBoundedTimeAndKept()
    {
        QFETCH(QByteArray, content);
        write(path, content);
        PanelSettings settings(path);
        QVERIFY(!settings.reload());
        QVERIFY(!settings.reload());
        QCOMPARE(settings.zoom(), -6);
        QCOMPARE(lines.size(), 2);
        QVERIFY(contentOf(path) == content);

        settings.setZoom(1);
        QVERIFY(contentOf(path + ".broken") == content);
        QVERIFY(settings.reload());
        write(path, content); // the same once more needs no second copy
        settings.setZoom(2);
        write(path, "other garbage");
        settings.setZoom(3);
        QCOMPARE(contentOf(path + ".broken-2"), QByteArray("other garbage"));
        QVERIFY(contentOf(path + ".broken") == content);
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden).size(), 3);
    }

    void nameThatTheSystemRefusesCostsOneLineAndValuesStay_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("empty") << QString();
        QTest::newRow("null character") << QString("a") + QChar(0) + "b";
        QTest::newRow("too long") << QString(300, 'x');
        QTest::newRow("folder") << QString("sub");
        QTest::newRow("below a file") << QString("file/x.xml");
        QTest::newRow("pipe") << QString("pipe");
    }
    void nameThatTheSystemRefusesCostsOneLineAndValuesStay()
    {
        QFETCH(QString, name);
        QDir(dir->path()).mkdir(QStringLiteral("sub"));
        write(dir->filePath(QStringLiteral("file")), "x");
#ifdef Q_OS_UNIX
        QCOMPARE(::mkfifo(QFile::encodeName(dir->filePath(QStringLiteral("pipe"))), 0600), 0);
#endif
        const QStringList before = QDir(dir->path()).entryList(QDir::AllEntries | QDir::System);
        PanelSettings settings(name.isEmpty() ? name : dir->path() + '/' + name);
        QVERIFY(!settings.reload());
        lines.clear();
        settings.setZoom(1);
        settings.setZoom(2);
        QCOMPARE(settings.zoom(), 2);
        QVERIFY(!settings.save());
        QCOMPARE(lines.size(), 1);
        QCOMPARE(QDir(dir->path()).entryList(QDir::AllEntries | QDir::System), before);
    }

    void relativePathStaysWhereItWas()
    {
        const QString before = QDir::currentPath();
        QDir::setCurrent(dir->path());
        PanelSettings settings(QStringLiteral("relative.xml"));
        QDir::setCurrent(before);
        settings.setZoom(1);
        QVERIFY(QFile::exists(dir->filePath(QStringLiteral("relative.xml"))));
    }

#ifdef Q_OS_UNIX
    void nobodyElseMayReadAnyOfTheFiles()
    {
        constexpr auto owner = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        const mode_t mask = ::umask(0);
        PanelSettings settings(path);
        settings.setIp(QStringLiteral("secret"));
        QCOMPARE(QFile::permissions(path), owner);

        // Nor what lies in the folder only while a file is written.
        std::atomic<bool> stop{false};
        std::atomic<int> looks{0};
        std::atomic<int> readable{0};
        std::thread other([&] {
            for (; !stop; ++looks) {
                const QFileInfoList files =
                    QDir(QFileInfo(path).path()).entryInfoList(QDir::Files | QDir::Hidden);
                for (const QFileInfo &file : files)
                    readable += file.permission(QFile::ReadOther);
            }
        });
        for (int i = 0; i < 50 || looks < 50; ++i)
            settings.setZoom(i % 1000);
        stop = true;
        other.join();
        QCOMPARE(readable.load(), 0);

        QVERIFY(QFile::setPermissions(path, owner | QFile::ReadGroup | QFile::ReadOther));
        QVERIFY(settings.reload());
        QCOMPARE(QFile::permissions(path), owner);

        write(path, "broken secret");
        QVERIFY(QFile::setPermissions(path, owner | QFile::ReadOther));
        settings.setZoom(1);
        ::umask(mask);
        QCOMPARE(QFile::permissions(path), owner);
        QCOMPARE(QFile::permissions(path + ".broken"), owner);
    }

    void linkToTheFileStaysALink()
    {
        const QString real = dir->filePath(QStringLiteral("real/s.xml"));
        QDir(dir->path()).mkdir(QStringLiteral("real"));
        QDir().mkpath(QFileInfo(path).path());
        QVERIFY(QFile::link(real, path));
        PanelSettings settings(path);
        settings.setZoom(5);
        QVERIFY(QFileInfo(path).isSymLink());
        QVERIFY(contentOf(real).contains("<Zoom>5</Zoom>"));
    }

    void fullDiskLeavesTheOldFileAndTheNextWriteBringsAll()
    {
        PanelSettings settings(path);
        settings.setZoom(1);
        const QByteArray before = contentOf(path);

        // The system grants a file this many bytes only, as a disk does that is nearly full. What is refused
        // is smaller than any buffer, so the failure comes late.
        rlimit unlimited;
        QCOMPARE(::getrlimit(RLIMIT_FSIZE, &unlimited), 0);
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limited{100, unlimited.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &limited), 0);
        settings.setIp(QString(2000, 'x'));
        settings.setIp(QString(3000, 'x'));
        const QStringList told = lines;
        const QStringList files = QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden);
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        std::signal(SIGXFSZ, handler);

        QCOMPARE(contentOf(path), before);
        QCOMPARE(files.size(), 1);
        QCOMPARE(told.size(), 1);
        QVERIFY2(told.first().contains(path), qPrintable(told.first()));
        QVERIFY2(!told.first().contains(QLatin1String("xxx")), "a value may be a password");
        settings.setZoom(2);
        PanelSettings loaded(path);
        QVERIFY(loaded.reload());
        QCOMPARE(loaded.ip().size(), 3000);
        QCOMPARE(loaded.zoom(), 2);
    }

    void readerNeverSeesAHalfWrittenFile()
    {
        PanelSettings settings(path);
        settings.setIp(QString(100'000, 'a'));
        std::atomic<bool> stop{false};
        std::atomic<int> torn{0};
        std::atomic<int> reads{0};
        std::thread reader([&] {
            while (!stop) {
                const QByteArray content = contentOf(path);
                torn += !content.endsWith("</Settings>\n") || content.size() < 100'000;
                ++reads;
            }
        });
        for (int i = 0; i < 30 || reads < 30; ++i)
            settings.setZoom(i % 1000);
        stop = true;
        reader.join();
        QCOMPARE(torn.load(), 0);
    }
#endif

    void descriptorGivesPropertiesInOrderWithTheirClassInfo()
    {
        class Derived : public PanelSettings
        {
        public:
            using PanelSettings::PanelSettings;
        } settings(path);
        AbstractSettings &abstract = settings;
        AbstractMetaDescriptor *descriptor = abstract.metaDescriptor();
        QCOMPARE(descriptor->propertyNames(), (QStringList{"Zoom", "Ip", "Derived", "Passing"}));
        QCOMPARE(descriptor->declaringClass(QStringLiteral("Zoom")), QStringLiteral("PanelSettings"));
        QCOMPARE(descriptor->declaringClass(QStringLiteral("objectName")), QStringLiteral("QObject"));
        QVERIFY(descriptor->declaringClass(QStringLiteral("None")).isNull());
        QCOMPARE(descriptor->info(QStringLiteral("Zoom"), QStringLiteral("Minimum")), QStringLiteral("-12"));
        QVERIFY(descriptor->info(QStringLiteral("Ip"), QStringLiteral("Editable")).isNull());
        QCOMPARE(metaface::ofClass(VTSettings::staticMetaObject), QStringList());
        QCOMPARE(metaface::ofClass(AbstractSettings::staticMetaObject), QStringList());

        settings.setIp(QStringLiteral("x"));
        QVERIFY(!contentOf(path).contains("Derived") && !contentOf(path).contains("Passing"));
    }

private:
    QStringList lines; // of the console
    std::unique_ptr<QTemporaryDir> dir;
    QString path;
};

QTEST_GUILESS_MAIN(VTSettingsTest)
#include "tst_vtsettings.moc"
