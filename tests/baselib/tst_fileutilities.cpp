#include "baselib/fileutilities.h"

#include <QtTest>

#include <clocale>

namespace {

void touch(const QString &path, qint64 size = 0)
{
    QFileInfo(path).dir().mkpath(QStringLiteral("."));
    QFile file(path);
    QVERIFY(file.open(QFile::WriteOnly));
    QVERIFY(file.resize(size));
}

} // namespace

class FileUtilitiesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // The order must not come from the environment: the least helpful locale is the test.
        std::setlocale(LC_ALL, "C");
        QLocale::setDefault(QLocale::c());
    }

    void foldersAreMadeWithAllAboveThem()
    {
        QTemporaryDir dir;
        const QString deep = dir.filePath(QStringLiteral("a/b c/ж"));
        QVERIFY(FileUtilities::createIfNotExists(deep));
        QVERIFY(QFileInfo(deep).isDir());
        QVERIFY(FileUtilities::createIfNotExists(deep + '/'));
        QVERIFY(!FileUtilities::createIfNotExists({}));
        touch(dir.filePath(QStringLiteral("file")));
        QVERIFY(!FileUtilities::createIfNotExists(dir.filePath(QStringLiteral("file"))));
        QVERIFY(!FileUtilities::createIfNotExists(dir.filePath(QStringLiteral("file/below"))));
    }

    void folderEndsInExactlyOneSlash()
    {
        QCOMPARE(FileUtilities::FolderSlash(QStringLiteral("/a/b")), QStringLiteral("/a/b/"));
        QCOMPARE(FileUtilities::FolderSlash(QStringLiteral("/a/b///")), QStringLiteral("/a/b/"));
        QCOMPARE(FileUtilities::FolderSlash(QStringLiteral("//")), QStringLiteral("/"));
        QCOMPARE(FileUtilities::FolderSlash({}), QStringLiteral("./"));
    }

    void sizesAreTexts()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("x.avi"));
        QCOMPARE(FileUtilities::filesizeNice(path), FileUtilities::filesizeNice(0));
        touch(path, 3 * 512 * 1024);
        QCOMPARE(FileUtilities::filesizeNice(path), QStringLiteral("1.50 MiB"));
        QCOMPARE(FileUtilities::filesizeNice(0), QStringLiteral("0 bytes"));
        QVERIFY(FileUtilities::filesizeNice(std::numeric_limits<qint64>::max()).endsWith(u"EiB"));
    }

    void filesComeInNaturalOrder_data()
    {
        QTest::addColumn<QStringList>("ordered");
        QTest::newRow("numbers by value") << QStringList{"img2.png", "img10.png", "img100.png"};
        QTest::newRow("case side by side") << QStringList{"a1.png", "A2.PNG", "a3.png", "B1.png"};
        QTest::newRow("leading zeros") << QStringList{"f0009.png", "f10.png", "f0011.png"};
        QTest::newRow("zeros on either side") << QStringList{"g1.png", "g02.png", "g3.png", "g004.png"};
        QTest::newRow("same value") << QStringList{"f007.png", "f07.png", "f7.png", "f8.png"};
        QTest::newRow("longer than any integer")
            << QStringList{"20261124101500000000000000000001.png", "20261124101500000000000000000010.png"};
        QTest::newRow("dates") << QStringList{"2026-2-28 1.png", "2026-11-3 1.png", "2026-11-24 1.png"};
        QTest::newRow("not Latin") << QStringList{"кадр 9.png", "Кадр 10.png", "кадр 11.png"};
        QTest::newRow("folders stay together")
            << QStringList{"a/1.png", "a/10.png", "a b/2.png", "a2/1.png", "a10/1.png"};
    }
    void filesComeInNaturalOrder()
    {
        QFETCH(QStringList, ordered);
        QTemporaryDir dir;
        for (int i = ordered.size(); i-- > 0;)
            touch(dir.filePath(ordered[i]));
        const QStringList found = FileUtilities::getFilesOfTypes(dir.path() + "//", {"png"}, true, false);
        QCOMPARE(found, ordered);
    }

    void onlyTheAskedForFilesAreListed()
    {
        QTemporaryDir dir;
        for (const char *name :
            {"a.jpg", "b.JPG", "c.png", "d.jpgx", "jpg", ".hidden.jpg", "s/e.jpg", ".h/f.jpg"})
            touch(dir.filePath(name));
        QDir(dir.path()).mkdir(QStringLiteral("folder.jpg"));

        const QStringList flat = FileUtilities::getFilesOfTypes(dir.path(), {"Jpg", ".PNG"}, false, false);
        QCOMPARE(flat, (QStringList{"a.jpg", "b.JPG", "c.png"}));
        QVERIFY(FileUtilities::getFilesOfTypes(dir.path(), {}, true, true).isEmpty());
        QVERIFY(FileUtilities::getFilesOfTypes({}, {"jpg"}, true, true).isEmpty());
        QVERIFY(FileUtilities::getFilesOfTypes(dir.filePath("none"), {"jpg"}, true, true).isEmpty());

        // A relative folder gives paths that still open after the program has moved elsewhere.
        const QString before = QDir::currentPath();
        QDir::setCurrent(dir.path());
        const QStringList full = FileUtilities::getFilesOfTypes(QStringLiteral("."), {"jpg"}, true, true);
        QDir::setCurrent(before);
        QCOMPARE(full.size(), 3);
        for (const QString &path : full)
            QVERIFY2(QFile(path).open(QFile::ReadOnly), qPrintable(path));
    }

#ifdef Q_OS_UNIX
    void linksAreFollowedOnceAndNeverInACircle()
    {
        QTemporaryDir dir;
        QTemporaryDir elsewhere;
        touch(dir.filePath(QStringLiteral("root/sub/1.png")));
        touch(elsewhere.filePath(QStringLiteral("2.png")));
        const auto link = [&](const QString &target, const char *name) {
            QVERIFY(QFile::link(target, dir.filePath(QLatin1String("root/") + name)));
        };
        link(dir.filePath(QStringLiteral("root")), "sub/back");
        link(QStringLiteral("/"), "everything");
        link(dir.filePath(QStringLiteral("root/sub")), "again");
        link(elsewhere.path(), "other");
        link(elsewhere.path(), "other2");
        link(QStringLiteral("/nowhere"), "broken.png");
        QFile::link(dir.filePath(QStringLiteral("root")), elsewhere.filePath(QStringLiteral("home")));
        const QStringList found =
            FileUtilities::getFilesOfTypes(dir.filePath(QStringLiteral("root")), {"png"}, true, false);
        QCOMPARE(found, (QStringList{"other/2.png", "sub/1.png"}));
    }
#endif
};

QTEST_GUILESS_MAIN(FileUtilitiesTest)
#include "tst_fileutilities.moc"
