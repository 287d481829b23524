#include "baselib/globalconsole.h"
#include "ffmpeg/sourcelock_p.h"
#include "recording/recordingtempfile_p.h"

#include <QtTest>

#ifdef Q_OS_UNIX
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#endif

namespace {

constexpr unsigned stranger = 65534;

bool giveAway(const QString &path)
{
#ifdef Q_OS_UNIX
    return lchown(QFile::encodeName(path).constData(), stranger, stranger) == 0;
#else
    Q_UNUSED(path)
    return false;
#endif
}

} // namespace

class RecordingTempFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        temp = std::make_unique<QTemporaryDir>();
        data = std::make_unique<QTemporaryDir>();
        qputenv("XDG_DATA_HOME", QFile::encodeName(data->path()));
        RecordingTempFile::setWantedFolder(temp->path());
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) { lines << text; });
        lines.clear();
    }
    void cleanup()
    {
        GlobalConsole::setSink({});
        RecordingTempFile::setWantedFolder({});
    }

    void nameIsTakenUntilItsClaimEnds()
    {
        auto first = RecordingTempFile::claim("/a/take.ts");
        QCOMPARE(first->videoPath(), in("take.avi"));
        QCOMPARE(RecordingTempFile::claim("/b/take.avi")->videoPath(), in("take_2.avi"));
        QVERIFY(RecordingTempFile::isInUse(first->videoPath()));
        first.reset();
        QCOMPARE(entries(), QStringList());
        QVERIFY(!RecordingTempFile::isInUse(in("take.avi")));
        QCOMPARE(RecordingTempFile::claim("/b/take.avi")->videoPath(), in("take.avi"));
    }

    void namesThatOthersUseArePassedOver_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("name");
        const auto row = [](const char *tag, const char *file, const char *kind, const char *name) {
            QTest::newRow(tag) << QString(file) << QString(kind) << QString(name);
        };
        row("own video", "take.avi", "own", "take.avi");
        row("link", "take.avi", "link", "take_2.avi"); // a writer would follow it
        row("linked list", "take.frames.csv", "link", "take_2.avi");
        row("stranger's log", "take.log", "stranger", "take_2.avi");
        row("other suffix", "take.mkv", "own", "take.avi");
        row("other suffix with a log", "take.mkv", "with a log", "take_2.avi");
        row("child reads it", "take.avi", "read", "take_2.avi");
        row("lock of a dead namesake", "take.lock", "lock", "take.avi");
    }

    void namesThatOthersUseArePassedOver()
    {
        QFETCH(QString, file);
        QFETCH(QString, kind);
        QFETCH(QString, name);
        const QString path = temp->filePath(file);
        if (kind == QLatin1String("link"))
            QVERIFY(QFile::link(in("nowhere"), path));
        else
            QVERIFY(place(file));
        QVERIFY(kind != QLatin1String("with a log") || place("take.log"));
        if (kind == QLatin1String("stranger") && !giveAway(path))
            QSKIP("only root can give files away");
        QFile held(path);
#ifdef Q_OS_UNIX
        if (kind == QLatin1String("read"))
            QVERIFY(held.open(QIODevice::ReadOnly) && flock(held.handle(), LOCK_SH | LOCK_NB) == 0);
#endif
        if (kind == QLatin1String("lock")) {
            // In a container, the program has the same process number at every start.
            QLockFile source(in("other.lock"));
            QVERIFY(source.tryLock(0));
            QFile content(in("other.lock"));
            QVERIFY(content.open(QIODevice::ReadOnly) && place(file, content.readAll(), -60));
        }
        const auto claimed = RecordingTempFile::claim("/a/take.avi");
        QCOMPARE(claimed->videoPath(), temp->filePath(name));
        QCOMPARE(RecordingTempFile::isInUse(in("take.avi")),
            kind == QLatin1String("read") || name == QLatin1String("take.avi"));
        QVERIFY(!QFile::exists(in("nowhere")));
    }

    void leftoversGoAside_data()
    {
        // Each file is written this many seconds after the start; "=" in front of a name makes it empty.
        using Files = QMap<QString, int>;
        QTest::addColumn<Files>("files");
        QTest::addColumn<QString>("left");
        const QString whole = QStringLiteral("take_aside2.avi take_aside2.frames.csv take_aside2.json "
                                             "take_aside2.log");
        QTest::newRow("whole") << Files{{"take.avi", -9}, {"take.log", -9}, {"take.frames.csv", -9},
            {"take.json", -9}, {"take.wav", -9}, {"take_aside1.log", -9}}
                               << QString("take_aside1.log ") + whole + " take_aside2.wav";
        QTest::newRow("the host's sound is there") << Files{{"take.avi", -9}, {"take.log", -9},
            {"take.wav", 1}} << "take.wav take_aside1.avi take_aside1.log";
        QTest::newRow("empty video") << Files{{"=take.avi", -9}, {"take.log", -9}}
                                     << "take_aside1.avi take_aside1.log";
        QTest::newRow("empty video alone") << Files{{"=take.avi", -9}} << "take.avi";
        QTest::newRow("log alone") << Files{{"take.log", -9}} << "take.log";
        QTest::newRow("list alone") << Files{{"take.frames.csv", -9}} << "take_aside1.frames.csv";
        QTest::newRow("old sound alone") << Files{{"take.wav", -9}} << "take_aside1.wav";
        QTest::newRow("new sound alone") << Files{{"take.wav", 0}} << "take.wav";
        QTest::newRow("aside in recovery")
            << Files{{"take.avi", -9}, {"take_aside1.lock", -9}} << "take_aside1.lock take_aside2.avi";
    }

    void leftoversGoAside()
    {
        using Files = QMap<QString, int>;
        QFETCH(Files, files);
        QFETCH(QString, left);
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            const bool isEmpty = file.key().startsWith(QLatin1Char('='));
            QVERIFY(place(file.key().mid(isEmpty), isEmpty ? QByteArray() : QByteArray("x"), file.value()));
        }
        const auto claimed = RecordingTempFile::claim("/a/take.avi");
        QVERIFY(claimed->moveLeftoversAside(QDateTime::currentDateTime()));
        QStringList found = entries();
        found.removeOne("take.lock");
        QCOMPARE(found.join(QLatin1Char(' ')), left);
        QCOMPARE(lines.count(), left.contains(QLatin1String("_aside")) ? 1 : 0);
    }

    void fullDiskStillGivesEachRecordingAName()
    {
#ifdef Q_OS_UNIX
        QVERIFY(place("take.log"));
        const auto former = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit none{0, limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &none), 0);
        auto first = RecordingTempFile::claim("/a/take.avi");
        auto second = RecordingTempFile::claim("/b/take.avi");
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        std::signal(SIGXFSZ, former);
        QCOMPARE(first->videoPath(), in("take_2.avi")); // a file has the first name
        QCOMPARE(second->videoPath(), in("take_3.avi"));
        QCOMPARE(lines.filter("No lock file can be made").count(), 2);
        QVERIFY(place("take_3.avi", "video"));
        QVERIFY(RecordingTempFile::isInUse(first->videoPath()));
        QCOMPARE(RecordingTempFile::claim("/a/take_2.avi")->videoPath(), in("take_2_2.avi"));
        first.reset();
        second.reset();
        QCOMPARE(entries(), QStringList({"take.log", "take_3.avi"}));
#else
        QSKIP("needs a limit on the size of files");
#endif
    }

    void foldersOfOthersAreNotUsed_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("line");
        QTest::newRow("own") << "own" << QString();
        QTest::newRow("link to an own one") << "link" << QString();
        QTest::newRow("cannot be made") << "file"
                                        << "cannot be written, recordings grow in";
        QTest::newRow("stranger's") << "stranger"
                                    << "belongs to another user, recordings grow in";
        QTest::newRow("link to a stranger's") << "link stranger"
                                              << "belongs to another user";
        QTest::newRow("stranger's link") << "link strangerslink"
                                         << "belongs to another user";
    }

    void foldersOfOthersAreNotUsed()
    {
        QFETCH(QString, kind);
        QFETCH(QString, line);
        QString wanted = in("Temp");
        if (kind == QLatin1String("file"))
            QVERIFY(place("Temp"));
        else
            QVERIFY(QDir().mkdir(wanted) && QFile::setPermissions(wanted, QFile::Permissions(0x7777)));
        if (kind.endsWith(QLatin1String("stranger")) && !giveAway(wanted))
            QSKIP("only root can give folders away");
        if (kind.startsWith(QLatin1String("link"))) {
            QVERIFY(QFile::link(wanted, in("link")));
            wanted = in("link");
            if (kind.endsWith(QLatin1String("strangerslink")) && !giveAway(wanted))
                QSKIP("only root can give links away");
        }
        RecordingTempFile::setWantedFolder(wanted);
        const auto claimed = RecordingTempFile::claim("/a/take.avi");
        const QString used = QFileInfo(claimed->videoPath()).path();
        const bool isRefused = !line.isEmpty();
        QCOMPARE(used, isRefused ? data->filePath("VarnholdToolkit/Recordings") : wanted);
        QCOMPARE(lines.filter(line).count(), isRefused ? 1 : 0);
        if (isRefused)
            QCOMPARE(int(QFileInfo(used).permissions()) & 0x77, 0);
        const QStringList folders = RecordingTempFile::folders();
        QCOMPARE(folders.contains(wanted + QLatin1Char('/')), !isRefused);
        QVERIFY(folders.contains(used + QLatin1Char('/')));
        RecordingTempFile::setWantedFolder({});
        QCOMPARE(RecordingTempFile::wantedFolder(), QDir::rootPath() + "Temp/");
    }

    void strangersInTheWayLeadToAFolderOfAUniqueName()
    {
        const QString parent = data->filePath("VarnholdToolkit/");
        QVERIFY(QDir().mkpath(parent) && place("file"));
        for (int i = 1; i <= 100; ++i) {
            const QString folder = parent + (i == 1 ? "Recordings" : QString("Recordings_%1").arg(i));
            QVERIFY(QDir().mkdir(folder));
            if (!giveAway(folder))
                QSKIP("only root can give folders away");
        }
        RecordingTempFile::setWantedFolder(in("file/Temp"));
        const auto claimed = RecordingTempFile::claim("/a/take.avi");
        const QFileInfo used(QFileInfo(claimed->videoPath()).path());
        QCOMPARE(used.path() + QLatin1Char('/'), parent);
        QCOMPARE(used.ownerId(), QFileInfo(temp->path()).ownerId());
        QCOMPARE(int(used.permissions()) & 0x77, 0);
        QCOMPARE(QFileInfo(RecordingTempFile::claim("/a/b.avi")->videoPath()).path(), used.filePath());
        QVERIFY(RecordingTempFile::folders().contains(used.filePath() + QLatin1Char('/')));
    }

private:
    QString in(const char *name) const
    {
        return temp->filePath(QLatin1String(name));
    }
    QStringList entries() const
    {
        return QDir(temp->path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    bool place(const QString &name, const QByteArray &content = "x", int ageS = 0) const
    {
        QFile file(temp->filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush()
            && file.setFileTime(
                QDateTime::currentDateTime().addSecs(ageS), QFileDevice::FileModificationTime);
    }

    std::unique_ptr<QTemporaryDir> temp;
    std::unique_ptr<QTemporaryDir> data;
    QStringList lines;
};

QTEST_GUILESS_MAIN(RecordingTempFileTest)
#include "tst_recordingtempfile.moc"
