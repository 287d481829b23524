#include "baselib/propertylistcontrol.h"
#include "cameras/camerasettings.h"

#include <QtTest>

namespace {

struct Text
{
    const char *context;
    const char *source;
    const char *english;
    const char *russian;
};

constexpr Text texts[] = {
    {"CameraRotation", "Rotate0", "0°", "0°"},
    {"CameraRotation", "Rotate90", "90°", "90°"},
    {"CameraRotation", "Rotate180", "180°", "180°"},
    {"CameraRotation", "Rotate270", "270°", "270°"},
    {"CameraFlip", "FlipNone", "None", "Без отражения"},
    {"CameraFlip", "FlipX", "Horizontal", "По горизонтали"},
    {"CameraFlip", "FlipY", "Vertical", "По вертикали"},
    {"CameraFlip", "FlipXY", "Horizontal and vertical", "По горизонтали и вертикали"},
    {"Generic", "Rotation", "Rotation", "Поворот"},
    {"Generic", "Flip", "Flip", "Отражение"},
    {"CameraOptionsControl", "Not selected", "Not selected", "Не выбрано"},
    {"CameraOptionsControl", "Save image", "Save image", "Сохранить изображение"},
    {"CameraOptionsControl", "PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)", "PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)",
        "PNG(*.png);;JPG(*.jpg);;BMP(*.bmp)"},
    {"VideoRecorderWidget", "Hz", nullptr, "Гц"}, // null: the file has none, so the source is shown
    {"Generic", "Hz", nullptr, "Гц"}, // the one that is looked up
    {"VideoRecorderOptimizationProgressWidget", "Подготовка видео", nullptr, nullptr},
};

const QString languages[] = {QStringLiteral("en_US"), QStringLiteral("ru_RU")};

} // namespace

class TranslationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachLanguageHasItsTexts_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<int>("index");
        for (const QString &language : languages) {
            for (int i = 0; i < int(std::size(texts)); ++i)
                QTest::addRow("%s, %s", qPrintable(language), texts[i].source) << language << i;
        }
    }

    void eachLanguageHasItsTexts()
    {
        QFETCH(QString, language);
        QFETCH(int, index);
        const Text &text = texts[index];
        const char *const expected = language == languages[0] ? text.english : text.russian;
        QTranslator translator;
        QVERIFY(translator.load(QStringLiteral(":/translations/VTCV_%1.qm").arg(language)));
        QCOMPARE(translator.translate(text.context, text.source), QString::fromUtf8(expected));

        // Nothing is installed without the application.
        QCOMPARE(QCoreApplication::translate(text.context, text.source), QString::fromUtf8(text.source));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        QCOMPARE(QCoreApplication::translate(text.context, text.source),
            QString::fromUtf8(expected ? expected : text.source));
    }

    void settingsAreShownInTheLanguage()
    {
        QTemporaryDir home;
        qputenv("HOME", QFile::encodeName(home.path()));
        CameraSettings settings(QStringLiteral("Translated"), nullptr);
        PropertyListControl form(&settings);
        const QMetaEnum flips = QMetaEnum::fromType<CameraSettings::CameraFlip>();
        QCOMPARE(form.label(QStringLiteral("Flip")), QStringLiteral("Flip"));
        QTranslator russian;
        QVERIFY(russian.load(QStringLiteral(":/translations/VTCV_ru_RU.qm")));
        QVERIFY(QCoreApplication::installTranslator(&russian));
        QCOMPARE(form.label(QStringLiteral("Flip")), QStringLiteral("Отражение"));
        QCOMPARE(PropertyListControl::enumLabel(flips, 3), QStringLiteral("По горизонтали и вертикали"));
    }
};

QTEST_MAIN(TranslationsTest)

#include "tst_translations.moc"
